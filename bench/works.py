# SPDX-License-Identifier: MIT
"""What the servers are asked to do: the works, and the site they do them with."""

import json
import os
import re
import signal
import socket
import subprocess
import sys
import tempfile
import time
import urllib.parse
from dataclasses import dataclass, field
from statistics import median

from polls import Idle
from servers import CLIENT_CORE, fetch, on_core, write

CONNECTIONS = 16
IDLE = 900
FILE = 1024
LARGE_FILE = 64 << 20
TRACK = 4 << 20
IMAGE = 256 << 20
ROWS = 100
INSTRUCTIONS = 20


@dataclass
class Sample:
    rate: float  # requests or bytes per second
    cpu: float  # seconds of the server's processor time per request
    p50: float = 0  # seconds
    p99: float = 0


@dataclass
class Work:
    title: str
    goal: float  # of the ratio of `figure` to that of the server that it is compared with
    run: object  # (server, URL) -> Sample
    paths: dict  # kind of server -> path
    secure: bool = False
    figure: str = "cpu"
    compared: tuple = ("bare",)
    # A work of the same server that it is compared with instead.
    base: object = None
    samples: dict = field(default_factory=dict)

    def url(self, server):
        return server.url(self.paths[server.kind], self.secure)

    def measure(self, server):
        self.samples.setdefault(server.name, []).append(self.run(server, self.url(server)))

    def value(self, name, figure=None):
        samples = self.samples.get(name)
        return median(getattr(sample, figure or self.figure) for sample in samples) if samples else None

    def ratio(self, name):
        """To the best of those that it is compared with."""
        ours = self.value(name)
        theirs = [value for other in self.compared
                  if (value := self.base.value(name) if self.base else self.value(other))]
        if not ours or not theirs:
            return None
        return ours / (max(theirs) if self.figure == "rate" else min(theirs))


def run_wrk(url, seconds, connections):
    text = subprocess.run(
        ["wrk", "-t1", f"-c{connections}", f"-d{seconds}s", "--latency", url], check=True,
        capture_output=True, text=True, preexec_fn=on_core(CLIENT_CORE)).stdout
    if "Non-2xx" in text or "Socket errors" in text:
        sys.exit(f"{url}: not every request was answered\n{text}")
    return text, int(re.search(r"(\d+) requests in", text)[1])


def latency(text, percentile):
    value, unit = re.search(rf"{percentile}%\s+([\d.]+)(us|ms|s)", text).groups()
    return float(value) * {"us": 1e-6, "ms": 1e-3, "s": 1}[unit]


def wrk(seconds, connections, idle=0):
    """So many clients that ask as fast as they can, beside so many that do nothing."""
    def run(server, url):
        others = Idle(server, urllib.parse.urlsplit(url)._replace(scheme="", netloc="").geturl(), idle)
        cpu = server.cpu()
        text, requests = run_wrk(url, seconds, connections)
        cpu = server.cpu() - cpu
        if idle:
            others.close()
        rate = float(re.search(r"Requests/sec:\s+([\d.]+)", text)[1])
        return Sample(rate, cpu / requests, latency(text, 50), latency(text, 99))
    return run


def is_traced(pid):
    with open(f"/proc/{pid}/status") as status:
        return not re.search(r"^TracerPid:\s+0$", status.read(), re.M)


def system_calls(server, url, seconds):
    """Per request of one client."""
    summary, pids = tempfile.NamedTemporaryFile("r"), server.pids()
    strace = subprocess.Popen(["strace", "-cfq", "-o", summary.name, *(f"-p{pid}" for pid in pids)],
                              preexec_fn=on_core(CLIENT_CORE))
    while not all(map(is_traced, pids)) and strace.poll() is None:
        time.sleep(0.01)
    _, requests = run_wrk(url, seconds, 1)
    strace.send_signal(signal.SIGINT)
    strace.wait()
    total = [line for line in summary.read().splitlines() if line.endswith("total")][0]
    return int(total.split()[3]) / requests


def transfer(size, head=b"", body=b""):
    """One exchange over a connection of its own; the rate is that of `size` bytes."""
    def run(server, url):
        parts = urllib.parse.urlsplit(url)
        target = parts.path + "?" + parts.query
        lines = f"{'POST' if body else 'GET'} {target} HTTP/1.1\r\nHost: localhost\r\n".encode()
        cpu, begin = server.cpu(), time.monotonic()
        with socket.create_connection((parts.hostname, parts.port), timeout=60) as client:
            client.sendall(lines + b"Connection: close\r\n" + head + b"\r\n")
            client.sendall(body)
            buffer, received, first = bytearray(1 << 20), 0, b""
            while count := client.recv_into(buffer):
                first = first or bytes(buffer[:12])
                received += count
        seconds = time.monotonic() - begin
        # Without pages, as over plain HTTP, the URL answers 404 after an upload that went well.
        expected = b"HTTP/1.1 404" if body and server.kind == "device" else b"HTTP/1.1 200"
        if first != expected or not body and received < size:
            sys.exit(f"{url}: {first!r} and {received} bytes")
        return Sample(size / seconds, server.cpu() - cpu)
    return run


