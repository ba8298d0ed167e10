# SPDX-License-Identifier: MIT
"""
Client of a device's data model: read, list and write nodes, and follow them live.

    device = Plix("http://localhost:8080")
    await device.set("player:player/volume", 25)
    async for volume in device.watch("player:player/volume"):
        print(volume)

A path names a worker and a node of it ("player:player/volume"). A node has a value under each of its
roles ("value", "title", ...); its value is usually a typed record such as {"i32_": 30}.
"""

from __future__ import annotations

import asyncio
import json
import logging
import ssl
from collections.abc import AsyncGenerator, Awaitable, Callable, Sequence
from http.client import HTTPException
from typing import Any, Optional
from urllib.parse import urlsplit

from ._http import post

__all__ = ["Json", "Plix", "PlixError", "Rows", "plain"]

# None, bool, int, float, str, or lists and dicts of them.
Json = Any
# By role.
Rows = list[dict[str, Json]]

# How long the device holds a poll that has nothing to tell.
POLL_SECONDS = 20
# A poll without any answer for this long means that the device or the network is gone.
POLL_LIMIT_SECONDS = POLL_SECONDS + 10
# Other requests are answered at once by a device that is there.
REQUEST_LIMIT_SECONDS = 15
FIRST_RETRY_SECONDS = 0.25
# A device starts in a few seconds; waiting longer would only make people wait for nothing.
LAST_RETRY_SECONDS = 4.0
# Rows of one request; a longer list is fetched in pieces.
ROWS_PER_REQUEST = 200
# A list that changes while it is fetched is fetched again, at most this many times.
LIST_ATTEMPTS = 5

TYPED_MEMBERS = {"string_", "bool_", "i32_", "i64_", "double_"}

log = logging.getLogger("plix")


class PlixError(Exception):
    """
    A failed request. Its text is the device's own.

    name is the data model's name of the error ("nodeNotFound", ...), "offline" when the device did not
    answer, "unknownQueue", or "http" for an answer that is none of the data model's. status is that of
    HTTP, 0 when there was no answer.
    """

    def __init__(self, message: str, name: str, status: int = 0) -> None:
        super().__init__(message)
        self.name = name
        self.status = status

    @property
    def passes(self) -> bool:
        """Whether the same request may succeed later."""
        return self.name in ("offline", "unknownQueue") or self.status == 503


def plain(value: Json) -> Json:
    """The plain value of a typed record ({"i32_": 30} gives 30); anything else as it is."""
    if isinstance(value, dict) and len(value) == 1 and TYPED_MEMBERS.issuperset(value):
        return next(iter(value.values()))
    return value


