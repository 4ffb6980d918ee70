"""Values on their way between Python and the library: texts, markers, variants.

A record that a function here hands out is the caller's to give back; `decode_...`
consumes the record it is given.
"""
from __future__ import annotations

import ctypes
import numbers
import operator
import sys
from ctypes import byref
from typing import TYPE_CHECKING, Any, Callable, Optional, Union

from . import _c
from ._c import XAny, XString, lib

if TYPE_CHECKING:
    from ._objects import Object
    from ._types import EnumValue, Type


class UninitType:
    """The type of `velstd.Uninit`, which is its only value."""

    __slots__ = ()
    _only: "Optional[UninitType]" = None

    def __new__(cls) -> "UninitType":
        if cls._only is None:
            cls._only = super().__new__(cls)
        return cls._only

    def __repr__(self) -> str:
        return "velstd.Uninit"

    def __bool__(self) -> bool:
        return False

    def __reduce__(self) -> str:
        return "Uninit"


#: A value that nobody has given yet, as None is one that says "no value". It is
#: false, equal to itself only, and there is one of it: test with `is`.
Uninit = UninitType()
UninitType.__module__ = "velstd"

#: What a variant may hold.
Value = Union[None, UninitType, bool, int, float, str, "EnumValue", "Object", "Type"]

# ---- texts -----------------------------------------------------------------------


def encode_text(value: Any, name: str) -> bytes:
    """UTF-8 for the library, which cannot hold a zero character."""
    if not isinstance(value, str):
        raise TypeError(f"{name} must be a str, not {type(value).__name__}")
    if "\0" in value:
        raise ValueError(f"{name} must not contain a null character")
    return value.encode()


def _wide_size() -> int:
    # Two letters with zeros between: where the second one is tells the width.
    record = XString()
    lib.xstrcreate_c(byref(record), b"ab")
    try:
        address = lib.xstrgetwc_c(byref(record))
        if not address:
            raise ImportError("velstd: there is no memory")
        return 2 if ctypes.string_at(address, 4)[2] else 4
    finally:
        lib.xstrunlock_c(byref(record))


_WIDE_UNIT = {2: ctypes.c_uint16, 4: ctypes.c_uint32}[_wide_size()]
_WIDE_CODEC = f"utf-{8 * ctypes.sizeof(_WIDE_UNIT)}-{'le' if sys.byteorder == 'little' else 'be'}"


def _wide_text(address: int) -> str:
    size = ctypes.sizeof(_WIDE_UNIT)
    length = 0
    while _WIDE_UNIT.from_address(address + length * size).value:
        length += 1
    return ctypes.string_at(address, length * size).decode(_WIDE_CODEC)


def read_text(record: XString, errors: str = "strict") -> Optional[str]:
    """The text of a record, which is left alone; None for the null string. What has
    only a wide form is read from that, so that no locale has a say."""
    if not record.buffer:
        return None
    if record.narrow:
        return ctypes.string_at(record.narrow).decode("utf-8", errors)
    return _wide_text(record.wide)


def take_text(
    function: Callable[..., XString], *arguments: Any, errors: str = "strict"
) -> Optional[str]:
    """The text that a function hands out; None for the null string."""
    with _c.guard:
        record = function(*arguments)
        try:
            _c.check()
            return read_text(record, errors)
        finally:
            lib.xstrunlock_c(byref(record))


def make_text(value: Optional[str], name: str) -> XString:
    """A string record (owned); the null string for None."""
    record = XString()
    with _c.guard:
        lib.xstrcreate_c(byref(record), None if value is None else encode_text(value, name))
        _c.check()
    return record


# ---- plain values ----------------------------------------------------------------


def check_bool(value: Any, name: str) -> bool:
    """A truth, and nothing that only has one."""
    if not isinstance(value, bool):
        raise TypeError(f"{name} must be a bool, not {type(value).__name__}")
    return value


def check_text(value: Any, name: str) -> str:
    """A text that the library can hold."""
    return encode_text(value, name).decode()


