#!/usr/bin/env python3
"""Prints the lines and branches reached in each directory, and lists the lines that nothing reaches.

coverage.py JSON LIST: JSON is of gcovr, LIST is written.
"""

import collections
import json
import pathlib
import sys


def directory(name):
    return str(pathlib.PurePosixPath(name).parent)


def ranges(numbers):
    """[3, 4, 5, 9] -> [(3, 5), (9, 9)]"""
    found = []
    for number in numbers:
        if found and found[-1][1] == number - 1:
            found[-1][1] = number
        else:
            found.append([number, number])
    return found


def counts(lines):
    """(lines, lines reached, branches, branches taken)"""
    branches = [branch for line in lines for branch in line["branches"]]
    return (
        len(lines),
        sum(line["count"] > 0 for line in lines),
        len(branches),
        sum(branch["count"] > 0 for branch in branches),
    )


def share(part, whole):
    return f"{100 * part / whole:6.1f} %" if whole else "       -"


def row(name, numbers):
    lines, reached, branches, taken = numbers
    return f"{name:32} {lines:6} {share(reached, lines)} {branches:6} {share(taken, branches)}"


def main():
    files = json.loads(pathlib.Path(sys.argv[1]).read_text())["files"]
    totals = collections.defaultdict(lambda: (0, 0, 0, 0))
    with open(sys.argv[2], "w") as out:
        for file in sorted(files, key=lambda each: each["file"]):
            lines = [line for line in file["lines"] if not line.get("gcovr/noncode")]
            for key in (directory(file["file"]), "total"):
                totals[key] = tuple(map(sum, zip(totals[key], counts(lines))))
            text = pathlib.Path(file["file"]).read_text().splitlines()
            missed = [line["line_number"] for line in lines if line["count"] == 0]
            for first, last in ranges(sorted(set(missed))):
                out.write(f"{file['file']}:{first}-{last}: {text[first - 1].strip()}\n")
    print(f"{'directory':32} {'lines':>6} {'reached':>8} {'branches':>8} {'taken':>6}")
    for name in sorted(totals, key=lambda each: (each == "total", each)):
        print(row(name, totals[name]))


main()
