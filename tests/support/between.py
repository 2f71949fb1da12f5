"""Between a real server and its clients: everything is passed on, but for what makes the server look older or
different."""

import contextlib
import socket
import threading


class Between:
    """Listens with @listener until the end of the scope, and makes a connection of each client with @connect, which is
    given the sockets to the client and to the server at @path."""

    def __init__(self, listener, path, connect):
        self.listener, self.path, self.connect = listener, str(path), connect
        self.connections = []

    def __enter__(self):
        threading.Thread(target=self.serve, daemon=True).start()
        return self

    def __exit__(self, *_):
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()

    def serve(self):
        with contextlib.suppress(OSError):  # at the end
            while True:
                client, _ = self.listener.accept()
                server = socket.socket(socket.AF_UNIX)
                server.connect(self.path)
                connection = self.connect(client, server)
                self.connections.append(connection)
                for step in connection.requests, connection.answers:
                    threading.Thread(target=connection.run, args=[step], daemon=True).start()


class Connection:
    """Has `requests` and `answers`, which pass on until an OSError."""

    def __init__(self, client, server):
        self.client, self.server = client, server

    def run(self, step):
        with contextlib.suppress(OSError):
            step()
        for end in self.client, self.server:
            with contextlib.suppress(OSError):
                end.shutdown(socket.SHUT_RDWR)


def exactly(stream, length):
    data = b""
    while len(data) < length:
        piece = stream.recv(length - len(data))
        if not piece:
            raise ConnectionError
        data += piece
    return data
