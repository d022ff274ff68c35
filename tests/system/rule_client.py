"""A client of the rule service that runs inside a device: requests come as JSON lines on standard
input, answers go as JSON lines to standard output. See rules.py for its other end."""

import json
import socket
import sys
import time

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

SOCKET = "/run/dbus/system_bus_socket"
ANALYTICS = "com.orva.Onvif.Analytics1"
TIMEOUT = 120_000  # milliseconds


class Client:
    def __init__(self):
        self._bus = None

    def bus(self):
        """A connection of its own, made again after the bus was away."""
        while self._bus is None or self._bus.is_closed():
            flags = Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION
            try:
                self._bus = Gio.DBusConnection.new_for_address_sync(f"unix:path={SOCKET}", flags, None, None)
                self._bus.set_exit_on_close(False)
            except GLib.Error:
                time.sleep(0.02)
        return self._bus

    def types(self):
        """What is registered: provider, path, interface, description, options, changes."""
        path = "/" + ANALYTICS.replace(".", "/")
        try:
            reply = self.bus().call_sync(ANALYTICS, path, "com.orva.Host.RuleTypes1", "ListRuleTypes", None, None,
                                         Gio.DBusCallFlags.NONE, TIMEOUT, None)  # fmt: skip
        except GLib.Error:
            return []
        return reply.unpack()[0]

    def provider(self):
        while not (types := self.types()):
            time.sleep(0.02)
        return types[0][0]

    def call(self, method, signature, arguments, provider=None):
        """The answer, or the name and the message of the error; and the seconds it took."""
        to, message = provider or self.provider(), GLib.Variant(signature, tuple(arguments)) if signature else None
        began = time.monotonic()
        try:
            reply = self.bus().call_sync(to, "/com/orva/MotionRegion", "com.orva.Onvif.Rule1", method, message, None,
                                         Gio.DBusCallFlags.NONE, TIMEOUT, None)  # fmt: skip
            answer = {"answer": reply.unpack()}
        except GLib.Error as error:
            name = Gio.DBusError.get_remote_error(error)
            answer = {"error": name, "message": error.message.removeprefix(f"GDBus.Error:{name}: ")}
        return answer | {"seconds": time.monotonic() - began}

    def raw(self, method, text):
        """Sends a text that no library lets pass (given as hexadecimal digits) by a connection of its own;
        whether the bus ends that."""
        octets = bytes.fromhex(text)
        message = Gio.DBusMessage.new_method_call(self.provider(), "/com/orva/MotionRegion", "com.orva.Onvif.Rule1", method)
        message.set_body(GLib.Variant("(iiiis)", (0, 640, 480, 0, "x" * len(octets))))
        message.set_serial(2)
        blob = bytes(message.to_blob(Gio.DBusCapabilityFlags.NONE)).replace(b"x" * len(octets), octets)
        hello = Gio.DBusMessage.new_method_call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "Hello")
        hello.set_serial(1)
        with socket.socket(socket.AF_UNIX) as bus:
            bus.settimeout(30)
            bus.connect(SOCKET)
            bus.sendall(b"\0AUTH EXTERNAL " + b"1000".hex().encode() + b"\r\n")
            assert bus.recv(1000).startswith(b"OK ")
            bus.sendall(b"BEGIN\r\n" + bytes(hello.to_blob(Gio.DBusCapabilityFlags.NONE)))
            assert bus.recv(1000)
            try:
                bus.sendall(blob)
                while bus.recv(65536):
                    pass
            except ConnectionError:
                pass
        return {"answer": True}


def main():
    client = Client()
    for line in sys.stdin:
        request = json.loads(line)
        if request["what"] == "call":
            answer = client.call(*request["arguments"])
        elif request["what"] == "raw":
            answer = client.raw(*request["arguments"])
        else:
            answer = {"answer": client.types()}
        print(json.dumps(answer), flush=True)


main()