def encode_int(value: Any, name: str) -> int:
    """A number of 32 bits that is no marker."""
    try:
        number = operator.index(value)
    except TypeError:
        raise TypeError(f"{name} must be an int, not {type(value).__name__}") from None
    if not _c.UNINIT_INT < number <= 2147483647:
        what = "means nil or uninitialised" if -2147483648 <= number < 0 else "needs over 32 bits"
        raise OverflowError(f"{name}: {number} {what}")
    return number


def encode_real(value: Any, name: str) -> float:
    """A real number that is no marker."""
    if not isinstance(value, numbers.Real):
        try:
            value = operator.index(value)
        except TypeError:
            raise TypeError(f"{name} must be a float, not {type(value).__name__}") from None
    number = float(value)
    if number in (_c.NIL_REAL, _c.UNINIT_REAL):
        raise OverflowError(f"{name}: {number} means nil or uninitialised")
    return number


# ---- variants --------------------------------------------------------------------

# What the modules above this one know to make; they put themselves here.
wrap_object: "Callable[[int], Object | Type]"
make_enum: "Callable[[int, int], EnumValue]"
encode_object: "Callable[[Any, str], Optional[XAny]]"


def encode_variant(value: Any, name: str = "value") -> XAny:
    """A variant (owned) of a Python value; inside the guard."""
    if value is None:
        return made(lib.xanynil_c())
    if value is Uninit:
        return made(lib.xanyuninit_c())
    if isinstance(value, bool):
        return made(lib.xanybool_c(value))
    if isinstance(value, str):
        return made(lib.xanystr_c(encode_text(value, name)))
    if isinstance(value, float):
        return made(lib.xanyreal_c(encode_real(value, name)))
    special = encode_object(value, name)
    if special is not None:
        return special
    if hasattr(value, "__index__"):
        return made(lib.xanyint_c(encode_int(value, name)))
    if isinstance(value, numbers.Real):
        return made(lib.xanyreal_c(encode_real(value, name)))
    raise TypeError(f"{name}: no value of the library can be made of {type(value).__name__}")


def made(record: XAny) -> XAny:
    """What a maker of variants gives; inside the guard."""
    _c.check()
    return record


def decode_variant(record: XAny) -> Value:
    """The value of a variant, which is consumed; inside the guard."""
    kind = record.kind
    if kind == _c.KIND_OBJECT and record.u.o not in (None, _c.UNINIT_ADDRESS):
        return wrap_object(record.u.o)  # with the reference of the record
    try:
        if kind == _c.KIND_INT:
            return int(record.u.i)
        if kind == _c.KIND_BOOL:
            return bool(record.u.b)
        if kind == _c.KIND_REAL:
            return float(record.u.d)
        if kind == _c.KIND_STRING:
            return read_text(record.u.s)
        if kind == _c.KIND_ENUM:
            rtti = record.u.e.rtti
            return make_enum(record.u.e.value, rtti) if rtti else int(record.u.e.value)
        if kind == _c.KIND_NIL or (kind == _c.KIND_OBJECT and not record.u.o):
            return None
        return Uninit
    finally:
        lib.xanyunlock_c(byref(record))


def take_variant(function: Callable[..., XAny], *arguments: Any) -> Value:
    """The value that a function hands out."""
    with _c.guard:
        record = function(*arguments)
        if lib.xisexc_c():
            lib.xanyunlock_c(byref(record))
            _c.raise_pending()
        return decode_variant(record)


class HeldVariant:
    """A variant for the time of a `with`, inside the guard."""

    def __init__(self, value: Any, name: str = "value", wanted: "Optional[Type]" = None) -> None:
        self._value, self._name, self._wanted = value, name, wanted

    def __enter__(self) -> XAny:
        if self._wanted is not None:
            self._value = self._wanted._fitting(self._value, self._name)
        _c.guard.__enter__()
        try:
            self._record = encode_variant(self._value, self._name)
        except BaseException:
            _c.guard.__exit__()
            raise
        return self._record

    def __exit__(self, *_: object) -> None:
        lib.xanyunlock_c(byref(self._record))
        _c.guard.__exit__()
