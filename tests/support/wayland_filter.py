"""Makes a real Wayland compositor look older or different: between it and its clients, what it offers is changed."""

import os
import pathlib
import socket
import struct
import tempfile
import threading

import between
from between import exactly

DISPLAY, GET_REGISTRY = 1, 1
GLOBAL, GLOBAL_REMOVE = 0, 1
HEAD = struct.Struct("=IHH")  # object, operation, length


class WaylandFilter(between.Between):
    """Passes everything on to @compositor, but for what it offers: nothing of the interfaces in @without, and those in
    @versions in no higher version than there."""

    def __init__(self, compositor, without=(), versions=()):
        path = pathlib.Path(compositor.environment["XDG_RUNTIME_DIR"], compositor.environment["WAYLAND_DISPLAY"])
        super().__init__(socket.socket(socket.AF_UNIX), path,
                         lambda *ends: Connection(without, dict(versions), *ends))

    def __enter__(self):
        self.folder = tempfile.TemporaryDirectory(prefix="jv-test-")
        self.listener.bind(os.path.join(self.folder.name, "filter"))
        self.listener.listen()
        self.environment = {"XDG_RUNTIME_DIR": self.folder.name, "WAYLAND_DISPLAY": "filter"}
        return super().__enter__()

    def __exit__(self, *failure):
        super().__exit__(*failure)
        self.folder.cleanup()

    def withdraw_last_output(self):
        """Tells all clients that the last output is gone."""
        for connection in self.connections:
            connection.withdraw_last_output()


class Connection(between.Connection):
    def __init__(self, without, versions, *ends):
        super().__init__(*ends)
        self.without, self.versions = without, versions
        self.registry = None
        self.outputs = []  # their numbers in the registry
        self.sending = threading.Lock()

    def requests(self):
        for head, body in messages(self.client):
            receiver, operation, _ = HEAD.unpack(head)
            if (receiver, operation) == (DISPLAY, GET_REGISTRY):
                (self.registry,) = struct.unpack("=I", body)
            self.server.sendall(head + body)

    def answers(self):
        for head, body in messages(self.server):
            receiver, operation, _ = HEAD.unpack(head)
            if (receiver, operation) == (self.registry, GLOBAL):
                body = self.changed(body)
            if body is not None:
                with self.sending:
                    self.client.sendall(head + body)

    def changed(self, body):
        """The offer in @body as it is to be, or None."""
        number, length = struct.unpack_from("=II", body)
        interface = body[8:8 + length - 1].decode()
        (version,) = struct.unpack_from("=I", body, len(body) - 4)
        if interface in self.without:
            return None
        if interface == "wl_output":
            self.outputs.append(number)
        return body[:-4] + struct.pack("=I", min(version, self.versions.get(interface, version)))

    def withdraw_last_output(self):
        with self.sending:
            self.client.sendall(HEAD.pack(self.registry, GLOBAL_REMOVE, 12) + struct.pack("=I", self.outputs.pop()))


def messages(stream):
    """Each as its head and the rest."""
    while True:
        head = exactly(stream, HEAD.size)
        yield head, exactly(stream, HEAD.unpack(head)[2] - HEAD.size)
