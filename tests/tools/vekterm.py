"""Runs vekterm against the simulated server and against listeners that are none:

    vekterm.py BUILD-DIRECTORY SUFFIX [LAUNCHER...]
"""
import json
import os
import pathlib
import re
import select
import signal
import socket
import subprocess
import sys
import tempfile
import threading

BUILD, SUFFIX, LAUNCHER = sys.argv[1], sys.argv[2], sys.argv[3:]
FILES = pathlib.Path(tempfile.mkdtemp(prefix="vekterm", dir=BUILD))


def command(program, *arguments):
    return [*LAUNCHER, f"{BUILD}/{program}{SUFFIX}", *arguments]


def secret(name, text):
    (FILES / name).write_text(text + "\n")
    return f"{FILES}/{name}"


def listener(answer):
    """A port where `answer` is sent to whatever comes; None listens and says nothing."""
    server = socket.create_server(("127.0.0.1", 0))

    def serve():
        kept = []
        while True:
            link, _ = server.accept()
            kept.append(link)
            if answer and link.recv(1000):
                link.sendall(answer)
                link.shutdown(socket.SHUT_WR)

    threading.Thread(target=serve, daemon=True).start()
    return f"127.0.0.1:{server.getsockname()[1]}"


def nobody():
    with socket.create_server(("127.0.0.1", 0)) as server:
        return f"127.0.0.1:{server.getsockname()[1]}"


def start_server():
    """The process, its address, and its setting for shared memory."""
    server = subprocess.Popen(command("veksim", "--shm", "--request-rate", "5/200", "--record", of_server), stdout=subprocess.PIPE, text=True)
    found = ""
    while "ShMemCli" not in found:
        line = server.stdout.readline()
        assert line, found
        found += line
    threading.Thread(target=server.stdout.read, daemon=True).start()
    return server, re.search(r"127\.0\.0\.1:\d+", found)[0], re.search(r":ShMemCli:[^\r\n]*", found)[0]


of_server = f"{FILES}/server.vekrec"
simulator, good, shared = start_server()
right, wrong = secret("right", "secret"), secret("wrong", "guess")
demo, fresh = secret("demo", "demo"), secret("fresh", "changed")
recording = f"{FILES}/day.vekrec"
user = ["--user", "trader", "--password-file"]
ORDER = "prod=TXF side=B qty=1 price=15000"

