#!/usr/bin/env python3
"""A session on an asyncio event loop: one thread, no locks. Signs on, asks for two tables while orders are being
filled, disconnects. Ends with 0 when every step came through.

    asyncio_session.py [--library PATH] [--user USER] [--password PASSWORD] [HOST:PORT]

The client is made with on_message_loop=True: its events wait for this thread, and the event loop watches the
descriptor that tells of them. So events may touch whatever coroutines touch, and set their futures.
"""

import argparse
import asyncio
import pathlib
import sys

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent.parent / "bindings" / "python"))
import vekapi  # noqa: E402

ORDERS = 6
PATIENCE = 30  # seconds per step
POLL = 0.01  # poll interval in seconds if there is no descriptor to watch


class SessionLost(Exception):
    """The server, or the way to it, has gone; or it does not let us in."""


async def serve_message_loop():
    """Brings events to this thread until it is cancelled."""
    fd = vekapi.message_loop_fd()
    if fd < 0:  # Windows
        while vekapi.dispatch() >= 0:
            await asyncio.sleep(POLL)
        return
    loop = asyncio.get_running_loop()
    loop.add_reader(fd, vekapi.dispatch)
    try:
        await loop.create_future()
    finally:
        loop.remove_reader(fd)


class Session(vekapi.Handler):
    def __init__(self):
        loop = asyncio.get_running_loop()
        self.ready, self.lost = loop.create_future(), loop.create_future()
        self.answers, self.filled = {}, asyncio.Semaphore(0)
        self.client = vekapi.Client(self, on_message_loop=True)
        self.sender = vekapi.Sender(self.client)

    def close(self):
        self.client.disconnect()
        self.sender.close()
        self.client.close()

    # Events. A result is borrowed until on_task_result returns, so its rows are copied.

    def on_connect(self, client, reason):
        print(f"[connect] state {client.state} {reason}")
        if client.state < 0 and not self.lost.done():
            self.lost.set_result(f"state {client.state} {reason}")

    def on_ready(self, client):
        self.ready.set_result(client.sign_on_result().plain())

    def on_task_result(self, client, result):
        answer = self.answers.pop(result.work_id, None)
        if answer:
            answer.set_result(result.plain())

    def on_ack(self, client, code, raw):
        if code == 129:
            self.sender.ack(code, raw)  # tells the sender what it may send next

    def on_report(self, client, report):
        print("[report]", report.replace("\1", " "))
        if report.startswith("fill\1") and "\1Left=0\1" in report:
            self.filled.release()

    # Awaited by the coroutines. No wait continues after the session is lost.

    async def until(self, what):
        waiting = asyncio.ensure_future(what)
        await asyncio.wait({waiting, self.lost}, timeout=PATIENCE, return_when=asyncio.FIRST_COMPLETED)
        if waiting.done():
            return waiting.result()
        waiting.cancel()
        raise SessionLost(self.lost.result() if self.lost.done() else f"nothing came for {PATIENCE} s")

    async def sign_on(self, server, user, password):
        self.client.connect(server, "asyncio example", "1.0.0.0", user, "", password)
        return await self.until(self.ready)

    async def query(self, work_id, verb):
        self.answers[work_id] = asyncio.get_running_loop().create_future()
        while not self.client.send(128, f"{work_id} {verb}"):
            if not self.client.connected:
                raise SessionLost("not connected")
            await asyncio.sleep(POLL)  # the server's rate is used up
        return await self.until(self.answers[work_id])

    async def orders(self):
        """No more than two within 100 ms, counted from their acknowledgements; the sender holds the others."""
        self.sender.set_rate(2, 100)
        for i in range(ORDERS):
            self.sender.send(f"o{i} new\nprod=TXF side=B qty=1 price=MKT")
        print(f"-- {self.sender.pending} orders are held")
        for _ in range(ORDERS):
            await self.until(self.filled.acquire())


def show(tables):
    for name, rows in tables.items():
        print(f"\n{name}, {len(rows)} records")
        for row in rows:
            print(" | ".join(value or "" for value in row.values()))


async def run(options):
    serving = asyncio.create_task(serve_message_loop())
    session = Session()
    try:
        show(await session.sign_on(options.server, options.user, options.password))
        products, orders, _ = await asyncio.gather(
            session.query("q1", "products"), session.query("q2", "orders"), session.orders())
        show(products)
        show(orders)
        show(await session.query("q3", "positions"))
        return True
    except SessionLost as lost:
        print(f"-- {lost}")
        return False
    finally:
        session.close()
        serving.cancel()


def main():
    parser = argparse.ArgumentParser(description="Example client on an asyncio event loop")
    default = "vekapi.dll" if sys.platform == "win32" else str(HERE.parent.parent / "build/linux/libvekapi.so")
    parser.add_argument("--library", default=default)
    parser.add_argument("--user", default="trader")
    parser.add_argument("--password", default="secret")
    parser.add_argument("server", nargs="?", default="127.0.0.1:9000")
    options = parser.parse_args()
    sys.stdout.reconfigure(encoding="utf-8", line_buffering=True)
    vekapi.load(options.library)
    done = asyncio.run(run(options))
    print("session: every step came through" if done else "session: FAILED")
    return 0 if done else 1


if __name__ == "__main__":
    sys.exit(main())
