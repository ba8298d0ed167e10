# SPDX-License-Identifier: MIT
"""relay.py PORT FIFO: writes the body of each request into a FIFO, 64 KiB at a time, and nothing else:
the limit for an upload."""

import os
import re
import socket
import sys

PIECE = 65536

server = socket.create_server(("127.0.0.1", int(sys.argv[1])))
buffer = bytearray(PIECE)
view = memoryview(buffer)
while True:
    client, _ = server.accept()
    with client:
        data = client.recv(PIECE)
        if not data:  # asks whether this runs
            continue
        head, _, body = data.partition(b"\r\n\r\n")
        left = int(re.search(rb"Content-Length: (\d+)", head)[1]) - len(body)
        pipe = os.open(sys.argv[2], os.O_WRONLY)
        os.write(pipe, body)
        while left > 0 and (count := client.recv_into(buffer)):
            left -= count
            piece = view[:count]
            while piece:
                piece = piece[os.write(pipe, piece):]
        os.close(pipe)
        client.sendall(b"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n")
