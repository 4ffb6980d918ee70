"""The declarations in Python say what the header says."""
import re
from ctypes import POINTER, c_char_p, c_double, c_int, c_ubyte, c_void_p

import pytest

from conftest import ROOT, ledger
from velstd._c import SIGNATURES, VISITOR, XAny, XString, lib

CODE = re.sub(r"/\*.*?\*/", "", (ROOT / "capi/velstd_c.h").read_text(), flags=re.S)
PLAIN = {"void": None, "int": c_int, "unsigned char": c_ubyte, "double": c_double,
         "__xstring_c": XString, "__xany_c": XAny}
# Texts come as addresses: not each of them may be looked at.
POINTERS = {"__xstring_c": POINTER(XString), "__xany_c": POINTER(XAny), "int": POINTER(c_int),
            "unsigned char": POINTER(c_ubyte), "double": POINTER(c_double)}


def python_type(spelled, is_result):
    if "(*visit)" in spelled:
        return VISITOR
    spelled = " ".join(spelled.replace("*", " * ").replace("const ", "").split())
    base, _, stars = spelled.partition(" *")
    is_pointer = " *" in spelled
    if not is_pointer:
        # A parameter's name follows its type.
        for name in PLAIN:
            if base == name or base.startswith(name + " "):
                return PLAIN[name]
        raise AssertionError(f"no type for {spelled}")
    if base == "char":
        return c_void_p if is_result else c_char_p
    return POINTERS.get(base, c_void_p)


def split(arguments):
    """The parameters; a comma inside brackets divides none."""
    parts, depth = [""], 0
    for letter in arguments:
        depth += (letter == "(") - (letter == ")")
        if letter == "," and not depth:
            parts.append("")
        else:
            parts[-1] += letter
    return [] if arguments.strip() == "void" else [part.strip() for part in parts]


def test_every_function_is_declared_and_no_other():
    declared = set(re.findall(r"VELSTD_API[^;]*?(\w+)\((?!\*)", CODE.split('extern "C" {')[1]))
    assert len(declared) > 150
    assert declared == set(SIGNATURES)


@pytest.mark.parametrize("name", sorted(SIGNATURES))
def test_types_match_the_header(name):
    text = re.sub(r"\s+", " ", CODE)
    result = r"VELSTD_API ((?:const )?(?:unsigned char|\w+) ?\**) ?"
    found = re.search(result + name + r"\((.*?)\);", text)
    wanted = (python_type(found[1], True), *(python_type(one, False) for one in split(found[2])))
    assert SIGNATURES[name] == wanted
    function = ledger._raw[name]
    assert (function.restype, *function.argtypes) == wanted


def test_every_function_is_callable():
    assert set(vars(lib)) == set(SIGNATURES)
