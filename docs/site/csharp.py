"""The reference of the C# classes, from the comments of their sources."""

import re

TYPE = re.compile(r"^    public (?:sealed |static |abstract |partial )*(class|enum) (\w+)(.*)")
MEMBER = re.compile(r"^        (?:(?:public|protected) (?!override )(?:async )?|(?=[A-Z]\w*(?: = .*)?,?(?: +//.*)?$))(.*)")
COMMENT = re.compile(r"^ +//(/?) ?(.*)")
TAG = re.compile(r"</?(?:summary|remarks|returns)>|<param name=\"(\w+)\">|</param>")
LISTED = ("VekSession.cs", "VekEventStream.cs", "VekSessionValues.cs", "VekResults.cs", "VekObjects.cs", "VekOwned.cs", "VekApi.cs")
ENUMS = "VekApi.Declarations.cs"


def described(lines):
    """A comment as paragraphs."""
    text = " ".join(TAG.sub(lambda tag: f"\n\n`{tag[1]}`: " if tag[1] else "", line) for line in lines)
    return re.sub(r"_(?=\.)", r"\\_", re.sub(r"`(\w+)`", r"``\1``", text)).strip()


def signature(lines, at):
    """The declaration that starts on a line, without its body."""
    text = MEMBER.match(lines[at])[1]
    while text.count("(") > text.count(")"):
        at += 1
        text += " " + lines[at].strip()
    text = re.sub(r"\bdefault\((\w+)\)", "default", text)
    return re.split(r" *(?:\{|;| => | : base|//|,$)", text)[0].strip()


def entries(lines):
    """(kind, name or signature, comment) of each public type and member."""
    comment = []
    for at, line in enumerate(lines):
        told, kind, member = COMMENT.match(line), TYPE.match(line), MEMBER.match(line)
        if told:
            comment.append(told[2])
            continue
        if kind:
            yield kind[1], kind[2], described(comment)
        elif member:
            behind = re.search(r" // (.*)", line)
            yield "member", signature(lines, at), described(comment) or (behind[1] if behind else "")
        comment = []


def reference(root):
    text = ""
    for name in (*LISTED, ENUMS):
        listed = False
        for kind, words, comment in entries((root / "bindings/csharp" / name).read_text(encoding="utf-8").split("\n")):
            if kind != "member":
                listed = kind == "enum" or name != ENUMS
                text += f"\n{words}\n{'-' * len(words)}\n\n{comment}\n" if listed else ""
            elif listed:
                indented = comment.replace("\n\n", "\n\n   ")
                text += f"\n.. describe:: {words}\n" + (f"\n   {indented}\n" if comment else "")
    return text
