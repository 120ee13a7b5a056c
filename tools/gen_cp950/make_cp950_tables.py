#!/usr/bin/env python3
"""Makes the tables of code page 950 for systems without it, and the expectations of their tests, from what Windows says.

Usage: make_cp950_tables.py DUMP.EXE [RUNNER]
DUMP.EXE is dump_cp950.c built for Windows (x86_64-w64-mingw32-gcc -O2 dump_cp950.c -o dump_cp950.exe); RUNNER is what
starts it where that is not Windows, such as wine64. Writes src/platform/os/posix/cp950_table.inc and
tests/os/code_page_expected.inc.
"""
import pathlib
import platform
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
HEAD = "// Made by tools/gen_cp950/make_cp950_tables.py from what the API of {} answers. Not to be edited.\n"
NO_CHARACTER = 0x3F  # "?", stored as 0 in the tables, since most cells contain it

def ask_windows(command):
    done = subprocess.run(command, stdout=subprocess.PIPE, check=True)
    rows = [line.split() for line in done.stdout.decode().splitlines()]
    return {kind: [row[1:] for row in rows if row[0] == kind] for kind in "WB"}


def version_of(runner):
    if not runner:
        return platform.platform()
    return subprocess.run(runner + ["--version"], stdout=subprocess.PIPE, check=True).stdout.decode().strip()


def fnv1a(chunks):
    digest = 0xCBF29CE484222325
    for chunk in chunks:
        for byte in chunk:
            digest = (digest ^ byte) * 0x100000001B3 & 0xFFFFFFFFFFFFFFFF
    return digest


def framed(answer):
    """An answer with its length in front, so that answers cannot melt into each other."""
    return bytes((len(answer),)) + answer


def c_array(declaration, numbers, digits, per_line):
    lines = [
        "  " + ",".join(f"0x{n:0{digits}X}" if n else "0" for n in numbers[i : i + per_line]) + ","
        for i in range(0, len(numbers), per_line)
    ]
    return f"{declaration} = {{\n" + "\n".join(lines) + "\n};\n"


def paged(cells, size, empty):
    """Cuts cells into pages and leaves out the repeated ones. Gives the page of each place, and the pages."""
    pages, places = [[empty] * size], []
    for at in range(0, len(cells), size):
        page = cells[at : at + size]
        if page not in pages:
            pages.append(page)
        places.append(pages.index(page))
    return places, pages


def tables(head, big5_of, units_of):
    text = head + "// Two-level tables: the upper byte chooses a page, the lower byte a cell of it.\n// 0: no character, to be written as \"?\".\n\n"
    for name, cells in (("Big5", big5_of), ("Unicode", units_of)):
        places, pages = paged(cells, 256, NO_CHARACTER)
        text += c_array(f"constexpr std::uint8_t k{name}Page[256]", places, 2, 16)
        shown = [0 if cell == NO_CHARACTER else cell for cell in sum(pages, [])]
        text += "\n" + c_array(f"constexpr std::uint16_t k{name}Cells[{len(pages)} * 256]", shown, 4, 16) + "\n"
    return text.rstrip() + "\n"


def big5_cell(answer):
    assert len(answer) in (1, 2), answer
    return int.from_bytes(answer, "big")


def units_cells(rows):
    """A cell for each lead and trail byte; row 0 holds the single bytes. Checks what the code takes for granted."""
    cells = [NO_CHARACTER] * 0x10000
    leads = {int(row[0][:2], 16) for row in rows if len(row[0]) == 4}
    assert leads == set(range(0x81, 0xFF))
    for source, units in rows:
        code = int(source, 16)
        if len(source) == 4 and code & 0xFF == 0:
            assert units == "003F0000", (source, units)  # a NUL is never consumed
            continue
        assert len(units) == 4 and not 0xD800 <= int(units, 16) < 0xE000, (source, units)
        cells[code] = int(units, 16)
    return cells


def expectations(head, big5_rows, unit_rows):
    answers = [bytes.fromhex(row[1]) for row in big5_rows]
    pages = [fnv1a(framed(a) for a in answers[at : at + 256]) for at in range(0, 0x10000, 256)]
    text = head + "// Digests (64-bit FNV-1a) of answers, each with its length in a byte in front.\n\n"
    text += "// All characters of U+pp00 to U+ppFF, surrogates as \"?\", to code page 950, for each pp.\n"
    text += c_array("constexpr std::uint64_t kBig5OfPage[256]", pages, 16, 4) + "\n"
    text += "// Code page 950 to UTF-8: for each lead byte itself (0x00 to 0xFF) and all pairs that it starts.\n"
    to_utf8 = [bytes.fromhex(row[1]).decode("utf-16-be").encode() for row in unit_rows]
    text += f"constexpr std::uint64_t kUtf8OfAll = 0x{fnv1a(map(framed, to_utf8)):016X};\n"
    return text


def main():
    runner = sys.argv[2:]
    answers = ask_windows(runner + [sys.argv[1]])
    head = HEAD.format(version_of(runner))
    big5_of = [big5_cell(bytes.fromhex(row[1])) for row in answers["W"]]
    assert all(big5_of[unit] == NO_CHARACTER for unit in range(0xD800, 0xE000))
    units_of = units_cells(answers["B"])
    (ROOT / "src/platform/os/posix/cp950_table.inc").write_text(tables(head, big5_of, units_of))
    expected = expectations(head, answers["W"], answers["B"])
    (ROOT / "tests/os/code_page_expected.inc").write_text(expected)


if __name__ == "__main__":
    main()
