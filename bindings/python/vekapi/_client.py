"""Sessions."""

import ctypes
import queue
import threading
import time
from ctypes import byref

from ._declarations import CVekClientCallbacks
from ._events import entry
from ._library import dispatch, lib, load
from ._owned import Owned
from ._results import TaskResult
from ._text import encode, request, text

_SLICE = 0.2  # seconds between checks for signals, where waiting for a lock blocks them


class Handler:
    """Receives the events of a client. Derive from it and override the events of interest."""

    def on_unknown(self, client, code, packet): pass  # packet: bytes, header included
    def on_connect(self, client, reason): pass
    def on_ready(self, client): pass
    def on_task_result(self, client, result): pass
    def on_password(self, client, user, answer): pass
    def on_ack(self, client, code, raw): pass  # raw: bytes, for Sender.ack
    def on_report(self, client, report): pass
    def on_destroy(self, client): pass


class Client(Owned):
    """One session with an order-routing server."""

    _delete, _rank = "CVekClient_Delete", 1

    def __init__(self, handler, on_message_loop=False):
        load()
        self._waiters, self._over, self._exit = [], True, None
        self._callbacks = self._table(handler, on_message_loop)
        create = lib.CVekClient_Create_OnMessageLoop if on_message_loop else lib.CVekClient_Create
        super().__init__(create(byref(self._callbacks), None), threading.current_thread() if on_message_loop else None)

    def _table(self, h, on_message_loop):
        events = (
            lambda code, packet, size: h.on_unknown(self, code, ctypes.string_at(packet, size)),
            lambda reason: self._on_connect(h, text(reason)),
            lambda: h.on_ready(self),
            lambda result: self._on_task_result(h, TaskResult(result.contents)),
            lambda user, answer: h.on_password(self, text(user), text(answer)),
            lambda code, ack: h.on_ack(self, code, ack),
            lambda report: h.on_report(self, text(report)),
            lambda: h.on_destroy(self),
        )
        kinds = [kind for _, kind in CVekClientCallbacks._fields_]
        last = len(events) - 1
        # Acknowledgements and reports come on the link's thread, and are many.
        keeps = () if on_message_loop else (5, 6)
        return CVekClientCallbacks(*(
            entry(kinds[i], self, event, i == last, i in keeps) for i, event in enumerate(events)))

    def _on_connect(self, handler, reason):
        try:
            handler.on_connect(self, reason)
        finally:
            self._over = self.state < 0

    def _on_task_result(self, handler, result):
        try:
            handler.on_task_result(self, result)
        finally:
            result.end()

    def _happened(self):
        # No lock: if Ctrl-C interrupted the main thread holding it, it would stay locked and block events.
        for waiter in self._waiters and list(self._waiters):
            waiter.put(None)

    def _exits(self, asked):
        self._exit = asked

    def close(self):
        """Disconnects and deletes the client; no event follows. A second call does nothing."""
        super().close()
        self._happened()

    def wait(self, until=None, timeout=None):
        """Waits until `until()`, called after each event, returns true; without it, until the session has ended.
        Returns False if the session ended before, or after `timeout` seconds. sys.exit() in an event exits from
        here. Must not be called inside events. Runs the events of a client on a message loop."""
        happened = queue.SimpleQueue()
        self._waiters.append(happened)
        try:
            return self._wait(happened, until, timeout)
        finally:
            self._waiters.remove(happened)

    def _wait(self, happened, until, timeout):
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

    def _wait_for_event(self, happened, seconds):
        if self._thread is threading.current_thread():
            dispatch(max(1, int(seconds * 1000)))
            return
        try:
            happened.get(timeout=seconds)
        except queue.Empty:
            pass

    @property
    def state(self):
        return self._call(lib.CVekClient_State)

    @property
    def connected(self):
        return self._call(lib.CVekClient_IsSessionConnected)

    @property
    def server_name(self):
        """Read it in events, or while no sign-on can be in progress."""
        return text(self._call(lib.CVekClient_ServerName))

    def connect(self, setting, app_name, app_version, id1, id2, password):
        """True if the attempt was started; on_connect reports its outcome."""
        texts = (setting, app_name, app_version, id1, id2, password)
        self._over = False
        begun = self._call(lib.CVekClient_Connect, *map(encode, texts))
        self._over = self._over or not begun
        return begun

    def disconnect(self):
        self._call(lib.CVekClient_Disconnect)

    def sign_on_result(self):
        """Read it in events, or while no sign-on can be in progress."""
        return TaskResult(self._call(lib.CVekClient_SgnResult))

    def change_password(self, user, old, new):
        return self._call(lib.CVekClient_ChgPass, encode(user), encode(old), encode(new))

    def send(self, code, text):
        """Code 128: a query; False also if the query rate is used up."""
        return self._call(lib.CVekClient_SendVekRequest, code, *request(text))

    def query(self, text):
        """0 if sent; milliseconds until the query rate allows it; -1 if it cannot be sent."""
        return self._call(lib.CVekClient_SendVekQueryRequest, *request(text))
