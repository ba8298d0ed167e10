"""
crowd.py [--loopback] [--no-cap] [CLIENTS]: what well-behaved clients get while so many hostile ones (1000) are there,
and what the device keeps of them afterwards. The device has 64 MiB where the system can see to that.
"""

import glob
import multiprocessing
import os
import resource
import select
import socket
import ssl
import sys
import threading
import time
from concurrent.futures import ThreadPoolExecutor
from statistics import median

from wire import FORM, TLS, Client, Device, Line, Wrong, insecure_context, isolate, over_tls

CLIENTS = 1000
MEMORY = 64 << 20
# The stated goals, in seconds; of the medians.
PLAIN_GOAL = 0.1
TLS_GOAL = 1.0
MEASURE_SECONDS = 20
FEWEST = 5
# A well-behaved client gives up then.
CLIENT_PATIENCE = 15
QUIET_SECONDS = 90
MEMORY_TOLERANCE_KIB = 4096
# The crowd comes from several addresses, of which the well-behaved clients' are none.
CROWD_ADDRESSES = range(2, 18)
# A hostile client that is thrown out comes back after so long.
RETURN_SECONDS = 1

HEAD = b"POST /api/setData HTTP/1.1\r\nHost: localhost\r\n" + FORM.encode()
BODY = 1 << 20
PART = b"x" * 900_000
FIELDS = b"".join(b"X-%d: %s\r\n" % (number, b"y" * 1000) for number in range(60))
UPLOAD = (b"POST /?firmwareupdate=1 HTTP/1.1\r\nHost: localhost\r\nContent-Length: 1000000\r\n"
          b"Content-Type: multipart/form-data; boundary=B\r\n\r\n"
          b'--B\r\nContent-Disposition: form-data; name="file"\r\n\r\n' + b"image" * 2000)


def client_hello():
    outgoing = ssl.MemoryBIO()
    try:
        insecure_context().wrap_bio(ssl.MemoryBIO(), outgoing).do_handshake()
    except ssl.SSLWantReadError:
        return outgoing.read()


def hostile_kinds(device):
    """Name: how many of 1000, whether to the HTTPS port, what is sent first, and again and again."""
    get = {name: kind.request() for name, kind in device.kinds.items()}
    hello = client_hello()
    return {
        "idle": (150, False, b"", b""),
        "idle after a request": (150, False, get["value"], b""),
        "head without end": (60, False, HEAD + FIELDS, b""),
        "head byte by byte": (100, False, HEAD, b"X"),
        "half a body": (60, False, HEAD + b"Content-Length: %d\r\n\r\n" % BODY + PART, b""),
        "chunks without end": (30, False, HEAD + b"Transfer-Encoding: chunked\r\n\r\n",
                               b"100\r\n" + b"x" * 256 + b"\r\n"),
        "rows that nobody reads": (60, False, get["rows"], b""),
        "file that nobody reads": (40, False, get["file"], b""),
        "TLS, silent": (50, True, b"", b""),
        "TLS, one byte": (50, True, hello[:1], b""),
        "TLS, only hello": (200, True, hello, b""),
        "TLS, silent after the handshake": (20, True, None, b""),
        "poll": (25, False, None, b""),
        "half an upload": (5, False, UPLOAD, b""),
    }


class Hostile:
    """One place in the crowd, taken again whenever the device has thrown its client out."""

    def __init__(self, device, number, name, tls, first, again):
        self.device, self.number, self.name = device, number, name
        self.tls, self.first, self.again = tls, first, again
        self.sock = None
        self.left = 0

    def come(self):
        address = CROWD_ADDRESSES[self.number % len(CROWD_ADDRESSES)]
        port = self.device.tls_port if self.tls else self.device.port
        self.left = time.monotonic()
        try:
            sock = self.device.line.connect(port, address, 8192, timeout=5)
        except OSError:
            return
        try:
            if self.name == "poll":
                poll = self.device.ready_to_send(self.device.kinds["poll"])
                sock.sendall(poll.request().replace(b"timeout=1", b"timeout=600"))
            elif self.first is None:
                sock = over_tls(sock)
            else:
                sock.sendall(self.first)
        except (Wrong, OSError):
            pass  # Half of it is a nuisance, too.
        if sock.fileno() >= 0:
            sock.setblocking(False)
            self.sock = sock

    def go_on(self):
        if self.again:
            try:
                self.sock.send(self.again)
            except OSError:
                pass

    def leave(self):
        if self.sock:
            self.sock.close()
            self.sock = None
        self.left = time.monotonic()


