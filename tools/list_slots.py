#!/usr/bin/env python3
"""Prints a row {name, filledBy} of C++ for each slot that the headers given declare."""

import re
import sys
from pathlib import Path

for header in sys.argv[1:]:
    for name in re.findall(r"^inline Slot<.*> (\w+)(?:\{[^}]*\})?;", Path(header).read_text(encoding="utf-8"), re.M):
        print(f'{{"{name}", [] {{ return {name}.filledBy(); }}}},')
