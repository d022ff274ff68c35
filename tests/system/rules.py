"""The rule service of a device: a client from outside, and texts of rules."""

import json
import os
import subprocess
import tempfile
import unittest

from device import RUN, Device
from scenes import configuration, recording

_CLIENT = os.path.join(os.path.dirname(os.path.realpath(__file__)), "rule_client.py")

ERRORS = "com.orva.Onvif.Rule1.Error."

WHOLE = ((0, 200), (0, 0), (200, 0), (200, 200))  # of a picture of 200x200


class RuleBus:
    """A client of the rule service inside the device, by its own connection to the system bus. Not for
    several threads. Rules are told in a picture of 200x200."""

    def __init__(self, device):
        with open(_CLIENT, encoding="utf-8") as file:
            program = file.read()
        # The sanitizers' library path is for the device's own programs.
        command = ["env", "-u", "LD_LIBRARY_PATH", "-u", "G_SLICE", "/usr/bin/python3", "-c", program]
        self._process = subprocess.Popen([RUN, "--enter", "--state", device.state, *command], text=True,
                                         stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)  # fmt: skip

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._process.stdin.close()
        self._process.wait(20)
        self._process.stdout.close()
        self._process.stderr.close()

    def _ask(self, what, *arguments):
        self._process.stdin.write(json.dumps({"what": what, "arguments": arguments}) + "\n")
        self._process.stdin.flush()
        line = self._process.stdout.readline()
        if not line:
            raise AssertionError(f"the client ended: {self._process.stderr.read()}")
        return json.loads(line)

    def call(self, method, signature=None, *arguments):
        """The answer to a method, or the error's name; `seconds` then tells how long it took."""
        answer = self._ask("call", method, signature, arguments)
        self.seconds = answer["seconds"]
        self.message = answer.get("message")
        return answer["answer"] if "answer" in answer else answer["error"]

    def get(self, source=0, width=200, height=200, rotation=0):
        answer = self.call("GetRules", "(iiii)", source, width, height, rotation)
        return answer if isinstance(answer, str) else answer[0]

    def create(self, text, source=0):
        return self.call("CreateRules", "(iiiis)", source, 200, 200, 0, text)

    def modify(self, text, source=0):
        return self.call("ModifyRules", "(iiiis)", source, 200, 200, 0, text)

    def delete(self, *names, source=0):
        return self.call("DeleteRules", "(ias)", source, names)

    def types(self):
        """What providers have registered: provider, path, interface, description, options, changes."""
        return self._ask("types")["answer"]

    def changes(self):
        """How often the analytics service was told of a change, by source."""
        return {int(source): count for source, count in self.types()[0][5].items()}

    def send_raw(self, method, octets):
        """Sends bytes that are no text; comes back when the bus has ended that connection."""
        self._ask("raw", method, octets.hex())


class RulesTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="tarnwatch-test-")
        self.addCleanup(folder.cleanup)
        self.scenes = recording(os.path.join(folder.name, "quiet.jsonl"), 3, [])

    def device(self, profiles=(), cameras=1):
        """A device with these profiles and a client of its rule service."""
        config = configuration(list(profiles), cameras)
        device = self.enterContext(Device(*["--scenes", self.scenes] * cameras, config=config))
        self.rules = self.enterContext(RuleBus(device))
        return device

    def names(self, device):
        return [each["name"] for each in device.configuration["params"]["profiles"]]


def rule(name, sensitivity="1.0", points=WHOLE):
    places = "".join(f'<Point x="{x}" y="{y}"/>' for x, y in points)
    return f'<Rule Name="{name}"><MotionRegionConfig Sensitivity="{sensitivity}">{places}</MotionRegionConfig></Rule>'


def rules(*texts):
    return "<Rules>" + "".join(texts) + "</Rules>"


def listed(*rules_of):
    """The GetRules document of rules, each a name, a sensitivity and points."""
    lines = ['<?xml version="1.0" encoding="utf-8"?>', "<GetRules>"]
    for name, sensitivity, points in rules_of:
        lines += [
            f'\t<tt:Rule Name="{name}" Type="tt:MotionRegionDetector" xmlns:tt="http://www.onvif.org/ver10/schema" '
            'xmlns:axt="http://www.onvif.org/ver20/analytics">',
            "\t\t<tt:Parameters>",
            '\t\t\t<tt:ElementItem Name="MotionRegion">',
            f'\t\t\t\t<axt:MotionRegionConfig Sensitivity="{sensitivity}">',
            "\t\t\t\t\t<tt:Polygon>",
            *[f'\t\t\t\t\t\t<tt:Point x="{x}" y="{y}"/>' for x, y in points],
            "\t\t\t\t\t</tt:Polygon>",
            "\t\t\t\t</axt:MotionRegionConfig>",
            "\t\t\t</tt:ElementItem>",
            "\t\t</tt:Parameters>",
            "\t</tt:Rule>",
        ]
    return "\n".join([*lines, "</GetRules>"])
