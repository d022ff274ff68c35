"""A mechanical PTZ camera: presets and movements, published as its controller does, and the profiles they choose."""

import os
import subprocess
import tempfile
import time
import unittest
from datetime import datetime

from device import KTW, PATIENCE, RUN, TOPICS, Device, retained, until, value_of
from scenes import configuration, profile, recording

PTZ = ("--parameter", "root.Properties.PTZ.PTZ=yes")
PRESETS = f"{TOPICS}/PTZController/tnsorva:PTZPresets/&0"
MOVE = f"{TOPICS}/PTZController/tnsorva:Move/&0"
# Profile N watches at preset N; profile 4 in any position, so its alarms tell that scenes run.
TOUR = configuration([{**profile(uid, swaying=False), "name": f"Preset {uid}", "presets": [uid]} for uid in (1, 2, 3)]
                     + [{**profile(4, swaying=False), "name": "Anywhere"}])  # fmt: skip


def topic(uid):
    return f"{KTW}/tnsorva:Camera1Profile{uid}"


def carried_time(message):
    """The time an event carries, in seconds."""
    return datetime.fromisoformat(message["payload"]["UtcTime"].replace("Z", "+00:00")).timestamp()


class PtzTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="tarnwatch-test-")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def device(self, *options, config=TOUR):
        # Somebody old enough is in the picture from 2 s on, for as long as any test takes.
        walks = [(number, 1 + 2 * number, 5 + 2 * number) for number in range(90)]
        scenes = recording(os.path.join(self.folder, "crowd.jsonl"), 180, walks)
        return Device("--scenes", scenes, *PTZ, *options, config=config)

    def states(self, bus):
        return [value_of(bus.last(topic(uid))) for uid in (1, 2, 3, 4)]


class Tour(PtzTest):
    def test_alarms_come_at_the_matching_preset_only_and_end_at_once_on_leaving(self):
        with self.device() as device:
            bus = device.bus()
            bus.until_value(topic(4), True)
            self.assertEqual(self.states(bus), [False, False, False, True])  # at no preset
            for preset in (1, 3, 2, 1):
                device.enter("ptz", "goto", str(preset))
                arrived = carried_time(bus.until_value(PRESETS, True))
                start = carried_time(bus.until_value(topic(preset), True))
                self.assertGreater(start, arrived - 0.005)
                self.assertLess(start, arrived + 0.5)
                bus.until_value(topic(4), True)
                self.assertEqual(self.states(bus), [preset == 1, preset == 2, preset == 3, True])
                device.enter("ptz", "leave")
                left = carried_time(bus.until_value(PRESETS, False))
                # The hold of three seconds is cut short.
                end = carried_time(bus.until_value(topic(preset), False))
                self.assertAlmostEqual(end, left, delta=0.01)
            self.assert_each_alarm_was_at_its_preset(bus)

    def assert_each_alarm_was_at_its_preset(self, bus):
        present = None
        for message in sorted((m for m in bus.messages if m["payload"]), key=lambda m: m["at"]):
            if message["topic"] == PRESETS:
                data = message["payload"]["Data"]
                present = data["PresetToken"] if data["on_preset"] else None
            for uid in (1, 2, 3):
                if message["topic"] == topic(uid) and value_of(message["payload"]):
                    self.assertEqual(present, uid, message)

    def test_none_comes_while_the_camera_moves(self):
        with self.device() as device:
            bus = device.bus()
            device.enter("ptz", "goto", "2")
            for uid in (2, 4):
                bus.until_value(topic(uid), True)
            device.enter("ptz", "move")
            moved = carried_time(bus.until_value(MOVE, True))
            for uid in (2, 4):
                self.assertAlmostEqual(carried_time(bus.until_value(topic(uid), False)), moved, delta=0.01)
            time.sleep(1.5)  # 15 scenes with objects that would raise alarms
            self.assertEqual(self.states(bus), [False] * 4)
            device.enter("ptz", "stop")
            stopped = carried_time(bus.until_value(MOVE, False))
            for uid in (2, 4):
                self.assertGreater(carried_time(bus.until_value(topic(uid), True)), stopped - 0.005)
            self.assertEqual(self.states(bus), [False, True, False, True])

    def test_goes_on_where_it_was_when_application_or_broker_come_back(self):
        with self.device() as device:
            bus = device.bus(topic(2))
            device.enter("ptz", "goto", "2")
            bus.until_value(topic(2), True)
            device.kill("application")
            until(lambda: not value_of(bus.last(topic(2))), "the restarted application begins anew")
            bus.until_value(topic(2), True)
            # The retained events that the new broker connection brings again change nothing.
            heard = len(bus.messages)
            device.service("stop", "broker")
            device.service("start", "broker")
            bus = device.bus(topic(2))
            bus.until_value(topic(2), True)
            self.assertGreater(heard, 0)

    def test_without_a_mechanical_head_nobody_listens(self):
        with self.device("--parameter", "root.Properties.PTZ.PTZ=", config=configuration([profile(1)])) as device:
            bus = device.bus()
            bus.until_value(topic(1), True)
            device.enter("ptz", "move")
            bus.until_value(MOVE, True)
            time.sleep(0.5)  # five scenes
            self.assertTrue(value_of(bus.last(topic(1))))


