"""Fates, events and results of sessions: plain values that stay valid."""

import ctypes
import weakref
from ctypes import byref
from dataclasses import dataclass
from typing import Any, Optional

from ._declarations import CVekEvent, CVekTaskResult, vst_Fate, vst_Reason, vst_State
from ._enums import EventKind, FateKind, Named, Reason, State
from ._library import lib
from ._results import TaskResult
from ._text import text

_LANGUAGES = {"en": 0, "zh-TW": 1}
_KINDS = {State: vst_State, FateKind: vst_Fate, Reason: vst_Reason}


def words(member: Optional[Named], language: str = "en") -> str:
    """The text of a state, fate or reason, in English ("en") or Traditional Chinese ("zh-TW"); "" for None."""
    if member is None:
        return ""
    told: bytes = lib.CVekApi_Text(_KINDS[type(member)], member.number, _LANGUAGES[language])
    return told.decode("utf-8")


class Result(TaskResult):
    """The result of a query; valid as long as anything refers to it or its parts."""

    def __init__(self, handle: CVekTaskResult) -> None:
        super().__init__(handle, lent=False)
        weakref.finalize(self._memory, _free, self._memory.handle)


def _free(handle: CVekTaskResult) -> None:
    lib.CVekTaskResult_Free(byref(handle))


@dataclass(frozen=True)
class Fate:
    """The fate of a request."""

    kind: FateKind
    reason: Optional[Reason] = None
    work_id: str = ""
    text: str = ""  #: the server's text: the acknowledgement line
    detail: str = ""  #: the system's message, or the server's reason
    ticket: int = 0
    link: int = 0  #: number of its link, from 1
    result: Optional[Result] = None  #: of a query
    wait: float = 0  #: Reason.TOO_FAST: seconds until it may be repeated; negative: unknown

    @property
    def safe_to_repeat(self) -> bool:
        """The server never received it."""
        return self.kind in (FateKind.REFUSED, FateKind.NEVER_SENT)

    @property
    def answered(self) -> bool:
        """Its answer has arrived."""
        return self.kind in (FateKind.ANSWERED, FateKind.ACKNOWLEDGED)

    def fate_text(self, language: str = "en") -> str:
        """The fate in words. `language` is "en" or "zh-TW"."""
        return words(self.kind, language)

    def reason_text(self, language: str = "en") -> str:
        """The reason in words, "" without a reason. `language` is "en" or "zh-TW"."""
        return words(self.reason, language)

    def __str__(self) -> str:
        return f"{self.work_id}: {self.kind}" + (f", {self.reason_text()}" if self.reason else "")


@dataclass(frozen=True)
class Event:
    """An event of a session; str() gives one line for a log."""

    kind: EventKind
    state: State  #: of the session, as of this event
    reason: Optional[Reason]
    code: int
    link: int  #: number of the link, from 1
    attempt: int
    endpoint: int  #: number of the endpoint, from 0
    wait: float  #: State.WAITING: seconds until the next attempt; negative: until retry_in()
    never_sent: int  #: at a link's end: its requests that were not sent because of that
    unknown: int  #: at a link's end: its requests that the server may have received
    ticket: int
    work_id: str
    raw: bytes  #: the server's bytes
    detail: str
    at: float  #: seconds since 1970
    fate: FateKind
    result: Optional[Result]
    line: str

    @property
    def text(self) -> str:
        """The server's text."""
        told: str = text(self.raw)
        return told

    def as_fate(self) -> Fate:
        """The fate, of events of kind FATE or LATE."""
        return Fate(self.fate, self.reason, self.work_id, self.text, self.detail, self.ticket, self.link, self.result)

    def __str__(self) -> str:
        return self.line


class SessionError(Exception):
    """The session cannot be created or opened, or the server rejects the user."""

    def __init__(self, reason: Optional[Reason], detail: str = "") -> None:
        super().__init__(": ".join(filter(None, (words(reason), detail))))
        self.reason = reason


class NotAnswered(Exception):
    """A query was not answered; `fate` has its fate."""

    def __init__(self, fate: Fate) -> None:
        super().__init__(str(fate))
        self.fate = fate


def reason_of(number: int) -> Optional[Reason]:
    return Reason.of(number) if number else None


def event_of(session: Any, lent: CVekEvent) -> Event:
    """A copy of a borrowed event; `session` is the handle."""
    line = ctypes.create_string_buffer(512)
    lib.CVekApi_Describe(byref(lent), line, len(line))
    return Event(
        kind=EventKind.of(lent.kind), state=State.of(lent.state), reason=reason_of(lent.reason), code=lent.code,
        link=lent.link, attempt=lent.attempt, endpoint=lent.endpoint, wait=lent.waitMs / 1000,
        never_sent=lent.neverSent, unknown=lent.unknown, ticket=lent.ticket, work_id=text(lent.workId) or "",
        raw=ctypes.string_at(lent.text, lent.textLength) if lent.text else b"", detail=text(lent.detail) or "",
        at=lent.unixNs / 1e9, fate=FateKind.of(lent.fate), result=_keep(session, lent),
        line=line.value.decode("utf-8", "replace"))


def _keep(session: Any, lent: CVekEvent) -> Optional[Result]:
    kept = lib.CVekSession_KeepResult(byref(session), byref(lent)) if lent.result else None
    return Result(kept) if kept else None
