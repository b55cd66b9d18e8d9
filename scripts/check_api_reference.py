#!/usr/bin/env python3
"""Checks the generated API reference (the `docs` target's output directory, holding html/ and xml/):

- every namespace-level function (each overload), enumeration and constant that the public headers declare
  with a /// comment has its entry in the namespace's reference and on its header's page, and every
  enumeration nested in a class has its entry in the class's;
- no page links to a file or an anchor that is not there.

usage: check_api_reference.py DOCS_DIR [INCLUDE_DIR]
"""

import collections
import html
import html.parser
import os
import re
import sys
import urllib.parse
import xml.etree.ElementTree as ElementTree

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import header_docs  # noqa: E402

KINDS = {"function": "function", "enum": "enum", "variable": "variable"}


def reference_members(xml_dir):
    """{(compound name, member kind, member name): count} over namespaces, classes and files."""
    counts = collections.Counter()
    index = ElementTree.parse(os.path.join(xml_dir, "index.xml")).getroot()
    for compound in index.findall("compound"):
        if compound.get("kind") not in ("namespace", "class", "struct", "file"):
            continue
        tree = ElementTree.parse(os.path.join(xml_dir, compound.get("refid") + ".xml")).getroot()
        for definition in tree.iter("compounddef"):
            name = definition.findtext("compoundname")
            for member in definition.iter("memberdef"):
                counts[(name, member.get("kind"), member.findtext("name"))] += 1
    return counts


def file_pages(docs_dir):
    """{header file name: the text of its HTML page}."""
    pages = {}
    index = ElementTree.parse(os.path.join(docs_dir, "xml", "index.xml")).getroot()
    for compound in index.findall("compound"):
        if compound.get("kind") == "file":
            path = os.path.join(docs_dir, "html", compound.get("refid") + ".html")
            if os.path.exists(path):
                with open(path, encoding="utf-8", errors="replace") as page:
                    pages[compound.findtext("name")] = page.read()
    return pages


def check_counts(docs_dir, include_dir):
    counts = reference_members(os.path.join(docs_dir, "xml"))
    pages = file_pages(docs_dir)
    expected = collections.Counter()
    for entity in header_docs.parse_tree(include_dir):
        if not entity.doc or entity.kind not in KINDS:
            continue
        scope, name = entity.key.rsplit("::", 1)
        if entity.namespace_level:
            expected[(scope, KINDS[entity.kind], name)] += 1
            header = entity.header.replace(os.sep, "/").split("/")[-1]
            if scope == "vela" and not re.search(">(vela::)?{}<".format(re.escape(html.escape(name, quote=False))), pages.get(header, "")):
                counts[(header, KINDS[entity.kind], name)] -= 1  # reported below as missing from its page
                expected[(header, KINDS[entity.kind], name)] = 0
        elif entity.kind == "enum":
            expected[(scope, "enum", name)] += 1
    missing = []
    for key, count in sorted(expected.items()):
        if key[0].endswith(".hpp"):
            missing.append("{} {} on the page of {}".format(key[1], key[2], key[0]))
        elif counts[key] < count:
            missing.append("{} {}::{} ({} in the headers, {} in the reference)".format(
                key[1], key[0], key[2], count, counts[key]))
    summary = collections.Counter(kind for (scope, kind, _), n in expected.items() if "::" not in scope
                                  and not scope.endswith(".hpp") for _ in range(n))
    return missing, summary


class _Links(html.parser.HTMLParser):
    def __init__(self):
        super().__init__()
        self.links, self.anchors = [], set()

    def handle_starttag(self, tag, attrs):
        attrs = dict(attrs)
        for attribute in ("href", "src"):
            if attrs.get(attribute):
                self.links.append(attrs[attribute])
        for attribute in ("id", "name"):
            if attrs.get(attribute) and tag != "meta":
                self.anchors.add(attrs[attribute])


def check_links(html_dir):
    pages = {}
    for folder, _, files in os.walk(html_dir):
        for name in files:
            if name.endswith(".html"):
                parser = _Links()
                with open(os.path.join(folder, name), encoding="utf-8", errors="replace") as page:
                    parser.feed(page.read())
                pages[os.path.normpath(os.path.join(folder, name))] = parser
    broken = []
    for path, parser in sorted(pages.items()):
        for link in parser.links:
            parsed = urllib.parse.urlparse(link)
            if parsed.scheme or link.startswith(("//", "javascript:", "mailto:")):
                continue
            target = path if not parsed.path else os.path.normpath(
                os.path.join(os.path.dirname(path), urllib.parse.unquote(parsed.path)))
            if not os.path.exists(target):
                broken.append("{}: {} (no such file)".format(os.path.relpath(path, html_dir), link))
            elif parsed.fragment and target in pages and parsed.fragment not in pages[target].anchors:
                broken.append("{}: {} (no such anchor)".format(os.path.relpath(path, html_dir), link))
    return broken, len(pages)


def main(argv):
    if len(argv) not in (2, 3):
        sys.exit(__doc__)
    docs_dir = argv[1]
    include_dir = argv[2] if len(argv) == 3 else os.path.join(os.path.dirname(__file__), "..", "include")
    missing, summary = check_counts(docs_dir, include_dir)
    broken, pages = check_links(os.path.join(docs_dir, "html"))
    for line in missing:
        print("not in the reference:", line)
    for line in broken:
        print("broken link:", line)
    print("API reference: {} namespace-level functions, {} enumerations, {} constants from the headers; "
          "{} missing; {} pages, {} broken links".format(summary["function"], summary["enum"], summary["variable"],
                                                         len(missing), pages, len(broken)))
    return 1 if missing or broken else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
