#!/usr/bin/env python3
"""Compares the fenced snippets of Markdown pages with the files they are taken from.

A comment in the line above a fence names the source:

    <!-- file: examples/quickstart.cpp -->     the whole file
    <!-- from: examples/strings.cpp -->        some of its lines, in one piece, perhaps
                                               less deeply indented

Every fence in C++, C and Python must name one, and every link to a file of the tree must lead to one. Usage: check_snippets.py ROOT PAGE...
Exit status: 0 all agree, 1 some do not (each is told on standard error).
"""
import re
import sys
import textwrap
from pathlib import Path

SOURCE = re.compile(r"<!-- (file|from): (\S+) -->$")


def fences(page):
    """Yields (line number, language, source comment or None, text) of each fence."""
    lines = page.read_text(encoding="utf-8").splitlines()
    at = 0
    while at < len(lines):
        opening = re.match(r"```(\w*)$", lines[at])
        if not opening:
            at += 1
            continue
        first = at + 1
        while at + 1 < len(lines) and lines[at + 1] != "```":
            at += 1
        if at + 1 == len(lines):
            yield first, opening[1], None, None
            return
        source = SOURCE.match(lines[first - 2]) if first > 1 else None
        yield first, opening[1], source, "\n".join(lines[first : at + 1]) + "\n"
        at += 2


def is_part(snippet, whole):
    """Whether the lines of `snippet` stand in `whole` one after the other."""
    wanted = textwrap.dedent(snippet).splitlines()
    lines = whole.splitlines()
    return bool("".join(wanted).strip()) and any(
        textwrap.dedent("\n".join(lines[i : i + len(wanted)])).splitlines() == wanted
        for i in range(len(lines) - len(wanted) + 1)
    )


def fault(root, language, source, text):
    """What is wrong with one fence, or None."""
    if text is None:
        return "the fence has no end"
    if source is None:
        is_session = language == "python" and text.startswith(">>>")  # for doctest
        must = language in ("cpp", "c", "python") and not is_session
        return f"{language} without a source file" if must else None
    how, name = source.groups()
    path = root / name
    if not path.is_file():
        return f"there is no {name}"
    whole = path.read_text(encoding="utf-8")
    # The printer ends no last line; a fence always does.
    agrees = text.rstrip("\n") == whole.rstrip("\n") if how == "file" else is_part(text, whole)
    return None if agrees else f"differs from {name}"


def lost_links(page):
    """Yields (line number, target) of each link that leads nowhere."""
    for number, line in enumerate(page.read_text(encoding="utf-8").splitlines(), 1):
        for target in re.findall(r"\]\(([^)#\s]+)(?:#[^)]*)?\)", line):
            if not re.match(r"\w+:", target) and not (page.parent / target).exists():
                yield number, target


def main():
    root = Path(sys.argv[1])
    compared = 0
    failed = False
    for page in map(Path, sys.argv[2:]):
        for line, language, source, text in fences(page):
            compared += source is not None
            wrong = fault(root, language, source, text)
            if wrong:
                print(f"{page}:{line}: {wrong}", file=sys.stderr)
                failed = True
        for line, target in lost_links(page):
            print(f"{page}:{line}: the link to {target} leads nowhere", file=sys.stderr)
            failed = True
    if compared == 0:
        print("no snippet was compared", file=sys.stderr)
        failed = True
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
