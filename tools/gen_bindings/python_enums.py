"""Writes the enumerations for Python. The value of a member is its name in the header."""

import re

HEAD = '''# {made}
"""Constants of VekSessionC.h as enumerations. A member equals its name in the header: State.UP == "Up"."""

import enum
from typing import Type, TypeVar

_Member = TypeVar("_Member", bound="Named")


class Named(str, enum.Enum):
    """A string with the number of the constant."""

    number: int

    def __new__(cls, text: str, number: int) -> "Named":
        member = str.__new__(cls, text)
        member._value_ = text
        member.number = number
        return member

    def __str__(self) -> str:
        return str(self.value)

    @classmethod
    def of(cls: Type[_Member], number: int) -> _Member:
        """The member with that number; ValueError if there is none."""
        for member in cls:
            if member.number == number:
                return member
        raise ValueError(f"{{number}} is no {{cls.__name__}}")
'''


def upper(name):
    return re.sub(r"(?<=[a-z0-9])(?=[A-Z])", "_", name).upper()


def member(named):
    name = named.name.split("_")[1]
    comments = "".join(f"    #: {line}".rstrip() + "\n" for line in named.comment)
    return f'{comments}    {upper(name)} = ("{name}", {named.type})\n'


def enumeration(group):
    lead = f'    """{" ".join(group.comment)}"""\n\n' if group.comment else ""
    return f"\n\nclass {group.name}(Named):\n{lead}" + "".join(map(member, group.parts))


def declarations(header, made):
    return HEAD.format(made=made) + "".join(enumeration(group) for group in header.constants if group.name)
