#!/usr/bin/env python3
"""Prints a public header with its comments marked for Doxygen.

The first comment of a file describes the file. A comment above a declaration belongs to it, and to overloads that follow
without a blank line or a comment of their own, and to the same function for automation strings (_B). A comment behind
code belongs to that code. A comment with a blank line below it opens a group; its first sentence is the group's title.
Copying, moving and destroying are left out where they have no comment, and so are private members.

    doxygen_filter.py HEADER
"""

import pathlib
import re
import sys

COMMENT = re.compile(r"^( {0,2})//(?: (.*))?$")
INSIDE = re.compile(r"^( {0,4})//(?: (.*))?$")  # a class in a class
NESTED, NESTED_END = re.compile(r"^  (class|struct) .*\{$"), "  };"
BEHIND = re.compile(r"^(\s*[^\s/#}].*?)( *)// (.*)$")
RULE = re.compile(r"^-{20,}$")
SPECIAL = re.compile(r"^ +(~\w+\(\)|(\w+)\((const )?\2&&?( \w+)?\)|\w+& operator=\().*;$")
NAME = re.compile(r"(operator\S+?|[\w~]+)\(")
LEAD = re.compile(r"^([A-Z][\w-]*(?: [a-z]+)?[.:])(?= )")
DECLARATION = re.compile(r"^ {0,2}(?!friend|using namespace|public|private|protected|namespace)[A-Za-z_~]")
SCOPE = re.compile(r"^(\S| *(struct|class|enum)\b).*\{$")
PRIVATE = re.compile(r"^( *) private:\n.*?(?=^\1 (?:public|protected):|^\1};)", re.DOTALL | re.MULTILINE)
STANDARD = re.compile(r"^namespace std::.*?^\}[^\n]*\n", re.DOTALL | re.MULTILINE)
TITLE = re.compile(r"(.*?)(?:[.:]|$)\s*(.*)", re.DOTALL)
END = re.compile(r"^(#endif  //|#ifdef __cplusplus|}  // namespace)")


class Marker:
    def __init__(self, name):
        self.lines = [f"/// @file vekapi/{name}"]
        self.groups = []  # indentations of the open groups
        self.shared = []  # the comment above a declaration, for those that follow it,
        self.first = ""  # and the name of that declaration
        self.column = 0  # of the comment behind the line before

    def close_groups(self, indent):
        while self.groups and len(self.groups[-1]) >= len(indent):
            self.lines.append(self.groups.pop() + "/// @}")

    def open_group(self, indent, texts):
        self.close_groups(indent)
        title, rest = TITLE.fullmatch("\n".join(texts)).groups()
        rest = rest[:1].upper() + rest[1:]
        self.lines.append(f"{indent}/// @name {title}")
        self.lines += [f"{indent}/// {text}".rstrip() for text in rest.split("\n") if rest] + [f"{indent}/// @{{"]
        self.groups.append(indent)

    def block(self, indent, texts, attached):
        texts = [text for text in texts if not RULE.match(text)]
        texts = texts[:1] + [LEAD.sub(r"**\1**", text) if not above else text for above, text in zip(texts, texts[1:])]
        if len(self.lines) == 1:
            self.lines += [f"/// {text}".rstrip() for text in texts] + [""]
        elif attached:
            self.shared, self.first = [f"{indent}/// {text}".rstrip() for text in texts], ""
            self.lines += self.shared
        else:
            self.open_group(indent, texts)

    def is_shared(self, line):
        """Whether the comment above is that of this declaration too."""
        name = NAME.search(line)
        return self.first and name and DECLARATION.match(line) and name[1] in (self.first, self.first + "_B")

    def code(self, line, commented):
        if END.match(line) or line.startswith("}"):
            self.close_groups("" if END.match(line) else "  ")
        if not line or SCOPE.match(line):
            self.shared, self.first = [], ""
        if SPECIAL.match(line) and not commented:
            return
        if not commented and self.is_shared(line):
            self.lines += self.shared
        name = NAME.search(line)
        self.first = name[1] if commented and name else self.first
        behind = BEHIND.match(line)
        self.column = len(behind[1] + behind[2]) if behind else 0
        self.lines.append(f"{behind[1]}  /**< {behind[3]} */" if behind else line)

    def goes_on(self, line):
        return self.column and line[: self.column].strip() == "" and line[self.column :].startswith("// ")

    def go_on(self, line):
        self.lines[-1] = self.lines[-1][: -len(" */")]
        self.lines.append(line[self.column + 3 :] + " */")


def without_private(text):
    """Private members are left out, but for virtual functions, which applications override."""
    def keep(part):
        return part[0] if re.search(rf"^{part[1]}  virtual ", part[0], re.MULTILINE) else ""

    return PRIVATE.sub(keep, STANDARD.sub("", text))


def marked(name, lines):
    marker, at, commented, pattern = Marker(name), 0, False, COMMENT
    while at < len(lines):
        pattern = INSIDE if NESTED.match(lines[at]) else COMMENT if lines[at] == NESTED_END else pattern
        comment = pattern.match(lines[at])
        if marker.goes_on(lines[at]):
            marker.go_on(lines[at])
            at += 1
        elif comment:
            end = at
            while end < len(lines) and (more := pattern.match(lines[end])) and more[1] == comment[1]:
                end += 1
            texts = [pattern.match(line)[2] or "" for line in lines[at:end]]
            marker.block(comment[1], texts, end < len(lines) and lines[end] != "")
            at, commented = end, True
        else:
            marker.code(lines[at], commented)
            at, commented = at + 1, False
    return marker.lines


def main():
    path = pathlib.Path(sys.argv[1])
    sys.stdout.reconfigure(encoding="utf-8")
    print("\n".join(marked(path.name, without_private(path.read_text(encoding="utf-8")).split("\n"))))


if __name__ == "__main__":
    main()
