"""Registered types: what the library knows of a class at run time."""
from __future__ import annotations

from ctypes import byref
from typing import Any, Callable, Dict, Iterator, List, Mapping, NoReturn, Optional, Tuple
from typing import TypeVar, Union

from . import _c, _values
from ._c import lib
from ._values import encode_text, take_text

_Self = TypeVar("_Self")

_KINDS = ("", "basic", "enum", "object", "struct", "union", "array", "sequence", "dictionary")
#: Kinds whose types may have parents.
_CLASSES = frozenset(_KINDS[3:])


def refuse_pickle(self: object, _protocol: Any = None) -> NoReturn:
    """What refers to the library means nothing in another process."""
    raise TypeError(
        f"cannot pickle {type(self).__name__}: it lives in the library; "
        "pickle what velstd.to_python() gives"
    )


class _Fixed:
    """What never changes and cannot be made twice: its copies are itself."""

    __slots__ = ()

    def __copy__(self: _Self) -> _Self:
        return self

    def __deepcopy__(self: _Self, _memo: Any) -> _Self:
        return self

    __reduce_ex__ = refuse_pickle


class Attribute(_Fixed):
    """An attribute of a type: its name, its type, and whether it may be missing."""

    __slots__ = ("_address", "_name")
    _address: int
    _name: str

    def __init__(self) -> None:
        raise TypeError("attributes are found in types: velstd.type(name).attributes")

    @property
    def name(self) -> str:
        """The name."""
        return self._name

    @property
    def type(self) -> "Type":
        """The type of its values."""
        return _at(_c.call(lib.xrttiattrgettype_c, self._address))

    @property
    def is_optional(self) -> bool:
        """Whether it may be None."""
        return bool(_c.call(lib.xrttiattrisoptional_c, self._address) == 1)

    def __repr__(self) -> str:
        return f"<velstd.Attribute {self._name}: {self.type.name}>"


def _attribute(address: int) -> Attribute:
    made = object.__new__(Attribute)
    made._address = address
    made._name = take_text(lib.xrttiattrgetname_c, address) or ""
    return made


