# SPDX-License-Identifier: MIT
"""Prints the volume, now and whenever it changes: follow_volume.py [http://DEVICE:8080]"""

import asyncio
import sys

from plix import Plix


async def main() -> None:
    device = Plix(sys.argv[1] if len(sys.argv) > 1 else "http://localhost:8080")
    async for volume in device.watch("player:player/volume"):
        print(volume, flush=True)


asyncio.run(main())
