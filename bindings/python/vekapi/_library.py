"""The library: loading it, calling it, and handling an exit requested inside an event."""

import ctypes
import os
import sys
import threading
import time
from typing import Any, Callable, Optional

from . import _declarations

_SLICE_MS = 100  # longest single wait in the library; signals are handled in between
EXITS = (SystemExit, KeyboardInterrupt)


class _Functions:
    """The functions of VekApiC.h and VekSessionC.h, unchanged, as attributes; set by load()."""

    def __getattr__(self, name: str) -> Callable[..., Any]:
        raise AttributeError(f"the library has no function {name}, or load() was not called")


lib = _Functions()
_here = threading.local()
_loading = threading.Lock()
_next_hook: Any = None


def _own_library() -> str:
    name = "vekapi.dll" if sys.platform == "win32" else "libvekapi.so.0"
    inside = os.path.join(os.path.dirname(os.path.abspath(__file__)), name)
    return inside if os.path.exists(inside) else name


def load(path: Optional[str] = None) -> _Functions:
    """Loads the library, once; without a path the one in the package, or else in the system's library directories."""
    global _next_hook
    with _loading:
        if not vars(lib):
            loaded = ctypes.CDLL(path or _own_library())
            for name, (result, arguments) in _declarations.PROTOTYPES.items():
                function = getattr(loaded, name)
                function.restype, function.argtypes = result, arguments
                setattr(lib, name, function)
            _next_hook, sys.unraisablehook = sys.unraisablehook, _unraisable
    return lib


def call(function: Callable[..., Any], *arguments: Any) -> Any:
    """Calls the library. An exit requested by an event on this thread meanwhile is raised here."""
    _here.depth = getattr(_here, "depth", 0) + 1
    try:
        result = function(*arguments)
    finally:
        _here.depth -= 1
    asked, _here.exit = getattr(_here, "exit", None), None
    if asked:
        raise asked
    return result


def int32(number: int) -> int:
    """ctypes would drop the upper bits."""
    if not -(2**31) <= number < 2**31:
        raise ValueError(f"{number} is out of range")
    return number


def exit_later(asked: BaseException) -> bool:
    """True if this thread is inside call(), which will raise it."""
    if getattr(_here, "depth", 0) == 0:
        return False
    _here.exit = asked
    return True


def _unraisable(what: Any) -> None:
    """Ctrl-C may occur between the library's call of a callback and the callback's first line, where only ctypes
    can catch it."""
    if not (isinstance(what.exc_value, EXITS) and exit_later(what.exc_value)):
        _next_hook(what)


def dispatch(timeout_ms: int = 0) -> int:
    """Runs the events queued for this thread, waiting up to timeout_ms for the first (negative: no limit). Returns the
    number of messages run, negative on error. An exit inside an event is raised here."""
    from ._owned import delete_waiting

    delete_waiting()
    until = None if timeout_ms < 0 else time.monotonic() + timeout_ms / 1000
    while True:
        left = _SLICE_MS if until is None else min(_SLICE_MS, max(0, int((until - time.monotonic()) * 1000)))
        done = call(lib.CVekMessageLoop_Dispatch, left)
        if done or left == 0:
            return int(done)


def message_loop_fd() -> int:
    """Readable while dispatch() has something to run on this thread; -1 on Windows."""
    return int(lib.CVekMessageLoop_Fd())
