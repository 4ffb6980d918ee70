"""The typed collections as Python's sequences and mappings."""
from __future__ import annotations

import operator
from collections.abc import Iterable, Iterator, Mapping, MutableMapping, MutableSequence
from ctypes import byref, c_double, c_int, c_ubyte
from typing import Any, Dict as PyDict, Generic, List, Optional, Tuple, Type as Class
from typing import TypeVar, Union, cast

from . import _c, _objects, _types, _values
from ._c import XAny, XString, lib
from ._objects import Object
from ._values import Uninit, UninitType, Value, encode_text

_T = TypeVar("_T")
_Default = TypeVar("_Default")
_SelfSequence = TypeVar("_SelfSequence", bound="Sequence[Any]")
_SelfDict = TypeVar("_SelfDict", bound="Dict[Any]")

_MAX_INDEX = 2147483647

# ---- elements --------------------------------------------------------------------


class _Element:
    """How elements of one kind cross the border. `encode` gives a raw value that
    `release` gives back; `decode` consumes one; `cell` makes a place for one."""

    cell: Any

    def encode(self, value: Any, name: str) -> Any:
        raise NotImplementedError

    def decode(self, raw: Any) -> Any:
        raise NotImplementedError

    def release(self, raw: Any) -> None:
        """Plain numbers are nobody's."""

    def content(self, cell: Any) -> Any:
        """The raw value that is in a cell."""
        return cell.value


class _Bool(_Element):
    cell = c_ubyte

    def encode(self, value: Any, name: str) -> int:
        if value is None:
            return _c.NIL_BOOL
        if value is Uninit:
            return _c.UNINIT_BOOL
        return int(_values.check_bool(value, name))

    def decode(self, raw: int) -> Union[bool, None, UninitType]:
        if raw == _c.NIL_BOOL:
            return None
        return Uninit if raw == _c.UNINIT_BOOL else bool(raw)


class _Int(_Element):
    cell = c_int

    def encode(self, value: Any, name: str) -> int:
        if value is None:
            return _c.NIL_INT
        return _c.UNINIT_INT if value is Uninit else _values.encode_int(value, name)

    def decode(self, raw: int) -> Union[int, None, UninitType]:
        if raw == _c.NIL_INT:
            return None
        return Uninit if raw == _c.UNINIT_INT else raw


class _Real(_Element):
    cell = c_double

    def encode(self, value: Any, name: str) -> float:
        if value is None:
            return _c.NIL_REAL
        return _c.UNINIT_REAL if value is Uninit else _values.encode_real(value, name)

    def decode(self, raw: float) -> Union[float, None, UninitType]:
        if raw == _c.NIL_REAL:
            return None
        return Uninit if raw == _c.UNINIT_REAL else raw


class _Text(_Element):
    cell = XString

    def encode(self, value: Any, name: str) -> XString:
        return _values.make_text(value, name)

    def decode(self, raw: XString) -> Optional[str]:
        try:
            return _values.read_text(raw)
        finally:
            self.release(raw)

    def release(self, raw: XString) -> None:
        lib.xstrunlock_c(byref(raw))

    def content(self, cell: XString) -> XString:
        return cell


class _Any(_Element):
    cell = XAny

    def encode(self, value: Any, name: str) -> XAny:
        return _values.encode_variant(value, name)

    def decode(self, raw: XAny) -> Value:
        return _values.decode_variant(raw)

    def release(self, raw: XAny) -> None:
        lib.xanyunlock_c(byref(raw))

    def content(self, cell: XAny) -> XAny:
        return cell


# ---- what both kinds share -------------------------------------------------------


