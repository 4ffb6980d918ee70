#!/usr/bin/env python3
"""The version of CMakeLists.txt is that of every other place that tells one.

Usage: versions_test.py ROOT
"""
import re
import sys
from pathlib import Path

root = Path(sys.argv[1])


def first(file, pattern):
    found = re.search(pattern, (root / file).read_text(encoding="utf-8"), re.M)
    return found[1] if found else f"nothing in {file}"


version = first("CMakeLists.txt", r"^project\(velstd VERSION (\d+\.\d+\.\d+)")
interface = ".".join(version.split(".")[:2])
PY, DEBIAN = "python/velstd/", "packaging/debian/"
told = [
    ("python/pyproject.toml", first("python/pyproject.toml", r'^version = "(.*)"'), version),
    (PY + "__init__.py", first(PY + "__init__.py", r'^__version__ = "(.*)"'), version),
    (DEBIAN + "changelog", first(DEBIAN + "changelog", r"^velstd \((.*)\)"), version),
    (DEBIAN + "control", first(DEBIAN + "control", r"^Package: libvelstd([\d.]+)"), interface),
    ("cmake/velstd.map", first("cmake/velstd.map", r"^VELSTD_([\d.]+) \{"), interface),
    (PY + "_c.py", first(PY + "_c.py", r'^SONAME = "libvelstd\.so\.([\d.]+)"'), interface),
]
wrong = [f"{file}: {is_it} instead of {wanted}" for file, is_it, wanted in told if is_it != wanted]
print("\n".join(wrong) or f"{version} everywhere")
sys.exit(1 if wrong else 0)
