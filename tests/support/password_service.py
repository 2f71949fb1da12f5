"""password_service.py [PROMPTS]: a session bus with a real password service, of this test's own.

Says NAME=VALUE for each variable of the environment that a client needs, then "ready". Afterwards takes a command a
line from standard input and says "ok" (or "failed: why") when it is done, until the input ends, which ends everything:

    start           the service, with its default collection open (made if there is none)
    start-locked    the service, with its collections as they are on the disk: locked, as after logging in
    start-empty     the service without any collection
    kill            the service
    lock            the default collection
    unlock          the default collection, with the password and without a prompt
    store SECRET LABEL NAME=VALUE...    an item as another program stores it; % stands for nothing

PROMPTS says how the user answers: accept, dismiss or hang; none when there is nobody to ask. The exit status is 77 when
a component is missing.
"""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

from processes import start_bus

MISSING = 77
PASSWORD = "correct-horse"
NAME = "org.freedesktop.secrets"
PATH = "/org/freedesktop/secrets"
COLLECTION = PATH + "/collection/login"


def missing(what):
    print(f"missing: {what}", flush=True)
    sys.exit(MISSING)


try:
    import gi

    gi.require_version("Gcr", "3")
    from gi.repository import Gcr, Gio, GLib
except (ImportError, ValueError) as error:
    missing(f"{error}: the packages python3-gi and gir1.2-gcr-3")
for program in ("dbus-daemon", "gnome-keyring-daemon"):
    if shutil.which(program) is None:
        missing(program)

PROMPTER = """<node><interface name="org.gnome.keyring.internal.Prompter">
<method name="BeginPrompting"><arg name="callback" type="o" direction="in"/></method>
<method name="PerformPrompt"><arg name="callback" type="o" direction="in"/><arg name="type" type="s" direction="in"/>
<arg name="properties" type="a{sv}" direction="in"/><arg name="exchange" type="s" direction="in"/></method>
<method name="StopPrompting"><arg name="callback" type="o" direction="in"/></method></interface></node>"""


class Prompter:
    """Answers the prompts of the keyring in the user's place."""

    def __init__(self, connection, answer):
        self.answer, self.exchanges = answer, {}
        interface = Gio.DBusNodeInfo.new_for_xml(PROMPTER).interfaces[0]
        connection.register_object("/org/gnome/keyring/Prompter", interface, self.called, None, None)
        connection.call_sync("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
                             GLib.Variant("(su)", ("org.gnome.keyring.SystemPrompter", 0)), None, 0, -1, None)

    def called(self, connection, sender, _path, _interface, method, arguments, invocation):
        invocation.return_value(None)
        callback = arguments.unpack()[0]

        def reply(name, arguments=None):
            connection.call(sender, callback, "org.gnome.keyring.internal.Prompter.Callback", name, arguments, None, 0,
                            -1, None, None)

        def ready(answer, exchange):
            reply("PromptReady", GLib.Variant("(sa{sv}s)", (answer, {}, exchange)))

        if method == "BeginPrompting":
            self.exchanges[callback] = Gcr.SecretExchange.new(None)
            ready("", self.exchanges[callback].begin())
        elif method == "StopPrompting":
            self.exchanges.pop(callback, None)
            reply("PromptDone")
        elif self.answer != "hang":
            _, kind, _, received = arguments.unpack()
            exchange = self.exchanges[callback]
            exchange.receive(received)
            gives = self.answer != "dismiss"
            password = (PASSWORD, -1) if gives and kind == "password" else (None, 0)
            ready("yes" if gives else "no", exchange.send(*password))


