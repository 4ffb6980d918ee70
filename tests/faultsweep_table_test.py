#!/usr/bin/env python3
"""Compares the operations that run without memory with those that the library has.

Every public function and member that the library exports has an entry in the table of one of the
programs, and every entry names something that is exported or that a public header declares.
Usage: faultsweep_table_test.py NM LIBRARY SOURCE_DIR PROGRAM...
"""
import glob
import os
import re
import subprocess
import sys
import unittest

HEADERS = ["velbase/inc", "velstd/services", "velstd/strlibsrc", "korkit/korbase/inc"]

# What is no operation of its own, by rule, with the reason.
NO_OPERATION = [
    # Tables, type information, guards and offsets are data.
    (r"^(vtable|typeinfo|VTT|guard variable|non-virtual thunk|virtual thunk|construction) ", "data"),
    # Each trial ends with the destruction of its objects, without any memory.
    (r"::~\w+", "destructors run in every trial"),
    # Hooks are called by the core that the entry names, never by a user.
    (r"::On[A-Z]\w*$", "hooks of a core"),
    # It ends the process.
    (r"^_korAbort$|::AbortMsg\w+$", "ends the process"),
    # Its members other than GetCount end the process.
    (r"^dsDataMap<.*>::(Add|Remove|Find|dsDataMap)$", "ends the process"),
    # A hint to the processor, which changes nothing; in line but for some builds.
    (r"::FetchEntries$", "a hint"),
    # The compiler's copies of the standard library's templates.
    (r"^(std|__gnu_cxx|__cxxabiv1)::|^void std::|^typeinfo|&std::", "not the library's"),
    (r"^operator (new|delete)$", "the standard library's placement forms"),
]
# Public, but stamped by a macro, so that no header spells them in a class.
STAMPED = {"getClassRtti", "dyndowncast", "_s11n_create"}
# Named by entries although they are no public functions of a class.
NAMED = {"_s11n_create"}


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def reduced(symbol):
    """Class::member or function: no result, arguments or template arguments of a function."""
    text = re.sub(r"\[abi:\w+\]", "", symbol)
    depth = 0
    for at, char in enumerate(text):
        if char == "(" and depth == 0 and not text.startswith("operator", max(0, at - 8)):
            text = text[:at]
            break
        if char == "<" and not text[:at].endswith(("operator", "operator<")):
            depth += 1
        if char == ">" and depth:
            depth -= 1
    found = re.search(r"\boperator\W|\boperator [\w ]+[*&]*$", text)
    head = text[: found.start()] if found else text
    depth, start = 0, 0
    for at, char in enumerate(head):
        depth += {"<": 1, ">": -1}.get(char, 0)
        if char == " " and depth == 0:
            start = at + 1
    text = text[start:]
    if not found and text.endswith(">"):
        depth = 0
        for at in range(len(text) - 1, -1, -1):
            depth += {">": 1, "<": -1}.get(text[at], 0)
            if depth == 0:
                return text[:at]
    return text


def plain(name):
    """The name without template arguments."""
    if "operator" in name:
        return re.sub(r"<[^<>]*>(?=::)", "", name)
    while True:
        shorter = re.sub(r"<[^<>]*>", "", name)
        if shorter == name:
            return name
        name = shorter


def public_members():
    """What the headers declare: {class: public names}, and all names that stand in them."""
    classes, words = {}, set()
    for folder in HEADERS:
        for path in sorted(glob.glob(os.path.join(source, folder, "*.h"))):
            with open(path, encoding="utf-8") as header:
                text = header.read()
            text = re.sub(r"/\*.*?\*/|//[^\n]*", " ", text, flags=re.S)
            text = re.sub(r'"(\\.|[^"\\])*"', '""', text)
            words |= set(re.findall(r"\w+", text))
            scan(text, classes)
    return classes, words


def scan(text, classes):
    """Follows braces and access labels; macros that stand for members are words like others."""
    stack, pending, statement = [], None, ""
    for token in re.findall(r"\bclass\b|\bstruct\b|\bpublic:|\bprivate:|\bprotected:|[{};]|\boperator\b[^\w(]*(?:\(\))?[^\w(]*|\w+|.|\n", text):
        if token in ("class", "struct"):
            pending, statement = token, statement + token
        elif token in ("public:", "private:", "protected:"):
            if stack and stack[-1][0]:
                stack[-1][1] = token == "public:"
            statement = ""
        elif token == "{":
            found = re.findall(r"(?:class|struct)\s+(?:VELSTD_API\s+)?(\w+)", statement)
            if pending and found and "(" not in statement.split(found[-1])[-1]:
                outer = [frame[0] for frame in stack if frame[0]]
                name = "::".join(outer[-1:] + [found[-1]])
                visible = all(frame[1] for frame in stack if frame[0])
                stack.append([name, pending == "struct", visible])
                classes.setdefault(name, set())
            else:
                declare(stack, statement, classes)
                stack.append([None, False, False])
            pending, statement = None, ""
        elif token == "}":
            if stack:
                stack.pop()
            statement = ""
        elif token == ";":
            declare(stack, statement, classes)
            pending, statement = None, ""
        else:
            statement += token


