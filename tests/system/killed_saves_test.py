"""SIGKILL in the middle of saves: the file is the old document or the new one, and never absent.

TARNWATCH_KILLED_SAVES tells how many kills.
"""

import http.client
import json
import os
import random
import re
import shutil
import signal
import tempfile
import threading
import time
import unittest

from control import Control, request
from device import BUILD, PATIENCE, Device, stand_in_build, until
from scenes import configuration, profile, recording
from stored import read, stored

ROUNDS = int(os.environ.get("TARNWATCH_KILLED_SAVES", "25"))

# Bring-up lets a program that keeps dying wait for up to a second. This shell starts the real one again at once.
AT_ONCE = """#!/bin/bash
trap 'kill -TERM $child; wait $child; exit 0' TERM
while :; do
    /usr/local/packages/ktw/lib/tarnwatch & child=$!
    wait $child
done
"""
COMMAND = "/usr/local/packages/ktw/lib/tarnwatch"
# One name in a hundred reads like somebody's own, such as "backup" or a date; the application leaves such a file.
TEMPORARY = re.compile(r"config\.json\.(?![a-z]{6}$|[A-Z]{6}$|[0-9]{6}$)[A-Za-z0-9]{6}")


def numbered(number):
    """A document of about 8 KiB that holds its number at both ends."""
    made = configuration([profile(uid, name=f"Document {number}") for uid in (1, 2, 3)])
    made["params"] |= {"begin": number, "padding": [number] * 1000, "end": number}
    return made


class Writer:
    """Sends numbered documents one after the other until the application is dead."""

    def __init__(self, device, before):
        self._control = Control(device)
        self.before = before  # the file's document when the next one is sent
        self.acknowledged = self.asked = 0

    def close(self):
        self._control.close()

    def write_until(self, killed):
        """Ends with the first failure, or with the last success when it was all the same to the writer: a new
        life can begin between two requests."""
        while not killed.is_set():
            self.asked += 1
            document = numbered(self.asked)
            try:
                status, _, answer = self._control.send(json.dumps(document).encode())
            except (OSError, http.client.HTTPException):
                return
            if status != 200:
                return
            if "data" not in json.loads(answer):
                raise AssertionError(f"{document} is refused: {answer}")
            self.acknowledged = self.asked
            self.before = read(stored(document, self.before).decode())

    def until_answers(self):
        """The stored parameters as the first answer of a new life tells them."""
        body = json.dumps(request("getConfiguration")).encode()
        answers = []

        def ask():
            try:
                status, _, answer = self._control.send(body)
            except (OSError, http.client.HTTPException):
                return False
            answers.append(answer)
            return status == 200

        until(ask, "the application answers")
        return json.loads(answers[-1])["data"]


class Watcher(threading.Thread):
    """Reads the file over and over: it must be there, and whole, at every moment."""

    def __init__(self, path):
        super().__init__(daemon=True)
        self._path, self.flaw, self.reads, self.going = path, None, 0, True

    def run(self):
        while self.going and self.flaw is None:
            try:
                with open(self._path, "rb") as file:
                    document = json.loads(file.read())
                if document["params"].get("begin") != document["params"].get("end"):
                    self.flaw = f"two halves: {document}"
            except (OSError, ValueError) as error:
                self.flaw = repr(error)
            self.reads += 1
            time.sleep(0.001)


class KilledSaves(unittest.TestCase):
    def test_leave_the_old_document_or_the_new_one(self):
        with tempfile.TemporaryDirectory(prefix="tarnwatch-test-") as folder:
            build = stand_in_build(folder, AT_ONCE)
            shutil.copy(os.path.join(BUILD, "bin", "tarnwatch"), os.path.join(build, "lib"))
            scenes = recording(os.path.join(folder, "quiet.jsonl"), 3, [])
            with Device("--scenes", scenes, build=build, config=configuration()) as device:
                self.kill_in_saves(device)

    def kill_in_saves(self, device):
        path = device.path("localdata/config.json")
        writer = Writer(device, device.configuration)
        self.addCleanup(writer.close)
        writer.until_answers()
        watcher = Watcher(path)
        watcher.start()
        chance = random.Random(1)
        told = {"old": 0, "new": 0, "left temporary files": 0}
        begin = time.monotonic()
        for _ in range(ROUNDS):
            pid = self.pid(device)
            killed = threading.Event()
            killer = threading.Timer(chance.uniform(0, 0.03), self.kill, (pid, killed))
            killer.start()
            writer.write_until(killed)
            killer.join()
            until(lambda: not os.path.exists(f"/proc/{pid}/exe"), "it is dead")
            left = self.leftovers(device)
            self.hold(path, writer, told)
            told["left temporary files"] += bool(left)
            params = writer.until_answers()
            self.assertEqual(params, writer.before["params"])
            self.assertEqual(left & self.leftovers(device), set(), "removed at the next start")
        watcher.going = False
        watcher.join()
        print(f"\n{ROUNDS} kills in {time.monotonic() - begin:.0f} s: {told}, {writer.asked} documents, {watcher.reads} reads")
        self.assertIsNone(watcher.flaw)

    @staticmethod
    def kill(pid, killed):
        os.kill(pid, signal.SIGKILL)
        killed.set()

    def hold(self, path, writer, told):
        """The file is the last acknowledged document or the one under way, byte for byte."""
        with open(path, "rb") as file:
            found = file.read()
        new = stored(numbered(writer.asked), writer.before)
        if found == new:
            told["new"] += 1
            writer.before = read(new.decode())
        else:
            self.assertEqual(read(found.decode()), writer.before, f"{writer.asked} asked, {writer.acknowledged} acknowledged")
            told["old"] += 1

    def leftovers(self, device):
        return {name for name in os.listdir(device.path("localdata")) if TEMPORARY.fullmatch(name)}

    def pid(self, device):
        """The application's process as this machine sees it."""
        found = []

        def there():
            found[:] = [pid for pid, command in device.processes().items() if command.strip() == COMMAND]
            return len(found) == 1

        until(there, lambda: f"one application: {found}", PATIENCE)
        return found[0]


if __name__ == "__main__":
    unittest.main()
