# SPDX-License-Identifier: MIT
"""Measures the device beside a bare libsoup server, nginx and lighttpd. See ./run.

What is compared is the server's own processor time per request, which a busy machine disturbs less
than the requests per second. Servers run on the first of this process's processors, clients on the
last. The servers take turns in every round, so that whatever else the machine does meets all alike;
a figure is the median of its rounds.

Several builds of the device can be compared: --builds before=DIR after=DIR. Goals are the first's.
"""

import argparse
import os
import platform
import resource
import signal
import subprocess
import sys
import tempfile
import time
from statistics import median

from polls import Idle, Polls
from servers import CLIENT_CORE, Bare, Device, Lighttpd, Nginx, Relay, start_updater
from works import TRACK, VALUE, answers_of_the_device, make_site, make_works, system_calls

# Of one change to all waiting polls, and from the start to the first answer.
LATENCY_LIMIT_MS = 150
START_LIMIT_MS = 150
POLL_MEMORY_LIMIT = 1.3  # × bare
IDLE_MEMORY_LIMIT_KIB = 4
CLIENTS = 1000


def progress(text):
    print(text, file=sys.stderr, flush=True)


def make_certificate(folder):
    certificate, key = f"{folder}/certificate.pem", f"{folder}/key.pem"
    subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj",
                    "/CN=localhost", "-keyout", key, "-out", certificate],
                   check=True, capture_output=True)
    return certificate, key


def own_tmp():
    """The device's certificate has a fixed place in /tmp, where another device may keep its own."""
    if subprocess.run(["unshare", "-rm", "true"], capture_output=True).returncode:
        return ()
    return ("unshare", "-rm", "sh", "-c", 'mount -t tmpfs tmpfs /tmp && exec "$@"', "sh")


def start_servers(arguments, folder):
    """The devices, the others, and how the devices answer."""
    devices = [Device(build, folder, own_tmp(), name) for name, build in arguments.builds.items()]
    answers = answers_of_the_device(folder, devices[0])
    certificate, key = make_certificate(folder)
    others = [Bare(arguments.build, f"{folder}/bare", certificate, key),
              Nginx(f"{folder}/nginx", f"{folder}/files", certificate, key),
              Lighttpd(f"{folder}/lighttpd", f"{folder}/files"), Relay(folder)]
    return devices, others, answers


def chosen(works, part):
    """Those with this in their titles, and what they are compared with."""
    titled = [work for work in works if part in work.title]
    return [work for work in works if work in titled or any(other.base is work for other in titled)]


def run_works(works, servers, rounds):
    for number in range(rounds):
        for work in works:
            progress(f"round {number + 1}/{rounds}: {work.title}")
            for server in servers:
                if server.kind in work.paths:
                    work.measure(server)


def number(value):
    if value is None:
        return ""
    for unit in ("", "k", "M", "G"):
        if value < 1000:
            return f"{value:.3g}{unit}"
        value /= 1000
    return f"{value:.3g}T"


def verdict(value, limit, at_least=False):
    if limit is None or value is None:
        return ""
    return "yes" if (value >= limit if at_least else value <= limit) else "**no**"


class Table:
    """A figure for each server, and how that of the first device stands to its goal."""

    def __init__(self, devices, others):
        self.devices = [device.name for device in devices]
        self.names = self.devices + [other.name for other in others]
        # Each further build to the first.
        self.ratios = [f"{name} / {self.devices[0]}" for name in self.devices[1:]]
        head = ["", *self.names, "ratio", "goal", "met", *self.ratios]
        print(f"\n| {' | '.join(head)} |\n|{'---|' * len(head)}")

    def row(self, title, unit, values, ratio=None, goal="", met=""):
        """`values`: name of a server -> figure."""
        cells = [number(values.get(name)) for name in self.names]
        first = values[self.devices[0]]
        ratios = [f"{values[name] / first:.3f}" for name in self.devices[1:]]
        cells += [f"{ratio:.2f}" if ratio else "", goal, met, *ratios]
        print(f"| {f'{title}, {unit}' if unit else title} | {' | '.join(cells)} |", flush=True)


def print_works(table, works):
    for work in works:
        values = {name: work.value(name) for name in work.samples}
        at_least = work.figure == "rate"
        unit = "per s" if at_least else "µs"
        if not at_least:
            values = {name: value * 1e6 for name, value in values.items()}
        if work.base:
            values, unit = {name: work.ratio(name) for name in work.samples}, "ratio"
        ratio = work.ratio(table.devices[0])
        table.row(work.title, unit, values, ratio,
                  f"{'≥' if at_least else '≤'} {work.goal}" if work.goal else "",
                  verdict(ratio, work.goal, at_least))


def print_latencies(table, works):
    """For reading: the machine's pauses are in them."""
    for work, figure in ((works[0], "p50"), (works[0], "p99"), (works[1], "p50")):
        values = {name: work.value(name, figure) * 1e6 for name in work.samples}
        table.row(f"{work.title}: {figure}", "µs", values, values[table.devices[0]] / values["bare"])


def memory_of_idle(server):
    server.restart()
    path = VALUE if server.kind == "device" else "/value"
    Idle(server, path, 10).close()
    begin = server.memory()
    idle = Idle(server, path, CLIENTS)
    result = (server.memory() - begin) / CLIENTS / 1024
    idle.close()
    return result


