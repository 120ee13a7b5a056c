"""The library's texts: code page 950 as on Windows."""

import codecs
import ctypes
import re
from typing import Any, Dict, Iterator, Optional, Tuple, Union, overload

# Python's cp950 has no user-defined characters, and assigns some of their codes to others. Windows maps them to
# ranges of the private-use area: first lead and trail byte, last lead byte, first character.
_USER_DEFINED = [(0xFA40, 0xFE, 0xE000), (0x8E40, 0xA0, 0xE311), (0x8140, 0x8D, 0xEEB8), (0xC6A1, 0xC8, 0xF6B1)]
_SINGLE = {b"\x80": "\x80", b"\xff": "\uf8f8"}


def _user_defined() -> Iterator[Tuple[bytes, str]]:
    """Pairs of bytes and character, in ascending order."""
    trails = [*range(0x40, 0x7F), *range(0xA1, 0xFF)]
    for first, last_lead, character in _USER_DEFINED:
        codes = ((lead, trail) for lead in range(first >> 8, last_lead + 1) for trail in trails)
        for code in codes:
            if int.from_bytes(code, "big") >= first:
                yield bytes(code), chr(character)
                character += 1


class _Characters(Dict[str, str]):
    def __missing__(self, code: str) -> str:
        self[code] = character = code.encode("latin-1").decode("cp950", "replace")
        return character


_BYTES = {character: code for code, character in [*_user_defined(), *_SINGLE.items()]}
_CHARACTERS = _Characters({code.decode("latin-1"): character for character, code in _BYTES.items()})
_NOT_ASCII = re.compile("[\x81-\xfe][\x40-\x7e\x80-\xfe]|[\x80-\xff]")
# The characters to which Python assigns user-defined codes. Of other such codes it leaves nothing, or the ASCII byte.
_REASSIGNED = re.compile("[" + "".join(c for b in _BYTES.values() for c in b.decode("cp950", "ignore") if c > "\x7f") + "]")


def _encode_user_defined(error: UnicodeError) -> Tuple[bytes, int]:
    if isinstance(error, UnicodeEncodeError) and error.object[error.start] in _BYTES:
        return _BYTES[error.object[error.start]], error.start + 1
    raise error


codecs.register_error("vekapi.user_defined", _encode_user_defined)


@overload
def text(raw: None) -> None: ...
@overload
def text(raw: bytes) -> str: ...
def text(raw: Optional[bytes]) -> Optional[str]:
    """A text of the library as str; invalid bytes become U+FFFD. None stays None."""
    if raw is None:
        return None
    if raw.isascii():
        return raw.decode()
    try:
        plain = raw.decode("cp950")
        if not _REASSIGNED.search(plain):
            return plain
    except UnicodeDecodeError:
        pass
    return _NOT_ASCII.sub(lambda code: _CHARACTERS[code[0]], raw.decode("latin-1"))


@overload
def encode(value: None) -> None: ...
@overload
def encode(value: Union[str, bytes]) -> bytes: ...
def encode(value: Union[str, bytes, None]) -> Optional[bytes]:
    """A str as bytes for the library. bytes and None are returned unchanged."""
    return value.encode("cp950", "vekapi.user_defined") if isinstance(value, str) else value


def request(value: Union[str, bytes]) -> Tuple[Any, int]:
    """A buffer with five bytes reserved for the library followed by the text, and the length of both."""
    raw = encode(value)
    return ctypes.create_string_buffer(bytes(5) + raw, 5 + len(raw)), 5 + len(raw)