def default_workers():
    """Those of the default device but the simulated updater, which would share its time."""
    path = os.path.join(os.path.dirname(__file__), "../src/host/default-device.json")
    with open(path) as file:
        workers = json.load(file)["workers"]
    return [worker for worker in workers if worker["library"] != "plix_firmware"]


def make_site(folder):
    """What the device serves, and the file that describes it."""
    for name in ("files", "web", "media", "bare"):
        os.makedirs(f"{folder}/{name}")
    write(f"{folder}/files/small.bin", os.urandom(FILE))
    write(f"{folder}/files/large.bin", os.urandom(1 << 20) * (LARGE_FILE >> 20))
    write(f"{folder}/media/track.wav", os.urandom(TRACK))
    page = "".join(
        f"<tr><td>{number}</td><td><?plix getData path=\"player:player/volume\" roles=\"value\" "
        f"escape=\"html\"?></td></tr>\n" for number in range(INSTRUCTIONS))
    os.mkfifo(f"{folder}/updater")
    write(f"{folder}/web/page.fcgi", f"<html><body><table>\n{page}</table></body></html>\n")
    rows = [{"title": f"Track {number}", "value": {"i32_": number}, "icon": f"cover-{number}.png",
             "description": "An artist whose name takes some room"} for number in range(ROWS)]
    value = lambda text: {"value": {"string_": text}}
    device = {
        "platform": {"readPathPrefix": re.escape(f"{folder}/files/"),
                     "firmwareUpdateDataPipe": f"{folder}/updater"},
        "workers": default_workers(),
        "nodes": {
            "bench:list": {"rows": rows},
            "bench:signal": {"value": {"i32_": 0}},
            "settings:/webserver/documentRoot": value(f"{folder}/web"),
            "settings:/media/directory": value(f"{folder}/media"),
            "network:info": {"value": {"wired": {"addresses": [{"ip": "127.0.0.1"}]}}},
        },
    }
    return write(f"{folder}/device.json", json.dumps(device))


VALUE = "/api/getData?path=player:player/volume&roles=value"
ROWS_OF_LIST = f"/api/getRows?path=bench:list&roles=title,value,icon,description&from=0&to={ROWS - 1}"


def file_path(folder, name):
    return f"/file/stream/{folder}/files/{name}.bin"


def make_works(folder, device, answers, seconds):
    """`answers`: those of answers_of_the_device()."""
    load = wrk(seconds, CONNECTIONS)
    value = {"device": VALUE, "bare": answers["value"]}
    small = {"device": file_path(folder, "small"), "bare": answers["small"], "nginx": "/small.bin",
             "lighttpd": "/small.bin"}
    page = {"device": "/page.fcgi", "bare": answers["page"]}
    base = Work(f"getData, {CONNECTIONS} connections", 0.6, load, value)
    works = [
        base,
        Work("getData, one client", 0.75, wrk(seconds, 1), value),
        Work(f"getData beside {IDLE} idle connections, to without", 1.5,
             wrk(seconds, CONNECTIONS, IDLE), value, base=base),
        Work(f"getRows, {ROWS} rows of 4 roles", 0.7, load,
             {"device": ROWS_OF_LIST, "bare": answers["rows"]}),
        Work("1 KiB file", 1.1, load, small),
        Work("1 KiB file, TLS", 1.15, load, {kind: path for kind, path in small.items()
                                             if kind != "lighttpd"}, secure=True),
        Work(f"page with {INSTRUCTIONS} instructions, TLS", 0.9, load, page, secure=True),
        Work("64 MiB file, one client", 1.0, wrk(seconds, 1),
             {"device": file_path(folder, "large"), "nginx": "/large.bin", "lighttpd": "/large.bin"},
             figure="rate", compared=("nginx", "lighttpd")),
        Work("upload of 256 MiB to the updater", 0.8, transfer(IMAGE, *multipart()),
             {"device": "/?firmwareupdate", "relay": "/?"}, figure="rate", compared=("relay",)),
    ]
    if device.offers("media:/track.wav"):
        works.append(Work("pipe relay of 4 MiB, one client", None, transfer(TRACK),
                          {"device": "/api/stream/media:/track.wav?via=pipe"}))
    return works


def answers_of_the_device(folder, device):
    """Writes the bytes that the bare server is to send; its paths, for sending them as the device
    does: in chunks or with a length."""
    paths = {}
    for name, url in (("value", device.url(VALUE)), ("rows", device.url(ROWS_OF_LIST)),
                      ("small", device.url(file_path(folder, "small"))),
                      ("page", device.url("/page.fcgi", secure=True))):
        header, body = fetch(url)
        write(f"{folder}/bare/{name}", body)
        paths[name] = f"/{name}" if "Content-Length" in header else f"/chunked/{name}"
    return paths


def multipart():
    body = (b"--line\r\nContent-Disposition: form-data; name=\"image\"; filename=\"image\"\r\n\r\n" +
            os.urandom(1 << 20) * (IMAGE >> 20) + b"\r\n--line--\r\n")
    head = b"Content-Type: multipart/form-data; boundary=line\r\nContent-Length: %d\r\n" % len(body)
    return head, body
