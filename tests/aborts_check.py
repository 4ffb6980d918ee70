#!/usr/bin/env python3
"""Sees to it that every abort of the library is in a death test.

Collects the message, source and line of each _korAbort call; where a function passes one of them
on, its callers tell, for a member of a class those in all files. A test names an abort when the three follow each other in its code, or message
and line do in a table whose rows go to EXPECT_VEL_ABORT together with the source. Death tests that
do not use EXPECT_VEL_ABORT are not seen: it alone compares the whole error stream and the signal.
Usage: aborts_check.py ROOT [TEST_FILE...]
"""
import pathlib
import re
import sys

STRING = r'"(?:[^"\\]|\\.)*"'
FOLDERS = ("velbase", "velstd", "korkit", "capi")


def code(path):
    """The file with its comments blanked and each named text constant put in place."""
    text = path.read_text(encoding="utf-8")
    text = re.sub(rf'({STRING})|//[^\n]*|/\*.*?\*/', lambda m: m.group(1) or " ", text, flags=re.S)
    constants = re.findall(rf'\b(?:const )?(?:constexpr )?(?:const )?char\s*\*?\s*(?:const\s+)?(k\w+)'
                           rf'(?:\[\])?\s*=\s*({STRING})', text)
    for name, value in constants:
        text = re.sub(rf"\b{name}\b", lambda m, v=value: v, text)
    return text


def arguments(text, start):
    """What stands between the parenthesis at `start` and its partner, split at its commas."""
    parts, depth, begin = [], 0, start + 1
    for match in re.finditer(rf"{STRING}|[(){{}}\[\],]", text[start:]):
        at, token = start + match.start(), match.group()
        if token in "({[":
            depth += 1
        elif token in ")}]":
            depth -= 1
        if depth == 0 or (depth == 1 and token == ","):
            parts.append(text[begin:at].strip())
            begin = at + 1
        if depth == 0:
            return parts
    sys.exit("unbalanced parentheses")


def calls(text, name):
    for match in re.finditer(rf"\b{name}\(", text):
        yield match.start(), arguments(text, match.end() - 1)


def is_literal(part):
    return re.fullmatch(rf"{STRING}|\d+", part) is not None


def aborts_of(path, sources):
    """(message, source, line) of each abort in a file."""
    text = sources[path]
    for at, parts in calls(text, "_korAbort"):
        if parts[0].startswith("const char*"):
            continue  # the declaration and the body
        if all(map(is_literal, parts)):
            yield tuple(parts)
            continue
        # The innermost function around it has the rest as parameters.
        around = list(re.finditer(r"\b((?:\w+::)?\w+)\(([^()]*)\)\s*(?:const\s*)?\{", text[:at]))
        if not around:
            sys.exit(f"{path}: cannot follow _korAbort({', '.join(parts)})")
        name = around[-1].group(1)
        names = [parameter.split()[-1].lstrip("*&") if parameter.strip() else ""
                 for parameter in around[-1].group(2).split(",")]
        found = False
        callers = sources.values() if "::" in name else [text]
        for _, given in (call for caller in callers for call in calls(caller, name)):
            if [part.strip() for part in around[-1].group(2).split(",")] == given:
                continue  # its own head
            passed = dict(zip(names, given))
            triple = tuple(passed.get(part, part) for part in parts)
            if not all(map(is_literal, triple)):
                sys.exit(f"{path}: cannot follow {name}({', '.join(given)})")
            found = True
            yield triple
        if not found:
            sys.exit(f"{path}: nothing calls {name}")


def is_tested(abort, texts):
    message, source, line = map(re.escape, abort)
    whole = re.compile(rf"{message}\s*,\s*{source}\s*,\s*{line}\b")
    row = re.compile(rf"{message}\s*,\s*{line}\b")
    table = re.compile(rf"EXPECT_VEL_ABORT\([^;]*?,\s*\w+\.\w+\s*,\s*{source}\s*,\s*\w+\.\w+\)")
    for text in texts:
        if any(whole.search(", ".join(parts[-3:])) for _, parts in calls(text, "EXPECT_VEL_ABORT")):
            return True
        if table.search(text) and row.search(text):
            return True
    return False


def main(root, files):
    root = pathlib.Path(root)
    sources = {path: code(path) for folder in FOLDERS
               for path in sorted((root / folder).rglob("*")) if path.suffix in (".cpp", ".h")}
    aborts = sorted({abort for path in sources for abort in aborts_of(path, sources)})
    tests = [pathlib.Path(file) for file in files] or sorted((root / "tests").glob("*_test.cpp"))
    texts = [code(path) for path in tests]
    missing = [abort for abort in aborts if not is_tested(abort, texts)]
    for message, source, line in missing:
        print(f"no test has the abort {message} ({source}, line {line})")
    print(f"{len(aborts)} aborts, {len(missing)} of them in no test")
    return 1 if missing or not aborts else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], sys.argv[2:]))
