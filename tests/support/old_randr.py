"""Makes a real X server look older: between it and its clients, the version of its RandR extension is changed."""

import socket
import struct
import threading

FIRST_PORT = 6000  # of display 0
QUERY_EXTENSION = 98
RANDR_QUERY_VERSION = 0


class OldRandR:
    """Passes everything on to the X server @server, but for the version, which becomes 1.@minor. Speaks to clients of
    this machine's byte order that do not use the extension for large requests."""

    def __init__(self, server, minor):
        self.server, self.minor = server, minor

    def __enter__(self):
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.environment = {"DISPLAY": f"127.0.0.1:{self.listener.getsockname()[1] - FIRST_PORT}"}
        threading.Thread(target=self.serve, daemon=True).start()
        return self

    def __exit__(self, *_):
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()

    def serve(self):
        while True:
            try:
                client, _ = self.listener.accept()
            except OSError:
                return
            server = socket.socket(socket.AF_UNIX)
            server.connect(f"/tmp/.X11-unix/X{self.server.display[1:]}")
            connection = Connection(client, server, self.minor)
            for step in connection.requests, connection.replies:
                threading.Thread(target=step, daemon=True).start()


class Connection:
    def __init__(self, client, server, minor):
        self.client, self.server, self.minor = client, server, minor
        self.randr = None  # its code, once the client has asked for it
        self.wanted = {}  # what the replies to look at are about, by the number of the request

    def requests(self):
        try:
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
        except OSError:
            self.end()

    def replies(self):
        try:
            setup = exactly(self.server, 8)
            self.client.sendall(setup + exactly(self.server, 4 * struct.unpack_from("=H", setup, 6)[0]))
            while True:
                reply = bytearray(exactly(self.server, 32))
                kind, number, more = reply[0], *struct.unpack_from("=HI", reply, 2)
                if kind == 1 and more:
                    reply += exactly(self.server, 4 * more)
                what = self.wanted.pop(number, None)
                if kind == 1 and what == "code":
                    self.randr = reply[9]
                if kind == 1 and what == "version":
                    struct.pack_into("=II", reply, 8, 1, self.minor)
                self.client.sendall(reply)
        except OSError:
            self.end()

    def end(self):
        for end in self.client, self.server:
            try:
                end.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass
            end.close()


def padded(length):
    return (length + 3) // 4 * 4


def exactly(stream, length):
    data = b""
    while len(data) < length:
        piece = stream.recv(length - len(data))
        if not piece:
            raise ConnectionError
        data += piece
    return data
