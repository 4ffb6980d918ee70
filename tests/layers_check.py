#!/usr/bin/env python3
"""Tells which file of a layer reaches into one above, and where the parser of JSON shows.

The core includes no header of velext or veljson, velext none of veljson; no public header names
the parser, and no symbol that the JSON library exports does.
Usage: layers_check.py ROOT [NM LIBRARY]. Exit status: 0 nothing found, 1 something (each is told).
"""
import re
import subprocess
import sys
from pathlib import Path

LAYERS = (("velbase", "velstd", "korkit", "capi"), ("velext",), ("veljson",))
INCLUDE = re.compile(r'^\s*#\s*include\s*["<]([^">]+)[">]', re.MULTILINE)
PARSER = "nlohmann"


def files(root, folders, pattern="**/*"):
    for folder in folders:
        for path in sorted((root / folder).glob(pattern)):
            if path.suffix in (".h", ".cpp", ".c"):
                yield path


def faults(root):
    for level, layer in enumerate(LAYERS):
        above = {path.name for upper in LAYERS[level + 1:] for path in files(root, upper)}
        for path in files(root, layer):
            for name in INCLUDE.findall(path.read_text(encoding="utf-8")):
                if Path(name).name in above:
                    yield f"{path.relative_to(root)}: {name}"
    for path in files(root, ("velext", "veljson"), "inc/*"):
        if PARSER in path.read_text(encoding="utf-8").lower():
            yield f"{path.relative_to(root)}: {PARSER}"


def exported(nm, library):
    shown = subprocess.run([nm, "-D", "-C", "--defined-only", library], check=True, text=True,
                           capture_output=True).stdout.splitlines()
    if not any("velToJson" in line for line in shown):
        yield f"{library}: no velToJson"
    yield from (f"{library}: {line}" for line in shown if PARSER in line)


def main():
    root = Path(sys.argv[1])
    found = list(faults(root)) + (list(exported(*sys.argv[2:4])) if len(sys.argv) > 3 else [])
    print("\n".join(found))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