class Type(_Fixed):
    """A type of the library; `velstd.type(name)` and `velstd.types()` give them.

    Types live as long as the process. Two are equal when they have one name.
    """

    __slots__ = ("_address", "_name", "_kind")
    _address: int
    _name: str
    _kind: str

    def __init__(self) -> None:
        raise TypeError("types are found, not made: velstd.type(name)")

    @property
    def name(self) -> str:
        """The name that it is registered by; empty for one that has none."""
        return self._name

    @property
    def kind(self) -> str:
        """"basic", "enum", "object", "struct", "union", "array", "sequence" or
        "dictionary"."""
        return self._kind

    @property
    def is_counted(self) -> bool:
        """Whether objects of the type are counted, as Python needs them."""
        return self._kind in _CLASSES and bool(_c.call(lib.xrttiisrefcount_c, self._address) == 1)

    @property
    def parents(self) -> "Tuple[Type, ...]":
        """The types that it derives from directly."""
        if self._kind not in _CLASSES:
            return ()
        count = _c.call(lib.xrttigetnparents_c, self._address)
        return tuple(_each(lib.xrttigetparent_c, self._address, count))

    def is_a(self, other: "Union[str, Type]") -> bool:
        """Whether the type is `other` (a type or a name) or derives from it.

        Raises LookupError for a name that is not registered."""
        wanted = as_type(other, "other")
        seen = set()
        pending = [self]
        while pending:
            one = pending.pop()
            if one == wanted:
                return True
            if one not in seen:
                seen.add(one)
                pending.extend(one.parents)
        return False

    @property
    def attributes(self) -> Tuple[Attribute, ...]:
        """Structures: all attributes, those of the parents before its own. Unions:
        the discriminator, then each branch. No other type has any."""
        return tuple(self._by_name().values())

    def _by_name(self) -> Dict[str, Attribute]:
        known = _attributes.get(self._address)
        if known is None:
            known = {}
            for one in self._lineage():
                for attribute in one._own_attributes():
                    known[attribute.name] = attribute
            _attributes[self._address] = known
        return known

    def _lineage(self) -> "List[Type]":
        """Ancestors first, each once."""
        found: List[Type] = []
        seen = set()
        pending = [(self, False)]
        while pending:
            one, is_done = pending.pop()
            if is_done:
                found.append(one)
            elif one not in seen:
                seen.add(one)
                pending.append((one, True))
                pending.extend((parent, False) for parent in reversed(one.parents))
        return found

    def _own_attributes(self) -> Iterator[Attribute]:
        if self._kind == "struct":
            for i in range(_c.call(lib.xrttigetnattrs_c, self._address)):
                yield _attribute(_c.call(lib.xrttigetattr_c, self._address, i))
        elif self._kind == "union":
            yield self._discriminator()
            for i in range(_c.call(lib.xrttigetnlabels_c, self._address)):
                yield _attribute(_c.call(lib.xrttigetbranch_c, self._address, i))
            otherwise = _c.call(lib.xrttigetdefaultbranch_c, self._address)
            if otherwise:
                yield _attribute(otherwise)

    def _discriminator(self) -> Attribute:
        return _attribute(_c.call(lib.xrttigetdiscr_c, self._address))

    @property
    def discriminator(self) -> Optional[Attribute]:
        """Unions: the attribute whose value tells the branch; None for other types."""
        return self._discriminator() if self._kind == "union" else None

    @property
    def branches(self) -> Mapping[Optional[int], Attribute]:
        """Unions: the branch of each label, under None the one for all other labels.
        Empty for other types."""
        found: Dict[Optional[int], Attribute] = {}
        if self._kind == "union":
            for i in range(_c.call(lib.xrttigetnlabels_c, self._address)):
                label = _c.call(lib.xrttigetlabel_c, self._address, i)
                found[label] = _attribute(_c.call(lib.xrttigetbranch_c, self._address, i))
            otherwise = _c.call(lib.xrttigetdefaultbranch_c, self._address)
            if otherwise:
                found[None] = _attribute(otherwise)
        return found

    @property
    def values(self) -> "Tuple[EnumValue, ...]":
        """Enumerations: all values in their order; empty for other types."""
        if self._kind != "enum":
            return ()
        count = _c.call(lib.xrttigetnvalues_c, self._address)
        return tuple(EnumValue(self, number) for number in range(count))

    @property
    def element_type(self) -> "Optional[Type]":
        """Sequences, dictionaries, arrays: the type of the elements; None for others."""
        if self._kind not in ("sequence", "dictionary", "array"):
            return None
        return _at(_c.call(lib.xrttigetelemtype_c, self._address))

    @property
    def dimensions(self) -> Tuple[int, ...]:
        """Arrays: the sizes; empty for other types."""
        if self._kind != "array":
            return ()
        count = _c.call(lib.xrttigetndimentions_c, self._address)
        return tuple(_c.call(lib.xrttigetdimention_c, self._address, i) for i in range(count))

    def _fitting(self, value: Any, name: str) -> Any:
        """`value` as an attribute of this type wants it: enumerations by name or
        number, reals from ints, collections from lists and dicts."""
        if value is None or value is _values.Uninit:
            return value
        if self._kind == "enum":
            if isinstance(value, EnumValue):
                return value
            if isinstance(value, bool) or not isinstance(value, (int, str)):
                raise TypeError(f"{name} must be a {self._name}, not {type(value).__name__}")
            return EnumValue(self, value)
        if self._kind == "basic" and self._name in _BASIC:
            return _BASIC[self._name](value, name)
        if isinstance(value, (list, tuple, dict)):
            return make_collection(self, value, name)
        return value

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, Type):
            return NotImplemented
        return self._name == other._name and (self._name != "" or self is other)

    def __hash__(self) -> int:
        return hash(self._name)

    def __repr__(self) -> str:
        return f"<velstd.Type {self._name}: {self._kind}>"


#: What the values of a basic type must be; "any" takes all.
_BASIC: Dict[str, Callable[[Any, str], Any]] = {
    "bool": _values.check_bool,
    "int": _values.encode_int,
    "real": _values.encode_real,
    "string": _values.check_text,
}

