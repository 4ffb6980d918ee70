#!/usr/bin/env python3
"""Judges what the suite has run of the library.

Reads the counters that the programs of an instrumented build have left, through gcov, leaves out
what coverage-exclusions.txt lists, prints one table and ends with status 1 when a gate is missed: of
the whole library a share of the lines and of the branches, of the files that everything else stands
on all of them. An entry of the list that excuses nothing is an error, too.

    coverage.py ROOT BUILD                      the table, and what the core files miss
    coverage.py ROOT BUILD --missing            what all files miss
    coverage.py ROOT BUILD --missing xstring    those with this in their name

A template is one piece of source: what one instance of it takes is taken. Branches are counted where
the source decides, not where the compiler does for it: it asks for null before it converts an address
to that of a base, and whether a call throws.
"""

import argparse
import collections
import json
import multiprocessing
import os
import pathlib
import re
import subprocess
import sys

GATE_LINES = 98.0
GATE_BRANCHES = 95.0

# Counting, handles, the variant, sequences, dictionaries and the walk: all of it runs.
CORE = re.compile(r"velbase/inc/(velobject|velcounting|xrchandle|xany|xobject|veltraverser)\.h|"
                  r"velstd/services/(xobject|velrelease|velobjectaccess|velobjectmutex|xany|velupdate|"
                  r"velbdict\w*|xbasesequence|xsealed|x[tbsc]{2,3}(sequence|dictionary)|"
                  r"velcollectionreads|veltraverse|veltraverser|xcollections)\.(h|cpp)")

# Why something is left out.
KINDS = {
    "compiler": "made by the compiler, not by the source",
    "size": "a size of gigabytes, for the long forms alone",
    "race": "a meeting of threads that happens or does not",
    "guard": "a way that nothing leads to, there for the compiler or against corrupted state",
}

FOLDERS = ("velbase", "velstd", "korkit", "capi")

# What makes a statement decide.
DECIDES = re.compile(r"\b(if|for|while|switch|case|default|catch)\b|&&|\|\||\?")


class Line:
    """What was counted of one line; `run` is None once it is left out."""

    def __init__(self):
        self.run, self.branches, self.missed = False, 0, 0


class Entry:
    """One line of the list: the last of the lines `text` of `file` lacks `branches`, or all of itself."""

    def __init__(self, where, file, text, kind, branches):
        self.where, self.file, self.text = where, file, text
        self.kind, self.branches = kind, branches

    def is_often_there(self):
        """Whether it may be missed in one run and met in the next. Of the ways of a switch, gcov
        computes one from the others, and a process that ends while another thread is in there leaves
        it uneven."""
        return self.kind == "race" or (self.kind == "guard" and self.branches is not None)

    def places(self, source):
        """The numbers of the lines that are meant."""
        stripped = [line.strip() for line in source]
        return [end for end in range(len(self.text), len(source) + 1)
                if stripped[end - len(self.text):end] == self.text]


def entries_of(path):
    """The list: blocks of a file, lines of it, and after each line what it lacks and why."""
    entries, file, text = [], None, []
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        where = f"{path.name}:{number}"
        if not line.strip():
            file, text = None, []
        elif line.startswith("#"):
            continue
        elif not line.startswith(" "):
            file, text = line, []
        elif match := re.fullmatch(r" +=> (line|(\d+) branch(?:es)?), (\w+): .+", line):
            if not file or not text or match[3] not in KINDS:
                sys.exit(f"{where}: not of a line, or of no known kind, or without a reason")
            entries.append(Entry(where, file, text, match[3], int(match[2]) if match[2] else None))
            text = []
        else:
            text = [*text, line.strip()]
    return entries


def deciding(text):
    """The numbers of the lines whose statement decides."""
    found, statement = set(), []
    for number, line in enumerate(text, 1):
        code = re.sub(r'"(\\.|[^"\\])*"|\'(\\.|[^\'\\])\'|//.*', "", line).strip()
        statement.append((number, code))
        if not code or code[-1] in ";{}:" or code[0] == "#":
            if DECIDES.search(" ".join(part for _, part in statement)):
                found.update(at for at, _ in statement)
            statement = []
    return found


def ways_of(branches):
    """The counts of the ways that a decision takes: not of those from a call, where there is a throw."""
    ways = []
    for at, branch in enumerate(branches):
        if branch["throw"]:
            continue
        beside = branches[at + 1:at + 2] if branch["fallthrough"] else branches[max(at - 1, 0):at]
        if branch["fallthrough"] and beside and beside[0]["throw"]:
            continue
        ways.append(branch["count"])
    return tuple(ways)


def read_counters(task):
    """What gcov tells of one object file: (file, where the function begins, line, runs, ways)."""
    root, counters = task
    told = subprocess.run(["gcov", "--json-format", "--stdout", "--branch-probabilities",
                           str(counters)], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True).stdout
    rows = []
    for document in told.splitlines():
        for file in json.loads(document)["files"]:
            path = pathlib.Path(file["file"])
            if not path.is_relative_to(root) or path.relative_to(root).parts[0] not in FOLDERS:
                continue
            name = str(path.relative_to(root))
            places = {f["name"]: (f["start_line"], f["start_column"], f["end_line"])
                      for f in file["functions"]}
            for line in file["lines"]:
                # None for what was put in line there and belongs to another function.
                place = places.get(line.get("function_name"), (0, 0, 0))
                within = place[0] <= line["line_number"] <= place[2]
                rows.append((name, place if within else None, line["line_number"],
                             line["count"], ways_of(line["branches"])))
    return rows


