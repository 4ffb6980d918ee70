"""The object model of libvelstd in Python.

Typed collections are sequences and mappings, values are Python's own, objects are
made and read by name, and what the library raises are exceptions:

    >>> import velstd
    >>> velstd.IntSequence([3, 1, 2])[::-1]
    IntSequence([2, 1, 3])
    >>> velstd.create("vellib::XFunc", Name="call").Name
    'call'

The shared library is the file that the environment variable VELSTD_LIBRARY names,
else the one that the system finds; without it the import raises ImportError.

Threads may share everything here: calls are serialised. Objects do not go to other
processes: pickling raises TypeError, after a fork both processes have their own.
"""
from __future__ import annotations

import ctypes as _ctypes
import os as _os
from typing import Union as _Union

from . import _c
from ._collections import (
    AnyDict,
    AnySequence,
    BoolDict,
    BoolSequence,
    Dict,
    IntDict,
    IntSequence,
    RealDict,
    RealSequence,
    Sequence,
    StringDict,
    StringSequence,
    from_python,
    to_python,
)
from ._errors import Error, error_class
from ._objects import Object, compare, create, format_value, print_value
from ._types import Attribute, EnumValue, Type, types
from ._types import find_type as _find_type
from ._values import Uninit, UninitType
from . import errors

__version__ = "0.1.0"

# All but `type`: from velstd import * leaves Python's own alone.
__all__ = [
    "AnyDict",
    "AnySequence",
    "Attribute",
    "BoolDict",
    "BoolSequence",
    "Dict",
    "EnumValue",
    "Error",
    "IntDict",
    "IntSequence",
    "Object",
    "RealDict",
    "RealSequence",
    "Sequence",
    "StringDict",
    "StringSequence",
    "Type",
    "Uninit",
    "UninitType",
    "compare",
    "create",
    "error_class",
    "errors",
    "format_value",
    "from_python",
    "library_path",
    "load",
    "print_value",
    "to_python",
    "types",
]


type = _find_type


def load(library: "_Union[str, _os.PathLike[str]]", /) -> None:
    """Loads a shared library that registers types of its own, for the life of the
    process: types point into it.

    Raises OSError if it cannot be loaded."""
    _ctypes.CDLL(_os.fspath(library))


def library_path() -> str:
    """The file, or the name, that libvelstd was loaded by."""
    return str(_c.library._name)


for _name in (*__all__, "type"):
    # One place in texts, whichever file a name is written in.
    if getattr(globals()[_name], "__module__", "").startswith("velstd._"):
        globals()[_name].__module__ = "velstd"
type.__name__ = type.__qualname__ = "type"
del _name
