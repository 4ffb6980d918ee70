#!/usr/bin/env python3
"""Runs benchmark programs and prints what they measured as one table.

    table.py FOLDER [--repetitions N] [--min-time SECONDS] [TOPIC...]

FOLDER holds the programs <topic>_bench; without a topic all are run. A case is named
"<work>/<side>"; the side "velstd" is set beside the best of the others, with --all beside each of
them. Times are processor time for one item: the median of the repetitions and the best one, the
floor. The difference is that of the floors.
"""
import argparse
import datetime
import json
import os
import pathlib
import platform
import statistics
import subprocess
import sys

OURS = "velstd"
FIRST = "machine"  # the figures beside which the others are read
LARGER = {"ns": ("µs", "ms", "s"), "B": ("kB", "MB")}
# GLib's pools would lie scattered between the nodes of the other sides' trees, and keep what they
# once got, so that it is not counted.
NO_POOLS = {"G_SLICE": "always-malloc"}
SURROUNDINGS = {"tree": NO_POOLS, "footprint": NO_POOLS}


def parse_arguments():
    parser = argparse.ArgumentParser(description="runs benchmarks and prints one table")
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--repetitions", type=int, default=10)
    parser.add_argument("--min-time", type=float, default=0.02, metavar="SECONDS")
    parser.add_argument("--all", action="store_true", help="a line for each peer")
    parser.add_argument("topics", nargs="*", metavar="topic")
    return parser.parse_intermixed_args()


def programs(folder, topics):
    found = {path.name[: -len("_bench")]: path for path in sorted(folder.glob("*_bench"))}
    unknown = [topic for topic in topics if topic not in found]
    if unknown or not found:
        sys.exit(f"unknown topic: {', '.join(unknown)} (there are: {', '.join(found)})")
    chosen = topics or sorted(found, key=lambda topic: (topic != FIRST, topic))
    return [(topic, found[topic]) for topic in chosen]


def run(topic, program, options, second_thread):
    """The single repetitions of every case, as Google Benchmark reports them."""
    command = [program] + (["--second_thread"] if second_thread else []) + [
        f"--benchmark_repetitions={options.repetitions}",
        f"--benchmark_min_time={options.min_time}",
        "--benchmark_enable_random_interleaving=true",
        "--benchmark_format=json",
    ]
    surroundings = {**os.environ, **SURROUNDINGS.get(topic, {})}
    done = subprocess.run(command, stdout=subprocess.PIPE, env=surroundings, check=False)
    if done.returncode != 0:
        sys.exit(f"{program.name} ended with {done.returncode}")
    if not done.stdout.strip():
        return []  # no case runs this way
    entries = json.loads(done.stdout)["benchmarks"]
    single = [entry for entry in entries if entry["run_type"] == "iteration"]
    return sorted(single, key=lambda entry: entry["family_index"])  # they come interleaved


def collect(entries):
    """Figures by work and side: {work: {side: (unit, [one per repetition])}}, in order."""
    works = {}
    for entry in entries:
        if entry.get("error_occurred"):
            sys.exit(f"{entry['name']}: {entry['error_message']}")
        work, side = entry["run_name"].split("/")[:2]
        if "bytes" in entry:
            unit, figure = "B", entry["bytes"]
        elif "ratio" in entry:
            unit, figure = "×", entry["ratio"]
        else:
            unit, figure = "ns", 1e9 / entry["items_per_second"]
        works.setdefault(work, {}).setdefault(side, (unit, []))[1].append(figure)
    return works


def shown(figure, unit):
    for larger in LARGER.get(unit, ()):
        if figure < 10000:
            break
        figure, unit = figure / 1000, larger
    digits = 0 if figure >= 100 else 1 if figure >= 10 else 2
    return f"{figure:.{digits}f} {unit}"


def cells(side):
    unit, figures = side
    return [shown(statistics.median(figures), unit), shown(min(figures), unit)]


def line(work, ours, name, peer):
    """One line of the table; `ours` or `peer` may be missing."""
    cell = [work] + (cells(ours) if ours else ["–", "–"])
    cell += [name] + cells(peer) if peer else ["–", "–", "–"]
    if not ours or not peer:
        return cell + ["–", "–"]
    unit, own, other = ours[0], min(ours[1]), min(peer[1])
    sign = "-" if own < other else "+"
    return cell + [sign + shown(abs(own - other), unit), f"{own / other:.2f}"]


def lines(work, sides, every):
    ours = sides.get(OURS)
    peers = sorted((name for name in sides if name != OURS), key=lambda name: min(sides[name][1]))
    if not peers:
        return [line(work, ours, None, None)]
    return [line(work, ours, name, sides[name]) for name in (peers if every else peers[:1])]


def print_table(rows):
    heads = ["work", "ours: median", "floor", "peer", "median", "floor", "difference", "ratio"]
    rows = [heads] + rows
    widths = [max(len(row[i]) for row in rows) for i in range(len(heads))]
    left = (0, 3)
    rows.insert(1, ["-" * w if i in left else "-" * (w - 1) + ":" for i, w in enumerate(widths)])
    for row in rows:
        padded = [c.ljust(w) if i in left else c.rjust(w)
                  for i, (c, w) in enumerate(zip(row, widths))]
        print("| " + " | ".join(padded) + " |")


def machine():
    name = platform.machine()
    with open("/proc/cpuinfo", encoding="utf-8") as lines:
        for line in lines:
            if line.startswith("model name"):
                name = line.split(":", 1)[1].strip()
                break
    return f"{name}, {os.cpu_count()} processors, load {os.getloadavg()[0]:.1f} at the start"


def main():
    options = parse_arguments()
    chosen = programs(options.folder, options.topics)
    about = f"{datetime.date.today()}, {machine()}; {options.repetitions} repetitions"
    rows = []
    for topic, program in chosen:
        print(f"bench: {topic}", file=sys.stderr)
        for second_thread in (False, True):
            works = collect(run(topic, program, options, second_thread))
            for work, sides in works.items():
                rows += lines(work, sides, options.all)
    print(about + "\n")
    print_table(rows)


main()
