"""The site of ./dev docs: the guides, and the reference of every language. Builds offline."""

import pathlib
import re
import sys
from xml.etree import ElementTree

from docutils import nodes
from pygments.lexers.dotnet import VbNetLexer

root = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(root / "bindings/python"), str(root / "docs/site")]
import csharp  # noqa: E402

project = "VekApi"
author = "the VekApi developers"
version = release = re.search(r"project\(vekapi VERSION ([\d.]+)", (root / "CMakeLists.txt").read_text())[1]
extensions = ["myst_parser", "breathe", "sphinx.ext.autodoc"]
exclude_patterns = ["site"]

myst_heading_anchors = 3
myst_enable_extensions = ["colon_fence"]

breathe_projects = {"vekapi": str(root / "build/site-work/doxygen/xml")}
breathe_default_project = "vekapi"
breathe_show_include = False
cpp_id_attributes = ["VEKAPI_EXPORT"]

default_role = "code"
autodoc_member_order = "bysource"
autodoc_typehints = "signature"
python_use_unqualified_type_names = True
add_module_names = False

html_theme = "furo"
html_title = f"VekApi {version}"
html_static_path = ["static"]
html_css_files = ["site.css"]
html_copy_source = False
html_show_sphinx = False
html_show_copyright = False

# Files above docs/, and the pages that stand for them.
PAGES = {"CHANGELOG.md": "changes", "CONTRIBUTING.md": "contributing", "SECURITY.md": "security"}


def read_pages(_app, page, source):
    """A page that stands for a file has its text; links to the file lead to the page."""
    if page == "reference/csharp":
        source[0] += csharp.reference(root)
    files = [file for file, name in PAGES.items() if name == page]
    if files:
        source[0] = (root / files[0]).read_text(encoding="utf-8").replace("](docs/", "](")
    for file, name in PAGES.items():
        source[0] = re.sub(rf"\]\((?:\.\./)?{re.escape(file)}", f"]({name}.md", source[0])


def sort_groups(_app):
    """Doxygen lists groups of declarations in no order: puts them in that of the header."""
    for path in (root / "build/site-work/doxygen/xml").glob("*.xml"):
        tree = ElementTree.parse(path)
        for compound in tree.iter("compounddef"):
            groups = [part for part in compound if part.get("kind") == "user-defined"]
            places = [list(compound).index(group) for group in groups]
            groups.sort(key=lambda group: int(group.find("memberdef/location").get("line")))
            for place, group in zip(places, groups):
                compound[place] = group
        tree.write(path, encoding="utf-8", xml_declaration=True)


def make_sections(_app, document):
    """Groups of declarations become sections, for the table of contents."""
    for group in list(document.findall(lambda node: "breathe-sectiondef" in node.get("classes", ())
                                       if isinstance(node, nodes.Element) else False)):
        if isinstance(group.parent, nodes.section) and isinstance(group[0], nodes.rubric):
            title = group[0].astext()
            section = nodes.section("", nodes.title("", title), *group[1:], ids=[nodes.make_id(title)], names=[])
            group.replace_self(section)


def mark_code(_app, _what, _name, _object, _options, lines):
    """Indented parts of docstrings are code. A name such as cvam_... is no link."""
    lines[:] = [line if line.startswith(" ") else re.sub(r"_(?=\.)", r"\\_", line) for line in lines]
    for at in range(len(lines) - 2, 0, -1):
        above = lines[at - 1]
        if not lines[at] and lines[at + 1].startswith("    ") and above and not above.startswith(" "):
            lines[at:at] = ["", "::"]


def complete_theme(app, error):
    """The theme's script and dark colours come unfinished where the package was built without its bundler: the script
    imports another, which pages opened as files must not, and only the switch gives dark pages, not the system."""
    static = pathlib.Path(app.outdir) / "_static"
    script, style = static / "scripts/furo.js", static / "styles/furo.css"
    first, _, rest = script.read_text(encoding="utf-8").partition("\n")
    if error is None and first.startswith("import Gumshoe"):
        script.write_text((static / "scripts/gumshoe-patched.js").read_text(encoding="utf-8") + rest, encoding="utf-8")
    colours = style.read_text(encoding="utf-8")
    if error is None and "prefers-color-scheme" not in colours:
        dark = re.search(r'body\[data-theme="dark"\] (\{.*?\})', colours, re.DOTALL)[1]
        style.write_text(f"{colours}\n@media screen and (prefers-color-scheme: dark) {{\n"
                         f'body:not([data-theme="light"]) {dark}\n}}\n', encoding="utf-8")


def setup(app):
    app.add_lexer("vba", VbNetLexer)
    app.connect("build-finished", complete_theme)
    app.connect("autodoc-process-docstring", mark_code)
    app.connect("builder-inited", sort_groups)
    app.connect("doctree-read", make_sections, priority=400)  # before the table of contents is collected
    app.connect("source-read", read_pages)
