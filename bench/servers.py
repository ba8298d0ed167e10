# SPDX-License-Identifier: MIT
"""The servers that are measured, each started with the same small site in a folder of its own."""

import os
import re
import signal
import socket
import ssl
import subprocess
import sys
import time
import urllib.error
import urllib.request

SERVER_CORE = min(os.sched_getaffinity(0))
CLIENT_CORE = max(os.sched_getaffinity(0))


# What measuring takes beside the default settings, as arguments of --set. All clients have one
# address.
DEVICE_SETTINGS = ("settings:/webserver/limits/connectionsPerAddress=4000",)


def on_core(core):
    return lambda: os.sched_setaffinity(0, {core})


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def fetch(url):
    """Header and body."""
    context = ssl._create_unverified_context()
    with urllib.request.urlopen(url, timeout=60, context=context) as reply:
        return reply.headers, reply.read()


def write(path, text):
    with open(path, "wb" if isinstance(text, bytes) else "w") as file:
        file.write(text)
    return path


class Server:
    """Processes on the servers' core, listening on `port` and, where they can, `secure_port`."""

    def __init__(self, kind, name=None):
        self.kind, self.name = kind, name or kind
        self.port, self.secure_port = free_port(), free_port()
        self.processes = []

    def spawn(self, command, **options):
        process = subprocess.Popen(command, preexec_fn=on_core(SERVER_CORE), **options)
        self.processes.append(process)
        return process

    def wait_for(self, *ports):
        deadline = time.monotonic() + 30
        for port in ports:
            while True:
                try:
                    socket.create_connection(("127.0.0.1", port)).close()
                    break
                except OSError:
                    if time.monotonic() > deadline or self.processes[-1].poll() is not None:
                        raise
                    time.sleep(0.002)

    def url(self, path, secure=False):
        if secure:
            return f"https://127.0.0.1:{self.secure_port}{path}"
        return f"http://127.0.0.1:{self.port}{path}"

    def pids(self):
        """Those that do the work: a master process may have others do it."""
        pids = [process.pid for process in self.processes]
        for pid in pids:
            with open(f"/proc/{pid}/task/{pid}/children") as children:
                pids.extend(int(child) for child in children.read().split())
        return pids

    def cpu(self):
        """Seconds of processor time so far."""
        total = 0
        for pid in self.pids():
            for task in os.listdir(f"/proc/{pid}/task"):
                with open(f"/proc/{pid}/task/{task}/schedstat") as stat:
                    total += int(stat.read().split()[0])
        return total / 1e9

    def memory(self):
        """Resident bytes."""
        with open(f"/proc/{self.pids()[0]}/status") as status:
            return int(re.search(r"VmRSS:\s+(\d+)", status.read())[1]) * 1024

    def stop(self):
        for process in self.processes:
            process.send_signal(signal.SIGTERM)
        for process in self.processes:
            process.wait()
        self.processes = []

    def restart(self):
        """Without what earlier work has left behind in memory."""
        self.stop()
        self.start()


class Device(Server):
    def __init__(self, build, folder, wrapper=(), name="device"):
        super().__init__("device", name)
        settings = (f"settings:/webserver/port={self.port}",
                    f"settings:/webserver/httpsPort={self.secure_port}", *DEVICE_SETTINGS)
        self.command = [*wrapper, f"{build}/bin/plixhost", "--state", f"{folder}/state-{name}",
                        "--device", f"{folder}/device.json"]
        for setting in settings:
            self.command += "--set", setting
        self.start()

    def start(self):
        started = time.monotonic()
        process = self.spawn(self.command, stdout=subprocess.PIPE, text=True)
        self.wait_for(self.port)
        fetch(self.url("/api/getData?path=player:player/volume&roles=value"))
        self.start_time = time.monotonic() - started
        self.ready = process.stdout.readline().strip()
        self.wait_for(self.secure_port)

    def offers(self, path):
        """Whether a node exists, as those of a worker do that this device may not have."""
        try:
            return bool(fetch(self.url(f"/api/getData?path={path}&roles=title")))
        except urllib.error.HTTPError:
            return False


def start_updater(folder):
    """Reads and drops the images that the device and the relay write into the updaters' pipes."""
    loops = "".join(f"while :; do cat {folder}/{pipe}; done >/dev/null & "
                    for pipe in ("updater", "relayed"))
    return subprocess.Popen(["sh", "-c", f"{loops} wait"], preexec_fn=on_core(CLIENT_CORE),
                            start_new_session=True)


class Bare(Server):
    """One process for each of the two ports."""

    def __init__(self, build, folder, certificate, key, wrapper=()):
        super().__init__("bare")
        program = [*wrapper, f"{build}/bin/bench_bareserver"]
        self.commands = ([*program, str(self.port), folder],
                         [*program, str(self.secure_port), folder, certificate, key])
        self.start()

    def start(self):
        for command in self.commands:
            self.spawn(command)
        self.wait_for(self.port, self.secure_port)


class Relay(Server):
    """What passes a body on to an updater of its own, and does nothing else."""

    def __init__(self, folder):
        super().__init__("relay")
        os.mkfifo(f"{folder}/relayed")
        self.spawn([sys.executable, f"{os.path.dirname(__file__)}/relay.py", str(self.port),
                    f"{folder}/relayed"])
        self.wait_for(self.port)


class Nginx(Server):
    def __init__(self, folder, root, certificate, key):
        super().__init__("nginx")
        os.makedirs(folder)
        configuration = write(f"{folder}/nginx.conf", f"""
            daemon off; worker_processes 1; pid {folder}/pid; error_log {folder}/error.log;
            user root;
            events {{ worker_connections 1024; }}
            http {{
                access_log off; sendfile on; tcp_nopush on; keepalive_requests 1000000000;
                client_body_temp_path {folder}/t1; proxy_temp_path {folder}/t2;
                fastcgi_temp_path {folder}/t3; uwsgi_temp_path {folder}/t4;
                scgi_temp_path {folder}/t5;
                server {{
                    root {root};
                    listen 127.0.0.1:{self.port};
                    listen 127.0.0.1:{self.secure_port} ssl;
                    ssl_certificate {certificate}; ssl_certificate_key {key};
                }}
            }}""")
        self.spawn(["nginx", "-c", configuration], stderr=subprocess.DEVNULL)
        self.wait_for(self.port, self.secure_port)


class Lighttpd(Server):
    def __init__(self, folder, root):
        super().__init__("lighttpd")
        os.makedirs(folder)
        configuration = write(f"{folder}/lighttpd.conf", f"""
            server.document-root = "{root}"
            server.bind = "127.0.0.1"
            server.port = {self.port}
            server.max-keep-alive-requests = 65535
            server.errorlog = "{folder}/error.log"
            """)
        self.spawn(["lighttpd", "-D", "-f", configuration])
        self.wait_for(self.port)
