"""Objects: what holds a reference, and what all objects can do."""
from __future__ import annotations

import copy as copying
import sys
import warnings
import weakref
from ctypes import byref
from typing import Any, Dict, Iterable, List, Optional, TextIO, Type as Class, TypeVar, Union

from . import _c, _types, _values
from ._c import XAny, lib
from ._types import Type, as_type, find_type, refuse_pickle
from ._values import HeldVariant, Value, encode_text, take_text, take_variant

_Self = TypeVar("_Self", bound="Object")


class Object:
    """An object of the library. `velstd.create(name)` makes one by the name of its
    type; reading values gives others.

    It holds one reference, which it gives back when Python forgets it, at the
    latest at the end of the interpreter. Two of them may be about one object: then
    they are equal (collections compare their content instead) and `is_same`.

    Attributes are read and written with a dot, or, whatever they are called, in
    brackets: `line.price`, `line["price"]`. An unknown one raises AttributeError
    with a dot, KeyError in brackets; a value of the wrong kind raises TypeError. An
    attribute of type real takes an int, an enumeration its names, a standard
    collection a list or a dict, which is copied.
    """

    __slots__ = ("_address", "__weakref__")
    _address: int

    def __new__(cls, *_args: Any, **_named: Any) -> Any:
        raise TypeError(
            f"{cls.__name__} is not made by calling it; velstd.create(name) makes objects"
        )

    # ---- identity ----

    @property
    def type(self) -> Type:
        """The type of the object."""
        return _types.type_at(_c.call(lib.xgetrtti_c, self._address))

    @property
    def type_name(self) -> str:
        """The name of its type."""
        return take_text(lib.xgettypename_c, self._address) or ""

    def is_a(self, type: Union[str, Type], /) -> bool:
        """Whether the object's type is `type` (or has that name) or derives from it.

        Raises LookupError for a name that is not registered."""
        wanted = as_type(type, "type")
        return bool(_c.call(lib.xisobjkindof_c, self._address, wanted._address) == 1)

    def is_same(self, other: object, /) -> bool:
        """Whether `other` is about the very same object."""
        return isinstance(other, Object) and other._address == self._address

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, Object):
            return NotImplemented
        return self._address == other._address

    def __hash__(self) -> int:
        return hash(self._address)

    # ---- attributes ----

    def attributes(self) -> Dict[str, Value]:
        """The values of all attributes by their names: of a union, its
        discriminator and the branch in use. Empty for objects without any."""
        return {name: self[name] for name in self._attribute_names()}

    def _attribute_names(self) -> List[str]:
        type_ = self.type
        if type_.kind == "union":
            discriminator = type_.discriminator
            assert discriminator is not None
            branch = self._branch(discriminator)
            return [discriminator.name] + ([branch.name] if branch else [])
        return list(type_._by_name())

    def _branch(self, discriminator: _types.Attribute) -> Optional[_types.Attribute]:
        """The branch that a union uses."""
        label = take_variant(lib.xrttiattrgetvalue_c, discriminator._address, self._address)
        branches = self.type.branches
        number = int(label) if isinstance(label, (int, _types.EnumValue)) else None
        return branches.get(number, branches.get(None))

    def __getitem__(self, name: Any) -> Any:
        if self.type.kind == "union":
            attribute = self.type._by_name().get(name)
            if attribute is None:
                raise KeyError(name)
            return take_variant(lib.xrttiattrgetvalue_c, attribute._address, self._address)
        return take_variant(lib.xobjgetattr_c, self._address, encode_text(name, "name"))

    # Attributes have names only.
    __iter__: Any = None

    def __setitem__(self, name: Any, value: Any) -> None:
        attribute = encode_text(name, "name")
        known = self.type._by_name().get(name)
        with HeldVariant(value, name, known.type if known else None) as record:
            done = lib.xobjsetattr_c(self._address, attribute, byref(record))
            _c.check()
        if not done:
            warnings.warn(
                f"{self.type_name}: attribute {name} is deprecated and was not set",
                DeprecationWarning,
                stacklevel=2,
            )

    def __getattr__(self, name: str) -> Any:
        # Only what the class does not have itself comes here.
        if name == "_address":
            raise AttributeError("the object has never been made")
        # Not by our own properties: one that fails like this comes here, too.
        known = _types.type_at(_c.call(lib.xgetrtti_c, self._address))._by_name()
        if name.startswith("__") or name not in known:
            raise AttributeError(f"{_told(self)} has no attribute {name!r}")
        return self[name]

    def __setattr__(self, name: str, value: Any) -> None:
        if hasattr(type(self), name):
            raise AttributeError(
                f"{name!r} belongs to the Python class; the attribute of that name is "
                f"object[{name!r}]"
            )
        _set_named(self, name, value)

    def __delattr__(self, name: str) -> None:
        raise AttributeError(f"attribute {name!r} cannot be deleted: the type has it")

    def __dir__(self) -> Iterable[str]:
        return sorted({*super().__dir__(), *self.type._by_name()})

    # ---- text, copies ----

    def __str__(self) -> str:
        return format_value(self)

    def __repr__(self) -> str:
        return f"<velstd.Object {self.type_name} at {self._address:#x}>"

    def __copy__(self: _Self) -> _Self:
        return self._copied(lambda value: value)

    def __deepcopy__(self: _Self, memo: Dict[int, Any]) -> _Self:
        return self._copied(lambda value: copying.deepcopy(value, memo), memo)

    def _copied(self: _Self, convert: Any, memo: Optional[Dict[int, Any]] = None) -> _Self:
        # Two wrappers of one object have one copy: it is remembered by address.
        key = -self._address
        if memo is not None and key in memo:
            return memo[key]  # type: ignore[no-any-return]
        made = self._new_like()
        if memo is not None:
            memo[key] = made
        self._fill(made, convert)
        return made

    def _new_like(self: _Self) -> _Self:
        """An empty object of the same type. Raises TypeError if none can be made."""
        if self.type.kind not in ("struct", "union"):
            raise TypeError(f"objects of type {self.type_name} cannot be copied")
        return create(self.type_name)  # type: ignore[return-value]

    def _fill(self, made: Any, convert: Any) -> None:
        """Gives a new object the content of this one."""
        for name in self._attribute_names():
            made[name] = convert(self[name])

    __reduce_ex__ = refuse_pickle


