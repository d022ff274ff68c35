"""Scenes and requests at the same time: how late do scenes get, and how long do answers take?

A scene's lateness is taken at the far end of everything: from the time its engine stamped on it to the time
at which a client of the broker has its visual confirmation frame.
"""

import json
import os
import subprocess
import tempfile
import threading
import time
from datetime import datetime

from control import Control, request
from device import KTW, PATIENCE, Device, until
from scenes import configuration, profile

RATE = 30  # scenes a second
FRAME = 1 / RATE
OBJECTS = 20
PROFILES = 3
CLIENTS = 4


def busy_recording(path, seconds):
    """Writes 20 objects that walk to and fro all the time, 30 scenes a second."""
    with open(path, "w", encoding="utf-8") as file:
        for number in range(round(seconds * RATE)):
            objects = [_walker(id, number) for id in range(1, OBJECTS + 1)] if number >= RATE else []
            file.write(json.dumps({"time": round(number / RATE, 6), "objects": objects}) + "\n")
    return path


def _walker(id, number):
    left = abs((number * 20 + id * 331) % 12000 - 6000) - 3400
    low = -3900 + 370 * (id - 1)
    outline = [[0, 100], [0, 300], [150, 350], [400, 350], [550, 300], [550, 100], [400, 0], [150, 0]]
    return {"id": id, "polygon": [[left + x, low + y] for x, y in outline], "velocity": [600, 0], "confidence": 4096}


class Frames:
    """Listens to the frames of visual confirmation and notes when each one came."""

    def __init__(self, device):
        port = device.endpoints["events"].rsplit(":", 1)[1]
        command = ["mosquitto_sub", "-p", port, "-q", "1", "-t", f"{KTW}/tnsorva:xinternal_data", "-F", "%U %p"]
        self._process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True)
        self.arrived = []  # when it came, when its scene was, both in seconds of UTC
        self._thread = threading.Thread(target=self._listen, daemon=True)
        self._thread.start()

    def _listen(self):
        for line in self._process.stdout:
            at, payload = line.split(" ", 1)
            utc = json.loads(payload)["UtcTime"].replace("Z", "+00:00")
            self.arrived.append((float(at), datetime.fromisoformat(utc).timestamp()))

    def close(self):
        self._process.kill()
        self._process.wait()
        self._thread.join()
        self._process.stdout.close()

    def between(self, begin, end):
        """How late each frame of a span of scene time came, and the number of scenes that had none."""
        inside = [(at, scene) for at, scene in self.arrived if begin <= scene < end]
        scenes = [scene for _, scene in inside]
        missing = sum(round((later - earlier) * RATE) - 1 for earlier, later in zip(scenes, scenes[1:]))
        return sorted(at - scene for at, scene in inside), missing


class Client(threading.Thread):
    """Asks at an even pace and notes how long each answer took."""

    def __init__(self, device, rate, seconds):
        super().__init__(daemon=True)
        self._control, self._rate, self._seconds = Control(device), rate, seconds
        self.took, self.failures = [], []

    def run(self):
        body = json.dumps(request("getConfiguration")).encode()
        begin = time.monotonic()
        for number in range(round(self._rate * self._seconds)):
            due = begin + number / self._rate
            time.sleep(max(0.0, due - time.monotonic()))
            asked = time.monotonic()
            status, _, answer = self._control.send(body)
            self.took.append(time.monotonic() - asked)
            if status != 200 or b'"data"' not in answer:
                self.failures.append(answer)
        self._control.close()


def measure(seconds, requests=200):
    """Runs `seconds` without requests and `seconds` with so many a second; the figures, in seconds."""
    with tempfile.TemporaryDirectory(prefix="tarnwatch-test-") as folder:
        scenes = busy_recording(os.path.join(folder, "busy.jsonl"), 2 * seconds + 30 + 2 * PATIENCE)
        config = configuration([profile(uid, name=f"Profile {uid}") for uid in range(1, PROFILES + 1)])
        with Device("--scenes", scenes, config=config) as device:
            frames = Frames(device)
            try:
                return _measure(device, frames, seconds, requests)
            finally:
                frames.close()


def _measure(device, frames, seconds, requests):
    with Control(device) as control:
        control.data("startVisualConfirmation", {"profile": 1, "transform": [1, 0, 0, 0, 1, 0, 0, 0, 1]})
    until(lambda: len(frames.arrived) > RATE, "frames come")
    spans = [time.time()]
    time.sleep(seconds)
    spans.append(time.time())
    clients = [Client(device, requests / CLIENTS, seconds) for _ in range(CLIENTS)]
    for client in clients:
        client.start()
    for client in clients:
        client.join()
    spans.append(time.time())
    time.sleep(1)
    quiet, lost = frames.between(spans[0], spans[1])
    loaded, lost_loaded = frames.between(spans[1], spans[2])
    took = sorted(took for client in clients for took in client.took)
    return {
        "quiet": quiet, "loaded": loaded, "missing": lost + lost_loaded, "answers": took,
        "failures": [failure for client in clients for failure in client.failures],
        "rate": len(took) / (spans[2] - spans[1]),
    }  # fmt: skip


def at(values, share):
    """The value below which that share of the sorted values lies."""
    return values[min(len(values) - 1, int(share * len(values)))]
