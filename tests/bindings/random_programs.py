#!/usr/bin/env python3
"""Runs random programs against a server and checks how they end: with their own exit code, in time, and without
unexpected output.

    random_programs.py [--seconds N] [--seed N] [--ending NAME] python|csharp COMMAND... HOST:PORT

COMMAND gets the server's address, the name of an ending and a seed. All endings run once, and then again
until the time is over. The server is veksim --anyone --heartbeat 1 --rate 1000/1000; for minutes, with --quiet.
"""

import argparse
import random
import signal
import subprocess
import sys
import time

PATIENCE = 60  # time limit per program in seconds
# Ending: exit code, expected output, whether it is interrupted (Ctrl-C) once busy.
ENDINGS = {
    "python": {
        "return": (0, "", False),
        "joined": (0, "", False),
        "exit": (7, "", False),
        "raise": (1, "RuntimeError: the program's own", False),
        "event_exit": (5, "", False),
        "loop_exit": (6, "", False),
        "some_loop": (0, "", False),
        "daemon": (0, "", False),
        "fork": (4, "", False),
        "stuck": (0, "", False),
        "interrupt": (-signal.SIGINT, "KeyboardInterrupt", True),
        "loop_interrupt": (-signal.SIGINT, "KeyboardInterrupt", True),
    },
    "csharp": {
        "return": (0, "", False),
        "joined": (0, "", False),
        "exit": (7, "", False),
        "event_exit": (5, "", False),
        "raise": (1, "the program's own", False),
        "daemon": (0, "", False),
        # One in three hung once.
        **{f"contended {i}": (7, "", False) for i in range(8)},
    },
}


def run(command, interrupted, dice):
    program = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    try:
        started = program.stdout.readline()
        if interrupted and started:
            time.sleep(dice.random() / 10)  # at a random point
            program.send_signal(signal.SIGINT)
        _, said = program.communicate(timeout=PATIENCE)
        return program.returncode, said.decode(errors="replace")
    except subprocess.TimeoutExpired:
        program.send_signal(signal.SIGABRT)  # makes programs with a fault handler show where they hang
        return "none: it hangs", program.communicate()[1].decode(errors="replace")


def complaint(ended, said, expected):
    code, words, _ = expected
    if ended != code:
        return f"exit code {ended}, not {code}"
    lines = [line for line in said.strip().splitlines()]
    if words and not any(words in line for line in lines) or not words and lines:
        return f"said something else than '{words}'"
    for sign in ("Exception ignored", "FATAL: ", "terminate called", "Native Crash", "not rethrown"):
        if sign in said:
            return f"said '{sign}'"
    return None


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--seconds", type=float, default=0)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--ending")
    parser.add_argument("language", choices=ENDINGS)
    parser.add_argument("command", nargs=argparse.REMAINDER)
    options = parser.parse_args()
    signal.signal(signal.SIGINT, signal.SIG_DFL)  # shells make background programs, and their children, ignore it
    dice, until, runs, bad = random.Random(options.seed), time.monotonic() + options.seconds, 0, 0
    endings = {options.ending: None} if options.ending else ENDINGS[options.language]
    while not bad and (runs == 0 or time.monotonic() < until):
        for ending in endings:
            expected, seed = ENDINGS[options.language][ending], str(dice.randrange(10**9))
            begun = time.monotonic()
            ended, said = run([*options.command, ending, seed], expected[2], dice)
            wrong, runs = complaint(ended, said, expected), runs + 1
            print(f"{ending} {seed}: {wrong or 'ok'}, {time.monotonic() - begun:.1f} s", flush=True)
            if wrong:
                bad += 1
                print(said)
    print(f"{runs} programs, {bad} ended as they should not")
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
