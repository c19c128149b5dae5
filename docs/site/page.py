"""Makes a page of docs/ ready for Doxygen: page.py FILE

A page is written to be read as it stands. Here its headings get the anchors that links to them use, and its links lead to
the page's file of the site. A link whose text is the name of a page's file shows the page's title instead. A link to a file
that is no part of the site, or that is not there, becomes its text; so does a picture that is not there.
"""

import pathlib
import re
import sys

path = pathlib.Path(sys.argv[1])


def slug(title):
    """The anchor of a heading, as the usual renderers of Markdown make it."""
    return re.sub(r"[^\w\- ]", "", title.lower()).replace(" ", "-")


def link(match):
    text, target = match.group(1), match.group(2)
    file, _, anchor = target.partition("#")
    if re.match(r"https?:", target):
        return match.group(0)
    page = file.removesuffix(".md") or path.stem
    if not (path.parent / (page + ".md")).exists() or "/" in page:
        return text
    if text == file:
        text = (path.parent / file).read_text(encoding="utf-8").partition("\n")[0].removeprefix("# ")
    return f"[{text}]({page}.html" + (f"#{page}-{anchor}" if anchor else "") + ")"


def image(match):
    file = match.group(2)
    return match.group(0) if (path.parent / file).exists() else ""


def heading(match):
    level, title = match.group(1), match.group(2)
    if path.stem == "index" and level == "#":
        return match.group(0)
    name = path.stem if level == "#" else f"{path.stem}-{slug(title)}"
    return f"{level} {title} {{#{name}}}"


def code(match):
    # To Doxygen a single quote ends what a single backtick has begun.
    return f"``{match.group(1)}``" if "'" in match.group(1) else match.group(0)


def prose(text):
    text = re.sub(r"(?<!`)`([^`\n]+)`(?!`)", code, text)
    text = re.sub(r"!\[([^\]]*)\]\(([^)]*)\)", image, text)
    text = re.sub(r"(?<!!)\[([^\]]*)\]\(([^)]*)\)", link, text)
    return re.sub(r"^(#+) (.*?)$", heading, text, flags=re.M)


# Every second part is a block of code, which stays as it is.
parts = re.split(r"(^ *```.*?^ *```$)", path.read_text(encoding="utf-8"), flags=re.M | re.S)
sys.stdout.write("".join(part if at % 2 else prose(part) for at, part in enumerate(parts)))
