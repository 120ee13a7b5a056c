#!/usr/bin/env python3
"""Checks the list of flat functions and the built libraries against VekApiC.h and VekSessionC.h.

    check_flat.py [--nm PROGRAM] [--objdump PROGRAM] [LIBRARY...]

The list src/flat/exports.txt must contain their functions. A library (libvekapi.so, vekapi.dll, or an import
library) must export these functions, and otherwise only members of the public classes.
"""

import argparse
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
complaints = []


def complain(where, what):
    complaints.append(f"{where}: {what}")


def compare(where, expected, found):
    for name in sorted(expected - found):
        complain(where, f"{name} is missing")
    for name in sorted(found - expected):
        complain(where, f"{name} is not in the headers")


def read(path):
    return (ROOT / path).read_text(encoding="utf-8")


def header():
    both = read("include/vekapi/VekApiC.h") + read("include/vekapi/VekSessionC.h")
    text = re.sub(r"//[^\n]*", "", both)
    return set(re.findall(r"VEKAPI_FLAT\s+[^;()]*?\s*(\w+)\(", text))


def names(path):
    listed = read(path).split()
    if listed != sorted(set(listed)):
        complain(path, "is not sorted, or lists a function twice")
    return set(listed)


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def shown(library, tools):
    """The exported names of a library, mangled."""
    if library.suffix == ".dll":
        table = re.search(r"\[Ordinal/Name Pointer\] Table(.*?)\n\n", run(tools.objdump, "-p", library), re.S)
        return [line.split()[-1] for line in table.group(1).strip().split("\n")]
    if library.suffix in (".lib", ".a"):
        symbols = re.findall(r" T (\w+)", run(tools.nm, library))
        return [name for name in symbols if not name.startswith("__imp_")]
    lines = run(tools.nm, "-D", "--defined-only", library).splitlines()
    # The version nodes themselves are absolute symbols.
    return [line.split()[-1].split("@")[0] for line in lines if line.split()[-2] != "A"]


def check_library(library, tools, functions):
    symbols = shown(library, tools)
    compare(library, functions, {name for name in symbols if not name.startswith("_Z")})
    mangled = [name for name in symbols if name.startswith("_Z")]
    if library.suffix != ".lib" and not mangled:
        complain(library, "exports no classes")
    for name in run("c++filt", *mangled).splitlines() if mangled else []:
        of = re.sub(r"^(vtable|VTT|typeinfo|typeinfo name) for ", "", name).split("(")[0]
        # Nested classes of public classes are private, and named T plus a noun.
        if not of.startswith("VekApi::Vek") or re.search(r"::T[A-Z]\w*(::|$)", of):
            complain(library, f"exports {name}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--nm", default="nm")
    parser.add_argument("--objdump", default="objdump")
    parser.add_argument("libraries", nargs="*", type=pathlib.Path)
    options = parser.parse_args()
    functions = header()
    compare("src/flat/exports.txt", functions, names("src/flat/exports.txt"))
    for library in options.libraries:
        check_library(library, options, functions)
    print("\n".join(complaints) or f"{len(functions)} functions, no differences")
    return 1 if complaints or not functions else 0


if __name__ == "__main__":
    sys.exit(main())