# Name, arguments, script, exit code, and patterns that the output must match in this order.
CASES = [
    ("tables and orders", [good, *user, right, "--record", recording],
     "query accounts\nnew prod=TXF side=B qty=2 price=MKT\nexpect Left=0\nfates\ntimes\ncounters\nstate\nhelp new\n", 0,
     [r"state    up", r"交易帳號 \(acc\), 2 records", r"帳號  戶名    幣別   權益數", r"9800001  王小明  TWD   1000000",
      r"report   fill OrdNo=A\d+ .*Left=0", r"orders +1 ", r"acknowledged +1", r"up; link 1, 0 held, 0 out",
      r"Example:\n  new prod=TXF"]),
    ("paced burst", [good, *user, right, "--rate", "5/200"], f"burst 12 new {ORDER}\nquery stats\n", 0,
     [r"burst    12 orders in .*: 12 accepted, 0 rejected", r"RequestViolations|委託過於頻繁", r" 0\n"]),
    ("held orders are withdrawn", [good, *user, right],
     f"limits 1/60000\nnew {ORDER}\nnew {ORDER} &\nwithdraw all\nwait\n", 0, [r"#2 \w+: not sent \(withdrawn\)"]),
    ("a script stops where it fails", [good, *user, right], "# first\nnew prod=NONE side=B qty=1 price=1\nhelp\n", 1,
     [r"vekterm: line 2: new prod=NONE .*: the server rejects it: 無此商品"]),
    ("a script keeps going", [good, *user, right, "--keep-going"],
     'bogus\nquery "x\nraw 3 x\nnew x\nburst x new a=b\nexpect never 1\nquery nothing\nwithdraw 99\n\0\nquery deals', 1,
     [r"line 1: bogus: no command", r"line 2: .*a quote", r"line 3: .*from 4 to 4095", r"line 4: .*KEY=VALUE",
      r"line 5: ", r"line 6: .*no report", r"line 7: .*answered with an error", r"line 8: .*not held", r"line 9: .*no text",
      "成交口數"]),
    ("characters that the server lacks", [good, *user, right, "--keep-going"],
     "query orders acc=\N{GRINNING FACE}\nquery products\n".encode() + "new prod=臺\n".encode("big5"), 1,
     [r"line 1: .*: not sent: a character", r"臺股期貨", r"line 3: .*: not sent: a character"]),
    ("nothing but noise", [good, *user, right, "--keep-going"], bytes(range(256)) * 300, 1, [r"line 1: "]),
    ("a trace in UTF-8", [good, *user, right], "trace on\nquery accounts\n", 0, [r"<-- task result of \d+ bytes: .*交易帳號"]),
    ("shared memory", [shared, *user, right], "query accounts\n", 0, [r"9800001"]),
    ("the second server", [nobody(), good, *user, right], "state\n", 0, [r"up; link 2"]),
    ("a new password", [good, "--user", "demo", "--password-file", demo], f"password {fresh}\nclose\nopen\nquery accounts\n",
     0, [r"the server says: ", r"9800009"]),
    ("wrong password", [good, *user, wrong], "state\n", 3, [r"refused the sign-on: 使用者代號或密碼錯誤"]),
    ("nothing listens", [nobody(), *user, right], "state\n", 2, [r"nobody listens at that port"]),
    ("no terminal to ask", [good, "--user", "trader"], "", 4, [r"--password-file"]),
    ("no such file", [good, *user, "no/such/file"], "", 4, [r"no/such/file"]),
    ("no server", ["--user", "trader"], "", None, [r"HOST:PORT"]),
    ("bad rate", [good, *user, right, "--rate", "5"], "", None, [r"COUNT/MS"]),
    ("check: good", ["check", good, *user, right], "", 0,
     [r"✓ look-up", r"✓ address", r"✓ connect request", r"✓ sign-on", r"✓ round trips .*median", r"✓ heartbeat", r"everything"]),
    ("check: setting", ["check", "host:9000 zz", *user, right], "", 11, [r"✗ setting .*\"zz\""]),
    ("check: name", ["check", "a..b:9000", *user, right], "", 12, [r"✗ look-up", r"misspelt"]),
    ("check: nothing listens", ["check", nobody(), *user, right], "", 13, [r"✗ address", r"nothing listens on this port"]),
    ("check: silence", ["check", listener(None), *user, right, "--timeout", "1"], "", 14,
     [r"✗ connect request", r"accepted the connection and never answered"]),
    ("check: HTTP", ["check", listener(b"HTTP/1.1 400 Bad Request\r\n\r\n"), *user, right], "", 14,
     [r"✗ connect request .*HTTP", r"that of a web server"]),
    ("check: text", ["check", listener(b"Welcome to the machine\r\n"), *user, right], "", 14,
     [r"✗ connect request .*sends plain text: Welcome"]),
    ("check: password", ["check", good, *user, wrong], "", 15, [r"✗ sign-on", r"User or password is wrong"]),
]


def run(arguments, script, program="vekterm"):
    given = script.encode() if isinstance(script, str) else script
    # A session of its own: no terminal.
    ended = subprocess.run(command(program, *arguments), input=given, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                           timeout=60, start_new_session=True)
    return ended.returncode, ended.stdout.decode(errors="replace").replace("\r\n", "\n")


def fault(case):
    """What is wrong, or nothing."""
    _, arguments, script, code, patterns = case
    ended, text = run(arguments, script)
    if not (ended > 100 and ended < 128 if code is None else ended == code):
        return f"exit code {ended}\n{text}"
    at = 0
    for pattern in patterns:
        found = re.compile(pattern).search(text, at)
        if not found:
            return f"no {pattern!r}\n{text}"
        at = found.end()
    return None


