"""
matrix.py [--loopback] [WORD...]: every kind of answer ends on every kind of line. Asks for each kind in
every way and compares byte by byte with what a plain, fast client got. WORDs choose cases by their names.
"""

import itertools
import random
import sys
import threading
import time
from concurrent.futures import ThreadPoolExecutor

from wire import SEED, Client, Device, Line, Wrong, isolate

READERS = ("slow", "late", "bytes", "fast")
WAYS = ("HTTP/1.0", "kept", "pipelined")
CLOSE = "Connection: close\r\n"
SEQUENCES = 40
AT_ONCE = 48


class Matrix:
    def __init__(self, device):
        self.device = device
        self.references = {}
        # There is one updater.
        self.updater = threading.Lock()

    def offered(self, kind, tls):
        return tls if kind.pages else not (tls and kind.name == "upload-no-page")

    def learn(self):
        for kind, tls in itertools.product(self.device.kinds.values(), (False, True)):
            if self.offered(kind, tls):
                for size in {kind, kind.for_slow()}:
                    self.references[kind.name, size.target, tls] = self.fetch(size, tls)

    def fetch(self, kind, tls):
        client = Client(self.device, tls)
        client.send(self.device.ready_to_send(kind).request())
        try:
            answer = client.answer(kind.method, count=kind.count)
        except Wrong as wrong:
            raise Wrong(f"reference of {kind.name}{' over TLS' * tls}: {wrong}") from None
        if answer.status != kind.status:
            raise Wrong(f"{kind.name}: status {answer.status} from the beginning")
        client.close()
        return answer

    def check(self, client, number, kind, tls, version):
        """Reads the answer and compares it with the reference."""
        title = f"answer {number + 1}, {kind.name}"
        try:
            answer = client.answer(kind.method, version, kind.count)
        except Wrong as wrong:
            raise Wrong(f"{title}: {wrong}") from None
        expected = self.references[kind.name, kind.target, tls]
        if answer.status != kind.status:
            raise Wrong(f"{title}: status {answer.status}, {answer.body[:80]}")
        for name in ("content-type", "content-length") if kind.method == "HEAD" else ("content-type",):
            if answer.fields.get(name) != expected.fields.get(name):
                raise Wrong(f"{title}: {name} {answer.fields.get(name)}")
        if answer.body != expected.body:
            at = next((i for i, (a, b) in enumerate(zip(answer.body, expected.body)) if a != b),
                      "the end")
            raise Wrong(f"{title}: {len(answer.body)} instead of {len(expected.body)} bytes, "
                        f"different from {at}")
        return answer

    def cases(self):
        """Pairs of a name and what to do; the longest first."""
        for reader, kind, tls, way in itertools.product(
                READERS, self.device.kinds.values(), (False, True), WAYS):
            if self.offered(kind, tls):
                yield (f"{kind.name} {'TLS' if tls else 'plain'} {way} {reader}",
                       self.run, kind, tls, way, reader)
        rng = random.Random(SEED)
        for number in range(SEQUENCES):
            tls, reader = number % 2 == 1, rng.choice(("late", "slow"))
            in_pieces = rng.random() < 0.5
            sequence = self.sequence(rng, tls, reader)
            names = ",".join(kind.name for kind in sequence)
            yield (f"sequence {number} {'TLS' if tls else 'plain'} {reader} "
                   f"{'in pieces' if in_pieces else 'at once'} {names}",
                   self.run_sequence, sequence, tls, reader,
                   random.Random(rng.random()) if in_pieces else None)

    def sequence(self, rng, tls, reader):
        """Of 5 to 15 requests, few of them large, so that slow readers come to the end."""
        offered = [kind for kind in self.device.kinds.values() if self.offered(kind, tls)
                   and not kind.count and not kind.name.startswith("upload")]
        large = [kind for kind in offered if kind.small or kind.name == "range"]
        small = [kind for kind in offered if kind not in large]
        picked = rng.choices(large, k=rng.randint(1, 3))
        picked += rng.choices(small, k=rng.randint(5, 15) - len(picked))
        rng.shuffle(picked)
        return [kind.for_slow() if reader == "slow" else kind for kind in picked]

    def run(self, kind, tls, way, reader):
        if kind.name.startswith("upload"):
            with self.updater:
                return self.exchange(kind, tls, way, reader)
        return self.exchange(kind, tls, way, reader)

    def exchange(self, kind, tls, way, reader):
        if reader == "slow":
            kind = kind.for_slow()
        value, small = self.device.kinds["value"], self.device.kinds["small-file"]
        before, behind = {"HTTP/1.0": ([], []), "kept": ([], [value, value]),
                          "pipelined": ([value, small], [small, value])}[way]
        # An endless answer is the last one.
        kinds = [*before, kind, *([] if kind.count else behind)]
        version = "1.0" if way == "HTTP/1.0" else "1.1"
        self.converse(kinds, tls, reader, version, each=way == "kept")

    def run_sequence(self, kinds, tls, reader, rng):
        self.converse(kinds, tls, reader, rng=rng)

    def converse(self, kinds, tls, reader, version="1.1", each=False, rng=None):
        """Sends the requests, each after the answer before or all together, and checks the answers."""
        last = len(kinds) - 1
        requests = [self.device.ready_to_send(kind).request(
            version, CLOSE if number == last and version == "1.1" else "")
                    for number, kind in enumerate(kinds)]
        client = None
        try:
            for number, kind in enumerate(kinds):
                if not client:
                    client = Client(self.device, tls, reader)
                    if not each:
                        self.send(client, b"".join(requests[number:]), rng)
                if each:
                    client.send(requests[number])
                answer = self.check(client, number, kind, tls, version)
                # What was sent behind an answer that says so is sent again, as browsers do.
                if number == last or answer.fields.get("connection") == "close":
                    if not kind.count:
                        client.end()
                    client.close()
                    client = None
        finally:
            if client:
                client.close()

    @staticmethod
    def send(client, data, rng):
        """At once, or in pieces of random lengths with random pauses."""
        while rng and data:
            piece = rng.choice((1, 3, 20, 100, 1000))
            client.send(data[:piece])
            data = data[piece:]
            time.sleep(rng.choice((0, 0, 0.02)))
        client.send(data)


def attempt(case):
    name, work, *arguments = case
    begin = time.monotonic()
    try:
        work(*arguments)
        return None
    except (Wrong, OSError) as error:
        fault = f"FAIL {name}: {error} ({time.monotonic() - begin:.0f} s)"
        print(fault, flush=True)
        return fault


def main():
    line = Line(isolate())
    words = [word for word in sys.argv[1:] if not word.startswith("--")]
    print(f"seed {SEED}")
    begin = time.monotonic()
    device = Device(line)
    matrix = Matrix(device)
    try:
        matrix.learn()
        cases = [case for case in matrix.cases() if all(word in case[0].split() for word in words)]
        with ThreadPoolExecutor(AT_ONCE) as pool:
            failures = [fault for fault in pool.map(attempt, cases) if fault]
    finally:
        ends = device.stop()
    for fault in ends:
        print(f"FAIL {fault}")
    print(f"{len(cases)} cases, {len(failures) + len(ends)} failures, {time.monotonic() - begin:.0f} s")
    return 1 if failures or ends else 0


if __name__ == "__main__":
    sys.exit(main())
