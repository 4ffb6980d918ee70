#!/usr/bin/env python3
"""Compares the symbols that the library exports with what its users are promised.

Every function that velstd_c.h declares is exported, every plain C symbol is declared there, and the
C++ names below are there in their own spelling.
Usage: exports_test.py NM LIBRARY HEADER
"""
import re
import subprocess
import sys
import unittest

C_NAMES = """
xrcattach_c xrcrelease_c xdelete_c xisrcobj_c xisobjkindof_c xisobjsameas_c xgetrtti_c
xgettypename_c xstrcreate_c xstrgetmb_c xstrgetwc_c xstrlock_c xstrunlock_c xprint_c xsetexc_c
xgetexc_c xisexc_c xextractexc_c xcleanupexc_c
""".split()

SEQUENCES = "create getarraysize get set insert insertseq removerange getclassrtti_c".split()
DICTIONARIES = """create find set remove getbyindex getkeybyindex setbyindex removebyindex
getclassrtti_c""".split()
VALUES = "bool int real string any".split()

# Free functions, and members of which each class must have at least one.
CXX_NAMES = """
escapeOOL unescapeOOL xcadapt_c2cxx xcadapt_cxx2c xrcattach xrcrelease xrcuniattach xrcunirelease
xrcgetcount xdelete velRttiAddToMap velRttiGetFromMap velRttiAddUserData velRttiGetUserData
velRttiCollectAttrs velGetRtti_any velGetRtti_int velGetRtti_bool velGetRtti_real velGetRtti_string
velGetRtti_object velTraverse velPrint velDebugPrint velDbgPrintDictKeys velCompare xthrow
velhThrowNull velhThrowNotInitialized
xerrhandler::addlistener xerrhandler::removelistener xerrhandler::dispatch
xobject::getClassRtti xstring::Assign xany::getxany_c xbasesequence::BaseInsert
xbasedictionary::BaseSet xrtti::initializeRtti velPrintTraverser::simpleValue
velCompareTraverser::simpleValue velTraverser::simpleValue velStringUtils::makeEscapedString
velExecutable::getClassRtti velDeprecationSupport::_s11n_set_s11n_deprecated
velS11nContextSensitive::getClassRtti
""".split()

EXCEPTIONS = """
velXException velXNull velXArgs velXFunc velXExternFunc velXTypeMismatch velXInvalidArrayIndex
velXInvalidSeqIndex velXInvalidDictIndex velXInvalidDictKey velXNegativeIndex velXNotInitialized
velXRefCountable velXNativeException
""".split()

# Templates that the library holds ready, as a member of each is spelled.
INSTANCES = (
    [f"xrchandle<x{value}{kind}>" for value in VALUES for kind in ("sequence", "dictionary")]
    + ["xrcunihandle<xobject>", "xrcunihandle<xthrowable>"]
    + ["xrchandle<velXException>", "xrchandle<velXTypeMismatch>", "xrchandle<velXNativeException>"]
    + [f"korSet<{item}*>" for item in ("xobject", "xrttiobject")]
    + [f"korClassMap<char const*, {item}*>" for item in ("void", "xrtti")]
    + [f"korNonOwnerStringMap<{item}*>" for item in ("void", "xrtti")]
    + ["velStack<xobject*>"]
    + [f"{name}<xerrlistener*>" for name in ("dsXArray", "dsScalarSet", "dsDataCollection", "dsArray",
                                             "dsStraightArray")]
    + ["dsDataMap<xerrlistener*, unsigned int>"]
)


def listed(*options):
    """Kind and name of each symbol; the kind "A" is that of the versions themselves."""
    listing = subprocess.run([nm, "-D", "--defined-only", *options, library], check=True,
                             capture_output=True, text=True).stdout
    return [line.split(" ", 2)[1:] for line in listing.splitlines()]


def symbols(*options):
    return {name for kind, name in listed("--without-symbol-versions", *options) if kind != "A"}


def declared():
    with open(header, encoding="utf-8") as text:
        code = re.sub(r"/\*.*?\*/", "", text.read(), flags=re.S)
    return set(re.findall(r"VELSTD_API[^;]*?(\w+)\((?!\*)", code.split('extern "C" {')[1]))


class Exports(unittest.TestCase):
    maxDiff = None

    def test_the_header_declares_what_is_exported(self):
        plain = {name for name in symbols() if not name.startswith("_")}
        self.assertGreater(len(plain), 150)
        self.assertEqual(sorted(plain), sorted(declared()))

    def test_each_symbol_has_the_version_of_the_interface(self):
        versions = {name for kind, name in listed() if kind == "A"}
        self.assertEqual(versions, {"VELSTD_0.1"})
        without = [name for kind, name in listed()
                   if kind != "A" and not name.endswith("@@VELSTD_0.1")]
        self.assertEqual(without, [])

    def test_no_function_of_std_is_exported(self):
        self.assertEqual([name for name in symbols() if re.match("_ZN?K?St", name)], [])

    def test_each_promised_c_function_is_there(self):
        wanted = set(C_NAMES)
        wanted |= {f"x{value}sequence_{name}" for value in VALUES for name in SEQUENCES}
        wanted |= {f"x{value}dictionary_{name}" for value in VALUES for name in DICTIONARIES}
        self.assertEqual(wanted - symbols(), set())

    def test_each_promised_cxx_name_is_there(self):
        found = {name.split("(")[0] for name in symbols("-C")}
        wanted = set(CXX_NAMES)
        wanted |= {f"{name}::getClassRtti" for name in EXCEPTIONS}
        wanted |= {f"x{value}{kind}::getClassRtti" for value in VALUES
                   for kind in ("sequence", "dictionary")}
        self.assertEqual(wanted - found, set())

    def test_each_template_instance_is_there(self):
        found = "\n".join(symbols("-C"))
        self.assertEqual([name for name in INSTANCES if f"{name}::" not in found], [])


if __name__ == "__main__":
    nm, library, header = sys.argv[1:4]
    unittest.main(argv=sys.argv[:1], verbosity=1)
