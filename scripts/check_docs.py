#!/usr/bin/env python3
"""Compiles or runs every code block of README.md and the guides.

A comment above a block says how; its further lines are code that readers do not see, with BLOCK where the block goes:

    <!-- from FILE -->   the block is a piece of that file, which has tests of its own
    <!-- with ... -->    compiled with that code around it
    <!-- file NAME -->   written to the page's directory, for the blocks that run there
    <!-- run -->         run in the page's directory, in the order of the page, against the simulated server. Of a
                         `console` block the lines without a prompt must be in the output; a line "..." stands for any

Without a comment a block is compiled, parsed, or its commands and their options are looked up. Blocks of `text` are not
code. Any other language is an error.

    check_docs.py [--build DIRECTORY] [--page PAGE] HOST:PORT
"""

import argparse
import concurrent.futures
import os
import pathlib
import shutil
import subprocess
import sys

import docs_blocks
import docs_languages
import docs_shell

ROOT = pathlib.Path(__file__).resolve().parent.parent


def installed(build):
    """The library as users have it, for the blocks that run."""
    prefix = build / "docs" / "prefix"
    shutil.rmtree(prefix.parent, ignore_errors=True)
    subprocess.run(["cmake", "--install", build, "--prefix", prefix], check=True, stdout=subprocess.DEVNULL)
    (prefix / "doc").symlink_to("share/doc/vekapi")  # as in the archives
    return prefix


def surroundings(build, prefix, server):
    programs = [prefix / "bin", build, ROOT / "scripts"]
    return docs_shell.Place(build / "docs", server, dict(
        os.environ, PKG_CONFIG_PATH=str(prefix / "lib/pkgconfig"), LD_LIBRARY_PATH=str(prefix / "lib"),
        PATH=os.pathsep.join([*map(str, programs), os.environ["PATH"]]), PYTHONPATH=str(ROOT / "bindings/python"),
        VEKAPI=str(prefix), CMAKE_PREFIX_PATH=str(prefix), VEKAPI_LIBRARY=str(prefix / "lib/libvekapi.so")))


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build/linux")
    parser.add_argument("--page", action="append", help="only this one")
    parser.add_argument("server")
    options = parser.parse_args()
    blocks = docs_blocks.of_pages(ROOT, options.page)
    place = surroundings(options.build, installed(options.build), options.server)
    jobs = [*docs_languages.jobs(blocks, ROOT), *docs_shell.jobs(blocks, ROOT, place)]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        faults = [fault for found in pool.map(lambda job: job(), jobs) for fault in found]
    print(*faults, sep="\n", file=sys.stderr)
    print(f"{len(blocks)} blocks in {len({block.page for block in blocks})} pages, {len(faults)} faults")
    return bool(faults)


if __name__ == "__main__":
    sys.exit(main())
