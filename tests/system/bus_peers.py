"""Two connections to the device's bus, for tests of what passes between them; runs inside a device."""

import os
import sys

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

_ADDRESS = "unix:path=/run/dbus/system_bus_socket"
_FLAGS = Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION
_NAME = "com.orva.Test1"
_INTERFACE = f'<node><interface name="{_NAME}"><method name="Take"><arg type="ah" direction="in"/></method></interface></node>'


def connect():
    connection = Gio.DBusConnection.new_for_address_sync(_ADDRESS, _FLAGS, None, None)
    connection.set_exit_on_close(False)
    return connection


def pass_signals(interfaces):
    """Prints of which of these interfaces a signal comes from one connection to the other."""
    sender, receiver = connect(), connect()
    loop = GLib.MainLoop()

    def hear(connection, source, path, interface, member, parameters):
        loop.quit() if interface == "com.orva.Host.RuleTypes1" else print(interface)

    receiver.signal_subscribe(sender.get_unique_name(), None, None, None, None, Gio.DBusSignalFlags.NONE, hear)
    receiver.call_sync("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId", None, None,
                       Gio.DBusCallFlags.NONE, -1, None)  # fmt: skip
    for interface in [*interfaces, "com.orva.Host.RuleTypes1"]:  # the last one passes and ends the waiting
        sender.emit_signal(None, "/com/orva/test", interface, "Changed", None)
    loop.run()


def pass_descriptors(count):
    """Passes descriptors of files with a number in each in a call; the called side prints the numbers."""
    caller, service = connect(), connect()
    loop = GLib.MainLoop()

    def take(connection, source, path, interface, method, parameters, call):
        handed = call.get_message().get_unix_fd_list()
        for index in parameters.unpack()[0]:
            with os.fdopen(handed.get(index), "rb") as file:
                file.seek(0)
                print(file.read().decode())
        call.return_value(None)

    def finish(connection, result):
        connection.call_with_unix_fd_list_finish(result)
        loop.quit()

    service.call_sync("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
                      GLib.Variant("(su)", (_NAME, 0)), None, Gio.DBusCallFlags.NONE, -1, None)  # fmt: skip
    service.register_object("/", Gio.DBusNodeInfo.new_for_xml(_INTERFACE).interfaces[0], take, None, None)
    handed = Gio.UnixFDList()
    for number in range(count):
        file = os.memfd_create("number")
        os.write(file, b"%d" % number)
        handed.append(file)
        os.close(file)
    caller.call_with_unix_fd_list(_NAME, "/", _NAME, "Take", GLib.Variant("(ah)", (list(range(count)),)), None,
                                  Gio.DBusCallFlags.NONE, -1, handed, None, finish)  # fmt: skip
    loop.run()


if sys.argv[1] == "signals":
    pass_signals(sys.argv[2:])
else:
    pass_descriptors(int(sys.argv[2]))
