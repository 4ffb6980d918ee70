#!/usr/bin/env python3
"""Breaks the library in one place after the other and asks whether a test notices.

A mutant is the source with one change: a comparison turned, a constant one larger,
a statement dropped. It is killed when a test of its file fails or hangs; one that
does not compile does not count, nor does one of equivalents.txt, which says why no
test can tell it from the original. The work is done in copies of the tree.

    mutate.py SCRATCH                   all mutants of the files below
    mutate.py SCRATCH --sample 200      so many of them, the same in every run
    mutate.py SCRATCH --canaries        only those of canaries.txt, which must all die
    mutate.py SCRATCH --strict          only those of the functions that admit none
    mutate.py SCRATCH --only velbdict   those of the files with this in their name
    mutate.py SCRATCH --list            names them and does nothing
    mutate.py SCRATCH --resume          what earlier runs killed in the same source stays dead

Ends with a table, and with status 1 when fewer than --at-least percent were killed,
or any of the strict ones lives. Adds its figures to the file that VELSTD_REPORT names
(see ./dev nightly).
"""

import argparse
import concurrent.futures
import hashlib
import os
import pathlib
import queue
import random
import re
import resource
import shutil
import subprocess
import sys
import time

# What is changed, and the tests that are to notice, the likeliest first.
SERVICES = "velstd/services/"
INCLUDE = "velbase/inc/"
COUNTS = ["xobject", "velobject", "xrchandle", "velcounting", "velrelease", "xany_references",
          "aborts"]
ANYS = ["xany", "xany_conversions", "xany_compare", "xany_references", "xany_types"]
SEQUENCES = ["xbasesequence", "xtbsequence", "xcollections"]
DICTIONARIES = ["velbdict", "velbdict_model", "velbdictindex", "velbdictkeys", "xtbdictionary",
                "xcollections", "aborts"]
WALKS = ["veltraverse", "veltraverse_model", "veltraverse_answers", "veltraverse_array",
         "veltraverse_guard", "veltraverse_union", "velprint", "velcompare",
         "velcollectionreads"]
FILES = {
    SERVICES + "xobject.cpp": COUNTS + ANYS,
    SERVICES + "velrelease.cpp": COUNTS + ["threads_stress"],
    INCLUDE + "velcounting.h": COUNTS + ["threads_stress"],
    INCLUDE + "xrchandle.h": COUNTS,
    SERVICES + "xany.cpp": ANYS,
    INCLUDE + "xany.h": ANYS,
    INCLUDE + "velobject.h": COUNTS,
    INCLUDE + "xobject.h": COUNTS,
    SERVICES + "xbasesequence.cpp": SEQUENCES,
    SERVICES + "xbasesequence.h": SEQUENCES,
    SERVICES + "xtbsequence.h": SEQUENCES,
    SERVICES + "xtcsequence.h": SEQUENCES,
    SERVICES + "xtssequence.h": SEQUENCES,
    SERVICES + "xsealed.h": SEQUENCES + DICTIONARIES,
    SERVICES + "velbdict.cpp": DICTIONARIES,
    SERVICES + "velbdict.h": DICTIONARIES,
    SERVICES + "velbdictindex.cpp": DICTIONARIES,
    SERVICES + "velbdictkeys.cpp": DICTIONARIES,
    SERVICES + "velplaceset.h": ["velplaceset"],
    SERVICES + "velsiphash.cpp": ["velsiphash"],
    SERVICES + "xtbdictionary.h": DICTIONARIES,
    SERVICES + "xtcdictionary.h": DICTIONARIES,
    SERVICES + "xtsdictionary.h": DICTIONARIES,
    SERVICES + "veltraverse.cpp": WALKS,
    SERVICES + "veltraverser.cpp": WALKS,
    SERVICES + "velcollectionreads.cpp": WALKS,
}

# The sources of the library that have most of the code of a header in them.
BODIES = {SERVICES + header: [SERVICES + "xcollections.cpp"]
          for header in ("xtbsequence.h", "xtcsequence.h", "xtssequence.h", "xsealed.h",
                         "xtbdictionary.h", "xtcdictionary.h", "xtsdictionary.h")}
