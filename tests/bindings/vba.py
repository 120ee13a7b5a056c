#!/usr/bin/env python3
"""Checks the hand-written VBA modules against the declarations: calls by their number of arguments, callbacks by their
types, and the limits of the VBA editor.

    vba.py MODULE...
"""

import pathlib
import re
import sys

DECLARATIONS = pathlib.Path(__file__).resolve().parents[2] / "bindings/vba/VekApi.bas"
MOST_LINES, LONGEST = 25, 1023  # of a statement
PROCEDURE = r"(?:Public |Private )?(?:Declare PtrSafe )?(Sub|Function) (\w+)(?: Lib \"[^\"]*\")?(?: Alias \"\w+\")? ?\((.*)\)"
complaints = []


def statements(text, where):
    for lines in re.findall(r"(?:[^\n]* _\n)*[^\n]*\n", text):
        if lines.count("\n") > MOST_LINES or max(map(len, lines.split("\n"))) > LONGEST:
            complaints.append(f"{where}: too long: {lines[:60]}")
        yield re.sub(r" _\n\s*", " ", lines).strip()


def split(arguments):
    """Splits at commas outside brackets and strings."""
    parts, depth = [""], 0
    for piece in re.findall(r'"[^"]*"|.', arguments):
        depth += {"(": 1, ")": -1}.get(piece, 0)
        if piece == "," and depth == 0:
            parts.append("")
        else:
            parts[-1] += piece
    return [part.strip() for part in parts if part.strip()]


def procedures(lines, comments=False):
    """Argument types by procedure name."""
    found = {}
    for line in lines:
        match = re.match(("' +" if comments else "") + PROCEDURE, line)
        if match:
            found[match[2]] = [re.sub(r"(\w+) (?=As )", "", part) for part in split(match[3])]
    return found


def calls(line):
    """Names and arguments of calls, also of statements without brackets."""
    for match in re.finditer(r"\b(C?Vek\w+)(\(| (?=[\w\"]))", line):
        rest, depth, end = line[match.end():], 1, 0
        if match[2] == " ":
            if match.start() == 0 or line[:match.start()].endswith(("Then ", ": ")):
                yield match[1], split(rest.split(": ")[0])
            continue
        while depth:
            depth += {"(": 1, ")": -1}.get(rest[end], 0)
            end += 1
        yield match[1], split(rest[: end - 1])


def balanced(lines, where):
    stack = []
    for line in lines:
        opens = re.match(r"(?:Public |Private )?(Sub|Function|For|Do|If)\b", line)
        closes = re.match(r"End (Sub|Function|If)$|(Next|Loop)$", line)
        if closes:
            wanted = closes[1] or {"Next": "For", "Loop": "Do"}[closes[2]]
            if not stack or stack.pop() != wanted:
                complaints.append(f"{where}: {line} ends nothing")
        elif opens and not (opens[1] == "If" and not line.endswith("Then")):
            stack.append(opens[1])
    if stack:
        complaints.append(f"{where}: {stack} does not end")


def members(code, types, path):
    """Members of variables of the declared types."""
    kinds = dict(re.findall(r"\b(\w+) As (CVek\w+)", "\n".join(code)))
    for name, member in re.findall(r"\b(\w+)\.(\w+)", "\n".join(code)):
        if name in kinds and member not in types[kinds[name]]:
            complaints.append(f"{path}: {kinds[name]} has no {member}")


def check(path, declared, callbacks, entries, types):
    raw = path.read_bytes()
    if raw.count(b"\n") != raw.count(b"\r\n") or not raw.isascii():
        complaints.append(f"{path}: lines must end in CR LF, characters be ASCII")
    code = [line for line in statements(raw.decode().replace("\r", ""), path) if not line.startswith("'")]
    balanced(code, path)
    members(code, types, path)
    own = procedures(code)
    for line in code:
        if "Sub " in line or "Function " in line or line.startswith(("Attribute", "Dim ", "Private ")):
            continue
        for name, arguments in calls(line):
            optional = sum(part.startswith("Optional") for part in declared.get(name, []))
            if name not in declared:
                complaints.append(f"{path}: there is no {name}")
            elif not len(declared[name]) - optional <= len(arguments) <= len(declared[name]):
                complaints.append(f"{path}: {name} takes {len(declared[name])} arguments: {line}")
        for entry, target in re.findall(r"\.(OnVek\w+) = VekEntry\(AddressOf (\w+)\)", line):
            if own.get(target) != callbacks[entries[entry]]:
                complaints.append(f"{path}: {target} is no {entries[entry]}")
    return own


def main():
    text = DECLARATIONS.read_text().replace("\r", "")
    lines = list(statements(re.sub(r" _\n'\s*", " ", text), DECLARATIONS))
    declared, callbacks = procedures(lines), procedures(lines, comments=True)
    types = {name: re.findall(r"^ +(\w+)", body, re.M) for name, body in
             re.findall(r"Public Type (\w+)\n(.*?)End Type", text, re.DOTALL)}
    include = DECLARATIONS.parents[2] / "include/vekapi"
    header = "".join((include / name).read_text() for name in ("VekApiC.h", "VekSessionC.h"))
    entries = {entry: kind for kind, entry in re.findall(r"(CVekOn\w+) (\w+);", header)}
    paths = [pathlib.Path(path) for path in sys.argv[1:]]
    for path in paths:
        declared.update({name: arguments for name, arguments in procedures(statements(path.read_text(), path)).items()})
    for path in paths:
        check(path, declared, callbacks, entries, types)
    print(*complaints or [f"{len(declared)} procedures, {len(callbacks)} callbacks"], sep="\n")
    return bool(complaints) or not set(entries.values()) <= callbacks.keys()


sys.exit(main())
