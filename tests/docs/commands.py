#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks what the documents say of commands that no test runs: that programs of the sources, presets
and options of the device exist, and that blocks of commands are indented unless exchanges.mjs runs them.

commands.py ROOT PLIXHOST [DOCUMENT whose exchanges are run...]
"""

import json
import re
import subprocess
import sys
from pathlib import Path

root, plixhost, run = Path(sys.argv[1]), sys.argv[2], [Path(name) for name in sys.argv[3:]]
presets = {preset["name"] for kind, list_ in json.loads((root / "CMakePresets.json").read_text()).items()
           if kind.endswith("Presets") for preset in list_}
told = subprocess.check_output([plixhost, "--help"], text=True) + (root / "run").read_text()
options = set(re.findall(r"--[a-z-]+", told))
documents = [root / name for name in ("README.md", "CONTRIBUTING.md", "clients/python/README.md",
                                      "examples/README.md")] + sorted((root / "docs").rglob("*.md"))
faults, commands = [], 0
for document in documents:
    text = document.read_text()
    if "```console" in text and document not in run:
        faults.append(f"{document}: exchanges that no test runs")
    for code in re.findall(r"^    (.+)$|`([^`\n]+)`", text, re.M):
        code = "".join(code)
        named = re.findall(r"(?:^|\s)\./([\w./-]+)(?![\w./*-])", code)
        commands += len(named)
        faults += [f"{document}: there is no ./{name}" for name in named
                   if not name.startswith("build") and not (document.parent / name).exists()
                   and not (root / name).exists()]
        faults += [f"{document}: there is no preset {name}"
                   for name in re.findall(r"--preset[= ]([a-z0-9-]+)", code) if name not in presets]
        if re.match(r"(\./run|plixhost)\b", code):
            faults += [f"{document}: the device has no {name}"
                       for name in re.findall(r"(?<=\s)--[a-z-]+", code) if name not in options]
print(*faults, f"{commands} commands in {len(documents)} documents", sep="\n")
sys.exit(bool(faults) or not commands)
