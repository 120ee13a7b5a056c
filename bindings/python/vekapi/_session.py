"""Sessions that reconnect by themselves and report the fate of every request. VekSessionC.h documents states, fates, reasons
and times."""

import asyncio
import math
import queue
import threading
import time
from typing import Any, AsyncIterator, Callable, Iterator, Optional

from . import _declarations as d
from ._enums import FateKind, State
from ._fates import Event, Fate, NotAnswered, Result
from ._library import lib
from ._owned import _PATIENCE, Owned
from ._session_base import Entered, SessionBase, _ms

_SLICE = 0.2  # seconds; longest single wait: signals are handled in between
_BATCH = 1000  # events taken per turn of an event loop


def _answer(fate: Fate) -> Result:
    if fate.kind is not FateKind.ANSWERED or fate.result is None:
        raise NotAnswered(fate)
    return fate.result


class Session(SessionBase):
    """A session for coroutines: `async with vekapi.Session(...) as session:`. Events run on the event loop that opened it,
    one at a time."""

    async def open(self) -> None:
        """Opens the session and waits until it is up. SessionError if it is refused, stopped or closed."""
        self._begin()
        self._watch(asyncio.get_running_loop())
        await self.until_up()

    async def until_up(self) -> None:
        """Waits until the session is up. SessionError if it is refused, stopped or closed."""
        settled = self._future()
        self._when_settled(_bring_to(settled))
        self._check_up(await settled)

    async def query(self, text: str, timeout: Optional[float] = None, hold: Optional[float] = None) -> Result:
        """The result of a query. NotAnswered if it has none."""
        return _answer(await self._ask(d.cvmc_TaskResult, text, None, 0, hold, timeout))

    async def send(self, text: str, hold: Optional[float] = None, timeout: Optional[float] = None,
                   work_id: Optional[str] = None, flags: int = 0) -> Fate:
        """Sends a request of code 129 (two lines), prefixed with `work_id` if given, and returns its fate. It is held for up
        to `hold` seconds if the rate requires it; its acknowledgement is awaited for up to `timeout` seconds after that.
        Cancelling the task withdraws the request if it is still held; its fate then becomes an event."""
        return await self._ask(d.cvmc_RequestAck, text, work_id, flags, hold, timeout)

    async def change_password(self, user: str, before: str, after: str) -> Fate:
        """The fate's text is the server's message for the user; it does not say whether the change succeeded."""
        return await self._answered(lambda entered: self._change_password(entered, user, before, after))

    def events(self) -> AsyncIterator[Event]:
        """All events from now on that nobody waits for, until the session is closed. Call it on the event loop. They are
        kept as long as the iterator is."""
        came: "asyncio.Queue[Optional[Event]]" = asyncio.Queue()
        self._listen(came)
        return self._iterate(came)

    async def close(self, drain: float = 0) -> None:
        """Ends the session for good, after up to `drain` seconds for outstanding answers. All fates and events are passed
        on before this returns."""
        if drain > 0 and self._state is not State.CLOSED:
            closed = self._future()
            self._state_waiters.append((lambda event: event.state is State.CLOSED, _bring_to(closed)))
            self._call(lib.CVekSession_Close, _ms(drain))
            await closed
        self._end_now()

    async def __aenter__(self) -> "Session":
        await self.open()
        return self

    async def __aexit__(self, *_: Any) -> None:
        await self.close()

    _loop: Optional[asyncio.AbstractEventLoop] = None
    _descriptor = -1

    def _watch(self, loop: asyncio.AbstractEventLoop) -> None:
        if self._loop is loop:
            return
        self._loop, descriptor = loop, self._call(lib.CVekSession_WaitHandle)
        try:
            loop.add_reader(descriptor, self._look)
            self._descriptor = descriptor
        except (NotImplementedError, OSError, ValueError):  # a loop that cannot watch it, as on Windows
            self._start_pump(lambda *told: loop.call_soon_threadsafe(self._told, *told))

    def _look(self) -> None:
        for _ in range(_BATCH):
            taken = self._take(0)
            if not taken:
                return
            self._told(*taken)

    def _end_now(self) -> None:
        self._call(lib.CVekSession_Close, 0)
        self._ending = True
        if self._loop and self._descriptor >= 0 and not self._loop.is_closed():
            self._loop.remove_reader(self._descriptor)
        self._descriptor = -1
        if self._pump:
            self._pump.join()  # the loop passes on the events taken, in its next turn
        self._tell_rest()
        Owned.close(self)

    def _at_exit(self) -> None:
        self._end_now()

    async def _ask(self, code: int, text: str, work_id: Optional[str], flags: int, hold: Optional[float],
                   answer: Optional[float]) -> Fate:
        return await self._answered(lambda entered: self._submit(entered, code, text, work_id, flags, hold, answer))

    async def _answered(self, submit: Callable[[Entered], Optional[Fate]]) -> Fate:
        told = self._future()
        entered = self._expect(_bring_to(told))
        try:
            fate: Fate = submit(entered) or await told
            return fate
        except BaseException:
            self._abandon(entered)
            raise

    def _future(self) -> "asyncio.Future[Any]":
        here = asyncio.get_running_loop()
        if self._loop not in (None, here):
            raise RuntimeError("the session was opened on another event loop, where its events run")
        return here.create_future()

    async def _iterate(self, came: "asyncio.Queue[Optional[Event]]") -> AsyncIterator[Event]:
        self._iterated.append(came)  # or a waiting task that only its queue refers to would be collected
        try:
            event = await came.get()
            while event is not None:
                yield event
                event = await came.get()
        finally:
            self._iterated.remove(came)


