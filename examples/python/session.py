#!/usr/bin/env python3
"""A whole session in Python: sign on, ask for a table, send paced orders, wait until they are filled, ask for
the positions, disconnect. Ends with 0 when every step came through.

    session.py [--library PATH] [--user USER] [--password PASSWORD] [HOST:PORT]

Events run on the library's threads: they note down what came, and the main thread waits for it. Texts come
decoded from code page 950; what a result holds is printed inside its event, as it is gone afterwards.
"""

import argparse
import pathlib
import sys
import threading

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent.parent / "bindings" / "python"))
import vekapi  # noqa: E402

ORDERS = 6


def print_tables(result):
    for table in result:
        print(f"\n{table.display_text} ({table.name}), {len(table)} records")
        print(" | ".join(column.display_text for column in table.columns()))
        for row in table.rows():
            print(" | ".join(value or "" for value in row.values()))


class Session(vekapi.Handler):
    def __init__(self):
        self.changed = threading.Condition()
        self.state, self.answered, self.acknowledged, self.filled = vekapi.CONNECTING, None, 0, 0
        self.client = vekapi.Client(self)
        self.sender = vekapi.Sender(self.client)

    def close(self):
        self.client.disconnect()  # no event follows
        self.sender.close()
        self.client.close()

    def note(self, **changes):
        with self.changed:
            vars(self).update(changes)
            self.changed.notify_all()

    def wait(self, name, done):
        with self.changed:
            self.changed.wait_for(lambda: done() or self.state < 0, timeout=30)
            print(f"-- {name}:", "done" if done() else "FAILED")
            return done()

    def on_connect(self, client, reason):
        print(f"[connect] state {client.state} {reason}")
        self.note(state=client.state)

    def on_ready(self, client):
        print_tables(client.sign_on_result())
        self.note(state=client.state)

    def on_task_result(self, client, result):
        print_tables(result)
        self.note(answered=result.work_id)

    def on_ack(self, client, code, raw):
        if code != 129:
            return
        print("[ack]", vekapi.text(raw).replace("\1", " ").replace("\n", ", "))
        self.sender.ack(code, raw)  # tells the sender what it may send next
        self.note(acknowledged=self.acknowledged + raw.count(b"\n") + 1)

    def on_report(self, client, report):
        print("[report]", report.replace("\1", " "))
        if report.startswith("fill\1") and "\1Left=0\1" in report:
            self.note(filled=self.filled + 1)

    def query(self, work_id, verb):
        while not self.client.send(128, f"{work_id} {verb}"):
            if not self.client.connected:
                return False
            vekapi.lib.CVekFlowCtrl_Sleep(10)  # the server's rate is used up
        return self.wait(verb, lambda: self.answered == work_id)

    def orders(self):
        """No more than two within 100 ms, counted from their acknowledgements; the sender holds the others."""
        self.sender.set_rate(2, 100)
        for i in range(ORDERS):
            self.sender.send(f"o{i} new\nprod=TXF side=B qty=1 price=MKT")
        print(f"-- {self.sender.pending} orders are held")
        return self.wait("orders", lambda: self.acknowledged == ORDERS and self.filled == ORDERS)

    def run(self, options):
        self.client.connect(options.server, "Python example", "1.0.0.0", options.user, "", options.password)
        return (
            self.wait("sign-on", lambda: self.state == vekapi.AP_READY)
            and self.query("q1", "products")
            and self.orders()
            and self.query("q2", "positions")
        )


def main():
    parser = argparse.ArgumentParser(description="Example client in Python")
    default = "vekapi.dll" if sys.platform == "win32" else str(HERE.parent.parent / "build/linux/libvekapi.so")
    parser.add_argument("--library", default=default)
    parser.add_argument("--user", default="trader")
    parser.add_argument("--password", default="secret")
    parser.add_argument("server", nargs="?", default="127.0.0.1:9000")
    options = parser.parse_args()
    sys.stdout.reconfigure(encoding="utf-8", line_buffering=True)
    vekapi.load(options.library)
    print("VekApi", vekapi.text(vekapi.lib.CVekApi_Version()))
    session = Session()
    try:
        done = session.run(options)
    finally:
        session.close()
    print("session: every step came through" if done else "session: FAILED")
    return 0 if done else 1


if __name__ == "__main__":
    sys.exit(main())
