#!/usr/bin/env python3
"""Reads the includes of src and fails when one climbs, or when a directory has outgrown the house.

A directory may include itself and those that BELOW names for it, nothing else: the arrows that
docs/architecture.md draws. Public headers may include public headers alone.
"""
import collections
import pathlib
import re
import sys

LARGEST_SHARE = 0.20

PLATFORM = ["platform/transport", "platform/runtime", "platform/os"]
BELOW = {
    "platform/os": [],
    "platform/os/posix": ["platform/os"],
    "platform/os/win32": ["platform/os"],
    "platform/runtime": ["platform/os"],
    "platform/transport": ["platform/runtime", "platform/os"],
    "protocol": ["platform/runtime"],
    "result": ["platform/os"],
    "shmem": PLATFORM,
    "flowctrl": ["protocol", "platform/runtime", "platform/os"],
    "session": ["flowctrl", "shmem", "protocol", "result"] + PLATFORM,
    "flat": ["session", "flowctrl", "protocol", "result", "platform/runtime", "platform/os"],
}
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)


def directory_of(path):
    """The longest directory of the map that holds `path` (relative to src); None: none does."""
    parents = [str(parent) for parent in pathlib.PurePosixPath(path).parents]
    return next((parent for parent in parents if parent in BELOW), None)


def faults_of(source, name):
    """What is wrong with the includes of one source of src."""
    home = directory_of(name)
    if home is None:
        return [f"src/{name}: in no directory of the map"]
    faults = []
    for include in INCLUDE.findall(source):
        target = directory_of(include)
        if include.startswith("vekapi/") or target in (home, None) or target in BELOW[home]:
            continue
        faults.append(f"src/{name}: includes {include}, but {home} stands below or beside {target}")
    return faults


def circles():
    """Directories that reach themselves through the map."""
    def reach(start, seen):
        for below in BELOW[start]:
            if below not in seen:
                seen.add(below)
                reach(below, seen)
        return seen
    return [f"{name}: the map leads back to it" for name in BELOW if name in reach(name, set())]


def main():
    root = pathlib.Path(__file__).resolve().parent.parent
    faults, lines = circles(), collections.Counter()
    for path in sorted((root / "src").rglob("*")):
        if path.suffix not in (".h", ".cpp"):
            continue
        name = path.relative_to(root / "src").as_posix()
        source = path.read_text(encoding="utf-8")
        faults += faults_of(source, name)
        lines[directory_of(name)] += source.count("\n")
    for path in sorted((root / "include").rglob("*.h")):
        faults += [f"{path.relative_to(root)}: includes {include}" for include in INCLUDE.findall(path.read_text())
                   if not include.startswith("vekapi/")]
    total = sum(lines.values())
    for name, count in sorted(lines.items(), key=lambda item: -item[1]):
        print(f"{name or '?':20} {count:6} lines {100 * count / total:5.1f} %")
        if count > LARGEST_SHARE * total:
            faults.append(f"{name}: more than {LARGEST_SHARE:.0%} of the source")
    for fault in faults:
        print(fault, file=sys.stderr)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
