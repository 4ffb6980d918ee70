"""How the package finds the shared library, and what it says if it does not."""
import os
import pathlib
import shutil
import subprocess
import sys

import velstd


def run(code, **environment):
    kept = {k: v for k, v in os.environ.items() if k != "VELSTD_LIBRARY"}
    return subprocess.run([sys.executable, "-c", code], env={**kept, **environment},
                          capture_output=True, text=True)


def library():
    return pathlib.Path(os.environ["VELSTD_LIBRARY"]).resolve()


def test_the_variable_names_the_file():
    done = run("import velstd; print(velstd.library_path())", VELSTD_LIBRARY=str(library()))
    assert done.stdout == f"{library()}\n"
    assert velstd.library_path() == os.environ["VELSTD_LIBRARY"]


def test_without_the_variable_the_loader_looks(tmp_path):
    shutil.copy(library(), tmp_path / "libvelstd.so.0.1")
    done = run("import velstd; print(velstd.library_path())", LD_LIBRARY_PATH=str(tmp_path))
    assert done.stdout == "libvelstd.so.0.1\n"


def test_a_file_that_is_not_there_is_told():
    done = run("import velstd", VELSTD_LIBRARY="/no/such.so")
    assert "ImportError: velstd: the library that VELSTD_LIBRARY names cannot" in done.stderr
    assert "/no/such.so" in done.stderr


def test_another_library_is_told():
    done = run("import velstd", VELSTD_LIBRARY="libm.so.6")
    assert "ImportError: velstd: libm.so.6 has no function xisrcobj_c: it is another" in done.stderr


def test_no_library_at_all_is_told(tmp_path):
    # Nothing that the system may have installed is found: all names lead nowhere.
    code = ("import ctypes, ctypes.util\n"
            "ctypes.util.find_library = lambda name: None\n"
            "real = ctypes.CDLL\n"
            "def none(name, *rest):\n"
            "    if 'velstd' in str(name): raise OSError(f'{name}: no such file')\n"
            "    return real(name, *rest)\n"
            "ctypes.CDLL = none\n"
            "import velstd")
    done = run(code)
    assert "ImportError: velstd: no libvelstd.so.0.1 is found" in done.stderr
    assert "VELSTD_LIBRARY" in done.stderr


def test_a_missing_library_of_types_is_told():
    try:
        velstd.load("/no/such.so")
    except OSError as error:
        assert "/no/such.so" in str(error)
    else:
        raise AssertionError
