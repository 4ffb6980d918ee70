#!/usr/bin/env python3
"""What velq writes is JSON to other tools, and says the same as the document it read.

Usage: json_tools_test.py VELQ SCRATCH
Documents: those of iso-codes, random ones that are always the same, and malformed ones,
which every reader has to refuse.
"""

import json
import pathlib
import random
import subprocess
import sys

VELQ, SCRATCH = sys.argv[1], pathlib.Path(sys.argv[2])
ISO_CODES = pathlib.Path("/usr/share/iso-codes/json")

MALFORMED = [
    "", " ", "[", "]", "{", "}", "[1,]", "[,1]", "[1 2]", "{\"a\"}", "{\"a\":}", "{a:1}", "{1:2}",
    "{\"a\":1,}", "[1]]", "nul", "True", "'a'", "\"a", "\"\\x\"", "\"\\u12\"", "\"\\ud800\"", "\"\t\"",
    "01", "+1", ".5", "1.", "1e", "-", "0x1", "Infinity", "1 2", "//", "[1]//", "\"\\u0000", "\ufeff[",
]


def parsed(text):
    """Numbers as reals: other tools write large ones without a fraction."""
    return json.loads(text, parse_int=float)


def run(*command):
    return subprocess.run(command, capture_output=True, check=False)


def document(chance, depth=4):
    """A random value."""
    kind = chance.randrange(8 if depth else 6)
    if kind == 0:
        return None
    if kind == 1:
        return chance.random() < 0.5
    if kind == 2:
        return chance.randrange(-2**33, 2**33)
    if kind == 3:
        return chance.uniform(-1, 1) * 10.0 ** chance.randrange(-300, 300)
    if kind in (4, 5):
        return "".join(chance.choice("aZ \"\\/\n\t\x01\x7f\u00fc\u4e2d\U0001f600@") for _ in range(6))
    if kind == 6:
        return [document(chance, depth - 1) for _ in range(chance.randrange(5))]
    return {str(document(chance, 0)).replace("\0", ""): document(chance, depth - 1)
            for _ in range(chance.randrange(5))}


def check(name, text):
    """Whether the tools agree on a document."""
    source = SCRATCH / "json_tools.json"
    source.write_bytes(text.encode("utf-8"))
    written = run(VELQ, "get", "--json", "", source)
    if written.returncode != 0:
        return f"{name}: velq: {written.stderr.decode()}"
    wanted = parsed(text)
    result = SCRATCH / "json_tools_written.json"
    result.write_bytes(written.stdout)
    for tool in (("python3", "-m", "json.tool"), ("jq", ".")):
        read = run(*tool, result)
        if read.returncode != 0:
            return f"{name}: {tool[0]} refuses what velq wrote: {read.stderr.decode()}"
        if parsed(read.stdout) != wanted:
            return f"{name}: not the same by way of {tool[0]}"
    return None


def refuses(text):
    """Whether velq and Python both refuse a text."""
    source = SCRATCH / "json_tools.json"
    source.write_bytes(text.encode("utf-8"))
    told = run(VELQ, "print", source)
    if told.returncode != 2 or b": line 1, column " not in told.stderr.split(b"json_tools.json", 1)[-1]:
        return f"malformed {text!r}: status {told.returncode}: {told.stderr.decode()}"
    return None


def main():
    chance = random.Random(1)
    documents = [(path.name, path.read_text(encoding="utf-8")) for path in sorted(ISO_CODES.glob("*.json"))]
    for number in range(20):
        values = [document(chance) for _ in range(500)]
        documents.append((f"random {number}", json.dumps(values, ensure_ascii=number % 2 == 0)))
    failures = [failure for name, text in documents if (failure := check(name, text))]
    failures += [failure for text in MALFORMED if (failure := refuses(text))]
    print("\n".join(failures) or f"{len(documents)} documents, {len(MALFORMED)} malformed ones")
    return 1 if failures or not documents else 0


if __name__ == "__main__":
    sys.exit(main())