class _Collection(Object):
    """A standard collection: `_element` and the functions that begin with `_prefix`."""

    __slots__ = ()
    _element: _Element
    _prefix = ""
    #: The class of the ten that this one is, or derives from.
    _standard: "Class[_Collection]"

    def __new__(cls, *_args: Any, **_named: Any) -> Any:
        if not cls._prefix:
            kind = cls.__name__
            raise TypeError(
                f"{kind} has no elements of its own; make a Bool{kind}, Int{kind}, Real{kind}, "
                f"String{kind} or Any{kind}"
            )
        with _c.guard:
            address = cls._call("create")
            # What creates a class of its own answers with that class's part.
            return _objects.bind(cls, _objects.canonical(address))

    @classmethod
    def _call(cls, function: str, *arguments: Any) -> Any:
        """The result of a function that hands out nothing; inside the guard."""
        result = getattr(lib, cls._prefix + function)(*arguments)
        if lib.xisexc_c():
            _c.raise_pending()
        return result

    def _take(self, function: str, *arguments: Any) -> Any:
        """The element that a function hands out; inside the guard."""
        raw = getattr(lib, self._prefix + function)(self._address, *arguments)
        if lib.xisexc_c():
            self._element.release(raw)
            _c.raise_pending()
        return self._element.decode(raw)

    def _give(self, function: str, at: Any, value: Any, name: str) -> None:
        """Hands a value in; inside the guard."""
        raw = self._element.encode(value, name)
        try:
            self._call(function, self._address, at, raw)
        finally:
            self._element.release(raw)

    def _new_like(self) -> Any:
        # As with lists, what is cut out of a user's class is of the class below.
        return self._standard.__new__(self._standard)

    # A class of the user's own that derives from a collection may keep what it likes.

    def __setattr__(self, name: str, value: Any) -> None:
        if name == "_address" or not hasattr(self, "__dict__"):
            raise AttributeError(f"{type(self).__name__} has no attributes to set")
        object.__setattr__(self, name, value)

    def __delattr__(self, name: str) -> None:
        if name == "_address":
            raise AttributeError(f"attribute {name!r} cannot be deleted")
        object.__delattr__(self, name)

    __hash__ = None  # type: ignore[assignment]  # content changes


#: Objects whose text is being made, by thread as the guard serialises it: one that
#: contains itself is not entered twice.
_shown: List[int] = []
_DEEPEST_SHOWN = 50


class _Showing:
    """One level of a repr; false when the text would go in circles, or too deep."""

    def __init__(self, held: Object) -> None:
        self._address = held._address

    def __enter__(self) -> bool:
        _c.guard.__enter__()
        fits = self._address not in _shown and len(_shown) < _DEEPEST_SHOWN
        _shown.append(self._address)
        return fits

    def __exit__(self, *_: object) -> None:
        _shown.pop()
        _c.guard.__exit__()


# ---- sequences -------------------------------------------------------------------


