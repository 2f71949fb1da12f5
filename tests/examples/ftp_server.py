"""Just enough of an FTP server for a client to log in and fetch a file."""

import socket
import threading


class FtpServer:
    """Serves @files (bytes by name) on 127.0.0.1 to @user with @password. Ends with the `with` that it is used in."""

    def __init__(self, user, password, files):
        self.user, self.password, self.files = user, password, files
        self.logins = []  # the passwords that were tried

    def __enter__(self):
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.thread = threading.Thread(target=self.serve)
        self.thread.start()
        return self

    def __exit__(self, *_):
        self.listener.shutdown(socket.SHUT_RDWR)
        self.thread.join()
        self.listener.close()

    def serve(self):
        while True:
            try:
                connection = self.listener.accept()[0]
            except OSError:
                return
            with connection, connection.makefile("rw", encoding="utf-8", newline="") as lines:
                self.talk(lines)

    def talk(self, lines):
        def say(text):
            lines.write(text + "\r\n")
            lines.flush()

        fixed = {"PWD": '257 "/"', "TYPE": "200 binary", "QUIT": "221 bye"}
        say("220 ready")
        user = data = None
        for line in lines:
            command, _, argument = line.strip().partition(" ")
            if command == "USER":
                user = argument
                say("331 password")
            elif command == "PASS":
                self.logins.append(argument)
                say("230 welcome" if (user, argument) == (self.user, self.password) else "530 no")
            elif command == "EPSV":
                data = socket.create_server(("127.0.0.1", 0))
                say(f"229 extended (|||{data.getsockname()[1]}|)")
            elif command == "RETR" and argument in self.files:
                say("150 here it comes")
                with data, data.accept()[0] as stream:
                    stream.sendall(self.files[argument])
                say("226 done")
            else:
                say(fixed.get(command, "502 not here"))
            if command == "QUIT":
                return
