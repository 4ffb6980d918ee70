"""Shows the values of velstd in gdb: strings, variants, handles, collections, objects, exceptions.

Everything is read from memory, and nothing of the program is run, so that core files are shown as
live processes are. No debug information of the library is needed: the layouts of its own classes
are known here, and the class of an object is what its virtual table says. What cannot be right is
shown as <corrupt: ...>, with the reason.

gdb loads this file by itself where it is installed with the library; elsewhere, source it.
Beside the printers there are
  *handle, handle->member     for xrchandle and xrcunihandle, without calling the program
  $velat(collection, which)   the element of that number, the value of that key
  $velobject(object)          the object of a handle, a pointer or a variant, as its own class
"""
import re

import gdb
import gdb.printing
import gdb.xmethod

# Deepest nesting of base classes, and most of them, that are believed.
MAX_DEPTH = 64
MAX_BASES = 1000
# So many collections inside of others are shown at once, whatever they share.
MAX_NESTED = 1000
# Bytes of a text that are looked at together, and of a name that are shown.
CHUNK = 256
MAX_NAME = 4096
WORD = 8
UNINIT = 22
MAX_SLOTS = 1 << 30
MAX_TEXT = 0x7FFFFFFE


class Corrupt(Exception):
    """What is in memory cannot be what it should be."""


class NoTable(Corrupt):
    """There is no virtual table, or none with descriptions of types."""

    def __init__(self):
        super().__init__("no virtual table")


# ---- memory ----------------------------------------------------------------------------------


def byte_order():
    one = gdb.Value(b"\1\0\0\0", gdb.lookup_type("unsigned int"))
    return "little" if int(one) == 1 else "big"


def read(address, count):
    if address + count > 1 << 64:
        raise Corrupt("address out of range")
    return bytes(gdb.selected_inferior().read_memory(address, count))


def number(address, size=WORD, signed=False):
    return int.from_bytes(read(address, size), byte_order(), signed=signed)


def check_readable(address, count, what):
    """Looks at both ends of a block."""
    try:
        read(address, 1)
        read(address + count - 1, 1)
    except (gdb.MemoryError, Corrupt):
        raise Corrupt(f"{what} at {address:#x} cannot be read") from None


def text_length(address, unit, limit):
    """Units of a text before its zero; at least `limit` if it is longer. Reads no page beyond."""
    zero = bytes(unit)
    length = 0
    while length < limit:
        at = address + length * unit
        count = min(CHUNK - at % CHUNK, CHUNK)
        block = read(at, count - count % unit or unit)
        for place in range(0, len(block), unit):
            if block[place : place + unit] == zero:
                return length + place // unit
        length += len(block) // unit
    return length


def narrow_text(address, limit=MAX_NAME):
    return read(address, text_length(address, 1, limit)).decode("utf-8", "backslashreplace")


def pointer_of(value):
    return int(value) & (1 << 64) - 1


# ---- types of the debugger --------------------------------------------------------------------


def find_type(name):
    """The complete type of that name, or None."""
    try:
        found = gdb.lookup_type(name).strip_typedefs()
    except gdb.error:
        return None
    return found if is_complete(found) else None


def is_complete(kind):
    if kind.code in (gdb.TYPE_CODE_STRUCT, gdb.TYPE_CODE_UNION):
        return kind.sizeof > 1 or bool(kind.fields())
    return True


def value_at(address, kind):
    return gdb.Value(address).cast(kind.pointer()).dereference()


def wide_type():
    """The wide character of the program, which may have 16 bits."""
    for holder, path in (("xstring", ("view", "wide")), ("__xstring_c", ("wide",))):
        kind = find_type(holder)
        if kind:
            for name in path:
                kind = kind[name].type.strip_typedefs()
            return kind.target().unqualified()
    try:
        return gdb.lookup_type("wchar_t")
    except gdb.error:
        return gdb.lookup_type("int")


# ---- objects ----------------------------------------------------------------------------------

demangled = {}


