"""The C interface from a language that is neither C nor C++: what a Python
program does with the shared library alone. Usage: capi_python_test.py LIBRARY
"""
import ctypes
import sys
import unittest
from ctypes import POINTER, Structure, Union, byref, c_char_p, c_double, c_int, c_ubyte, c_void_p

UNINIT, NIL, INT, BOOL, REAL, STRING, ENUM, OBJECT = range(8)


class XString(Structure):
    _fields_ = [("buffer", c_void_p), ("narrow", c_void_p), ("wide", c_void_p)]


class EnumValue(Structure):
    _fields_ = [("value", c_int), ("rtti", c_void_p)]


class Payload(Union):
    _fields_ = [("i", c_int), ("b", c_ubyte), ("d", c_double), ("s", XString), ("e", EnumValue),
                ("o", c_void_p)]


class XAny(Structure):
    _fields_ = [("kind", c_int), ("u", Payload)]


def declare(library):
    """Gives each function that the tests use its types."""
    signatures = {
        "xstrcreate_c": (None, POINTER(XString), c_char_p),
        "xstrgetmb_c": (c_char_p, POINTER(XString)),
        "xstrunlock_c": (None, POINTER(XString)),
        "xgettypename_c": (XString, c_void_p),
        "xrcrelease_c": (None, c_void_p),
        "xisexc_c": (c_ubyte,),
        "xextractexc_c": (c_void_p,),
        "xanyint_c": (XAny, c_int),
        "xanyreal_c": (XAny, c_double),
        "xanybool_c": (XAny, c_ubyte),
        "xanystr_c": (XAny, c_char_p),
        "xanyobj_c": (XAny, c_void_p),
        "xanynil_c": (XAny,),
        "xanytostr_c": (XString, POINTER(XAny)),
        "xanytoint_c": (c_int, POINTER(XAny)),
        "xanyunlock_c": (None, POINTER(XAny)),
        "xprintstr_c": (XString, POINTER(XAny), c_int),
        "xcompare_c": (c_ubyte, POINTER(XAny), POINTER(XAny)),
        "xobjcreate_c": (c_void_p, c_char_p),
        "xobjgetattr_c": (XAny, c_void_p, c_char_p),
        "xobjsetattr_c": (c_ubyte, c_void_p, c_char_p, POINTER(XAny)),
        "xrttifind_c": (c_void_p, c_char_p),
        "xrttigetname_c": (XString, c_void_p),
        "xrttiforeach_c": (None, VISIT, c_void_p),
        "xintsequence_create": (c_void_p,),
        "xintsequence_set": (None, c_void_p, c_int, c_int),
        "xintsequence_get": (c_int, c_void_p, c_int),
        "xintsequence_getarraysize": (c_int, c_void_p),
        "xstringsequence_create": (c_void_p,),
        "xstringsequence_set": (None, c_void_p, c_int, XString),
        "xstringsequence_get": (XString, c_void_p, c_int),
        "xrealdictionary_create": (c_void_p,),
        "xrealdictionary_set": (None, c_void_p, c_char_p, c_double),
        "xrealdictionary_find": (c_ubyte, c_void_p, c_char_p, POINTER(c_double)),
        "xrealdictionary_getmapsize": (c_int, c_void_p),
        "xrealdictionary_getkeybyindex": (c_ubyte, c_void_p, c_int, POINTER(XString)),
        "xanysequence_create": (c_void_p,),
        "xanysequence_set": (None, c_void_p, c_int, XAny),
        "xanydictionary_create": (c_void_p,),
        "xanydictionary_set": (None, c_void_p, c_char_p, XAny),
    }
    for name, (result, *arguments) in signatures.items():
        function = getattr(library, name)
        function.restype = result
        function.argtypes = arguments


VISIT = ctypes.CFUNCTYPE(c_int, c_void_p, c_void_p)
vel = ctypes.CDLL(sys.argv.pop())
declare(vel)


def text(record):
    """The text of a string record, which is given back."""
    value = None if not record.buffer else vel.xstrgetmb_c(byref(record)).decode()
    vel.xstrunlock_c(byref(record))
    return value


def printed(value, step=-1):
    return text(vel.xprintstr_c(byref(value), step))


class Caught:
    """The pending exception, taken: its type and its attributes by name."""

    def __init__(self):
        self.object = vel.xextractexc_c()
        self.type = text(vel.xgettypename_c(self.object))

    def attribute(self, name):
        value = vel.xobjgetattr_c(self.object, name.encode())
        result = vel.xanytoint_c(byref(value)) if value.kind == INT else text(
            vel.xanytostr_c(byref(value)))
        vel.xanyunlock_c(byref(value))
        return result

    def release(self):
        vel.xrcrelease_c(self.object)


