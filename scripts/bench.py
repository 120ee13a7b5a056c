#!/usr/bin/env python3
"""Runs the benchmarks of ./dev bench and compares: ours beside the reference of each work, measured by turns.

Every benchmark writes its slices as JSON lines (bench/Rows.h). Slices in another state than most of their series are
left out (how often a call makes a thread sleep, packets of a send). The ratio is the median over the rounds of ours by the
reference's slice beside it; the figures are those of the least disturbed tenth of the slices.
"""

import argparse
import json
import os
import pathlib
import platform
import re
import statistics
import subprocess
import sys
import tempfile
import time

import bench_page

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build/linux"
OUT = ROOT / "build/bench"
# Debian's, as the other libraries are.
PYTHON = "/usr/bin/python3" if pathlib.Path("/usr/bin/python3").exists() else sys.executable
DOC = ROOT / "docs/performance.md"
HERE, ALONE, FREE = "one processor", "one processor, other policy", "all processors"

# Program, arguments, where it runs, and its works: (name, reference, what the target limits, target). The target limits
# the ratio, our figure, or what ours is more than the reference; the last two are for the machine of docs/performance.md.
PROGRAMS = [
    ("bench_roundtrip_peers", [], HERE, [
        ("round trip", "bare", "ratio", 1.06), ("round trip", "Asio", "ratio", 1),
        ("round trip", "QuickFIX", "ratio", 1), ("round trip", "ZeroMQ", "ratio", 1)]),
    ("bench_roundtrip_peers", ["spin"], FREE, [("round trip, polling", "bare", "ratio", 1.06)]),
    ("bench_sends", [], HERE, [
        ("send", "bare", "ratio", 1.11), ("order in a batch of 100", "one by one", "ratio", 0.05)]),
    ("bench_session", [], HERE, [
        ("send without a socket", "lock", "figure", 50), ("request in a session", "plain", "more", 150),
        ("request in a session: allocations", None, "figure", 0.001),
        ("held request, 100,000 held", "1,000 held", "ratio", 2)]),
    ("bench_parse", ["rows"], HERE, [
        ("result of 1 x 20", "arena", "figure", 250), ("result of 10 x 20", "arena", "figure", 750),
        ("result of 1 x 20: allocations", None, "figure", 0.001), ("result of 10 x 20: allocations", None, "figure", 0.001),
        ("result of 10 MB", "arena", "ratio", 1.54), ("new header of 640 columns", "40 columns", "ratio", 1.5)]),
    ("bench_scramble", ["rows"], HERE, [("scramble 4 KB", "memcpy", "ratio", None)]),
    ("bench_receive", [], HERE, [
        ("report from a socket", "bare", "more", 12), ("report on a message loop", "direct", "figure", 200),
        ("report on a message loop: allocations", None, "figure", 0.001),
        ("small result on a message loop", "direct", "figure", 5000),
        ("small result on a message loop", "semaphores", "ratio", None),
        ("small result on a message loop: allocations", None, "figure", 0.001)]),
    ("bench_shmem_peers", [], HERE, [
        ("round trip, shared memory", "bare", "ratio", 1.2), ("round trip, shared memory", "TCP", "ratio", 0.5)]),
    ("bench_shmem_peers", ["spin"], FREE, [
        ("round trip, shared memory, polling", "bare", "ratio", 1.5),
        ("round trip, shared memory, polling", "Boost", "ratio", None),
        ("round trip, shared memory, 20 us late", "bare", "ratio", 1.5)]),
    ("bench_shmem_peers", ["tcp"], FREE, [("round trip, spin=", "sleeping", "ratio", 1)]),
    ("bench_connect", [str(BUILD / "libvekapi.so")], ALONE, [
        ("connect to ready", "bare", "ratio", 1.38), ("idle session, new", None, "figure", 30),
        ("idle session, after a burst", None, "figure", 30), ("load of the library", None, "figure", None)]),
    ("bench_timer", ["rows"], HERE, [("postpone a timer", "lock", "ratio", 2)]),
    ("bench_python", [], HERE, [
        ("Python: report", None, "figure", 1.2), ("Python: 10 x 20 as tuples", "split", "figure", 15),
        ("Python: 200,000 x 20 as tuples", "split", "figure", 500), ("Python: 200,000 x 20 as buffers", None, "figure", 30)]),
    ("counts", [], HERE, [
        ("round trip: system calls", "bare", "ratio", 1.02), ("round trip: system calls", "QuickFIX", "ratio", None),
        ("round trip: system calls", "ZeroMQ", "ratio", None), ("round trip: allocations", "bare", "figure", 0.001),
        ("round trip: allocations", "QuickFIX", "figure", None), ("round trip: allocations", "ZeroMQ", "figure", None),
        ("send: system calls", "bare", "ratio", 1.02), ("send: allocations", "bare", "figure", 0.001)]),
    ("size", [], HERE, [("size of the library", None, "figure", 400)]),
]

