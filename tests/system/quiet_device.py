"""The fixture of tests that need a device, but nothing to happen in front of it."""

import os
import tempfile
import unittest

from device import Device, stand_in_build
from scenes import recording


class QuietDeviceTest(unittest.TestCase):
    """Each test has a folder and a recording without objects; `application` is a script in the application's place."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="tarnwatch-test-")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.scenes = recording(os.path.join(self.folder, "quiet.jsonl"), 5, [])

    def device(self, *options, application=None, **more):
        if application is not None:
            more["build"] = stand_in_build(self.folder, application)
        return Device("--scenes", self.scenes, *options, **more)
