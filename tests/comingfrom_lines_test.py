#!/usr/bin/env python3
"""Holds docs/coming-from.md against tests/comingfrom_test.cpp: each spelling in the third column
of a row stands in the test of that number, or before the first test; a row says "none" instead
where there is nothing to spell; each test has its row.

Usage: comingfrom_lines_test.py ROOT
"""
import re
import sys
from pathlib import Path

TABLES = "QGN"


def bare(text):
    return re.sub(r"\s", "", text)


def compare(page, source):
    """(what is wrong, the number of spellings)."""
    first = source.find("TEST(")
    before = bare(source[:first])
    tests = {m[1]: bare(m[0])
             for m in re.finditer(rf"^TEST\(ComingFrom, ([{TABLES}]\d\d)_.*?^}}$", source, re.M | re.S)}
    rows = re.findall(rf"^\| ([{TABLES}]\d\d) \| ([^|]*) \| ([^|]*) \| ?([^|]*)\|$", page, re.M)
    wrong = [f"unreadable row: {line}" for line in page.splitlines()
             if re.match(rf"\| *[{TABLES}]\d", line)
             and not re.match(rf"\| [{TABLES}]\d\d \| [^|]* \| [^|]* \| ?[^|]*\|$", line)]
    spellings = 0
    for number, _, here, _ in rows:
        found = re.findall(r"`([^`]+)`", here)
        if here.strip() == "none" and number not in tests:
            continue
        if not found:
            wrong.append(f"{number}: no spelling")
        for spelling in found:
            spellings += 1
            if bare(spelling) not in tests.get(number, "") and bare(spelling) not in before:
                wrong.append(f"{number}: not in its test: {spelling}")
    numbers = [row[0] for row in rows]
    wrong += [f"{number}: a test without a row" for number in tests if number not in numbers]
    for table in TABLES:
        own = [number for number in numbers if number[0] == table]
        if own != [f"{table}{i:02}" for i in range(1, len(own) + 1)] or not own:
            wrong.append(f"table {table}: its numbers are {' '.join(own)}")
    return wrong, spellings


def main():
    root = Path(sys.argv[1])
    wrong, spellings = compare(
        (root / "docs/coming-from.md").read_text(encoding="utf-8"),
        (root / "tests/comingfrom_test.cpp").read_text(encoding="utf-8"))
    print("\n".join(wrong) or f"all {spellings} spellings are tested as they stand")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
