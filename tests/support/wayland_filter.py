"""Makes a real Wayland compositor look older or different: between it and its clients, what it offers is changed."""

import os
import pathlib
import socket
import struct
import tempfile
import threading

DISPLAY, GET_REGISTRY = 1, 1
GLOBAL, GLOBAL_REMOVE = 0, 1
HEAD = struct.Struct("=IHH")  # object, operation, length


class WaylandFilter:
    """Passes everything on to @compositor, but for what it offers: nothing of the interfaces in @without, and those in
    @versions in no higher version than there."""

    def __init__(self, compositor, without=(), versions=()):
        self.socket = pathlib.Path(compositor.environment["XDG_RUNTIME_DIR"], compositor.environment["WAYLAND_DISPLAY"])
        self.without, self.versions = without, dict(versions)
        self.connections = []

    def __enter__(self):
        self.folder = tempfile.TemporaryDirectory(prefix="jv-test-")
        self.listener = socket.socket(socket.AF_UNIX)
        self.listener.bind(os.path.join(self.folder.name, "filter"))
        self.listener.listen()
        self.environment = {"XDG_RUNTIME_DIR": self.folder.name, "WAYLAND_DISPLAY": "filter"}
        threading.Thread(target=self.serve, daemon=True).start()
        return self

    def __exit__(self, *_):
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()
        self.folder.cleanup()

    def serve(self):
        while True:
            try:
                client, _ = self.listener.accept()
            except OSError:
                return
            compositor = socket.socket(socket.AF_UNIX)
            compositor.connect(str(self.socket))
            connection = Connection(self, client, compositor)
            self.connections.append(connection)
            for step in connection.requests, connection.events:
                threading.Thread(target=step, daemon=True).start()

    def withdraw_last_output(self):
        """Tells all clients that the last output is gone."""
        for connection in self.connections:
            connection.withdraw_last_output()


class Connection:
    def __init__(self, offer, client, compositor):
        self.offer, self.client, self.compositor = offer, client, compositor
        self.registry = None
        self.outputs = []  # their numbers in the registry
        self.sending = threading.Lock()

    def requests(self):
        for head, body in messages(self.client):
            receiver, operation, _ = HEAD.unpack(head)
            if (receiver, operation) == (DISPLAY, GET_REGISTRY):
                (self.registry,) = struct.unpack("=I", body)
            self.compositor.sendall(head + body)
        self.end()

    def events(self):
        for head, body in messages(self.compositor):
            receiver, operation, _ = HEAD.unpack(head)
            if (receiver, operation) == (self.registry, GLOBAL):
                body = self.changed(body)
            if body is not None:
                with self.sending:
                    self.client.sendall(head + body)
        self.end()

    def changed(self, body):
        """The offer in @body as it is to be, or None."""
        number, length = struct.unpack_from("=II", body)
        interface = body[8:8 + length - 1].decode()
        (version,) = struct.unpack_from("=I", body, len(body) - 4)
        if interface in self.offer.without:
            return None
        if interface == "wl_output":
            self.outputs.append(number)
        return body[:-4] + struct.pack("=I", min(version, self.offer.versions.get(interface, version)))

    def withdraw_last_output(self):
        with self.sending:
            self.client.sendall(HEAD.pack(self.registry, GLOBAL_REMOVE, 12) + struct.pack("=I", self.outputs.pop()))

    def end(self):
        for end in self.client, self.compositor:
            try:
                end.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass


def messages(stream):
    """Each as its head and the rest, until the stream ends."""
    while head := exactly(stream, HEAD.size):
        rest = HEAD.unpack(head)[2] - HEAD.size
        body = exactly(stream, rest)
        if len(body) < rest:
            return
        yield head, body


def exactly(stream, length):
    """So many bytes, or fewer at the end."""
    data = b""
    try:
        while len(data) < length and (piece := stream.recv(length - len(data))):
            data += piece
    except OSError:
        pass
    return data
