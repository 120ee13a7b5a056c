"""Writes the declarations for 64-bit VBA 7."""

HEAD = """Attribute VB_Name = "VekApi"
Option Explicit

' {made}
' The types, constants and functions of VekApiC.h and VekSessionC.h, for 64-bit VBA 7. docs/vba.md explains their use.
'
' Functions that take texts are declared twice: under their own name for ASCII texts, and with the suffix _P for the
' addresses of texts in code page 950 (VekPut in VekText.bas converts texts).
'
' A function that returns a handle returns its pointer: client.Object = CVekClient_Create(callbacks, 0).
"""
LINE = 100  # characters
TYPES = {"bool": "ByVal {} As Byte", "int": "ByVal {} As Long", "unsigned": "ByVal {} As Long",
         "address": "ByVal {} As LongPtr", "text": "ByVal {} As String", "packet": "ByVal {} As LongPtr",
         "buffer": "ByRef {} As Byte", "bstr": "ByVal {} As LongPtr",
         "long": "ByVal {} As LongLong", "ulong": "ByVal {} As LongLong", "size": "ByVal {} As LongPtr",
         "int*": "ByRef {} As Long", "ulong*": "ByRef {} As LongLong",
         "callback": "ByVal {} As LongPtr",
         "handle*": "ByRef {} As {}", "table*": "ByRef {} As {}", "record*": "ByRef {} As {}"}
BY_ADDRESS = {**TYPES, "text": "ByVal {} As LongPtr", "handle*": "ByVal {} As LongPtr", "buffer": "ByVal {} As LongPtr",
              "record*": "ByVal {} As LongPtr"}
TEXT_BY_ADDRESS = {**TYPES, "text": "ByVal {} As LongPtr"}
# VBA converts an automation string to a String, and frees it.
RESULTS = {"bool": "Byte", "int": "Long", "unsigned": "Long", "address": "LongPtr", "text": "LongPtr",
           "packet": "LongPtr", "bstr": "String", "handle": "LongPtr", "size": "LongPtr"}
# As a member of a type.
MEMBERS = {"char": "{} As Byte", "int": "{} As Long", "unsigned": "{} As Long", "long": "{} As LongLong",
           "ulong": "{} As LongLong", "chars": "{}({}) As Byte", "ulongs": "{}({}) As LongLong",
           "handle": "{} As {}"}
KEYWORDS = {"event", "next", "type"}


def comments(lines):
    return "".join(f"' {line}".rstrip() + "\n" for line in lines)


def wrapped(lead, arguments, end):
    """A statement, wrapped over several lines if necessary."""
    lines = [lead + "("]
    for at, argument in enumerate(arguments):
        argument += "" if at + 1 == len(arguments) else ", "
        if len(lines[-1]) + len(argument) > LINE:
            lines[-1] = lines[-1].rstrip() + " _"
            lines.append("    ")
        lines[-1] += argument
    return "\n".join(lines) + ")" + end + "\n"


def arguments(declared, spelling):
    return [spelling[part.type.kind].format(name_of(part), part.type.name) for part in declared.parts]


def name_of(part):
    return part.name + "_" if part.name in KEYWORDS else part.name


def member(part):
    array = part.type.kind in ("chars", "ulongs")
    last = f"0 To {int(part.type.name) - 1}" if array else part.type.name
    return MEMBERS.get(part.type.kind, "{} As LongPtr").format(name_of(part), last)


def constants(group):
    lines = [f"Public Const {c.name} As Long = {c.type}" + "".join(f"  ' {l}" for l in c.comment[:1]) for c in group.parts]
    return "\n" + comments(group.comment) + "\n".join(lines) + "\n"


def type_(name, members):
    return f"\nPublic Type {name}\n" + "".join(f"    {member}\n" for member in members) + "End Type\n"


def callback(declared):
    """VBA has no procedure types: a comment shows the signature required for AddressOf."""
    line = wrapped(f"Public Sub {declared.name}", arguments(declared, BY_ADDRESS), "")
    return "'\n" + comments(declared.comment) + comments("    " + part for part in line.splitlines())


def one_form(declared, name, alias, spelling):
    kind, end = ("Sub", "") if declared.result.kind == "void" else ("Function", f" As {RESULTS[declared.result.kind]}")
    lead = f'Public Declare PtrSafe {kind} {name} Lib "vekapi.dll"{alias} '
    return wrapped(lead, arguments(declared, spelling), end)


def function(declared):
    text = "\n" + comments(declared.comment) + one_form(declared, declared.name, "", TYPES)
    if any(part.type.kind == "text" for part in declared.parts):
        text += one_form(declared, declared.name + "_P", f' Alias "{declared.name}"', TEXT_BY_ADDRESS)
    return text


def declarations(header, made):
    text = "".join([
        HEAD.format(made=made),
        *map(constants, header.constants),
        *(type_(name, ["Object As LongPtr"]) for name in header.handles),
        *(type_(struct.name, map(member, struct.parts)) for struct in header.tables + header.records),
        "\n' What AddressOf is given for the entries of these tables:\n",
        *map(callback, header.callbacks),
        *map(function, header.functions),
    ])
    return text.replace("\n", "\r\n")