BODIES |= {SERVICES + stem + ".h": [SERVICES + "xcollections.cpp", SERVICES + stem + ".cpp"]
           for stem in ("xbasesequence", "velbdict")}

# Where every mutant has to die: load and growth thresholds, the hash and the step, the
# choice between tombstones and empty slots, and who counts how often.
STRICT = {
    SERVICES + "velbdict.cpp": [
        "StepOf", "WordAt", "TailOf", "kPowers", "SumOfBytes", "ExcessOf", "Finished", "HashOfLong",
        "HashOf", "LoadAbove", "LoadBelow", "xbdictHashMain", "xbdictHashCollision", "SlotToFill",
        "RemoveAt", "BaseAllocate"],
    SERVICES + "velbdictindex.cpp": ["Inverse", "slotToFill", "lastTombstone"],
    SERVICES + "xbasesequence.cpp": ["GrownFor", "Resize"],
    SERVICES + "xobject.cpp": ["xattach", "xrelease", "xrcattach", "xrcrelease", "xrcuniattach",
                               "xrcunirelease", "xrcgetcount"],
    SERVICES + "velrelease.cpp": ["DropReference", "Refuse", "release"],
    INCLUDE + "velcounting.h": ["velCounting"],
}

# What the library and its tests are built of.
PARTS = ["CMakeLists.txt", "cmake", "velbase", "velstd", "korkit", "capi", "velext", "veljson",
         "tests", "fuzz", "docs", "examples", "python", "tools", "README.md", "LICENSE"]

TURNED = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==",
          "&&": "||", "||": "&&"}
STATEMENT = re.compile(r"^\s+(?!return\b|using\b|const\b|auto\b|static\b|else\b|case\b|break\b|"
                       r"continue\b|throw\b|delete\b|friend\b|template\b|default\b)"
                       r"(\+\+|--)?[A-Za-z_][\w.:\[\]*]*(->[\w.\[\]]+)*"
                       r"(\(.*\)|\s*[-+|&^]?=\s.*|\+\+|--);$")


class Mutant:
    """One change: line `number` (from 0) of `file` becomes `line`."""

    def __init__(self, file, number, line, what, function=""):
        self.file, self.number, self.line, self.what = file, number, line, what
        self.is_strict = function in STRICT.get(file, [])
        # Whether it shows where users' code is compiled, whatever the library is built of; not so
        # what the two have to agree on.
        self.is_of_users = file.endswith(".h") and not (
            file.startswith(INCLUDE) and (self.is_strict or what in ("one larger", "off by one")))

    def __str__(self):
        return f"{self.file}:{self.number + 1}: {self.what}: {self.line.strip()}"


def code_of(line):
    """The line without its comment and with its texts blanked, as long as before."""
    line = re.sub(r'"(\\.|[^"\\])*"', lambda m: '"' + "_" * (len(m[0]) - 2) + '"', line)
    line = re.sub(r"'(\\.|[^'\\])+'", lambda m: "'" + "_" * (len(m[0]) - 2) + "'", line)
    line = re.sub(r"(?<=, )[01](?=\))", "_", line) if "__builtin_expect" in line else line  # only time
    return line.split("//")[0]