def measure_polls(server, renewals):
    """The slowest of five changes in milliseconds; KiB per poll before and after renewals."""
    server.restart()
    Idle(server, VALUE if server.kind == "device" else "/value", 10).close()
    begin, polls = server.memory(), Polls(server)
    polls.grow(CLIENTS)
    memory = (server.memory() - begin) / CLIENTS / 1024
    delays = []
    for turn in range(5 + renewals):
        delays.append(polls.wake(turn + 1))
        polls.renew()
    grown = (server.memory() - begin) / CLIENTS / 1024
    polls.wake(10000)
    polls.close()
    return max(delays[:5]) * 1e3, memory, grown


def print_polls(table, servers, renewals):
    results = {}
    for server in servers:
        progress(f"polls: {server.name}")
        results[server.name] = measure_polls(server, renewals)
    first = table.devices[0]
    delays, memory, grown = ({name: result[index] for name, result in results.items()}
                             for index in range(3))
    ratio = memory[first] / memory["bare"]
    table.row(f"memory per waiting poll, {CLIENTS}", "KiB", memory, ratio, f"≤ {POLL_MEMORY_LIMIT}",
              verdict(ratio, POLL_MEMORY_LIMIT))
    table.row(f"the same after {5 + renewals} renewals", "KiB", grown, grown[first] / grown["bare"])
    table.row(f"one change to {CLIENTS} polls, slowest of 5", "ms", delays, delays[first] / delays["bare"],
              f"≤ {LATENCY_LIMIT_MS} ms", verdict(delays[first], LATENCY_LIMIT_MS))


def start_time(device):
    times = []
    for _ in range(5):
        device.restart()
        times.append(device.start_time * 1e3)
    return median(times)


def through_cat(folder):
    """Bytes per second of the track through a FIFO with nothing but cat at its ends."""
    pipe = f"{folder}/fifo"
    os.mkfifo(pipe)
    begin = time.monotonic()
    writer = subprocess.Popen(f"exec cat {folder}/media/track.wav > {pipe}", shell=True)
    subprocess.run(f"taskset -c {CLIENT_CORE} cat {pipe} > /dev/null", shell=True, check=True)
    writer.wait()
    os.unlink(pipe)
    return TRACK / (time.monotonic() - begin)


def print_others(table, arguments, folder, devices, bare, works):
    first, measured = devices[0].name, [*devices, bare]
    print_latencies(table, works)
    progress("system calls")
    calls = {server.name: system_calls(server, works[1].url(server), arguments.seconds)
             for server in measured}
    table.row("getData, one client: system calls per request", "", calls, calls[first] / calls["bare"])
    progress("idle connections")
    idle = {server.name: memory_of_idle(server) for server in measured}
    table.row(f"memory per idle connection, {CLIENTS}", "KiB", idle, idle[first] / idle["bare"],
              f"≤ {IDLE_MEMORY_LIMIT_KIB} KiB", verdict(idle[first], IDLE_MEMORY_LIMIT_KIB))
    print_polls(table, measured, arguments.renewals)
    if devices[0].offers("media:/track.wav"):
        cat = median(through_cat(folder) for _ in range(5))
        table.row("the relay's track through cat alone", "B/s", dict.fromkeys(table.devices, cat))
    started = {device.name: start_time(device) for device in devices}
    table.row("start to first answer", "ms", started, None, f"≤ {START_LIMIT_MS} ms",
              verdict(started[first], START_LIMIT_MS))


def describe_machine():
    with open("/proc/cpuinfo") as info:
        models = [line.split(":")[1].strip() for line in info if line.startswith("model name")]
    load = os.getloadavg()[0]
    print(f"{time.strftime('%Y-%m-%d')}, {len(models)} × {models[0]}, Linux {platform.release()}, "
          f"load {load:.1f} at the start")


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", required=True, type=os.path.abspath, help=argparse.SUPPRESS)
    parser.add_argument("--quick", action="store_true", help="one short round, fewer polls")
    parser.add_argument("--builds", nargs="+", default=[], metavar="NAME=DIR",
                        help="build folders of the device to compare, instead of the usual one")
    parser.add_argument("--only", default="", help="works whose title contains this, nothing else")
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--seconds", type=int, default=2, help="of each work in a round")
    parser.add_argument("--renewals", type=int, default=720,
                        help="of the first polls; at the usual time-out an hour brings so many")
    arguments = parser.parse_args()
    if arguments.quick:
        arguments.rounds, arguments.seconds, arguments.renewals = 1, 1, 5
    arguments.builds = {name: os.path.abspath(build) for name, build in
                        (entry.split("=", 1) for entry in arguments.builds)} or {
                            "device": arguments.build}
    return arguments


def main():
    arguments = parse_arguments()
    _, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (hard, hard))
    describe_machine()
    # Not below /tmp, which own_tmp() hides.
    with tempfile.TemporaryDirectory(dir=arguments.build) as folder:
        make_site(folder)
        devices, others, answers = start_servers(arguments, folder)
        updater = start_updater(folder)
        try:
            works = chosen(make_works(folder, devices[0], answers, arguments.seconds), arguments.only)
            run_works(works, devices + others, arguments.rounds)
            table = Table(devices, others)
            print_works(table, works)
            if not arguments.only:
                print_others(table, arguments, folder, devices, others[0], works)
        finally:
            for server in devices + others:
                server.stop()
            os.killpg(updater.pid, signal.SIGKILL)
            updater.wait()


if __name__ == "__main__":
    main()
