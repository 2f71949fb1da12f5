"""Makes real servers look older or different: between them and their clients, what they tell is changed."""

import contextlib
import socket
import struct
import threading


class Between:
    """Listens with @listener until the end of the scope, and passes everything on to and from the server at the path
    @server, but for what comes from there: what @told makes of that stream is passed on instead."""

    def __init__(self, listener, server, told):
        self.listener, self.server, self.told = listener, str(server), told
        self.clients = []

    def __enter__(self):
        threading.Thread(target=self.serve, daemon=True).start()
        return self

    def __exit__(self, *_):
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()

    def serve(self):
        with contextlib.suppress(OSError):  # at the end
            while True:
                self.clients.append(self.listener.accept()[0])
                threading.Thread(target=self.connect, args=self.clients[-1:], daemon=True).start()

    def connect(self, client):
        with client, socket.socket(socket.AF_UNIX) as server, server.makefile("rb") as stream:
            server.connect(self.server)
            asked = threading.Thread(target=pass_on, args=[iter(lambda: client.recv(1 << 16), b""), server])
            asked.start()
            pass_on(self.told(stream), client)
            asked.join()


def pass_on(pieces, end):
    with contextlib.suppress(OSError, struct.error):  # one of them has gone
        for piece in pieces:
            end.sendall(piece)
    with contextlib.suppress(OSError):
        end.shutdown(socket.SHUT_RDWR)


def older_randr(minor):
    """An X server's version of the extension becomes 1.@minor, for clients of this machine's byte order."""
    def told(stream):
        setup = stream.read(8)
        yield setup + stream.read(4 * struct.unpack_from("=H", setup, 6)[0])
        while True:
            reply = stream.read(32)
            kind, _, _, more, *version = struct.unpack_from("=BBHIII", reply)
            if (kind, more, version[0]) == (1, 0, 1) and not any(reply[16:]):
                reply = reply[:12] + struct.pack("=I", minor) + reply[16:]
            yield reply + stream.read(4 * more if kind == 1 else 0)
    return told


def older_wayland(versions, outputs):
    """A compositor offers the interfaces in @versions in no higher version than there; with 0, not at all. @outputs takes
    the numbers of the outputs that are offered."""
    def told(stream):
        while True:
            head = stream.read(8)
            operation, length = struct.unpack_from("=HH", head, 4)
            body = stream.read(length - 8)
            for name, most in versions.items():
                if operation == 0 and body[8:].startswith(name.encode() + b"\0"):
                    offered, = struct.unpack("=I", body[-4:])
                    head, body = (head, body[:-4] + struct.pack("=I", min(offered, most))) if most else (b"", b"")
            if operation == 0 and body[8:].startswith(b"wl_output\0"):
                outputs.append(body[:4])
            yield head + body
    return told


def withdrawn(output):
    """What tells a client that @output is gone. The registry is the first that every client makes."""
    return struct.pack("=IHH", 2, 1, 12) + output