def mutants_of(file, text):
    lines = text.split("\n")
    in_comment = False
    is_other_build = False  # only checked builds have it
    function = ""
    for number, line in enumerate(lines):
        stripped = line.strip()
        if stripped.startswith("#"):
            is_other_build = stripped == "#ifdef VELSTD_CHECKED"
        # What begins in the first column and has a name before a bracket or brace.
        begun = re.match(r"[A-Za-z_\[].*?(\w+)(\[\] = )?(\(| ?\{)", line)
        if begun and not line.startswith(("namespace", "template", "#", "static_assert")):
            function = begun[1]
        in_comment = in_comment or stripped.startswith("/*")
        skipped = (in_comment or is_other_build or stripped.startswith(("//", "#")) or "static_assert" in line
                   or "__builtin_prefetch" in line  # only time
                   # These do nothing but in checked builds.
                   or stripped.startswith(("velUpdate::refuse(", "CheckAddress(", "CheckTold("))
                   or stripped.startswith(("Allow(", "Forbid(")))  # only the address sanitizer
        in_comment = in_comment and "*/" not in line
        if skipped:
            continue
        code = code_of(line)
        for match in re.finditer(r"(?<= )(<=?|>=?|==|!=|&&|\|\|)(?= |$)", code.rstrip()):
            if "template" in code:
                continue
            changed = line[:match.start()] + TURNED[match[0]] + line[match.end():]
            yield Mutant(file, number, changed, "turned", function)
        for match in re.finditer(r"(?<![\w.'])(0x[\dA-Fa-f]+|\d+)(?=[uU]?\b(?![\w.]))", code):
            if re.search(r"operator|std::tuple|kLine|\balignas\b", code):
                continue
            larger = int(match[0], 0) + 1
            larger = hex(larger) if match[0].startswith("0x") else str(larger)
            changed = line[:match.start()] + larger + line[match.end():]
            yield Mutant(file, number, changed, "one larger", function)
        for match in re.finditer(r" [-+] 1\b", code):
            changed = line[:match.start()] + line[match.end():]
            yield Mutant(file, number, changed, "off by one", function)
        if re.search(r"\breturn (true|false);", code):
            changed = line.replace("return true;", "return !1;").replace("return false;",
                                                                         "return true;")
            yield Mutant(file, number, changed.replace("!1", "false"), "other answer", function)
        before = lines[number - 1].rstrip() if number else ""
        if STATEMENT.match(code.rstrip()) and before.endswith((";", "{", "}", ":")):
            indent = line[:len(line) - len(line.lstrip())]
            yield Mutant(file, number, indent + ";", "dropped " + stripped, function)


def listed(root, name):
    """The blocks of a list, without its comments: a file, a line of it, the line changed."""
    for block in (root / "tests" / name).read_text().strip().split("\n\n"):
        rows = [row for row in block.split("\n") if not row.startswith("#")]
        if rows:
            yield rows


def canaries(root):
    for file, old, new in listed(root, "canaries.txt"):
        lines = (root / file).read_text().split("\n")
        places = [i for i, line in enumerate(lines) if line.strip() == old.strip()]
        if len(places) != 1:
            sys.exit(f"canaries.txt: {len(places)} lines in {file} are: {old}")
        yield Mutant(file, places[0], new, "canary")


def without_equivalents(root, mutants):
    """The mutants but those that are no other program; all of these must be found."""
    lines = {file: [line.strip() for line in (root / file).read_text().split("\n")]
             for file in FILES}
    known = {tuple(row.strip() for row in rows) for rows in listed(root, "equivalents.txt")}
    found = set()
    for mutant in mutants:
        own, end = lines[mutant.file], mutant.number + 1
        # Of any length: what stands before the line belongs to it, where that is listed.
        keys = {(mutant.file, *own[end - rows:end], mutant.line.strip()) for rows in (1, 2, 3)}
        if keys & known:
            found |= keys & known
        else:
            yield mutant
    for file, *old, new in sorted(known - found):
        sys.exit(f"equivalents.txt: no mutant in {file} makes of: {old}\nthis: {new}")