def raw_type_name(info):
    name = narrow_text(number(info + WORD))
    name = name[1:] if name.startswith("*") else name
    if not re.fullmatch(r"[!-~]+", name):
        raise NoTable()
    return name


def type_name(info):
    """The name of the class that the type_info at that address is about."""
    raw = raw_type_name(info)
    if raw not in demangled:
        answer = gdb.execute(f"demangle -l c++ -- _ZTS{raw}", to_string=True).strip()
        match = re.fullmatch(r"typeinfo name for (.*)", answer)
        if not match:
            raise NoTable()
        demangled[raw] = match[1]
    return demangled[raw]


def virtual_table(address):
    table = number(address)
    if table % WORD or not table:
        raise NoTable()
    return table


class Object:
    """An object as its virtual table tells it: its class, where it begins, where its bases lie."""

    def __init__(self, address):
        try:
            table = virtual_table(address)
            to_top = number(table - 2 * WORD, signed=True)
            if not -(1 << 31) < to_top <= 0:
                raise NoTable()
            info = number(table - WORD)
            self.address = address + to_top
            self.parts = {}
            self.walk(self.address, info, 0)
            self.name = type_name(info)
            if "xobject" not in self.parts:
                raise Corrupt(f"{self.name} is no xobject")
            self.count = number(self.parts["xobject"] + WORD, 4, True)
            if self.count < -1:
                raise Corrupt(f"{self.count} references")
        except (gdb.MemoryError, NoTable):
            raise Corrupt(f"no object at {address:#x}") from None
        except Corrupt as reason:
            raise Corrupt(f"no object at {address:#x}: {reason}") from None

    def walk(self, address, info, depth):
        """Notes where the classes lie, the most derived first; see the C++ ABI for type_info."""
        if depth > MAX_DEPTH or len(self.parts) > MAX_BASES:
            raise NoTable()
        name = type_name(info)
        if name in self.parts:
            return
        self.parts[name] = address
        kind = raw_type_name(number(virtual_table(info) - WORD))
        if kind.endswith("20__si_class_type_infoE"):
            self.walk(address, number(info + 2 * WORD), depth + 1)
        elif kind.endswith("21__vmi_class_type_infoE"):
            count = number(info + 2 * WORD + 4, 4)
            if count > MAX_BASES:
                raise NoTable()
            for base in range(info + 3 * WORD, info + (3 + 2 * count) * WORD, 2 * WORD):
                flags = number(base + WORD, signed=True)
                offset = flags >> 8
                if flags & 1:
                    offset = number(virtual_table(address) + offset, signed=True)
                self.walk(address + offset, number(base), depth + 1)
        elif not kind.endswith("17__class_type_infoE"):
            raise NoTable()

    def argument(self, template):
        """T, if one of the bases is `template`<T>."""
        for name in self.parts:
            match = re.fullmatch(template + r"<(.*?) *>", name)
            if match:
                return match[1]
        return None

    def references(self):
        return "not counted" if self.count == -1 else f"references: {self.count}"

    def value(self):
        """The object as its own class, if the debugger knows that; else None."""
        kind = find_type(self.name)
        return value_at(self.address, kind) if kind else None


def spelled(name):
    """The name of a class as its users write it."""
    name = re.sub(r"\bvel(Sequence|Dictionary|Array)Class<xrchandle<([^<>]*)>", r"vel\1Of<\2", name)
    name = re.sub(r"\bvel(Sequence|Dictionary|Array)Class<", r"vel\1Of<", name)
    return name.replace(" >", ">")


# ---- strings ----------------------------------------------------------------------------------


