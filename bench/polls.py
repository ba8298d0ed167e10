"""Many clients that wait for one change, each with a connection of its own."""

import selectors
import socket
import sys
import time

HEAD = b" HTTP/1.1\r\nHost: localhost\r\n\r\n"
# libsoup lets ten clients wait for their turn to connect; one more would try again after a second.
CLIENTS_AT_ONCE = 8
# Longer than any measurement takes.
POLL_TIMEOUT_S = 300


class Polls:
    def __init__(self, server):
        self.server = server
        # The bare server gives its answer's length, the device sends it in chunks.
        self.answer_end = b"]\n" if server.name == "bare" else b"\r\n0\r\n\r\n"
        self.clients = {}  # connection -> request of its poll
        self.selector = selectors.DefaultSelector()

    def exchange(self, client, request):
        client.sendall(request)
        reply = b""
        while not reply.endswith((b"0\r\n\r\n", b"ok\n")):
            reply += client.recv(4096)
        return reply

    def request_for(self, client):
        if self.server.name == "bare":
            return b"GET /wait" + HEAD
        reply = self.exchange(client, b"GET /api/event/modifyQueue"
                              b"?subscribe=[%7B%22path%22:%22bench:signal%22%7D]" + HEAD)
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
            for _ in range(3):
                path = b"/api/" if self.server.name == "device" else b"/"
                client.sendall(b"GET " + path + HEAD)
                client.recv(4096)

    def wake(self, value):
        """Changes what all wait for. The seconds until the last has its whole answer."""
        begin = time.monotonic()
        path = b"/wake" if self.server.name == "bare" else (
            b"/api/setData?path=bench:signal&role=value&value=%d" % value)
        control = socket.create_connection(("127.0.0.1", self.server.port))
        control.sendall(b"GET " + path + HEAD)
        missing = {client: b"" for client in self.clients}
        while missing and time.monotonic() < begin + 60:
            for key, _ in self.selector.select(1):
                client = key.fileobj
                missing[client] += client.recv(4096)
                if missing[client].endswith(self.answer_end):
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
