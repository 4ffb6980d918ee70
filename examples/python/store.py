"""Objects of C++ types in Python: made, filled, read, printed, and what goes wrong.

Usage: store.py LIBRARY, the shared library of store.cpp.
"""
import sys

import velstd

velstd.load(sys.argv[1])

# Made by name; attributes take Python's own values.
order = velstd.create("store::Order", number=7, stock={"tea": 3})
tea = velstd.create("store::Item", name="tea", price=2.5, size="small")
cup = velstd.create("store::Item", name="cup", price=9, size="large")
order.items = [tea, cup]

# Collections do what lists and dicts do.
print("total:", sum(item.price for item in order.items))
order.items.reverse()
print("names:", [item.name for item in order.items])
order.stock["cup"] = order.stock.get("cup", 0) + 1
print("stock:", sorted(order.stock.items()))

# Printed by the library, or as Python's own.
velstd.print_value(tea)
print(velstd.to_python(order)["items"])

# What the library raises are exceptions of Python.
try:
    order.items = velstd.IntSequence([1])
except velstd.errors.XTypeMismatch as error:
    print(type(error).__name__, "is a TypeError:", isinstance(error, TypeError))
    print(error.Description, "-", error.TypeName)
try:
    tea.price = "cheap"
except TypeError as error:
    print(error)
try:
    tea.size = "tiny"
except ValueError as error:
    print(error)

# What a type consists of.
item = velstd.type("store::Item")
print({attribute.name: attribute.type.name for attribute in item.attributes})
print([size.name for size in velstd.type("store::Size").values])
