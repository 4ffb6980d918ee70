#!/bin/bash
# Runs in a tree that has Debian's base, a compiler, gdb and the packages, as a user would: in a
# folder with the examples. Each program must print what its .expected says.
set -euo pipefail

same() {
  cmp - "$1"
  printf 'ok: %s\n' "$2"
}

cxx() {  # STANDARD SOURCE PACKAGE
  g++ -g "-std=$1" "examples/$2.cpp" -o "$2" $(pkg-config --cflags --libs "$3")
  "./$2" | same "examples/$2.expected" "$2.cpp as $1"
}

cxx c++17 quickstart velstd
cxx c++20 first velstd-json
gcc -std=c99 examples/c_client.c -o c_client $(pkg-config --cflags --libs velstd)
./c_client | same examples/c_client.expected c_client.c
/usr/bin/python3 examples/python/quickstart.py | same examples/python/quickstart.expected quickstart.py

echo '{"lines": [{"price": 12.5}]}' | velq get /lines/0/price - >answer
echo 12.5 | same answer velq

# The printers come by themselves.
line=$(grep -n velPrint examples/quickstart.cpp | cut -d: -f1)
gdb -batch -ex "break quickstart.cpp:$line" -ex run -ex 'print primes' ./quickstart 2>&1 |
  grep -qF '= xintsequence of length 3 (references: 2) = {2, 3, 5}'
printf 'ok: gdb\n'
