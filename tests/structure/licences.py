#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks that every source file names its licence near its beginning."""

import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
FOLDERS = ("bench", "clients", "cmake", "examples", "fuzz", "src", "tests", "tools", "web")
SUFFIXES = {".c", ".cmake", ".cpp", ".css", ".fcgi", ".h", ".html", ".js", ".mjs", ".py", ".sh",
            ".svg", ".ts"}
INPUTS = ("node_modules", "corpus", "regressions")


def main():
    files = [path for folder in FOLDERS for path in (ROOT / folder).rglob("*")
             if path.suffix in SUFFIXES and not any(part in INPUTS for part in path.parts)]
    silent = [path for path in files
              if "SPDX-License-Identifier: MIT" not in path.read_text().partition("\n\n")[0]]
    print("\n".join(f"{path.relative_to(ROOT)} has no SPDX line" for path in silent)
          or f"{len(files)} files")
    return bool(silent) or not files


sys.exit(main())
