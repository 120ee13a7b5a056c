#!/usr/bin/env python3
"""Checks the links of README.md and the guides: files, anchors, images. With --site, those of the built site too, and
that none of its pages loads anything from elsewhere.

    check_links.py [--site DIRECTORY]
"""

import argparse
import html.parser
import pathlib
import re
import sys
import urllib.parse
import xml.etree.ElementTree

import docs_blocks

ROOT = pathlib.Path(__file__).resolve().parent.parent
LINK = re.compile(r"!?\[[^\]]*\]\(([^)\s]+)\)|(?:src|srcset|href)=\"([^\"]+)\"")
HEADING = re.compile(r"^#+ +(.*?)(?: +#+)?$", re.MULTILINE)
LOADED = {("script", "src"), ("link", "href"), ("img", "src"), ("source", "srcset"), ("iframe", "src"), ("object", "data")}
NOT_OURS = ("http:", "https:", "mailto:", "data:", "javascript:")


def without_code(source):
    return re.sub(r"`[^`\n]*`", "", docs_blocks.PIECE.sub("", source))


def anchors_of(source):
    """The anchors of headings, as web front ends of repositories and the site make them."""
    seen, anchors = {}, set()
    for heading in HEADING.findall(docs_blocks.PIECE.sub("", source)):
        words = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", heading).lower()
        slug = re.sub(r"[^\w\- ]", "", words).replace(" ", "-")
        number = seen.get(slug, 0)
        seen[slug] = number + 1
        anchors.add(f"{slug}-{number}" if number else slug)
    return anchors


def faults_of_page(path):
    source = path.read_text(encoding="utf-8")
    for link in re.finditer(LINK, without_code(source)):
        target, _, anchor = (link[1] or link[2]).partition("#")
        if target.startswith(NOT_OURS):
            continue
        file = (path.parent / urllib.parse.unquote(target)).resolve() if target else path
        if not file.exists() or ROOT not in file.parents:
            yield f"{path.relative_to(ROOT)}: no file {target}"
        elif anchor and file.suffix == ".md" and anchor not in anchors_of(file.read_text(encoding="utf-8")):
            yield f"{path.relative_to(ROOT)}: no heading {target}#{anchor}"


class Page(html.parser.HTMLParser):
    def __init__(self, path):
        super().__init__()
        self.anchors, self.links, self.loads = set(), [], []
        self.feed(path.read_text(encoding="utf-8"))

    def handle_starttag(self, tag, attrs):
        for name, value in attrs:
            if name in ("id", "name"):
                self.anchors.add(value)
            elif name in ("href", "src", "srcset", "data") and value:
                self.links.append(value)
                if (tag, name) in LOADED:
                    self.loads.append(value)


def faults_of_site(site):
    pages = {path.resolve(): Page(path) for path in site.rglob("*.html")}
    for path, page in pages.items():
        where = path.relative_to(site)
        yield from (f"{where}: loads {load}" for load in page.loads if load.startswith(("http:", "https:", "//")))
        for link in page.links:
            target, _, anchor = re.sub(r"\?[^#]*", "", link).partition("#")
            if target.startswith(NOT_OURS):
                continue
            file = (path.parent / urllib.parse.unquote(target)).resolve() if target else path
            if not file.exists():
                yield f"{where}: no file {target}"
            elif anchor and file in pages and urllib.parse.unquote(anchor) not in pages[file].anchors:
                yield f"{where}: no anchor {link}"
    for path in site.rglob("*.css"):
        for url in re.findall(r"(?:url\(|@import )[\"']?(https?:[^\"')]*|//[^\"')]*)", path.read_text(encoding="utf-8")):
            yield f"{path.relative_to(site)}: loads {url}"


def faults_of_reference(site, described):
    """Every class, and every function and enumeration outside of classes, that Doxygen found has its place."""
    anchors = set().union(*(Page(path).anchors for path in (site / "reference").glob("*.html")))
    index = xml.etree.ElementTree.parse(described / "index.xml")
    for compound in index.iter("compound"):
        own = [compound] if compound.get("kind") in ("class", "struct") else []
        own += [part for part in compound.iter("member") if part.get("kind") in ("function", "enum")
                and compound.get("kind") in ("namespace", "file")]
        yield from (f"the reference has no {part.find('name').text}" for part in own if part.get("refid") not in anchors)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--site", type=pathlib.Path)
    site = parser.parse_args().site
    paths = sorted(path for pattern in docs_blocks.PAGES for path in ROOT.glob(pattern))
    faults = [fault for path in paths for fault in faults_of_page(path)]
    if site:
        faults += [*faults_of_site(site.resolve()), *faults_of_reference(site, ROOT / "build/site-work/doxygen/xml")]
    print(*faults, sep="\n", file=sys.stderr, end="\n" if faults else "")
    print(f"links of {len(paths)} pages, {len(faults)} faults")
    return bool(faults)


if __name__ == "__main__":
    sys.exit(main())