class Tree:
    """A copy of the tree with a build of its own."""

    def __init__(self, root, scratch, cores):
        self.cores = cores
        self.source, self.build = scratch / "source", scratch / "build"
        self.log = self.build / "last.log"  # what the last program said
        self.alone = {}  # what builds a test alone
        self.limits = {}  # the seconds that a test may take, ten times what it took
        wanted = set()
        for part in PARTS:
            found = [root / part] if (root / part).is_file() else (root / part).rglob("*")
            wanted.update(path.relative_to(root) for path in found if path.is_file())
        for name in wanted:
            old, new = root / name, self.source / name
            if new.exists() and new.read_bytes() == old.read_bytes():
                continue
            new.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(old, new)  # as changed now: what was built of a mutant is stale
        for path in list(self.source.rglob("*")):  # what the tree has no more
            if path.is_file() and path.relative_to(self.source) not in wanted:
                path.unlink()

    def run(self, command, seconds=None):
        """Whether it ends well, within so many seconds of a processor and ten times as many in all."""
        def limited():
            resource.setrlimit(resource.RLIMIT_CPU, (seconds, seconds))
        try:
            with open(self.log, "wb") as log:
                done = subprocess.run(command, cwd=self.build, stdout=log, stderr=subprocess.STDOUT,
                                      timeout=seconds and 10 * seconds,
                                      preexec_fn=limited if seconds else None)
            return done.returncode == 0
        except subprocess.TimeoutExpired:
            return False

    def prepare(self):
        self.build.mkdir(parents=True, exist_ok=True)
        if not self.run(["cmake", "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
                         "-DCMAKE_CXX_FLAGS_RELEASE=-O1", "-DVELSTD_OPTIMIZE_TESTS=OFF",
                         "-DVELSTD_BUILD_TOOLS=OFF", "-DVELSTD_BUILD_EXAMPLES=OFF", str(self.source)]):
            sys.exit(f"the tree cannot be configured: see {self.log}")

    def check(self, tests):
        """All is well as long as nothing is changed."""
        for test in tests:
            if not self.make(test):
                sys.exit(f"{test}_test does not build as it is: see {self.log}")
            started = time.monotonic()
            if not self.passes(test):
                sys.exit(f"{test}_test fails as it is: see {self.log}")
            self.limits[test] = 10 + int(10 * (time.monotonic() - started))

    def make(self, test):
        return self.run(["ninja", f"-j{self.cores}", test + "_test"])

    def passes(self, test, suffix="_test"):
        # Enough for a test that passes; a mutant may well never end. On a busy machine, a test
        # that waits for its turn is no mutant killed: the processor's time counts.
        return self.run([f"tests/{test}{suffix}", "--gtest_brief=1", "--gtest_fail_fast"],
                        seconds=self.limits.get(test, 60))

    def make_alone(self, test, bodies=()):
        """Compiles the test, and the bodies, with the header as it is now, for the library as it was."""
        key = (test, *bodies)
        if key not in self.alone:
            lines = subprocess.run(["ninja", "-t", "commands", test + "_test"], cwd=self.build,
                                   stdout=subprocess.PIPE, text=True, check=True).stdout
            own = [line for line in lines.split("\n") if f"CMakeFiles/{test}_test.dir/" in line]
            for body in bodies:
                # Compiled as the test is, and linked in front of the library.
                source, stem = f"tests/{test}_test.cpp", pathlib.Path(body).name
                object_file = f"{test}_test.cpp.o"
                compiled = next(line for line in own if line.endswith(source))
                compiled = compiled.replace(source, body).replace(object_file, stem + ".o")
                path = f"tests/CMakeFiles/{test}_test.dir/"
                own = [compiled] + [line.replace(f" {path}{object_file} ",
                                                 f" {path}{object_file} {path}{stem}.o ")
                                    if f"-o tests/{test}_test " in line else line for line in own]
            commands = " && ".join(own).replace(f"{test}_test.dir/", f"{test}_alone.dir/")
            for folder in set(re.findall(r"-o (\S*/)[^/\s]+\.o\b", commands)):
                (self.build / folder).mkdir(parents=True, exist_ok=True)
            self.alone[key] = commands.replace(f"-o tests/{test}_test ",
                                               f"-o tests/{test}_alone ")
        return self.run(["sh", "-c", self.alone[key]])

    def outcome(self, mutant, tests):
        path = self.source / mutant.file
        original, times = path.read_text(), path.stat()
        lines = original.split("\n")
        lines[mutant.number] = mutant.line
        path.write_text("\n".join(lines))
        # The code of a header is in the library, too, which takes a minute to build anew: what
        # only that would notice counts as alive.
        bodies = BODIES.get(mutant.file, [])
        suffix = "_alone" if mutant.is_of_users else "_test"
        try:
            for test in tests:
                if not (self.make_alone(test, bodies) if mutant.is_of_users else self.make(test)):
                    return "stillborn"
                if not self.passes(test, suffix):
                    return "killed"
            return "survived"
        finally:
            path.write_text(original)
            if mutant.is_of_users:  # nothing of the tree was built of it
                os.utime(path, ns=(times.st_atime_ns, times.st_mtime_ns))


