#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The places that name the version of a release agree."""

import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
PLACES = {"CMakeLists.txt": r"project\(plix VERSION ([\d.]+)", "package.json": r'"version": "([\d.]+)"',
          "clients/python/pyproject.toml": r'^version = "([\d.]+)"', "docs/openapi.yaml": r"^  version: ([\d.]+)",
          "CHANGELOG.md": r"^## ([\d.]+)", "debian/changelog": r"^plix \(([\d.]+)\)"}

versions = {place: re.search(pattern, (ROOT / place).read_text(), re.M)[1]
            for place, pattern in PLACES.items()}
print(versions)
sys.exit(len(set(versions.values())) > 1)
