"""Events: how the library's calls come into Python, and how they stop to."""

import threading

from ._library import EXITS, exit_later

_running = {}  # the objects whose events run, innermost last, by thread; each thread touches its own entry
ending = False  # the program: new objects answer as closed ones do
_quiet = threading.Condition()


def entry(kind, owner, event, last=False):
    """A callback of ctypes for an event of `owner`, which is not deleted before the event has returned: what is lent to the
    event is the owner's. The last event of an object comes when it is closed already."""

    def run(_handle, _user, *arguments):
        if ending and not last:
            return
        _running.setdefault(threading.get_ident(), []).append(owner)
        held = False
        try:
            held = not last and owner._hold()
            if last or held and not ending:
                event(*arguments)
        except EXITS as asked:
            if not exit_later(asked):
                owner._exits(asked)
        finally:
            owner._happened()
            if held:
                owner._leave()
            _leave()  # last: at the end, threads that are on their way out of here are waited for

    return kind(run)


def _leave():
    mine = _running[threading.get_ident()]
    mine.pop()
    if not mine:
        del _running[threading.get_ident()]
    quieter()


def elsewhere():
    """The threads that are inside events, without this one."""
    return set(_running) - {threading.get_ident()}


def is_running(owner):
    """On another thread than this."""
    return any(owner in _running.get(thread, ()) for thread in elsewhere())


def quieter():
    if ending:
        with _quiet:
            _quiet.notify_all()


def wait_until(done, seconds):
    try:
        with _quiet:
            _quiet.wait_for(done, seconds)
    except KeyboardInterrupt:
        pass  # whoever asks again does not want to wait


def stop(seconds):
    """No event is handed on any more; waits for those that run on other threads. The threads whose events do not return."""
    global ending
    ending = True
    wait_until(lambda: not elsewhere(), seconds)
    return elsewhere()


def forget():
    """In the child of a fork, whose one thread goes on here."""
    global _quiet
    _quiet = threading.Condition()
    here = threading.get_ident()
    for thread in [t for t in _running if t != here]:
        del _running[thread]
