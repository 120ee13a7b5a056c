#!/usr/bin/env python3
"""Compares the fates reported to a trader with what the servers recorded.

    fates.py [--launcher PROGRAM] --server VEKSIM [--table] TRADER...

Runs two simulated servers and the trader with both addresses. After some fates the first server is killed; when the
session is up again, that server is restarted on the same port, and later the other one is killed. At the end all fates
must agree with the servers' records: an acknowledged order was executed once, an order not sent was not seen, and
every order seen has a fate. --table lists all orders.

The trader must print its session's states, and "order ID: FATE REASON" with the texts of CVekApi_Text.
"""

import argparse
import collections
import pathlib
import re
import subprocess
import sys
import tempfile
import threading

KILL_AT = (8, 30)  # number of fates
PATIENCE = 100  # seconds for the trader
FATES = {"acknowledged": "acknowledged", "not sent": "not sent", "sent, no answer in time": "timed out",
         "unknown: it may have been sent": "unknown"}
# How often the servers may have seen and executed an order, by fate.
AGREES = {"acknowledged": {(1, 1)}, "not sent": {(0, 0)}, "timed out": {(0, 0), (1, 0), (1, 1)},
          "unknown": {(0, 0), (1, 0), (1, 1)}}


class Server:
    def __init__(self, launcher, program, folder, name):
        self.name, self.ledger = name, folder / f"{name}.ledger"
        # What is launched cannot be killed: Wine keeps the sockets of a killed program.
        self.command, self.crashes = [*launcher, program], bool(launcher)
        self.port = "0"
        self.start()

    def start(self):
        options = ["--port", self.port, "--request-rate", "5/200", "--refuse-fast", "--ledger", str(self.ledger)]
        if self.crashes:
            options.append("--crash-at-eof")
        self.process = subprocess.Popen([*self.command, *options], stdin=subprocess.PIPE if self.crashes else None,
                                        stdout=subprocess.PIPE, text=True)
        for line in self.process.stdout:
            listening = re.search(r"listening on .*:(\d+)\s*$", line)
            if listening:
                self.port = listening[1]
                break
        else:
            sys.exit(f"{self.name} did not start")
        threading.Thread(target=self.process.stdout.read, daemon=True).start()  # the log, or the server would block
        print(f"-- {self.name} listens on port {self.port}", flush=True)

    def kill(self):
        if self.crashes:
            self.process.stdin.close()
        else:
            self.process.kill()
        self.process.wait()
        print(f"-- {self.name} is killed", flush=True)

    def recorded(self, what):
        if not self.ledger.exists():
            return []
        lines = (line.split() for line in self.ledger.read_text(errors="replace").splitlines())
        return [line[1] for line in lines if line[0] == what and (what != "saw" or line[2] == "new")]


def follow(trader, servers):
    """Returns all fates by work id, in their order, and the number of servers killed."""
    fates, killed, restarted = {}, 0, False
    for line in trader.stdout:
        print(line, end="", flush=True)
        if killed == 1 and not restarted and re.match(r"state link \d+: up", line):
            servers[0].start()
            restarted = True
        order = re.match(r"order (\S+): (.*?)\s*$", line)
        if not order:
            continue
        fate = next((name for words, name in FATES.items() if order[2].startswith(words)), order[2])
        fates.setdefault(order[1], []).append(fate)
        if killed < len(KILL_AT) and len(fates) >= KILL_AT[killed] and (killed == 0 or restarted):
            servers[killed].kill()
            killed += 1
    return fates, killed


def judge(fates, servers, table):
    """Returns the discrepancies."""
    saw, did = (collections.Counter(i for s in servers for i in s.recorded(what)) for what in ("saw", "did"))
    where = {i: s.name for s in servers for i in s.recorded("saw")}
    complaints = [f"{i} was seen by a server, and has no fate" for i in did if i not in fates]
    for at, (order, told) in enumerate(fates.items(), 1):
        agrees = len(told) == 1 and (saw[order], did[order]) in AGREES.get(told[0], ())
        line = f"{at:3}  {order:22} {' and '.join(told):14} {where.get(order, 'no server'):10} " + (
            f"saw it, executed {did[order]}" if saw[order] else "saw it")
        if not agrees:
            complaints.append("this does not agree: " + line)
        if table:
            print(line + ("" if agrees else "   <- does not agree"))
    return complaints


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--launcher", action="append", default=[])
    parser.add_argument("--server", required=True)
    parser.add_argument("--table", action="store_true")
    parser.add_argument("trader", nargs=argparse.REMAINDER)
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        servers = []
        try:
            servers += (Server(options.launcher, options.server, pathlib.Path(folder), n) for n in ("first", "second"))
            return run(options, servers)
        finally:
            for server in servers:
                server.process.kill()
                server.process.wait()


def run(options, servers):
    addresses = [f"127.0.0.1:{server.port}" for server in servers]
    trader = subprocess.Popen([*options.trader, *addresses], stdout=subprocess.PIPE, text=True, errors="replace")
    watchdog = threading.Timer(PATIENCE, trader.kill)
    watchdog.start()
    fates, killed = follow(trader, servers)
    ended = trader.wait()
    watchdog.cancel()
    complaints = judge(fates, servers, options.table)
    if ended:
        complaints.append(f"the trader ended with {ended}")
    if killed < len(KILL_AT):
        complaints.append(f"{killed} servers were killed; two were to be")
    kinds = collections.Counter(told[-1] for told in fates.values())
    if not kinds["acknowledged"] or not kinds["not sent"]:
        complaints.append("some orders were to be acknowledged, some not to be sent")
    print(*complaints, sep="\n", end="\n" * bool(complaints))
    print(f"{len(fates)} fates: " + ", ".join(f"{count} {kind}" for kind, count in kinds.items()) +
          (f"; {len(complaints)} complaints" if complaints else "; the servers' records agree with every one"))
    return bool(complaints)


if __name__ == "__main__":
    sys.exit(main())
