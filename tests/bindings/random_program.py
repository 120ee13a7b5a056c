#!/usr/bin/env python3
"""A program that makes random legal calls, on several threads and inside events, and exits in the middle of them.

    random_program.py LIBRARY HOST:PORT ENDING SEED

Writes "busy" when its first session is up. random_programs.py lists the endings.
"""

import os
import pathlib
import random
import sys
import threading

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "bindings/python"))
import vekapi  # noqa: E402

library, server, ending, seed = sys.argv[1:]
STEPS = 150
busy = threading.Event()
clients, senders, gates = [], [], []  # all ever made, closed ones too


class Session(vekapi.Handler):
    """Sends more requests in its events, at the pace allowed, so that some are always in flight."""

    def __init__(self, dice, exit_code=None):
        self.dice, self.exit_code, self.reports = dice, exit_code, 0
        self.opening = threading.Lock()  # connect() and disconnect() of a client must not overlap
        self.sender = None

    def on_ready(self, client):
        if not busy.is_set():
            print("busy", flush=True)
            busy.set()
        len(client.sign_on_result().plain())
        if self.sender:
            self.sender.set_rate(10, 5)  # requests sent in an earlier session are never acknowledged
        for _ in range(5):
            self.order()

    def on_report(self, client, report):
        self.reports += 1
        if report.startswith("fill") and self.sender and self.sender.pending < 10:
            self.order()
        if self.exit_code is not None and self.reports > 10:
            sys.exit(self.exit_code)
        if self.dice.random() < 0.02:
            step(self.dice)

    def on_task_result(self, client, result):
        result.plain()
        client.send(128, "q products")

    def on_ack(self, client, code, raw):
        if self.sender:
            self.sender.ack(code, raw)

    def order(self):
        if self.sender:
            self.sender.send("o new\nprod=TXF side=B qty=2 price=MKT")


def begin(dice, on_message_loop=False, exit_code=None):
    session = Session(dice, exit_code)
    client = vekapi.Client(session, on_message_loop)
    client.session = session
    session.sender = vekapi.Sender(client)
    session.sender.set_rate(10, 5)
    clients.append(client)
    senders.append(session.sender)
    connect(dice)
    return client


def exclusively(do, dice):
    client = dice.choice(clients)
    if client.session.opening.acquire(blocking=False):
        try:
            do(client)
        finally:
            client.session.opening.release()


def connect(dice):
    exclusively(lambda c: c.connect(server, "random", "1.0.0.0", "trader", "", "secret"), dice)


def pace(dice):
    gate = vekapi.Gate(lambda gate: gate.take() and gate.acknowledged(1))
    gate.set_rate(1, 1)
    gate.take()
    gate.call_when_free()
    gates.append(gate)


ACTIONS = [
    (1, lambda d: len(clients) < 8 and begin(d)),
    (3, connect),
    (1, lambda d: exclusively(lambda c: c.disconnect(), d)),
    (1, lambda d: len(clients) > 3 and d.choice(clients[1:]).close()),
    (1, lambda d: d.choice(senders[1:] or senders).close() if len(senders) > 3 else None),
    (2, pace),
    (2, lambda d: gates and d.choice(gates).close()),
    (2, lambda d: gates and d.choice(gates).call_when_free()),
    (9, lambda d: d.choice(clients).send(128, "q ticks rows=200")),
    (9, lambda d: d.choice(senders).send("o new\nprod=TXF side=S qty=3 price=MKT")),
    (3, lambda d: d.choice(senders).set_rate(1 + d.randrange(10), 5 + d.randrange(20))),
    (2, lambda d: (d.choice(senders).look_again(), d.choice(senders).drop(), d.choice(senders).take())),
    (2, lambda d: d.choice(clients).change_password("trader", "secret", "secret")),
    (2, lambda d: (d.choice(clients).state, d.choice(clients).connected, d.choice(senders).pending)),
]


def step(dice):
    dice.choices([do for _, do in ACTIONS], [weight for weight, _ in ACTIONS])[0](dice)


def steps(dice, count=STEPS):
    while count:
        step(dice)
        count -= 1


def worker(name, daemon, count):
    thread = threading.Thread(target=steps, args=(random.Random(seed + name), count), daemon=daemon)
    thread.start()
    return thread


def run(dice):
    """Makes calls on several threads and returns while they are running, unless the ending joins them."""
    first = begin(dice, exit_code=5 if ending == "event_exit" else None)
    if not busy.wait(20):
        raise SystemExit("not signed on")
    if ending == "event_exit":
        first.wait(lambda: False)
    workers = [worker("a", ending == "daemon", -1 if ending == "daemon" else STEPS), worker("b", False, STEPS)]
    steps(dice)
    if ending == "joined":
        [thread.join() for thread in workers]


def on_loop(dice):
    begin(dice, on_message_loop=True, exit_code=6 if ending == "loop_exit" else None)
    other = worker("a", False, STEPS)
    while ending != "some_loop" or other.is_alive():  # which may wait for this thread
        vekapi.dispatch(-1 if ending == "loop_interrupt" else 50)
        if ending == "loop_exit" and not other.is_alive():  # it may have left the first client without a session
            other = worker(other.name, False, STEPS)  # other steps, which may leave it one


def fork(dice):
    run(dice)
    child = os.fork()
    if child == 0:
        steps(dice)
        sys.exit(3)
    steps(dice)
    sys.exit(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) + 1)


def get_stuck(dice):
    """Ends while an event does not return."""
    stuck, session = threading.Event(), begin(dice).session
    session.on_report = lambda client, report: stuck.set() or threading.Event().wait()
    stuck.wait(20)


def main():
    vekapi.load(library)
    dice = random.Random(seed)
    if ending in ("loop_exit", "loop_interrupt", "some_loop"):
        on_loop(dice)
    elif ending == "fork":
        fork(dice)
    elif ending == "raise":
        with begin(dice) as client, vekapi.Sender(client):
            run(dice)
            raise RuntimeError("the program's own")
    elif ending == "stuck":
        get_stuck(dice)
    else:
        run(dice)
    if ending == "interrupt":
        clients[0].wait(lambda: False)
        while True:
            threading.Event().wait(0.1)  # an unlimited wait may miss a Ctrl-C that comes as it begins
    if ending == "exit":
        sys.exit(7)


main()
