# SPDX-License-Identifier: MIT
"""Instructions of the processor for one request of each work. See ./instructions."""

import argparse
import glob
import http.client
import os
import re
import socket
import ssl
import subprocess
import tempfile
import urllib.parse

from measure import make_certificate, own_tmp
from servers import Bare, Device
from works import CONNECTIONS, answers_of_the_device, make_site, make_works

# On each connection.
WARM_UP, REQUESTS = 5, 40


def connect(parts):
    client = socket.create_connection((parts.hostname, parts.port))
    if parts.scheme == "https":
        client = ssl._create_unverified_context().wrap_socket(client)
    return client


class Clients:
    """Several connections, on each of which one request waits at a time, as under load."""

    def __init__(self, url):
        parts = urllib.parse.urlsplit(url)
        self.request = f"GET {parts.path}?{parts.query} HTTP/1.1\r\nHost: localhost\r\n\r\n".encode()
        self.sockets = [connect(parts) for _ in range(CONNECTIONS)]

    def ask(self, count):
        for _ in range(count):
            for client in self.sockets:
                client.sendall(self.request)
            for client in self.sockets:
                reply = http.client.HTTPResponse(client)
                reply.begin()
                reply.read()
                assert reply.status == 200, reply.status

    def close(self):
        for client in self.sockets:
            client.close()


class Profiled:
    """A server under callgrind, which counts only while it is asked to."""

    def __init__(self, folder, profile, start):
        self.prefix, self.profile = f"{folder}/vgdb", profile
        for old in glob.glob(f"{profile}*"):
            os.unlink(old)
        self.server = start(("valgrind", "-q", "--tool=callgrind", "--dump-instr=no",
                             f"--vgdb-prefix={self.prefix}",
                             f"--callgrind-out-file={profile}.%p"))

    def tell(self, command):
        for process in self.server.processes:
            subprocess.run(["vgdb", f"--vgdb-prefix={self.prefix}", f"--pid={process.pid}", command],
                           check=True, capture_output=True)

    def count(self, url):
        """Instructions per request."""
        clients = Clients(url)
        clients.ask(WARM_UP)
        self.tell("zero")
        clients.ask(REQUESTS)
        self.tell("dump")
        clients.close()
        pids = [process.pid for process in self.server.processes]
        self.server.stop()
        result = 0
        for pid in pids:
            with open(f"{self.profile}.{pid}.1") as profile:
                result += int(re.search(r"^(?:summary|totals): (\d+)", profile.read(), re.M)[1])
        return result / REQUESTS / CONNECTIONS


def count(name, work, folder, profiles, start):
    profile = f"{profiles}/{re.sub('[^A-Za-z0-9]+', '-', work.title)}.{name}"
    profiled = Profiled(folder, profile, start)
    return profiled.count(work.url(profiled.server))


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", required=True, type=os.path.abspath, help=argparse.SUPPRESS)
    parser.add_argument("--device-only", action="store_true")
    parser.add_argument("only", nargs="?", default="")
    arguments = parser.parse_args()
    build, profiles = arguments.build, f"{arguments.build}/callgrind"
    os.makedirs(profiles, exist_ok=True)

    with tempfile.TemporaryDirectory(dir=build) as folder:
        make_site(folder)
        certificate = make_certificate(folder)
        device = Device(build, folder, wrapper=own_tmp())
        answers = answers_of_the_device(folder, device)
        works = [work for work in make_works(folder, device, answers, 0)
                 if arguments.only in work.title and work.compared == ("bare",)
                 and not work.base and "bare" in work.paths
                 and not re.match("upload|getData, one", work.title)]
        device.stop()
        starts = {
            "device": lambda wrapper: Device(build, folder, wrapper=(*own_tmp(), *wrapper)),
            "bare": lambda wrapper: Bare(build, f"{folder}/bare", *certificate, wrapper=wrapper)}
        if arguments.device_only:
            del starts["bare"]
        print(f"| instructions per request | {' | '.join(starts)} | ratio |")
        print("|---|" + "---|" * len(starts) + "---|")
        for work in works:
            figures = [count(name, work, folder, profiles, start) for name, start in starts.items()]
            print(f"| {work.title} | {' | '.join(f'{figure:.0f}' for figure in figures)} | "
                  f"{figures[0] / figures[-1]:.2f} |", flush=True)
    print(f"\nProfiles: {profiles}")


if __name__ == "__main__":
    main()
