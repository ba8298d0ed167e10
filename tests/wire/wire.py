# SPDX-License-Identifier: MIT
"""What speaks to the device over a line: the line, a device on it with a site, and a strict HTTP client."""

import base64
import json
import os
import random
import re
import shutil
import socket
import ssl
import subprocess
import sys
import tempfile
import threading
import time
from dataclasses import dataclass, replace
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

FOLDER = os.path.dirname(os.path.abspath(__file__))
PROGRAM = os.environ.get("PLIXHOST") or f"{FOLDER}/../../build/bin/plixhost"
# A guard against hanging; no case that passes comes near it.
PATIENCE = 60
SLOW_BYTES_PER_SECOND = 100_000


class Wrong(Exception):
    """What a test found."""


def isolate():
    """
    Starts this program again in namespaces and with a /tmp of its own, which end with it and all that is
    in them, and says whether it has a network of its own. With `--loopback` it keeps the machine's.
    """
    if kinds := os.environ.get("WIRE_NAMESPACES"):
        return "n" in kinds
    for kinds in ("mpf",) if "--loopback" in sys.argv else ("mnpf", "mpf"):
        command = ["unshare", f"-r{kinds}", "--mount-proc", "--kill-child"]
        if subprocess.run([*command, "true"], stderr=subprocess.DEVNULL).returncode == 0:
            os.environ["WIRE_NAMESPACES"] = kinds
            os.execvp(command[0], [*command, f"{FOLDER}/../owntmp", sys.executable, *sys.argv])
    print("no namespaces: /tmp is the machine's, which may have another device")
    return False


class Line:
    """A cable between the device's network namespace and this one, or loopback."""

    def __init__(self, own_network):
        self.net = "10.77.0" if own_network else "127.0.0"
        self.device = f"{self.net}.1"
        self.enter = self.lay() if own_network else []
        print("line:", "veth, MTU 1500" if own_network else "loopback")

    def lay(self):
        """Returns the command that starts programs at the device's end."""
        # It ends with this program, which has the other end of its standard input.
        self.holder = subprocess.Popen(["unshare", "-n", "sh", "-c", "echo; exec cat"],
                                       stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.holder.stdout.readline()
        enter = ["nsenter", "-t", str(self.holder.pid), "-n"]
        addresses = "".join(f"ip addr add {self.net}.{n}/24 dev near;" for n in range(2, 20))
        subprocess.run(["sh", "-ec", f"""
            ip link add near mtu 1500 type veth peer name far mtu 1500 netns {self.holder.pid}
            ip link set lo up; {addresses} ip link set near up"""], check=True)
        # Without an IPv6 address, which would come a moment later and change the certificate.
        subprocess.run([*enter, "sh", "-ec", f"""
            echo 4096 16384 65536 >/proc/sys/net/ipv4/tcp_wmem
            ip link set lo up; ip addr add {self.device}/24 dev far
            ip link set far addrgenmode none up"""], check=True)
        return enter

    def client(self, number=0):
        return f"{self.net}.{2 + number % 18}"

    def connect(self, port, tls=False, number=0, room=None, timeout=PATIENCE):
        sock = socket.socket()
        try:
            # Loopback's segments would be larger than the buffers of slow readers.
            sock.setsockopt(socket.IPPROTO_TCP, socket.TCP_MAXSEG, 1448)
            if room:
                sock.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, room)
            sock.settimeout(timeout)
            sock.bind((self.client(number), 0))
            sock.connect((self.device, port))
            # An end without close_notify is an error.
            return TLS.wrap_socket(sock, suppress_ragged_eofs=False) if tls else sock
        except OSError:
            sock.close()
            raise


# The device's certificate is signed by its own development CA.
TLS = ssl.create_default_context()
TLS.check_hostname = False
TLS.verify_mode = ssl.CERT_NONE


