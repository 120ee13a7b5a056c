#!/usr/bin/env python3
"""Small Python programs that once crashed, hung, or ignored Ctrl-C. Freed memory is overwritten to detect its use.

    small_programs.py LIBRARY HOST:PORT
"""

import os
import pathlib
import random
import sys

from random_programs import complaint, run

BEGIN = f"""
import atexit, signal, sys, threading
sys.path.insert(0, {str(pathlib.Path(__file__).resolve().parents[2] / "bindings/python")!r})
late = []  # calls made when the module has ended
atexit.register(lambda: [call() for call in late])
import vekapi
vekapi.load({sys.argv[1]!r})
ready = threading.Event()

class Session(vekapi.Handler):
    def on_ready(self, client): ready.set()

def begin(session=Session(), on_loop=False):
    client = vekapi.Client(session, on_loop)
    client.connect({sys.argv[2]!r}, "small", "1.0.0.0", "trader", "", "secret")
    return client

def interrupt_elsewhere():  # by a signal that the system hands to another thread: it ends no wait of this one
    threading.Timer(0.2, lambda: signal.pthread_kill(threading.get_ident(), signal.SIGINT)).start()

print("begun", flush=True)
"""
# Description: exit code, expected output, program.
PROGRAMS = {
    "uses objects after their end": (0, "", """
with begin() as client, vekapi.Sender(client) as sender, vekapi.Gate(lambda gate: gate.take()) as gate:
    ready.wait(20)
    sender.set_rate(1, 1)
    left = vekapi.Sender(client)
    left.set_rate(1, 1)
    [left.send("w new\\nx") for _ in range(3)]
del left
assert not (client.send(129, "w new\\nx") or sender.send("w new\\nx") or sender.pending or client.state or client.server_name)
assert client.query("q products") == -1 and not client.connect("127.0.0.1:1", "", "", "", "", "")
client.sign_on_result().plain(), client.disconnect(), sender.drop(), gate.call_when_free()
"""),
    "keeps a borrowed result": (0, "", """
came = threading.Event()
class Keeps(Session):
    def on_ready(self, client): client.send(128, "q products")
    def on_task_result(self, client, result):
        self.result, self.read, self.rest = result, result["products"][0], next(iter(result))
        came.set()
session = Keeps()
with begin(session) as client:
    assert came.wait(20)
assert session.read["Prod"] == "TXF" and session.rest[0]["Prod"] == "TXF"
for ask in (session.result.plain, session.rest.blocks, lambda: session.rest.name):
    try:
        list(ask())
        sys.exit("a result was read after its end")
    except ReferenceError:
        pass
"""),
    "exits in an event": (9, "", """
class Exits(Session):
    def on_ready(self, client): sys.exit(9)
begin(Exits()).wait(lambda: False)
"""),
    "exits in an event on its loop": (9, "", """
class Exits(Session):
    def on_ready(self, client): sys.exit(9)
begin(Exits(), True).wait(lambda: False)
"""),
    "makes objects after its end": (0, "", """
def make_some():
    after = vekapi.Client(Session())
    with vekapi.Sender(client) as sender, vekapi.Sender(after), vekapi.Gate(lambda gate: gate.take()) as gate:
        assert not (after.connect("127.0.0.1:1", "", "", "", "", "") or sender.send("w new\\nx"))
        gate.call_when_free()
late.append(make_some)
client = begin()
ready.wait(20)
"""),
    "is interrupted in dispatch(-1)": (-2, "KeyboardInterrupt", """
interrupt_elsewhere()
vekapi.dispatch(-1)
"""),
    "is interrupted in dispatch(60000)": (-2, "KeyboardInterrupt", """
interrupt_elsewhere()
vekapi.dispatch(60000)
"""),
    "is interrupted in wait()": (-2, "KeyboardInterrupt", """
client = begin()
ready.wait(20)
interrupt_elsewhere()
client.wait()
"""),
}


def main():
    os.environ["MALLOC_PERTURB_"] = "165"
    bad = 0
    for name, expected in PROGRAMS.items():
        ended, said = run([sys.executable, "-c", BEGIN + expected[2]], False, random)
        wrong = complaint(ended, said, expected)
        print(f"{name}: {wrong or 'ok'}")
        if wrong:
            bad += 1
            print(said)
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
