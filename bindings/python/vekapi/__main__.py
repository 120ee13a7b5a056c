"""A small terminal client: python -m vekapi HOST:PORT... --user USER

The password is asked for, or read from the first line if the input is not a terminal. Each line is then a query; a line
"!FIRST\\nSECOND" is a request of code 129 (a literal backslash and n between its two lines). Events are printed as they come.
"""

import argparse
import getpass
import io
import sys
import threading
import unicodedata
from typing import Iterable, Iterator, List, Optional

from . import BlockingSession, Event, NotAnswered, SessionError, Table, load


def _width(text: str) -> int:
    return sum(2 if unicodedata.east_asian_width(character) in "WF" else 1 for character in text)


def _lines(records: Iterable[Iterable[str]]) -> Iterator[str]:
    """Records in columns."""
    rows: List[List[str]] = [list(record) for record in records]
    count = max(map(len, rows))
    widths = [max((_width(row[at]) for row in rows if at < len(row)), default=0) for at in range(count)]
    for row in rows:
        yield "  ".join(value + " " * (width - _width(value)) for value, width in zip(row, widths)).rstrip()


_output = threading.Lock()


def _say(text: str) -> None:
    """Whole lines: events are printed on the link's thread."""
    with _output:
        sys.stdout.write(text + "\n")
        sys.stdout.flush()


def _print_table(table: Table) -> None:
    head = f"{table.name or '(no name)'}: {len(table)} records"
    _say("\n  ".join([head, *_lines([table.names, *table.tuples()])]))


def _run(session: BlockingSession, line: str, timeout: Optional[float]) -> None:
    if line.startswith("!"):
        fate = session.send(line[1:].replace("\\n", "\n"), timeout=timeout)
        _say(f"{fate} " + fate.text.replace("\1", " "))
        return
    try:
        for table in session.query(line, timeout=timeout):
            _print_table(table)
    except NotAnswered as error:
        _say(str(error))


def _try(session: BlockingSession, line: str, timeout: Optional[float]) -> None:
    try:
        _run(session, line, timeout)
    except UnicodeEncodeError as error:
        _say(f"not sent: {error}")


def _print_event(event: Event) -> None:
    told = "" if event.result else event.text.replace("\1", " ")
    _say(" ".join(filter(None, (str(event), told))))


def _entered() -> Iterator[str]:
    """The lines entered, until the end of the input."""
    if sys.stdin.isatty():
        try:
            import readline  # noqa: F401  line editing
        except ImportError:
            pass
    while True:
        try:
            line = input("> " if sys.stdin.isatty() else "").strip()
        except EOFError:
            return
        if line:
            yield line


def main(arguments: Optional[List[str]] = None) -> int:
    """Returns the exit code: 1 if the session could not be opened."""
    parser = argparse.ArgumentParser(prog="python -m vekapi", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("servers", nargs="+", metavar="HOST:PORT")
    parser.add_argument("--user", required=True)
    parser.add_argument("--library", help="path of the library, if it is neither in the package nor in the system")
    parser.add_argument("--timeout", type=float, default=10, help="seconds to wait for an answer (10)")
    options = parser.parse_args(arguments)
    if isinstance(sys.stdout, io.TextIOWrapper):
        sys.stdout.reconfigure(errors="replace")  # a console that lacks characters
    load(options.library)
    password = getpass.getpass() if sys.stdin.isatty() else sys.stdin.readline().rstrip("\r\n")
    session = BlockingSession(options.servers, user=options.user, password=password, on_event=_print_event)
    try:
        session.open(options.timeout)
        for line in _entered():
            _try(session, line, options.timeout)
    except (SessionError, TimeoutError) as error:
        print(f"not connected: {error}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        return 130
    finally:
        session.close()
    return 0


if __name__ == "__main__":
    sys.exit(main())
