"""The library: loading it, calling it, and what happens to an exit that is asked for inside an event."""

import ctypes
import sys
import threading
import time

from . import _declarations

_SLICE_MS = 100  # how long the library waits at a time: signals are noticed in between
EXITS = (SystemExit, KeyboardInterrupt)


class _Functions:
    """The functions of VekApiC.h as they are, as attributes, after load()."""


lib = _Functions()
_here = threading.local()
_loading = threading.Lock()
_next_hook = None


def load(path=None):
    """Loads the library, once; without a path where the system finds libraries."""
    global _next_hook
    with _loading:
        if not vars(lib):
            loaded = ctypes.CDLL(path or ("vekapi.dll" if sys.platform == "win32" else "libvekapi.so.0"))
            for name, (result, arguments) in _declarations.PROTOTYPES.items():
                function = getattr(loaded, name)
                function.restype, function.argtypes = result, arguments
                setattr(lib, name, function)
            _next_hook, sys.unraisablehook = sys.unraisablehook, _unraisable
    return lib


def call(function, *arguments):
    """Calls the library. An exit that an event asks for on this thread meanwhile goes on from here."""
    _here.depth = getattr(_here, "depth", 0) + 1
    try:
        result = function(*arguments)
    finally:
        _here.depth -= 1
    asked, _here.exit = getattr(_here, "exit", None), None
    if asked:
        raise asked
    return result


def exit_later(asked):
    """True when this thread is inside call(), which is going to raise it."""
    if getattr(_here, "depth", 0) == 0:
        return False
    _here.exit = asked
    return True


def _unraisable(what):
    """Ctrl-C may strike between the library's call of a callback and the callback's first line, where only ctypes
    can catch it."""
    if not (isinstance(what.exc_value, EXITS) and exit_later(what.exc_value)):
        _next_hook(what)


def dispatch(timeout_ms=0):
    """Runs the events that wait for this thread; waits so long for the first (negative: for ever). The number of
    messages run, negative on error. What exits inside an event, exits from here."""
    from ._owned import delete_waiting

    delete_waiting()
    until = None if timeout_ms < 0 else time.monotonic() + timeout_ms / 1000
    while True:
        left = _SLICE_MS if until is None else min(_SLICE_MS, max(0, int((until - time.monotonic()) * 1000)))
        done = call(lib.CVekMessageLoop_Dispatch, left)
        if done or left == 0:
            return done


def message_loop_fd():
    """Readable while dispatch() has something to run on this thread; -1 on Windows."""
    return lib.CVekMessageLoop_Fd()