class CInterface(unittest.TestCase):
    def tearDown(self):
        self.assertEqual(vel.xisexc_c(), 0)

    def test_layouts_are_those_of_the_library(self):
        self.assertEqual(ctypes.sizeof(XString), 24)
        self.assertEqual(ctypes.sizeof(XAny), 32)

    def test_typed_collections(self):
        seq = vel.xintsequence_create()
        for i in range(100):
            vel.xintsequence_set(seq, i, i * i)
        self.assertEqual(vel.xintsequence_getarraysize(seq), 100)
        self.assertEqual([vel.xintsequence_get(seq, i) for i in (0, 9, 99)], [0, 81, 9801])
        vel.xrcrelease_c(seq)

        words = vel.xstringsequence_create()
        word = XString()
        vel.xstrcreate_c(byref(word), "wörd".encode())
        vel.xstringsequence_set(words, 0, word)
        vel.xstrunlock_c(byref(word))
        self.assertEqual(text(vel.xstringsequence_get(words, 0)), "wörd")
        vel.xrcrelease_c(words)

    def test_dictionary_is_enumerated_by_slot(self):
        prices = vel.xrealdictionary_create()
        wanted = {f"key{i}": i / 4 for i in range(50)}
        for key, value in wanted.items():
            vel.xrealdictionary_set(prices, key.encode(), value)
        found = {}
        for slot in range(vel.xrealdictionary_getmapsize(prices)):
            key, value = XString(), c_double()
            if vel.xrealdictionary_getkeybyindex(prices, slot, byref(key)):
                name = text(key)
                self.assertEqual(vel.xrealdictionary_find(prices, name.encode(), byref(value)), 1)
                found[name] = value.value
        self.assertEqual(found, wanted)
        vel.xrcrelease_c(prices)

    def test_nested_values_print_and_compare(self):
        def build(last):
            inner = vel.xanysequence_create()
            items = [vel.xanyint_c(1), vel.xanyreal_c(2.5), vel.xanybool_c(1), vel.xanynil_c(),
                     vel.xanystr_c(last)]
            for i, item in enumerate(items):
                vel.xanysequence_set(inner, i, item)
                vel.xanyunlock_c(byref(item))
            outer = vel.xanydictionary_create()
            value = vel.xanyobj_c(inner)
            vel.xrcrelease_c(inner)
            vel.xanydictionary_set(outer, b"list", value)
            vel.xanyunlock_c(byref(value))
            whole = vel.xanyobj_c(outer)
            vel.xrcrelease_c(outer)
            return whole

        a, b, c = build(b"x"), build(b"x"), build(b"y")
        self.assertEqual(printed(a), 'anydict { "list" : anyseq [ 0 : 1 1 : 2.5 2 : true 3 : nil '
                         '4 : "x" ] }')
        self.assertEqual(vel.xcompare_c(byref(a), byref(b)), 1)
        self.assertEqual(vel.xcompare_c(byref(a), byref(c)), 0)
        for value in (a, b, c):
            vel.xanyunlock_c(byref(value))

    def test_exceptions_tell_their_type_and_description(self):
        seq = vel.xintsequence_create()
        self.assertEqual(vel.xintsequence_get(seq, 5), -2147483647)
        caught = Caught()
        self.assertEqual(caught.type, "vellib::XInvalidSeqIndex")
        self.assertEqual(caught.attribute("Description"), "Sequence index is out of range")
        self.assertEqual(caught.attribute("Index"), 5)
        caught.release()
        vel.xrcrelease_c(seq)

        self.assertEqual(vel.xintsequence_get(None, 0), -2147483647)
        caught = Caught()
        self.assertEqual(caught.type, "vellib::XNull")
        self.assertEqual(caught.attribute("Description"),
                         "Attempt to assign null to non-optional object")
        caught.release()

    def test_objects_are_built_by_name(self):
        func = vel.xobjcreate_c(b"vellib::XFunc")
        name = vel.xanystr_c(b"call")
        self.assertEqual(vel.xobjsetattr_c(func, b"Name", byref(name)), 1)
        self.assertEqual(vel.xobjsetattr_c(func, b"None", byref(name)), 129)
        caught = Caught()
        self.assertEqual((caught.type, caught.attribute("Key")), ("vellib::XInvalidDictKey", "None"))
        caught.release()
        vel.xanyunlock_c(byref(name))
        value = vel.xanyobj_c(func)
        self.assertEqual(printed(value), 'vellib::XFunc { Name : "call" Args : nil }')
        vel.xanyunlock_c(byref(value))
        vel.xrcrelease_c(func)

    def test_types_are_listed_in_order(self):
        names = []
        visit = VISIT(lambda type, _: names.append(text(vel.xrttigetname_c(type))) or 1)
        vel.xrttiforeach_c(visit, None)
        self.assertEqual(names, sorted(names))
        self.assertIn("vellib::XException", names)
        self.assertIsNone(vel.xrttifind_c(b"no such type"))


if __name__ == "__main__":
    unittest.main(verbosity=1)
