#!/usr/bin/env python3
"""Runs the examples with a server's address in the module's documentation, unchanged except for that: each must end by itself
and print the products.

    shown.py LIBRARY HOST:PORT
"""

import contextlib
import io
import pathlib
import re
import sys
import textwrap

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "bindings/python"))
import vekapi  # noqa: E402

vekapi.load(sys.argv[1])
examples = [textwrap.dedent(code) for code in re.findall(r"\n\n((?:    .*\n|\n)+)", vekapi.__doc__) if "127.0.0.1:9000" in code]
assert len(examples) == 2, examples
for example in examples:
    shown = io.StringIO()
    with contextlib.redirect_stdout(shown):
        exec(example.replace("127.0.0.1:9000", sys.argv[2]), {"vekapi": vekapi})
    assert "TXF" in shown.getvalue(), (example, shown.getvalue())
