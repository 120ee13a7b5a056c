#!/usr/bin/env python3
"""Events and tables in Python, beside the same done by Python alone. Writes rows as bench/Rows.h does.

    bench_python.py BUILD
"""

import json
import os
import pathlib
import queue
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "bindings/python"))
import vekapi  # noqa: E402

REPORTS = 1000
ROUNDS = max(3, 30 * int(os.environ.get("VEKAPI_BENCH_PERCENT", "100")) // 100)
series = {}


def slice_of(work, who, unit, cost):
    series.setdefault((work, who, unit), []).append([cost, 0])


def timed(act, unit):
    start = time.perf_counter()
    act()
    return (time.perf_counter() - start) * {"us": 1e6, "ms": 1e3}[unit]


def split(raw):
    return [tuple(line.split("\x01")) for line in raw.decode().split("\n")]


class Handler(vekapi.Handler):
    """Measures inside the events."""

    def __init__(self):
        self.done, self.count = queue.SimpleQueue(), 0

    def on_connect(self, client, reason):
        if client.state < 0:
            os._exit(1)

    def on_ready(self, client):
        self.done.put(None)

    def on_report(self, client, report):
        self.count += 1
        if self.count == 1:
            self.start = time.thread_time()
        elif self.count == REPORTS:
            slice_of("Python: report", "ours", "us", (time.thread_time() - self.start) / (REPORTS - 1) * 1e6)
            self.count = 0
            self.done.put(None)

    def on_task_result(self, client, result):
        table, raw = result["Orders"], result.raw
        large = len(table) > 10
        name, unit = ("200,000 x 20", "ms") if large else ("10 x 20", "us")
        if large:
            slice_of(f"Python: {name} as buffers", "ours", unit, timed(lambda: list(table.blocks()), unit))
        slice_of(f"Python: {name} as tuples", "ours", unit, timed(table.tuples, unit))
        slice_of(f"Python: {name} as tuples", "split", unit, timed(lambda: split(raw), unit))
        self.done.put(None)


def main():
    build = pathlib.Path(sys.argv[1])
    vekapi.load(str(build / "libvekapi.so"))
    server = subprocess.Popen([build / "bench_receive", "serve"], stdout=subprocess.PIPE, text=True)
    handler = Handler()
    with vekapi.Client(handler) as client:
        client.connect(f"127.0.0.1:{server.stdout.readline().strip()}", "bench", "1", "", "", "")
        handler.done.get()
        for length, rounds in ((1, ROUNDS), (2, 10 * ROUNDS), (3, max(3, ROUNDS // 6))):
            for _ in range(rounds):
                client.send(150, "x" * length)
                handler.done.get()
    server.wait()
    with open(os.environ.get("VEKAPI_BENCH_ROWS", "/dev/stdout"), "a", encoding="utf-8") as file:
        for (work, who, unit), slices in series.items():
            print(json.dumps({"work": work, "who": who, "unit": unit, "slices": slices}), file=file)


if __name__ == "__main__":
    main()
