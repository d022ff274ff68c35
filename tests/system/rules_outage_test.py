"""The rule service of a device in which bus, analytics service or application go away and come back."""

import unittest

from control import Control
from device import until
from rules import RulesTest, listed, rule, rules
from scenes import configuration, profile


class Registration(RulesTest):
    def offers(self, device):
        return device.log("analytics").count(" offers tt:MotionRegionDetector")

    def test_comes_when_the_analytics_service_appears(self):
        device = self.device()
        until(self.rules.types, "a provider")
        device.service("stop", "analytics")
        device.service("stop", "application")
        device.service("start", "application")
        offers = self.offers(device)
        device.service("start", "analytics")
        until(self.rules.types, "a provider")
        self.assertEqual(self.rules.get(), listed())
        self.assertEqual(self.offers(device), offers + 1)

    def test_comes_again_when_the_analytics_service_was_killed(self):
        device = self.device()
        for number in range(1, 4):
            until(lambda: self.offers(device) == number, "a provider")  # noqa: B023
            device.kill("analytics")
        until(lambda: self.offers(device) == 4, "a provider")
        self.assertEqual(self.rules.get(), listed())

    def test_ends_with_the_application_and_comes_with_the_next_one(self):
        device = self.device()
        (first,) = until(self.rules.types, "a provider")
        device.kill("application")
        until(lambda: [each for each in self.rules.types() if each[0] != first[0]], "the next one")
        self.assertEqual(len(self.rules.types()), 1)
        self.assertEqual(self.rules.get(), listed())


class BusOutage(RulesTest):
    def test_leaves_rules_and_signal_working_without_a_restart(self):
        device = self.device([profile()])
        bus = device.bus("tarnwatch/status")
        process = device.service_pid("application")
        for number in range(3):
            device.kill("bus")
            until(lambda: self.rules.create(rules(rule(f"Door {number}"))) == [], "a rule can be made")  # noqa: B023
            self.assertIn(f"Door {number}", self.names(device))
            self.assertEqual(self.rules.delete(f"Door {number}"), [])
        device.service("stop", "bus")
        with Control(device) as control:
            control.configure(configuration([profile(name="Gate")]))
            device.service("start", "bus")
            until(lambda: 'Name="Gate"' in self.rules.get(), "rules can be read")

            def is_told():
                control.configure(configuration([profile(name="Gate")]))
                return self.rules.types() and self.rules.changes()

            until(is_told, "the analytics service is told again")
        self.assertEqual(device.service_pid("application"), process)
        self.assertEqual([message["payload"] for message in bus.messages], [{"online": True}])


if __name__ == "__main__":
    unittest.main()
