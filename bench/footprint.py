#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""footprint.py [--check | --parts] [BUILD_FOLDER...]: what the device takes of a machine that has little.

Prints, for each build folder, the sizes of the stripped files; for one that runs here also memory, threads and
the start of a device that nobody uses. With --check it fails when memory or
threads are more than they may be. With --parts it prints what each part costs that the settings can do without.
Needs binutils, and those of the other architectures for their sizes; --parts also needs ffmpeg.
"""

import base64
import contextlib
import json
import os
import re
import statistics
import subprocess
import sys
import tempfile
import urllib.request
from pathlib import Path

from library import make_music
from servers import free_port

ROOT = Path(__file__).resolve().parents[1]
# A device with 128 MB has other things to do; each thread takes a stack and an arena.
ANONYMOUS_LIMIT_KIB = 6 * 1024
THREAD_LIMIT = 4
TRACKS = 2000
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


@contextlib.contextmanager
def device(build, state, **settings):
    """A running device: its process's folder in /proc, and its URL."""
    port = free_port()
    values = {"webserver/port": port, "webserver/httpsPort": free_port(), **settings}
    process = subprocess.Popen(
        [build / "bin/plixhost", "--state", state,
         *(word for name, value in values.items() for word in ("--set", f"settings:/{name}={json.dumps(value)}"))],
        stdout=subprocess.PIPE)
    try:
        process.stdout.readline()
        yield Path("/proc", str(process.pid)), f"http://localhost:{port}"
    finally:
        process.terminate()
        process.wait()


def get(url):
    with urllib.request.urlopen(url) as reply:
        return reply.read()


def start(build, state):
    """KiB resident and anonymous, threads, and ms of processor time until the first answer, of one start."""
    with device(build, state) as (process, url):
        get(f"{url}/api/getData?path=player:player/volume&roles=title")
        nanoseconds = sum(int(task.read_text().split()[0]) for task in process.glob("task/*/schedstat"))
        return (field(process / "smaps_rollup", "Rss"), field(process / "smaps_rollup", "Anonymous"),
                field(process / "status", "Threads"), nanoseconds / 1e6)


def programs(process):
    """The device and what it has started."""
    children = (process / "task" / process.name / "children").read_text().split()
    return [process, *(Path("/proc", child) for child in children)]


def wait_until(url, path, is_so):
    value = None
    while value is None or not is_so(value):
        value, = json.loads(get(f"{url}/api/getData?path={path}&roles=value"))


def scan(url):
    wait_until(url, "media:scan", lambda value: value["state"] == "idle" and value["read"] + value["failed"] >= TRACKS)


def play(url):
    get(f"{url}/api/setData?path=player:player/play&role=activate&value=true")
    wait_until(url, "player:player/progress", lambda value: value["running"])


def fetch(url):
    own = base64.b64encode(f"{url}/api/getData?path=player:player/volume&roles=title".encode()).decode()
    get(f"{url}/proxy/{own}")


def parts(build, folder):
    music = f"{folder}/music"
    make_music(music, TRACKS)
    # What the settings are, and what makes the part work before memory is read.
    table = [("nothing of it", {}, None),
             ("HTTPS with the device's certificate", {"webserver/httpsPort": free_port()}, None),
             ("metrics, read once", {"webserver/metrics": True}, lambda url: get(f"{url}/metrics")),
             ("access log", {"webserver/accessLog": True}, None),
             ("proxy, after its first fetch", {}, fetch),
             (f"library of {TRACKS} tracks, once read", {"media/directory": music}, scan),
             ("GStreamer, playing", {"player/engine": "gstreamer", "player/output": "fakesink"}, play)]
    print("  | KiB | resident | anonymous | programs |\n  |---|---|---|---|")
    for title, settings, use in table:
        figures = []
        for _ in range(3):
            with device(build, f"{folder}/state {title}", **{"webserver/httpsPort": 0, **settings}) as (process, url):
                get(f"{url}/api/getData?path=player:player/volume&roles=title")
                if use:
                    use(url)
                running = programs(process)
                figures.append([sum(field(one / "smaps_rollup", name) for one in running)
                                for name in ("Rss", "Anonymous")] + [len(running)])
        resident, anonymous, count = map(statistics.median, zip(*figures))
        print(f"  | {title} | {resident} | {anonymous} | {count} |", flush=True)


def main():
    # Devices have files of fixed names in /tmp, and this machine may run another one.
    if "PLIX_OWN_TMP" not in os.environ:
        os.environ["PLIX_OWN_TMP"] = "yes"
        os.execvp("unshare", ["unshare", "-rm", ROOT / "tests/owntmp", sys.executable, *sys.argv])
    check, of_parts = "--check" in sys.argv, "--parts" in sys.argv
    builds = [Path(name).resolve() for name in sys.argv[1:] if not name.startswith("--")] or [ROOT / "build"]
    for build in builds:
        kind = machine(build / "bin/plixhost")
        print(f"{build.name}: {kind}")
        if of_parts:
            with tempfile.TemporaryDirectory() as folder:
                parts(build, folder)
            continue
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