class Text:
    """A string by its three fields. The length of the form that the buffer was made with, which
    lies behind the buffer, is known to it: such a text may hold zeros."""

    HEADER = 6 * WORD  # of a buffer: table, count, narrow, wide, room, length

    def __init__(self, buffer, narrow, wide, wide_kind=None):
        self.is_null = buffer == 0
        if self.is_null:
            return
        try:
            table = virtual_table(buffer)
            if raw_type_name(number(table - WORD)) != "9korStrBuf":
                raise Corrupt("no string buffer")
        except (gdb.MemoryError, Corrupt):
            raise Corrupt(f"no string buffer at {buffer:#x}") from None
        count = number(buffer + WORD, signed=True)
        if count < 1:
            raise Corrupt(f"string buffer at {buffer:#x} has {count} references")
        forms = [number(buffer + 2 * WORD), number(buffer + 3 * WORD)]
        for text, form in zip((narrow, wide), forms):
            if text not in (0, form):
                raise Corrupt(f"text at {text:#x} of string buffer at {buffer:#x}")
        narrow, wide = forms
        own = buffer + self.HEADER
        # What is not the form of the buffer's birth is a conversion, perhaps with losses.
        self.is_wide = wide == own or not narrow
        self.address = wide if self.is_wide else narrow
        if self.address < 2:
            raise Corrupt(f"string buffer at {buffer:#x} has no text")
        self.kind = (wide_kind or wide_type()) if self.is_wide else gdb.lookup_type("char")
        unit = self.kind.sizeof
        self.length = 0
        if self.address == own:
            room = number(buffer + 4 * WORD)
            self.length = number(buffer + 5 * WORD)
            if self.length > MAX_TEXT or (self.length + 1) * unit > room:
                raise Corrupt(f"string buffer at {buffer:#x} has {self.length} characters")
        if self.length == 0:
            limit = gdb.parameter("print elements") or MAX_TEXT
            check_readable(self.address, unit, "text")
            self.length = text_length(self.address, unit, limit + 1)
        check_readable(self.address, (self.length + 1) * unit, "text")

    def lazy(self):
        """For the debugger, which puts quotes and stops where it is told to."""
        text = value_at(self.address, self.kind).address
        if self.kind.sizeof == 2:  # not what it takes wide characters for
            return text.lazy_string(self.wide_encoding(), self.length)
        return text.lazy_string(length=self.length)

    def wide_encoding(self):
        return f"UTF-{8 * self.kind.sizeof}{'LE' if byte_order() == 'little' else 'BE'}"

    def plain(self):
        if self.is_null:
            return ""
        if self.is_wide:
            data = read(self.address, min(self.length, MAX_NAME) * self.kind.sizeof)
            return data.decode(self.wide_encoding(), "backslashreplace")
        return narrow_text(self.address)

    def node(self):
        return Node("null") if self.is_null else Node(self.lazy(), hint="string")


def text_at(address):
    return Text(*(number(address + i * WORD) for i in range(3)))


def text_of_view(view):
    """A string by its C view, in whatever place the debugger has it."""
    return Text(*(pointer_of(view[name]) for name in ("buffer", "narrow", "wide")),
                wide_kind=view["wide"].type.strip_typedefs().target().unqualified())


# ---- what is shown ----------------------------------------------------------------------------


class Node:
    """Something to show: a text, and perhaps parts, in the order of a walk."""

    def __init__(self, text, parts=None, hint=None):
        self.text = text
        self.parts = parts  # a generator function
        self.hint = hint


class Trail:
    """How a collection inside another was reached, so that what holds itself comes to an end."""

    # By the address of the element that is shown at the moment.
    elements = {}

    def __init__(self, above, budget):
        self.above = above
        self.budget = budget  # of all that are shown together: a list of one number

    @classmethod
    def to(cls, address):
        return cls.elements.get(address) or cls((), [MAX_NESTED])

    def may_open(self, address):
        self.budget[0] -= 1
        return self.budget[0] >= 0

    def into(self, address):
        return Trail(self.above + (address,), self.budget)


