"""The subscriber module in a device: scenes over it, and what the death of the scene engine leaves."""

import contextlib
import json
import os
import subprocess
import tempfile
import unittest

from application_test import PROFILE
from device import PATIENCE, RUN, Device, until
from scenes import configuration, profile, recording

# In full 50.
KILLS = int(os.environ.get("TARNWATCH_ENGINE_KILLS", "3"))
KILLER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "engine_killer.py")


class Module(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="tarnwatch-test-")
        self.addCleanup(folder.cleanup)
        # There from the first scene on; without filters that is its alarm.
        self.scenes = recording(os.path.join(folder.name, "short.jsonl"), 1, [(7, 0, 0.5)])
        self.config = configuration([profile(size=False, lifetime=False, swaying=False)])

    def test_is_opened_by_its_name_and_only_where_it_is_asked_for(self):
        for transport, there in (("module", True), ("socket", False)):
            with self.subTest(transport), Device("--scenes", self.scenes, "--transport", transport) as device:
                maps = device.enter("cat", f"/proc/{device.service_pid('application')}/maps")
                self.assertEqual("/usr/local/packages/ktw/lib/libvideo_scene_subscriber.so.0" in maps, there)

    def test_an_absent_engine_keeps_no_application_from_coming_up(self):
        with Device("--scenes", self.scenes, config=self.config) as device:
            bus = device.bus(PROFILE)
            for value in (True, False):
                bus.until_value(PROFILE, value)
            device.service("stop", "engine")
            pid = device.service_pid("application")
            device.kill("application")
            until(lambda: device.service_pid("application") != pid, "the application is back")
            until(lambda: "No valid scene provider available  (subscribe)." in device.log(), "it has looked for the engine")
            device.service("start", "engine")
            bus.until_value(PROFILE, True)

    def test_the_camera_is_back_within_a_second_of_the_engine_and_each_loss_is_counted_once(self):
        with Device("--scenes", self.scenes, "--transport", "module", config=self.config) as device:
            bus = device.bus(PROFILE)
            for value in (True, False):
                bus.until_value(PROFILE, value)
            pid = device.service_pid("application")
            before, late = None, []
            with self.killer(device) as killer:
                for kill in range(1, KILLS + 1):
                    late.append(self.kill_once(killer, bus))
                    self.assertLess(late[-1], 1.0, f"kill {kill}")
                    self.assertEqual(self.disconnects(device), kill)
                    before = before or self.holdings(device, pid)
            after = self.holdings(device, pid)
            self.assertEqual(device.service_pid("application"), pid)
            self.assertEqual((after["Threads"], after["fds"]), (before["Threads"], before["fds"]))
            self.assertLess(after["VmRSS"] - before["VmRSS"], 1024, "KiB more after all kills than after the first")
            print(f"{KILLS} kills: back {min(late):.3f} to {max(late):.3f} s after the engine, {before} before, {after} after")

    @staticmethod
    @contextlib.contextmanager
    def killer(device):
        with open(KILLER, encoding="utf-8") as file:
            program = file.read()  # which a device has no path to in every place
        command = [RUN, "--enter", "--state", device.state, "/usr/bin/python3", "-c", program]
        process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        try:
            yield process
        finally:
            process.communicate()

    def kill_once(self, killer, bus):
        """Seconds from the engine's return to the alarm of the first scene of its new life."""
        killer.stdin.write("\n")
        killer.stdin.flush()
        times = json.loads(killer.stdout.readline())
        alarm = bus.until_value(PROFILE, True, PATIENCE)
        self.assertGreater(alarm["at"], times["killed"])
        bus.until_value(PROFILE, False, PATIENCE)
        return alarm["at"] - times["returned"]

    def disconnects(self, device):
        return json.loads(device.read("localdata/idd.json"))["data"]["nbrNoltDisconnects"]

    def holdings(self, device, pid):
        """Memory in KiB, and numbers of threads and descriptors."""
        status = dict(line.split(":", 1) for line in device.enter("cat", f"/proc/{pid}/status").splitlines())
        descriptors = device.enter("ls", f"/proc/{pid}/fd").split()
        return {"VmRSS": int(status["VmRSS"].split()[0]), "Threads": int(status["Threads"]), "fds": len(descriptors)}


if __name__ == "__main__":
    unittest.main()
