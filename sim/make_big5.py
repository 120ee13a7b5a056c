#!/usr/bin/env python3
"""Generates SimBig5.inc: code page 950 for every non-ASCII character in the simulator's sources.

Run it after adding a text: python3 sim/make_big5.py
"""
import pathlib

here = pathlib.Path(__file__).parent
characters = {
    character
    for source in [*here.glob("*.cpp"), *here.glob("*.h")]
    for character in source.read_text(encoding="utf-8")
    if ord(character) > 0x7F
}
lines = ["// Written by make_big5.py from the texts in the sources.\n"]
for character in sorted(characters):
    big5 = character.encode("cp950").hex().upper()
    lines.append(f"{{0x{ord(character):04X}, 0x{big5}}},  // {character}\n")
(here / "SimBig5.inc").write_text("".join(lines), encoding="utf-8", newline="\n")
