# SPDX-License-Identifier: MIT
"""Many clients with a connection each: idle ones, and such that wait for one change."""

import http.client
import selectors
import socket
import sys
import time

HEAD = b" HTTP/1.1\r\nHost: localhost\r\n\r\n"
# libsoup lets ten clients wait for their turn to connect; one more would try again after a second.
CLIENTS_AT_ONCE = 8
# Longer than any measurement takes.
POLL_TIMEOUT_S = 300


def ask(client, path):
    client.sendall(b"GET " + path + HEAD)
    reply = http.client.HTTPResponse(client)
    reply.begin()
    return reply.read()


def is_whole(reply):
    """An answer to a poll."""
    return reply.endswith(b"]\n" if b"Content-Length:" in reply else b"\r\n0\r\n\r\n")


class Idle:
    """Each has had an answer."""

    def __init__(self, server, path, count):
        self.server, self.path, self.clients = server, path.encode(), []
        for _ in range(count):
            client = socket.create_connection(("127.0.0.1", server.port), timeout=30)
            self.clients.append(client)
            ask(client, self.path)

    def close(self):
        """Returns when the server has noticed."""
        for client in self.clients:
            client.close()
        for _ in range(3):
            with socket.create_connection(("127.0.0.1", self.server.port), timeout=30) as client:
                ask(client, self.path)


class Polls:
    def __init__(self, server):
        self.server = server
        self.clients = {}  # connection -> request of its poll
        self.selector = selectors.DefaultSelector()

    def request_for(self, client):
        if self.server.kind == "bare":
            return b"GET /wait" + HEAD
        reply = ask(client, b"/api/event/modifyQueue?subscribe=[%7B%22path%22:%22bench:signal%22%7D]")
        queue = reply[reply.index(b"{") + 1:reply.index(b"}")]
        return (b"GET /api/event/pollQueue?queueId=%%7B%s%%7D&timeout=%d" % (queue, POLL_TIMEOUT_S)
                + HEAD)

    def grow(self, count):
        """Until so many wait."""
        for number in range(count - len(self.clients)):
            if number % CLIENTS_AT_ONCE == 0:
                self.settle()
            client = socket.create_connection(("127.0.0.1", self.server.port))
            self.clients[client] = self.request_for(client)
            self.selector.register(client, selectors.EVENT_READ)
            client.sendall(self.clients[client])
        self.settle()

    def settle(self):
        """What was sent before has been read when a later request is answered."""
        with socket.create_connection(("127.0.0.1", self.server.port)) as client:
            if self.server.kind == "bare":
                while int(ask(client, b"/")) < len(self.clients):
                    pass
                return
            for _ in range(3):
                ask(client, b"/api/")

    def wake(self, value):
        """Changes what all wait for. The seconds until the last has its whole answer."""
        begin = time.monotonic()
        path = b"/wake" if self.server.kind == "bare" else (
            b"/api/setData?path=bench:signal&role=value&value=%d" % value)
        control = socket.create_connection(("127.0.0.1", self.server.port))
        control.sendall(b"GET " + path + HEAD)
        missing = {client: b"" for client in self.clients}
        while missing and time.monotonic() < begin + 60:
            for key, _ in self.selector.select(1):
                client = key.fileobj
                missing[client] += client.recv(4096)
                if is_whole(missing[client]):
                    del missing[client]
        control.close()
        if missing:
            sys.exit(f"{self.server.name}: {len(missing)} polls were not answered")
        return time.monotonic() - begin

    def renew(self):
        for client, request in self.clients.items():
            client.sendall(request)
        self.settle()

    def close(self):
        for client in self.clients:
            client.close()
        self.selector.close()
