"""Base of the sessions for coroutines and for threads."""

import ctypes
import itertools
import threading
import traceback
import weakref
from ctypes import byref
from typing import Any, Callable, Dict, Iterable, Iterator, List, Optional, Tuple, Union

from . import _declarations as d
from ._enums import EventKind, FateKind, Reason, State
from ._fates import Event, Fate, SessionError, event_of, reason_of
from ._library import int32, lib, load
from ._owned import Owned
from ._text import encode

_ENDS = (State.REFUSED, State.STOPPED, State.CLOSED)
_ACKS = {"in-order": d.vsa_InOrder, "by-id": d.vsa_ByWorkId}
_LOOK_UP_MS = 500  # longest single wait for events
Tell = Callable[[Any], None]


def _ms(seconds: Optional[float]) -> int:
    """None: as configured, 0; infinity: never."""
    if seconds is None:
        return 0
    return min(max(1, round(seconds * 1000)), 0x7FFFFFFF) if seconds < float("inf") else 0xFFFFFFFF


class Entered:
    """A request. Exists before it is submitted, so that an interruption at any moment can give it up."""

    def __init__(self, tag: int) -> None:
        self.tag, self.receipt = tag, d.CVekReceipt(size=ctypes.sizeof(d.CVekReceipt))

    @property
    def ticket(self) -> int:
        """0: not accepted, or not yet."""
        return int(self.receipt.ticket)

    @property
    def work_id(self) -> str:
        return str(self.receipt.workId.decode())


def _guarded(function: Callable[[Any], None]) -> Tell:
    """An exception in the application's function is printed and dropped."""

    def call(value: Any) -> None:
        try:
            function(value)
        except Exception:
            traceback.print_exc()

    return call