@dataclass(frozen=True)
class Kind:
    """A request, and the status of its answer."""
    name: str
    target: str
    small: str = ""  # the target for slow readers, where it is another one
    status: int = 200
    method: str = "GET"
    fields: str = ""
    body: bytes = b""
    servers: str = "plain TLS"
    original: str = ""  # what the answer's bytes come from, see SIZES; slow readers get "medium"
    count: int = 0  # of the bytes to read of an endless answer
    takes_updater: bool = False  # of which there is one
    takes_queue: bool = False  # one of its own: of two polls of one queue, the second would end the first

    def request(self, version="1.1", more=""):
        if self.body and CHUNKED not in self.fields:
            more += f"Content-Length: {len(self.body)}\r\n"
        return (f"{self.method} {self.target} HTTP/{version}\r\nHost: localhost\r\n"
                f"{self.fields}{more}\r\n").encode() + self.body


CHUNKED = "Transfer-Encoding: chunked\r\n"
FORM = "Content-Type: application/x-www-form-urlencoded\r\n"
SETTING = b"path=wire%3Atext&role=value&value=seven"
SETTING_IN_CHUNKS = b"10;x=y\r\n%s\r\n17\r\n%s\r\n0\r\n\r\n" % (SETTING[:16], SETTING[16:])
MULTIPART = "Content-Type: multipart/form-data; boundary=B\r\n"
IMAGE = b'--B\r\nContent-Disposition: form-data; name="file"\r\n\r\n' + b"image" * 2000 + b"\r\n--B--\r\n"
SIZES = {"large": 5_000_000, "medium": 300_000, "small": 1024, "fetched": 2_000_000}


def is_usual_turn(line):
    """Dozens of large answers may become ready in one turn of the device's event loop."""
    found = re.search(r"A turn of the event loop took .*?(\d+) ms of processor time", line)
    return found and int(found[1]) < 10 * int(os.environ.get("PLIX_TURN_LIMIT_MS", "100"))


