"""A flood of random and mutated requests through the web server: each gets its answer, and nothing suffers.

TARNWATCH_HOSTILE_REQUESTS tells how many, TARNWATCH_HOSTILE_SEED which.
"""

import collections
import json
import os
import tempfile
import unittest

import hostile
from control import LIMIT, Control, flaw
from control_test import application_pid
from device import BUILD, Device
from scenes import configuration, recording
from stored import Unreadable, read, repaired, stored

COUNT = int(os.environ.get("TARNWATCH_HOSTILE_REQUESTS", "500"))
SEED = int(os.environ.get("TARNWATCH_HOSTILE_SEED", "20261121"))

GROWTH = 512  # KiB that the application's memory may have grown by in the second half, when it has met all sizes


def resident(pid):
    """The memory of a process in KiB."""
    with open(f"/proc/{pid}/status", encoding="ascii") as file:
        return next(int(line.split()[1]) for line in file if line.startswith("VmRSS:"))


def sanitized():
    """Whether this build's memory tells of a sanitizer more than of the program."""
    with open(os.path.join(BUILD, "CMakeCache.txt"), encoding="utf-8") as file:
        return any(line.startswith("TARNWATCH_SANITIZE:") and line.rstrip()[-1] not in ":=" for line in file)


class Flood:
    """What is sent to one device, and what is expected of it."""

    def __init__(self, test, device):
        self.test, self.device, self.path = test, device, device.path("localdata/config.json")
        self.control = Control(device)
        self.kinds = collections.Counter()
        self.file = self.contents()

    def contents(self):
        with open(self.path, "rb") as file:
            return file.read()

    def send(self, body):
        status, headers, answer = self.control.send(body)
        if status != 200:
            self.kinds[f"HTTP {status}"] += 1
            self.test.assertEqual(status, 413 if len(body) > LIMIT else 400, body[:300])
            self.test.assertTrue(answer)
            self.hold_file(self.file, body)
            return
        self.test.assertLessEqual(len(body), LIMIT)
        self.test.assertEqual(headers["Content-Type"], "application/json")
        self.test.assertIsNone(flaw(answer), (body[:2000], answer[:2000]))
        told = json.loads(answer)
        self.kinds[told["error"]["code"] if "error" in told else told["method"]] += 1
        accepted = told["method"] == "setConfiguration" and "data" in told
        self.hold_file(self.expected(body) if accepted else self.file, body)

    def expected(self, body):
        try:
            return stored(repaired(body), read(self.file.decode()))
        except Unreadable as reason:
            self.test.fail(f"accepted, although {reason}: {body[:2000]!r}")

    def hold_file(self, expected, body):
        found = self.contents()
        if found != expected:
            self.test.fail(f"after {body[:3000]!r}\nis {found[:3000]!r}\nnot {expected[:3000]!r}")
        self.file = found


class HostileRequests(unittest.TestCase):
    def test_each_gets_one_answer_and_nothing_suffers(self):
        with tempfile.TemporaryDirectory(prefix="tarnwatch-test-") as folder:
            scenes = recording(os.path.join(folder, "walk.jsonl"), 10, [(7, 1, 9)])
            with Device("--scenes", scenes, "--loop", config=configuration()) as device:
                self.flood(device, hostile.requests(SEED, COUNT))

    def flood(self, device, bodies):
        pid, flood = application_pid(device), Flood(self, device)
        self.addCleanup(flood.control.close)
        memory = []  # in KiB, ten times along the way
        for number, body in enumerate(bodies, 1):
            flood.send(body)
            if number % max(1, COUNT // 10) == 0:
                memory.append(resident(pid))
        self.assertEqual(application_pid(device), pid)
        flood.control.data("getConfigurationCapabilities")
        self.assertNotIn("ended", device.log("bringup"))
        print(f"\n{COUNT} requests, seed {SEED}: {dict(flood.kinds.most_common())}; memory {memory} KiB")
        self.assertGreaterEqual(len(flood.kinds), 8, flood.kinds)
        self.assertGreater(flood.kinds["setConfiguration"], COUNT // 50, flood.file[:3000])
        if not sanitized():
            self.assertLess(memory[-1] - memory[len(memory) // 2], GROWTH)


if __name__ == "__main__":
    unittest.main()
