#!/usr/bin/env python3
"""Holds the flat functions' declarations against each other, and the built libraries against them.

    check_flat.py [--nm PROGRAM] [--objdump PROGRAM] [LIBRARY...]

The list src/flat/exports.txt must have the functions of VekApiC.h, and each binding the same functions with as many
arguments. A library (libvekapi.so, vekapi.dll, or an import library) must show these functions, and
beside them nothing but what belongs to the public classes.
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


def count(arguments):
    arguments = arguments.strip()
    return 0 if arguments in ("", "void") else arguments.count(",") + 1


def compare(where, expected, found):
    """Names, and where both sides know them, argument counts."""
    for name in sorted(expected.keys() - found.keys()):
        complain(where, f"{name} is missing")
    for name in sorted(found.keys() - expected.keys()):
        complain(where, f"{name} is not in VekApiC.h")
    for name in expected.keys() & found.keys():
        if None not in (expected[name], found[name]) and expected[name] != found[name]:
            complain(where, f"{name} has {found[name]} arguments, not {expected[name]}")


def read(path):
    return (ROOT / path).read_text(encoding="utf-8")


def header():
    text = re.sub(r"//[^\n]*", "", read("include/vekapi/VekApiC.h"))
    functions = re.findall(r"VEKAPI_FLAT\s+([^;()]*?)\s*(\w+)\(([^;]*?)\);", text)
    return {name: count(args) for _, name, args in functions}, {name for kind, name, _ in functions if kind == "bool"}


def names(path):
    listed = read(path).split()
    if listed != sorted(set(listed)):
        complain(path, "is not sorted, or names a function twice")
    return dict.fromkeys(listed)


def python():
    sys.path.insert(0, str(ROOT / "bindings/python"))
    import vekapi

    return {name: len(args) for name, (_, args) in vekapi._PROTOTYPES.items()}


def csharp(path, bools):
    text = re.sub(r"//[^\n]*", "", read(path))
    found = {}
    for lead, kind, name, args in re.findall(r"((?:\[[^\n]*\]\s*)+)public static extern (\w+) (\w+)\(([^)]*)\);", text):
        found[name] = count(args)
        if (kind == "bool") != (name in bools) or (kind == "bool") != ("UnmanagedType.I1" in lead):
            complain(path, f"{name}: bool is not marshalled as one byte")
    return found


def vba(path, bools):
    text = re.sub(r" _\s*\n\s*", " ", read(path).replace("\r\n", "\n"))
    found = {}
    for line in text.split("\n"):
        if "Declare" not in line or line.startswith("'"):
            continue
        match = re.fullmatch(r'Public Declare PtrSafe (Function|Sub) (\w+) Lib "vekapi.dll" \( ?(.*)\)( As \w+)?', line)
        if not match:
            complain(path, f"cannot be read: {line}")
            continue
        kind, name, args, result = match.groups()
        found[name] = count(args)
        if (kind == "Function") != bool(result):
            complain(path, f"{name}: a Function has a type, a Sub has none")
        if (name in bools) != (result == " As Byte"):
            complain(path, f"{name}: bool is As Byte")
    return found


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def shown(library, tools):
    """The names that a library shows, mangled."""
    if library.suffix == ".dll":
        table = re.search(r"\[Ordinal/Name Pointer\] Table(.*?)\n\n", run(tools.objdump, "-p", library), re.S)
        return [line.split()[-1] for line in table.group(1).strip().split("\n")]
    if library.suffix in (".lib", ".a"):
        symbols = re.findall(r" T (\w+)", run(tools.nm, library))
        return [name for name in symbols if not name.startswith("__imp_")]
    return [line.split()[-1].split("@")[0] for line in run(tools.nm, "-D", "--defined-only", library).splitlines()]


def check_library(library, tools, functions):
    symbols = shown(library, tools)
    compare(library, functions, dict.fromkeys(name for name in symbols if not name.startswith("_Z")))
    mangled = [name for name in symbols if name.startswith("_Z")]
    if library.suffix != ".lib" and not mangled:
        complain(library, "shows no classes")
    for name in run("c++filt", *mangled).splitlines() if mangled else []:
        of = re.sub(r"^(vtable|VTT|typeinfo|typeinfo name) for ", "", name).split("(")[0]
        # Classes inside the public ones are private, and named T and a noun.
        if not of.startswith("VekApi::Vek") or re.search(r"::T[A-Z]\w*(::|$)", of):
            complain(library, f"shows {name}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--nm", default="nm")
    parser.add_argument("--objdump", default="objdump")
    parser.add_argument("libraries", nargs="*", type=pathlib.Path)
    options = parser.parse_args()
    functions, bools = header()
    compare("src/flat/exports.txt", functions, names("src/flat/exports.txt"))
    compare("bindings/python/vekapi.py", functions, python())
    compare("bindings/csharp/VekApi.cs", functions, csharp("bindings/csharp/VekApi.cs", bools))
    compare("bindings/vba/VekApi.bas", functions, vba("bindings/vba/VekApi.bas", bools))
    for library in options.libraries:
        check_library(library, options, functions)
    print("\n".join(complaints) or f"{len(functions)} functions, all the same everywhere")
    return 1 if complaints or not functions else 0


if __name__ == "__main__":
    sys.exit(main())
