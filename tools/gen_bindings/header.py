"""Parses the headers of the flat functions with libclang for the writers of declarations."""

import pathlib
from typing import List, NamedTuple

from clang.cindex import CursorKind, Index, TypeKind

ROOT = pathlib.Path(__file__).resolve().parents[2]
HEADERS = [ROOT / "include/vekapi/VekApiC.h", ROOT / "include/vekapi/VekSessionC.h"]

# A type is a kind and, if there are several of the kind, a name:
#   void bool char int unsigned long ulong (64 bits) size (intptr_t) address (void*)   int* unsigned* ulong*
#   text (const char*, ends with NUL)   packet (const char*, its length follows)   buffer (char*)   bstr
#   chars ulongs (arrays in records; the name is their length)
#   handle (by value)   handle* table* record* callback
SIMPLE = {TypeKind.VOID: "void", TypeKind.BOOL: "bool", TypeKind.INT: "int", TypeKind.UINT: "unsigned",
          TypeKind.CHAR_S: "char"}
FIXED = {"int32_t": "int", "uint32_t": "unsigned", "int64_t": "long", "uint64_t": "ulong", "intptr_t": "size"}
# Groups of constants that become enumerations, by the prefix of their names.
ENUMS = {"vss": "State", "vsf": "FateKind", "vse": "EventKind", "vsr": "Reason"}


class Type(NamedTuple):
    kind: str
    name: str = ""


class Named(NamedTuple):
    """A parameter, an entry of a table or record, or a constant (its type is then a number)."""

    name: str
    type: object
    comment: List[str]


class Declared(NamedTuple):
    """A function, a callback type, a callback table, a record, or a group of constants (named if it is one of ENUMS)."""

    name: str
    result: Type
    parts: List[Named]
    comment: List[str]


class Header(NamedTuple):
    handles: List[str]
    constants: List[Declared]
    callbacks: List[Declared]
    tables: List[Declared]
    records: List[Declared]
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
    if name in FIXED:
        return Type(FIXED[name] + "*")
    return Type(known[name].kind + "*", name) if name in known else None


def type_of(type, known, where):
    """Fails for a type unknown to the writers."""
    if type.kind in SIMPLE:
        return Type(SIMPLE[type.kind])
    if type.kind == TypeKind.CONSTANTARRAY:
        return Type(type_of(type.element_type, known, where).kind + "s", str(type.element_count))
    name = type.get_declaration().spelling
    if name in FIXED:
        return Type(FIXED[name])
    found = known.get(name) if name else pointed_at(type, known) if type.kind == TypeKind.POINTER else None
    if found is None:
        raise SystemExit(f"{where.spelling}: no binding knows the type {type.spelling}")
    return found


def parts_of(cursor, types, known):
    arguments = [child for child in cursor.get_children() if child.kind == CursorKind.PARM_DECL]
    found = [Named(a.spelling, type_of(t, known, cursor), []) for a, t in zip(arguments, types)]
    return [part._replace(type=Type("buffer")) if part.type.kind == "chars" else part for part in found]


def with_packets(parts):
    """A text accompanied by its length may contain NULs."""
    lengths = {part.name for part in parts if part.type.kind in ("int", "unsigned")}
    is_packet = lambda at, part: part.type.kind == "text" and (
        {part.name + "Length", part.name + "End"} & lengths or at + 1 < len(parts) and parts[at + 1].name == "length")
    return [part._replace(type=Type("packet")) if is_packet(at, part) else part for at, part in enumerate(parts)]


def callback(cursor, known):
    function = cursor.underlying_typedef_type.get_pointee()
    parts = with_packets(parts_of(cursor, function.argument_types(), known))
    return Declared(cursor.spelling, type_of(function.get_result(), known, cursor), parts, comment_of(cursor))


def function(cursor, known, comment):
    parts = parts_of(cursor, cursor.type.argument_types(), known)
    result = type_of(cursor.result_type, known, cursor)
    if result.kind == "text" and any(part.name == "length" and part.type.kind == "int*" for part in parts):
        result = Type("packet")
    return Declared(cursor.spelling, result, parts, comment)


def constants(cursor):
    group = [Named(c.spelling, c.enum_value, comment_of(c)) for c in cursor.get_children()]
    name = ENUMS.get(group[0].name.split("_")[0], "")
    return Declared(name, Type("int"), group, comment_of(cursor))


def struct(cursor, known):
    """A handle contains a plain pointer, a table contains callbacks, a record anything."""
    fields = list(cursor.type.get_fields())
    if [field.type.spelling.replace("const ", "") for field in fields] == ["void *"]:
        return None
    entries = [Named(f.spelling, type_of(f.type, known, cursor), comment_of(f)) for f in fields]
    kind = "table" if all(entry.type.kind == "callback" for entry in entries) else "record"
    return Declared(cursor.spelling, Type(kind, cursor.spelling), with_packets(entries), comment_of(cursor))


def cursors(path):
    unit = Index.create().parse(str(path), ["-x", "c", "-std=c99", f"-I{ROOT / 'include'}", "-fparse-all-comments"])
    if unit.diagnostics:
        raise SystemExit("\n".join(map(str, unit.diagnostics)))
    return (c for c in unit.cursor.get_children() if c.location.file and c.location.file.name == str(path))


def read(paths):
    found, known = Header([], [], [], [], [], []), {}
    for path in paths:
        read_one(path, found, known)
    return found


def read_one(path, found, known):
    comment, last_line = [], 0
    for cursor in cursors(path):
        if cursor.kind == CursorKind.ENUM_DECL:
            found.constants.append(constants(cursor))
        elif cursor.kind == CursorKind.STRUCT_DECL:
            add_struct(cursor, found, known)
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


def add_struct(cursor, found, known):
    declared = struct(cursor, known)
    known[cursor.spelling] = declared.result if declared else Type("handle", cursor.spelling)
    if not declared:
        found.handles.append(cursor.spelling)
    else:
        (found.tables if declared.result.kind == "table" else found.records).append(declared)
