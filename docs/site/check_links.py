"""Looks whether every link of the site that stays within it leads somewhere: check_links.py FOLDER"""

import html.parser
import pathlib
import sys
import urllib.parse

folder = pathlib.Path(sys.argv[1])


class Page(html.parser.HTMLParser):
    def __init__(self, text):
        super().__init__()
        self.links, self.anchors = set(), set()
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        for name, value in attributes:
            if name in ("id", "name"):
                self.anchors.add(value)
            elif name in ("href", "src", "data") and value:
                self.links.add(value)


pages = {path.name: Page(path.read_text(encoding="utf-8")) for path in folder.glob("*.html")}
links = broken = 0
for name, page in sorted(pages.items()):
    for link in sorted(page.links):
        url = urllib.parse.urlsplit(link)
        if url.scheme:
            continue
        links += 1
        file = urllib.parse.unquote(url.path) or name
        fragment = urllib.parse.unquote(url.fragment)
        there = (folder / file).exists() and (not fragment or file not in pages or fragment in pages[file].anchors)
        if not there:
            broken += 1
            print(f"{name}: {link} leads nowhere", file=sys.stderr)
print(f"{len(pages)} pages, {links} links, {broken} broken")
sys.exit(1 if broken or not links else 0)