# ./dev bench --check: the greatest ratios; docs/performance.md says how they were chosen.
CHECK = {"round trip": ("bare", 1.35), "send": ("bare", 1.35), "request in a session": ("plain", 7.1),
         "result of 10 x 20": ("arena", 2.85), "result of 10 MB": ("arena", 1.75)}


def options():
    parser = argparse.ArgumentParser(prog="./dev bench", allow_abbrev=False)
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--only", action="append", metavar="NAME")
    parser.add_argument("--check", action="store_true")
    parser.add_argument("--json", type=pathlib.Path, default=OUT / "results.json", metavar="FILE")
    parser.add_argument("--doc", action="store_true")
    parser.add_argument("--targets", action="store_true", help=argparse.SUPPRESS)  # what is to be built
    chosen = parser.parse_args()
    if chosen.check and (chosen.only or chosen.doc or chosen.quick):
        parser.error("--check takes no --only, --quick or --doc")
    if chosen.doc and (chosen.only or chosen.quick):
        parser.error("--doc takes a whole run, without --only or --quick")
    for name in chosen.only or []:
        if not any(name in work[0] for *_, works in PROGRAMS for work in works):
            parser.error(f"no work has '{name}' in its name; there are:\n  " + "\n  ".join(
                dict.fromkeys(work[0] for *_, works in PROGRAMS for work in works)))
    return chosen


def wanted(chosen):
    """The programs to run, with their wanted works."""
    names = chosen.only or [""]
    for program, arguments, where, works in PROGRAMS:
        if chosen.check:
            works = [w for w in works if w[0] in CHECK and w[1] == CHECK[w[0]][0]]
        works = [w for w in works if any(name in w[0] for name in names)]
        if works:
            # The check needs no peers.
            yield program.replace("_peers", "") if chosen.check else program, arguments, where, works


def targets(programs):
    needs = {"counts": ["bench_roundtrip_peers", "bench_sends"], "size": ["vekapi"],
             "bench_python": ["vekapi", "bench_receive"], "bench_connect": ["vekapi", "bench_connect"]}
    return list(dict.fromkeys(t for program, *_ in programs for t in needs.get(program, [program])))


def launcher(where):
    """On one processor, wake-ups that do not interrupt the waker: each round trip then has the same switches."""
    pin = [] if where == FREE else ["taskset", "-c", str(max(os.sched_getaffinity(0)))]
    return pin + (["chrt", "--batch", "0"] if where == HERE else [])


def run(command, rows, works, percent):
    only = "|" + "|".join(dict.fromkeys(w[0] for w in works)) + "|"
    environment = dict(os.environ, VEKAPI_BENCH_ROWS=rows, VEKAPI_BENCH_ONLY=only, VEKAPI_BENCH_PERCENT=str(percent))
    try:
        return subprocess.run(command, env=environment, stdout=subprocess.DEVNULL, timeout=300).returncode == 0
    except (OSError, subprocess.TimeoutExpired) as fault:
        print(f"   {fault}", file=sys.stderr)
        return False


def system_calls(command, count):
    """As strace counts them, in a run of so many calls more than another run."""
    totals = []
    for calls in (count, 2 * count):
        with tempfile.NamedTemporaryFile("r") as table:
            subprocess.run(["strace", "-f", "-c", "-U", "calls,name", "-o", table.name, *command, str(calls)], check=True,
                           stdout=subprocess.DEVNULL, env=dict(os.environ, VEKAPI_BENCH_ROWS=os.devnull))
            # A thread that ends under strace may leave a line there that begins with its number.
            totals.append(sum(int(line.split()[0]) for line in table if re.match(r" *\d+ (?!total)\w+$", line)))
    return (totals[1] - totals[0]) / count