class Element:
    """The elements of a collection: their size, and how each is shown."""

    SIZES = {"xstring": 3 * WORD, "xany": 4 * WORD}
    # A C program knows the views, which have the same layout.
    VIEWS = {"xstring": "__xstring_c", "xany": "__xany_c"}

    def __init__(self, name):
        self.name = name
        self.kind = find_type(name) or find_type(self.VIEWS.get(name, name))
        if self.kind:
            self.size = self.kind.sizeof
        elif name in self.SIZES:
            self.size = self.SIZES[name]
        elif name.startswith("xrcunihandle<"):
            self.size = 2 * WORD
        elif name.startswith("xrchandle<") or name.endswith("*"):
            self.size = WORD
        else:
            raise Corrupt(f"elements of unknown type {name}")

    def show(self, address):
        """A value of the debugger, or text."""
        if self.name == "unsigned char":
            byte = number(address, 1)
            truth_type = find_type("bool")  # which C does not know
            return gdb.Value(byte).cast(truth_type) if byte < 2 and truth_type else truth(byte)
        if self.kind:
            return value_at(address, self.kind)
        if self.name == "xstring":
            node = text_at(address).node()
        elif self.name == "xany":
            node = any_node(*any_words_at(address), Trail.to(address))
        else:
            node = held_node(number(address), Trail.to(address))
        return node.text


def truth(byte):
    return {0: "false", 1: "true", 0x80: "nil", 0x81: "uninit"}.get(byte, f"bool({byte})")


def guarded(steps, failed):
    """What a generator yields; where it fails, `failed(reason)` ends it."""
    try:
        yield from steps
    except Exception as reason:
        yield from failed(complaint(reason))


def complaint(reason):
    text = str(reason)
    if "optimized out" in text:
        return "<optimized out>"
    return f"<corrupt: {text[:1].lower() + text[1:]}>"


class Sequence:
    def __init__(self, thing, element):
        base = thing.parts["xbasesequence"]
        self.name = spelled(thing.name)
        self.thing = thing
        self.storage = number(base + WORD)
        used = number(base + 2 * WORD, 4)
        capacity = number(base + 2 * WORD + 4, 4)
        self.element = Element(element)
        self.length, rest = divmod(used, self.element.size)
        if rest or used > capacity or (used and not self.storage):
            raise Corrupt(f"{self.name} of {used} bytes in {capacity}")
        if used:
            check_readable(self.storage, used, f"the elements of {self.name}")

    def summary(self):
        return f"{self.name} of length {self.length} ({self.thing.references()})"

    def place(self, which):
        index = int(which)
        if not 0 <= index < self.length:
            raise gdb.GdbError(f"No element {index}: {self.summary()}.")
        return self.storage + index * self.element.size

    def parts(self, trail):
        inner = trail.into(self.thing.address)
        for index in range(self.length):
            at = self.storage + index * self.element.size
            yield from element_at(f"[{index}]", at, self.element, inner)


class Dictionary:
    def __init__(self, thing, element):
        base = thing.parts["xbasedictionary"]
        self.name = spelled(thing.name)
        self.thing = thing
        self.table = number(base + WORD)
        self.slots = number(base + 2 * WORD, 4)
        self.count = number(base + 2 * WORD + 4, 4)
        self.element = Element(element)
        self.slot_size = WORD + (self.element.size + WORD - 1) // WORD * WORD
        has_table = self.table != 0
        if not self.count <= self.slots <= MAX_SLOTS or has_table != (self.slots > 0):
            raise Corrupt(f"{self.name} of {self.count} entries in {self.slots} slots")
        if self.slots:
            check_readable(self.table, self.slots * self.slot_size, f"the slots of {self.name}")

    def summary(self):
        entries = "1 entry" if self.count == 1 else f"{self.count} entries"
        return f"{self.name} of {entries} ({self.thing.references()})"

    def live(self):
        """The address of each key in use and of its value, in the order of the slots."""
        order = byte_order()
        found = 0
        for first in range(0, self.slots, CHUNK):
            count = min(CHUNK, self.slots - first)
            begin = self.table + first * self.slot_size
            block = read(begin, count * self.slot_size)
            for place in range(0, len(block), self.slot_size):
                key = int.from_bytes(block[place : place + WORD], order)
                if key > 1:
                    found += 1
                    yield key, begin + place + WORD
                    if found == self.count:
                        return
        if found != self.count:
            raise Corrupt(f"{found} entries found")

    def place(self, which):
        wanted = which.string() if isinstance(which, gdb.Value) else str(which)
        for key, at in self.live():
            if narrow_text(key, MAX_TEXT) == wanted:
                return at
        raise gdb.GdbError(f'No key "{wanted}": {self.summary()}.')

    def parts(self, trail):
        inner = trail.into(self.thing.address)
        # Two parts for each entry; labels are told apart by who asks for one after the other.
        for number_of_entry, (key, at) in enumerate(self.live()):
            label = f"[{2 * number_of_entry}]"
            try:
                check_readable(key, 1, "key")
                yield label, value_at(key, gdb.lookup_type("char")).address.lazy_string()
            except Corrupt as reason:
                yield label, complaint(reason)
            yield from element_at(f"[{2 * number_of_entry + 1}]", at, self.element, inner)


