# SPDX-License-Identifier: MIT
"""One request over a connection of its own, as the standard library has no HTTP for asyncio."""

from __future__ import annotations

import asyncio
import io
import socket
import ssl
from contextlib import suppress
from http.client import HTTPResponse
from typing import Optional, cast
from urllib.parse import SplitResult


class _Answer:
    """All that came, in the place of the socket that HTTPResponse reads from."""

    def __init__(self, raw: bytes) -> None:
        self._raw = raw

    def makefile(self, *_: object) -> io.BytesIO:
        return io.BytesIO(self._raw)


async def post(
    url: SplitResult, path: str, body: bytes, context: Optional[ssl.SSLContext]
) -> tuple[int, bytes]:
    """
    Posts JSON to path below url; the status and the body of the answer. OSError; HTTPException for an
    answer that is none or breaks off.
    """
    port = url.port or (443 if url.scheme == "https" else 80)
    reader, writer = await asyncio.open_connection(url.hostname, port, ssl=context)
    try:
        host = url.netloc.rpartition("@")[2]
        writer.write(
            f"POST {url.path}{path} HTTP/1.1\r\nHost: {host}\r\nConnection: close\r\n"
            f"Content-Type: application/json\r\nContent-Length: {len(body)}\r\n\r\n".encode() + body
        )
        await writer.drain()
        raw = await reader.read()
    finally:
        writer.close()
        # The answer is there, or somebody has given up.
        with suppress(OSError):
            await writer.wait_closed()
    answer = HTTPResponse(cast(socket.socket, _Answer(raw)), method="POST")
    answer.begin()
    return answer.status, answer.read()
