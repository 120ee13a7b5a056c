"""Gates and senders: limit requests of code 129 to a rate."""

import ctypes
import threading
from ctypes import byref
from typing import Any, Callable, Optional, Union

from ._client import Client
from ._declarations import CVekFlowCtrlCallbacks, CVekFlowCtrlSenderCallbacks
from ._events import entry
from ._library import int32, lib, load
from ._owned import Owned
from ._text import request


class _Paced(Owned):
    """Base of gates and senders."""

    _waiters = ()

    def _exits(self, asked: BaseException) -> None:
        raise asked  # no wait() to raise it from: printed and dropped

    def _entry(self, table: Any, event: Optional[Callable[..., None]]) -> Any:
        """A table with its one callback; empty if `event` is None."""
        kind = table._fields_[0][1]
        self._callbacks = table(entry(kind, self, event)) if event else table()
        return byref(self._callbacks)


class Gate(_Paced):
    """Tells when a request may be sent. After call_when_free(), on_free(gate) is called once the gate is open: on the
    creating thread, in its message loop, or else on the library's timer thread."""

    _delete = "CVekFlowCtrl_Delete"

    def __init__(self, on_free: Optional[Callable[["Gate"], Any]] = None, on_message_loop: bool = False) -> None:
        load()
        create = lib.CVekFlowCtrl_Create_OnMessageLoop if on_message_loop else lib.CVekFlowCtrl_Create
        table = self._entry(CVekFlowCtrlCallbacks, (lambda: on_free and on_free(self)) if on_free else None)
        super().__init__(create(table, None), threading.current_thread() if on_message_loop else None)

    def set_rate(self, count: int, ms: int) -> None:
        """At most `count` requests within `ms` milliseconds; if either is below 1, no limit."""
        self._call(lib.CVekFlowCtrl_SetFlowCtrl, int32(count), int32(ms))

    def take(self) -> bool:
        """True if a request may be sent now; it counts as sent."""
        return bool(self._call(lib.CVekFlowCtrl_CheckFlowCtrl) == 0)

    def acknowledged(self, count: int) -> None:
        """The server acknowledged so many requests."""
        self._call(lib.CVekFlowCtrl_SetAckTime, count)

    def call_when_free(self) -> None:
        """Calls on_free once when a request may be sent, perhaps now. Does nothing without a rate."""
        self._call(lib.CVekFlowCtrl_StartCheckTimer)


class Sender(_Paced):
    """Sends requests of code 129 at the rate set, and holds the others.

    on_sent(sender, sent, refused), if given, is called in the creating thread's message loop when held requests
    were sent or the link refused some."""

    _delete = "CVekFlowCtrlSender_Delete"

    def __init__(self, client: Client, on_sent: Optional[Callable[["Sender", int, int], Any]] = None) -> None:
        if on_sent:
            table = self._entry(CVekFlowCtrlSenderCallbacks, lambda sent, refused: on_sent and on_sent(self, sent, refused))
            handle = client._call(lib.CVekFlowCtrlSender_Create_OnMessageLoop, table, None)
        else:
            handle = client._call(lib.CVekFlowCtrlSender_Create)
        super().__init__(handle, threading.current_thread() if on_sent else None)

    def set_rate(self, count: int, ms: int) -> None:
        """At most `count` requests within `ms` milliseconds; if either is below 1, all are sent at once."""
        self._call(lib.CVekFlowCtrlSender_SetFlowCtrl, int32(count), int32(ms))

    @property
    def pending(self) -> int:
        """Number of held requests."""
        return int(self._call(lib.CVekFlowCtrlSender_PendingCount))

    @property
    def refused(self) -> int:
        """Number of requests the link refused: not sent and not held."""
        return int(self._call(lib.CVekFlowCtrlSender_RefusedCount))

    def drop(self) -> int:
        """Drops the held requests and returns their number."""
        return int(self._call(lib.CVekFlowCtrlSender_DropPending))

    def look_again(self) -> None:
        """Sends the held requests that the rate allows now."""
        self._call(lib.CVekFlowCtrlSender_CheckPending)

    def take(self, size: int = 65536) -> Optional[bytes]:
        """Removes and returns the oldest held request, as bytes, unsent; None if there is none. `size`: the expected bytes."""
        while True:
            buffer = ctypes.create_string_buffer(size)
            length: int = self._call(lib.CVekFlowCtrlSender_TakePending, buffer, size)
            if length <= size:
                return buffer.raw[:length] or None
            size = length

    def ack(self, code: int, raw: bytes) -> None:
        """Call it with the arguments of Handler.on_ack."""
        self._call(lib.CVekFlowCtrlSender_AckParser, code, raw)

    def send(self, request_: Union[str, bytes]) -> bool:
        """Sends one request of two lines; False if it is held."""
        return bool(self._call(lib.CVekFlowCtrlSender_SendVekRequest, *request(request_)))