def _told(held: Object) -> str:
    return f"{type(held).__name__} {held.type_name!r}"


def _set_named(held: Object, name: str, value: Any) -> None:
    """Sets an attribute; one that nobody knows is an AttributeError."""
    try:
        held[name] = value
    except KeyError as error:
        if getattr(error, "Key", None) != name:
            raise
        raise AttributeError(f"{_told(held)} has no attribute {name!r}") from None


def bind(cls: Class[_Self], address: int) -> _Self:
    """A wrapper of that class for an object, with the reference that comes along."""
    made = object.__new__(cls)
    object.__setattr__(made, "_address", address)
    weakref.finalize(made, _c.drop, address)
    return made


#: The wrapper class of the types that have one of their own, by their names.
classes: Dict[str, Class[Object]] = {}


def adopt(address: int) -> Union[Object, Type]:
    """The object at an address, with the reference that comes along; inside the guard.

    Descriptors live for ever and come as types. Other objects that are not counted
    are refused: nobody could say how long they live."""
    if not lib.xisrcobj_c(address):
        _c.check()
        if lib.xrttigetkind_c(address) >= 0 and not lib.xisexc_c():
            return _types.type_at(address)
        lib.xcleanupexc_c()
        name = take_text(lib.xgettypename_c, address)
        raise TypeError(f"Python cannot hold an object of type {name}, which is not counted")
    try:
        name = take_text(lib.xgettypename_c, address)
    except BaseException:
        _c.release(address)
        raise
    return bind(classes.get(name or "", Object), address)


def canonical(address: int) -> int:
    """Where the object begins that `address` is part of, with the reference that
    comes along."""
    record = lib.xanyobj_c(address)
    lib.xrcrelease_c(address)
    return int(record.u.o)


def _encode_object(value: Any, name: str) -> Optional[XAny]:
    """A variant of what is no plain value; None if it is one after all."""
    if isinstance(value, Object):
        return _values.made(lib.xanyobj_c(value._address))
    if isinstance(value, _types.EnumValue):
        return _values.made(lib.xanyenum_c(value._value, value._type._address))
    if isinstance(value, Type):
        return _values.made(lib.xanyobj_c(value._address))
    if isinstance(value, (list, tuple, dict)):
        return _encode_object(collection_of(value, name), name)
    return None


def collection_of(value: Any, name: str) -> Object:
    """A collection with the content of a list or dict. The module of the
    collections puts the real one here."""
    raise NotImplementedError


_values.wrap_object = adopt
_values.encode_object = _encode_object


def create(type_name: str, /, **attributes: Any) -> Object:
    """A new object of the type registered under `type_name`, with attributes set as
    `object.name = value` sets them.

    Raises LookupError for an unknown type, TypeError for one whose objects cannot be
    made by name and for a value of the wrong kind, AttributeError for an unknown
    attribute."""
    wanted = find_type(type_name)
    if wanted.kind in _KINDS_OF_CLASSES and not wanted.is_counted:
        raise TypeError(f"objects of type {type_name} are not counted; Python cannot hold them")
    with _c.guard:
        address = lib.xobjcreate_c(encode_text(type_name, "type_name"))
        _c.check()
        if not address:
            raise TypeError(f"objects of type {type_name} cannot be made by name")
        made = adopt(canonical(address))
    assert isinstance(made, Object)
    for name, value in attributes.items():
        _set_named(made, name, value)
    return made


_KINDS_OF_CLASSES = ("object", "struct", "union", "array", "sequence", "dictionary")


def format_value(value: Any, indent: Optional[int] = None) -> str:
    """The text that the library prints a value as: in one line, or with each level
    indented by `indent` blanks.

    A list or dict is converted first. Bytes that are no UTF-8 come out as escapes
    like \\xff. Raises TypeError for what is no value, ValueError for a negative
    `indent`."""
    step = -1
    if indent is not None:
        step = _values.encode_int(indent, "indent")
        if step < 0:
            raise ValueError("indent must not be negative")
    with HeldVariant(value) as record:
        text = take_text(lib.xprintstr_c, byref(record), step, errors="backslashreplace")
    return "" if text is None else text


def print_value(value: Any, indent: Optional[int] = None, file: Optional[TextIO] = None) -> None:
    """Prints `format_value(value, indent)` and a line end to `file`, by default
    sys.stdout."""
    print(format_value(value, indent), file=sys.stdout if file is None else file)


def compare(first: Object, second: Object, /) -> bool:
    """Whether `second` has the content of `first`, as the library compares: through
    all levels, and by type. What `second` has beyond the entries of a dictionary in
    `first` does not count, nor does what was never given in `first`. Values of
    enumerations have no content to compare: an object with one differs from all.

    Raises TypeError for what is no object."""
    for name, given in (("first", first), ("second", second)):
        if not isinstance(given, Object):
            raise TypeError(f"{name} must be a velstd.Object, not {type(given).__name__}")
    with HeldVariant(first, "first") as one, HeldVariant(second, "second") as other:
        answer = lib.xcompare_c(byref(one), byref(other))
        _c.check()
    return bool(answer == 1)
