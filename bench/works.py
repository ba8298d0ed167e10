"""What the servers are asked to do: the works, and the site they do them with."""

import json
import os
import re
import subprocess
import sys
import time
import socket
import urllib.parse
from dataclasses import dataclass, field
from statistics import median

from servers import CLIENT_CORE, fetch, on_core, write

CONNECTIONS = 16
FILE = 1024
LARGE_FILE = 64 << 20
TRACK = 4 << 20
IMAGE = 32 << 20
ROWS = 100
INSTRUCTIONS = 20


@dataclass
class Sample:
    rate: float  # requests or bytes per second
    cpu: float  # seconds of the server's processor time per request
    p99: float = 0  # seconds


@dataclass
class Work:
    title: str
    goal: float  # the least ratio to the server that it is compared with
    run: object  # (server, URL) -> Sample
    urls: dict  # server name -> URL
    compared: tuple = ("bare",)
    samples: dict = field(default_factory=dict)

    def measure(self, server):
        sample = self.run(server, self.urls[server.name])
        self.samples.setdefault(server.name, []).append(sample)

    def figure(self, name, kind="rate"):
        samples = self.samples.get(name)
        return median(getattr(sample, kind) for sample in samples) if samples else None

    def ratio(self, other, kind="rate"):
        ours, theirs = self.figure("device", kind), self.figure(other, kind)
        return ours / theirs if ours and theirs else None


def wrk(seconds, connections):
    def run(server, url):
        cpu = server.cpu()
        text = subprocess.run(
            ["wrk", "-t1", f"-c{connections}", f"-d{seconds}s", "--latency", url], check=True,
            capture_output=True, text=True, preexec_fn=on_core(CLIENT_CORE)).stdout
        cpu = server.cpu() - cpu
        if "Non-2xx" in text or "Socket errors" in text:
            sys.exit(f"{url}: not every request was answered\n{text}")
        requests = int(re.search(r"(\d+) requests in", text)[1])
        rate = float(re.search(r"Requests/sec:\s+([\d.]+)", text)[1])
        value, unit = re.search(r"99%\s+([\d.]+)(us|ms|s)", text).groups()
        return Sample(rate, cpu / requests, float(value) * {"us": 1e-6, "ms": 1e-3, "s": 1}[unit])
    return run


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
        expected = b"HTTP/1.1 404" if body and server.name == "device" else b"HTTP/1.1 200"
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


def make_works(folder, servers, seconds):
    device, bare, nginx, lighttpd = servers
    value = "/api/getData?path=player:player/volume&roles=value"
    rows = ("/api/getRows?path=bench:list&roles=title,value,icon,description"
            f"&from=0&to={ROWS - 1}")
    small, large = (f"/file/stream/{folder}/files/{name}.bin" for name in ("small", "large"))
    load = wrk(seconds, CONNECTIONS)
    works = [
        Work("getData of one value", 0.75, load,
             {"device": device.url(value), "bare": bare.url("/value")}),
        Work(f"getRows, {ROWS} rows of 4 roles", 0.75, load,
             {"device": device.url(rows), "bare": bare.url("/rows")}),
        Work("1 KiB file", 0.80, load,
             {"device": device.url(small), "bare": bare.url("/small"),
              "nginx": nginx.url("/small.bin"), "lighttpd": lighttpd.url("/small.bin")}),
        Work("1 KiB file over HTTPS", 0.85, load,
             {"device": device.secure_url(small), "bare": bare.secure_url("/small"),
              "nginx": nginx.secure_url("/small.bin")}),
        Work(f"page with {INSTRUCTIONS} instructions, HTTPS", 0.6, load,
             {"device": device.secure_url("/page.fcgi"), "bare": bare.secure_url("/page")}),
        Work("64 MiB file, one client", 1.0, wrk(seconds, 1),
             {"device": device.url(large), "nginx": nginx.url("/large.bin"),
              "lighttpd": lighttpd.url("/large.bin")}, compared=("nginx", "lighttpd")),
        Work("upload to the updater", 0.8, transfer(IMAGE, *multipart()),
             {"device": device.url("/?firmwareupdate"), "bare": bare.url("/discard?")}),
    ]
    if device.offers("media:/track.wav"):
        works.append(Work("pipe relay, one client", None, transfer(TRACK),
                          {"device": device.url("/api/stream/media:/track.wav?via=pipe")}))
    return works


def answers_of_the_device(folder, device):
    """The bytes that the bare server is to send."""
    for name, url in (
            ("value", device.url("/api/getData?path=player:player/volume&roles=value")),
            ("rows", device.url("/api/getRows?path=bench:list&roles=title,value,icon,description"
                                f"&from=0&to={ROWS - 1}")),
            ("small", device.url(f"/file/stream/{folder}/files/small.bin")),
            ("page", device.secure_url("/page.fcgi"))):
        write(f"{folder}/bare/{name}", fetch(url))


def multipart():
    body = (b"--line\r\nContent-Disposition: form-data; name=\"image\"; filename=\"image\"\r\n\r\n" +
            os.urandom(1 << 20) * (IMAGE >> 20) + b"\r\n--line--\r\n")
    head = b"Content-Type: multipart/form-data; boundary=line\r\nContent-Length: %d\r\n" % len(body)
    return head, body
