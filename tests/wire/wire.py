"""What the tests of connections share: the line, a device with a site, a strict HTTP client."""

import base64
import json
import os
import random
import re
import signal
import socket
import ssl
import subprocess
import sys
import tempfile
import threading
import time
from dataclasses import dataclass, replace
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

PROGRAM = os.environ.get("PLIXHOST") or os.path.join(
    os.path.dirname(os.path.abspath(__file__)), "../../build/bin/plixhost")
SEED = 20240607
# A guard against hanging; no case that passes comes near it.
PATIENCE = 60
SLOW_RATE = 100_000


class Wrong(Exception):
    """What a case found."""


def isolate():
    """
    Starts this program again in namespaces of its own, where the system lets it have them, and says
    whether it has a network of its own. They end with it, and everything in them. `--loopback` keeps
    the machine's network.
    """
    if "WIRE_NAMESPACES" in os.environ:
        subprocess.run(["mount", "-t", "tmpfs", "tmpfs", "/tmp"], check=True)
        return "n" in os.environ["WIRE_NAMESPACES"]
    for kinds in ("mpf",) if "--loopback" in sys.argv else ("mnpf", "mpf"):
        command = ["unshare", f"-r{kinds}", "--mount-proc", "--kill-child"]
        if subprocess.run([*command, "true"], stderr=subprocess.DEVNULL).returncode == 0:
            os.environ["WIRE_NAMESPACES"] = kinds
            os.execvp(command[0], [*command, sys.executable, *sys.argv])
    print("no namespaces: /tmp is the machine's, which may have another device")
    return False


class Line:
    """A cable between two network namespaces, that of the device and this one; or loopback."""

    def __init__(self, own_network):
        self.enter = []
        self.net = "127.0.0"
        if own_network:
            self.net = "10.77.0"
            self.lay()
        self.device = f"{self.net}.1"
        print("line:", f"veth, MTU 1500, device at {self.device}" if own_network else "loopback")

    def lay(self):
        # It ends with this program, whose end closes its standard input.
        self.holder = subprocess.Popen(["unshare", "-n", "sh", "-c", "echo; exec cat"],
                                       stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.holder.stdout.readline()
        self.enter = ["nsenter", "-t", str(self.holder.pid), "-n"]
        addresses = "".join(f"ip addr add {self.net}.{n}/24 dev clients;" for n in range(2, 20))
        subprocess.run(["sh", "-ec", f"""
            ip link set lo up
            ip link add clients mtu 1500 type veth peer name device mtu 1500 netns {self.holder.pid}
            {addresses}
            ip link set clients up"""], check=True)
        # Without an IPv6 address, which would come a moment later and change the certificate.
        subprocess.run([*self.enter, "sh", "-ec", f"""
            echo 4096 16384 65536 >/proc/sys/net/ipv4/tcp_wmem
            ip link set lo up
            ip addr add {self.net}.1/24 dev device
            ip link set device addrgenmode none up"""], check=True)

    def client(self, number):
        return f"{self.net}.{2 + number % 18}"

    def connect(self, port, number=0, receive_buffer=None, timeout=PATIENCE):
        sock = socket.socket()
        try:
            # Loopback's segments would be larger than the buffers of slow readers.
            sock.setsockopt(socket.IPPROTO_TCP, socket.TCP_MAXSEG, 1448)
            if receive_buffer:
                sock.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, receive_buffer)
            sock.settimeout(timeout)
            sock.bind((self.client(number), 0))
            sock.connect((self.device, port))
        except OSError:
            sock.close()
            raise
        return sock


def insecure_context():
    """The device's certificate is signed by its own development CA."""
    context = ssl.create_default_context()
    context.check_hostname = False
    context.verify_mode = ssl.CERT_NONE
    return context


TLS = insecure_context()


def over_tls(sock):
    """With an error for a connection that ends without close_notify."""
    return TLS.wrap_socket(sock, suppress_ragged_eofs=False)


