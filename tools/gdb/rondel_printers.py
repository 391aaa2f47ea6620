# SPDX-License-Identifier: MIT
"""Shows Rondel's values in gdb as what they hold.

    (gdb) source tools/gdb/rondel_printers.py
    (gdb) print name
    $1 = "main.c"
    (gdb) print arguments
    $2 = HxArray of 2 = {"-c", "main.c"}

Strings of every built-in kind, numbers, arrays, dictionaries and sets are shown; of other objects the class and the
address. Nothing is called in the program, so core files work as well. The library may be compiled without debug
information, since its objects are read as they lie in memory.
"""
import re
import struct

import gdb
import gdb.printing

FLAT_NARROW = 0x200  # HxObject::kFlatNarrow
FLAT_WIDE = 0x400
SHOWN_UNITS = 200  # as gdb's own limit for text
HANDLES = ("HxAny HxArray HxBundle HxCharacterSet HxData HxDate HxDictionary HxError HxIndexSet HxMutableArray "
           "HxMutableCharacterSet HxMutableData HxMutableDictionary HxMutableIndexSet HxMutableSet HxMutableString "
           "HxNumber HxSet HxString").split()

# Where fields lie behind an object's address, as struct reads them.
BITS = (12, "I")
FLAT_LENGTH = (16, "I")
FLAT_TEXT = 24
BUFFER = (16, "QQQ")  # narrow text, wide text, length
NUMBER_KIND = (16, "B")
NUMBER_VALUE = 24
ARRAY = (32, "QQ")  # objects, count
TABLE = (32, "QQ")  # of dictionaries and sets: entries, capacity
ENTRY_SIZE = 24
ENTRY = (0, "QQQ")  # key, hash, value


def read(address, place):
    offset, layout = place
    memory = gdb.selected_inferior().read_memory(address + offset, struct.calcsize("=" + layout)).tobytes()
    values = struct.unpack("=" + layout, memory)
    return values[0] if len(values) == 1 else values


def class_name(address):
    """The name of an object's class as its virtual table tells it; None when the symbol is not there."""
    symbol = gdb.execute("info symbol %d" % read(address, (0, "Q")), to_string=True)
    found = re.match(r"vtable for (.+?)(?: \+ \d+)? in section", symbol)
    return found.group(1) if found else None


def quoted(text, is_cut):
    escapes = {'"': '\\"', "\\": "\\\\", "\n": "\\n", "\r": "\\r", "\t": "\\t"}
    shown = "".join(escapes.get(c) or (c if c.isprintable() else "\\u%04x" % ord(c)) for c in text)
    return '"%s"%s' % (shown, "..." if is_cut else "")


def text_at(address, length, width):
    shown = min(length, SHOWN_UNITS)
    if shown == 0:
        return '""'
    memory = gdb.selected_inferior().read_memory(address, shown * width).tobytes()
    text = memory.decode("latin-1" if width == 1 else "utf-16-le", "surrogatepass" if width == 2 else "strict")
    return quoted(text, shown < length)


def flat_text(address, bits):
    return text_at(address + FLAT_TEXT, read(address, FLAT_LENGTH), 1 if bits & FLAT_NARROW else 2)


def buffer_text(address):
    narrow, wide, length = read(address, BUFFER)
    return text_at(wide or narrow, length, 2 if wide else 1)


def number_text(address):
    kind = read(address, NUMBER_KIND)
    value = read(address, (NUMBER_VALUE, "?qQd"[kind]))
    return str(value).lower() if kind == 0 else str(value)


class TextPrinter:
    """An object that is shown as one text."""

    def __init__(self, text):
        self._text = text

    def to_string(self):
        return self._text


class CollectionPrinter:
    """An object that is shown with what it holds."""

    def __init__(self, name, children, hint):
        count = len(children) // 2 if hint == "map" else len(children)
        self._text = "%s of %d" % (name, count)
        self._children = [("[%d]" % i, child) for i, child in enumerate(children)]
        self._hint = hint

    def to_string(self):
        return self._text

    def children(self):
        return iter(self._children)

    def display_hint(self):
        return self._hint


def array_children(address):
    objects, count = read(address, ARRAY)
    handle = gdb.Value(objects).cast(gdb.lookup_type("rondel::HxAny").pointer())
    return [handle[i] for i in range(count)]


def entries(address):
    """The keys and values of a dictionary or set, a pair each."""
    places, capacity = read(address, TABLE)
    handle = gdb.lookup_type("rondel::HxAny").pointer()
    for place in range(places, places + capacity * ENTRY_SIZE, ENTRY_SIZE):
        if read(place, ENTRY)[1] != 0:
            yield gdb.Value(place).cast(handle).dereference(), gdb.Value(place + 16).cast(handle).dereference()


def object_printer(address):
    if address == 0:
        return TextPrinter("nil")
    bits = read(address, BITS)
    if bits & (FLAT_NARROW | FLAT_WIDE):
        return TextPrinter(flat_text(address, bits))
    name = class_name(address)
    kind = name.split("::")[-1] if name else None
    if kind == "BufferString":
        return TextPrinter(buffer_text(address))
    if kind == "NumberObject":
        return TextPrinter(number_text(address))
    if kind == "ArrayStorage":
        return CollectionPrinter("HxArray", array_children(address), "array")
    if kind == "SetStorage":
        return CollectionPrinter("HxSet", [key for key, _ in entries(address)], "array")
    if kind == "DictionaryStorage":
        return CollectionPrinter("HxDictionary", [part for entry in entries(address) for part in entry], "map")
    return TextPrinter("%s at %#x" % (name or "object", address))


def handle_printer(value):
    try:
        return object_printer(int(value["_object"]))
    except gdb.MemoryError:  # a handle that is not made yet
        return TextPrinter("unreadable object at %#x" % int(value["_object"]))


def reference_printer(value):
    address = int(value["_object"])
    return TextPrinter("%s at %#x" % (class_name(address) or "object", address) if address else "nil")


def build():
    printers = gdb.printing.RegexpCollectionPrettyPrinter("rondel")
    printers.add_printer("handle", "^rondel::(%s)$" % "|".join(HANDLES), handle_printer)
    printers.add_printer("Ref", "^rondel::Ref<.*>$", reference_printer)
    return printers


gdb.printing.register_pretty_printer(gdb.current_objfile(), build(), replace=True)
