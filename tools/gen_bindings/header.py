"""Parses VekApiC.h with libclang for the writers of declarations."""

import pathlib
from typing import List, NamedTuple

from clang.cindex import CursorKind, Index, TypeKind

ROOT = pathlib.Path(__file__).resolve().parents[2]
HEADER = ROOT / "include/vekapi/VekApiC.h"

# A type is a kind and, if there are several of the kind, a name:
#   void bool int unsigned address (void*)
#   text (const char*, ends with NUL)   packet (const char*, its length follows)   buffer (char*)   bstr
#   handle (by value)   handle* table* callback
SIMPLE = {TypeKind.VOID: "void", TypeKind.BOOL: "bool", TypeKind.INT: "int", TypeKind.UINT: "unsigned"}


class Type(NamedTuple):
    kind: str
    name: str = ""


class Named(NamedTuple):
    """A parameter, an entry of a table, or a constant (its type is then a number)."""

    name: str
    type: object
    comment: List[str]


class Declared(NamedTuple):
    """A function, a callback type, a callback table, or a group of constants."""

    name: str
    result: Type
    parts: List[Named]
    comment: List[str]


class Header(NamedTuple):
    handles: List[str]
    constants: List[Declared]
    callbacks: List[Declared]
    tables: List[Declared]
    functions: List[Declared]


def comment_of(cursor):
    """The comment's lines, without the ruler and heading of a section."""
    lines = [line.strip()[2:] for line in (cursor.raw_comment or "").splitlines()]
    lines = [line[1:] if line.startswith(" ") else line for line in lines]
    if lines and lines[0].startswith("----"):
        lines = lines[1:]
        while lines and lines[0]:
            lines.pop(0)
    while lines and not lines[0]:
        lines.pop(0)
    return lines


def pointed_at(type, known):
    pointee = type.get_pointee()
    if pointee.kind == TypeKind.CHAR_S:
        return Type("text" if pointee.is_const_qualified() else "buffer")
    if pointee.kind == TypeKind.VOID:
        return Type("address")
    name = pointee.get_declaration().spelling
    return Type(known[name].kind + "*", name) if name in known else None


def type_of(type, known, where):
    """Fails for a type unknown to the writers."""
    if type.kind in SIMPLE:
        return Type(SIMPLE[type.kind])
    name = type.get_declaration().spelling
    found = known.get(name) if name else pointed_at(type, known) if type.kind == TypeKind.POINTER else None
    if found is None:
        raise SystemExit(f"{where.spelling}: no binding knows the type {type.spelling}")
    return found


def parts_of(cursor, types, known):
    arguments = [child for child in cursor.get_children() if child.kind == CursorKind.PARM_DECL]
    return [Named(a.spelling, type_of(t, known, cursor), []) for a, t in zip(arguments, types)]


def callback(cursor, known):
    function = cursor.underlying_typedef_type.get_pointee()
    parts = parts_of(cursor, function.argument_types(), known)
    for at, following in enumerate(parts[1:]):
        if parts[at].type.kind == "text" and following.name == "length":
            parts[at] = parts[at]._replace(type=Type("packet"))
    return Declared(cursor.spelling, type_of(function.get_result(), known, cursor), parts, comment_of(cursor))


def function(cursor, known, comment):
    parts = parts_of(cursor, cursor.type.argument_types(), known)
    return Declared(cursor.spelling, type_of(cursor.result_type, known, cursor), parts, comment)


def constants(cursor):
    group = [Named(c.spelling, c.enum_value, comment_of(c)) for c in cursor.get_children()]
    return Declared("", Type("int"), group, comment_of(cursor))


def struct(cursor, known):
    """A handle contains a plain pointer, a table contains callbacks."""
    fields = list(cursor.type.get_fields())
    if [field.type.spelling.replace("const ", "") for field in fields] == ["void *"]:
        return None
    entries = [Named(f.spelling, type_of(f.type, known, cursor), comment_of(f)) for f in fields]
    return Declared(cursor.spelling, Type("table", cursor.spelling), entries, comment_of(cursor))


def cursors(path):
    unit = Index.create().parse(str(path), ["-x", "c", "-std=c99", f"-I{ROOT / 'include'}", "-fparse-all-comments"])
    if unit.diagnostics:
        raise SystemExit("\n".join(map(str, unit.diagnostics)))
    return (c for c in unit.cursor.get_children() if c.location.file and c.location.file.name == str(path))


def read(path=HEADER):
    found, known = Header([], [], [], [], []), {}
    comment, last_line = [], 0
    for cursor in cursors(path):
        if cursor.kind == CursorKind.ENUM_DECL:
            found.constants.append(constants(cursor))
        elif cursor.kind == CursorKind.STRUCT_DECL:
            table = struct(cursor, known)
            known[cursor.spelling] = Type("table" if table else "handle", cursor.spelling)
            found.tables.append(table) if table else found.handles.append(cursor.spelling)
        elif cursor.kind == CursorKind.TYPEDEF_DECL and cursor.underlying_typedef_type.kind == TypeKind.POINTER:
            if cursor.underlying_typedef_type.get_pointee().kind == TypeKind.CHAR_S:
                known[cursor.spelling] = Type("bstr")
            else:
                found.callbacks.append(callback(cursor, known))
                known[cursor.spelling] = Type("callback", cursor.spelling)
        elif cursor.kind == CursorKind.FUNCTION_DECL:
            # Functions on consecutive lines share the comment above them.
            shared = not cursor.raw_comment and cursor.extent.start.line == last_line + 1
            comment = comment if shared else comment_of(cursor)
            found.functions.append(function(cursor, known, comment))
        last_line = cursor.extent.end.line
    return found
