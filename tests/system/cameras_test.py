"""Cameras that come and go with configurations while their scenes run."""

import json
import os
import statistics
import tempfile
import unittest
import urllib.error
import urllib.request
from datetime import datetime

from device import KTW, PATIENCE, Device, until, value_of
from scenes import configuration, profile, recording

FRAMES = f"{KTW}/tnsorva:xinternal_data"
FIRST = f"{KTW}/tnsorva:Camera1Profile1"
SECOND = f"{KTW}/tnsorva:Camera2Profile2"
RATE = 25  # scenes per second
IDENTITY = [1, 0, 0, 0, 1, 0, 0, 0, 1]


def carried_time(message):
    """The time an event carries, in seconds."""
    return datetime.fromisoformat(message["payload"]["UtcTime"].replace("Z", "+00:00")).timestamp()


def missed(times):
    """How many pictures lack between the first second's and the last's, one a scene. A missing one sets all later ones
    back for good; that a busy machine stamps one or two late does not matter."""
    lag = [time - number / RATE for number, time in enumerate(times)]
    return (statistics.median(lag[-RATE:]) - statistics.median(lag[:RATE])) * RATE


class Cameras(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="tarnwatch-test-")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def crowd(self):
        """A recording in which somebody is always in the picture from 1 s on."""
        walks = [(number, 1 + 2 * number, 5 + 2 * number) for number in range(60)]
        return recording(os.path.join(self.folder, "crowd.jsonl"), 120, walks, RATE)

    def ask(self, device, method, **params):
        request = {"apiVersion": "1.4", "method": method, "params": params}
        body = json.dumps(request).encode()
        answered = until(lambda: self.answer(device.endpoints["control"], body), "the control service answers")
        self.assertNotIn("error", answered)

    def answer(self, url, body):
        """The answer; None while the service is not there yet: events are declared a moment before it is."""
        try:
            with urllib.request.urlopen(url, body, timeout=PATIENCE) as answer:
                return json.load(answer)
        except urllib.error.HTTPError as error:
            self.assertEqual(error.code, 503)
            error.close()
            return None

    def configure(self, device, second_is_there):
        document = configuration([profile(1, 1), profile(2, 2, "Back")], cameras=2)
        document["params"]["cameras"][1]["active"] = second_is_there
        self.ask(device, "setConfiguration", **document["params"])

    def drop_and_return(self, *options, rounds):
        crowd = self.crowd()
        config = configuration([profile(1, 1), profile(2, 2, "Back")], cameras=2)
        with Device("--scenes", crowd, "--scenes", crowd, *options, config=config) as device:
            bus = device.bus()
            self.ask(device, "startVisualConfirmation", profile=1, transform=IDENTITY)
            pictures = lambda: [m for m in bus.of(FRAMES) if "<g" in (value_of(m["payload"]) or "")]  # noqa: E731
            until(lambda: len(pictures()) > RATE, "pictures of the first camera")
            bus.until_value(SECOND, True)
            for _ in range(rounds):
                self.configure(device, second_is_there=False)
                until(lambda: bus.of(SECOND)[-1]["payload"] is None, "the second camera's event is taken away")
                self.configure(device, second_is_there=True)
                bus.until_value(SECOND, True)
            shown = len(pictures())
            until(lambda: len(pictures()) > shown + RATE, "pictures after it all")
            bus.until_value(FIRST, True)
            times = [carried_time(message) for message in pictures()]
            self.assertGreater(len(times), rounds * RATE)
            self.assertAlmostEqual(missed(times), 0, delta=0.5)
            self.assertEqual(device.log().count("Could not read scene"), 0)

    def test_of_the_socket_drop_out_and_come_back_and_the_first_misses_no_scene(self):
        self.drop_and_return("--transport", "socket", rounds=5)

    def test_of_the_module_drop_out_and_come_back(self):
        self.drop_and_return("--transport", "module", rounds=5)


if __name__ == "__main__":
    unittest.main()
