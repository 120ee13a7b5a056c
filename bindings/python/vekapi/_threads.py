"""Python's state of a library thread. Made anew for each callback it costs several times what the callback does."""

import ctypes
from threading import get_ident
from typing import Any, Callable, Optional, Set

kept: Set[int] = set()  # threads whose state is kept until they end


def _at_thread_end() -> Optional[Callable[..., Any]]:
    """The C library's function that runs a destructor at a thread's end; only glibc has it."""
    try:
        function: Callable[..., Any] = ctypes.CDLL(None).__cxa_thread_atexit_impl
        return function
    except (AttributeError, OSError, TypeError):
        return None


_register = _at_thread_end()
can_keep = _register is not None


def _end(_: Any) -> None:
    ctypes.pythonapi.PyGILState_Release(0)  # the hold of keep(); the state goes when this function returns
    kept.discard(get_ident())
    told()


_ended = ctypes.CFUNCTYPE(None, ctypes.c_void_p)(_end)
ctypes.pythonapi.Py_IncRef(ctypes.py_object(_ended))  # the interpreter may end before such a thread


def told() -> None:
    """Called when a thread whose state was kept ends."""


def keep() -> None:
    """Keeps the calling thread's state until the thread ends. Only inside a callback, on a thread that Python did not
    start, and if `can_keep`."""
    if _register and _register(_ended, None, _register) == 0:
        ctypes.pythonapi.PyGILState_Ensure()
        kept.add(get_ident())


def forget() -> None:
    """In the child of a fork, where only this thread exists."""
    kept.intersection_update([get_ident()])
