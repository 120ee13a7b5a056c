#!/usr/bin/env python3
"""Tests of the Python package's sessions with the simulated server: coroutines, blocking calls, and the events of programs
that exit, or are interrupted, with requests held.

    sessions.py LIBRARY HOST:PORT
"""

import asyncio
import gc
import importlib.util
import os
import pathlib
import signal
import subprocess
import sys
import threading
import types
from decimal import Decimal

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "bindings/python"))
import vekapi  # noqa: E402
from vekapi import EventKind, FateKind, Reason, State  # noqa: E402

ORDER = "new\nprod=TXF side=B qty=1 price=MKT"
library, server, *ending = sys.argv[1:]
options = dict(user="trader", password="secret", resync=["orders"], acks="by-id", separator="\1", rate=(1, 600_000))
vekapi.load(library)


async def coroutines():
    session = vekapi.Session(server, **options)
    try:
        await session.query("products")
        raise AssertionError("not open, and answered")
    except vekapi.NotAnswered as error:
        assert error.fate.kind is FateKind.REFUSED and error.fate.reason is Reason.NOT_UP, error.fate
        assert error.fate.safe_to_repeat and error.fate.reason_text("zh-TW") == "連線尚未就緒", error.fate
    events, seen = session.events(), []
    session.events()
    assert len(session._listeners) == 1, "the events of an iterator that is gone are kept"
    asyncio.ensure_future(note(session, seen))  # nothing refers to this task
    async with session:
        gc.collect()
        products, first = await asyncio.gather(session.query("products", timeout=20), session.send(ORDER))
        assert any(product["Prod"] == "TXF" for product in products["products"])
        read(products, next((await session.query("products"))["products"].blocks()))
        assert first.kind == "Acknowledged" and first.work_id in first.text, first
        held = asyncio.ensure_future(session.send(ORDER, hold=60))
        await session.query("stats")  # by now the order before it has been submitted
        assert session.stats()["held"] == 1
        held.cancel()
        withdrawn = [e async for e in until(events, lambda e: e.reason is Reason.WITHDRAWN)][-1]
        assert withdrawn.as_fate().kind is FateKind.NEVER_SENT, withdrawn
        held = asyncio.ensure_future(session.send(ORDER, hold=60))
        await session.query("stats")
    assert (await held).reason is Reason.CLOSED
    last = [event async for event in events][-1]
    assert last.kind is EventKind.STATE and last.state is State.CLOSED and session.state is State.CLOSED, last
    assert seen[-1] == last and not [event async for event in session.events()], len(seen)
    try:
        await session.open()
        raise AssertionError("a closed session was opened")
    except vekapi.SessionError as error:
        assert error.reason is Reason.CLOSED, error
    assert (await session.send(ORDER)).reason is Reason.CLOSED


async def note(session, seen):
    async for event in session.events():
        seen.append(event)


def read(result, block):
    """All ways to the values agree; buffers (`block`, of the same table) outlive their result."""
    table = result["products"]
    cells = [tuple(table.value(row, column) for column in range(len(table.names))) for row in range(len(table))]
    assert table.tuples() == cells and [row["Name"] for row in table] == table.column("Name"), cells
    assert table[1:] == table.to_dicts()[1:] == table.rows()[1:] and table[-1][0] == cells[-1][0], table[1:]
    assert table[0].decimal("Last") == table.decimals("Last")[0] == Decimal(cells[0][table.names.index("Last")])
    assert "products" in result and "nothing" not in result and table[0]["Name"] == "臺股期貨", table[0]
    if importlib.util.find_spec("pandas"):
        frame = table.to_pandas(decimals=["Last"])
        assert list(frame.columns) == list(table.names) and list(frame["Name"]) == table.column("Name"), frame
        assert frame.to_dict("records") == table.to_dicts(decimals=["Last"]), frame
        hollow = types.SimpleNamespace(names=("A", "B"), tuples=lambda: [()])  # a record before its columns
        assert vekapi.Table.to_pandas(hollow).to_dict("records") == [{"A": "", "B": ""}]
    early = vekapi.Row(("1",), {"A": 0, "B": 1})  # from before the second column
    assert dict(early) == {"A": "1"} and len(early) == 1, early
    assert vekapi.Table.column(types.SimpleNamespace(_at=lambda: {"B": 1}, tuples=lambda: [("1",)]), "B") == [""]
    values = vekapi.text(bytes(block.text)).split("\0")
    assert values == [value for row in cells for value in row] + [""] and len(block.starts) == len(values) - 1