class Sequence(_Collection, MutableSequence[_T], Generic[_T]):
    """A sequence of the library with everything that a list does.

    Elements are converted on their way; None is nil, `velstd.Uninit` is never given.
    What cannot be an element raises TypeError, a number that does not fit
    OverflowError; nothing has changed then. Slices are new sequences of the same
    class. Equal to a sequence or a list with equal elements; not hashable.

    Make one of the five classes that follow, `IntSequence([1, 2])`, or ask
    isinstance() for this one.
    """

    __slots__ = ()

    def __init__(self, values: "Iterable[_T]" = (), /) -> None:
        if len(self):
            self.clear()
        self.extend(values)

    def _size(self) -> int:
        return self._call("getarraysize", self._address)  # type: ignore[no-any-return]

    def __len__(self) -> int:
        with _c.guard:
            return self._size()

    def _index(self, given: Any, size: int) -> int:
        """Where an index points to, which is from the end if below 0."""
        try:
            index = operator.index(given)
        except TypeError:
            raise TypeError(
                f"indices must be integers or slices, not {type(given).__name__}"
            ) from None
        if index < 0:
            index += size
        if not 0 <= index < size:
            raise IndexError("sequence index out of range")
        return index

    def __getitem__(self, index: Any) -> Any:
        with _c.guard:
            if not isinstance(index, slice):
                return self._take("get", self._index(index, self._size()))
            made = self._new_like()
            for i, at in enumerate(range(*index.indices(self._size()))):
                self._copy_element(at, made, i)
            return made

    def _copy_element(self, index: int, to: Any, at: int) -> None:
        """As it is, whether Python could read it or not."""
        raw = getattr(lib, self._prefix + "get")(self._address, index)
        try:
            _c.check()
            self._call("set", to._address, at, raw)
        finally:
            self._element.release(raw)

    def _of(self, values: "Iterable[Any]") -> Any:
        """A new sequence of the same class."""
        made = self._new_like()
        same = values if isinstance(values, Sequence) and values._prefix == self._prefix else None
        if same is not None:
            self._call("insertseq", made._address, 0, same._address)
            return made
        for i, value in enumerate(values):
            with _c.guard:
                self._give_to(made, "set", i, value)
        return made

    def _give_to(self, made: Any, function: str, at: int, value: Any) -> None:
        made._give(function, at, value, f"element {at}")

    def __setitem__(self, index: Any, value: Any) -> None:
        if not isinstance(index, slice):
            with _c.guard:
                self._give("set", self._index(index, self._size()), value, "value")
            return
        # All elements are converted before the first is stored; the lock is free
        # while somebody else's iterator runs.
        made = self._of(list(value) if not isinstance(value, Sequence) else value)
        with _c.guard:
            start, stop, step = index.indices(self._size())
            if step == 1:
                stop = max(start, stop)
                self._call("insertseq", self._address, stop, made._address)
                self._call("removerange", self._address, start, stop)
                return
            places = range(start, stop, step)
            if len(places) != len(made):
                raise ValueError(
                    f"attempt to assign sequence of size {len(made)} to extended slice of size "
                    f"{len(places)}"
                )
            for i, at in enumerate(places):
                made._copy_element(i, self, at)

    def __delitem__(self, index: Any) -> None:
        with _c.guard:
            if not isinstance(index, slice):
                at = self._index(index, self._size())
                self._call("removerange", self._address, at, at + 1)
                return
            places = range(*index.indices(self._size()))
            if not places:
                return
            if abs(places.step) == 1:
                first, last = min(places[0], places[-1]), max(places[0], places[-1])
                self._call("removerange", self._address, first, last + 1)
                return
            for at in sorted(places, reverse=True):
                self._call("removerange", self._address, at, at + 1)

    def insert(self, index: Any, value: _T) -> None:
        """Puts `value` before the element at `index`; past an end, at that end."""
        with _c.guard:
            size = self._size()
            at = operator.index(index)
            at = min(max(at + size if at < 0 else at, 0), size)
            self._give("insert", at, value, "value")

    def append(self, value: _T) -> None:
        """Puts `value` behind the last element."""
        with _c.guard:
            self._give("set", self._size(), value, "value")

    def extend(self, values: "Iterable[_T]") -> None:
        """Appends all values, or, if one of them cannot be an element, none."""
        if not isinstance(values, Sequence):
            values = list(values)
        with _c.guard:
            made = self._of(values)
            self._call("insertseq", self._address, self._size(), made._address)

    def clear(self) -> None:
        """Removes all elements."""
        with _c.guard:
            self._call("removerange", self._address, 0, _MAX_INDEX)

    def pop(self, index: Any = -1) -> _T:
        """Removes the element at `index` and returns it; IndexError if there is none."""
        with _c.guard:
            if not self._size():
                raise IndexError("pop from empty sequence")
            at = self._index(index, self._size())
            value: _T = self._take("get", at)
            self._call("removerange", self._address, at, at + 1)
            return value

    def reverse(self) -> None:
        """Puts the elements into the opposite order."""
        with _c.guard:
            self[:] = self[::-1]

    def sort(self, *, key: Any = None, reverse: bool = False) -> None:
        """Sorts the elements as list.sort does."""
        self[:] = sorted(self, key=key, reverse=reverse)

    def copy(self: _SelfSequence) -> _SelfSequence:
        """A new sequence of the same class with the same elements."""
        return self[:]  # type: ignore[no-any-return]

    def __iter__(self) -> "Iterator[_T]":
        at = 0
        while True:
            with _c.guard:
                if at >= self._size():
                    return
                value = self._take("get", at)
            yield value
            at += 1

    def __contains__(self, value: object) -> bool:
        return any(one == value for one in self)

    def __add__(self: _SelfSequence, other: "Iterable[Any]") -> _SelfSequence:
        if not isinstance(other, (Sequence, list)):
            return NotImplemented
        made = self.copy()
        made.extend(other)
        return made

    def __eq__(self, other: object) -> bool:
        if isinstance(other, Sequence):
            if other._address == self._address:
                return True
        elif not isinstance(other, list):
            return NotImplemented
        if len(self) != len(other):
            return False
        return all(one == two for one, two in zip(self, other))

    __hash__ = None  # type: ignore[assignment]

    def __repr__(self) -> str:
        with _Showing(self) as fits:
            inside = ", ".join(map(repr, self)) if fits else "..."
        return f"{type(self).__name__}([{inside}])"

    def _fill(self, made: Any, convert: Any) -> None:
        for value in self:
            made.append(convert(value))


