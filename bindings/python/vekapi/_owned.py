"""Clients, gates, senders and sessions: tracks their users, and deletes them."""

import atexit
import os
import threading
from ctypes import byref
from threading import get_ident
from typing import Any, Callable, List, Optional, Set

from . import _events, _threads
from ._library import call, dispatch, lib

_PATIENCE = 3  # seconds, at exit, for threads inside events or calls
_alive: "Set[Owned]" = set()


class Owned:
    """An object of the library; ended by close(), or as a context manager.

    Thread-safe, also after close(), when functions return the results for a null handle. No event follows close(). If
    threads are still inside calls or events, the last of them deletes the object.
    """

    _delete, _rank = "", 0  # the function that deletes; the order at exit

    def __init__(self, handle: Any, of_thread: Optional[threading.Thread] = None) -> None:
        if not handle and not _events.ending:
            raise MemoryError(f"a {type(self).__name__} cannot be made: no memory, no window, or its client is closed")
        self._handle, self._thread = handle, of_thread
        self._lock, self._closed = threading.Lock(), _events.ending
        self._users: List[int] = []  # threads, once per call or event they are inside
        self._deleting: Optional[int] = None  # the deleting thread
        if handle:
            _alive.add(self)
        if self._closed:
            self._delete_if_last()  # nothing closes it any more

    def _call(self, function: Callable[..., Any], *arguments: Any) -> Any:
        here = get_ident()
        used = self._hold(here)
        try:
            return call(function, byref(self._handle if used else type(self._handle)()), *arguments)
        finally:
            if used:
                self._leave(here)

    def _hold(self, here: int) -> bool:
        # No lock: close() looks for users after setting its flag, a user checks the flag after registering.
        self._users.append(here)
        if not self._closed:
            return True
        self._leave(here)
        return False

    def _leave(self, here: int) -> None:
        self._users.remove(here)
        if self._closed:
            self._delete_if_last()

    def close(self) -> Any:
        """Deletes the object; no event follows. A second call does nothing."""
        self._closed = True
        self._delete_if_last()

    def _delete_if_last(self) -> None:
        if self._thread not in (None, threading.current_thread()):
            return  # left to delete_waiting() on the thread of its message loop
        with self._lock:
            if self._users or self._deleting or self not in _alive:
                return
            self._deleting = get_ident()
        try:
            call(getattr(lib, self._delete), byref(self._handle))
        finally:
            _alive.discard(self)
            _events.quieter()

    def _at_exit(self) -> None:
        self.close()

    def _forget_user(self) -> None:
        """At exit this thread is in no call; after Ctrl-C it may still be recorded as a user."""
        here = get_ident()
        with self._lock:
            self._users = [user for user in self._users if user != here]
            if self._deleting == here:
                self._deleting = None  # deleting a second time does nothing

    def _left_alone(self) -> bool:
        """At exit: True if its message loop is another thread's, or a thread is inside an event and does not return."""
        thread = self._thread
        foreign = thread is not None and thread is not threading.current_thread() and thread.is_alive()
        return foreign or _events.is_running(self)

    def __enter__(self) -> Any:
        return self

    def __exit__(self, *_: Any) -> None:
        self.close()


def delete_waiting() -> None:
    """Deletes the objects closed by other threads that belong to this one."""
    for owned in [o for o in list(_alive) if o._closed]:
        owned._delete_if_last()


def _end_of_loop() -> None:
    """The main thread now waits for the others, which may be waiting, inside calls, for its message loop."""
    here = threading.current_thread()
    mine: Callable[[], List[Owned]] = lambda: [o for o in list(_alive) if o._thread is here]
    for owned in mine():
        owned.close()
    while mine() and any(not (t is here or t.daemon) for t in threading.enumerate()):
        dispatch(50)


def _end() -> None:
    """When the interpreter ends, no library thread may be about to call it. Objects still in use by a thread are left
    to the end of the process."""
    stuck = _events.stop(_PATIENCE)
    for owned in sorted(list(_alive), key=lambda o: o._rank):
        if not owned._left_alone():
            owned._thread = None
            owned._forget_user()
            owned._at_exit()
    over = lambda: not any(o._closed for o in list(_alive)) and _events.elsewhere() | _threads.kept <= stuck
    _events.wait_until(over, _PATIENCE)


def _forget() -> None:
    """The child of a fork has none of the library's threads: the parent's objects are not usable there."""
    for owned in _alive:
        owned._lock, owned._users, owned._closed = threading.Lock(), [], True
    _alive.clear()
    _events.forget()


atexit.register(_end)
if hasattr(threading, "_register_atexit"):  # from Python 3.9 on; atexit runs only after the threads have ended
    threading._register_atexit(_end_of_loop)
if hasattr(os, "register_at_fork"):
    os.register_at_fork(after_in_child=_forget)
