#!/usr/bin/env python3
"""Holds docs/everyday.md against tests/veleveryday_test.cpp: each of the 42 lines has a test
of its number, in which a spelling that the page names to use stands as it is on the page.

Usage: everyday_lines_test.py ROOT
"""
import re
import sys
from pathlib import Path

LINES = 42


def bare(text):
    return re.sub(r"\s", "", text)


def main():
    root = Path(sys.argv[1])
    page = (root / "docs/everyday.md").read_text(encoding="utf-8")
    source = (root / "tests/veleveryday_test.cpp").read_text(encoding="utf-8")
    tests = {int(m[1]): bare(m[0])
             for m in re.finditer(r"^TEST\(Everyday, L(\d\d)_.*?^}$", source, re.M | re.S)}
    rows = {int(m[1]): (m[2], m[3])
            for m in re.finditer(r"^\| (\d+) \| (.*) \| (.*) \|$", page, re.M)}
    wrong = []
    for number in range(1, LINES + 1):
        if number not in rows or number not in tests:
            wrong.append(f"line {number}: not on the page, or without a test")
            continue
        line, says = rows[number]
        spellings = re.findall(r"`([^`]+)`", line if says.startswith("works") else says)
        if "works," in says:
            spellings += re.findall(r"`([^`]+)`", says)
        parts = [part for spelling in spellings for part in re.split(r";\s*", spelling) if part]
        if not any(bare(part) in tests[number] for part in parts):
            wrong.append(f"line {number}: its test has none of: {' '.join(parts)}")
    wrong += [f"line {number}: more than {LINES}" for number in {*rows, *tests}
              if not 1 <= number <= LINES]
    print("\n".join(wrong) or f"all {LINES} lines are tested as they stand")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
