"""Exceptions of the library as exceptions of Python."""
from __future__ import annotations

from typing import Any, Dict, List, NoReturn, Optional, Tuple, Type as Class, Union

from . import _c, _objects, _types
from ._c import lib
from ._objects import Object
from ._types import Type, as_type, refuse_pickle
from ._values import Value, take_text

_ROOT = "vellib::Throwable"
_LONGEST_TEXT = 1000


class Error(Exception):
    """An exception that the library has raised, and the root of all of them.

    Every exception type of the library is a class of its own below this one, named
    like the type and derived like it: `velstd.errors.XTypeMismatch`, or
    `velstd.error_class("shop::XSoldOut")`. Where Python has a fitting exception it
    is a base, too: IndexError, KeyError, TypeError, ValueError, MemoryError,
    OverflowError.

    str() is what the library prints the exception as, up to a thousand characters.
    The attributes of the exception are attributes here: `error.Description`.
    """

    #: The name of the library's type; None for this class.
    type_name: Optional[str] = None

    def __init__(self, *args: Any) -> None:
        super().__init__(*args)
        self._object: Optional[Object] = None

    @property
    def object(self) -> Optional[Object]:
        """The exception as an object of the library; None for an Error of Python's."""
        return self._object

    @property
    def attributes(self) -> Dict[str, Value]:
        """The values of all attributes by their names."""
        return self._object.attributes() if self._object is not None else {}

    def __getattr__(self, name: str) -> Any:
        held = self.__dict__.get("_object")
        if held is None or name.startswith("__") or name not in held.type._by_name():
            raise AttributeError(f"{type(self).__name__!r} has no attribute {name!r}")
        return held[name]

    def __dir__(self) -> List[str]:
        names = self._object.type._by_name() if self._object is not None else ()
        return sorted({*super().__dir__(), *names})

    def __str__(self) -> str:
        if self._object is None:
            return ", ".join(map(str, self.args))
        text = _objects.format_value(self._object)
        return text if len(text) <= _LONGEST_TEXT else text[: _LONGEST_TEXT - 4] + " ..."

    def __repr__(self) -> str:
        return f"{type(self).__name__}({str(self)!r})"

    __reduce_ex__ = refuse_pickle


Error.__module__ = "velstd"

_BUILTINS: Dict[str, Class[Exception]] = {
    "vellib::XInvalidSeqIndex": IndexError,
    "vellib::XInvalidDictIndex": IndexError,
    "vellib::XInvalidArrayIndex": IndexError,
    "vellib::XNegativeIndex": IndexError,
    "vellib::XInvalidDictKey": KeyError,
    "vellib::XTypeMismatch": TypeError,
    "vellib::XNull": ValueError,
    "vellib::XNotInitialized": ValueError,
}
#: What the library says in an attribute and Python by a class.
_BY_TEXT: Dict[str, Tuple[str, Class[Exception]]] = {
    "Out of memory": ("OutOfMemory", MemoryError),
    "Size limit exceeded": ("SizeLimitExceeded", OverflowError),
}

_NATIVE = "vellib::XNativeException"

_classes: Dict[str, Class[Error]] = {}
_by_text_made: Dict[str, Class[Error]] = {}


def error_class(type: Union[str, Type], /) -> Class[Error]:
    """The class of the exceptions of a type, given as itself or by its name.

    Raises LookupError for an unknown name, TypeError for a type that is none of
    exceptions."""
    wanted = as_type(type, "type")
    if not any(one.name == _ROOT for one in wanted._lineage()):
        raise TypeError(f"{wanted.name} is no type of exceptions")
    return _class_of(wanted)


def _class_of(wanted: Type) -> Class[Error]:
    # Parents come first; a type that is its own ancestor is passed by.
    for one in wanted._lineage():
        if one.name not in _classes:
            parents = [_classes[p.name] for p in one.parents if p.name in _classes]
            made = _made(one.name, parents or [Error], _BUILTINS.get(one.name))
            made = _classes.setdefault(one.name, made)
    return _classes[wanted.name]


def _made(name: str, parents: List[Class[Error]], builtin: Optional[Class[Exception]]) -> Any:
    # A parent that another parent derives from is there without being named.
    bases: List[Class[Exception]] = [
        one
        for one in parents
        if not any(two is not one and issubclass(two, one) for two in parents)
    ]
    if builtin is not None and not any(issubclass(one, builtin) for one in bases):
        bases.append(builtin)
    bare = name.rsplit("::", 1)[-1]
    contents = {
        "__module__": "velstd.errors",
        "__doc__": f"An exception of the library's type {name}.",
        "type_name": name,
    }
    try:
        return type(bare, tuple(bases), contents)
    except TypeError:  # the parents agree on no order
        return type(bare, (bases[0],), contents)


def _made_by_text(wanted: str) -> Class[Error]:
    """The class for one text of the exceptions that only their text tells apart."""
    if wanted not in _by_text_made:
        bare, builtin = next(one for one in _BY_TEXT.values() if one[0] == wanted)
        parent = error_class(_NATIVE)
        _by_text_made.setdefault(wanted, _made(bare, [parent], builtin))
        _by_text_made[wanted].type_name = _NATIVE
    return _by_text_made[wanted]


def _class_for(held: Object) -> Class[Error]:
    """The class of one exception."""
    if held.type_name == _NATIVE:
        try:
            found = _BY_TEXT.get(held["StringRep"])
        except UnicodeDecodeError:
            found = None
        if found is not None:
            return _made_by_text(found[0])
    return _class_of(held.type)


def _raise_pending() -> NoReturn:
    """Raises what is pending; inside the guard."""
    address = lib.xextractexc_c()
    if not address or address == _c.UNINIT_ADDRESS:
        raise Error("the library has raised an exception that is none")
    if not lib.xisrcobj_c(address):
        # Of an exception that cannot be held, the name remains.
        name = take_text(lib.xgettypename_c, address)
        lib.xdelete_c(address)
        raise Error(f"an exception of type {name}, which is not counted")
    held = _objects.adopt(_objects.canonical(address))
    assert isinstance(held, Object)
    raise error_of(held)


def error_of(held: Object) -> Error:
    """The Python exception for an exception object."""
    error = _class_for(held)()
    error._object = held
    return error


_c.raise_pending = _raise_pending
