#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Measures how fast the media library and Debian's mpd read the same folder of music.

Makes a folder of small tagged files (MP3 and FLAC), has both read it from nothing and look through it
again when nothing has changed, and prints tracks per second and resident memory. The files are in the
page cache for both. Also prints how long searches take and which turns of the event loop were too long.

    bench/library.py [--build build-release] [--tracks 20000] [--keep FOLDER]
"""

import argparse
import json
import os
import re
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time
import urllib.parse
import urllib.request

from servers import free_port

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
TRACKS_OF_ALBUM = 12
ALBUMS_OF_ARTIST = 5
GENRES = ("Jazz", "Rock", "Klassik", "Électro", "民謡")
WORDS = ("Harbour", "Søster", "Straße", "Été", "Night", "Łódź", "Rimsky-Korsakov", "東京", "Paper", "Boat")


def tags_of(number):
    album = number // TRACKS_OF_ALBUM
    artist = album // ALBUMS_OF_ARTIST
    words = [WORDS[number % 10], WORDS[number // 10 % 10], WORDS[number // 100 % 10]]
    return {"title": f"{' '.join(words)} {number}", "artist": f"{WORDS[artist % 10]} Artist {artist}",
            "album": f"Album {album}", "track": str(number % TRACKS_OF_ALBUM + 1), "year": str(1950 + album % 70),
            "genre": GENRES[album % len(GENRES)]}


def encoded(codec):
    """A second of a tone without tags."""
    return subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", "sine=duration=1", "-map_metadata", "-1",
                           "-fflags", "+bitexact", "-id3v2_version", "0", "-f", codec, "-"],
                          check=True, stdout=subprocess.PIPE).stdout


def mp3(sound, tags):
    names = {"title": "TIT2", "artist": "TPE1", "album": "TALB", "track": "TRCK", "year": "TYER", "genre": "TCON"}
    frames = b""
    for key, name in names.items():
        content = b"\x01" + tags[key].encode("utf-16")
        frames += name.encode() + struct.pack(">IH", len(content), 0) + content
    size = bytes(len(frames) >> shift & 0x7F for shift in (21, 14, 7, 0))
    return b"ID3\x03\x00\x00" + size + frames + sound


def flac(sound, tags):
    names = {"title": "TITLE", "artist": "ARTIST", "album": "ALBUM", "track": "TRACKNUMBER", "year": "DATE",
             "genre": "GENRE"}
    comments = [f"{name}={tags[key]}".encode() for key, name in names.items()]
    block = struct.pack("<II", 0, len(comments)) + b"".join(struct.pack("<I", len(text)) + text for text in comments)
    # The first block of the stream describes the sound; the audio begins after the last one.
    at, is_last = 4, False
    while not is_last:
        is_last = sound[at] & 0x80
        at += 4 + int.from_bytes(sound[at + 1:at + 4], "big")
    return sound[:4] + b"\x00" + sound[5:42] + b"\x84" + len(block).to_bytes(3, "big") + block + sound[at:]


def make_music(folder, count):
    sounds = (("mp3", mp3, encoded("mp3")), ("flac", flac, encoded("flac")))
    for number in range(count):
        album = number // TRACKS_OF_ALBUM
        place = f"{folder}/Artist {album // ALBUMS_OF_ARTIST}/Album {album}"
        ending, pack, sound = sounds[album % 2]
        os.makedirs(place, exist_ok=True)
        with open(f"{place}/{number % TRACKS_OF_ALBUM + 1:02} {WORDS[number % 10]}.{ending}", "wb") as file:
            file.write(pack(sound, tags_of(number)))


def memory_mib(pid):
    with open(f"/proc/{pid}/status") as status:
        return int(re.search(r"VmRSS:\s+(\d+)", status.read()).group(1)) / 1024


def processor_seconds(pid):
    """Of the process and the children that it has waited for, and those that still run."""
    with open(f"/proc/{pid}/stat") as stat:
        fields = stat.read().rpartition(")")[2].split()
    children = subprocess.run(["pgrep", "-P", str(pid)], stdout=subprocess.PIPE, text=True).stdout.split()
    return (sum(map(int, fields[11:15])) / os.sysconf("SC_CLK_TCK")
            + sum(processor_seconds(child) for child in children))


class Device:
    """The library of a device."""

    name = "device"

    def __init__(self, build, music, folder):
        self.port = free_port()
        self.log = open(f"{folder}/device.log", "w+")
        self.process = subprocess.Popen(
            [f"{build}/bin/plixhost", "--state", f"{folder}/state", "--set", f"settings:/webserver/port={self.port}",
             "--set", "settings:/webserver/httpsPort=0", "--set", f"settings:/media/directory={json.dumps(music)}"],
            stdout=subprocess.PIPE, stderr=self.log, text=True)
        self.process.stdout.readline()

    def get(self, path):
        with urllib.request.urlopen(f"http://127.0.0.1:{self.port}/api/{path}", timeout=60) as reply:
            return json.load(reply)

    def tracks(self):
        """Those in the list, once nothing is being read."""
        scan, = self.get("getData?path=media:scan&roles=value")
        if scan["state"] != "idle" or scan["read"] + scan["failed"] < scan["found"]:
            return 0
        return self.get("getRows?path=media:/&roles=title&from=0&to=0")["count"]

    def update(self):
        self.get("setData?path=media:scan/start&role=activate&value=true")

    def searches(self):
        """The longest of some, in milliseconds, with the rows that a page shows."""
        times = []
        for text in ("sos", "strasse", "korsakov night", "京", "1999", "a", "nothing at all"):
            begin = time.monotonic()
            self.get("getRows?roles=title,description,icon,value&from=0&to=50&path=media:/search/"
                     + urllib.parse.quote(text))
            times.append((time.monotonic() - begin) * 1000)
        return max(times)

    def end(self):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait()
        self.log.seek(0)
        return re.findall(r"A turn of the event loop.*", self.log.read())


class Mpd:
    """Debian's music player daemon."""

    name = "mpd"

    def __init__(self, _build, music, folder):
        self.port = free_port()
        with open(f"{folder}/mpd.conf", "w") as file:
            file.write(f'music_directory "{music}"\ndb_file "{folder}/mpd.db"\nbind_to_address "127.0.0.1"\n'
                       f'port "{self.port}"\nlog_file "{folder}/mpd.log"\nauto_update "no"\n'
                       'audio_output {\n type "null"\n name "null"\n}\n')
        self.process = subprocess.Popen(["mpd", "--no-daemon", f"{folder}/mpd.conf"], stderr=subprocess.DEVNULL)
        while True:
            try:
                self.socket = socket.create_connection(("127.0.0.1", self.port))
                break
            except ConnectionRefusedError:
                time.sleep(0.05)
        self.lines = self.socket.makefile()
        self.lines.readline()
        self.update()

    def ask(self, command):
        self.socket.sendall(command.encode() + b"\n")
        answer = ""
        for line in self.lines:
            if line.startswith(("OK", "ACK")):
                return answer
            answer += line

    def tracks(self):
        if "updating_db" in self.ask("status"):
            return 0
        return int(re.search(r"songs: (\d+)", self.ask("stats")).group(1))

    def update(self):
        self.ask("update")

    def searches(self):
        begin = time.monotonic()
        self.ask('search any "korsakov" window 0:50')
        return (time.monotonic() - begin) * 1000

    def end(self):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait()
        return []


