#!/usr/bin/env python3
"""Holds the includes of the sources against the table of docs/design.md, which tells for each
folder what its files may include.

The table is the one under the heading "The folders"; its first column names folders, its second
those that their files may include besides their own. "for FILE" behind a folder allows it to that
file alone. Headers in "private" are not installed: files outside the core must not include them.
Given the JSON library, too, none of the symbols that it exports may name the parser.
Usage: layers_test.py ROOT [NM LIBRARY]
"""
import pathlib
import re
import subprocess
import sys

HEADING = "## The folders"
CORE = ("velbase", "velstd", "korkit", "capi")
PARSER = "nlohmann/"
PARSER_FOLDER = "veljson/src"


def rules_of(page):
    """Folder -> {folder that it may include: the only file that may, or None}."""
    section = page.split(HEADING, 1)[1].split("\n## ", 1)[0]
    rules = {}
    for folders, allowed in re.findall(r"^\| (`[^|]*`) \|[^|]*\|([^|]*)\|$", section, re.M):
        may = {folder: only or None
               for folder, only in re.findall(r"`([^`]+)`(?: for `([^`]+)`)?", allowed)}
        for folder in re.findall(r"`([^`]+)`", folders):
            rules[folder] = may
    return rules


def folder_of(path, rules):
    return next((folder for folder in rules if path.is_relative_to(folder)), None)


def includes(text):
    return re.findall(r'^\s*#\s*include\s+["<]([^">]+)[">]', text, re.M)


def check(files, rules, private):
    """`files`: path -> text. What is wrong, a line each."""
    headers = {}
    for path in files:
        if path.suffix == ".h":
            headers.setdefault(path.name, []).append(path)
    wrong = [f"two headers of one name: {', '.join(map(str, paths))}"
             for paths in headers.values() if len(paths) > 1]
    seen = 0
    for path, text in files.items():
        own = folder_of(path, rules)
        if own is None:
            wrong.append(f"{path}: its folder is not in the table")
            continue
        for name in includes(text):
            if name.startswith(PARSER) and not path.is_relative_to(PARSER_FOLDER):
                wrong.append(f"{path}: includes the parser, {name}")
            if name not in headers:
                continue
            seen += 1
            target = folder_of(headers[name][0], rules)
            only = rules[own].get(target, "") if target != own else None
            if only is not None and only != path.name:
                wrong.append(f"{path}: includes {name} of {target}")
            if name in private and path.parts[0] not in CORE:
                wrong.append(f"{path}: includes {name}, which is not installed")
    if not seen:
        wrong.append("no include was found")
    return wrong, seen


def exported_of_the_parser(nm, library):
    shown = subprocess.run([nm, "-D", "-C", "--defined-only", library], check=True, text=True,
                           capture_output=True).stdout.splitlines()
    if not any("velToJson" in line for line in shown):
        return [f"{library}: no velToJson"]
    return [f"{library}: {line}" for line in shown if PARSER.rstrip("/") in line]


def check_self():
    rules = rules_of("## The folders\n| `a`, `b` | x | `c`, `d` for `one.cpp` |\n| `c` | y | |\n"
                     "| `d` | z | |\n## Next\n| `e` | x | |\n")
    assert rules == {"a": {"c": None, "d": "one.cpp"}, "b": {"c": None, "d": "one.cpp"},
                     "c": {}, "d": {}}, rules
    files = {"c/c.h": "", "d/d.h": "", "a/a.h": '#include "c.h"', "b/one.cpp": '#include "d.h"'}
    paths = {pathlib.PurePath(name): text for name, text in files.items()}
    assert check(paths, rules, []) == ([], 2)
    for name, text in (("c/x.cpp", '#include "a.h"'), ("b/two.cpp", '# include <d.h>'),
                       ("e/x.cpp", ""), ("b/c.h", ""), ("a/x.cpp", '#include <nlohmann/json.hpp>')):
        assert check({**paths, pathlib.PurePath(name): text}, rules, [])[0], name
    assert check(paths, rules, ["c.h"])[0]


def main(root, *json_library):
    check_self()
    root = pathlib.Path(root)
    rules = rules_of((root / "docs/design.md").read_text(encoding="utf-8"))
    private = re.search(r"set\(VELSTD_PRIVATE_HEADERS([^)]*)\)",
                        (root / "CMakeLists.txt").read_text(encoding="utf-8"))[1].split()
    files = {path.relative_to(root): path.read_text(encoding="utf-8")
             for folder in (*CORE, "velext", "veljson", "tools")
             for path in sorted((root / folder).rglob("*")) if path.suffix in (".h", ".cpp", ".c")}
    wrong, seen = check(files, rules, private)
    if json_library:
        wrong += exported_of_the_parser(*json_library)
    print("\n".join(wrong) or f"{seen} includes keep to the table")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
