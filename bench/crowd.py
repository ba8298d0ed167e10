#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""
crowd.py [--loopback] [--no-cap] [CLIENTS]: what well-behaved clients get while so many hostile ones (1000)
are there, and what the device keeps of them afterwards. It has 64 MiB, where the system sees to that.
"""

import glob
import multiprocessing
import os
import re
import resource
import select
import ssl
import sys
import time
from concurrent.futures import ThreadPoolExecutor
from statistics import median

sys.path.append(os.path.join(os.path.dirname(__file__), "../tests/wire"))
from wire import CHUNKED, FORM, IMAGE, MULTIPART, TLS, Client, Device, Line, Wrong, isolate

CLIENTS = 1000
MEMORY = 64 << 20
MEASURE_SECONDS = 20
# A well-behaved client gives up then; what failed counts as having taken so long.
CLIENT_PATIENCE = 15
QUIET_SECONDS = 90
MEMORY_TOLERANCE_KIB = 4096
# The crowd comes from some addresses, of which the well-behaved clients' is none.
CROWD_ADDRESSES = range(2, 18)
# A hostile client that was thrown out comes back after so long.
RETURN_SECONDS = 1

# Name, limit of the median in seconds, visits per second, TLS, persistent connection.
VISITS = [
    ("getData, new connections", 0.1, 20, False, False),
    ("getData, persistent connection", 0.1, 20, False, True),
    ("getData, new TLS connections", 1.0, 2, True, False),
]


def client_hello():
    outgoing = ssl.MemoryBIO()
    try:
        TLS.wrap_bio(ssl.MemoryBIO(), outgoing).do_handshake()
    except ssl.SSLWantReadError:
        return outgoing.read()


def hostile_kinds(device):
    """How many of 1000, whether to the HTTPS port, what is sent first (None: see come), and ever after."""
    get = {name: kind.request() for name, kind in device.kinds.items()}
    post = b"POST /api/setData HTTP/1.1\r\nHost: localhost\r\n" + FORM.encode()
    upload = get["upload"].split(b"\r\n\r\n")[0]
    hello = client_hello()
    return {
        "idle": (150, False, b"", b""),
        "idle after a request": (150, False, get["value"], b""),
        "head without end": (60, False, post + b"X: %s\r\n" % (b"y" * 1000) * 60, b""),
        "head byte by byte": (100, False, post, b"X"),
        "half a body": (60, False, post + b"Content-Length: %d\r\n\r\n" % (1 << 20) + b"x" * 900_000, b""),
        "chunks without end": (30, False, post + CHUNKED.encode() + b"\r\n",
                               b"100\r\n" + b"x" * 256 + b"\r\n"),
        "rows that nobody reads": (60, False, get["rows"], b""),
        "file that nobody reads": (40, False, get["file"], b""),
        "TLS, silent": (50, True, b"", b""),
        "TLS, one byte": (50, True, hello[:1], b""),
        "TLS, only a ClientHello": (200, True, hello, b""),
        "TLS, silent after the handshake": (20, True, None, b""),
        "poll": (25, False, None, b""),
        "half an upload": (5, False, re.sub(rb"Length: \d+", b"Length: 999999", upload) +
                           b"\r\n\r\n" + IMAGE[:9000], b""),
    }


class Hostile:
    """One place in the crowd, taken again whenever the device has thrown its client out."""

    def __init__(self, device, number, tls, first, again):
        self.device, self.tls, self.first, self.again = device, tls, first, again
        self.address = CROWD_ADDRESSES[number % len(CROWD_ADDRESSES)]
        self.sock = None
        self.may_come = 0

    def come(self):
        port = self.device.tls_port if self.tls else self.device.port
        try:
            first = self.first
            if first is None and not self.tls:
                poll = self.device.prepared(self.device.kinds["poll"])
                first = poll.request().replace(b"timeout=1", b"timeout=600")
            sock = self.device.line.connect(port, first is None, self.address, 8192, 5)
        except (Wrong, OSError):
            self.may_come = time.monotonic() + RETURN_SECONDS
            return
        try:
            sock.sendall(first or b"")
        except OSError:
            pass  # Half of it is a nuisance, too.
        sock.setblocking(False)
        self.sock = sock

    def go_on(self):
        try:
            self.sock.send(self.again)
        except OSError:
            pass

    def leave(self):
        self.sock.close()
        self.sock = None
        self.may_come = time.monotonic() + RETURN_SECONDS


def crowd(device, clients, control):
    """The process of the crowd: says when it is there, keeps it up until it is told to go."""
    places = [Hostile(device, number, *how) for share, *how in hostile_kinds(device).values()
              for number in range(max(1, share * clients // 1000))]
    there = lambda: [place for place in places if place.sock]
    returned = 0
    with ThreadPoolExecutor(64) as pool:
        list(pool.map(Hostile.come, places))
        control.send(len(there()))
        while not control.poll(0.3):
            poller = select.poll()
            by_descriptor = {place.sock.fileno(): place for place in there()}
            for descriptor in by_descriptor:
                poller.register(descriptor, select.POLLRDHUP)
            for descriptor, _ in poller.poll(0):
                by_descriptor[descriptor].leave()
            for place in there():
                if place.again:
                    place.go_on()
            for place in places:
                if not place.sock and time.monotonic() > place.may_come:
                    # Once at a time.
                    place.may_come = time.monotonic() + CLIENT_PATIENCE
                    pool.submit(place.come)
                    returned += 1
        control.send((len(there()), returned))
    # The end of this process closes them all.


class Visitors:
    """Well-behaved clients that come at fixed times, however long the ones before them wait."""

    def __init__(self, device, title, goal, rate, tls, persistent):
        self.device, self.title, self.goal, self.rate, self.tls = device, title, goal, rate, tls
        self.persistent = persistent
        self.client = None
        self.seconds = []
        self.faults = []

    def visit(self):
        begin = time.monotonic()
        # Where all wait for long, the last are left out.
        if begin > self.begin + 2 * MEASURE_SECONDS:
            return
        try:
            client = self.client or Client(self.device, self.tls, patience=CLIENT_PATIENCE)
            client.deadline = begin + CLIENT_PATIENCE
            client.send(self.device.kinds["value"].request())
            if client.answer(self.device.kinds["value"]).status != 200:
                raise Wrong("no value")
            if self.persistent:
                self.client = client
            else:
                client.sock.close()
            self.seconds.append(time.monotonic() - begin)
        except (Wrong, OSError) as error:
            self.client = None
            self.faults.append(str(error))
            self.seconds.append(CLIENT_PATIENCE)

    def run(self):
        self.begin = time.monotonic()
        with ThreadPoolExecutor(1 if self.persistent else 64) as pool:
            for number in range(MEASURE_SECONDS * self.rate):
                time.sleep(max(0, self.begin + number / self.rate - time.monotonic()))
                if self.device.process.poll() is not None:
                    break
                pool.submit(self.visit)

    def report(self):
        """Prints the figures, and returns what is wrong with them."""
        middle = median(self.seconds or [CLIENT_PATIENCE])
        print(f"{self.title}: median {middle * 1000:.1f} ms, maximum {max(self.seconds, default=0) * 1000:.0f} "
              f"ms, {len(self.seconds)} visits, {len(self.faults)} failed {set(self.faults) or ''}")
        return [f"{self.title}: the median is above {self.goal * 1000:.0f} ms"] * (middle >= self.goal)


class MemoryCap:
    """A control group for the device, version 2 or 1, where this program may make one."""

    roots = {"/sys/fs/cgroup": "memory.max", "/sys/fs/cgroup/memory": "memory.limit_in_bytes"}

    def __init__(self):
        self.folder = ""
        for root, limit in self.roots.items():
            # Those of runs that were killed; one that is in use stays.
            for old in glob.glob(f"{root}/plix-crowd-*"):
                self.remove(old)
            if not self.folder and "--no-cap" not in sys.argv:
                self.make(f"{root}/plix-crowd-{os.urandom(4).hex()}", limit)
        print("memory cap:", f"{MEMORY >> 20} MiB in {self.folder}" if self.folder else "none")

    def make(self, folder, limit):
        try:
            os.mkdir(folder)
            # Not created: without a memory controller there is no such file.
            with open(f"{folder}/{limit}", "r+") as file:
                file.write(str(MEMORY))
            self.folder = folder
        except OSError:
            self.remove(folder)

    @staticmethod
    def remove(folder):
        try:
            os.rmdir(folder)
        except OSError:
            pass

    def wrapper(self):
        enter = f'echo $$ >{self.folder}/cgroup.procs && exec "$@"'
        return ("sh", "-c", enter, "sh") if self.folder else ()


def possessions(device):
    """KiB of memory, and descriptors."""
    folder = f"/proc/{device.process.pid}"
    with open(f"{folder}/status") as status:
        return int(re.search(r"VmRSS:\s+(\d+)", status.read())[1]), len(os.listdir(f"{folder}/fd"))


def warm_up(device):
    """Every kind some times, some at a time: what is taken once is taken then."""
    jobs = [(kind, tls) for _ in range(5) for tls in (False, True) for kind in device.kinds.values()
            if ("TLS" if tls else "plain") in kind.servers and not kind.takes_updater]
    with ThreadPoolExecutor(8) as pool:
        list(pool.map(lambda job: device.fetch(device.prepared(job[0]), job[1]), jobs))
    device.fetch(device.kinds["upload"], tls=True)


def settle(device, memory_limit, descriptor_limit):
    """Waits until the device is back within the limits, or long enough."""
    begin = time.monotonic()
    while True:
        seconds = time.monotonic() - begin
        if device.process.poll() is not None:
            return 0, 0, seconds
        memory, descriptors = possessions(device)
        if memory <= memory_limit and descriptors <= descriptor_limit or seconds > QUIET_SECONDS:
            return memory, descriptors, seconds
        time.sleep(1)


def run(device, clients):
    """Prints figures, and returns what is wrong with them."""
    warm_up(device)
    time.sleep(2)
    before = possessions(device)
    print("before: {} KiB, {} descriptors".format(*before))
    control, other = multiprocessing.Pipe()
    process = multiprocessing.get_context("fork").Process(target=crowd, args=(device, clients, other))
    process.start()
    begin = time.monotonic()
    print(f"{control.recv()} of {clients} hostile clients are there after {time.monotonic() - begin:.1f} s")
    visitors = [Visitors(device, *row) for row in VISITS]
    with ThreadPoolExecutor() as pool:
        list(pool.map(Visitors.run, visitors))
    lives = device.process.poll() is None
    if lives:
        print("with the crowd: {} KiB, {} descriptors".format(*possessions(device)))
    control.send("go")
    there, returned = control.recv()
    process.join()
    print(f"{there} were there at the end; {returned} times one came back that had been thrown out")
    faults = [fault for one in visitors for fault in one.report()]
    if not lives:
        return faults
    memory, descriptors, seconds = settle(device, before[0] + MEMORY_TOLERANCE_KIB, before[1])
    print(f"{seconds:.0f} s after the crowd: {memory} KiB, {descriptors} descriptors")
    if memory > before[0] + MEMORY_TOLERANCE_KIB:
        faults.append(f"memory has grown by {memory - before[0]} KiB")
    if descriptors > before[1]:
        faults.append(f"{descriptors - before[1]} descriptors are left open")
    return faults


def main():
    line = Line(isolate())
    _, most = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (most, most))
    cap = MemoryCap()
    device = Device(line, cap.wrapper())
    try:
        faults = run(device, next((int(word) for word in sys.argv[1:] if word.isdigit()), CLIENTS))
    finally:
        ends, log = device.stop()
        cap.remove(cap.folder)
    # It may warn of a crowd.
    faults += ends + re.findall(r".*\b(?:ERROR|FATAL|CRITICAL)\b.*", log)
    for fault in faults:
        print(f"FAIL {fault}")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