class Trees:
    """As many trees as work at the same time."""

    def __init__(self, root, scratch, jobs):
        self.jobs = jobs
        self.idle = queue.Queue()
        for i in range(jobs):
            tree = Tree(root, scratch / str(i), max(1, (os.cpu_count() or 1) // jobs))
            tree.prepare()
            self.idle.put(tree)

    def each(self, work, items):
        """Yields each item with what `work` makes of it in one of the trees."""
        def in_tree(item):
            tree = self.idle.get()
            try:
                return work(tree, item)
            finally:
                self.idle.put(tree)

        with concurrent.futures.ThreadPoolExecutor(self.jobs) as pool:
            yield from zip(items, pool.map(in_tree, items))


class Graves:
    """What runs with one scratch directory have killed, by the source that it was made of, for
    one that goes on where another was interrupted. What lived is tried again: tests grow."""

    def __init__(self, root, scratch):
        self.root = root
        self.path = scratch / "killed.txt"
        self.keys = set(self.path.read_text().split("\n")) if self.path.exists() else set()

    def key(self, mutant):
        source = hashlib.sha256((self.root / mutant.file).read_bytes()).hexdigest()
        return f"{source} {mutant.file}:{mutant.number + 1}: {mutant.line}"

    def __contains__(self, mutant):
        return self.key(mutant) in self.keys

    def add(self, mutant):
        with open(self.path, "a", encoding="utf-8") as file:
            file.write(self.key(mutant) + "\n")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("scratch", type=pathlib.Path)
    parser.add_argument("--canaries", action="store_true")
    parser.add_argument("--strict", action="store_true")
    parser.add_argument("--sample", type=int)
    parser.add_argument("--only", default="")
    parser.add_argument("--list", action="store_true")
    parser.add_argument("--resume", action="store_true")
    parser.add_argument("--jobs", type=int, help="default: one a core; 1 for the canaries")
    parser.add_argument("--at-least", type=float, help="default: 90, and all canaries")
    arguments = parser.parse_args()
    at_least = arguments.at_least or (100 if arguments.canaries else 90)

    # A tree more takes longer to build than two dozen mutants take to die.
    jobs = arguments.jobs or (1 if arguments.canaries else os.cpu_count() or 1)

    root = pathlib.Path(__file__).resolve().parent.parent
    if arguments.canaries:
        mutants = list(canaries(root))
    else:
        mutants = [mutant for file in FILES for mutant in mutants_of(file, (root / file).read_text())]
        mutants = list(without_equivalents(root, mutants))
    mutants = [mutant for mutant in mutants if arguments.only in mutant.file]
    if arguments.strict:
        mutants = [mutant for mutant in mutants if mutant.is_strict]
    if arguments.sample and arguments.sample < len(mutants):
        mutants = random.Random(1).sample(mutants, arguments.sample)
        mutants.sort(key=lambda mutant: (mutant.file, mutant.number))
    if arguments.list:
        print("\n".join(map(str, mutants)))
        return 0

    counts = {}
    trees = Trees(root, arguments.scratch.resolve(), jobs)
    graves = Graves(root, arguments.scratch.resolve())
    if arguments.resume:
        for mutant in [mutant for mutant in mutants if mutant in graves]:
            counts.setdefault(mutant.file, {}).setdefault("killed", []).append(mutant)
        mutants = [mutant for mutant in mutants if mutant not in graves]
    needed = sorted({test for mutant in mutants for test in FILES[mutant.file]})
    for _ in trees.each(lambda tree, _: tree.check(needed), range(jobs)):
        pass
    strict_alive = 0
    for mutant, outcome in trees.each(
            lambda tree, mutant: tree.outcome(mutant, FILES[mutant.file]), mutants):
        counts.setdefault(mutant.file, {}).setdefault(outcome, []).append(mutant)
        if outcome == "killed":
            graves.add(mutant)
        elif outcome == "survived":
            strict_alive += mutant.is_strict
            print(f"survived{' (strict)' if mutant.is_strict else ''}: {mutant}", flush=True)

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
    if "VELSTD_REPORT" in os.environ:
        with open(os.environ["VELSTD_REPORT"], "a", encoding="utf-8") as report:
            sort = "canaries" if arguments.canaries else "mutants"
            report.write(f"mutation\t{sort} killed\t{total['killed']} of {born}\n")
    return 0 if born and share >= at_least and strict_alive == 0 else 1


if __name__ == "__main__":
    sys.exit(main())
