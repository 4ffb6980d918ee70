#!/usr/bin/env python3
"""What gdb shows of the values of a program, through the printers of tools/gdb.

Builds the programs of data/gdb without and with optimisation, stops them where all values are made,
and compares what gdb says with data/gdb/*.expected: a line that begins with "(gdb) " is a command,
what follows is its answer, with 0x... for any address.
Usage: gdb_test.py --source ROOT --scratch DIR --library FILE --ext FILE
                   --cxx COMPILER --cc COMPILER [--flags TEXT] [--update] [test...]
       gdb_test.py --source ROOT --scratch DIR --prefix DIR --libdir NAME --cxx COMPILER [test...]
With --prefix, the library installed there is used, and gdb finds the printers by itself.
"""
import argparse
import difflib
import functools
import os
import re
import shlex
import subprocess
import sys
import unittest
from pathlib import Path

ARGUMENTS = None
PROMPT = "(gdb) "
LEVELS = ("-O0", "-O2")


def run(command, **more):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          errors="backslashreplace", timeout=100, **more)
    return done.returncode, done.stdout


def gdb(commands, *program, start=(), printers=True):
    """What a gdb says that runs these commands one after the other, whatever fails."""
    command = ["gdb", "-q", "-nx", "-batch", *start]
    before = ["set width 0", "set height 0", "set confirm off", "set style enabled off",
              "set debuginfod enabled off"]
    if printers:
        before.append(f"source {ARGUMENTS.source / 'tools/gdb/velstd_gdb.py'}")
    for line in before:
        command += ["-iex", line]
    for line in commands:
        command += ["-ex", line]
    environment = {**os.environ, "LC_ALL": "C.UTF-8", "TERM": "dumb"}
    return run([*command, *map(str, program)], env=environment)[1]


@functools.lru_cache(maxsize=None)
def program(source, compiler, level, *flags):
    """Builds one of the programs, once; returns its path."""
    data = ARGUMENTS.source / "tests/data/gdb"
    built = ARGUMENTS.scratch / f"{source.replace('.', '_')}{level}"
    command = [compiler, "-g", level, *flags, *shlex.split(ARGUMENTS.flags), str(data / source),
               "-o", str(built)]
    if ARGUMENTS.prefix:
        libraries = [ARGUMENTS.prefix / ARGUMENTS.libdir]
        command += [f"-I{ARGUMENTS.prefix / 'include/velstd'}", f"-L{libraries[0]}", "-lvelstd_ext",
                    "-lvelstd"]
    else:
        for part in ("velbase/inc", "velstd/services", "velstd/strlibsrc", "korkit/korbase/inc",
                     "capi", "velext/inc"):
            command.append(f"-I{ARGUMENTS.source / part}")
        libraries = [file.parent for file in (ARGUMENTS.library, ARGUMENTS.ext)]
        command += [str(ARGUMENTS.ext), str(ARGUMENTS.library)]
    command += [f"-Wl,-rpath,{folder}" for folder in libraries]
    status, output = run(command)
    if status != 0:
        raise AssertionError(f"{shlex.join(command)}\n{output}")
    return built


def values_program(level):
    return program("values.cpp", ARGUMENTS.cxx, level, "-std=c++17")


def commands_of(expected):
    return [line[len(PROMPT):] for line in expected.splitlines() if line.startswith(PROMPT)]


def transcript(arrive, commands, *program, **how):
    """Arrives where the values are, then gives commands; returns them with their answers."""
    said = []
    for line in commands:
        said += [f"echo {PROMPT}{line}\\n", line]
    text = gdb([*arrive, "echo ----\\n", *said], *program, **how)
    before, mark, after = text.partition("----\n")
    if not mark:
        raise AssertionError(before)
    return re.sub(r"0x[0-9a-f]{2,}", "0x...", after)


LIVE = ["break look", "run", "up"]


@functools.lru_cache(maxsize=None)
def core_of(built):
    """The memory of a program where the values are."""
    core = built.with_suffix(".core")
    core.unlink(missing_ok=True)
    said = gdb(["break look", "run", f"generate-core-file {core}"], built)
    if not core.is_file():
        raise AssertionError(said)
    return core