def narrow_fault():
    """Tables are cut at the edge of a terminal."""
    if SUFFIX:
        return None
    import fcntl, pty, struct, termios
    outside, inside = pty.openpty()
    fcntl.ioctl(inside, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 30, 0, 0))
    ended = subprocess.run(command("vekterm", good, *user, right), input=b"query accounts\nwide on\nquery accounts\n",
                           stdout=inside, start_new_session=True)
    os.close(inside)
    text = b""
    try:
        while some := os.read(outside, 4096):
            text += some
    except OSError:  # the end
        pass
    narrow, wide = re.findall(r"\(acc\), 2 records\s+(.*?)answered", text.decode(), re.DOTALL)
    good_cut = "... 1 more column (權益數); all of them: wide on" in narrow and "1000000" not in narrow
    return None if ended.returncode == 0 and good_cut and "1000000" in wide else text.decode()


def typed(*steps):
    """Exit code and screen of a job of a shell, at a terminal. A step is what to wait for and what to type then."""
    import pty, termios
    shell, screen = pty.fork()
    if not shell:
        mode, me = termios.tcgetattr(0), os.getpid()
        signal.signal(signal.SIGTTOU, signal.SIG_IGN)
        job = os.fork()
        if not job:
            os.setpgid(0, 0)
            os.tcsetpgrp(0, os.getpid())
            signal.signal(signal.SIGTTOU, signal.SIG_DFL)
            os.execvp(LAUNCHER[0] if LAUNCHER else f"{BUILD}/vekterm", command("vekterm", good, "--user", "trader"))
        while os.WIFSTOPPED(ended := os.waitpid(job, os.WUNTRACED)[1]):
            os.tcsetpgrp(0, me)
            termios.tcsetattr(0, termios.TCSADRAIN, mode)
            os.write(1, b"stopped")
            os.tcsetpgrp(0, job)
            os.kill(job, signal.SIGCONT)
        os._exit(os.waitstatus_to_exitcode(ended) % 256)
    text = b""
    try:
        while select.select([screen], [], [], 20)[0]:
            text += os.read(screen, 4096)
            while steps and steps[0][0] in text:
                while b"vek> " in steps[0][0] and termios.tcgetattr(screen)[3] & termios.ICANON:
                    os.sched_yield()  # the prompt comes just before
                os.write(screen, steps[0][1])
                steps = steps[1:]
    except OSError:  # the end
        pass
    os.close(screen)
    return os.waitstatus_to_exitcode(os.waitpid(shell, 0)[1]), text


def typed_fault():
    """A shell turns echo on when a job was stopped: not while a password is typed; lines are edited all the same."""
    if SUFFIX:
        return None
    ended = [typed((b"Password of", b"\x03")), typed((b"Password of", b"\x1asecret\r"), (b"vek> ", b"quiz"),
                   (b"quiz", b"\x1a"), (b"stoppedvek> quiz", b"\bt\r"))]
    good_ends = ended[0][0] == 130 and ended[1][0] == 0 and b"interrupted" in ended[0][1]
    return None if good_ends and b"secret" not in ended[1][1] and ended[1][1].count(b"stopped") == 1 else str(ended)


def reconnect_fault():
    """After a password change the session signs on again by itself, when the server closes the line."""
    server = subprocess.Popen(command("veksim", "--fault", "request:close"), stdout=subprocess.PIPE, text=True)
    closing = re.search(r"127\.0\.0\.1:\d+", server.stdout.readline())[0]
    script = f"password {secret('chinese', '密碼')}\nquery accounts\nwait up\nquery accounts\n"
    ended, text = run([closing, *user, right, "--keep-going"], script)
    server.kill()
    return None if ended == 1 and text.count("9800001") == 1 and "line 2" in text else f"{ended} {text}"