def crowd(device, clients, control):
    """The process of the crowd: says when it is there, keeps it up until it is told to go."""
    places = []
    for name, (share, tls, first, again) in hostile_kinds(device).items():
        places += [Hostile(device, number, name, tls, first, again)
                   for number in range(max(1, share * clients // 1000))]
    with ThreadPoolExecutor(64) as pool:
        list(pool.map(Hostile.come, places))
        control.send(sum(1 for place in places if place.sock))
        returned = 0
        while not control.poll(0.3):
            poller = select.poll()
            by_fd = {place.sock.fileno(): place for place in places if place.sock}
            for fd in by_fd:
                poller.register(fd, select.POLLRDHUP)
            for fd, _ in poller.poll(0):
                by_fd[fd].leave()
            for place in places:
                if place.sock:
                    place.go_on()
            absent = [place for place in places
                      if not place.sock and time.monotonic() > place.left + RETURN_SECONDS]
            for place in absent:
                place.left = time.monotonic() + CLIENT_PATIENCE
                pool.submit(place.come)
            returned += len(absent)
        there = sum(1 for place in places if place.sock)
    for place in places:
        place.leave()
    control.send((there, returned))


class Measured:
    """How long a well-behaved client waits for its answers, again and again."""

    def __init__(self, title, goal, visit):
        self.title, self.goal, self.visit = title, goal, visit
        self.seconds = []
        self.failed = 0
        self.fault = ""

    def run(self, device):
        deadline = time.monotonic() + MEASURE_SECONDS
        while time.monotonic() < deadline or len(self.seconds) < FEWEST:
            if device.process.poll() is not None:
                return
            begin = time.monotonic()
            try:
                self.visit(device)
            except (Wrong, OSError) as error:
                self.failed += 1
                self.fault = str(error)
                # A refusal is no fast answer.
                time.sleep(0.05)
                self.seconds.append(max(CLIENT_PATIENCE, time.monotonic() - begin))
                continue
            self.seconds.append(time.monotonic() - begin)
            time.sleep(0.02)

    def report(self, failures):
        if not self.seconds:
            return failures.append(f"{self.title}: nothing was measured")
        middle = median(self.seconds)
        text = (f"{self.title}: median {middle * 1000:.1f} ms, maximum {max(self.seconds) * 1000:.0f} ms, "
                f"{len(self.seconds)} visits, {self.failed} failed {self.fault}")
        print(text)
        if middle >= self.goal:
            failures.append(f"{self.title}: median above {self.goal * 1000:.0f} ms")


def ask_value(client, device):
    client.send(device.kinds["value"].request())
    if client.answer("GET").status != 200:
        raise Wrong("no value")


def new_connection(tls):
    def visit(device):
        client = Client(device, tls, patience=CLIENT_PATIENCE)
        try:
            ask_value(client, device)
        finally:
            client.close()
    return visit


def kept_connection():
    kept = []

    def visit(device):
        try:
            if not kept:
                kept.append(Client(device))
            kept[0].deadline = time.monotonic() + CLIENT_PATIENCE
            ask_value(kept[0], device)
        except (Wrong, OSError):
            kept.pop().close() if kept else None
            raise
    return visit


class MemoryCap:
    """A control group for the device, version 2 or 1; without one where the system does not let us."""

    def __init__(self):
        self.folder = None
        # Those of runs that were killed; one in use cannot be removed.
        for old in glob.glob("/sys/fs/cgroup/plix-crowd-*") + glob.glob("/sys/fs/cgroup/memory/plix-crowd-*"):
            self.remove(old)
        for root, limit in (("/sys/fs/cgroup", "memory.max"),
                            ("/sys/fs/cgroup/memory", "memory.limit_in_bytes")):
            if "--no-cap" in sys.argv:
                break
            folder = f"{root}/plix-crowd-{os.urandom(4).hex()}"
            try:
                os.mkdir(folder)
                # Only opened: where control groups are not mounted, there is no such file.
                with open(f"{folder}/{limit}", "r+") as file:
                    file.write(str(MEMORY))
                self.folder = folder
                break
            except OSError:
                self.remove(folder)
        print("memory cap:", f"{MEMORY >> 20} MiB by {limit}" if self.folder else "none")

    @staticmethod
    def remove(folder):
        try:
            os.rmdir(folder)
        except OSError:
            pass

    def wrapper(self):
        if not self.folder:
            return ()
        return ("sh", "-c", f'echo $$ >{self.folder}/cgroup.procs && exec "$@"', "sh")

    def end(self):
        if self.folder:
            self.remove(self.folder)


def possessions(device):
    """KiB of memory, and descriptors."""
    folder = f"/proc/{device.process.pid}"
    with open(f"{folder}/status") as status:
        memory = next(int(line.split()[1]) for line in status if line.startswith("VmRSS"))
    return memory, len(os.listdir(f"{folder}/fd"))


def warm_up(device):
    """Every kind some times, also at the same time: what is taken once is taken then."""
    def visit(kind, tls):
        if kind.pages and not tls or kind.name.startswith("upload"):
            return
        client = Client(device, tls)
        client.send(device.ready_to_send(kind).request())
        client.answer(kind.method, count=kind.count)
        client.close()
    with ThreadPoolExecutor(8) as pool:
        list(pool.map(lambda job: visit(*job), [(kind, tls) for _ in range(5) for tls in (False, True)
                                                for kind in device.kinds.values()]))


def quiet(device, before, failures):
    begin = time.monotonic()
    while True:
        if device.process.poll() is not None:
            return
        memory, descriptors = possessions(device)
        small = memory <= before[0] + MEMORY_TOLERANCE_KIB
        if small and descriptors <= before[1] or time.monotonic() > begin + QUIET_SECONDS:
            break
        time.sleep(1)
    print(f"memory {before[0]} -> {memory} KiB, descriptors {before[1]} -> {descriptors}, "
          f"{time.monotonic() - begin:.0f} s after the crowd")
    if not small:
        failures.append(f"memory has grown by {memory - before[0]} KiB")
    if descriptors > before[1]:
        failures.append(f"{descriptors - before[1]} descriptors are left open")


def run(device, clients, failures):
    warm_up(device)
    time.sleep(2)
    before = possessions(device)
    control, other = multiprocessing.Pipe()
    process = multiprocessing.get_context("fork").Process(target=crowd, args=(device, clients, other))
    begin = time.monotonic()
    process.start()
    other.close()
    print(f"{control.recv()} of {clients} hostile clients are there after {time.monotonic() - begin:.1f} s")
    measured = [Measured("getData, new connections", PLAIN_GOAL, new_connection(False)),
                Measured("getData, kept connection", PLAIN_GOAL, kept_connection()),
                Measured("getData, new TLS connections", TLS_GOAL, new_connection(True))]
    threads = [threading.Thread(target=one.run, args=(device,)) for one in measured]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    if device.process.poll() is None:
        print("with the crowd: memory {} KiB, descriptors {}".format(*possessions(device)))
    control.send("go")
    there, returned = control.recv()
    process.join()
    print(f"{there} were there at the end; {returned} times one came back after it had been thrown out")
    for one in measured:
        one.report(failures)
    quiet(device, before, failures)
    if device.process.poll() is not None:
        return failures.append("the device died")
    new_connection(False)(device)


def main():
    line = Line(isolate())
    _, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (hard, hard))
    clients = next((int(word) for word in sys.argv[1:] if word.isdigit()), CLIENTS)
    failures = []
    cap = MemoryCap()
    device = Device(line, cap.wrapper())
    try:
        run(device, clients, failures)
    except (Wrong, OSError) as error:
        failures.append(f"a well-behaved client: {error}")
    finally:
        ends = device.stop()
        cap.end()
    for fault in failures + ends:
        print(f"FAIL {fault}")
    return 1 if failures or ends else 0


if __name__ == "__main__":
    sys.exit(main())
