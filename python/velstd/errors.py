"""The exception types of the library as classes, by their bare names.

`velstd.errors.XTypeMismatch` is the class of "vellib::XTypeMismatch"; it is made
when it is first asked for or met. `velstd.error_class` finds those of other
namespaces. `OutOfMemory` (a MemoryError) and `SizeLimitExceeded` (an OverflowError)
are kinds of `XNativeException`.
"""
from __future__ import annotations

from typing import List, Type as Class

from ._errors import _BY_TEXT, Error, _made_by_text, error_class
from ._types import types

__all__ = ["Error"]


def __getattr__(name: str) -> Class[Error]:
    if not name.startswith("_"):
        if any(name == bare for bare, _ in _BY_TEXT.values()):
            return _made_by_text(name)
        try:
            return error_class(f"vellib::{name}")
        except (LookupError, TypeError):
            pass
    raise AttributeError(f"module {__name__!r} has no attribute {name!r}")


def __dir__() -> List[str]:
    found = [bare for bare, _ in _BY_TEXT.values()]
    for one in types():
        space, _, bare = one.name.rpartition("::")
        if space == "vellib" and one.is_a("vellib::Throwable"):
            found.append(bare)
    return sorted([*__all__, *found])
