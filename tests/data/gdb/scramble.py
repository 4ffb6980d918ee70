"""Shows copies of the values of values.cpp in which some words are wrong; run by gdb at look().

Each copy stands in memory that the program has to spare; what is shown is a text, never an error of
the printers. Says at the end how many were shown as corrupt.
"""
import random
import struct

import gdb

chance = random.Random(7)
process = gdb.selected_inferior()
v = gdb.parse_and_eval("v")
spare = int(v["broken"].address)
place = spare + 512
# Addresses of things that are there, to be mistaken for others.
known = [int(v[name].address) for name in ("narrow", "ints", "object", "anyDict", "point", "raw")]
known += [int.from_bytes(bytes(process.read_memory(at, 8)), "little") for at in list(known)]
words = [0, 1, 2, 7, 22, 0xFFFFFFFF, 1 << 31, 1 << 63, (1 << 64) - 1, (1 << 64) - 8, 0x7FFFFFFFFFF8]


def word():
    return chance.choice(chance.choice((words, known)) + [chance.getrandbits(64)])


def scrambled(data):
    """A copy with one to three words changed."""
    data = bytearray(data)
    for _ in range(chance.randint(1, 3)):
        struct.pack_into("<Q", data, chance.randrange(len(data) // 8) * 8, word())
    return bytes(data)


count = corrupt = 0


def show(value):
    global count, corrupt
    text = value.format_string(max_elements=20)
    count += 1
    corrupt += "<corrupt: " in text
    if not text:
        raise gdb.GdbError("nothing shown")


# The values themselves.
for name in ("narrow", "wide", "text", "enumerator", "object", "nested", "ints", "point", "held",
             "view", "anyView", "raw", "type"):
    kind = v[name].type
    original = bytes(process.read_memory(int(v[name].address), kind.sizeof))
    for _ in range(40):
        process.write_memory(spare, scrambled(original))
        show(gdb.Value(spare).cast(kind.pointer()).dereference())

# What they lead to, by way of a pointer at the spare place.
for name, size in (("narrow", 48), ("wide", 48), ("ints", 96), ("anys", 96), ("intDict", 144),
                   ("anyDict", 144), ("point", 160), ("tank", 80)):
    kind = v[name].type
    original = bytes(process.read_memory(int(v[name].address), kind.sizeof))
    target = int.from_bytes(original[:8], "little")
    behind = bytes(process.read_memory(target, size))
    for _ in range(40):
        process.write_memory(place, scrambled(behind))
        process.write_memory(spare, struct.pack("<Q", place) + original[8:])
        show(gdb.Value(spare).cast(kind.pointer()).dereference())

print(f"{count} scrambled, {corrupt} corrupt")