# ---- dictionaries ----------------------------------------------------------------


class Dict(_Collection, MutableMapping[str, _T], Generic[_T]):
    """A dictionary of the library with everything that a dict does; keys are str.

    Values are converted as elements of a `Sequence` are. The order is the library's
    own and the same in every run. An iterator raises RuntimeError when entries were
    added or removed meanwhile. Equal to any mapping with equal entries; not hashable.

    Make one of the five classes that follow, `IntDict(a=1)`, or ask isinstance() for
    this one.
    """

    __slots__ = ()

    def __init__(self, values: Any = (), /, **named: _T) -> None:
        if len(self):
            self.clear()
        self.update(values, **named)

    def __len__(self) -> int:
        with _c.guard:
            return self._call("count_c", self._address)  # type: ignore[no-any-return]

    def _find(self, key: bytes) -> Tuple[bool, Any]:
        cell = self._element.cell()
        with _c.guard:
            if self._call("find", self._address, key, byref(cell)) != 1:
                self._element.release(self._element.content(cell))
                return False, None
            return True, self._element.decode(self._element.content(cell))

    def __getitem__(self, key: str) -> _T:
        found, value = self._find(encode_text(key, "key"))
        if not found:
            raise KeyError(key)
        return value  # type: ignore[no-any-return]

    def __setitem__(self, key: str, value: _T) -> None:
        with _c.guard:
            self._give("set", encode_text(key, "key"), value, f"value of {key!r}")

    def __delitem__(self, key: str) -> None:
        name = encode_text(key, "key")
        with _c.guard:
            if not self._has(name):
                raise KeyError(key)
            self._call("remove", self._address, name)

    def _has(self, key: bytes) -> bool:
        return self._call("find", self._address, key, None) == 1  # type: ignore[no-any-return]

    def __contains__(self, key: object) -> bool:
        # No dictionary has a key that could not be one.
        if not isinstance(key, str) or "\0" in key:
            return False
        try:
            name = key.encode()
        except UnicodeEncodeError:
            return False
        with _c.guard:
            return self._has(name)

    def __iter__(self) -> "Iterator[str]":
        with _c.guard:
            count = len(self)
            slots = self._call("getmapsize", self._address)
        for slot in range(slots):
            with _c.guard:
                if (len(self), self._call("getmapsize", self._address)) != (count, slots):
                    raise RuntimeError("dictionary changed size during iteration")
                key = XString()
                found = self._call("getkeybyindex", self._address, slot, byref(key))
                try:
                    name = _values.read_text(key) if found == 1 else None
                finally:
                    lib.xstrunlock_c(byref(key))
            if name is not None:
                yield name

    def clear(self) -> None:
        """Removes all entries."""
        with _c.guard:
            while len(self):
                # The table may become smaller on the way.
                for slot in range(self._call("getmapsize", self._address) - 1, -1, -1):
                    if slot < self._call("getmapsize", self._address):
                        self._call("removebyindex", self._address, slot)

    def copy(self: _SelfDict) -> _SelfDict:
        """A new dictionary of the same class with the same entries."""
        made = self._new_like()
        made.update(self)
        return made  # type: ignore[no-any-return]

    @classmethod
    def fromkeys(cls: Class[_SelfDict], keys: "Iterable[str]", value: Any = None) -> _SelfDict:
        """A new dictionary with one value under all those keys."""
        return cls((key, value) for key in keys)

    def __or__(self: _SelfDict, other: "Mapping[str, Any]") -> _SelfDict:
        if not isinstance(other, Mapping):
            return NotImplemented
        made = self.copy()
        made.update(other)
        return made

    def __ior__(self: _SelfDict, other: Any) -> _SelfDict:  # type: ignore[misc]
        self.update(other)
        return self

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, Mapping):
            return NotImplemented
        if isinstance(other, Dict) and other._address == self._address:
            return True
        if len(self) != len(other):
            return False
        for key, value in self.items():
            if key not in other or value != other[key]:
                return False
        return True

    __hash__ = None  # type: ignore[assignment]

    def __repr__(self) -> str:
        with _Showing(self) as fits:
            if fits:
                inside = ", ".join(f"{key!r}: {value!r}" for key, value in self.items())
            else:
                inside = "..."
        return f"{type(self).__name__}({{{inside}}})"

    def _fill(self, made: Any, convert: Any) -> None:
        for key, value in self.items():
            made[key] = convert(value)