def misuse():
    """Is told at once, and leaves nothing behind."""
    emoji, other_loop = "new\n\N{GRINNING FACE}", asyncio.new_event_loop()
    session = vekapi.Session(server, **options)
    asyncio.run(session.open())
    for wanted, misused in (
            (UnicodeEncodeError, lambda: session.submit(emoji, print)),
            (RuntimeError, lambda: other_loop.run_until_complete(session.send(ORDER))),
            (ValueError, lambda: session.set_rate(1, 2**31)),
            (ValueError, lambda: vekapi.Gate().set_rate(1, 2**32)),
            (ValueError, lambda: vekapi.Session(server, rate=(5, 2**32 + 1))),
            (ValueError, lambda: vekapi.Session(server, silenceMs=2**32 + 1))):
        try:
            misused()
        except wanted:
            continue
        raise AssertionError(f"no {wanted}")
    assert not session._waiters
    with vekapi.Client(vekapi.Handler()) as client, vekapi.Sender(client) as sender:
        sender.set_rate(1, 600_000)
        for held in ("first\n", "second, longer\n"):
            sender.send(held)
        assert sender.take(4) == b"second, longer\n" and sender.take() is None
    assert session.submit(ORDER, print).ticket and session.submit(ORDER, print).ticket
    other_loop.run_until_complete(session.close(drain=-1))
    other_loop.close()


async def until(events, wanted):
    async for event in events:
        yield event
        if wanted(event):
            return


def threads():
    complaints, came, fates, submitted = [], [], [], threading.Event()

    def on_event(event):
        came.append(event)
        if event.kind is EventKind.REPORT and submitted.wait(20):
            try:
                session.send(ORDER)
                complaints.append("an event waited for what comes after it")
            except RuntimeError:
                session.close()

    with vekapi.BlockingSession(server, on_event=on_event, **options) as session:
        answers = session.query("products"), session.send(ORDER)
        assert answers[1].answered, answers
        refused = session.submit(ORDER, hold=0)
        assert refused.reason is Reason.TOO_FAST and refused.wait > 0, refused
        held = session.submit(ORDER, fates.append, hold=60)
        assert held.kind is FateKind.NONE and session.withdraw(held.ticket) and not session.withdraw(held.ticket), held
        interrupted_after_submitting(session)
        submitted.set()
        for _ in session.events(timeout=20):
            pass  # until the report has closed it
    assert [fate.reason for fate in fates] == [Reason.WITHDRAWN], fates
    assert came[-1].kind is EventKind.STATE and not complaints, (came, complaints)
    assert any(e.kind is EventKind.FATE and e.reason is Reason.WITHDRAWN for e in came), came
    try:
        vekapi.BlockingSession(server, nonsense=1)
        raise AssertionError("a setting that there is not was taken")
    except ValueError:
        pass
    try:
        vekapi.BlockingSession(server, user="trader", password="wrong").open(timeout=20)
        raise AssertionError("a wrong password was taken")
    except vekapi.SessionError as error:
        assert error.reason is Reason.SIGN_ON_REFUSED, error


def interrupted_after_submitting(session):
    """A signal may be noticed before anybody waits: the order is withdrawn, and its fate becomes an event."""
    call = session._call

    def interrupted(function, *arguments):
        result = call(function, *arguments)
        if function.__name__ == "CVekSession_Submit":
            raise KeyboardInterrupt
        return result

    session._call = interrupted
    try:
        session.send(ORDER, hold=60)
        raise AssertionError("not interrupted")
    except KeyboardInterrupt:
        session._call = call


def end():
    """A program that exits with an open session, or is interrupted while it waits for a held order."""
    say = lambda words: os.write(1, f"{words}\n".encode())  # from two threads
    session = vekapi.BlockingSession(server, on_event=say, **options)
    session.open()
    session.send(ORDER)
    if ending[0] == "interrupted":
        threading.Thread(target=interrupt, args=(session,), daemon=True).start()
        session.send(ORDER, hold=60)
    sys.exit(3)


def interrupt(session):
    while not session.stats()["held"]:
        os.sched_yield()
    os.kill(os.getpid(), signal.SIGINT)


def ends(how, code, *wanted):
    program = subprocess.run([sys.executable, __file__, library, server, how], stdout=subprocess.PIPE,
                             stderr=subprocess.DEVNULL, text=True)
    assert program.returncode == code, (how, program)
    assert all(words in program.stdout for words in wanted), (how, program)


if ending:
    signal.signal(signal.SIGINT, signal.default_int_handler)
    end()
else:
    asyncio.run(coroutines())
    misuse()
    threads()
    ends("exits", 3, ": closed (the session was closed)")
    ends("interrupted", -signal.SIGINT, "not sent (withdrawn)", ": closed (the session was closed)")
    print("sessions: coroutines, threads, ends of programs")