def counts_of(root, build, text_of):
    """{file: {line number: Line}}"""
    tasks = [(root.resolve(), counters.resolve()) for counters in sorted(build.rglob("*.gcda"))]
    if not tasks:
        sys.exit(f"{build}: no counters; run the suite first")
    runs = collections.Counter()
    ways = collections.defaultdict(dict)  # (file, line): {(function, how many): counts}
    with multiprocessing.Pool() as pool:
        for rows in pool.imap_unordered(read_counters, tasks):
            for file, function, number, count, taken in rows:
                runs[file, number] += count
                seen = ways[file, number].setdefault((function, len(taken)), [False, *taken])
                seen[0] |= count > 0
                seen[1:] = [before or now for before, now in zip(seen[1:], taken)]
    counts = collections.defaultdict(dict)
    for (file, number), count in runs.items():
        line = counts[file][number] = Line()
        line.run = count > 0
    for file, lines in counts.items():
        text = text_of(file)
        for number in [n for n in lines if not re.search(r"\w", text[n - 1])]:
            del lines[number]  # a brace
        for number in deciding(text) & lines.keys():
            # An instance of another shape that nothing runs says nothing of the source.
            shapes = ways[file, number]
            ran = {function for (function, _), seen in shapes.items() if seen[0]}
            for (function, _), (has_run, *taken) in shapes.items():
                if has_run or function not in ran:
                    lines[number].branches += len(taken)
                    lines[number].missed += taken.count(0)
    return counts


def leave_out(entries, counts, sources):
    """Takes what the list names out of the counts; tells what it took, by kind, and what is stale."""
    taken, stale = collections.Counter(), []
    for entry in entries:
        counted = counts.get(entry.file, {})
        places = [at for at in entry.places(sources.get(entry.file, [])) if at in counted]
        if len(places) != 1:
            stale.append(f"{entry.where}: {len(places)} lines of {entry.file}: {entry.text[-1]}")
            continue
        line = counted[places[0]]
        if entry.branches is not None and line.missed:
            fewer = min(entry.branches, line.missed)
            line.branches -= fewer
            line.missed -= fewer
            taken[entry.kind, "branches"] += fewer
        elif entry.branches is None and not line.run:
            line.run, line.branches, line.missed = None, 0, 0
            taken[entry.kind, "lines"] += 1
        elif not entry.is_often_there():
            stale.append(f"{entry.where}: the tests run it: {entry.text[-1]}")
    return taken, stale


class Sum:
    """Lines and branches, and how many of them were run."""

    def __init__(self, lines):
        lines = [line for line in lines if line.run is not None]
        self.lines, self.run = len(lines), sum(line.run for line in lines)
        self.branches = sum(line.branches for line in lines)
        self.taken = self.branches - sum(line.missed for line in lines)

    @staticmethod
    def share(part, whole):
        return 100.0 * part / whole if whole else 100.0

    def row(self):
        return (f"{self.lines:7} {self.share(self.run, self.lines):7.2f}"
                f" {self.branches:9} {self.share(self.taken, self.branches):7.2f}")

    def reaches(self, lines, branches):
        return (self.share(self.run, self.lines) >= lines and
                self.share(self.taken, self.branches) >= branches)


def missing_of(file, lines, text):
    """What a file lacks, a row for each line of it."""
    for number, line in sorted(lines.items()):
        if line.run is False or line.missed:
            lack = "not run" if line.run is False else f"{line.missed} of {line.branches} branches"
            yield f"{file}:{number}: {lack}: {text[number - 1].strip()}"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("root", type=pathlib.Path)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--missing", nargs="?", const="", metavar="PART")
    options = parser.parse_args()

    here = pathlib.Path(__file__).parent
    def text_of(file):
        return (options.root / file).read_text(encoding="utf-8").splitlines()

    counts = counts_of(options.root, options.build, text_of)
    sources = {file: text_of(file) for file in counts}
    taken, stale = leave_out(entries_of(here / "coverage-exclusions.txt"), counts, sources)
    core = sorted(file for file in counts if CORE.fullmatch(file))

    width = max(map(len, counts)) + 2
    print(f"{'file':{width}}   lines       %  branches       %")
    for file in sorted(counts):
        print(f"{'* ' if file in core else '  '}{file:{width - 2}} {Sum(counts[file].values()).row()}")
    core_sum = Sum(line for file in core for line in counts[file].values())
    whole = Sum(line for lines in counts.values() for line in lines.values())
    print(f"{'the core files (*)':{width}} {core_sum.row()}")
    print(f"{'the library':{width}} {whole.row()}")

    print("\nleft out by coverage-exclusions.txt:")
    for (kind, what), count in sorted(taken.items()):
        print(f"  {count:4} {what:8}  {KINDS[kind]}")

    shown = core if options.missing is None else [f for f in sorted(counts) if options.missing in f]
    missing = [row for file in shown for row in missing_of(file, counts[file], sources[file])]
    if missing:
        print("\nmissed:", *missing, sep="\n  ")

    failures = stale
    if not core_sum.reaches(100.0, 100.0):
        failures.append("not all of the core files is run")
    if not whole.reaches(GATE_LINES, GATE_BRANCHES):
        failures.append(f"below {GATE_LINES:g} % of lines or {GATE_BRANCHES:g} % of branches")
    if "VELSTD_REPORT" in os.environ:
        with open(os.environ["VELSTD_REPORT"], "a", encoding="utf-8") as report:
            for what, total in (("the library", whole), ("the core files", core_sum)):
                figure = (f"{total.share(total.run, total.lines):.2f} %,"
                          f" {total.share(total.taken, total.branches):.2f} %")
                report.write(f"coverage\t{what}: lines, branches\t{figure}\n")
    for failure in failures:
        print("coverage.py:", failure, file=sys.stderr)
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