class Device:
    """A running device with small, medium and large things to ask for."""

    def __init__(self, line, wrapper=(), settings=()):
        self.line = line
        self.folder = tempfile.mkdtemp(prefix="plix-wire-")
        self.make_site()
        probes = [socket.create_server(("", 0)) for _ in range(2)]
        self.port, self.tls_port = (probe.getsockname()[1] for probe in probes)
        for probe in probes:
            probe.close()
        settings = (f"port={self.port}", f"httpsPort={self.tls_port}", *settings)
        self.log = open(f"{self.folder}/log", "w+")
        self.process = subprocess.Popen(
            [*wrapper, *line.enter, PROGRAM, "--state", f"{self.folder}/state", "--device",
             f"{self.folder}/device.json",
             *(word for setting in settings for word in ("--set", f"settings:/webserver/{setting}"))],
            stdout=subprocess.PIPE, stderr=self.log)
        if not self.process.stdout.readline().startswith(b"ready "):
            raise Wrong(f"the device did not start: {self.logged()}")
        self.wait_for_tls()
        self.source = self.start_source()
        self.kinds = {kind.name: kind for kind in self.make_kinds()}

    def make_site(self):
        rng = random.Random(1)
        instruction = '<?plix getData path="wire:text" roles="value" escape="html"?>'
        self.bytes = {name: rng.randbytes(size) for name, size in SIZES.items()}
        for name, data in self.bytes.items():
            for file in (f"files/{name}.bin", f"web/{name}.bin", f"media/{name}.wav"):
                self.write(file, data)
            self.write(f"web/{name}.fcgi", (instruction + "-" * 200 + "\n").encode() * (len(data) // 1000))
        rows = [{"title": f"Row {n}", "description": rng.randbytes(480).hex()} for n in range(3000)]
        value = lambda text: {"value": {"string_": text}}
        self.write("device.json", json.dumps({
            "platform": {"readPathPrefix": re.escape(f"{self.folder}/files/")},
            "nodes": {"wire:list": {"rows": rows}, "wire:text": value("seven"),
                      "settings:/webserver/documentRoot": value(f"{self.folder}/web"),
                      "settings:/media/directory": value(f"{self.folder}/media")}}).encode())

    def write(self, name, data):
        path = f"{self.folder}/{name}"
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as file:
            file.write(data)

    def start_source(self):
        """What the device's proxy fetches from."""
        bodies = self.bytes

        class Source(BaseHTTPRequestHandler):
            def do_GET(self):
                self.send_response(200)
                self.end_headers()
                self.wfile.write(bodies[self.path[1:]])

            def log_message(self, *arguments):
                pass

        source = ThreadingHTTPServer((self.line.client(), 0), Source)
        threading.Thread(target=source.serve_forever, daemon=True).start()
        return source

    def make_kinds(self):
        proxy = lambda name: "/proxy/" + base64.b64encode(
            f"http://{self.line.client()}:{self.source.server_port}/{name}".encode()).decode()
        files = f"/file/stream/{self.folder}/files"
        rows = "/api/getRows?path=wire:list&roles=title,description&from=0&to="
        track, small_track = "/api/stream/media:/large.wav", "/api/stream/media:/medium.wav"
        upload = {"method": "POST", "fields": MULTIPART, "body": IMAGE, "takes_updater": True}
        return [
            Kind("value", "/api/getData?path=wire:text&roles=value"),
            Kind("set", "/api/setData", method="POST", fields=FORM, body=SETTING),
            Kind("set-chunked", "/api/setData", method="POST", fields=FORM + CHUNKED, body=SETTING_IN_CHUNKS),
            Kind("rows", f"{rows}2999", f"{rows}299"),
            Kind("page", "/large.fcgi", "/medium.fcgi", servers="TLS"),
            Kind("small-page", "/small.fcgi", servers="TLS"),
            Kind("static", "/large.bin", "/medium.bin", servers="TLS", original="large"),
            Kind("small-static", "/small.bin", servers="TLS", original="small"),
            Kind("file", f"{files}/large.bin", f"{files}/medium.bin", original="large"),
            Kind("small-file", f"{files}/small.bin", original="small"),
            Kind("range", f"{files}/medium.bin", status=206, fields="Range: bytes=1000-299998\r\n"),
            Kind("head", f"{files}/large.bin", method="HEAD"),
            Kind("track", track, small_track, original="large"),
            Kind("pipe", f"{track}?via=pipe", f"{small_track}?via=pipe", original="large"),
            Kind("live", "/api/stream/media:/live", count=40_000),
            Kind("proxy", proxy("fetched"), proxy("medium"), original="fetched"),
            Kind("missing", f"{files}/nothing", status=404),
            Kind("poll", "/api/event/pollQueue?timeout=1&queueId=", takes_queue=True),
            # The event that names the queue, and two heartbeats.
            Kind("events", "/api/event/pollQueue?timeout=1&queueId=", fields="Accept: text/event-stream\r\n",
                 takes_queue=True, count=118 + 2 * 27),
            Kind("upload", "/medium.fcgi?firmwareupdate=1", servers="TLS", **upload),
            Kind("upload-no-page", "/?firmwareupdate=1", status=404, servers="plain", **upload),
        ]

    def wait_for_tls(self):
        """
        The HTTPS server begins a moment later, with a certificate for its addresses; a new one, which
        ends the connections of the old one, when the device notices the cable.
        """
        name = b"\x87\x04" + socket.inet_aton(self.line.device)
        deadline = time.monotonic() + PATIENCE
        while time.monotonic() < deadline:
            try:
                with self.line.connect(self.tls_port, tls=True) as client:
                    if name in client.getpeercert(binary_form=True):
                        return
            except OSError:
                pass
            time.sleep(0.05)
        raise Wrong(f"no HTTPS: {self.logged()}")

    def fetch(self, kind, tls=False):
        with Client(self, tls) as client:
            client.send(kind.request())
            return client.answer(kind)

    def prepared(self, kind):
        if not kind.takes_queue:
            return kind
        queue = json.loads(self.fetch(Kind("queue", "/api/event/modifyQueue?subscribe=[]")).body)
        return replace(kind, target=kind.target + queue)

    def logged(self):
        self.log.seek(0)
        return "".join(line for line in self.log if not is_usual_turn(line))[-4000:]

    def stop(self):
        """Returns what was wrong with its end, and what it has logged."""
        self.source.shutdown()
        self.process.terminate()
        try:
            status = self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            status = f"none, {self.process.wait()} when killed"
        log = self.logged()
        shutil.rmtree(self.folder)
        return [f"the device ended with status {status}"] if status else [], log


@dataclass
class Answer:
    status: int
    fields: dict
    body: bytes = b""


class Client:
    """
    A connection that takes nothing but what HTTP allows, as its reader says: "fast", "late" (after a
    pause), "slow", or "bytes" (its first ones each by itself). Late and slow readers have little room, so
    that answers wait in the device.
    """

    def __init__(self, device, tls=False, reader="fast", patience=PATIENCE):
        room = 8192 if reader in ("late", "slow") else None
        self.deadline = time.monotonic() + patience
        self.sock = device.line.connect(device.tls_port if tls else device.port, tls, 0, room, patience)
        self.reader = reader
        self.begin = None
        self.received = 0
        self.buffer = bytearray()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.sock.close()

    def send(self, data):
        try:
            self.sock.sendall(data)
        except OSError as error:
            raise Wrong(f"cannot send: {error}") from None

    def pause(self):
        """What makes a reader slow or late; returns how much to read."""
        if self.begin is None:
            time.sleep(0.7 if self.reader == "late" else 0)
            self.begin = time.monotonic()
        if self.reader == "slow":
            due = self.begin + self.received / SLOW_BYTES_PER_SECOND
            time.sleep(max(0, due - time.monotonic()))
            return 4096
        return 1 if self.reader == "bytes" and self.received < 300 else 65536

    def read(self):
        """The next bytes, none at the end of the connection."""
        size = self.pause()
        try:
            self.sock.settimeout(max(0.01, self.deadline - time.monotonic()))
            data = self.sock.recv(size)
        except TimeoutError:
            raise Wrong("hangs") from None
        except ssl.SSLEOFError:
            raise Wrong("ended without close_notify") from None
        except OSError as error:
            raise Wrong(f"broke off: {error}") from None
        self.received += len(data)
        return data

    def more(self, where):
        data = self.read()
        if not data:
            raise Wrong(f"ended {where}")
        self.buffer += data

    def take(self, count, where):
        while len(self.buffer) < count:
            self.more(f"{where}, {len(self.buffer)} of {count} bytes")
        data = bytes(self.buffer[:count])
        del self.buffer[:count]
        return data

    def match(self, pattern, where):
        """The next line, which has to be of the pattern."""
        while (end := self.buffer.find(b"\n")) < 0:
            self.more(where)
        text = self.take(end + 1, where).decode("latin-1")
        if not (match := re.fullmatch(pattern + r"\r\n", text)):
            raise Wrong(f"{text[:80]!r} {where}")
        return match

    def head(self):
        status = int(self.match(r"HTTP/1\.[01] (\d{3}) [^\r\n]*", "instead of a status line")[1])
        fields = {}
        while name := (field := self.match(r"(?:([!#$%&'*+.^_`|~\w-]+):[ \t]*([^\x00-\x08\n-\x1f]*))?",
                                           "in the head"))[1]:
            if name.lower() in fields and name.lower() in ("content-length", "transfer-encoding"):
                raise Wrong(f"{name} twice")
            fields[name.lower()] = field[2]
        return Answer(status, fields)

    def answer(self, kind, version="1.1"):
        """The next answer; of an endless one only so much."""
        answer = self.head()
        coding, length = (answer.fields.get(name) for name in ("transfer-encoding", "content-length"))
        if coding and (length or coding != "chunked" or version == "1.0"):
            raise Wrong(f"coding {coding}, length {length} over HTTP/{version}")
        if length and not length.isdecimal():
            raise Wrong(f"length {length!r}")
        if kind.method == "HEAD" or answer.status in (204, 304):
            return answer
        if coding:
            answer.body = self.chunks(kind.count)
        elif length or kind.count:
            answer.body = self.take(kind.count or int(length), "in the body")
        elif version == "1.1":
            raise Wrong("neither length nor chunks")
        else:
            while data := self.read():
                self.buffer += data
            answer.body = self.take(len(self.buffer), "")
        return answer

    def chunks(self, count):
        body = bytearray()
        while not count or len(body) < count:
            where = f"in a chunk, after {len(body)} bytes"
            size = int(self.match(r"([0-9A-Fa-f]+)", where)[1], 16)
            body += self.take(size, where)
            self.match("", where)
            if size == 0:
                return bytes(body)
        return bytes(body[:count])

    def end(self):
        """Nothing more comes, and the connection ends as it should."""
        if rest := bytes(self.buffer) or self.read():
            raise Wrong(f"{rest[:80]!r} behind the answer")
