"""The C interface as Python sees it: the shared library, its functions with
their types, and the rules for calling them.

`lib` holds every function of velstd_c.h under its own name. Two rules make a
call safe, and `guard` keeps both:

* The library has one record for what went wrong, for the whole process, and a
  call and the question whether it failed are two calls. ctypes gives up the
  interpreter's lock in each of them, so the guard is a lock of its own. It may
  be entered again by the thread that is inside: by a callback, a signal handler,
  the collector. What is pending at that time is put aside and put back.
* A wrapper may die anywhere, also while another thread is inside and waits for
  this one. `drop` never waits: it gives the reference back at once if it can, else
  whoever is inside does when he leaves.
"""
from __future__ import annotations

import collections
import ctypes
import ctypes.util
import os
import threading
import types
from ctypes import POINTER, Structure, Union, c_char_p, c_double, c_int, c_ubyte, c_void_p
from typing import Any, Callable, Deque, Dict, List, NoReturn, Optional, Tuple

# ---- records ---------------------------------------------------------------------

(KIND_UNINIT, KIND_NIL, KIND_INT, KIND_BOOL,
 KIND_REAL, KIND_STRING, KIND_ENUM, KIND_OBJECT) = range(8)

#: What plain values say nil and uninitialised with.
NIL_INT, UNINIT_INT = -2147483648, -2147483647
NIL_BOOL, UNINIT_BOOL = 128, 129
NIL_REAL, UNINIT_REAL = 1e126, 9e125
#: The address of an object that was never given.
UNINIT_ADDRESS = 22


class XString(Structure):
    """__xstring_c: a string record."""

    _fields_ = [("buffer", c_void_p), ("narrow", c_void_p), ("wide", c_void_p)]


class EnumPayload(Structure):
    """The number and the enumeration in a variant."""

    _fields_ = [("value", c_int), ("rtti", c_void_p)]


class Payload(Union):
    """What a variant of each kind holds."""

    _fields_ = [
        ("i", c_int),
        ("b", c_ubyte),
        ("d", c_double),
        ("s", XString),
        ("e", EnumPayload),
        ("o", c_void_p),
    ]


class XAny(Structure):
    """__xany_c: a variant record."""

    _fields_ = [("kind", c_int), ("u", Payload)]


#: int visit(xrtti *type, void *data)
VISITOR = ctypes.CFUNCTYPE(c_int, c_void_p, c_void_p)

# ---- functions -------------------------------------------------------------------

Signature = Tuple[Any, ...]

