#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks the includes of the web server against the table of rooms in docs/architecture.md.

A row names a room (a folder, or NAME.h for a class at the root with its helpers), says in one sentence
what it holds, and lists the rooms that it includes. The rooms of the list stand below it in the table, so
that no arrow runs back up. A main header that begins with the room's name has the same sentence.
Prints what does not fit and fails.
"""

import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
SOURCES = ROOT / "src/modules/webserver"
PLATFORM = ROOT / "src/api"
# Classes at the root that belong to the room of another file there.
AT_ROOT = {"workercreate": "webserver.h", "webserverlog": "webserver.h", "request": "message.h",
           "servermessagedevice": "message.h", "responsebody": "message.h"}
# Only passes a header of the platform on.
FORWARDING = "glibptr.h"


def room_of(path):
    folder, _, name = path.rpartition("/")
    stem = name.split(".")[0]
    return folder + "/" if folder else AT_ROOT.get(stem, stem + ".h")


def read_table():
    rows = re.findall(r"^\| `(\S+)` \| (.+?) \| (.*?) ?\|$",
                      (ROOT / "docs/architecture.md").read_text(), re.M)
    return {room: (sentence, re.findall(r"`(\S+?)`", uses)) for room, sentence, uses in rows
            if room.endswith((".h", "/"))}


def leading_comment(text):
    text = text.removeprefix("// SPDX-License-Identifier: MIT\n").lstrip()
    lines = re.match(r"(?://.*\n)*", text).group().splitlines()
    return " ".join(line[2:].strip() for line in lines)


def main():
    table = read_table()
    order = list(table)
    faults = [f"the table lets {room} use {used}, which does not stand below it"
              for room in order for used in table[room][1]
              if used not in order or order.index(used) <= order.index(room)]
    unused = {(room, used) for room in order for used in table[room][1]}
    files = [path for path in sorted(SOURCES.rglob("*")) if path.suffix in (".h", ".cpp")]
    for path in files:
        name = str(path.relative_to(SOURCES))
        room = room_of(name)
        text = path.read_text()
        if name == FORWARDING:
            continue
        if room not in table:
            faults.append(f"{name}: no row of the table for {room}")
            continue
        said = leading_comment(text)
        if said.startswith(f"{room}: ") and said != f"{room}: {table[room][0]}":
            faults.append(f"{name}: the table says of {room}: {table[room][0]}")
        for included in re.findall(r'^#include "(.+)"', text, re.M):
            if (PLATFORM / included).exists() or included == FORWARDING:
                continue
            used = room_of(included)
            if not (SOURCES / included).exists():
                faults.append(f"{name}: {included} is no path from {SOURCES.relative_to(ROOT)}")
            elif used != room and used not in table[room][1]:
                faults.append(f"{name} includes {included}, but {room} does not use {used}")
            unused.discard((room, used))
    faults += [f"{room} does not use {used} any more" for room, used in sorted(unused)]
    print("\n".join(faults) or f"{len(files)} files in {len(order)} rooms")
    return bool(faults) or not order


sys.exit(main())