class Shown(unittest.TestCase):
    maxDiff = None

    def compare(self, expected_name, shown):
        path = ARGUMENTS.source / "tests/data/gdb" / expected_name
        expected = path.read_text(encoding="utf-8")
        if ARGUMENTS.update:
            path.write_text(shown, encoding="utf-8")
        elif expected != shown:
            self.fail("".join(difflib.unified_diff(
                expected.splitlines(True), shown.splitlines(True), expected_name, "shown")))

    def commands(self, expected_name):
        path = ARGUMENTS.source / "tests/data/gdb" / expected_name
        return commands_of(path.read_text(encoding="utf-8"))

    def check_values(self, level):
        built = values_program(level)
        commands = self.commands("values.expected")
        self.compare("values.expected", transcript(LIVE, commands, built))
        # From the dead process, where nothing can be called, the same.
        self.compare("values.expected", transcript(["up"], commands, built, core_of(built)))

    def test_values(self):
        self.check_values("-O0")

    def test_values_of_optimised_program(self):
        self.check_values("-O2")

    def test_values_of_c_program(self):
        for level in LEVELS:
            with self.subTest(level):
                built = program("values.c", ARGUMENTS.cc, level, "-std=c99")
                self.compare("values_c.expected", transcript(
                    ["break look", "run"], self.commands("values_c.expected"), built))

    def test_objects_of_classes_that_the_library_describes_alone(self):
        # By their address where the debugger does not know their class.
        shown = transcript(LIVE, ["print *v.ints", "print $velobject(v.object)"],
                           values_program("-O0"))
        line = r"= (0x\.\.\. )?xintsequence of length 3 \(references: 8\) = \{10, 20, 30\}\n"
        self.assertEqual(len(re.findall(line, shown)), 2, shown)

    def test_collections_that_share_others_come_to_an_end(self):
        shown = transcript(LIVE, [
            "python print(len(gdb.parse_and_eval('v.doubled').format_string()), 'characters')"],
            values_program("-O0"))
        characters = int(re.search(r"(\d+) characters", shown)[1])
        self.assertGreater(characters, 10000)
        self.assertLess(characters, 300000)

    def test_parts_are_told_one_by_one_to_other_programs(self):
        built = values_program("-O0")
        said = []
        for line in ("-enable-pretty-printing", "-stack-select-frame 1",
                     "-var-create dictionary * v.anyDict",
                     "-var-list-children --all-values dictionary",
                     "-var-list-children --all-values dictionary.[3]",
                     "-var-create caught * v.caught[0]",
                     "-var-list-children --all-values caught", "-var-update *"):
            said += ["-ex", f'interpreter-exec mi "{line}"']
        shown = gdb([], *said, built, core_of(built))
        self.assertNotIn("error", shown)
        for name, value in (("dictionary.[1]", "5"), ("dictionary.[3].[0]", "10"),
                            ("dictionary.[3].[2]", "30"), ("caught.Index", "99")):
            self.assertRegex(shown, rf'name="{re.escape(name)}",[^{{]*value="{value}"')

    def test_variables_without_a_value_yet(self):
        # Clang tells of a class where one is made in line, which this program does not.
        standalone = ["-fstandalone-debug"] if "clang" in ARGUMENTS.cxx else []
        built = program("unset.cpp", ARGUMENTS.cxx, "-O0", "-std=c++17", *standalone)
        shown = gdb([*LIVE, "info locals"], built)
        self.assertRegex(shown, r"(?m)^text = <corrupt: ")
        self.assertRegex(shown, r"(?m)^value = <corrupt: ")
        self.assertRegex(shown, r"(?m)^handle = <corrupt: ")
        self.assertNotIn("Python", shown)

    def test_printers_can_be_switched_off(self):
        shown = transcript(LIVE, ["print v.number", "disable pretty-printer global velstd",
                                  "print v.number"], values_program("-O0"))
        self.assertIn("$1 = -42\n", shown)
        self.assertRegex(shown, r"\$2 = \{.*kind = xanyInt")

    def test_whatever_lies_in_memory_is_shown(self):
        shown = gdb([*LIVE, f"source {ARGUMENTS.source / 'tests/data/gdb/scramble.py'}"],
                    values_program("-O0"))
        self.assertIn("scrambled", shown)
        self.assertNotIn("Python", shown)
        self.assertNotIn("Traceback", shown)
        corrupt = int(re.search(r"(\d+) corrupt", shown)[1])
        self.assertGreater(corrupt, 100)


class Installed(Shown):
    """The same library where a user has it."""

    def safe_paths(self):
        place = ARGUMENTS.prefix / "share/gdb/auto-load"
        return ["-iex", f"add-auto-load-scripts-directory {place}",
                "-iex", f"add-auto-load-safe-path {place}"]

    def test_printers_are_loaded_with_the_library(self):
        built = values_program("-O0")
        commands = self.commands("values.expected")
        self.compare("values.expected", transcript(
            LIVE, commands, built, start=self.safe_paths(), printers=False))

    def test_nothing_is_loaded_from_a_place_that_is_not_safe(self):
        shown = transcript(LIVE, ["print v.number"], values_program("-O0"), printers=False)
        self.assertIn("kind = xanyInt", shown)

    def test_printers_can_be_loaded_by_hand(self):
        script = ARGUMENTS.prefix / "share/velstd/gdb/velstd_gdb.py"
        shown = transcript([f"source {script}", *LIVE], ["print v.number"],
                           values_program("-O0"), printers=False)
        self.assertIn("$1 = -42\n", shown)


def main():
    global ARGUMENTS
    parser = argparse.ArgumentParser()
    for name in ("source", "scratch", "library", "ext", "prefix"):
        parser.add_argument(f"--{name}", type=Path)
    for name in ("cxx", "cc", "libdir", "flags"):
        parser.add_argument(f"--{name}", default="")
    parser.add_argument("--update", action="store_true")
    ARGUMENTS, rest = parser.parse_known_args()
    ARGUMENTS.scratch.mkdir(parents=True, exist_ok=True)
    # The installed library is asked how it is found; the rest is the same.
    suite = Installed if ARGUMENTS.prefix else Shown
    names = rest or [name for name in vars(suite) if name.startswith("test_")]
    tests = unittest.TestSuite(suite(name) for name in names)
    result = unittest.TextTestRunner(verbosity=2).run(tests)
    sys.exit(0 if result.wasSuccessful() else 1)


if __name__ == "__main__":
    main()
