# SPDX-License-Identifier: MIT
"""
Controls a device from the shell; values are JSON:

    control.py http://DEVICE:8080 get player:player/volume
    control.py http://DEVICE:8080 list player:queue
    control.py http://DEVICE:8080 set player:player/volume 25
    control.py http://DEVICE:8080 activate player:player/play
"""

import argparse
import asyncio
import json
import sys

from plix import Json, Plix, PlixError


async def main() -> None:
    parser = argparse.ArgumentParser(description="Controls a device.")
    parser.add_argument("device", help="where it is: http://DEVICE:8080")
    parser.add_argument("verb", choices=["get", "list", "set", "activate"])
    parser.add_argument("path")
    parser.add_argument("value", nargs="?", type=json.loads, default=True, help="as JSON")
    arguments = parser.parse_args()

    device = Plix(arguments.device)
    answer: Json
    if arguments.verb == "get":
        answer = await device.get(arguments.path)
    elif arguments.verb == "list":
        answer = await device.list(arguments.path)
    elif arguments.verb == "set":
        answer = await device.set(arguments.path, arguments.value)
    else:
        answer = await device.activate(arguments.path, arguments.value)
    print(json.dumps(answer))


try:
    asyncio.run(main())
except PlixError as error:
    sys.exit(f"{error.name}: {error}")