class Plix:
    """
    One device. It keeps no connections, so there is nothing to close; each loop over watch() or
    watch_list() has one that waits for events.
    """

    def __init__(self, base: str, context: Optional[ssl.SSLContext] = None) -> None:
        """
        base is where the device is ("http://192.168.1.5:8080"); ValueError if it is none. context says
        whom to trust over HTTPS: the system's authorities if None.
        """
        url = urlsplit(base)
        if url.scheme not in ("http", "https") or not url.hostname:
            raise ValueError(f"No address of a device: {base!r}")
        self._url = url._replace(path=url.path.rstrip("/"))
        self._context = context or (ssl.create_default_context() if url.scheme == "https" else None)

    async def get(self, path: str, roles: str | Sequence[str] = "value") -> Json:
        """
        Reads a node: the plain value of one role, else (several roles, or "@all") a dict of role to value
        as stored. PlixError.
        """
        names = [roles] if isinstance(roles, str) else list(roles)
        answer = await self._ask("getData", {"path": path, "roles": names, "type": "structure"})
        return plain(answer[roles]) if isinstance(roles, str) and roles != "@all" else answer

    async def list(self, path: str, roles: Sequence[str] = ("title", "value")) -> Rows:
        """Reads a whole list, in pieces that belong to one version of it. PlixError."""
        attempt = 1
        while True:
            try:
                return await self._pieces(path, roles)
            except PlixError as error:
                if error.name != "versionMismatch" or attempt == LIST_ATTEMPTS:
                    raise
            attempt += 1

    async def set(self, path: str, value: Json, role: str = "value") -> Json:
        """Writes one role of a node. Returns what the node answers, usually the value now stored. PlixError."""
        return await self._ask("setData", {"path": path, "role": role, "value": value})

    async def activate(self, path: str, argument: Json = True) -> Json:
        """Triggers an action node; True means "just do it". PlixError."""
        return await self.set(path, argument, "activate")

    def watch(self, path: str) -> AsyncGenerator[Json, None]:
        """
        Follows a node: its plain value now, after every change, and again after the connection was lost,
        which is tried again for ever. Values that follow each other quickly may be left out, the last
        never is. PlixError if the node cannot be read or not be followed. A loop that is left
        leaves nothing behind: the device drops queues that nobody polls.
        """

        async def told(event: dict[str, Json]) -> Json:
            return plain(event["value"])

        return self._follow(path, ("value",), lambda: self.get(path), told)

    def watch_list(self, path: str, roles: Sequence[str] = ("title", "value")) -> AsyncGenerator[Rows, None]:
        """Follows a list as watch() does a value: all rows each time. PlixError."""

        async def read(*_: Any) -> Rows:
            return await self.list(path, roles)

        return self._follow(path, ("rowsEvents", "rowsReset"), read, read)

    async def _follow(
        self,
        path: str,
        members: Sequence[str],
        read: Callable[[], Awaitable[Json]],
        told: Callable[[dict[str, Json]], Awaitable[Json]],
    ) -> AsyncGenerator[Json, None]:
        """What read gives, first and after each gap, and what told makes of events with such members."""
        retry = FIRST_RETRY_SECONDS
        while True:
            try:
                queue = await self._ask("event/modifyQueue", {"subscribe": [{"path": path}]})
                # Only now: no change after this is missed.
                yield await read()
                retry = FIRST_RETRY_SECONDS
                while True:
                    for event in await self._poll(queue):
                        if any(member in event for member in members):
                            yield await told(event)
            except PlixError as error:
                if not error.passes:
                    raise
                if retry == FIRST_RETRY_SECONDS:
                    log.warning("%s: %s", path, error)
            await asyncio.sleep(retry)
            retry = min(retry * 2, LAST_RETRY_SECONDS)

    async def _poll(self, queue: str) -> Rows:
        arguments = {"queueId": queue, "timeout": POLL_SECONDS}
        events: Rows = await self._ask("event/pollQueue", arguments, POLL_LIMIT_SECONDS)
        return events

    async def _pieces(self, path: str, roles: Sequence[str]) -> Rows:
        rows: Rows = []
        version = -1
        while True:
            piece = await self._ask("getRows", {
                "path": path, "roles": list(roles), "type": "structure", "version": version,
                "from": len(rows), "to": len(rows) + ROWS_PER_REQUEST - 1,
            })
            rows += piece["rows"]
            version = piece["version"]
            if not piece["rows"] or len(rows) >= piece["count"]:
                return rows

    async def _ask(self, verb: str, arguments: dict[str, Json], limit: float = REQUEST_LIMIT_SECONDS) -> Json:
        body = json.dumps(arguments).encode()
        try:
            status, answer = await asyncio.wait_for(
                post(self._url, f"/api/{verb}", body, self._context), limit)
        except (OSError, asyncio.TimeoutError, HTTPException) as error:
            raise PlixError(f"The device does not answer: {error!r}", "offline") from error
        text = answer.decode(errors="replace")
        try:
            parsed = json.loads(text)
        except ValueError:
            unknown = text.startswith("Unknown queue id!")
            raise PlixError(
                text.strip() or f"HTTP status {status}", "unknownQueue" if unknown else "http", status
            ) from None
        if status == 200:
            return parsed
        told = parsed.get("error", {}) if isinstance(parsed, dict) else {}
        raise PlixError(told.get("message", text), told.get("name", "http"), status)
