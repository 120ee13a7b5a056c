#!/usr/bin/env python3
"""Counts test results, from CTest's JUnit file and the XML reports of the GoogleTest programs.

    test_report.py [--some] PRESET...

A test counts as passed only if its program's report, which is written last, says that it ran and CTest saw the program
exit successfully. With --some, programs without a test are accepted. The last line is 'N passed, N failed'; the exit
status is 0 if something passed and nothing failed.
"""

import argparse
import pathlib
import sys
import xml.etree.ElementTree as ElementTree
from collections import namedtuple

ROOT = pathlib.Path(__file__).resolve().parent.parent
Outcome = namedtuple("Outcome", "passed failures unrun")  # failures: one text each


def root_of(path):
    """The file's root element; none if it is missing or cut short."""
    try:
        return ElementTree.parse(path).getroot()
    except (OSError, ElementTree.ParseError):
        return None


def count_cases(report, ended_well):
    """The outcome of a GoogleTest program, from its report."""
    passed, failures, unrun = 0, [], 0
    for case in report.iter("testcase"):
        if case.get("status") == "notrun" or case.get("result") != "completed":
            unrun += 1
        elif case.find("failure") is not None:
            failures.append(f"{case.get('classname')}.{case.get('name')}")
        else:
            passed += 1
    if passed + len(failures) + unrun == 0:
        failures = ["no test ran"]
    elif not ended_well and not failures:
        failures = ["every test passed, yet the program failed"]
    return Outcome(passed, failures, unrun)


def judge(entry, results):
    """The outcome of one CTest entry: a check, a test, or a program with all its tests."""
    name, status = entry.get("name"), entry.get("status")
    if status == "disabled":
        return Outcome(0, [], 1)
    if name.startswith("check."):
        return Outcome(1, [], 0) if status == "run" else Outcome(0, [f"{name} failed"], 0)
    report = root_of(results / f"{name}.xml")
    if report is None:
        return Outcome(0, [f"{name} crashed, hung or ended early: it left no report"], 0)
    return count_cases(report, status == "run" or entry.find("skipped") is not None)


def show_hidden_output(entry):
    """Shows the output of tests that CTest counts as passed, so has not shown, but whose report has a failure."""
    if entry.get("status") == "run":
        print(f"---- end of the output of {entry.get('name')}")
        print(entry.findtext("system-out", "")[-5000:])
        print("---- end of output")


class Row:
    """A row of the table: a program with its tests, or a check."""

    def __init__(self):
        self.passed, self.failures, self.unrun, self.seconds = 0, [], 0, 0.0

    def add(self, outcome, seconds=0.0):
        self.passed += outcome.passed
        self.failures += outcome.failures
        self.unrun += outcome.unrun
        self.seconds += seconds

    def line(self, preset, name):
        remark = f"  {self.unrun} not run" if self.unrun else ""
        return f"{preset:<11} {name:<24} {self.passed:6} {len(self.failures):6} {self.seconds:6.0f} s{remark}"


def row_of(name):
    return name if name.startswith("check.") else name.split(".")[0]


def rows_of(preset, every_program):
    """The table rows of a preset, by name."""
    build = ROOT / "build" / preset
    rows = {}

    def add(name, outcome, seconds=0.0):
        rows.setdefault(name, Row()).add(outcome, seconds)

    run = root_of(build / "ctest.xml")
    if run is None:
        add("build", Outcome(0, ["it does not build, or CTest did not finish"], 0))
        return rows
    for entry in run.iter("testcase"):
        outcome = judge(entry, build / "test-results")
        add(row_of(entry.get("name")), outcome, float(entry.get("time") or 0))
        if outcome.failures:
            show_hidden_output(entry)
    if every_program:
        programs = build / "test-programs.txt"
        for program in programs.read_text().split() if programs.exists() else ["tests"]:
            if program not in rows or not rows[program].passed + len(rows[program].failures):
                add(program, Outcome(0, ["no test ran"], 0))
    if (build / "ctest.status").read_text().strip() != "0" and not any(row.failures for row in rows.values()):
        add("ctest", Outcome(0, ["it failed, although no test did"], 0))
    return rows


def main():
    parser = argparse.ArgumentParser(description="Counts test results.")
    parser.add_argument("--some", action="store_true", help="accept programs without a test")
    parser.add_argument("presets", nargs="+", metavar="PRESET")
    options = parser.parse_args()
    table = {preset: rows_of(preset, not options.some) for preset in options.presets}
    lines = [(preset, name, row) for preset, rows in table.items() for name, row in rows.items()]
    print(f"{'preset':<11} {'program':<24} {'passed':>6} {'failed':>6} {'time':>8}")
    for preset, name, row in lines:
        print(row.line(preset, name))
    for preset, name, row in lines:
        for failure in row.failures:
            print(f"failed: {preset} {name}: {failure}")
    passed = sum(row.passed for _, _, row in lines)
    failed = sum(len(row.failures) for _, _, row in lines)
    print(f"{passed} passed, {failed} failed")
    return 0 if passed and not failed else 1


if __name__ == "__main__":
    sys.exit(main())