def element_at(label, address, element, trail):
    Trail.elements[address] = trail
    try:
        try:
            shown = element.show(address)
        except Exception as reason:
            shown = complaint(reason)
        yield label, shown
    finally:
        Trail.elements.pop(address, None)


def collection_of(thing):
    element = thing.argument("xtbsequence")
    if element:
        return Sequence(thing, element)
    element = thing.argument("xtbdictionary")
    if element:
        return Dictionary(thing, element)
    return None


# The attributes of the library's own classes, in the order of their fields.
ATTRIBUTES = {
    "velXException": "Description:xstring",
    "velXTypeMismatch": "VelObject:xany TypeName:xstring",
    "velXInvalidArrayIndex": "VelObject:xany Index:int Dimension:int",
    "velXInvalidSeqIndex": "VelObject:xany Index:int",
    "velXInvalidDictIndex": "VelObject:xany Index:int",
    "velXInvalidDictKey": "VelObject:xany Key:xstring",
    "velXNegativeIndex": "Index:int",
    "velXRefCountable": "VelObject:xany",
    "velXNativeException": "StringRep:xstring",
    "velXFunc": "Name:xstring Args:xrchandle<velXArgs>",
    "velXExternFunc": "Func:xrchandle<velXFunc>",
    "velXSerialization": "Source:xrchandle<velXException>",
    "velXSoapFault": "FaultCode:xstring FaultString:xstring FaultDetail:xany",
    "velXSoapHttpTransport": "Reason:xstring Status:int",
    "xportXCannotConnect": "Host:xstring Port:int",
    "xportXMsgStringTooLong": "Msg:xstring",
    "xportXNullInNonOptArg": "ParamName:xstring",
    "xportXTimeout": "OpName:xstring",
}


def attribute_parts(thing, trail):
    """The attributes that the library's classes give an object, those of a base first. Each of
    these classes has one base that is not virtual, at its beginning, and its own fields behind."""
    inner = trail.into(thing.address)
    at = WORD
    begin = None
    for name in reversed(thing.parts):
        if name in ATTRIBUTES and thing.parts[name] != begin:
            begin = thing.parts[name]
            at = WORD
        for attribute in ATTRIBUTES.get(name, "").split():
            label, kind = attribute.split(":")
            element = Element(kind)
            alignment = min(element.size, WORD)
            at = (at + alignment - 1) // alignment * alignment
            yield from element_at(label, thing.parts[name] + at, element, inner)
            at += element.size


def object_node(address, trail, pointer=None):
    """The object at an address. `pointer` is what a handle on it shows of any other object than
    those whose parts are known here."""
    thing = Object(address)
    collection = collection_of(thing)
    if collection:
        if thing.address in trail.above:
            return Node(f"{collection.summary()} <holds itself>")
        if not trail.may_open(thing.address):
            return Node(collection.summary())
        hint = "array" if isinstance(collection, Sequence) else "map"
        return Node(collection.summary(), lambda: collection.parts(trail), hint)
    for part in ("xrtti", "xrttiattr"):
        if part in thing.parts:
            name = text_at(thing.parts[part] + WORD)
            return Node(f"{thing.name} {name.plain() or '(no name)'}")
    text = f"{spelled(thing.name)} ({thing.references()})"
    if any(name in ATTRIBUTES for name in thing.parts):
        return Node(text, lambda: attribute_parts(thing, trail))
    if pointer is None:
        return Node(text)
    return Node(text, lambda: iter([("get()", pointer_to(thing, pointer))]))