def _bring_to(future: "asyncio.Future[Any]") -> Any:
    def bring(value: Any) -> None:
        if not future.done() and not future.get_loop().is_closed():
            future.set_result(value)

    return bring


class BlockingSession(SessionBase):
    """A session for blocking calls: `with vekapi.BlockingSession(...) as session:`. Events run on a thread of the session,
    one at a time; they may call everything except functions that wait."""

    def open(self, timeout: Optional[float] = None) -> None:
        """Opens the session and waits until it is up. SessionError if it is refused, stopped or closed; TimeoutError
        after `timeout` seconds, while the session continues trying."""
        self._begin()
        if not self._pump:
            self._start_pump(self._told)
        self.until_up(timeout)

    def until_up(self, timeout: Optional[float] = None) -> None:
        """Waits until the session is up. SessionError if it is refused, stopped or closed; TimeoutError."""
        slot = self._slot()
        self._when_settled(slot.put_nowait)
        self._check_up(slot.wait(timeout))

    def query(self, text: str, timeout: Optional[float] = None, hold: Optional[float] = None) -> Result:
        """The result of a query. NotAnswered if it has none."""
        return _answer(self._ask(d.cvmc_TaskResult, text, None, 0, hold, timeout))

    def send(self, text: str, hold: Optional[float] = None, timeout: Optional[float] = None,
             work_id: Optional[str] = None, flags: int = 0) -> Fate:
        """Sends a request of code 129 (two lines), prefixed with `work_id` if given, and returns its fate. It is held for up
        to `hold` seconds if the rate requires it; its acknowledgement is awaited for up to `timeout` seconds after that.
        Ctrl-C withdraws the request if it is still held; its fate then becomes an event."""
        return self._ask(d.cvmc_RequestAck, text, work_id, flags, hold, timeout)

    def change_password(self, user: str, before: str, after: str) -> Fate:
        """The fate's text is the server's message for the user; it does not say whether the change succeeded."""
        slot = self._slot()
        entered = self._expect(slot.put_nowait)
        return self._wait(slot, entered, lambda: self._change_password(entered, user, before, after))

    def events(self, timeout: Optional[float] = None) -> Iterator[Event]:
        """All events from now on that nobody waits for, until the session is closed or none came for `timeout` seconds.
        They are kept as long as the iterator is."""
        slot = _Slot()
        self._listen(slot)
        return self._iterate(slot, timeout)

    def close(self, drain: float = 0) -> None:
        """Ends the session for good, after up to `drain` seconds for outstanding answers. All fates and events are passed
        on before this returns, or, inside an event, soon after it."""
        if drain > 0 and self._state is not State.CLOSED and self._pump is not threading.current_thread():
            closed = _Slot()
            self._state_waiters.append((lambda event: event.state is State.CLOSED, closed.put_nowait))
            self._call(lib.CVekSession_Close, _ms(drain))
            closed.wait(None)
        self._end(None)

    def _at_exit(self) -> None:
        self._end(_PATIENCE)

    def _end(self, patience: Optional[float]) -> None:
        self._call(lib.CVekSession_Close, 0)
        self._ending = True
        if self._pump is threading.current_thread():
            return
        if self._pump:
            self._pump.join(patience)
            if self._pump.is_alive():
                return  # its event does not return
        self._finish()

    def __enter__(self) -> "BlockingSession":
        self.open()
        return self

    def _run(self, told: Any) -> None:
        super()._run(told)
        self._finish()

    def _finish(self) -> None:
        self._tell_rest()
        Owned.close(self)

    def _ask(self, code: int, text: str, work_id: Optional[str], flags: int, hold: Optional[float],
             answer: Optional[float]) -> Fate:
        slot = self._slot()
        entered = self._expect(slot.put_nowait)
        return self._wait(slot, entered, lambda: self._submit(entered, code, text, work_id, flags, hold, answer))

    def _slot(self) -> "_Slot":
        if self._pump is threading.current_thread():
            raise RuntimeError("waiting inside an event, for what comes after it")
        return _Slot()

    def _wait(self, slot: "_Slot", entered: Entered, submit: Callable[[], Optional[Fate]]) -> Fate:
        try:
            fate: Fate = submit() or slot.wait(None)
            return fate
        except BaseException:
            self._abandon(entered)
            raise

    def _iterate(self, slot: "_Slot", timeout: Optional[float]) -> Iterator[Event]:
        try:
            event = slot.wait(timeout)
            while event is not None:
                yield event
                event = slot.wait(timeout)
        except TimeoutError:
            pass


class _Slot:
    """Passes a value from one thread to another. Signals are handled while waiting."""

    def __init__(self) -> None:
        self._came: "queue.SimpleQueue[Any]" = queue.SimpleQueue()
        self.put_nowait = self._came.put

    def wait(self, timeout: Optional[float]) -> Any:
        deadline = math.inf if timeout is None else time.monotonic() + timeout
        while True:
            left = min(_SLICE, deadline - time.monotonic())
            try:
                return self._came.get(timeout=max(left, 0))
            except queue.Empty:
                if left <= 0:
                    raise TimeoutError("not in time") from None
