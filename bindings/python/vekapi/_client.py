"""Sessions."""

import ctypes
import queue
import threading
import time
from ctypes import byref
from typing import Any, Callable, List, Optional, Tuple, Union

from ._declarations import CVekClientCallbacks
from ._events import entry
from ._library import dispatch, lib, load
from ._owned import Owned
from ._results import TaskResult
from ._text import encode, request, text

_SLICE = 0.2  # seconds between checks for signals, where waiting for a lock blocks them


class Handler:
    """Receives the events of a client. Derive from it and override the events of interest."""

    def on_unknown(self, client: "Client", code: int, packet: bytes) -> None:
        """A message of an unknown code; `packet` is all of it, header included."""

    def on_connect(self, client: "Client", reason: str) -> None:
        """The state changed. `reason` is empty if the server accepted the connect request."""

    def on_ready(self, client: "Client") -> None:
        """Signed on; requests may be sent."""

    def on_task_result(self, client: "Client", result: TaskResult) -> None:
        """The result of a query, borrowed until this returns."""

    def on_password(self, client: "Client", user: str, answer: str) -> None:
        """The answer to change_password(), for display."""

    def on_ack(self, client: "Client", code: int, raw: bytes) -> None:
        """An acknowledgement, code 129 or 131; `raw` is for Sender.ack()."""

    def on_report(self, client: "Client", report: str) -> None:
        """A report from the server."""

    def on_destroy(self, client: "Client") -> None:
        """The client is being deleted. Its last event."""


class Client(Owned):
    """One session with an order-routing server."""

    _delete, _rank = "CVekClient_Delete", 1

    def __init__(self, handler: Handler, on_message_loop: bool = False) -> None:
        """With `on_message_loop` events run on the calling thread, in its message loop, dispatch() or wait()."""
        load()
        self._waiters: "List[queue.SimpleQueue[None]]" = []
        self._over, self._exit = True, None  # type: bool, Optional[BaseException]
        self._callbacks = self._table(handler, on_message_loop)
        create = lib.CVekClient_Create_OnMessageLoop if on_message_loop else lib.CVekClient_Create
        super().__init__(create(byref(self._callbacks), None), threading.current_thread() if on_message_loop else None)

    def _table(self, h: Handler, on_message_loop: bool) -> CVekClientCallbacks:
        events: Tuple[Callable[..., None], ...] = (
            lambda code, packet, size: h.on_unknown(self, code, ctypes.string_at(packet, size)),
            lambda reason: self._on_connect(h, text(reason) or ""),
            lambda: h.on_ready(self),
            lambda result: self._on_task_result(h, TaskResult(result.contents)),
            lambda user, answer: h.on_password(self, text(user) or "", text(answer) or ""),
            lambda code, ack: h.on_ack(self, code, ack),
            lambda report: h.on_report(self, text(report) or ""),
            lambda: h.on_destroy(self),
        )
        kinds = [kind for _, kind in CVekClientCallbacks._fields_]
        last = len(events) - 1
        # Acknowledgements and reports come on the link's thread, in large numbers.
        keeps = () if on_message_loop else (5, 6)
        return CVekClientCallbacks(*(
            entry(kinds[i], self, event, i == last, i in keeps) for i, event in enumerate(events)))

    def _on_connect(self, handler: Handler, reason: str) -> None:
        try:
            handler.on_connect(self, reason)
        finally:
            self._over = self.state < 0

    def _on_task_result(self, handler: Handler, result: TaskResult) -> None:
        try:
            handler.on_task_result(self, result)
        finally:
            result.end()

    def _happened(self) -> None:
        # No lock: if Ctrl-C interrupted the main thread holding it, it would stay locked and block events.
        for waiter in list(self._waiters):
            waiter.put(None)

    def _exits(self, asked: BaseException) -> None:
        self._exit = asked

    def close(self) -> None:
        """Disconnects and deletes the client; no event follows. A second call does nothing."""
        super().close()
        self._happened()

    def wait(self, until: Optional[Callable[[], Any]] = None, timeout: Optional[float] = None) -> bool:
        """Waits until `until()`, called after each event, returns true; without it, until the session has ended.
        Returns False if the session ended before, or after `timeout` seconds. sys.exit() in an event exits from
        here. Must not be called inside events. Runs the events of a client on a message loop."""
        happened: "queue.SimpleQueue[None]" = queue.SimpleQueue()
        self._waiters.append(happened)
        try:
            return self._wait(happened, until, timeout)
        finally:
            self._waiters.remove(happened)

    def _wait(self, happened: "queue.SimpleQueue[None]", until: Optional[Callable[[], Any]], timeout: Optional[float]) -> bool:
        deadline = None if timeout is None else time.monotonic() + timeout
        while True:
            over = self._over or self._closed
            if self._exit:
                asked, self._exit = self._exit, None
                raise asked
            if until and until():
                return True
            left = _SLICE if deadline is None else min(_SLICE, deadline - time.monotonic())
            if over or left <= 0:
                return over and not until
            self._wait_for_event(happened, left)

    def _wait_for_event(self, happened: "queue.SimpleQueue[None]", seconds: float) -> None:
        if self._thread is threading.current_thread():
            dispatch(max(1, int(seconds * 1000)))
            return
        try:
            happened.get(timeout=seconds)
        except queue.Empty:
            pass

    @property
    def state(self) -> int:
        """One of CONNECTING, AP_READY, LINK_BROKEN and so on; negative when the session is over."""
        return int(self._call(lib.CVekClient_State))

    @property
    def connected(self) -> bool:
        """The server has accepted the connect request, and the link is there."""
        return bool(self._call(lib.CVekClient_IsSessionConnected))

    @property
    def server_name(self) -> Optional[str]:
        """Name and version of the server; None after close(). Read it in events, or while no sign-on can be in progress."""
        name: Optional[bytes] = self._call(lib.CVekClient_ServerName)
        return text(name)

    def connect(self, setting: str, app_name: str, app_version: str, id1: str, id2: str, password: str) -> bool:
        """True if the attempt was started; on_connect reports its outcome."""
        texts = (setting, app_name, app_version, id1, id2, password)
        self._over = False
        begun = bool(self._call(lib.CVekClient_Connect, *map(encode, texts)))
        self._over = self._over or not begun
        return begun

    def disconnect(self) -> None:
        """Ends the session; on_connect tells, and nothing of it follows."""
        self._call(lib.CVekClient_Disconnect)

    def sign_on_result(self) -> TaskResult:
        """The result of the last sign-on: the accounts. Read it in events, or while no sign-on can be in progress."""
        return TaskResult(self._call(lib.CVekClient_SgnResult))

    def change_password(self, user: str, old: str, new: str) -> bool:
        """True if the change was sent; on_password has the answer."""
        return bool(self._call(lib.CVekClient_ChgPass, encode(user), encode(old), encode(new)))

    def send(self, code: int, text: Union[str, bytes]) -> bool:
        """Code 128: a query; False also if the query rate is used up."""
        return bool(self._call(lib.CVekClient_SendVekRequest, code, *request(text)))

    def query(self, text: Union[str, bytes]) -> int:
        """0 if sent; milliseconds until the query rate allows it; -1 if it cannot be sent."""
        return int(self._call(lib.CVekClient_SendVekQueryRequest, *request(text)))
