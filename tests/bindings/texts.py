#!/usr/bin/env python3
"""Compares vekapi.text and vekapi.encode with the library's own conversions, printed by print_cp950.cpp.

    texts.py FILE
"""

import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "bindings/python"))
import vekapi  # noqa: E402

private, wrong = 0, []
for line in pathlib.Path(sys.argv[1]).read_text().splitlines():
    character, raw, back = (bytes.fromhex(part) for part in line.split())
    if vekapi.text(raw) != back.decode():
        wrong.append(f"{raw.hex()} is {vekapi.text(raw)!r}, not {back.decode()!r}")
    if 0xE000 <= ord(character.decode()) < 0xF900 and raw != b"?":
        private += 1
        if back != character or vekapi.encode(character.decode()) != raw:
            wrong.append(f"{character.decode()!r} is {raw.hex()}")
# Bytes after an incomplete character are kept.
for raw, shown in ((b"\xa4\x01x", "\ufffd\x01x"), (b"\xfa\n", "\ufffd\n"), (b"a\xfa\x40\xa4\xa4", "a\ue000中"), (None, None)):
    if vekapi.text(raw) != shown:
        wrong.append(f"{raw} is {vekapi.text(raw)!r}")
print(f"{private} private-use characters", *wrong[:20], f"{len(wrong)} wrong", sep="\n")
sys.exit(bool(wrong) or private < 6218)
