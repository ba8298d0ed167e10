#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""
matrix.py [--loopback] [WORD...]: every kind of answer ends on every kind of line. Asks for each kind in
every way and compares byte by byte with what a plain, fast client got. WORDs choose cases by their names.
"""

import itertools
import random
import re
import sys
import threading
from concurrent.futures import ThreadPoolExecutor
from contextlib import nullcontext
from dataclasses import replace

from wire import CHUNKED, Client, Device, Line, Wrong, isolate

READERS = ("slow", "late", "bytes", "fast")
SERVERS = ("plain", "TLS")
WAYS = ("HTTP/1.0", "persistent", "pipelined")
SEQUENCES = 40
SEED = 20240607
AT_ONCE = 48
# The id of a queue: an event stream begins with its own.
QUEUE = re.compile(rb"\{[-0-9a-f]{36}\}")


class Matrix:
    def __init__(self, device):
        self.device = device
        self.updater = threading.Lock()
        self.references = {}
        self.failures = 0
        for kind, server in itertools.product(device.kinds.values(), SERVERS):
            for size in {kind, self.for_slow(kind)} if server in kind.servers else ():
                self.attempt(f"reference of {size.name} {server}", self.learn, size, server)

    @staticmethod
    def for_slow(kind):
        return replace(kind, target=kind.small, original=kind.original and "medium") if kind.small else kind

    def learn(self, kind, server):
        answer = self.device.fetch(self.device.prepared(kind), server == "TLS")
        if answer.status != kind.status or not answer.body and kind.method != "HEAD":
            raise Wrong(f"status {answer.status}, {len(answer.body)} bytes")
        if kind.original:
            self.compare(kind, answer, replace(answer, body=self.device.bytes[kind.original]))
        self.references[kind, server] = answer

    def cases(self):
        """Names, and the arguments of `converse`; the slowest first. Without a reference there are none."""
        kinds = self.device.kinds
        for reader, kind, server, way in itertools.product(READERS, kinds.values(), SERVERS, WAYS):
            # HTTP/1.0 knows no chunks; a request with them is refused.
            if server not in kind.servers or (way == "HTTP/1.0" and CHUNKED in kind.fields):
                continue
            row = [self.for_slow(kind) if reader == "slow" else kind]
            if way == "pipelined":
                row = [kinds["value"], kinds["small-file"], *row]
            # An endless answer is the last one.
            if way != "HTTP/1.0" and not kind.count:
                row += [kinds["small-file"], kinds["value"]]
            if all((each, server) in self.references for each in row):
                yield f"{kind.name} {server} {way} {reader}", (row, server, reader, way)
        rng = random.Random(SEED)
        for number in range(SEQUENCES):
            server, reader = SERVERS[number % 2], rng.choice(("late", "slow"))
            row = self.sequence(rng, server, reader)
            if all((each, server) in self.references for each in row):
                yield f"sequence-{number} {server} pipelined {reader}", (row, server, reader, "pipelined")

    def sequence(self, rng, server, reader):
        """Of 5 to 15 requests, few of them large, so that slow readers come to the end."""
        offered = [kind for kind in self.device.kinds.values()
                   if server in kind.servers and not kind.count and not kind.takes_updater]
        large = [kind for kind in offered if kind.small]
        small = [kind for kind in offered if not kind.small]
        row = rng.choices(large, k=rng.randint(1, 3)) + rng.choices(small, k=rng.randint(4, 12))
        rng.shuffle(row)
        return [self.for_slow(kind) if reader == "slow" else kind for kind in row]

    def converse(self, row, server, reader, way):
        """Sends the requests, each after the answer before or all together, and checks the answers."""
        version = "1.0" if way == "HTTP/1.0" else "1.1"
        prepared = [self.device.prepared(kind) for kind in row]
        requests = [kind.request(version) for kind in prepared]
        if version == "1.1":
            requests[-1] = prepared[-1].request(version, "Connection: close\r\n")
        at = 0
        while at < len(row):
            with Client(self.device, server == "TLS", reader) as client:
                if way == "pipelined":
                    client.send(b"".join(requests[at:]))
                # What was sent behind an answer that closes the connection is sent again on a new one.
                closes = False
                while at < len(row) and not closes:
                    if way != "pipelined":
                        client.send(requests[at])
                    try:
                        answer = client.answer(row[at], version)
                        self.compare(row[at], answer, self.references[row[at], server])
                    except Wrong as wrong:
                        raise Wrong(f"answer {at + 1}, {row[at].name}: {wrong}") from None
                    closes = answer.fields.get("connection") == "close"
                    at += 1
                if not row[at - 1].count:
                    client.end()

    @staticmethod
    def compare(kind, answer, expected):
        if answer.status != expected.status:
            raise Wrong(f"status {answer.status}, {answer.body[:80]}")
        for name in ("content-type", *["content-length"] * (kind.method == "HEAD")):
            if answer.fields.get(name) != expected.fields.get(name):
                raise Wrong(f"{name} {answer.fields.get(name)}")
        body, wanted = (QUEUE.sub(b"{}", each.body) for each in (answer, expected))
        if body != wanted:
            pairs = enumerate(zip(body, wanted))
            raise Wrong(f"{len(body)} instead of {len(wanted)} bytes, different from "
                        f"{next((i for i, (ours, theirs) in pairs if ours != theirs), 'the end')}")

    def run(self, name, arguments):
        with self.updater if any(kind.takes_updater for kind in arguments[0]) else nullcontext():
            self.attempt(name, self.converse, *arguments)

    def attempt(self, name, work, *arguments):
        try:
            work(*arguments)
        except (Wrong, OSError) as error:
            self.failures += 1
            print(f"FAIL {name}: {error}", flush=True)


def main():
    line = Line(isolate())
    words = {word for word in sys.argv[1:] if not word.startswith("--")}
    # Dozens of clients read large answers late at the same time.
    device = Device(line, settings=[f"limits/heldBytes={1 << 30}"])
    try:
        matrix = Matrix(device)
        cases = [case for case in matrix.cases() if words <= set(case[0].split())]
        with ThreadPoolExecutor(AT_ONCE) as pool:
            list(pool.map(lambda case: matrix.run(*case), cases))
    finally:
        faults, log = device.stop()
    faults += [f"the device logged: {log}"] * bool(log)
    for fault in faults:
        print(f"FAIL {fault}")
    print(f"{len(cases)} cases, {matrix.failures + len(faults)} failures")
    return 1 if matrix.failures or faults else 0


if __name__ == "__main__":
    sys.exit(main())