#: By address: types and their attributes are for ever.
_known: Dict[int, Type] = {}
_attributes: Dict[int, Dict[str, Attribute]] = {}


def make_collection(wanted: Type, value: Any, name: str) -> Any:
    """A collection of the type `wanted` with the content of a list or dict. The
    module of the collections puts the real one here."""
    raise NotImplementedError


def _at(address: Optional[int]) -> Type:
    """The type at an address that the library has given."""
    if not address:
        raise LookupError("the library names no type here")
    known = _known.get(address)
    if known is None:
        # A descriptor has several addresses, one for each class that it is.
        with _c.guard:
            record = lib.xanyobj_c(address)
            start = int(record.u.o)
            lib.xanyunlock_c(byref(record))
        known = _known.get(start) or _known.setdefault(start, _new_type(start))
        _known[address] = known
    return known


def _new_type(address: int) -> Type:
    made = object.__new__(Type)
    made._address = address
    made._name = take_text(lib.xrttigetname_c, address) or ""
    made._kind = _KINDS[_c.call(lib.xrttigetkind_c, address)]
    return made


type_at = _at


def _each(function: Any, address: int, count: int) -> Iterator[Type]:
    for i in range(count):
        one = _c.call(function, address, i)
        if one:
            yield _at(one)


def find_type(name: str, /) -> Type:
    """The type that is registered under `name`, as in "vellib::XException".

    Raises LookupError for an unknown name, TypeError for what is no str."""
    address = _c.call(lib.xrttifind_c, encode_text(name, "name"))
    if not address:
        raise LookupError(f"no type is registered under {name!r}")
    return _at(address)


def as_type(given: Union[str, Type], name: str) -> Type:
    """A type given as itself or by its name."""
    if isinstance(given, Type):
        return given
    if isinstance(given, str):
        return find_type(given)
    raise TypeError(f"{name} must be a velstd.Type or its name, not {type(given).__name__}")


def types() -> List[Type]:
    """All registered types in the order of their names."""
    addresses: List[int] = []

    def visit(address: int, _data: Optional[int]) -> int:
        addresses.append(address)
        return 1

    _c.call(lib.xrttiforeach_c, _c.VISITOR(visit), None)
    return [_at(address) for address in addresses]


class EnumValue(_Fixed):
    """A value of an enumeration: `velstd.EnumValue("demo::Color", "red")`.

    `value` is its number or its name. Equal to the same number of the same
    enumeration, and to nothing else; hashable; int() gives the number.
    Raises ValueError for a name or a number that the enumeration has not, TypeError
    for a type that is none.
    """

    __slots__ = ("_type", "_value")
    _type: Type
    _value: int

    def __init__(self, type: Union[str, Type], value: Union[int, str], /) -> None:
        enum = as_type(type, "type")
        if enum.kind != "enum":
            raise TypeError(f"{enum.name} is no enumeration")
        if isinstance(value, str):
            number = _c.call(
                lib.xrttimapstrtoint_c, enum._address, encode_text(value, "value")
            )
        else:
            number = _values.encode_int(value, "value")
        if not 0 <= number < _c.call(lib.xrttigetnvalues_c, enum._address):
            raise ValueError(f"{enum.name} has no value {value!r}")
        self._type, self._value = enum, number

    @property
    def type(self) -> Type:
        """The enumeration."""
        return self._type

    @property
    def value(self) -> int:
        """The number."""
        return self._value

    @property
    def name(self) -> Optional[str]:
        """The name; None where an object holds a number without one."""
        return take_text(lib.xrttimapinttostr_c, self._type._address, self._value)

    def __int__(self) -> int:
        return self._value

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, EnumValue):
            return NotImplemented
        return self._value == other._value and self._type == other._type

    def __hash__(self) -> int:
        return hash((self._type, self._value))

    def __str__(self) -> str:
        return self.name or str(self._value)

    def __repr__(self) -> str:
        return f"<{self._type.name}.{self.name}: {self._value}>"


def _enum_at(number: int, address: int) -> EnumValue:
    """What a variant holds, also with a number that has no name."""
    made = object.__new__(EnumValue)
    made._type, made._value = _at(address), number
    return made


_values.make_enum = _enum_at

