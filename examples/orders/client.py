"""The tutorial in Python: the same component, as Python's own objects.

Usage: client.py LIBRARY, the shared library of the component.
"""
import sys

import velstd

velstd.load(sys.argv[1])  # its types are registered now

order = velstd.create("shop::Order", number=9, customer="Emmy")
order.lines.append(velstd.create("shop::Line", article="cup", count=2, price=4))
order.status = "paid"
velstd.print_value(order, indent=2)

print(sum(line.count * line.price for line in order.lines))
print(velstd.to_python(order))

try:
    order.number = "nine"
except TypeError as error:
    print(error)
