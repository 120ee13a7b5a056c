"""Compiles and parses blocks, for check_docs.py: all fragments of one language together where that saves time."""

import ast
import inspect
import json
import os
import re
import subprocess
import sys
import tempfile
import textwrap
import xml.etree.ElementTree

WARNINGS = ["-Wall", "-Wextra", "-Werror", "-Wno-unused-variable", "-Wno-unused-parameter", "-Wno-unused-function",
            "-Wno-unused-but-set-variable"]
INCLUDE = re.compile(r"^#include .*\n", re.MULTILINE)
USING = re.compile(r"^using (?:static )?[\w.]+;.*\n", re.MULTILINE)


def compiled(command, source, suffix):
    """Messages of the compiler, whose #line directives name the pages."""
    with tempfile.TemporaryDirectory() as directory:
        path = os.path.join(directory, "blocks" + suffix)
        with open(path, "w", encoding="utf-8") as file:
            file.write(source)
        made = subprocess.run([*command, path], capture_output=True, text=True, check=False)
    return [made.stdout + made.stderr] if made.returncode else []


def in_namespaces(blocks, hoisted, line):
    """One source with a namespace a block, and what has to stand outside or at the top of it."""
    source = "".join(dict.fromkeys(found for block in blocks for found in hoisted.findall(block.whole))) \
        if hoisted is INCLUDE else ""
    for number, block in enumerate(blocks):
        inside = hoisted.sub("\n", block.whole)
        top = "".join(hoisted.findall(block.whole)) if hoisted is USING else ""
        source += f"namespace Block{number} {{ {top}\n{line} {block.start} \"{block.page}\"\n{inside}\n}}\n"
    return source


def cpp(blocks, root):
    return compiled(["g++", "-std=c++20", "-fsyntax-only", *WARNINGS, f"-I{root}", f"-I{root}/include", "-x", "c++"],
                    in_namespaces(blocks, INCLUDE, "#line"), ".cpp")


def c(blocks, root):
    command = ["gcc", "-std=gnu99", "-fsyntax-only", *WARNINGS, f"-I{root}/include", "-x", "c"]
    return [fault for block in blocks
            for fault in compiled(command, f"#line {block.start} \"{block.page}\"\n{block.whole}", ".c")]


def csharp(blocks, root):
    bindings = sorted(map(str, root.glob("bindings/csharp/*.cs")))
    with tempfile.TemporaryDirectory() as scratch:  # mcs would replace /dev/null
        command = ["mcs", "-target:library", "-nowarn:169,219,414,649", f"-out:{scratch}/blocks.dll", *bindings]
        return compiled(command, in_namespaces(blocks, USING, "#line"), ".cs")


def python(blocks, root):
    sys.path.insert(0, str(root / "bindings/python"))
    import vekapi
    return [fault for block in blocks for fault in python_block(block, vekapi)]


def python_block(block, vekapi):
    """Syntax, names of the package, and arguments of its functions."""
    try:
        tree = compile(block.whole, block.page, "exec", ast.PyCF_ONLY_AST | ast.PyCF_ALLOW_TOP_LEVEL_AWAIT)
    except SyntaxError as error:
        return [block.fault(f"{error.msg}, line {error.lineno}")]
    faults = []
    for node in ast.walk(tree):
        called = node.func if isinstance(node, ast.Call) else node
        if not isinstance(called, ast.Attribute) or getattr(called.value, "id", "") != "vekapi":
            continue
        if not hasattr(vekapi, called.attr):
            faults.append(block.fault(f"vekapi has no {called.attr}"))
        elif isinstance(node, ast.Call):
            known = inspect.signature(getattr(vekapi, called.attr)).parameters
            faults += [block.fault(f"vekapi.{called.attr} has no argument {word.arg}")
                       for word in node.keywords if word.arg and word.arg not in known]
    return list(dict.fromkeys(faults))


def json_(blocks, _root):
    return [fault for block in blocks for fault in attempt(block, json.loads)]


def xml_(blocks, _root):
    return [fault for block in blocks for fault in attempt(block, xml.etree.ElementTree.fromstring)]


def attempt(block, parse):
    try:
        parse(block.text)
    except Exception as error:  # from any of the parsers
        return [block.fault(str(error))]
    return []


def vba(blocks, root):
    """The checks of the modules."""
    modules = [root / "bindings/vba" / name for name in ("VekText.bas", "VekSessions.bas")]
    with tempfile.TemporaryDirectory() as directory:
        path = os.path.join(directory, "Blocks.bas")
        with open(path, "wb") as file:
            file.write("".join(block.whole + "\n" for block in blocks).replace("\n", "\r\n").encode())
        made = subprocess.run([sys.executable, root / "tests/bindings/vba.py", *modules, path], capture_output=True, text=True, check=False)
    return [made.stdout] if made.returncode else []


def cmake(blocks, root):
    """Configures a project of each."""
    return [fault for block in blocks for fault in cmake_block(block, root)]


def cmake_block(block, root):
    with tempfile.TemporaryDirectory() as directory:
        lines = "cmake_minimum_required(VERSION 3.25)\nproject(trader LANGUAGES C CXX)\n"
        with open(os.path.join(directory, "CMakeLists.txt"), "w", encoding="utf-8") as file:
            file.write(lines + block.whole)
        with open(os.path.join(directory, "trader.cpp"), "w", encoding="utf-8") as file:
            file.write("int main() {}\n")
        os.makedirs(os.path.join(directory, "third_party"))
        os.symlink(root, os.path.join(directory, "third_party/vekapi"))
        made = subprocess.run(["cmake", "-G", "Ninja", "-B", os.path.join(directory, "build"), "-S", directory,
                               f"-DCMAKE_PREFIX_PATH={root}/build/linux/docs/prefix"],
                              capture_output=True, text=True, check=False)
    return [block.fault(made.stdout + made.stderr)] if made.returncode else []


def quoted(blocks, root):
    """Blocks that are pieces of files."""
    return [block.fault(f"is no piece of {block.name}") for block in blocks
            if textwrap.dedent(block.text) not in undented((root / block.name).read_text(), block.text)]


def undented(source, text):
    """The source with as much indentation taken off as its piece has lost."""
    first = text.partition("\n")[0]
    found = re.search(rf"^( *){re.escape(first)}$", source, re.MULTILINE)
    return re.sub(rf"^{found[1]}", "", source, flags=re.MULTILINE) if found else source


COMPILERS = {"cpp": cpp, "c": c, "csharp": csharp, "python": python, "json": json_, "xml": xml_, "vba": vba,
             "cmake": cmake}
NO_CODE = ("text",)
ELSEWHERE = ("sh", "console")  # docs_shell


def unknown(blocks, _root):
    return [block.fault(f"language '{block.language}' is in no list") for block in blocks]


def jobs(blocks, root):
    """What to do, each returning a list of faults."""
    def job(function, some):
        return lambda: function(some, root)

    pieces = [block for block in blocks if block.how == "from"]
    others = [block for block in blocks if block.how != "from"]
    known = (*COMPILERS, *NO_CODE, *ELSEWHERE)
    result = [job(quoted, pieces), job(unknown, [block for block in others if block.language not in known])]
    for language, function in COMPILERS.items():
        some = [block for block in others if block.language == language and block.how != "run"
                and not (language == "cmake" and block.how == "file")]
        result += [job(function, some)] if some else []
    return result
