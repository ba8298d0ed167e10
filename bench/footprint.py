#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""footprint.py [--check] [BUILD_FOLDER...]: what the device takes of a machine that has little.

Prints, for each build folder, the sizes of the stripped files; for one that runs here also memory, threads and
the start of a device that nobody uses. With --check it fails when memory or
threads are more than they may be. Needs binutils, and those of the other architectures for their sizes.
"""

import os
import re
import statistics
import subprocess
import sys
import tempfile
import urllib.request
from pathlib import Path

from servers import free_port

ROOT = Path(__file__).resolve().parents[1]
# A device with 128 MB has other things to do; each thread takes a stack and an arena.
ANONYMOUS_LIMIT_KIB = 6 * 1024
THREAD_LIMIT = 4
LIBRARIES = ["libplix_webserver.so", "libplix_api.so", "libplix_http_client.so", "libplix_processhandler.so"]
SIMULATOR = ["plixhost", "libplix_firmware.so", "libplix_media.so", "libplix_network.so", "libplix_player.so",
             "libplix_settings.so", "plix-media-scan"]
OPTIONAL = ["plix-playback"]
STRIP = {"AArch64": "aarch64-linux-gnu-strip", "ARM": "arm-linux-gnueabihf-strip"}


def machine(file):
    head = subprocess.run(["readelf", "-h", file], capture_output=True, text=True, check=True).stdout
    return re.search(r"Machine: +(.*)", head)[1]


def stripped_size(file):
    with tempfile.TemporaryDirectory() as folder:
        copy = Path(folder, file.name)
        strip = STRIP.get(machine(file), "strip")
        subprocess.run([strip, "--strip-unneeded", "-o", copy, file], check=True)
        return copy.stat().st_size


def sizes(build):
    for title, names in (("plug-in and libraries", LIBRARIES), ("simulated device", SIMULATOR),
                         ("GStreamer program", OPTIONAL)):
        found = {name: stripped_size(path) for name in names
                 for path in [build / "bin" / name, build / "lib" / name] if path.exists()}
        for name, size in found.items():
            print(f"  {name}: {size / 1024:.0f} KiB stripped")
        print(f"  {title}: {sum(found.values()) / 1024:.0f} KiB")


def field(file, name):
    return int(re.search(rf"^{name}:\s+(\d+)", Path(file).read_text(), re.M)[1])


def start(build, state):
    """KiB resident and anonymous, threads, and ms of processor time until the first answer, of one start."""
    port = free_port()
    device = subprocess.Popen(
        [build / "bin/plixhost", "--state", state, "--set", f"settings:/webserver/port={port}",
         "--set", f"settings:/webserver/httpsPort={free_port()}"], stdout=subprocess.PIPE)
    try:
        device.stdout.readline()
        url = f"http://localhost:{port}/api/getData?path=player:player/volume&roles=title"
        urllib.request.urlopen(url).close()
        process = Path("/proc", str(device.pid))
        nanoseconds = sum(int(task.read_text().split()[0]) for task in process.glob("task/*/schedstat"))
        return (field(process / "smaps_rollup", "Rss"), field(process / "smaps_rollup", "Anonymous"),
                field(process / "status", "Threads"), nanoseconds / 1e6)
    finally:
        device.terminate()
        device.wait()


def main():
    # Devices have files of fixed names in /tmp, and this machine may run another one.
    if "PLIX_OWN_TMP" not in os.environ:
        os.environ["PLIX_OWN_TMP"] = "yes"
        os.execvp("unshare", ["unshare", "-rm", ROOT / "tests/owntmp", sys.executable, *sys.argv])
    check = "--check" in sys.argv
    builds = [Path(name).resolve() for name in sys.argv[1:] if name != "--check"] or [ROOT / "build"]
    for build in builds:
        kind = machine(build / "bin/plixhost")
        print(f"{build.name}: {kind}")
        if not check:
            sizes(build)
        if kind not in STRIP:
            with tempfile.TemporaryDirectory() as state:
                # The first one makes an authority.
                starts = [start(build, state) for _ in range(6)][1:]
            resident, anonymous, threads, spent = map(statistics.median, zip(*starts))
            print(f"  resident {resident} KiB, anonymous {anonymous} KiB, {threads} threads, "
                  f"{spent:.0f} ms of processor time until the first answer")
            if check and (anonymous > ANONYMOUS_LIMIT_KIB or threads > THREAD_LIMIT):
                sys.exit(f"more than {ANONYMOUS_LIMIT_KIB} KiB anonymous or {THREAD_LIMIT} threads")


if __name__ == "__main__":
    main()