def run_counts(rows, works):
    for work, program in (("round trip", "bench_roundtrip_peers"), ("send", "bench_sends")):
        ways = dict.fromkeys(way for w in works if w[0].startswith(work + ":") for way in ("ours", w[1]))
        for way in ways:
            command = [BUILD / program, "count", way]
            try:
                subprocess.run([*command, "2000"], check=True, env=dict(os.environ, VEKAPI_BENCH_ROWS=rows),
                               stderr=subprocess.DEVNULL)
                line = {"work": f"{work}: system calls", "who": way, "unit": "each", 
                        "slices": [[system_calls(command, 2000), 0]]}
                with open(rows, "a", encoding="utf-8") as file:
                    print(json.dumps(line), file=file)
            except (OSError, subprocess.CalledProcessError):
                print(f"   {work} of {way} is not counted", file=sys.stderr)
    return True


def measure(programs, percent):
    """All lines of all programs, by work and way; and how many programs failed."""
    failed = 0
    with tempfile.TemporaryDirectory() as directory:
        rows = os.path.join(directory, "rows")
        open(rows, "w", encoding="utf-8").close()
        for at, (program, arguments, where, works) in enumerate(programs):
            start = time.monotonic()
            name = " ".join([program, *map(os.path.basename, arguments)])
            print(f"[{at + 1}/{len(programs)}] {name}: ", end="", file=sys.stderr, flush=True)
            if where == FREE and len(os.sched_getaffinity(0)) < 2:
                print("takes two processors", file=sys.stderr)
                continue
            if program == "counts":
                good = run_counts(rows, works)
            elif program == "size":
                good = write_size(rows)
            elif program == "bench_python":
                good = run([*launcher(where), PYTHON, ROOT / "bench/bench_python.py", BUILD], rows, works, percent)
            else:
                good = run([*launcher(where), BUILD / program, *arguments], rows, works, percent)
            failed += not good
            print(f"{'done' if good else 'FAILED'} in {time.monotonic() - start:.0f} s", file=sys.stderr)
        with open(rows, encoding="utf-8") as file:
            lines = [json.loads(line) for line in file]
    return {(line["work"], line["who"]): line for line in lines}, failed


def write_size(rows):
    with tempfile.NamedTemporaryFile() as stripped:
        subprocess.run(["strip", "-o", stripped.name, BUILD / "libvekapi.so"], check=True)
        size = os.path.getsize(stripped.name) / 1000
    with open(rows, "a", encoding="utf-8") as file:
        print(json.dumps({"work": "size of the library", "who": "ours", "unit": "KB", "slices": [[size, 0]]}), file=file)
    return True


def part(values, share):
    return sorted(values)[int(share * (len(values) - 1))]


def in_state(slices):
    """Which slices are in the state of most."""
    state = statistics.median(s for _, s in slices)
    return [abs(s - state) <= max(0.25, state / 10) for _, s in slices], state


def compare(series, work, beside, kind, target):
    """A row of the table."""
    ours, reference = series.get((work, "ours")), series.get((work, beside))
    row = {"work": work, "beside": beside, "limits": kind, "target": target, "met": "not measured"}
    if not ours or (beside and not reference):
        return row
    kept, row["state"] = in_state(ours["slices"])
    mine = [cost for (cost, _), keep in zip(ours["slices"], kept) if keep]
    row.update(unit=ours["unit"], ours=part(mine, 0.1), slices=len(ours["slices"]), kept=len(mine),
               calls=ours.get("calls"), percentiles=bench_page.percentiles(ours))
    if reference:
        theirs, row["reference_state"] = in_state(reference["slices"])
        pairs = [(a[0], b[0]) for a, b, k, t in zip(ours["slices"], reference["slices"], kept, theirs) if k and t]
        if not pairs:
            return row
        row["reference"] = part([b for _, b in pairs], 0.1)
        row["ratio"] = statistics.median(a / b for a, b in pairs) if all(b for _, b in pairs) else None
        row["more"] = row["ours"] - row["reference"]
    figure = row["ours"] if kind == "figure" else row.get(kind)
    if target is None or figure is None:
        row["met"] = "-"
    else:
        row["met"] = "yes" if figure <= target else "no"
    return row


def number(value):
    return "-" if value is None else f"{value:,.0f}" if abs(value) >= 1000 else f"{value:.3g}"


