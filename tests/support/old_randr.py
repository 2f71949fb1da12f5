"""Makes a real X server look older: between it and its clients, the version of its RandR extension is changed."""

import socket
import struct

import between
from between import exactly

FIRST_PORT = 6000  # of display 0
QUERY_EXTENSION = 98
RANDR_QUERY_VERSION = 0


class OldRandR(between.Between):
    """Passes everything on to the X server @server, but for the version, which becomes 1.@minor. Speaks to clients of
    this machine's byte order that do not use the extension for large requests."""

    def __init__(self, server, minor):
        listener = socket.create_server(("127.0.0.1", 0))
        super().__init__(listener, f"/tmp/.X11-unix/X{server.display[1:]}", lambda *ends: Connection(minor, *ends))
        self.environment = {"DISPLAY": f"127.0.0.1:{listener.getsockname()[1] - FIRST_PORT}"}


class Connection(between.Connection):
    def __init__(self, minor, *ends):
        super().__init__(*ends)
        self.minor = minor
        self.randr = None  # its code, once the client has asked for it
        self.wanted = {}  # what the replies to look at are about, by the number of the request

    def requests(self):
        setup = exactly(self.client, 12)
        name, data = struct.unpack_from("=HH", setup, 6)
        self.server.sendall(setup + exactly(self.client, padded(name) + padded(data)))
        number = 0
        while True:
            head = exactly(self.client, 4)
            code, detail, words = struct.unpack("=BBH", head)
            body = exactly(self.client, 4 * words - 4)
            number += 1
            if code == QUERY_EXTENSION and body[4:9] == b"RANDR":
                self.wanted[number] = "code"
            if code == self.randr and detail == RANDR_QUERY_VERSION:
                self.wanted[number] = "version"
            self.server.sendall(head + body)

    def answers(self):
        setup = exactly(self.server, 8)
        self.client.sendall(setup + exactly(self.server, 4 * struct.unpack_from("=H", setup, 6)[0]))
        while True:
            reply = bytearray(exactly(self.server, 32))
            kind, number, more = reply[0], *struct.unpack_from("=HI", reply, 2)
            if kind == 1:
                reply += exactly(self.server, 4 * more)
            what = self.wanted.pop(number, None)
            if kind == 1 and what == "code":
                self.randr = reply[9]
            if kind == 1 and what == "version":
                struct.pack_into("=II", reply, 8, 1, self.minor)
            self.client.sendall(reply)


def padded(length):
    return (length + 3) // 4 * 4
