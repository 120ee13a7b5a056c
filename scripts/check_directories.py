#!/usr/bin/env python3
"""Checks the includes of src against the allowed directories, and the size of each directory.

A directory may include itself and the directories listed for it in BELOW, nothing else; docs/architecture.md shows
them. Public headers may include only public headers.
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
    "protocol": ["platform/runtime", "platform/os"],
    "result": ["protocol", "platform/os"],
    "shmem": PLATFORM,
    "flowctrl": ["protocol", "platform/runtime", "platform/os"],
    "session": ["flowctrl", "shmem", "protocol", "result"] + PLATFORM,
    "keeper": ["session", "flowctrl", "protocol", "result"] + PLATFORM,
    "flat": ["keeper", "session", "flowctrl", "protocol", "result", "platform/runtime", "platform/os"],
}
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)


def directory_of(path):
    """The longest directory in BELOW that contains `path` (relative to src), or None."""
    parents = [str(parent) for parent in pathlib.PurePosixPath(path).parents]
    return next((parent for parent in parents if parent in BELOW), None)


def faults_of(source, name):
    """The forbidden includes of one source of src."""
    home = directory_of(name)
    if home is None:
        return [f"src/{name}: directory not listed"]
    faults = []
    for include in INCLUDE.findall(source):
        target = directory_of(include)
        if include.startswith("vekapi/") or target in (home, None) or target in BELOW[home]:
            continue
        faults.append(f"src/{name}: includes {include}, but {home} must not include {target}")
    return faults


def circles():
    """Directories that include themselves through others."""
    def reach(start, seen):
        for below in BELOW[start]:
            if below not in seen:
                seen.add(below)
                reach(below, seen)
        return seen
    return [f"{name}: circular dependency" for name in BELOW if name in reach(name, set())]


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
