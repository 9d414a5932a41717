#!/usr/bin/env python3
"""list_slots.py COMPILER HEADER: the slots that a header of src/ and what it includes declare, SLOT(name), a line each."""

import re
import subprocess
import sys

compiler, header = sys.argv[1:]
text = subprocess.run(
    [compiler, "-std=c++20", "-E", "-P", "-x", "c++", "-I", "src", "-"],
    input=f'#include "{header}"', stdout=subprocess.PIPE, text=True, check=True
).stdout
for name in re.findall(r"inline Slot<[^;{}]*> (\w+)(?:\{[^}]*\})?;", text):
    print(f"SLOT({name})")