# ---- the ten classes -------------------------------------------------------------


class BoolSequence(Sequence[Optional[bool]]):
    """A sequence of truths."""

    __slots__ = ()
    _element, _prefix = _Bool(), "xboolsequence_"


class IntSequence(Sequence[Optional[int]]):
    """A sequence of integers of 32 bits."""

    __slots__ = ()
    _element, _prefix = _Int(), "xintsequence_"


class RealSequence(Sequence[Optional[float]]):
    """A sequence of real numbers; takes ints, too."""

    __slots__ = ()
    _element, _prefix = _Real(), "xrealsequence_"


class StringSequence(Sequence[Optional[str]]):
    """A sequence of texts; None is the null string."""

    __slots__ = ()
    _element, _prefix = _Text(), "xstringsequence_"


class AnySequence(Sequence[Any]):
    """A sequence of any values. A list or dict that is put in is copied, to an
    AnySequence or an AnyDict."""

    __slots__ = ()
    _element, _prefix = _Any(), "xanysequence_"


class BoolDict(Dict[Optional[bool]]):
    """A dictionary of truths."""

    __slots__ = ()
    _element, _prefix = _Bool(), "xbooldictionary_"


class IntDict(Dict[Optional[int]]):
    """A dictionary of integers of 32 bits."""

    __slots__ = ()
    _element, _prefix = _Int(), "xintdictionary_"


class RealDict(Dict[Optional[float]]):
    """A dictionary of real numbers; takes ints, too."""

    __slots__ = ()
    _element, _prefix = _Real(), "xrealdictionary_"


class StringDict(Dict[Optional[str]]):
    """A dictionary of texts; None is the null string."""

    __slots__ = ()
    _element, _prefix = _Text(), "xstringdictionary_"


class AnyDict(Dict[Any]):
    """A dictionary of any values, converted as those of an AnySequence."""

    __slots__ = ()
    _element, _prefix = _Any(), "xanydictionary_"


def _register() -> None:
    standard: Tuple[Class[_Collection], ...] = (
        BoolSequence, IntSequence, RealSequence, StringSequence, AnySequence,
        BoolDict, IntDict, RealDict, StringDict, AnyDict,
    )
    for cls in standard:
        cls._standard = cls
        address = _c.call(getattr(lib, cls._prefix + "getclassrtti_c"))
        _objects.classes[_types.type_at(address).name] = cls


