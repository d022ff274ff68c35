"""The device's system bus: what its policy refuses to everybody inside."""

import os
import unittest

from device import Device
from scenes import configuration

_PEERS = os.path.join(os.path.dirname(os.path.realpath(__file__)), "bus_peers.py")
_BUS = ("gdbus", "call", "--system", "--dest", "org.freedesktop.DBus", "--object-path", "/org/freedesktop/DBus", "--method")


class BusPolicy(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.device = cls.enterClassContext(Device(config=configuration([])))

    def bus(self, method, *arguments, status=0):
        """Calls the bus itself; what came of it, with errors."""
        return self.device.enter("sh", "-c", '"$@" 2>&1', "sh", *_BUS, method, *arguments, status=status)

    def own(self, name, status=0):
        return self.bus("org.freedesktop.DBus.RequestName", name, "4", status=status)

    def test_lets_the_devices_names_be_owned(self):
        for name in ("com.orva.Overlay3", "com.orva.Something.Else1"):  # which no service has yet
            self.assertEqual(self.own(name), "(uint32 1,)\n")

    def test_refuses_every_other_name(self):
        for name in ("com.orvax.Overlay2", "org.example.Service", "com.example.com.orva.Service", "org.freedesktop.login1"):
            self.assertIn("org.freedesktop.DBus.Error.AccessDenied", self.own(name, status=1))

    def test_refuses_to_eavesdrop(self):
        refused = self.bus("org.freedesktop.DBus.Monitoring.BecomeMonitor", "[]", "0", status=1)
        self.assertIn("org.freedesktop.DBus.Error.AccessDenied", refused)

    def test_refuses_what_changes_or_looks_into_the_bus(self):
        for call in (["UpdateActivationEnvironment", "{}"], ["ReloadConfig"], ["Debug.Stats.GetStats"]):
            refused = self.bus("org.freedesktop.DBus." + call[0], *call[1:], status=1)
            self.assertIn("org.freedesktop.DBus.Error.AccessDenied", refused, call)

    def peers(self, *arguments):
        """What two connections of a process inside say of what passes between them."""
        with open(_PEERS, encoding="utf-8") as file:
            program = file.read()  # which a device has no path to in every place
        return self.device.enter("/usr/bin/python3", "-c", program, *arguments)

    def test_carries_signals_of_objects_properties_and_rules_and_no_others(self):
        carried = ["org.freedesktop.DBus.ObjectManager", "org.freedesktop.DBus.Properties", "com.orva.Onvif.Rule1"]
        refused = ["org.freedesktop.DBus", "com.orva.Overlay2.Overlay", "org.example.Stranger"]
        self.assertEqual(self.peers("signals", *refused, *carried).split(), carried)

    def test_carries_descriptors(self):
        self.assertEqual(self.peers("descriptors", "4").split(), ["0", "1", "2", "3"])

    def test_refuses_calls_of_what_is_no_service_of_the_device(self):
        names = self.bus("org.freedesktop.DBus.ListNames").split("'")
        owned = [name for name in names if name.startswith("com.orva.")]
        services = "".join(self.bus("org.freedesktop.DBus.GetNameOwner", name) for name in owned)
        others = [name for name in names if name.startswith(":") and f"'{name}'" not in services]
        stranger = min(others, key=lambda name: int(name[3:]))  # the oldest: whoever asked has gone
        call = '"$@" 2>&1', "sh", "gdbus", "call", "--system", "--dest", stranger, "--object-path", "/", "--method"
        refused = self.device.enter("sh", "-c", *call, "org.example.Stranger.Method", status=1)
        self.assertIn("org.freedesktop.DBus.Error.AccessDenied", refused)


if __name__ == "__main__":
    unittest.main()