class Command(PtzTest):
    def test_publishes_what_a_controller_would(self):
        with self.device() as device:
            bus = device.bus(PRESETS, MOVE)
            told = lambda: [message["payload"]["Data"] for message in bus.messages]  # noqa: E731
            device.enter("ptz", "goto", "3")
            device.enter("ptz", "goto", "0")
            device.enter("ptz", "leave")
            device.enter("ptz", "move")
            device.enter("ptz", "stop")
            moving, still = {"is_moving": True}, {"is_moving": False}
            until(lambda: told() == [
                moving, still, {"on_preset": True, "PresetToken": 3},
                {"on_preset": False, "PresetToken": 3}, moving, still, {"on_preset": True, "PresetToken": 0},
                {"on_preset": False, "PresetToken": 0}, moving, still,
            ], lambda: f"{told()}")  # fmt: skip
            times = [message["payload"]["UtcTime"] for message in bus.messages]
            self.assertEqual(times, sorted(times))
            kept = retained(device, "tarnwatch/onvif-ej/PTZController/#")
            self.assertEqual({name: event["Data"] for name, event in kept.items()},
                             {PRESETS: {"on_preset": False, "PresetToken": 0}, MOVE: still})  # fmt: skip

    def test_refuses_what_it_does_not_know(self):
        with self.device() as device:
            for arguments in ((), ("goto",), ("goto", "-1"), ("goto", "x"), ("goto", "1", "2"), ("goto", "2147483648"),
                              ("goto", "٣"), ("leave", "1"), ("fly",)):  # fmt: skip
                with self.subTest(arguments):
                    self.assertEqual(device.enter("ptz", *arguments, status=2), "")
            device.enter("ptz", "leave", status=1)  # it stands nowhere
            self.assertEqual(retained(device, "tarnwatch/onvif-ej/PTZController/#"), {})
            device.service("stop", "broker")
            device.enter("ptz", "move", status=1)
            device.enter("ptz", "leave", status=1)

    def test_says_when_the_device_is_no_ptz_camera(self):
        for options, said in (((), "does not listen"), (PTZ, None)):
            scenes = recording(os.path.join(self.folder, "quiet.jsonl"), 5, [])
            with self.subTest(options), Device("--scenes", scenes, *options) as device:
                done = subprocess.run([RUN, "--enter", "--state", device.state, "ptz", "goto", "3"],
                                      capture_output=True, text=True, timeout=PATIENCE)  # fmt: skip
                self.assertEqual((done.returncode, done.stdout), (0, ""))
                self.assertIn(said, done.stderr) if said else self.assertEqual(done.stderr, "")


if __name__ == "__main__":
    unittest.main()