@dataclass(frozen=True)
class Kind:
    """A request and the answer that is to come. `small` is its target for slow readers."""
    name: str
    target: str
    small: str = ""
    status: int = 200
    method: str = "GET"
    fields: str = ""
    body: bytes = b""
    pages: bool = False  # offered by the HTTPS server only
    count: int = 0  # of the bytes to read of an endless answer

    def for_slow(self):
        return replace(self, target=self.small) if self.small else self

    def request(self, version="1.1", fields=""):
        fields += self.fields
        if self.body and "Transfer-Encoding" not in fields:
            fields += f"Content-Length: {len(self.body)}\r\n"
        return (f"{self.method} {self.target} HTTP/{version}\r\nHost: localhost\r\n{fields}\r\n"
                ).encode() + self.body


FORM = "Content-Type: application/x-www-form-urlencoded\r\n"
SETTING = b"path=wire%3Atext&role=value&value=seven"
CHUNKED_SETTING = b"10;x=y\r\n" + SETTING[:16] + b"\r\n%x\r\n" % len(SETTING[16:]) + SETTING[16:] + b"\r\n0\r\n\r\n"
IMAGE = b'--B\r\nContent-Disposition: form-data; name="file"\r\n\r\n' + b"image" * 2000 + b"\r\n--B--\r\n"
CHUNKED = "Transfer-Encoding: chunked\r\n"


