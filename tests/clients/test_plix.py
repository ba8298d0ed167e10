# SPDX-License-Identifier: MIT
"""test_plix.py HTTP_URL HTTPS_URL CA_FILE EXAMPLES: the Python client against a device."""

import asyncio
import ssl
import sys
import unittest
from pathlib import Path
from urllib.parse import urlsplit

from plix import Plix, PlixError

HTTP, HTTPS, CA_FILE, EXAMPLES = sys.argv[1:5]
VOLUME = "player:player/volume"


class Relay:
    """A way to the device that can break."""

    def __init__(self):
        self.writers = []

    async def start(self):
        self.server = await asyncio.start_server(self.pass_on, "127.0.0.1", 0)
        return "http://127.0.0.1:%d/" % self.server.sockets[0].getsockname()[1]

    async def pass_on(self, reader, writer):
        device_reader, device_writer = await asyncio.open_connection("127.0.0.1", urlsplit(HTTP).port)
        self.writers += [writer, device_writer]

        async def copy(source, sink):
            try:
                while data := await source.read(65536):
                    sink.write(data)
            except OSError:
                pass
            sink.close()

        await asyncio.gather(copy(reader, device_writer), copy(device_reader, writer))

    def break_all(self):
        for writer in self.writers:
            writer.transport.abort()
        self.writers.clear()


async def lines_of(name, *arguments):
    return await asyncio.create_subprocess_exec(
        sys.executable, str(Path(EXAMPLES) / name), *arguments, stdout=asyncio.subprocess.PIPE)


class ClientTest(unittest.IsolatedAsyncioTestCase):
    async def asyncSetUp(self):
        self.device = Plix(HTTP)
        await self.device.set(VOLUME, 30)

    async def test_reads_writes_and_names_errors(self):
        secure = Plix(HTTPS, ssl.create_default_context(cafile=CA_FILE))
        for device in (self.device, secure):
            self.assertEqual(await device.set(VOLUME, {"i32_": 31}), {"i32_": 31})
            self.assertEqual(await device.get(VOLUME), 31)
            self.assertEqual(await device.get(VOLUME, ["title"]), {"title": "Volume"})
            self.assertEqual((await device.get(VOLUME, "@all"))["maximum"], 100)
        for call, name, status in [
            (self.device.get("nobody:x"), "workerNotFound", 500),
            (self.device.set(VOLUME, 101), "outOfRange", 500),
            (self.device.activate(VOLUME), "notModifiable", 500),
            (anext(self.device.watch("nobody:x")), "workerNotFound", 500),
            (anext(self.device.watch("x" * 1025)), "http", 400),
            (Plix("http://127.0.0.1:1").get(VOLUME), "offline", 0),
            (Plix(HTTPS).get(VOLUME), "offline", 0),
        ]:
            with self.assertRaises(PlixError) as raised:
                await call
            self.assertEqual((raised.exception.name, raised.exception.status), (name, status))
        for base in ("localhost:8080", "192.168.1.5", ""):
            self.assertRaises(ValueError, Plix, base)

    async def test_lists_what_takes_several_requests(self):
        rows = await self.device.list("player:queue", ["title"])
        self.assertEqual([row["title"] for row in rows], [f"Track {index}" for index in range(450)])

    async def test_follows_also_across_a_lost_connection(self):
        relay = Relay()
        device = Plix(await relay.start())
        volumes = device.watch(VOLUME)
        queue = device.watch_list("player:queue", ["title"])
        self.assertEqual(await anext(volumes), 30)
        self.assertEqual(len(await anext(queue)), 450)
        for breaks, volume in [(False, 41), (True, 42), (False, 43)]:
            with self.subTest(breaks=breaks):
                following = asyncio.create_task(anext(volumes))
                # The poll may wait by now, or not: nothing may be missed either way.
                await self.device.set(VOLUME, volume)
                if breaks:
                    relay.break_all()
                seen = await following
                while seen != volume:
                    seen = await anext(volumes)
        await self.device.activate("player:queue/move", {"index": 0, "toIndex": 1})
        rows = await anext(queue)
        while rows[0]["title"] != "Track 1":
            rows = await anext(queue)
        await self.device.activate("player:queue/move", {"index": 1, "toIndex": 0})
        for following in (volumes, queue):
            await following.aclose()
        relay.server.close()

    async def test_examples(self):
        control = await lines_of("control.py", HTTP, "set", VOLUME, "33")
        self.assertEqual((await control.communicate())[0], b'{"i32_": 33}\n')
        follow = await lines_of("follow_volume.py", HTTP)
        self.assertEqual(await follow.stdout.readline(), b"33\n")
        follow.terminate()
        await follow.communicate()


unittest.main(argv=sys.argv[:1])
