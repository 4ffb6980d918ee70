#!/usr/bin/env python3
"""Breaks the library in one place after the other and asks whether a test notices.

A mutant is the source with one change: a comparison turned, a constant one larger,
a statement dropped. It is killed when a test of its file fails or hangs; one that
does not compile does not count. The work is done in a copy of the tree.

    mutate.py SCRATCH                   all mutants of the files below
    mutate.py SCRATCH --sample 200      so many of them, the same in every run
    mutate.py SCRATCH --canaries        only those of canaries.txt, which must all die
    mutate.py SCRATCH --only velbdict   those of the files with this in their name
    mutate.py SCRATCH --list            names them and does nothing

Ends with a table, and with status 1 when fewer than --at-least percent were killed.
"""

import argparse
import pathlib
import random
import re
import shutil
import subprocess
import sys

# What is changed, and the tests that are to notice, the likeliest first.
SERVICES = "velstd/services/"
INCLUDE = "velbase/inc/"
COUNTS = ["xobject", "velobject", "xrchandle", "velcounting", "velrelease", "xany_references"]
ANYS = ["xany", "xany_conversions", "xany_compare", "xany_references", "xany_types"]
SEQUENCES = ["xbasesequence", "xtbsequence", "xcollections"]
DICTIONARIES = ["velbdict", "velbdict_model", "velbdictindex", "velbdictkeys", "xtbdictionary",
                "xcollections"]
WALKS = ["veltraverse", "veltraverse_model", "veltraverse_answers", "veltraverse_array",
         "veltraverse_guard", "veltraverse_union", "velprint", "velcompare",
         "velcollectionreads"]
FILES = {
    SERVICES + "xobject.cpp": COUNTS + ANYS,
    SERVICES + "velrelease.cpp": COUNTS,
    INCLUDE + "velcounting.h": COUNTS,
    INCLUDE + "xrchandle.h": COUNTS,
    SERVICES + "xany.cpp": ANYS,
    INCLUDE + "xany.h": ANYS,
    SERVICES + "xbasesequence.cpp": SEQUENCES,
    SERVICES + "xtbsequence.h": SEQUENCES,
    SERVICES + "velbdict.cpp": DICTIONARIES,
    SERVICES + "velbdictindex.cpp": DICTIONARIES,
    SERVICES + "velbdictkeys.cpp": DICTIONARIES,
    SERVICES + "xtbdictionary.h": DICTIONARIES,
    SERVICES + "veltraverse.cpp": WALKS,
    SERVICES + "velcollectionreads.cpp": WALKS,
}

# What the library and its tests are built of.
PARTS = ["CMakeLists.txt", "cmake", "velbase", "velstd", "korkit", "capi", "tests", "fuzz", "docs",
         "examples", "tools", "README.md", "LICENSE"]

TURNED = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==",
          "&&": "||", "||": "&&"}
STATEMENT = re.compile(r"^\s+(?!return\b|using\b|const\b|auto\b|static\b|else\b|case\b|break\b|"
                       r"continue\b|throw\b|delete\b|friend\b|template\b|default\b)"
                       r"(\+\+|--)?[A-Za-z_][\w.:\[\]*]*(->[\w.\[\]]+)*"
                       r"(\(.*\)|\s*[-+|&^]?=\s.*|\+\+|--);$")


class Mutant:
    """One change: line `number` (from 0) of `file` becomes `line`."""

    def __init__(self, file, number, line, what):
        self.file, self.number, self.line, self.what = file, number, line, what

    def __str__(self):
        return f"{self.file}:{self.number + 1}: {self.what}: {self.line.strip()}"


def code_of(line):
    """The line without its comment and with its texts blanked, as long as before."""
    line = re.sub(r'"(\\.|[^"\\])*"', lambda m: '"' + "_" * (len(m[0]) - 2) + '"', line)
    line = re.sub(r"'(\\.|[^'\\])+'", lambda m: "'" + "_" * (len(m[0]) - 2) + "'", line)
    return line.split("//")[0]


def mutants_of(file, text):
    lines = text.split("\n")
    in_comment = False
    for number, line in enumerate(lines):
        stripped = line.strip()
        in_comment = in_comment or stripped.startswith("/*")
        skipped = (in_comment or stripped.startswith(("//", "#")) or "static_assert" in line
                   or "__builtin_expect" in line)
        in_comment = in_comment and "*/" not in line
        if skipped:
            continue
        code = code_of(line)
        for match in re.finditer(r"(?<= )(<=?|>=?|==|!=|&&|\|\|)(?= )", code):
            if "template" in code:
                continue
            changed = line[:match.start()] + TURNED[match[0]] + line[match.end():]
            yield Mutant(file, number, changed, "turned")
        for match in re.finditer(r"(?<![\w.'])(\d+)(?=[uU]?\b(?![\w.]))", code):
            if re.search(r"operator|std::tuple|kLine|\balignas\b", code):
                continue
            changed = line[:match.start()] + str(int(match[0]) + 1) + line[match.end():]
            yield Mutant(file, number, changed, "one larger")
        for match in re.finditer(r" [-+] 1\b", code):
            yield Mutant(file, number, line[:match.start()] + line[match.end():], "off by one")
        if re.search(r"\breturn (true|false);", code):
            changed = line.replace("return true;", "return !1;").replace("return false;",
                                                                         "return true;")
            yield Mutant(file, number, changed.replace("!1", "false"), "other answer")
        before = lines[number - 1].rstrip() if number else ""
        if STATEMENT.match(code.rstrip()) and before.endswith((";", "{", "}", ":")):
            indent = line[:len(line) - len(line.lstrip())]
            yield Mutant(file, number, indent + ";", "dropped " + stripped)


