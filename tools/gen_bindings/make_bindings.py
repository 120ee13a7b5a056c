#!/usr/bin/python3
"""Makes the declarations of the bindings from include/vekapi/VekApiC.h.

    make_bindings.py [--check] [--header FILE]

With --check nothing is written: ends with 1 and shows the difference when a file is not what would be written. Debian's
own Python has Debian's package python3-clang, hence the first line.
"""

import argparse
import difflib
import pathlib
import sys

import csharp
import header
import python
import vba

MADE = "Made by tools/gen_bindings/make_bindings.py from include/vekapi/VekApiC.h. Not to be edited."
WRITERS = {
    "bindings/python/vekapi/_declarations.py": python,
    "bindings/csharp/VekApi.Declarations.cs": csharp,
    "bindings/vba/VekApi.bas": vba,
}


def difference(path, there, made):
    lines = (text.decode().replace("\r", "").splitlines() for text in (there, made))
    return "\n".join(difflib.unified_diff(*lines, path, path + " from the header", lineterm="", n=1))


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--check", action="store_true")
    parser.add_argument("--header", type=pathlib.Path, default=header.HEADER)
    options = parser.parse_args()
    declared, stale = header.read(options.header), 0
    for path, writer in WRITERS.items():
        file, made = header.ROOT / path, writer.declarations(declared, MADE).encode()
        there = file.read_bytes() if file.exists() else b""
        if there == made:
            continue
        stale += 1
        if options.check:
            print(difference(path, there, made))
        else:
            file.write_bytes(made)
            print("wrote", path)
    print(f"{len(declared.functions)} functions, {stale} of {len(WRITERS)} files {'differ' if options.check else 'written'}")
    return 1 if options.check and stale else 0


if __name__ == "__main__":
    sys.exit(main())
