#!/usr/bin/env python3
"""Looks for public names without a comment in what Doxygen has written as XML.

    check.py XML-FOLDER

Doxygen warns of most of them, but not of default constructors, enumerators of an enumeration
without a comment, friends, and anything in a header that has no opening comment. Prints them,
and how many names there are; fails if one has no comment.
"""

import pathlib
import sys
import xml.etree.ElementTree as ElementTree

COMPOUNDS = {"class", "struct", "union", "file", "namespace"}


def is_documented(node):
    texts = (node.find(tag) for tag in ("briefdescription", "detaileddescription"))
    return any("".join(text.itertext()).strip() for text in texts if text is not None)


def place(node):
    where = node.find("location")
    return f"{where.get('file')}:{where.get('line', 1)}" if where is not None else "?"


def names(compound):
    """The public and protected names of a compound, as (node, place, name)."""
    yield compound, place(compound), compound.findtext("compoundname")
    for member in compound.iter("memberdef"):
        if member.get("prot") == "private":
            continue
        name = (member.findtext("qualifiedname") or member.findtext("name")) + (
            member.findtext("argsstring") or "")
        yield member, place(member), name
        for value in member.iter("enumvalue"):
            yield value, place(member), value.findtext("name")


def main():
    folder = pathlib.Path(sys.argv[1])
    found, bare, private, compounds = 0, set(), set(), []
    for path in folder.glob("*.xml"):
        compounds += ElementTree.parse(path).getroot().iter("compounddef")
    # What lies in a private class is private, whatever it says itself.
    for compound in compounds:
        private |= {inner.get("refid") for inner in compound.iter("innerclass")
                    if inner.get("prot") == "private"}
    changed = True
    while changed:
        inner = {inner.get("refid") for compound in compounds if compound.get("id") in private
                 for inner in compound.iter("innerclass")}
        changed = not inner <= private
        private |= inner
    for compound in compounds:
        if (compound.get("kind") not in COMPOUNDS or compound.get("id") in private or
                ".md:" in place(compound)):
            continue
        for node, at, name in names(compound):
            found += 1
            if not is_documented(node):
                bare.add(f"{at}: {name} has no comment")
    print("\n".join(sorted(bare)), end="\n" if bare else "")
    print(f"{found} public names, {len(bare)} without a comment")
    sys.exit(1 if bare else 0)


main()
