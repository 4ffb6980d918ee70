#!/usr/bin/env python3
"""Builds the first programs of a user in each way in which a project can use the library.

    quickstart.py SCRATCH --prefix PREFIX          find_package and pkg-config, installed there
    quickstart.py SCRATCH --root ROOT              the same from packages unpacked to ROOT
    quickstart.py SCRATCH --add-subdirectory       as a part of the user's own build

With g++ and clang++, as C++17, C++20 and C99; each program must print what its .expected says.
"""
import argparse
import os
import pathlib
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
EXAMPLES = ROOT / "examples"
COMPILERS = [("gcc", "g++"), ("clang", "clang++")]
STRICT = ["-Wall", "-Wextra", "-Wpedantic", "-Werror"]


def run(command, **options):
    done = subprocess.run([str(word) for word in command], text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, check=False, **options)
    if done.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}\nended with {done.returncode}:\n{done.stdout}")
    return done.stdout


def check(program, library_dir, expected=None):
    """Runs it and compares what it prints with the file of the same name."""
    expected = expected or EXAMPLES / (program.name.rstrip("0123456789") + ".expected")
    environment = dict(os.environ)
    if library_dir:
        environment["LD_LIBRARY_PATH"] = str(library_dir)
    printed = subprocess.run([program], env=environment, check=True, stdout=subprocess.PIPE).stdout
    if printed != expected.read_bytes():
        sys.exit(f"{program} prints:\n{printed.decode(errors='replace')}")


def by_cmake(scratch, compilers, way, arguments, library_dir):
    c, cxx = compilers
    build = scratch / f"{way}-{cxx}"
    if way == "find_package":
        tutorial = scratch / f"tutorial-{cxx}"
        run(["cmake", "-S", EXAMPLES / "orders", "-B", tutorial, "-G", "Ninja",
             f"-DCMAKE_C_COMPILER={c}", f"-DCMAKE_CXX_COMPILER={cxx}", *arguments])
        run(["cmake", "--build", tutorial])
        for name in ("main", "client"):
            check(tutorial / f"orders_{name}", library_dir, EXAMPLES / "orders" / f"{name}.expected")
    run(["cmake", "-S", ROOT / "tests/quickstart", "-B", build, "-G", "Ninja",
         f"-DCMAKE_C_COMPILER={c}", f"-DCMAKE_CXX_COMPILER={cxx}", f"-DWAY={way}",
         f"-DVELSTD={ROOT}", *arguments])
    run(["cmake", "--build", build])
    programs = [build / name for name in ("quickstart17", "quickstart20", "everyday17", "everyday20",
                                          "c_client99")]
    for program in programs:
        check(program, library_dir)
    print(f"{way}, {cxx}: {' '.join(program.name for program in programs)}")


def by_pkg_config(scratch, compilers, environment, library_dir):
    c, cxx = compilers
    out = scratch / f"pkg-config-{cxx}"
    out.mkdir(parents=True)
    rows = [(cxx, "c++17", "quickstart.cpp", "velstd"), (cxx, "c++20", "quickstart.cpp", "velstd"),
            (cxx, "c++17", "everyday.cpp", "velstd-json"),
            (cxx, "c++20", "everyday.cpp", "velstd-json"), (c, "c99", "c_client.c", "velstd")]
    names = []
    for compiler, standard, source, package in rows:
        flags = run(["pkg-config", "--cflags", "--libs", package], env=environment).split()
        program = out / (pathlib.Path(source).stem + standard.lstrip("c+"))
        run([compiler, f"-std={standard}", *STRICT, EXAMPLES / source, "-o", program, *flags])
        check(program, library_dir)
        names.append(program.name)
    print(f"pkg-config, {cxx}: {' '.join(names)}")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("scratch", type=pathlib.Path)
    parser.add_argument("--prefix", type=pathlib.Path)
    parser.add_argument("--root", type=pathlib.Path)
    parser.add_argument("--add-subdirectory", action="store_true")
    arguments = parser.parse_args()
    shutil.rmtree(arguments.scratch, ignore_errors=True)
    for compilers in COMPILERS:
        if arguments.add_subdirectory:
            by_cmake(arguments.scratch, compilers, "add_subdirectory",
                     ["-DCMAKE_BUILD_TYPE=Debug"], None)
        for prefix in filter(None, [arguments.prefix, arguments.root and arguments.root / "usr"]):
            files = sorted(prefix.resolve().rglob("velstd.pc"))
            if len(files) != 1:
                sys.exit(f"{prefix}: {len(files)} files velstd.pc")
            library_dir = files[0].parent.parent
            by_cmake(arguments.scratch, compilers, "find_package",
                     [f"-DCMAKE_PREFIX_PATH={prefix.resolve()}"], library_dir)
            environment = dict(os.environ, PKG_CONFIG_PATH=str(files[0].parent))
            by_pkg_config(arguments.scratch, compilers, environment, library_dir)
    return 0


if __name__ == "__main__":
    sys.exit(main())