def pointer_to(thing, pointer):
    """As a pointer to the object's own class, if the debugger knows that."""
    value = thing.value()
    return value.address if value is not None else pointer


def held_node(address, trail, pointer=None):
    if address == 0:
        return Node("null")
    if address == UNINIT:
        return Node("uninit")
    return object_node(address, trail, pointer)


# ---- variants ---------------------------------------------------------------------------------


def any_words_at(address):
    return number(address, 4, True), [number(address + (1 + i) * WORD) for i in range(3)]


def enumerator(value, rtti):
    """The value of an enumeration by its descriptor."""
    if rtti == 0:
        return f"enum({value})"
    thing = Object(rtti)
    if "xrttienum" not in thing.parts:
        raise Corrupt(f"{thing.name} is no descriptor of an enumeration")
    name = text_at(thing.parts["xrtti"] + WORD).plain() or "enum"
    own = thing.parts["xrttienum"]
    if 0 <= value < number(own + WORD, 4, True):
        text = number(number(own + 2 * WORD) + value * WORD)
        if text > 1:
            return f"{name}::{narrow_text(text)}"
    return f"{name}({value})"


def any_node(kind, words, trail, wide_kind=None, pointer=None):
    order = byte_order()
    first = words[0].to_bytes(WORD, order)
    if kind == 0:
        return Node("uninit")
    if kind == 1:
        return Node("nil")
    if kind == 2:
        return Node(str(int.from_bytes(first[:4], order, signed=True)))
    if kind == 3:
        return Node(truth(first[0]))
    if kind == 4:
        return Node(str(float(gdb.Value(first, gdb.lookup_type("double")))))
    if kind == 5:
        text = Text(*words, wide_kind=wide_kind)
        return Node("null string") if text.is_null else text.node()
    if kind == 6:
        return Node(enumerator(int.from_bytes(first[:4], order, signed=True), words[1]))
    if kind == 7:
        return held_node(words[0], trail, pointer) if words[0] else Node("nil")
    raise Corrupt(f"kind {kind}")


# ---- printers ---------------------------------------------------------------------------------


class Printer:
    """A node without parts for gdb."""

    def __init__(self, node):
        self.node = node

    def to_string(self):
        return self.node.text

    def display_hint(self):
        return self.node.hint


class PrinterOfParts(Printer):
    """A node with parts."""

    def children(self):
        if self.node.hint == "map":
            return guarded(self.node.parts(), lambda text: [("key", "?"), ("value", text)])
        return guarded(self.node.parts(), lambda text: [("?", text)])


def string_node(value):
    return text_of_view(value["view"]).node()


def view_node(value):
    return text_of_view(value).node()


def any_fields(value):
    """The text and the object of a variant or its C view, of which one is there at most."""
    if value.type.strip_typedefs().name == "__xany_c":
        return value["u"]["s"], value["u"]["o"]
    return value["payload"]["string"], value["payload"]["object"]["pointer"]


def any_value_node(value):
    address = value.address
    trail = Trail.to(int(address) if address is not None else None)
    text, pointer = any_fields(value)
    words = [pointer_of(text[name]) for name in ("buffer", "narrow", "wide")]
    wide_kind = text["wide"].type.strip_typedefs().target().unqualified()
    return any_node(int(value["kind"]), words, trail, wide_kind, pointer)


def handle_pointer(handle):
    """Clang describes the base of a handle, which has the pointer, only to the library."""
    try:
        return handle["ptr"]
    except gdb.error:
        if handle.address is None:
            raise
    try:
        target = handle.type.strip_typedefs().template_argument(0)
    except gdb.error:
        target = gdb.lookup_type("void")
    return gdb.Value(number(int(handle.address))).cast(target.pointer())