def figure(value, unit):
    """A value with its unit, or the next larger ones."""
    larger = {"ns": "µs", "us": "ms", "µs": "ms", "ms": "s"}
    unit = {"us": "µs", "each": ""}.get(unit, unit)
    while value >= 10_000 and unit in larger:
        value, unit = value / 1000, larger[unit]
    return f"{number(value)} {unit}".rstrip()


def cells(row):
    """The row as texts: work, ours, reference, ratio, target, met."""
    unit, target = row.get("unit", ""), row["target"]
    if target is not None:
        target = "≤ " + (number(target) if row["limits"] == "ratio" else
                         ("+" if row["limits"] == "more" else "") + figure(target, unit))
    reference = f"{row['beside']} {figure(row['reference'], unit)}" if "reference" in row else row["beside"] or "-"
    return [row["work"], figure(row["ours"], unit) if "ours" in row else "-", reference, number(row.get("ratio")),
            target or "-", row["met"]]


HEADS = ["work", "ours", "reference", "ratio", "target", "met"]


def print_table(rows):
    table = [HEADS, *map(cells, rows)]
    widths = [max(len(line[i]) for line in table) for i in range(len(HEADS))]
    for line in table:
        print("  ".join(cell.ljust(width) for cell, width in zip(line, widths)).rstrip())


def machine():
    cpu = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8"))
    compiler = subprocess.run(["c++", "--version"], stdout=subprocess.PIPE, text=True, check=False).stdout.split("\n")[0]
    python = subprocess.run([PYTHON, "--version"], stdout=subprocess.PIPE, text=True, check=False).stdout.strip()
    return {"processor": cpu.group(1) if cpu else platform.machine(), "processors": os.cpu_count(), "python": python,
            "system": f"{platform.system()} {platform.release()}", "compiler": compiler, "options": "-O2 -flto",
            "load": round(os.getloadavg()[0], 1), "date": time.strftime("%Y-%m-%d")}


def write_doc(rows, where):
    lines = [f"{where['processors']} × {where['processor']}, {where['system']}, {where['compiler']}, {where['options']}, "
             f"{where['python']}, {where['date']}; load {where['load']} at the start.", "",
             "| " + " | ".join(HEADS) + " |", "|" + "---|" * len(HEADS)]
    lines += ["| " + " | ".join(cells(row)) + " |" for row in rows]
    ratios = {row["beside"]: row["ratio"] for row in rows if row["work"] == "round trip" and "ratio" in row}
    bare = ratios.pop("bare", None)
    if bare and ratios:
        lines += ["", "A round trip over bare sockets takes, of the time of " +
                  ", ".join(f"{peer}: {number(ratio / bare)} (ours {number(ratio)})" for peer, ratio in ratios.items()) + "."]
    text = DOC.read_text(encoding="utf-8")
    begin, end = "<!-- figures -->\n", "<!-- end of figures -->"
    head, rest = text.split(begin)
    DOC.write_text(head + begin + "\n" + "\n".join(lines) + "\n\n" + end + rest.split(end)[1], encoding="utf-8")


def check(rows):
    """Ratios only. The exit status."""
    failed = 0
    for row in rows:
        limit = CHECK[row["work"]][1]
        ratio = row.get("ratio")
        good = ratio is not None and ratio <= limit
        failed += not good
        verdict = "ok" if good else "too slow" if ratio else "not measured"
        print(f"{row['work']:24} {number(ratio):>6} of {row['beside']:6} limit {limit:<5} {verdict}")
    return 1 if failed else 0


def main():
    chosen = options()
    programs = list(wanted(chosen))
    if chosen.targets:
        print("\n".join(targets(programs)))
        return 0
    where = machine()
    series, failed = measure(programs, 20 if chosen.quick else 50 if chosen.check else 100)
    rows = [compare(series, *work) for *_, works in programs for work in works]
    if chosen.check:
        return check(rows)
    print_table(rows)
    OUT.mkdir(parents=True, exist_ok=True)
    with open(chosen.json, "w", encoding="utf-8") as file:
        json.dump({"machine": where, "rows": rows, "series": list(series.values())}, file)
    page = OUT / "index.html"
    page.write_text(bench_page.page(where, HEADS, [cells(row) for row in rows], list(series.values())), encoding="utf-8")
    print(f"figures: {chosen.json}\npage: {page}")
    if chosen.doc:
        write_doc(rows, where)
        print(f"table: {DOC}")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
