#!/usr/bin/env python3
"""Reads the includes of src and fails when one climbs, or when a directory outgrows its share.

Each directory may include itself and those named after it, nothing else. The map is the one that
docs/architecture.md draws.
"""
import collections
import pathlib
import re
import sys

LARGEST_SHARE = 0.20

BELOW = {
    "platform/os": [],
    "platform/runtime": ["platform/os"],
    "platform/transport": ["platform/runtime", "platform/os"],
    "protocol": ["platform/runtime", "platform/os"],
    "result": ["platform/runtime", "platform/os"],
    "shmem": ["platform/transport", "platform/runtime", "platform/os"],
    "flowctrl": ["protocol", "platform/runtime", "platform/os"],
    "session": ["flowctrl", "shmem", "protocol", "result", "platform/transport", "platform/runtime", "platform/os"],
    "flat": ["session", "flowctrl", "shmem", "protocol", "result", "platform/transport", "platform/runtime",
             "platform/os"],
}
