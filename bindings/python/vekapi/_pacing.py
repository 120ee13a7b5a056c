"""Gates and senders: no more requests of code 129 within a time than are allowed."""

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
        raise asked  # nobody waits for it: printed, and dropped

    def _entry(self, table, event):
        """The table with its one callback; of nothing when there is no event to tell."""
        kind = table._fields_[0][1]
        self._callbacks = table(entry(kind, self, event)) if event else table()
        return byref(self._callbacks)


class Gate(_Paced):
    """Tells when a request may go. on_free(gate) is called when it may again, after call_when_free(); on the thread that
    made the gate, in its message loop, or else on the library's timer thread."""

    _delete = "CVekFlowCtrl_Delete"

    def __init__(self, on_free=None, on_message_loop=False):
        load()
        create = lib.CVekFlowCtrl_Create_OnMessageLoop if on_message_loop else lib.CVekFlowCtrl_Create
        table = self._entry(CVekFlowCtrlCallbacks, on_free and (lambda: on_free(self)))
        super().__init__(create(table, None), threading.current_thread() if on_message_loop else None)

    def set_rate(self, count, ms):
        """So many within so many milliseconds; with either below 1, everything may go."""
        self._call(lib.CVekFlowCtrl_SetFlowCtrl, count, ms)

    def take(self):
        """True when a request may go now; it counts as sent."""
        return self._call(lib.CVekFlowCtrl_CheckFlowCtrl) == 0

    def acknowledged(self, count):
        self._call(lib.CVekFlowCtrl_SetAckTime, count)

    def call_when_free(self):
        self._call(lib.CVekFlowCtrl_StartCheckTimer)


class Sender(_Paced):
    """Sends requests of code 129 no faster than set, and holds the others.

    on_sent(sender, sent, refused), if given, comes in the message loop of the thread that made the sender, when held
    requests have gone or the link has refused some."""

    _delete = "CVekFlowCtrlSender_Delete"

    def __init__(self, client, on_sent=None):
        if on_sent:
            table = self._entry(CVekFlowCtrlSenderCallbacks, lambda sent, refused: on_sent(self, sent, refused))
            handle = client._call(lib.CVekFlowCtrlSender_Create_OnMessageLoop, table, None)
        else:
            handle = client._call(lib.CVekFlowCtrlSender_Create)
        super().__init__(handle, threading.current_thread() if on_sent else None)

    def set_rate(self, count, ms):
        """So many within so many milliseconds; with either below 1, everything goes at once."""
        self._call(lib.CVekFlowCtrlSender_SetFlowCtrl, count, ms)

    @property
    def pending(self):
        """Requests held."""
        return self._call(lib.CVekFlowCtrlSender_PendingCount)

    @property
    def refused(self):
        """Requests that the link refused: not sent, and not held."""
        return self._call(lib.CVekFlowCtrlSender_RefusedCount)

    def drop(self):
        """Drops what is held; how many requests that were."""
        return self._call(lib.CVekFlowCtrlSender_DropPending)

    def look_again(self):
        """Sends what is held and may go now."""
        self._call(lib.CVekFlowCtrlSender_CheckPending)

    def take(self, size=65536):
        """The oldest request that is held, as bytes, taken out unsent; None when there is none, or it is longer."""
        buffer = ctypes.create_string_buffer(size)
        return buffer.raw[: self._call(lib.CVekFlowCtrlSender_TakePending, buffer, size)] or None

    def ack(self, code, raw):
        """To be called with what Handler.on_ack brought."""
        self._call(lib.CVekFlowCtrlSender_AckParser, code, raw)

    def send(self, request_):
        """One request of two lines; False when it is held."""
        return self._call(lib.CVekFlowCtrlSender_SendVekRequest, *request(request_))