class Device:
    """A running device with a site of small, medium and large things."""

    def __init__(self, line, wrapper=()):
        self.line = line
        self.folder = tempfile.mkdtemp(prefix="plix-wire-")
        self.make_site()
        self.port, self.tls_port = self.free_ports()
        self.log = open(f"{self.folder}/log", "w+")
        self.process = subprocess.Popen(
            [*wrapper, *line.enter, PROGRAM, *os.environ.get("WIRE_DEBUG", "").split(), "--state", f"{self.folder}/state",
             "--device", f"{self.folder}/device.json",
             "--set", f"settings:/webserver/port={self.port}",
             "--set", f"settings:/webserver/httpsPort={self.tls_port}"],
            stdout=subprocess.PIPE, stderr=self.log, text=True)
        ready = self.process.stdout.readline()
        if not ready.startswith("ready "):
            raise Wrong(f"the device did not start: {self.logged()}")
        self.wait_for_tls()
        self.source = self.start_source()
        self.kinds = self.make_kinds()

    @staticmethod
    def free_ports():
        probes = [socket.create_server(("", 0)) for _ in range(2)]
        ports = [probe.getsockname()[1] for probe in probes]
        for probe in probes:
            probe.close()
        return ports

    def make_site(self):
        rng = random.Random(SEED)
        for folder in ("files", "web", "media"):
            os.mkdir(f"{self.folder}/{folder}")
        self.bytes = {name: rng.randbytes(size) for name, size in (
            ("large", 5_000_000), ("medium", 300_000), ("small", 1024), ("fetched", 2_000_000))}
        instruction = '<?plix getData path="wire:text" roles="value" escape="html"?>'
        for name in ("large", "medium", "small"):
            self.write(f"files/{name}.bin", self.bytes[name])
            self.write(f"web/{name}.bin", self.bytes[name])
            self.write(f"media/{name}.wav", self.bytes[name])
            size = len(self.bytes[name]) // 5
            page = (instruction + "-" * 200 + "\n") * (size // 200)
            self.write(f"web/{name}.fcgi", page.encode())
        rows = [{"title": f"Row {number}", "description": rng.randbytes(480).hex()}
                for number in range(3000)]
        value = lambda text: {"value": {"string_": text}}
        device = {
            "platform": {"readPathPrefix": re.escape(f"{self.folder}/files/")},
            "nodes": {
                "wire:list": {"rows": rows},
                "wire:text": value("seven"),
                "settings:/webserver/documentRoot": value(f"{self.folder}/web"),
                "settings:/media/directory": value(f"{self.folder}/media"),
            },
        }
        self.write("device.json", json.dumps(device).encode())

    def write(self, name, data):
        with open(f"{self.folder}/{name}", "wb") as file:
            file.write(data)

    def start_source(self):
        """What the device's proxy fetches from."""
        bodies = self.bytes

        class Source(BaseHTTPRequestHandler):
            def do_GET(self):
                body = bodies[self.path[1:]]
                self.send_response(200)
                self.send_header("Content-Length", str(len(body)))
                self.end_headers()
                self.wfile.write(body)

            def log_message(self, *arguments):
                pass

        source = ThreadingHTTPServer((self.line.client(0), 0), Source)
        threading.Thread(target=source.serve_forever, daemon=True).start()
        return source

    def make_kinds(self):
        host, port = self.source.server_address
        fetch = lambda name: "/proxy/" + base64.b64encode(
            f"http://{host}:{port}/{name}".encode()).decode()
        files = f"/file/stream/{self.folder}/files"
        rows = "/api/getRows?path=wire:list&roles=title,description&from=0&to="
        form = {"method": "POST", "fields": FORM, "body": SETTING}
        upload = {"method": "POST", "body": IMAGE,
                  "fields": "Content-Type: multipart/form-data; boundary=B\r\n"}
        track = "/api/stream/media:/large.wav"
        small_track = "/api/stream/media:/medium.wav"
        kinds = [
            Kind("value", "/api/getData?path=wire:text&roles=value"),
            Kind("set", "/api/setData", **form),
            Kind("set-chunked", "/api/setData", method="POST", fields=FORM + CHUNKED,
                 body=CHUNKED_SETTING),
            Kind("rows", f"{rows}2999", f"{rows}299"),
            Kind("page", "/large.fcgi", "/medium.fcgi", pages=True),
            Kind("small-page", "/small.fcgi", pages=True),
            Kind("static", "/large.bin", "/medium.bin", pages=True),
            Kind("small-static", "/small.bin", pages=True),
            Kind("file", f"{files}/large.bin", f"{files}/medium.bin"),
            Kind("small-file", f"{files}/small.bin"),
            Kind("range", f"{files}/medium.bin", status=206, fields="Range: bytes=1000-299998\r\n"),
            Kind("head", f"{files}/large.bin", method="HEAD"),
            Kind("track", track, small_track),
            Kind("pipe", f"{track}?via=pipe", f"{small_track}?via=pipe"),
            Kind("live", "/api/stream/media:/live", count=40_000),
            Kind("proxy", fetch("fetched"), fetch("medium")),
            Kind("missing", f"{files}/nothing", status=404),
            Kind("poll", "/api/event/pollQueue?timeout=1&queueId="),
            Kind("upload", "/medium.fcgi?firmwareupdate=1", pages=True, **upload),
            Kind("upload-no-page", "/?firmwareupdate=1", status=404, **upload),
        ]
        return {kind.name: kind for kind in kinds}

    def wait_for_tls(self):
        """
        The HTTPS server begins a moment later, with a certificate for its addresses; a new one, which
        ends the connections of the old one, when the device notices the cable.
        """
        name = b"\x87\x04" + socket.inet_aton(self.line.device)
        deadline = time.monotonic() + PATIENCE
        while time.monotonic() < deadline:
            try:
                with over_tls(self.line.connect(self.tls_port)) as client:
                    if name in client.getpeercert(binary_form=True):
                        return
            except OSError:
                pass
            time.sleep(0.05)
        raise Wrong(f"no HTTPS: {self.logged()}")

    def new_queue(self):
        client = Client(self)
        client.send(Kind("", "/api/event/modifyQueue?subscribe=[]").request())
        body = client.answer("GET").body
        client.close()
        return json.loads(body)

    def ready_to_send(self, kind):
        return replace(kind, target=kind.target + self.new_queue()) if kind.name == "poll" else kind

    def logged(self):
        self.log.seek(0)
        return self.log.read()[-4000:]

    def stop(self):
        """What was wrong with its end."""
        self.source.shutdown()
        self.process.send_signal(signal.SIGTERM)
        try:
            status = self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            status = f"none after SIGTERM, {self.process.wait()} after SIGKILL"
        faults = [f"the device ended with status {status}"] if status else []
        if self.logged():
            faults.append("the device logged: " + self.logged())
        subprocess.run(["rm", "-rf", self.folder], check=True)
        return faults


@dataclass
class Answer:
    status: int
    fields: dict
    body: bytes


class Client:
    """
    A connection that reads as its reader says: "fast", "late" (after a pause), "slow", or "bytes" (its
    first ones each by itself). Late and slow readers have little room, so that answers wait in the device.
    """

    def __init__(self, device, tls=False, reader="fast", number=0, patience=PATIENCE):
        self.deadline = time.monotonic() + patience
        room = 8192 if reader in ("late", "slow") else None
        self.sock = device.line.connect(device.tls_port if tls else device.port, number, room,
                                        patience)
        if tls:
            raw = self.sock
            try:
                self.sock = over_tls(raw)
            except OSError:
                raw.close()
                raise
        self.reader = reader
        self.begin = None
        self.received = 0
        self.buffer = bytearray()

    def send(self, data):
        self.sock.sendall(data)

    def close(self):
        self.sock.close()

    def read(self):
        """The next bytes, none at the end of the connection."""
        if self.begin is None:
            if self.reader == "late":
                time.sleep(0.7)
            self.begin = time.monotonic()
        size = 65536
        if self.reader == "bytes" and self.received < 300:
            size = 1
        elif self.reader == "slow":
            size = 4096
            time.sleep(max(0, self.begin + self.received / SLOW_RATE - time.monotonic()))
        left = self.deadline - time.monotonic()
        if left <= 0:
            raise Wrong("hangs")
        self.sock.settimeout(left)
        try:
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

    def line(self, where):
        while (end := self.buffer.find(b"\n")) < 0:
            self.more(where)
        text = self.take(end + 1, where)
        if not text.endswith(b"\r\n") or b"\r" in text[:-2]:
            raise Wrong(f"bad line end {where}: {text[-80:]}")
        return text[:-2].decode("latin-1")

    def head(self):
        status = self.line("before the status line")
        if not (match := re.fullmatch(r"HTTP/1\.[01] (\d{3}) .*", status)):
            raise Wrong(f"no status line: {status[:80]!r}")
        fields = {}
        while line := self.line("in the head"):
            if not (field := re.fullmatch(r"([!#$%&'*+.^_`|~\w-]+):[ \t]*([^\x00-\x08\x0a-\x1f]*)", line)):
                raise Wrong(f"bad field: {line[:80]!r}")
            name = field[1].lower()
            if name in fields and name in ("content-length", "transfer-encoding"):
                raise Wrong(f"{name} twice")
            fields[name] = field[2]
        return int(match[1]), fields

    def answer(self, method, version="1.1", count=0):
        """The next answer, of whose body only `count` bytes are read unless 0."""
        status, fields = self.head()
        coding, length = fields.get("transfer-encoding"), fields.get("content-length")
        if coding and length:
            raise Wrong("length and chunks")
        if method == "HEAD" or status in (204, 304):
            return Answer(status, fields, b"")
        if coding:
            if coding != "chunked" or version == "1.0":
                raise Wrong(f"coding {coding} over HTTP/{version}")
            return Answer(status, fields, self.chunks(count))
        if length:
            if not re.fullmatch(r"\d+", length):
                raise Wrong(f"length {length!r}")
            return Answer(status, fields, self.take(min(int(length), count or int(length)), "in the body"))
        if version != "1.0":
            raise Wrong("neither length nor chunks")
        if count:
            return Answer(status, fields, self.take(count, "in the body"))
        while data := self.read():
            self.buffer += data
        return Answer(status, fields, self.take(len(self.buffer), ""))

    def chunks(self, count):
        body = bytearray()
        while not count or len(body) < count:
            size = self.line(f"before a chunk size, after {len(body)} bytes")
            if not re.fullmatch(r"[0-9A-Fa-f]+", size):
                raise Wrong(f"chunk size {size[:80]!r}")
            body += self.take(int(size, 16), f"in a chunk, after {len(body)} bytes")
            if self.take(2, "behind a chunk") != b"\r\n":
                raise Wrong("no line end behind a chunk")
            if int(size, 16) == 0:
                break
        return bytes(body[:count or None])

    def end(self):
        """Nothing more comes, and the connection ends as it should."""
        if rest := bytes(self.buffer) or self.read():
            raise Wrong(f"{rest[:80]!r} behind the answer")
        self.close()
