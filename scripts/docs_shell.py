"""Runs blocks, and looks up the commands and options of those that are not run, for check_docs.py."""

import dataclasses
import functools
import os
import pathlib
import re
import shlex
import shutil
import signal
import subprocess
import sys

SERVERS = re.compile(r"(?:127\.0\.0\.1|gw\d?(?:\.example)?):9000")
OURS = ("veksim", "vekgate", "vekdump", "vekterm")
OTHERS = ("apt-get", "cd", "cmake", "cp", "ctest", "cdb", "dpkg", "export", "g++", "gcc", "gdb", "kill", "make", "mcs",
          "mkdir", "mono", "pip", "python3", "scripts/wine.sh", "setarch", "sha256sum", "sudo", "tar", "tcpdump", "tshark",
          "unzip", "wireshark", "x86_64-w64-mingw32-g++-posix", "x86_64-w64-mingw32-gcc", "nuget", "dotnet")
KEYWORDS = ("while", "until", "do", "if", "then")
BUILTIN = ("[", "done", "fi", "echo", "sleep", "wait")
END_JOBS = "trap 'kill $(jobs -p) 2>/dev/null || true' EXIT\n"
SECONDS = 60


@dataclasses.dataclass(frozen=True)
class Place:
    directory: pathlib.Path
    server: str
    environment: dict


def jobs(blocks, root, place):
    pages = dict.fromkeys(block.page for block in blocks if block.how in ("file", "run"))
    looked_up = [block for block in blocks if block.language in ("sh", "console")]
    return [functools.partial(run_page, [block for block in blocks if block.page == page], place) for page in pages] + [
        lambda: [fault for block in looked_up for fault in look_up(block, root)]]


def run_page(blocks, place):
    """The page as a reader follows it: writes its files and runs its blocks, until one fails."""
    directory = place.directory / blocks[0].page.replace("/", "-").removesuffix(".md")
    directory.mkdir(parents=True)
    for block in blocks:
        if block.how == "file":
            (directory / block.name).write_text(SERVERS.sub(place.server, block.whole), encoding="utf-8")
        elif block.how == "run":
            faults = run(block, directory, place)
            if faults:
                return faults
    return []


def run(block, directory, place):
    text = SERVERS.sub(place.server, block.whole)
    if block.language == "console":
        text = "\n".join(typed(block, text))
    command = [sys.executable, "-"] if block.language == "python" else ["bash", "-euo", "pipefail", "-s"]
    with subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          cwd=directory, env=place.environment, start_new_session=True) as ran:
        try:
            output, _ = ran.communicate(END_JOBS + text if command[0] == "bash" else text, timeout=SECONDS)
        except subprocess.TimeoutExpired:
            os.killpg(ran.pid, signal.SIGKILL)
            return [block.fault(f"does not end: {ran.communicate()[0]}")]
    if ran.returncode:
        return [block.fault(f"exit status {ran.returncode}\n{output}")]
    shown = [line for line in block.text.split("\n") if line and not line.startswith("$ ")]
    return [] if block.language != "console" else compared(block, shown, output)


def compared(block, shown, output):
    """Each shown line is a line of the output, in this order; within a line, "..." stands for anything."""
    rest = output.split("\n")
    for line in shown:
        pattern = re.compile(".*".join(map(re.escape, line.split("..."))))
        while rest and not pattern.fullmatch(rest[0]):
            rest.pop(0)
        if not rest:
            return [block.fault(f"not printed: {line}\n{output}")]
    return []


def typed(block, text):
    """What a reader types: of a console the lines behind its prompt."""
    lines = re.sub(r"\\\n\s*", " ", text).split("\n")
    return [line[2:] for line in lines if line.startswith("$ ")] if block.language == "console" else lines


def commands_of(block):
    """The simple commands of a block, as lists of words."""
    for line in typed(block, block.text):
        line = re.sub(r"(^|\s)#.*", "", line)
        for command in re.split(r"&&|\|\|?|;|&(?!\d)", re.sub(r'"[^"]*"|\$\([^)]*\)|\'[^\']*\'', "TEXT", line)):
            words = [word for word in shlex.split(command)]
            while words and (re.match(r"\w+=", words[0]) or words[0] in KEYWORDS):
                words.pop(0)
            if words:
                yield words


@functools.cache
def help_of(program, build):
    found = shutil.which(program, path=build)
    return subprocess.run([found, "--help"], capture_output=True, text=True, check=False).stdout if found else None


def look_up(block, root):
    checked = subprocess.run(["bash", "-n"], input="\n".join(typed(block, block.text)), text=True, capture_output=True,
                             check=False)
    faults = [block.fault(checked.stderr)] if checked.returncode else []
    for words in commands_of(block):
        faults += [block.fault(fault) for fault in look_up_command(words, root)]
    return faults


def look_up_command(words, root):
    name = words[0].rsplit("/", 1)[-1].removesuffix(".exe")
    if words[0] == "./dev":
        commands = re.search(r"^commands=\((.*)\)$", (root / "dev").read_text(), re.MULTILINE)[1].split()
        return [] if len(words) == 1 or words[1] in commands else [f"./dev has no command {words[1]}"]
    if name in OURS:
        told = help_of(name, root / "build/linux")
        if told is None:
            return [f"{name} is not built"]
        options = [word.partition("=")[0] for word in words[1:] if word.startswith("-")]
        return [f"{name} has no option {option}" for option in options
                if not re.search(rf"(?<![\w-]){option}(?![\w-])", told)]
    if words[0] in OTHERS + BUILTIN or words[0].startswith(("build/", "trading/", "./")) or (root / words[0]).exists():
        return []
    return [f"command '{words[0]}' is in no list"]