_register()

# ---- from and to Python's own ----------------------------------------------------


def from_python(value: Any, /) -> Any:
    """`value` as the library holds it: a list or tuple as an AnySequence, a dict as
    an AnyDict, through all levels, everything else as it is. A list that occurs
    twice becomes one sequence that occurs twice.

    Raises TypeError for what the library has no value for, ValueError for a list
    that contains itself, OverflowError for a number that does not fit."""
    return _converted(value, "value")


def _converted(value: Any, name: str) -> Any:
    if not isinstance(value, (list, tuple, dict)):
        with _values.HeldVariant(value, name):
            return value
    made: PyDict[int, Any] = {}
    unfinished = set()
    # Children are made before what they are in; no depth is too much.
    pending: List[Tuple[Any, bool]] = [(value, False)]
    while pending:
        one, is_ready = pending.pop()
        key = id(one)
        if is_ready:
            unfinished.discard(key)
            if isinstance(one, dict):
                made[key] = AnyDict(
                    {k: made.get(id(v), v) if _is_plain(v) else v for k, v in one.items()}
                )
            else:
                made[key] = AnySequence(
                    [made.get(id(v), v) if _is_plain(v) else v for v in one]
                )
        elif key in unfinished:
            raise ValueError(f"{name} contains itself")
        elif key not in made:
            unfinished.add(key)
            pending.append((one, True))
            inside = one.values() if isinstance(one, dict) else one
            pending.extend((v, False) for v in inside if _is_plain(v))
    return made[id(value)]


def _is_plain(value: Any) -> bool:
    return isinstance(value, (list, tuple, dict))


def _fitting_collection(wanted: _types.Type, value: Any, name: str) -> Any:
    """The standard collection of that type with the content of a list or dict."""
    cls = _objects.classes.get(wanted.name)
    if cls is None:
        if wanted.kind in ("sequence", "dictionary"):
            raise TypeError(
                f"{name}: a {wanted.name} cannot be filled from Python; only the standard "
                "collections can"
            )
        return value
    if issubclass(cls, Dict) != isinstance(value, dict):
        raise TypeError(f"{name} must be a {cls.__name__}, not {type(value).__name__}")
    return cls(value) if cls not in (AnySequence, AnyDict) else _converted(value, name)


_types.make_collection = _fitting_collection
_objects.collection_of = _converted


def to_python(value: Any, /, *, uninit: Any = Uninit) -> Any:
    """`value` in Python's own types, through all levels: sequences as lists,
    dictionaries as dicts, other objects as dicts of their attributes, values of
    enumerations as their names, and `uninit` for what was never given. An object
    that occurs twice becomes one list or dict that occurs twice, also inside itself.

    Raises TypeError for an object whose content cannot be read from Python: a
    collection with elements of a type of its own, an array."""
    made: PyDict[int, Any] = {}
    pending: List[Tuple[Object, Any]] = []

    def converted(one: Any) -> Any:
        if isinstance(one, Object):
            if one._address not in made:
                made[one._address] = result = cast(Any, []) if isinstance(one, Sequence) else {}
                # The wrapper is kept: its address is nobody else's meanwhile.
                pending.append((one, result))
                kept.append(one)
            return made[one._address]
        if isinstance(one, _types.EnumValue):
            return one.name
        if isinstance(one, _types.Type):
            return one.name
        return uninit if one is Uninit else one

    kept: List[Object] = []
    result = converted(value)
    while pending:
        held, empty = pending.pop()
        if isinstance(held, Sequence):
            empty.extend(map(converted, held))
        elif isinstance(held, Dict):
            empty.update((key, converted(one)) for key, one in held.items())
        elif held.type.kind in ("sequence", "dictionary", "array"):
            raise TypeError(f"the elements of a {held.type_name} cannot be read from Python")
        else:
            empty.update((name, converted(one)) for name, one in held.attributes().items())
    return result


