#!/usr/bin/env python3
"""Checks the layout of the structures in VBA and C# against the headers, as C's compilers see them.

    layouts.py FILE COMPILER...

FILE is what layouts.exe wrote. 64-bit VBA aligns the members of a Type to their own size, at most 8, a Type to its
largest member, and pads its size (LenB) to that.
"""

import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
SIZES = {"Byte": 1, "Long": 4, "LongLong": 8, "LongPtr": 8}


def vba_types(text):
    """Yields "STRUCTURE MEMBER OFFSET" and "STRUCTURE SIZE" of every Type."""
    known = {name: (size, size) for name, size in SIZES.items()}
    for name, body in re.findall(r"Public Type (\w+)\n(.*?)End Type", text, re.DOTALL):
        at, largest = 0, 1
        for member, last, kind in re.findall(r"(\w+?)_?(?:\(0 To (\d+)\))? As (\w+)\n", body):
            size, alignment = known[kind]
            at = -(-at // alignment) * alignment
            yield f"{name} {member} {at}"
            at += size * (int(last or 0) + 1)
            largest = max(largest, alignment)
        known[name] = (-(-at // largest) * largest, largest)
        yield f"{name} {known[name][0]}"


def assertion(line):
    name, *member, number = line.split()
    what = f"offsetof({name}, {member[0].replace('Object', 'object')})" if member else f"sizeof({name})"
    return f'_Static_assert({what} == {number}, "{line}");'


def main():
    layout, *compilers = sys.argv[1:]
    vba = list(vba_types((ROOT / "bindings/vba/VekApi.bas").read_text().replace("\r", "")))
    lines = vba + pathlib.Path(layout).read_text().splitlines()
    code = "\n".join(['#include <stddef.h>', '#include "vekapi/VekSessionC.h"', *map(assertion, lines)])
    for compiler in compilers:
        command = [compiler, "-x", "c", "-std=c11", f"-I{ROOT / 'include'}", "-fsyntax-only", "-"]
        if subprocess.run(command, input=code, text=True).returncode:
            return 1
    print(f"{len(vba)} numbers for VBA, {len(lines) - len(vba)} for C#")
    return len(vba) < 100 or len(lines) != 2 * len(vba)


sys.exit(main())
