#!/usr/bin/env python3
"""Runs the example in the module's documentation, unchanged except for the server's address: it must end by itself
and print the products.

    shown.py HOST:PORT
"""

import contextlib
import io
import pathlib
import re
import sys
import textwrap

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "bindings/python"))
import vekapi  # noqa: E402

example = textwrap.dedent(re.search(r"\n\n((?:    .*\n|\n)+)", vekapi.__doc__)[1])
assert "127.0.0.1:9000" in example, example
shown = io.StringIO()
with contextlib.redirect_stdout(shown):
    exec(example.replace("127.0.0.1:9000", sys.argv[1]), {})
print(shown.getvalue())
sys.exit("TXF" not in shown.getvalue())
