"""What every test stands on: types of a small shop, and references that balance."""
import ctypes
import gc
import os
import pathlib

import pytest

import velstd
from velstd import _c, _objects
from velstd._c import XAny, XString

ROOT = pathlib.Path(__file__).resolve().parents[2]
TYPES = os.environ["VELSTD_TEST_TYPES"]

velstd.load(TYPES)
shop = ctypes.CDLL(TYPES)
shop.velpy_count.argtypes = [ctypes.c_void_p]
shop.velpy_texts.restype = ctypes.c_void_p
shop.velpy_odd_value.restype = ctypes.c_void_p
shop.velpy_fresh.restype = ctypes.c_void_p


class Ledger:
    """Counts references that the library hands out and gets back, by looking at
    what goes through its functions."""

    def __init__(self):
        self.texts = self.objects = 0
        self.calls = set()
        self._raw = vars(_c.lib).copy()
        for name, function in self._raw.items():
            setattr(_c.lib, name, self._watched(name, function))

    def held(self):
        """References to texts and to objects, and how many objects of the shop live."""
        return self.texts, self.objects, shop.velpy_live()

    def _is_counted(self, address):
        return address and address > 22 and self._raw["xisrcobj_c"](address)

    def _add(self, record, sign):
        """What a record holds."""
        if isinstance(record, XString):
            self.texts += sign if record.buffer else 0
        elif isinstance(record, XAny):
            if record.kind == _c.KIND_STRING and record.u.s.buffer:
                self.texts += sign
            if record.kind == _c.KIND_OBJECT and self._is_counted(record.u.o):
                self.objects += sign

    def _watched(self, name, function):
        gives_object = name.endswith("_create") or name in (
            "xobjcreate_c", "xextractexc_c", "xgetexc_c", "xanytoobj_c")
        fills = name == "xstrcreate_c" or name.endswith(("_find", "byindex"))

        def call(*arguments):
            self.calls.add(name)
            if name in ("xstrunlock_c", "xanyunlock_c"):
                self._add(arguments[0]._obj, -1)
            elif name == "xstrlock_c":
                self._add(arguments[0]._obj, 1)
            elif name == "xrcattach_c":
                self.objects += 1 if self._is_counted(arguments[0]) else 0
            elif name == "xrcrelease_c":
                self.objects -= 1 if self._is_counted(arguments[0]) else 0
            result = function(*arguments)
            self._add(result, 1)
            if gives_object and self._is_counted(result):
                self.objects += 1
            if fills:
                for argument in arguments:
                    self._add(getattr(argument, "_obj", None), 1)
            return result

        return call


ledger = Ledger()


@pytest.fixture(autouse=True)
def balance():
    """Every test gives back what it got, and leaves nothing pending."""
    before = ledger.held()
    yield
    if ledger.held() != before:
        gc.collect()  # what only the collector finds, above all with an exception
    assert ledger.held() == before
    assert _c.lib.xisexc_c() == 0
    assert not _c._dropped and not _c.guard._saved


def given(address):
    """The object that a function of the shop hands out."""
    with _c.guard:
        ledger.objects += 1
        return _objects.adopt(address)


@pytest.fixture
def texts():
    """texts(): a sequence of texts that Python does not make."""
    return lambda: given(shop.velpy_texts())


@pytest.fixture
def odd():
    """odd(number): a sequence of one value that Python does not make."""
    return lambda number: given(shop.velpy_odd_value(number))


def fresh():
    """An object with an attribute that is another one each time."""
    return given(shop.velpy_fresh())


@pytest.fixture
def count():
    """count(object): how many references there are."""
    return lambda held: shop.velpy_count(held._address)


@pytest.fixture
def fail():
    """fail(left): a function of the shop that raises an exception."""

    def call(left):
        with _c.guard:
            shop.velpy_fail(left)
            _c.check()

    return call