def canaries(root):
    """Blocks of three lines and an empty one: the file, a line of it, the line changed."""
    blocks = (root / "tests/canaries.txt").read_text().strip().split("\n\n")
    for block in blocks:
        rows = [row for row in block.split("\n") if not row.startswith("#")]
        if not rows:
            continue
        file, old, new = rows
        lines = (root / file).read_text().split("\n")
        places = [i for i, line in enumerate(lines) if line.strip() == old.strip()]
        if len(places) != 1:
            sys.exit(f"canaries.txt: {len(places)} lines in {file} are: {old}")
        yield Mutant(file, places[0], new, "canary")


class Tree:
    """A copy of the tree with a build of its own."""

    def __init__(self, root, scratch):
        self.source, self.build = scratch / "source", scratch / "build"
        self.log = self.build / "last.log"  # what the last program said
        wanted = set()
        for part in PARTS:
            found = [root / part] if (root / part).is_file() else (root / part).rglob("*")
            wanted.update(path.relative_to(root) for path in found if path.is_file())
        for name in wanted:
            old, new = root / name, self.source / name
            if new.exists() and new.read_bytes() == old.read_bytes():
                continue
            new.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(old, new)
        for path in list(self.source.rglob("*")):  # what the tree has no more
            if path.is_file() and path.relative_to(self.source) not in wanted:
                path.unlink()

    def run(self, command, timeout=None):
        try:
            with open(self.log, "wb") as log:
                done = subprocess.run(command, cwd=self.build, timeout=timeout,
                                      stdout=log, stderr=subprocess.STDOUT)
            return done.returncode == 0
        except subprocess.TimeoutExpired:
            return False

    def prepare(self, tests):
        self.build.mkdir(parents=True, exist_ok=True)
        configured = self.run(["cmake", "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
                               "-DCMAKE_CXX_FLAGS_RELEASE=-O1", "-DVELSTD_BUILD_TOOLS=OFF",
                               "-DVELSTD_BUILD_EXAMPLES=OFF", str(self.source)])
        if not configured or not self.make(tests):
            sys.exit(f"the tree does not build as it is: see {self.log}")
        for test in tests:
            if not self.passes(test):
                sys.exit(f"{test}_test fails as it is: see {self.log}")

    def make(self, tests):
        return self.run(["ninja"] + [test + "_test" for test in tests])

    def passes(self, test):
        # Enough for a test that passes; a mutant may well never end.
        return self.run([f"tests/{test}_test", "--gtest_brief=1", "--gtest_fail_fast"], timeout=60)

    def outcome(self, mutant, tests):
        path = self.source / mutant.file
        original = path.read_text()
        lines = original.split("\n")
        lines[mutant.number] = mutant.line
        path.write_text("\n".join(lines))
        try:
            if not self.make(tests):
                return "stillborn"
            return "survived" if all(self.passes(test) for test in tests) else "killed"
        finally:
            path.write_text(original)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("scratch", type=pathlib.Path)
    parser.add_argument("--canaries", action="store_true")
    parser.add_argument("--sample", type=int)
    parser.add_argument("--only", default="")
    parser.add_argument("--list", action="store_true")
    parser.add_argument("--at-least", type=float, help="default: 90, and all canaries")
    arguments = parser.parse_args()
    at_least = arguments.at_least or (100 if arguments.canaries else 90)

    root = pathlib.Path(__file__).resolve().parent.parent
    if arguments.canaries:
        mutants = list(canaries(root))
    else:
        mutants = [mutant for file in FILES for mutant in mutants_of(file, (root / file).read_text())]
    mutants = [mutant for mutant in mutants if arguments.only in mutant.file]
    if arguments.sample and arguments.sample < len(mutants):
        mutants = random.Random(1).sample(mutants, arguments.sample)
        mutants.sort(key=lambda mutant: (mutant.file, mutant.number))
    if arguments.list:
        print("\n".join(map(str, mutants)))
        return 0

    tree = Tree(root, arguments.scratch.resolve())
    tree.prepare(sorted({test for mutant in mutants for test in FILES[mutant.file]}))
    counts = {}
    for mutant in mutants:
        outcome = tree.outcome(mutant, FILES[mutant.file])
        counts.setdefault(mutant.file, {}).setdefault(outcome, []).append(mutant)
        if outcome == "survived":
            print(f"survived: {mutant}", flush=True)

    print(f"\n| {'file':40} | killed | survived | stillborn |")
    print(f"| {'-' * 40} | -----: | -------: | --------: |")
    total = {"killed": 0, "survived": 0, "stillborn": 0}
    for file, outcomes in counts.items():
        row = {name: len(outcomes.get(name, [])) for name in total}
        for name, count in row.items():
            total[name] += count
        print(f"| {file:40} | {row['killed']:6} | {row['survived']:8} | {row['stillborn']:9} |")
    born = total["killed"] + total["survived"]
    share = 100 * total["killed"] / born if born else 0
    print(f"\n{total['killed']} of {born} mutants killed ({share:.1f} percent)")
    return 0 if born and share >= at_least else 1


if __name__ == "__main__":
    sys.exit(main())
