"""Whatever is handed to the package, the interpreter lives and says what is wrong."""
import ctypes
import inspect
import itertools
import random

import pytest

import velstd

def junk():
    """Values of all sorts; fresh ones, for some are changed by what they are given to."""
    return [
        None, velstd.Uninit, True, 0, 1, 2, 22, -1, 2**31, 2**63, 10**30, 0.5, float("nan"), 1e126,
        "", "x", "a\0b", "\ud800", "shop::Line", "x" * 10000, b"", b"x", (), [], {}, {1: 2}, [[]],
        object(), object, len, type, Ellipsis, NotImplemented, 1j, range(2), iter([]), slice(1),
        set(), ctypes.c_void_p(22), ctypes.c_char_p(b"x"), bytearray(b"x"), memoryview(b"x"),
        Exception("x")]


EXPECTED = (TypeError, ValueError, LookupError, OverflowError, AttributeError, velstd.Error)


def things():
    """One of everything."""
    yield velstd.IntSequence([1, 2])
    yield velstd.StringSequence(["a"])
    yield velstd.AnySequence([1, "a", None])
    yield velstd.BoolDict(a=True)
    yield velstd.AnyDict(a=1)
    yield velstd.create("shop::Line", name="tea")
    yield velstd.create("shop::Order")
    yield velstd.create("shop::Payment")
    yield velstd.create("shop::Order").lines
    yield velstd.type("shop::Line")
    yield velstd.type("shop::Color")
    yield velstd.type("shop::Line").attributes[0]
    yield velstd.EnumValue("shop::Color", 1)


def use(function, *arguments):
    try:
        result = function(*arguments)
        if inspect.isgenerator(result):
            list(itertools.islice(result, 10))
    except EXPECTED:
        pass


METHODS = sorted({
    name for thing in things() for name in dir(type(thing))
    if callable(getattr(type(thing), name, None))
    and name not in ("__class__", "__init_subclass__", "__subclasshook__", "__new__",
                     "__class_getitem__", "__getattribute__")
    and not name.startswith("_abc") and (name.startswith("__") or not name.startswith("_"))})


@pytest.mark.parametrize("method", METHODS)
def test_junk_for_every_method(method):
    for thing in things():
        for value in junk():
            use(lambda v: getattr(thing, method)(v), value)
    chance = random.Random(method)
    for thing in things():
        for _ in range(12):
            pair = chance.choice(junk()), chance.choice(junk())
            use(lambda a, b: getattr(thing, method)(a, b), *pair)


@pytest.mark.parametrize("function", [
    velstd.create, velstd.type, velstd.compare, velstd.format_value, velstd.from_python,
    velstd.to_python, velstd.error_class, velstd.EnumValue, velstd.IntSequence, velstd.AnySequence,
    velstd.StringDict, velstd.AnyDict, velstd.Error, velstd.Sequence, velstd.Object],
    ids=lambda f: f.__name__)
def test_junk_for_every_function(function):
    for value in [*junk(), *things()]:
        use(function, value)
        for other in junk()[::3]:
            use(function, value, other)


def test_an_object_that_was_never_made_is_told():
    for cls in (velstd.Object, velstd.IntSequence, velstd.AnyDict, velstd.Type, velstd.EnumValue):
        hollow = object.__new__(cls)
        for question in (repr, str, len, list, hash, dir, lambda x: x.name, lambda x: x == x,
                         lambda x: x[0], lambda x: velstd.AnySequence([x]), velstd.to_python):
            use(question, hollow)


def test_the_address_is_not_set_from_outside():
    for thing in things():
        if isinstance(thing, velstd.Object):
            with pytest.raises(AttributeError):
                thing._address = 22


def test_attributes_of_other_objects_take_all_their_own_and_no_more():
    for value in [*junk(), *things()]:
        for name in ("number", "lines", "tags", "stock", "extra", "next"):
            order = velstd.create("shop::Order")
            use(setattr, order, name, value)
            order.attributes(), str(order)
            order["extra"] = order["next"] = None  # nothing stays in circles