#: Result, then arguments.
SIGNATURES: Dict[str, Signature] = {
    "xisrcobj_c": (c_ubyte, c_void_p),
    "xrcattach_c": (None, c_void_p),
    "xrcrelease_c": (None, c_void_p),
    "xdelete_c": (None, c_void_p),
    "xgetrtti_c": (c_void_p, c_void_p),
    "xgettypename_c": (XString, c_void_p),
    "xisobjsameas_c": (c_ubyte, c_void_p, c_void_p),
    "xisobjkindof_c": (c_ubyte, c_void_p, c_void_p),
    "xstrcreate_c": (None, POINTER(XString), c_char_p),
    # Addresses, not texts: the null string has one that must not be looked at.
    "xstrgetmb_c": (c_void_p, POINTER(XString)),
    "xstrgetwc_c": (c_void_p, POINTER(XString)),
    "xstrlock_c": (None, POINTER(XString)),
    "xstrunlock_c": (None, POINTER(XString)),
    "xanyuninit_c": (XAny,),
    "xanynil_c": (XAny,),
    "xanyint_c": (XAny, c_int),
    "xanybool_c": (XAny, c_ubyte),
    "xanyreal_c": (XAny, c_double),
    "xanystr_c": (XAny, c_char_p),
    "xanyxstr_c": (XAny, XString),
    "xanyenum_c": (XAny, c_int, c_void_p),
    "xanyobj_c": (XAny, c_void_p),
    "xanytoint_c": (c_int, POINTER(XAny)),
    "xanytobool_c": (c_ubyte, POINTER(XAny)),
    "xanytoreal_c": (c_double, POINTER(XAny)),
    "xanytostr_c": (XString, POINTER(XAny)),
    "xanytoobj_c": (c_void_p, POINTER(XAny)),
    "xanygetkind_c": (c_int, POINTER(XAny)),
    "xanycopy_c": (XAny, POINTER(XAny)),
    "xanyunlock_c": (None, POINTER(XAny)),
    "xsetexc_c": (None, c_void_p),
    "xgetexc_c": (c_void_p,),
    "xisexc_c": (c_ubyte,),
    "xextractexc_c": (c_void_p,),
    "xcleanupexc_c": (None,),
    "xprint_c": (None, c_void_p),
    "xprintstr_c": (XString, POINTER(XAny), c_int),
    "xcompare_c": (c_ubyte, POINTER(XAny), POINTER(XAny)),
    "xrttifind_c": (c_void_p, c_char_p),
    "xrttiforeach_c": (None, VISITOR, c_void_p),
    "xrttigetname_c": (XString, c_void_p),
    "xrttigetkind_c": (c_int, c_void_p),
    "xrttiisrefcount_c": (c_ubyte, c_void_p),
    "xrttigetnparents_c": (c_int, c_void_p),
    "xrttigetparent_c": (c_void_p, c_void_p, c_int),
    "xrttigetnattrs_c": (c_int, c_void_p),
    "xrttigetattr_c": (c_void_p, c_void_p, c_int),
    "xrttifindattr_c": (c_void_p, c_void_p, c_char_p, c_ubyte),
    "xrttigetnvalues_c": (c_int, c_void_p),
    "xrttimapinttostr_c": (XString, c_void_p, c_int),
    "xrttimapstrtoint_c": (c_int, c_void_p, c_char_p),
    "xrttigetelemtype_c": (c_void_p, c_void_p),
    "xrttigetndimentions_c": (c_int, c_void_p),
    "xrttigetdimention_c": (c_int, c_void_p, c_int),
    "xrttigetdiscr_c": (c_void_p, c_void_p),
    "xrttigetnlabels_c": (c_int, c_void_p),
    "xrttigetlabel_c": (c_int, c_void_p, c_int),
    "xrttigetbranch_c": (c_void_p, c_void_p, c_int),
    "xrttigetdefaultbranch_c": (c_void_p, c_void_p),
    "xrttiattrgetname_c": (XString, c_void_p),
    "xrttiattrgettype_c": (c_void_p, c_void_p),
    "xrttiattrisoptional_c": (c_ubyte, c_void_p),
    "xrttiattrgetvalue_c": (XAny, c_void_p, c_void_p),
    "xobjcreate_c": (c_void_p, c_char_p),
    "xobjgetattr_c": (XAny, c_void_p, c_char_p),
    "xobjsetattr_c": (c_ubyte, c_void_p, c_char_p, POINTER(XAny)),
}


def _collection_signatures() -> None:
    elements: Dict[str, Any] = {
        "bool": c_ubyte, "int": c_int, "real": c_double, "string": XString, "any": XAny,
    }
    for name, element in elements.items():
        cell: Any = POINTER(element)
        sequence: Dict[str, Signature] = {
            "create": (c_void_p,),
            "getarraysize": (c_int, c_void_p),
            "get": (element, c_void_p, c_int),
            "set": (None, c_void_p, c_int, element),
            "insert": (None, c_void_p, c_int, element),
            "insertseq": (None, c_void_p, c_int, c_void_p),
            "removerange": (None, c_void_p, c_int, c_int),
            "getclassrtti_c": (c_void_p,),
        }
        dictionary: Dict[str, Signature] = {
            "create": (c_void_p,),
            "getmapsize": (c_int, c_void_p),
            "count_c": (c_int, c_void_p),
            "find": (c_ubyte, c_void_p, c_char_p, cell),
            "set": (None, c_void_p, c_char_p, element),
            "remove": (None, c_void_p, c_char_p),
            "getbyindex": (c_ubyte, c_void_p, c_int, cell),
            "getkeybyindex": (c_ubyte, c_void_p, c_int, POINTER(XString)),
            "setbyindex": (None, c_void_p, c_int, element),
            "removebyindex": (None, c_void_p, c_int),
            "getclassrtti_c": (c_void_p,),
        }
        for kind, functions in (("sequence", sequence), ("dictionary", dictionary)):
            for function, signature in functions.items():
                SIGNATURES[f"x{name}{kind}_{function}"] = signature


_collection_signatures()

