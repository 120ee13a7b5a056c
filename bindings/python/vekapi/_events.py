"""Events: passing the library's callbacks to Python, and stopping them."""

import threading
from ctypes import CFUNCTYPE, c_void_p, cast
from threading import get_ident
from typing import Any, Callable, List, Set, Tuple

from . import _threads
from ._library import EXITS, exit_later

_running: List[Tuple[int, Any]] = []  # threads that are inside events, and whose
ending = False  # the program is ending: new objects behave like closed ones
_quiet = threading.Condition()


def entry(kind: Any, owner: Any, event: Callable[..., Any], last: bool = False, keeps: bool = False) -> Any:
    """A ctypes callback for an event of `owner`. The owner is not deleted before the event has returned, because the
    event's arguments are borrowed from it. An object is already closed when its last event runs. With
    `keeps` it comes on a library thread only, whose state is kept."""
    keeps, kept = keeps and _threads.can_keep, _threads.kept

    def run(_handle: Any, _user: Any, *arguments: Any) -> None:
        if ending and not last:
            return
        here = get_ident()
        if keeps and here not in kept:
            _threads.keep()
        mine = here, owner
        _running.append(mine)
        held = False
        try:
            held = not last and owner._hold(here)
            if last or held and not ending:
                event(*arguments)
        except EXITS as asked:
            if not exit_later(asked):
                owner._exits(asked)
        finally:
            if owner._waiters:
                owner._happened()
            if held:
                owner._leave(here)
            _running.remove(mine)
            if ending:
                quieter()  # last: at exit, threads still in here are waited for

    # The handle, which is not used, as a number: as a pointer it would be an object made for each event.
    return cast(CFUNCTYPE(None, c_void_p, *kind._argtypes_[1:])(run), kind)


def elsewhere() -> Set[int]:
    """The other threads that are inside events."""
    return {thread for thread, _ in list(_running)} - {get_ident()}


def is_running(owner: Any) -> bool:
    """True if an event of `owner` is running on another thread."""
    return any(whose is owner and thread != get_ident() for thread, whose in list(_running))


def quieter() -> None:
    if ending:
        with _quiet:
            _quiet.notify_all()


_threads.told = quieter


def wait_until(done: Callable[[], bool], seconds: float) -> None:
    try:
        with _quiet:
            _quiet.wait_for(done, seconds)
    except KeyboardInterrupt:
        pass  # Ctrl-C ends the wait


def stop(seconds: float) -> Set[int]:
    """Stops passing events on, and waits for those running on other threads. Returns the threads whose events have not
    returned in time."""
    global ending
    ending = True
    wait_until(lambda: not elsewhere(), seconds)
    return elsewhere()


def forget() -> None:
    """In the child of a fork, where only this thread exists."""
    global _quiet
    _quiet = threading.Condition()
    _threads.forget()
    _running[:] = [(thread, owner) for thread, owner in _running if thread == get_ident()]
