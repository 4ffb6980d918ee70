#!/usr/bin/env python3
"""The schemas of types are schemas of Draft 2020-12, and take what the reader takes.

Usage: json_schema_test.py SAMPLES
Random values of each type that json_samples knows are valid against the schema of their type;
damaged ones are valid where the reader takes them, and, for types whose schema can tell all,
nowhere else.
"""

import copy
import json
import random
import subprocess
import sys

try:
    from jsonschema import Draft202012Validator
except ImportError:
    sys.exit("python3-jsonschema is not installed: ./dev setup")

SAMPLES = sys.argv[1]
VALUES = 60  # of each type
FOREIGN = [None, True, False, 0, 7, -1, 2**31 - 1, 2**31, -(2**31) + 1, -(2**31), 0.5, 1e126, 9e125,
           "", "red", "green", "no colour", [], [1], [None], {}, {"a": 1}, {"kind": 1}, {"x": 1}]


def samples(*arguments, text=""):
    """The lines that json_samples writes, each a JSON value."""
    run = subprocess.run((SAMPLES, *arguments), input=text, capture_output=True, check=False,
                         encoding="utf-8")
    if run.returncode != 0:
        sys.exit(f"json_samples {arguments}: status {run.returncode}: {run.stderr}")
    return [json.loads(line) for line in run.stdout.split("\n")[:-1]]


def places(value, found=None):
    """Every place in a value: a container and a key of it."""
    found = [] if found is None else found
    parts = enumerate(value) if isinstance(value, list) else value.items() if isinstance(value, dict) else ()
    for key, part in parts:
        found.append((value, key))
        places(part, found)
    return found


def damaged(chance, value, pool):
    """The value with one change somewhere."""
    root = [copy.deepcopy(value)]
    container, key = chance.choice(places(root))
    part = container[key]
    what = chance.randrange(6)
    if what == 0 and isinstance(part, dict) and part:
        del part[chance.choice(list(part))]
    elif what == 1 and isinstance(part, dict):
        part[chance.choice(["nope", "x", "kind", "radius", "text", "whole", "real", "value"])] = \
            chance.choice(FOREIGN)
    elif what == 2 and isinstance(part, list):
        part.append(copy.deepcopy(chance.choice(part)) if part else chance.choice(FOREIGN))
    elif what == 3 and isinstance(part, list) and part:
        part.pop()
    elif what == 4 and isinstance(part, dict) and part:
        part[chance.choice(["nope", "x", "left", "next"])] = part.pop(chance.choice(list(part)))
    elif what == 5:
        container[key] = copy.deepcopy(chance.choice(pool))
    else:
        container[key] = copy.deepcopy(chance.choice(FOREIGN))
    return root[0]


def main():
    types = {name: (exact, schema) for name, exact, schema in samples("types")}
    failures = []
    for name, (_, schema) in types.items():
        try:
            Draft202012Validator.check_schema(schema)
        except Exception as error:  # pylint: disable=broad-except
            failures.append(f"{name}: no schema: {error}")
    validators = {name: Draft202012Validator(schema) for name, (_, schema) in types.items()}
    values = samples("values", str(VALUES))
    for name, value in values:
        for error in validators[name].iter_errors(value):
            failures.append(f"{name}: {json.dumps(value)}: {error.message}")
    chance = random.Random(7)
    pool = [value for _, value in values]
    cases = [(name, damaged(chance, value, pool)) for name, value in values for _ in range(4)]
    lines = "".join(json.dumps([name, json.dumps(value)]) + "\n" for name, value in cases)
    verdicts = samples("check", text=lines)
    refused = 0
    for (name, value), complaint in zip(cases, verdicts, strict=True):
        is_valid = validators[name].is_valid(value)
        refused += not is_valid
        if complaint is None and not is_valid:
            failures.append(f"{name}: the schema refuses what the reader takes: {json.dumps(value)}")
        elif complaint is not None and is_valid and types[name][0]:
            failures.append(f"{name}: the schema takes {json.dumps(value)}: {complaint}")
    if refused < len(cases) // 4:
        failures.append(f"only {refused} of {len(cases)} damaged values are refused")
    print("\n".join(failures[:40]) or
          f"{len(types)} types, {len(values)} values, {len(cases)} damaged, {refused} of them refused")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