class Session:
    def __init__(self, folder, prompts):
        self.folder, self.daemon = pathlib.Path(folder), None
        self.bus, address = start_bus("session", folder)
        self.environment = {"DBUS_SESSION_BUS_ADDRESS": address}
        for name, below in (("HOME", "home"), ("XDG_DATA_HOME", "data"), ("XDG_CONFIG_HOME", "config"),
                            ("XDG_CACHE_HOME", "cache"), ("XDG_RUNTIME_DIR", "run")):
            self.environment[name] = f"{folder}/{below}"
            os.mkdir(self.environment[name], 0o700)
        flags = Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION
        self.connection = Gio.DBusConnection.new_for_address_sync(address, flags, None, None)
        self.prompter = Prompter(self.connection, prompts) if prompts else None

    def close(self):
        for process in (self.daemon, self.bus):
            if process:
                process.kill()
                process.wait()

    def call(self, path, interface, method, arguments):
        return self.connection.call_sync(NAME, path, interface, method, arguments, None, 0, 25_000, None)

    def wait_for_owner(self, wanted, change):
        """Calls @change and waits until the service is there, or gone if not @wanted."""
        loop, state = GLib.MainLoop(), []

        def seen(there):
            state.append(there)
            loop.quit()

        watch = Gio.bus_watch_name_on_connection(self.connection, NAME, Gio.BusNameWatcherFlags.NONE,
                                                 lambda *_: seen(True), lambda *_: seen(False))
        bound = GLib.timeout_add_seconds(30, lambda: seen(None) or True)
        change()
        while not state or state[-1] not in (wanted, None):
            loop.run()
        Gio.bus_unwatch_name(watch)
        GLib.source_remove(bound)
        if state[-1] is None:
            raise RuntimeError("the password service did not " + ("appear" if wanted else "end"))

    def start(self, mode):
        keyrings = self.folder / "data/keyrings"
        keyrings.mkdir(0o700, exist_ok=True)
        if mode != "start-empty":
            (keyrings / "default").write_text("login", encoding="ascii")
        opens = mode == "start"
        command = ["gnome-keyring-daemon", "--foreground", "--components=secrets",
                   f"--control-directory={self.folder}/run/keyring", *["--unlock"] * opens]

        def launch():
            self.daemon = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                                           stderr=subprocess.DEVNULL, env={**os.environ, **self.environment})
            self.daemon.stdin.write(PASSWORD.encode() if opens else b"")
            self.daemon.stdin.close()

        self.wait_for_owner(True, launch)

    def kill(self):
        def end():
            self.daemon.kill()
            self.daemon.wait()
            self.daemon = None

        self.wait_for_owner(False, end)

    def in_session(self, secret):
        """The service's struct for @secret, in a new session."""
        reply = self.call(PATH, "org.freedesktop.Secret.Service", "OpenSession",
                          GLib.Variant("(sv)", ("plain", GLib.Variant("s", ""))))
        return reply.unpack()[1], b"", secret.encode(), "text/plain"

    def store(self, secret, label, *attributes):
        pairs = dict(attribute.split("=", 1) for attribute in attributes)
        properties = {"org.freedesktop.Secret.Item.Label": GLib.Variant("s", label.replace("%", "")),
                      "org.freedesktop.Secret.Item.Attributes": GLib.Variant("a{ss}", pairs)}
        self.call(COLLECTION, "org.freedesktop.Secret.Collection", "CreateItem",
                  GLib.Variant("(a{sv}(oayays)b)", (properties, self.in_session(secret), False)))

    def obey(self, command, *arguments):
        if command in ("start", "start-locked", "start-empty"):
            self.start(command)
        elif command == "kill":
            self.kill()
        elif command == "lock":
            self.call(PATH, "org.freedesktop.Secret.Service", "Lock", GLib.Variant("(ao)", ([COLLECTION],)))
        elif command == "unlock":
            self.call(PATH, "org.gnome.keyring.InternalUnsupportedGuiltRiddenInterface", "UnlockWithMasterPassword",
                      GLib.Variant("(o(oayays))", (COLLECTION, self.in_session(PASSWORD))))
        elif command == "store":
            self.store(*arguments)
        else:
            raise ValueError(f"no command {command}")

    def answer(self, line):
        try:
            self.obey(*line.split())
            print("ok", flush=True)
        except (GLib.Error, OSError, RuntimeError, ValueError) as error:
            print(f"failed: {error}".replace("\n", " "), flush=True)


def main():
    loop = GLib.MainLoop()

    def readable(_descriptor, _condition):
        line = sys.stdin.readline()  # whoever asks waits for the answer, so that there is one line at a time
        if line:
            session.answer(line)
        else:
            loop.quit()
        return bool(line)

    with tempfile.TemporaryDirectory(prefix="jv-test-") as folder:
        session = Session(folder, sys.argv[1] if len(sys.argv) > 1 else None)
        try:
            for name, value in session.environment.items():
                print(f"{name}={value}")
            print("ready", flush=True)
            GLib.unix_fd_add_full(GLib.PRIORITY_DEFAULT, 0, GLib.IOCondition.IN | GLib.IOCondition.HUP, readable)
            loop.run()
        finally:
            session.close()


if __name__ == "__main__":
    main()
