"""The device's system bus: what its policy refuses to everybody inside."""

import unittest

from device import Device
from scenes import configuration

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
        for name in ("com.orva.Overlay2", "com.orva.Graphics1", "com.orva.Something.Else1"):
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

    def test_refuses_calls_of_what_is_no_service_of_the_device(self):
        service = self.bus("org.freedesktop.DBus.GetNameOwner", "com.orva.Onvif.Analytics1")
        names = self.bus("org.freedesktop.DBus.ListNames")
        others = [name for name in names.split("'") if name.startswith(":") and name not in service]
        stranger = min(others, key=lambda name: int(name[3:]))  # the oldest: whoever asked has gone
        call = '"$@" 2>&1', "sh", "gdbus", "call", "--system", "--dest", stranger, "--object-path", "/", "--method"
        refused = self.device.enter("sh", "-c", *call, "org.example.Stranger.Method", status=1)
        self.assertIn("org.freedesktop.DBus.Error.AccessDenied", refused)


if __name__ == "__main__":
    unittest.main()
