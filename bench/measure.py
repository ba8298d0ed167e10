"""Measures the device beside a bare libsoup server, nginx and lighttpd. See ./run.

Servers run on the first of this process's processors, clients on the last. The servers take turns
in every round, so that whatever else the machine does meets all alike; a figure is the median of
its rounds. A busy machine disturbs the processor time that a server spends on a request less than
the requests per second.
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

from polls import Polls
from servers import CLIENT_CORE, Bare, Device, Lighttpd, Nginx, start_updater
from works import TRACK, answers_of_the_device, make_site, make_works

LATENCY_LIMIT = 0.150
START_LIMIT = 0.150
MEMORY_LIMIT = 1.4


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


def start_servers(build, folder):
    device = Device(build, folder, wrapper=own_tmp())
    answers_of_the_device(folder, device)
    certificate, key = make_certificate(folder)
    return [device, Bare(build, f"{folder}/bare", certificate, key),
            Nginx(f"{folder}/nginx", f"{folder}/files", certificate, key),
            Lighttpd(f"{folder}/lighttpd", f"{folder}/files")]


def run_works(works, servers, rounds):
    for number in range(rounds):
        for work in works:
            progress(f"round {number + 1}/{rounds}: {work.title}")
            for server in servers:
                if server.name in work.urls:
                    work.measure(server)


def number(value):
    if value is None:
        return ""
    for unit in ("", "k", "M", "G"):
        if value < 1000:
            return f"{value:.3g}{unit}"
        value /= 1000
    return f"{value:.3g}T"


def verdict(value, limit, at_least):
    if limit is None or value is None:
        return ""
    return "yes" if (value >= limit if at_least else value <= limit) else "**no**"


def table(head, rows):
    print(f"\n| {' | '.join(head)} |\n|{'---|' * len(head)}")
    for row in rows:
        print(f"| {' | '.join(row)} |")


def print_works(works):
    rows = []
    for work in works:
        ratios = [ratio for other in work.compared if (ratio := work.ratio(other))]
        ratio = min(ratios, default=None)
        cpu = work.ratio(work.compared[0], "cpu")
        rows.append([
            work.title, *(number(work.figure(name)) for name in ("device", "bare", "nginx",
                                                                   "lighttpd")),
            f"{ratio:.2f}" if ratio else "", f"{work.goal:.2f}" if work.goal else "",
            verdict(ratio, work.goal, True), f"{cpu:.2f}" if cpu else "",
            f"{work.figure('device', 'cpu') * 1e6:.0f}"])
    table(["per second", "device", "bare", "nginx", "lighttpd", "ratio", "goal", "met", "CPU ratio",
           "CPU µs"], rows)


def polls_rows(servers, counts, renewals):
    results = {}
    for server in servers[:2]:
        progress(f"polls: {server.name}")
        # Without what the works before have left behind.
        begin, polls = server.memory(), Polls(server)
        figures = results[server.name] = {"memory": [], "delays": []}
        for count in counts:
            polls.grow(count)
            figures["memory"].append((server.memory() - begin) / count)
            if count == counts[0]:
                # The first one also pays for memory that is asked of the system.
                for turn in range(5):
                    figures["delays"].append(polls.wake(turn + 1))
                    polls.renew()
                for turn in range(renewals):
                    polls.wake(turn + 100)
                    polls.renew()
                figures["grown"] = (server.memory() - begin) / count
        polls.wake(10000)
        polls.close()
    device, bare = results["device"], results["bare"]
    rows = []
    delay = max(device["delays"])
    rows.append([f"one change to {counts[0]} polls, slowest of 5", f"{delay * 1e3:.0f} ms",
                 f"{max(bare['delays']) * 1e3:.0f} ms", "150 ms",
                 verdict(delay, LATENCY_LIMIT, False)])
    for index, count in enumerate(counts):
        ours, theirs = device["memory"][index], bare["memory"][index]
        rows.append([f"memory per poll, {count} waiting", f"{ours / 1024:.1f} KiB",
                     f"{theirs / 1024:.1f} KiB", f"{MEMORY_LIMIT} × bare",
                     verdict(ours, MEMORY_LIMIT * theirs, False) + f" ({ours / theirs:.2f})"])
    rows.append([f"memory per poll, {counts[0]} waiting, after {5 + renewals} renewals",
                 f"{device['grown'] / 1024:.1f} KiB", f"{bare['grown'] / 1024:.1f} KiB", "", ""])
    return rows


def start_times(build, folder, device, count):
    times = []
    for _ in range(count):
        device.stop()
        device.__init__(build, folder, wrapper=own_tmp())
        times.append(device.start_time)
    return times


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


def other_rows(arguments, folder, servers, works):
    rows = polls_rows(servers, arguments.polls, arguments.renewals)
    ours, theirs = (works[0].figure(name, "p99") for name in ("device", "bare"))
    if ours and theirs:
        rows.append(["99th percentile, getData, 16 connections", f"{ours * 1e3:.2f} ms",
                     f"{theirs * 1e3:.2f} ms", "1.0 × bare", verdict(ours, theirs, False)])
    if servers[0].offers("media:/track.wav"):
        cat = median(through_cat(folder) for _ in range(5))
        rows.append(["the same track through cat", number(cat) + "B/s", "", "", ""])
    started = median(start_times(arguments.build, folder, servers[0], 5))
    rows.append(["start to first answer", f"{started * 1e3:.0f} ms", "", "150 ms",
                 verdict(started, START_LIMIT, False)])
    return rows


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
    parser.add_argument("--only", default="", help="works whose title contains this, nothing else")
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--seconds", type=int, default=2, help="of each work in a round")
    parser.add_argument("--renewals", type=int, default=720,
                        help="of the first polls; at the usual time-out an hour brings so many")
    arguments = parser.parse_args()
    arguments.polls = [1000, 10000]
    if arguments.quick:
        arguments.rounds, arguments.seconds, arguments.renewals = 1, 1, 5
        arguments.polls = [1000]
    return arguments


def main():
    arguments = parse_arguments()
    _, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (hard, hard))
    describe_machine()
    # Not below /tmp, which own_tmp() hides.
    with tempfile.TemporaryDirectory(dir=arguments.build) as folder:
        make_site(folder)
        servers = start_servers(arguments.build, folder)
        updater = start_updater(folder)
        try:
            works = [work for work in make_works(folder, servers, arguments.seconds)
                     if arguments.only in work.title]
            run_works(works, servers, arguments.rounds)
            print_works(works)
            if not arguments.only:
                table(["", "device", "bare", "goal", "met"],
                      other_rows(arguments, folder, servers, works))
        finally:
            for server in servers:
                server.stop()
            os.killpg(updater.pid, signal.SIGKILL)
            updater.wait()


if __name__ == "__main__":
    main()
