"""Gates and senders: limit requests of code 129 to a rate."""

import ctypes
import threading
from ctypes import byref

from ._declarations import CVekFlowCtrlCallbacks, CVekFlowCtrlSenderCallbacks
from ._events import entry
from ._library import lib, load
from ._owned import Owned
from ._text import request


class _Paced(Owned):
    def _happened(self): pass

    def _exits(self, asked):
        raise asked  # no wait() to raise it from: printed and dropped

    def _entry(self, table, event):
        """A table with its one callback; empty if `event` is None."""
        kind = table._fields_[0][1]
        self._callbacks = table(entry(kind, self, event)) if event else table()
        return byref(self._callbacks)


class Gate(_Paced):
    """Tells when a request may be sent. After call_when_free(), on_free(gate) is called once the gate is open: on the
    creating thread, in its message loop, or else on the library's timer thread."""

    _delete = "CVekFlowCtrl_Delete"

    def __init__(self, on_free=None, on_message_loop=False):
        load()
        create = lib.CVekFlowCtrl_Create_OnMessageLoop if on_message_loop else lib.CVekFlowCtrl_Create
        table = self._entry(CVekFlowCtrlCallbacks, on_free and (lambda: on_free(self)))
        super().__init__(create(table, None), threading.current_thread() if on_message_loop else None)

    def set_rate(self, count, ms):
        """At most `count` requests within `ms` milliseconds; if either is below 1, no limit."""
        self._call(lib.CVekFlowCtrl_SetFlowCtrl, count, ms)

    def take(self):
        """True if a request may be sent now; it counts as sent."""
        return self._call(lib.CVekFlowCtrl_CheckFlowCtrl) == 0

    def acknowledged(self, count):
        self._call(lib.CVekFlowCtrl_SetAckTime, count)

    def call_when_free(self):
        self._call(lib.CVekFlowCtrl_StartCheckTimer)


class Sender(_Paced):
    """Sends requests of code 129 at the rate set, and holds the others.

    on_sent(sender, sent, refused), if given, is called in the creating thread's message loop when held requests
    were sent or the link refused some."""

    _delete = "CVekFlowCtrlSender_Delete"

    def __init__(self, client, on_sent=None):
        if on_sent:
            table = self._entry(CVekFlowCtrlSenderCallbacks, lambda sent, refused: on_sent(self, sent, refused))
            handle = client._call(lib.CVekFlowCtrlSender_Create_OnMessageLoop, table, None)
        else:
            handle = client._call(lib.CVekFlowCtrlSender_Create)
        super().__init__(handle, threading.current_thread() if on_sent else None)

    def set_rate(self, count, ms):
        """At most `count` requests within `ms` milliseconds; if either is below 1, all are sent at once."""
        self._call(lib.CVekFlowCtrlSender_SetFlowCtrl, count, ms)

    @property
    def pending(self):
        """Number of held requests."""
        return self._call(lib.CVekFlowCtrlSender_PendingCount)

    @property
    def refused(self):
        """Number of requests the link refused: not sent and not held."""
        return self._call(lib.CVekFlowCtrlSender_RefusedCount)

    def drop(self):
        """Drops the held requests and returns their number."""
        return self._call(lib.CVekFlowCtrlSender_DropPending)

    def look_again(self):
        """Sends the held requests that the rate allows now."""
        self._call(lib.CVekFlowCtrlSender_CheckPending)

    def take(self, size=65536):
        """Removes and returns the oldest held request, as bytes, unsent; None if there is none, or it is longer."""
        buffer = ctypes.create_string_buffer(size)
        return buffer.raw[: self._call(lib.CVekFlowCtrlSender_TakePending, buffer, size)] or None

    def ack(self, code, raw):
        """Call it with the arguments of Handler.on_ack."""
        self._call(lib.CVekFlowCtrlSender_AckParser, code, raw)

    def send(self, request_):
        """Sends one request of two lines; False if it is held."""
        return self._call(lib.CVekFlowCtrlSender_SendVekRequest, *request(request_))
