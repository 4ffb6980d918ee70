#!/usr/bin/env python3
"""Prints the rows that `./dev nightly` has collected (topic, what, figure) as one table."""

import sys

with open(sys.argv[1], encoding="utf-8") as lines:
    rows = [line.rstrip("\n").split("\t") for line in lines]
# Programs that passed under valgrind are told in one row.
checked = [row for row in rows if row[0] == "valgrind"]
if checked:
    passed = sum(row[2] == "passed" for row in checked)
    rows = [row for row in rows if row[0] != "valgrind" or row[2] != "passed"]
    rows.append(["valgrind", "programs without a finding", f"{passed} of {len(checked)}"])
rows.sort(key=lambda row: row[0])
rows.insert(0, ["topic", "what", "figure"])
widths = [max(len(row[i]) for row in rows) for i in range(3)]
rows.insert(1, ["-" * width for width in widths])
for row in rows:
    print("| " + " | ".join(cell.ljust(width) for cell, width in zip(row, widths)) + " |")