def handle_node(value):
    address = value.address
    trail = Trail.to(int(address) if address is not None else None)
    pointer = handle_pointer(value)
    return held_node(pointer_of(pointer), trail, pointer)


def pointer_node(value):
    address = pointer_of(value)
    if address == 0:
        return Node("0x0")
    if address == UNINIT:
        return Node("uninit")
    place = value.address
    try:
        node = object_node(address, Trail.to(int(place) if place is not None else None))
    except (Corrupt, gdb.error) as reason:
        return Node(f"{address:#x} {complaint(reason)}")
    return Node(f"{address:#x} {node.text}", node.parts, node.hint)


# Bases that say nothing to who looks at an object.
SILENT_BASES = re.compile(r"xobject$|velSelfOf<")


def own_parts(value, seen):
    """The members of an object, those of its bases first; each virtual base once."""
    for field in value.type.strip_typedefs().fields():
        if not hasattr(field, "bitpos") and not field.is_base_class:
            continue  # static
        if field.artificial:
            continue
        if not field.is_base_class:
            yield field.name, value[field]
            continue
        name = field.type.strip_typedefs().name or ""
        if SILENT_BASES.match(name) or name in seen:
            continue
        seen.add(name)
        if is_complete(field.type.strip_typedefs()) and not LIBRARY.match(name):
            try:
                base = value[field]
            except gdb.error as reason:
                yield name, complaint(reason)
            else:
                yield from own_parts(base, seen)


def struct_node(value):
    """An object of the program's own class, as a value of its static type."""
    name = spelled(value.type.strip_typedefs().name or "")
    if value.address is None:
        return Node(name, lambda: own_parts(value, set()))
    if LIBRARY.match(name):
        return object_node(int(value.address), Trail.to(None))
    try:
        thing = Object(int(value.address))
    except (Corrupt, gdb.error) as reason:
        return Node(f"{name} {complaint(reason)}", lambda: own_parts(value, set()))
    if collection_of(thing):
        return object_node(thing.address, Trail.to(None))
    whole = spelled(thing.name)
    text = f"{name} ({thing.references()})" if name == whole else \
        f"{name} of {whole} ({thing.references()})"

    def parts():
        yield from attribute_parts(thing, Trail.to(None))
        yield from own_parts(value, set())

    return Node(text, parts)


# The classes of the library, which a program often knows by name only.
LIBRARY = re.compile(
    r"(?:xobject|xthrowable|xrtti(?:basic|enum|object|struct|union|array|sequence|dictionary|attr"
    r"|attrseq)?|x(?:bool|int|real|string|any)(?:sequence|dictionary)|vel(?:X\w+)|xportX\w+"
    r"|velExecutable|velS11nContextSensitive)$")


def is_object(kind, depth=0):
    """Whether a class derives from xobject, or from one of the library that does."""
    name = kind.name or ""
    if LIBRARY.match(name):
        return True
    return depth < MAX_DEPTH and any(
        field.is_base_class and is_object(field.type.strip_typedefs(), depth + 1)
        for field in kind.fields())


BY_NAME = {
    "xstring": string_node,
    "__xstring_c": view_node,
    "xany": any_value_node,
    "__xany_c": any_value_node,
}
HANDLE = re.compile(r"xrc(?:base|uni)?handle<")


def maker_of(kind):
    """What makes a node of values of that type, or None."""
    if kind.code == gdb.TYPE_CODE_PTR:
        target = kind.target().strip_typedefs()
        is_class = target.code == gdb.TYPE_CODE_STRUCT and LIBRARY.match(target.name or "")
        return pointer_node if is_class else None
    if kind.code != gdb.TYPE_CODE_STRUCT or not kind.name:
        return None
    if kind.name in BY_NAME:
        return BY_NAME[kind.name]
    if HANDLE.match(kind.name):
        return handle_node
    return struct_node if is_object(kind) else None