# ---- the shared library ----------------------------------------------------------

#: Name of the environment variable with the file of the library.
VARIABLE = "VELSTD_LIBRARY"
SONAME = "libvelstd.so.0.1"


def _open() -> ctypes.CDLL:
    """The shared library: the file that the environment names and no other, or
    what the system finds under its versioned name, or under its bare one."""
    named = os.environ.get(VARIABLE)
    if named:
        try:
            return ctypes.CDLL(named)
        except OSError as error:
            raise ImportError(
                f"velstd: the library that {VARIABLE} names cannot be loaded: {error}"
            ) from None
    tried: List[str] = []
    try:
        return ctypes.CDLL(SONAME)
    except OSError as error:
        tried.append(str(error))
    found = ctypes.util.find_library("velstd")
    if found and found != SONAME:
        try:
            return ctypes.CDLL(found)
        except OSError as error:
            tried.append(str(error))
    raise ImportError(
        f"velstd: no {SONAME} is found ({'; '.join(tried)}). Install the library, or put its file "
        f"into the environment variable {VARIABLE}"
    )


def _declare(library: ctypes.CDLL) -> types.SimpleNamespace:
    """Every function of SIGNATURES, with its types."""
    functions: Dict[str, Callable[..., Any]] = {}
    for name, (result, *arguments) in SIGNATURES.items():
        try:
            function = getattr(library, name)
        except AttributeError:
            raise ImportError(
                f"velstd: {library._name} has no function {name}: it is another library, or of "
                "another version than this package"
            ) from None
        function.restype = result
        function.argtypes = arguments
        functions[name] = function
    return types.SimpleNamespace(**functions)


library = _open()
lib: Any = _declare(library)

# ---- calling ---------------------------------------------------------------------


class _Guard:
    """The lock around calls; see the head of this module."""

    def __init__(self) -> None:
        self._lock = threading.RLock()
        self._saved: List[Optional[int]] = []

    def __enter__(self) -> None:
        self._lock.acquire()
        try:
            self._saved.append(lib.xextractexc_c() if lib.xisexc_c() else None)
        except BaseException:  # a signal handler that raises
            self._lock.release()
            raise

    def __exit__(self, *_: object) -> None:
        try:
            saved = self._saved.pop()
            if saved is not None:
                lib.xsetexc_c(saved)
                lib.xrcrelease_c(saved)
        finally:
            self._lock.release()
        if _dropped:
            _sweep()

    def enter_at_once(self) -> bool:
        """Enters if no other thread is inside."""
        if not self._lock.acquire(blocking=False):
            return False
        self.__enter__()
        self._lock.release()  # once inside is enough
        return True

    def before_fork(self) -> None:
        """No other thread is inside when the process is doubled."""
        self._lock.acquire()

    def after_fork(self) -> None:
        self._lock.release()


guard = _Guard()
os.register_at_fork(
    before=guard.before_fork, after_in_parent=guard.after_fork, after_in_child=guard.after_fork
)

_dropped: Deque[int] = collections.deque()


def drop(address: int) -> None:
    """Gives one reference back, now or as soon as no other thread is inside."""
    _dropped.append(address)
    _sweep()


def _sweep() -> None:
    # Whoever is inside sweeps when he leaves, after the lock is free: nothing
    # that is put here meanwhile is forgotten.
    while _dropped and guard.enter_at_once():
        try:
            while _dropped:
                release(_dropped.popleft())
        finally:
            guard.__exit__()


def release(address: int) -> None:
    """Gives one reference back, inside the guard."""
    lib.xrcrelease_c(address)
    # Destructors must not throw; what one leaves pending is of no call of ours.
    if lib.xisexc_c():
        lib.xcleanupexc_c()


def _raise_pending_unknown() -> NoReturn:
    raise RuntimeError("velstd: a call failed while the package was being imported")


#: Raises what is pending, which must be something; the module of the exceptions
#: puts the real one here.
raise_pending: Callable[[], NoReturn] = _raise_pending_unknown


def check() -> None:
    """Raises the pending exception, if there is one. Inside the guard."""
    if lib.xisexc_c():
        raise_pending()


def call(function: Callable[..., Any], *arguments: Any) -> Any:
    """The result of a function that hands out nothing to give back."""
    with guard:
        result = function(*arguments)
        check()
        return result
