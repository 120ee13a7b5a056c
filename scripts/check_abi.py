#!/usr/bin/python3
"""Compares the binary interface of the flat functions with the recorded one, abi/flat.txt, one fact a line.

    check_abi.py [--renew] [--header FILE]

A fact that is gone, or that now reads otherwise, breaks programs built before; new facts do not. --renew records the
interface as it is. FILE replaces VekApiC.h. The package python3-clang works with Debian's own Python, hence the first line.
"""

import argparse
import pathlib
import sys

from clang.cindex import CursorKind

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tools/gen_bindings"))
import header  # noqa: E402

RECORD = ROOT / "abi/flat.txt"


def spelled(type_):
    return type_.get_canonical().spelling.replace("_Bool", "bool")


def struct(cursor):
    """Structures that tell their size may grow at their end."""
    fields = list(cursor.type.get_fields())
    if fields[0].spelling != "size":
        yield f"struct {cursor.spelling}: {cursor.type.get_size()} bytes"
    for field in fields:
        yield f"struct {cursor.spelling}: {field.spelling} at {field.get_field_offsetof() // 8}: {spelled(field.type)}"


def facts_of(cursor):
    if cursor.kind == CursorKind.STRUCT_DECL:
        yield from struct(cursor)
    elif cursor.kind == CursorKind.ENUM_DECL:
        yield from (f"constant {c.spelling} = {c.enum_value}" for c in cursor.get_children())
    elif cursor.kind == CursorKind.TYPEDEF_DECL and "(" in spelled(cursor.type):
        yield f"callback {cursor.spelling}: {spelled(cursor.type)}"
    elif cursor.kind == CursorKind.FUNCTION_DECL:
        yield f"function {cursor.spelling}: {spelled(cursor.type)}"


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--renew", action="store_true")
    parser.add_argument("--header", type=pathlib.Path, default=header.HEADERS[0])
    options = parser.parse_args()
    paths = [options.header.resolve(), *header.HEADERS[1:]]
    facts = sorted(fact for path in paths for cursor in header.cursors(path) for fact in facts_of(cursor))
    if options.renew:
        RECORD.parent.mkdir(exist_ok=True)
        RECORD.write_text("\n".join(facts) + "\n")
    recorded = RECORD.read_text().splitlines()
    broken = sorted(set(recorded) - set(facts))
    for fact in broken:
        print("no longer so:", fact)
    print(f"{len(recorded)} facts recorded, {len(broken)} broken, {len(set(facts) - set(recorded))} new")
    return 1 if broken else 0


if __name__ == "__main__":
    sys.exit(main())