def declare(stack, statement, classes):
    if not stack or not stack[-1][0] or not stack[-1][1] or not stack[-1][2]:
        return
    found = re.search(r"(operator\s*(?:\(\)|[^\w\s(]+|[\w\s]+[*&]*)|~?\w+)\s*\(", statement)
    if found:
        classes[stack[-1][0]].add(re.sub(r"\s+", " ", found.group(1)).strip())


def entries():
    names = set()
    for program in programs:
        for line in run(program, "--list-operations").splitlines():
            for name in line.split("|"):
                name = re.sub(r" \([^()]*\)$", "", name.split(" - ")[0].strip())
                if name:
                    names.add(name)
    return names


class Table(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.classes, cls.words = public_members()
        cls.entries = entries()
        listing = run(nm, "-D", "--defined-only", "--without-symbol-versions", "-C", library)
        cls.exported, cls.every = set(), set()
        for line in listing.splitlines():
            kind, symbol = line.split(" ", 2)[1:]
            if kind == "A":  # the version of all the others
                continue
            name = reduced(symbol)
            cls.every.add(name)
            if kind in "TWi" and not any(re.search(rule, text) for rule, _ in NO_OPERATION
                                         for text in (symbol, name)):
                cls.exported.add(name)

    def is_public(self, name):
        short = plain(name)
        if "::" not in short or short.startswith("operator"):
            return True
        owner, member = short.rsplit("::", 1)
        if owner not in self.classes:
            return False
        member = member.replace("char const*", "const char*").replace("wchar_t const*",
                                                                      "const wchar_t*")
        if member.startswith("operator ") and member not in self.classes[owner]:
            return any(word.startswith("operator") for word in self.classes[owner])
        return member in self.classes[owner] or member in STAMPED

    def test_the_headers_were_understood(self):
        self.assertIn("Substitute", self.classes["xstring"])
        self.assertNotIn("CreateFrom", self.classes["xstring"])
        self.assertIn("operator==", self.classes["xany"])
        self.assertNotIn("OnAllocate", self.classes["xtcsequence"])
        self.assertIn("append", self.classes["xtbsequence"])
        self.assertGreater(sum(len(members) for members in self.classes.values()), 300)

    def test_names_are_reduced(self):
        for symbol, name in {
            "xany::operator char const*() const": "xany::operator char const*",
            "xtbsequence<xrttiattr*>::set(int, xrttiattr*)": "xtbsequence<xrttiattr*>::set",
            "xrttiobject* velClassRtti::get<xrttistruct>(void (*)(xrttistruct*))":
                "velClassRtti::get",
            "operator<<(std::ostream&, xobject*)": "operator<<",
            "xrchandle<xintsequence>::operator=(xintsequence*)":
                "xrchandle<xintsequence>::operator=",
            "xintsequence_get": "xintsequence_get",
        }.items():
            self.assertEqual(reduced(symbol), name)

    def test_each_exported_operation_has_an_entry(self):
        wanted = {name for name in self.exported if self.is_public(name)}
        self.assertGreater(len(wanted), 300)
        self.assertEqual(sorted(wanted - self.entries), [])

    def test_each_function_of_the_c_interface_has_an_entry(self):
        listing = run(nm, "-D", "--defined-only", "--without-symbol-versions", library)
        symbols = [line.split(" ", 2)[1:] for line in listing.splitlines()]
        # The kind "A" is that of the version itself.
        plain_c = {name for kind, name in symbols if kind != "A"}
        plain_c = {name for name in plain_c if not name.startswith("_")}
        self.assertGreater(len(plain_c), 150)
        self.assertEqual(sorted(plain_c - self.entries), [])

    def test_each_entry_names_something_that_is_there(self):
        gone = [name for name in self.entries - self.every
                if not all(word in self.words for word in re.findall(r"\w+", plain(name))
                           if word not in NAMED and not word.startswith(("_s11n_set", "get")))]
        self.assertEqual(sorted(gone), [])


if __name__ == "__main__":
    nm, library, source = sys.argv[1:4]
    programs = sys.argv[4:]
    unittest.main(argv=sys.argv[:1], verbosity=1)