class SessionBase(Owned):
    """Settings, submission of requests, and taking of events."""

    _delete, _rank = "CVekSession_Delete", 0

    def __init__(
        self, endpoints: Union[str, Iterable[str]], *, user: str = "", password: str = "", id2: str = "",
        resync: Iterable[str] = (), rate: Tuple[int, int] = (0, 0), acks: str = "in-order", separator: str = " ",
        app_name: str = "vekapi", app_version: str = "1.0.0.0", probe: Optional[str] = None, id_prefix: str = "",
        on_event: Optional[Callable[[Event], None]] = None, **settings: int,
    ) -> None:
        """`endpoints` are "HOST:PORT" or ":KIND:PARAMETERS"; `resync` the queries sent on every new link before the
        session is up; `rate` (requests, milliseconds) limits requests of code 129; `acks` is "in-order", or "by-id" if
        acknowledgements start with the work id and `separator`. `on_event` is called with every event nobody waits for.
        `settings` are other members of CVekSessionConfig, in its units: silenceMs=5000. Raises ValueError for unknown
        ones and numbers out of range, SessionError if the session cannot be created."""
        load()
        config = d.CVekSessionConfig()
        lib.CVekSession_Defaults(byref(config), ctypes.sizeof(config))
        for name, value in settings.items():
            if not isinstance(getattr(config, name, None), int):
                raise ValueError(f"no setting is called {name}")
            setattr(config, name, value)
            if getattr(config, name) != value:
                raise ValueError(f"{name} cannot be {value}")
        config.apName, config.apVersion, config.id1, config.id2 = map(encode, (app_name, app_version, user, id2))
        config.idPrefix, config.probe, config.idSeparator = encode(id_prefix), encode(probe), encode(separator)
        config.ackRule, (config.rateCount, config.rateMs) = _ACKS[acks], map(int32, rate)
        config.delivery, reason = d.vsd_Poll, ctypes.c_int()
        handle = lib.CVekSession_Create(byref(config), byref(reason))
        if not handle:
            raise SessionError(reason_of(reason.value))
        super().__init__(handle)
        self._password, self._on_event, self._state = password, on_event, State.CLOSED
        self._state_lock, self._states_told = threading.Lock(), 0
        self._last_told: Optional[Event] = None  # the last state event
        self._tags, self._waiters = itertools.count(1), {}  # type: Iterator[int], Dict[int, Tell]
        self._state_waiters: List[Tuple[Callable[[Event], bool], Tell]] = []
        self._listeners: "List[weakref.ref[Any]]" = []  # to queues
        self._iterated: List[Any] = []  # those of them in use by a coroutine
        self._pump: Optional[threading.Thread] = None
        self._ending = False  # closed: all remaining events are queued
        self._over = False  # and all were passed on
        for endpoint in [endpoints] if isinstance(endpoints, str) else endpoints:
            self.add_endpoint(endpoint)
        for question in resync:
            self.add_resync(question)

    @property
    def state(self) -> State:
        """As of the last state event."""
        return self._state

    def add_endpoint(self, setting: str) -> None:
        self._check(self._call(lib.CVekSession_AddEndpoint, encode(setting)))

    def add_resync(self, question: str) -> None:
        """Adds a query that is sent on every new link before the session is up; its result arrives as an event."""
        self._check(self._call(lib.CVekSession_AddResync, encode(question)))

    def set_password(self, password: str) -> None:
        """For later attempts, after a password change."""
        self._password = password
        self._check(self._call(lib.CVekSession_SetPassword, encode(password)))

    def set_rate(self, count: int, ms: int) -> None:
        self._check(self._call(lib.CVekSession_SetRate, int32(count), int32(ms)))

    def wait_time(self, code: int = d.cvmc_RequestAck) -> Optional[float]:
        """Seconds that a request would wait; None if unknown."""
        ms: int = self._call(lib.CVekSession_WaitMs, code)
        return None if ms < 0 else ms / 1000

    def retry_in(self, seconds: float) -> bool:
        """In State.WAITING: makes the next attempt after this delay."""
        return not self._call(lib.CVekSession_RetryIn, int32(max(0, round(seconds * 1000))))

    def resync_done(self, link: int, good: bool = True) -> bool:
        """With flags=vsc_ResyncByHand: the application has finished resyncing."""
        return not self._call(lib.CVekSession_ResyncDone, link, good)

    def withdraw(self, ticket: int) -> bool:
        """Withdraws a held request: its fate is NeverSent. False if it was sent already, or has its fate."""
        return not self._call(lib.CVekSession_Withdraw, ticket)

    def new_work_id(self) -> str:
        """A new work id, for programs that store it before they submit the request."""
        buffer = ctypes.create_string_buffer(32)
        self._call(lib.CVekSession_NewWorkId, buffer)
        return buffer.value.decode()

    def stats(self) -> Dict[str, Any]:
        """Counts since creation, keyed by their names in CVekSessionStats; fates keyed by FateKind."""
        stats = d.CVekSessionStats(size=ctypes.sizeof(d.CVekSessionStats))
        self._call(lib.CVekSession_Stats, byref(stats))
        found = {name: getattr(stats, name) for name, *_ in stats._fields_ if name != "size"}
        found["fates"] = {kind: stats.fates[kind.number] for kind in FateKind if kind.number}
        return found

    def set_trace(self, level: int) -> None:
        """Reports messages on the wire as events: 0 none, 1 headers, 2 whole messages."""
        self._call(lib.CVekSession_SetTrace, level)

    def submit(self, text: str, then: Optional[Callable[[Fate], None]] = None, *, code: int = d.cvmc_RequestAck,
               hold: Optional[float] = None, timeout: Optional[float] = None, work_id: Optional[str] = None,
               flags: int = 0) -> Fate:
        """Submits a request without waiting. Returns a fate of kind REFUSED; or of kind NONE, with the ticket for
        withdraw(): then `then` is called once with the final fate, where events run; without `then` the fate is an event.
        hold=0 refuses a request that cannot be sent at once (Reason.TOO_FAST)."""
        entered = self._expect(_guarded(then) if then else None)
        try:
            refused = self._submit(entered, code, text, work_id, flags, hold, timeout)
        except BaseException:
            self._abandon(entered)
            raise
        return refused or Fate(FateKind.NONE, work_id=entered.work_id, ticket=entered.ticket)

    # Submitting. A fate goes to the waiter of its request, if there is one, else to listeners and on_event.

    def _expect(self, tell: Optional[Tell]) -> Entered:
        entered = Entered(next(self._tags))
        if tell:
            self._waiters[entered.tag] = tell
        return entered

    def _submit(self, entered: Entered, code: int, text: str, work_id: Optional[str], flags: int, hold: Optional[float],
                answer: Optional[float]) -> Optional[Fate]:
        """A fate of kind REFUSED; None if it was accepted."""
        if work_id is not None:
            text = f"{work_id} {text}" if work_id else text
        raw = encode(text)
        buffer = ctypes.create_string_buffer(raw, len(raw) or 1)
        request = d.CVekSubmit(
            size=ctypes.sizeof(d.CVekSubmit), code=code, mode=d.vsm_Try if hold == 0 else d.vsm_Hold, flags=flags, workId=encode(work_id),
            text=ctypes.addressof(buffer), textLength=len(raw), holdMs=_ms(hold), answerMs=_ms(answer))

        def submit() -> int:
            request.tag = entered.tag
            return int(self._call(lib.CVekSession_Submit, byref(request), byref(entered.receipt)))

        return self._enter(entered, submit)

    def _change_password(self, entered: Entered, *texts: str) -> Optional[Fate]:
        return self._enter(entered, lambda: int(self._call(
            lib.CVekSession_ChangePassword, *map(encode, texts), entered.tag, byref(entered.receipt))))

    def _enter(self, entered: Entered, submit: Callable[[], int]) -> Optional[Fate]:
        told = self._states_told
        reason = submit()
        if not reason:
            return None
        self._waiters.pop(entered.tag, None)
        if reason == d.vsr_NotUp:
            self._expect_state(told)
        return Fate(FateKind.REFUSED, self._reason(reason), entered.work_id, link=entered.receipt.link,
                    wait=entered.receipt.waitMs / 1000)

    def _expect_state(self, told: int) -> None:
        """The session is no longer up: a state event must follow, unless it has been taken since `told`."""
        with self._state_lock:
            if told == self._states_told and self._state is State.UP:
                self._state = State.WAITING

    def _abandon(self, entered: Entered) -> None:
        """Nobody waits any more: withdraws it if it is held; its fate becomes an event."""
        if self._waiters.pop(entered.tag, None) and entered.ticket:
            self.withdraw(entered.ticket)

    # Taking events.

    def _take(self, ms: int) -> Optional[Tuple[int, Event]]:
        lent = d.CVekEvent(size=ctypes.sizeof(d.CVekEvent))
        if self._call(lib.CVekSession_Next, ms, byref(lent)) != 1:
            return None
        return lent.tag, event_of(self._handle, lent)

    def _told(self, tag: int, event: Event) -> None:
        if event.kind is EventKind.STATE:
            with self._state_lock:
                self._state, self._states_told, self._last_told = event.state, self._states_told + 1, event
        waiter = self._waiters.pop(tag, None) if event.kind is EventKind.FATE else None
        if waiter:
            waiter(event.as_fate())
        else:
            self._hand_out(event)
        if event.kind is EventKind.STATE:
            for entry in [e for e in self._state_waiters if e[0](event)]:
                if self._stop_waiting(entry):
                    entry[1](event)

    def _hand_out(self, event: Event) -> None:
        self._to_listeners(event)
        if self._on_event:
            _guarded(self._on_event)(event)

    def _listen(self, events: Any) -> None:
        """The queue gets every event that nobody waits for, and None at the end, as long as somebody refers to it."""
        self._listeners.append(weakref.ref(events, self._listeners.remove))
        if self._over:
            events.put_nowait(None)

    def _to_listeners(self, event: Optional[Event]) -> None:
        for listener in list(self._listeners):
            events = listener()
            if events is not None:
                events.put_nowait(event)

    def _tell_rest(self) -> None:
        """Passes on the remaining events of a closed session."""
        while True:
            taken = self._take(0 if self._state is State.CLOSED else _LOOK_UP_MS)
            if not taken:
                break
            self._told(*taken)
        self._over = True
        self._to_listeners(None)

    def _run(self, told: Callable[[int, Event], object]) -> None:
        """The thread that takes events, if no event loop does."""
        while True:
            last = self._ending and self._state is State.CLOSED
            taken = self._take(0 if last else _LOOK_UP_MS)
            if taken:
                told(*taken)
            elif self._ending:
                return

    def _start_pump(self, told: Callable[[int, Event], object]) -> None:
        self._pump = threading.Thread(target=self._run, args=(told,), name="vek-session", daemon=True)
        self._pump.start()

    def _begin(self) -> None:
        self._check(self._call(lib.CVekSession_SetPassword, encode(self._password)))
        before, self._state = self._state, State.CONNECTING
        reason = self._call(lib.CVekSession_Open)
        if reason:
            self._state = before
        self._check(reason)

    def _when_settled(self, tell: Tell) -> None:
        """Passes on the state event that ends connecting, or at once the last one if it is over; None if there is none."""
        entry = (lambda event: event.state is State.UP or event.state in _ENDS, tell)
        self._state_waiters.append(entry)
        if (self._state is State.UP or self._state in _ENDS) and self._stop_waiting(entry):
            tell(self._last_told)

    def _stop_waiting(self, entry: Any) -> bool:
        """False if another thread did so first."""
        try:
            self._state_waiters.remove(entry)
            return True
        except ValueError:
            return False

    def _check(self, reason: int) -> None:
        if reason:
            raise SessionError(self._reason(reason))

    def _reason(self, number: int) -> Optional[Reason]:
        """A closed session has no handle any more, which the library calls a bad argument."""
        return Reason.CLOSED if self._closed and number == d.vsr_BadArgument else reason_of(number)

    @staticmethod
    def _check_up(event: Optional[Event]) -> None:
        if event is None:
            raise SessionError(Reason.NOT_UP)
        if event.state is not State.UP:
            raise SessionError(event.reason, event.detail)