def seconds_until(server, count, begin):
    while server.tracks() != count:
        time.sleep(0.02)
    return time.monotonic() - begin


def measure(kind, build, music, count):
    with tempfile.TemporaryDirectory() as folder:
        begin = time.monotonic()
        server = kind(build, music, folder)
        cold = seconds_until(server, count, begin)
        spent = processor_seconds(server.process.pid)
        again = time.monotonic()
        server.update()
        unchanged = seconds_until(server, count, again)
        figures = [count / cold, count / unchanged, memory_mib(server.process.pid), server.searches()]
        turns = server.end()
        begin = time.monotonic()
        if kind is Device:
            server = kind(build, music, folder)
            seconds = seconds_until(server, count, begin)
            print(f"{kind.name}: all tracks {seconds * 1000:.0f} ms after the second start")
            turns += server.end()
    print(f"{kind.name}: {figures[0]:.0f} tracks/s from nothing ({spent:.1f} s of processor time), "
          f"{figures[1]:.0f} unchanged, "
          f"{figures[2]:.0f} MiB, search {figures[3]:.0f} ms")
    for turn in turns:
        print(f"  {turn}")
    return figures


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", default=f"{ROOT}/build-release")
    parser.add_argument("--tracks", type=int, default=20000)
    parser.add_argument("--keep", help="folder for the music, made if it is not there")
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory() as scratch:
        music = os.path.abspath(arguments.keep or f"{scratch}/music")
        if not os.path.isdir(music):
            make_music(music, arguments.tracks)
        # Files that were written just now are left alone at first.
        time.sleep(6)
        ours, theirs = (measure(kind, arguments.build, music, arguments.tracks) for kind in (Device, Mpd))
    return 0 if ours[0] > theirs[0] and ours[1] > theirs[1] else 1


if __name__ == "__main__":
    sys.exit(main())
