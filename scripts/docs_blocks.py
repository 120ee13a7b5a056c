"""The code blocks of README.md and the guides, for check_docs.py."""

import dataclasses
import re
import textwrap

PAGES = ("README.md", "CONTRIBUTING.md", "SECURITY.md", "CHANGELOG.md", "docs/**/*.md")
PIECE = re.compile(
    r"(?:^[ ]*<!--(?P<note>(?:(?!-->).)*)-->\s*)?"
    r"^(?P<indent>[ ]*)(?P<fence>```+|:::+)(?P<language>[^\n`]*)\n(?P<text>.*?)^(?P=indent)(?P=fence)[ ]*$",
    re.DOTALL | re.MULTILINE)


@dataclasses.dataclass(frozen=True)
class Block:
    page: str
    line: int  # of the first line of its text
    language: str
    text: str
    how: str  # from, with, file, run, or ""
    name: str  # what follows `how`
    hidden: str  # code that surrounds it

    @property
    def whole(self):
        """The block with the code around it, on the lines of the page as far as possible."""
        def indented(place):
            return textwrap.indent(self.text.rstrip("\n"), place[1])

        return re.sub(r"^( *)BLOCK$", indented, self.hidden, count=1, flags=re.MULTILINE) or self.text

    @property
    def start(self):
        """The line of the page on which `whole` would start."""
        return self.line - self.hidden.partition("BLOCK")[0].count("\n")

    def fault(self, words):
        return f"{self.page}:{self.line}: {words}"


def parsed(page, source):
    for piece in PIECE.finditer(source):
        note, _, hidden = (piece["note"] or "").partition("\n")
        how, _, name = note.strip().partition(" ")
        yield Block(page, source.count("\n", 0, piece.start("text")) + 1, piece["language"].strip(),
                    textwrap.dedent(piece["text"]), how, name, textwrap.dedent(hidden))


def of_pages(root, wanted=None):
    pages = sorted(path for pattern in PAGES for path in root.glob(pattern))
    return [block for path in pages if not wanted or str(path.relative_to(root)) in wanted
            for block in parsed(str(path.relative_to(root)), path.read_text(encoding="utf-8"))
            if not block.language.startswith("{")]