def lost_fault():
    """What cannot be read or written ends the programs. As a directory or a full device only here."""
    if SUFFIX:
        return None
    server = subprocess.Popen(command("veksim", "--ledger", "/dev/full"), stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    unwritten = re.search(r"127\.0\.0\.1:\d+", server.stdout.readline())[0]
    for address, given, taken, code, words in (
            (good, "/dev/null", "/dev/full", 4, b"output could not be written"),
            (good, str(FILES), "/dev/null", 4, b"input could not be read"),
            (unwritten, secret("order", f"new {ORDER}"), "/dev/null", 1, b"may have been sent")):
        script = os.open(given, os.O_RDONLY)  # open() refuses a directory
        with open(taken, "wb") as output:
            ended = subprocess.run(command("vekterm", address, *user, right), stdin=script, stdout=output, stderr=subprocess.PIPE,
                                   timeout=60)
        os.close(script)
        if ended.returncode != code or not re.search(words, ended.stderr):
            server.kill()
            return f"{given} {taken}: {ended}"
    said = server.stdout.read()
    return None if server.wait() == 1 and "cannot write /dev/full" in said else said


# Program, arguments, exit code, what it says.
BAD_OPTIONS = [
    ("vekdump", [recording, "--chart", ""], None, "the value is missing"),
    ("vekdump", [recording, "--chart", recording], 1, "is the input"),
    ("vekdump", [recording, "--rows", "-1"], None, "not in range"),
    ("vekdump", ["--listen", "0", "--to", "a:1", "--address", "nope"], 1, "cannot listen on nope:0"),
    # Windows has no such argument, unless its user's code page is UTF-8.
    *([] if SUFFIX else [("vekterm", [good, "--user", "\N{GRINNING FACE}", "--password-file", right], 4, "code page 950")]),
    ("vekterm", [good, *user, secret("long", "x" * 256)], 4, "the password is too long: at most 255 bytes"),
    ("veksim", ["--port", ""], None, "the value is missing"),
    ("veksim", ["--split", "-5"], None, "not in range"),
    ("veksim", ["--port-file", str(FILES)], 1, "directory"),
    ("veksim", ["--replay", recording, "--record", "x"], None, "excludes"),
    ("vekgate", ["--name", ""], None, "the value is missing"),
    ("vekgate", ["--name", "a\nb"], None, "control characters"),
    ("vekgate", ["--name", "x" * 101], None, "at most 100"),
    ("vekterm", [good, "--user", "x" * 300], None, "at most 254"),
]


def unwritten_help_fault():
    for program, code in ("vekterm", 4), ("vekdump", 1), ("veksim", 1), ("vekgate", 1):
        with open("/dev/full", "wb") as full:
            ended = subprocess.run(command(program, "--help"), stdout=full, stderr=subprocess.PIPE, timeout=60)
        if ended.returncode != code or b"could not be written" not in ended.stderr:
            return f"{program}: {ended}"
    return None


def bad_options_fault():
    for program, arguments, code, words in BAD_OPTIONS:
        ended, text = run(arguments, "", program)
        if words not in text or not (100 < ended < 128 if code is None else ended == code):
            return f"{program} {arguments}: {ended} {text}"
    return None


def json_fault():
    ended, text = run([good, *user, right, "--json"], f"query accounts\nnew {ORDER}\nnew side=B\n")
    objects = [json.loads(line) for line in text.splitlines()]
    wanted = {"state", "table", "fate", "report", "error"} - {each["kind"] for each in objects}
    error = [each for each in objects if each["kind"] == "error"]
    return None if ended == 1 and not wanted and error[0]["line"] == 3 else f"{ended} {wanted}\n{text}"


def recording_fault(file, given=""):
    ended, text = run([file], given, "vekdump")
    wanted = ["connect request", "identity: trader", "password: ********", "交易帳號", "accepted"]
    missing = [each for each in wanted if each not in text]
    return None if ended == 0 and not missing and "secret" not in text else f"{ended} {missing}\n{text}"


faults = [(case[0], fault(case)) for case in CASES] + [("JSON", json_fault()), ("narrow", narrow_fault()), ("typed", typed_fault()), ("reconnect", reconnect_fault()),
                                                       ("lost", lost_fault())]
simulator.kill()
faults.append(("bad options", bad_options_fault()))
if not SUFFIX:  # Windows has no such file
    faults.append(("unwritten help", unwritten_help_fault()))
faults += [(file, recording_fault(file)) for file in (recording, of_server)]
with open(recording, "rb") as whole:
    faults.append(("standard input", recording_fault("-", whole.read())))
for name, what in faults:
    print("ok  " if what is None else "FAIL", name, "" if what is None else "\n" + what)
sys.exit(any(what for _, what in faults))