class Printers(gdb.printing.PrettyPrinter):
    def __init__(self):
        super().__init__("velstd")

    def __call__(self, value):
        if value.type.code in (gdb.TYPE_CODE_REF, gdb.TYPE_CODE_RVALUE_REF):
            value = value.referenced_value()
        make = maker_of(value.type.strip_typedefs().unqualified())
        if make is None:
            return None
        # Whatever is in memory, a printer ends in a text, never in a traceback.
        try:
            node = make(value)
        except Exception as reason:
            node = Node(complaint(reason))
        return PrinterOfParts(node) if node.parts else Printer(node)


# ---- *handle and handle->member -----------------------------------------------------------------


class Access(gdb.xmethod.XMethodWorker):
    def __init__(self, name):
        self.name = name

    def get_arg_types(self):
        return None

    def __call__(self, handle):
        if handle.type.strip_typedefs().code == gdb.TYPE_CODE_PTR:
            handle = handle.dereference()
        pointer = handle_pointer(handle)
        if self.name == "operator->" or not is_complete(pointer.type.target().strip_typedefs()):
            return pointer
        return pointer.dereference()


class Accesses(gdb.xmethod.XMethodMatcher):
    def __init__(self):
        super().__init__("velstd")
        self.methods = [gdb.xmethod.XMethod("operator*"), gdb.xmethod.XMethod("operator->")]

    def match(self, kind, name):
        if not HANDLE.match(kind.name or ""):
            return None
        return next((Access(name) for method in self.methods
                     if method.enabled and method.name == name), None)


# ---- functions ----------------------------------------------------------------------------------


def object_of(value):
    """The object that a handle, a pointer, a variant or an object leads to, and its pointer."""
    kind = value.type.strip_typedefs()
    if kind.code in (gdb.TYPE_CODE_REF, gdb.TYPE_CODE_RVALUE_REF):
        value = value.referenced_value()
        kind = value.type.strip_typedefs()
    kind = kind.unqualified()
    if kind.code == gdb.TYPE_CODE_PTR:
        pointer = value
    elif kind.name in ("xany", "__xany_c") and int(value["kind"]) == 7:
        pointer = any_fields(value)[1]
    elif HANDLE.match(kind.name or ""):
        pointer = handle_pointer(value)
    elif kind.code == gdb.TYPE_CODE_STRUCT and is_object(kind):
        pointer = value.address
    else:
        raise gdb.GdbError(f"{kind} leads to no object.")
    address = pointer_of(pointer)
    if address in (0, UNINIT):
        raise gdb.GdbError("There is no object.")
    try:
        return Object(address), pointer
    except (Corrupt, gdb.error) as reason:
        raise gdb.GdbError(complaint(reason)) from None


class VelAt(gdb.Function):
    """$velat(collection, which): the element number `which` of a sequence, the value of key `which`
    of a dictionary. The collection may be given by a handle, a pointer or a variant."""

    def __init__(self):
        super().__init__("velat")

    def invoke(self, collection, which):
        thing, _ = object_of(collection)
        try:
            found = collection_of(thing)
            if not found:
                raise gdb.GdbError(f"{spelled(thing.name)} is no collection.")
            address = found.place(which)
            kind = found.element.kind
            if kind:
                return value_at(address, kind)
            shown = found.element.show(address)
            return shown.value() if hasattr(shown, "value") else shown
        except (Corrupt, gdb.MemoryError) as reason:
            raise gdb.GdbError(complaint(reason)) from None


class VelObject(gdb.Function):
    """$velobject(object): the object of a handle, a pointer or a variant, as its own class; a
    pointer to it where the debugger does not know that class."""

    def __init__(self):
        super().__init__("velobject")

    def invoke(self, value):
        thing, pointer = object_of(value)
        known = thing.value()
        return pointer if known is None else known


def register(objfile):
    gdb.printing.register_pretty_printer(objfile, Printers(), replace=True)
    gdb.xmethod.register_xmethod_matcher(objfile, Accesses(), replace=True)
    VelAt()
    VelObject()


register(gdb.current_objfile())
