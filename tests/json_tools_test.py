#!/usr/bin/env python3
"""What is written is JSON to other tools, and says the same to them.

Usage: json_tools_test.py VELQ SAMPLES SCRATCH
Documents that velq has read: those of iso-codes, random ones that are always the same, and
malformed ones, which every reader has to refuse. Random values of every type, as json_samples
writes them: plain and with tags, sorted, indented.
"""

import json
import pathlib
import random
import subprocess
import sys

VELQ, SAMPLES, SCRATCH = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3])
TOOLS = (("python3", "-m", "json.tool"), ("jq", "."))
VALUES = 400  # random ones
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
    return pass_through(name, written.stdout, wanted)


def pass_through(name, text, wanted):
    """Whether a text says the same by way of the tools."""
    result = SCRATCH / "json_tools_written.json"
    result.write_bytes(text)
    for tool in TOOLS:
        read = run(*tool, result)
        if read.returncode != 0:
            return f"{name}: {tool[0]} refuses what was written: {read.stderr.decode()}"
        if parsed(read.stdout) != wanted:
            return f"{name}: not the same by way of {tool[0]}"
    return None


def in_order(pairs):
    """An object whose keys, as bytes, are sorted."""
    keys = [key.encode() for key, _ in pairs if key != "@type"]
    if keys != sorted(keys):
        raise ValueError(f"not sorted: {keys}")
    return dict(pairs)


def check_samples(options):
    """Whether the tools read what is written with these options, and that says the same
    as without layout and order."""
    tags = "t" if "t" in options else ""
    plain = run(SAMPLES, "written", str(VALUES), tags or "-")
    written = run(SAMPLES, "written", str(VALUES), options)
    if plain.returncode != 0 or written.returncode != 0:
        return f"json_samples {options}: {written.stderr.decode()}"
    wanted = parsed(plain.stdout)
    if len(wanted) != VALUES:
        return f"json_samples {options}: {len(wanted)} values"
    indent = next((int(letter) for letter in options if letter.isdigit()), None)
    lines = written.stdout.decode().split("\n")[:-1]
    if indent is None and len(lines) != 1:
        return f"json_samples {options}: {len(lines)} lines"
    if indent and any((len(line) - len(line.lstrip(" "))) % indent for line in lines):
        return f"json_samples {options}: a line that is not indented by {indent}"
    if "s" in options:
        json.loads(written.stdout, object_pairs_hook=in_order)
    return pass_through(f"json_samples {options}", written.stdout, wanted)


def sample_options():
    """Each combination."""
    return [tags + keys + indent or "-" for tags in ("", "t") for keys in ("", "s")
            for indent in ("", "0", "2", "3")]


def refuses(text):
    """Whether velq refuses a text."""
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
    failures += [failure for options in sample_options() if (failure := check_samples(options))]
    print("\n".join(failures) or 
          f"{len(documents)} documents, {len(MALFORMED)} malformed ones, "
          f"{len(sample_options())} times {VALUES} values")
    return 1 if failures or not documents else 0


if __name__ == "__main__":
    sys.exit(main())
