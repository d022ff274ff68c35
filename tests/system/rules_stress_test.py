"""Rule requests and control requests at the same time: the last writer wins by whole documents.

TARNWATCH_RULE_REQUESTS tells how many requests in all; 5000 is a full run.
"""

import collections
import json
import os
import random
import tempfile
import threading
import unittest

from control import Control
from control_test import application_pid
from device import KTW, Device, retained, until
from rules import ERRORS, RuleBus, rule, rules
from scenes import configuration, profile, recording

COUNT = int(os.environ.get("TARNWATCH_RULE_REQUESTS", "200"))
SEED = int(os.environ.get("TARNWATCH_RULE_SEED", "20261121"))

_CONTROLS, _CLIENTS = 2, 2
_LIMIT = 3  # profiles of a device


def document(number):
    """A document that can be told from every other by each of its profiles."""
    return configuration([profile(100 * number + index, name=f"{number}-{index}") for index in range(1 + number % 2)])


class Stress(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="tarnwatch-test-")
        self.addCleanup(folder.cleanup)
        self.scenes = recording(os.path.join(folder.name, "walk.jsonl"), 600, [(n, 4 * n, 4 * n + 4) for n in range(1, 140)])
        self.answers = collections.Counter()
        self.failures = []
        self.numbers = iter(range(1, 10**9))
        self.counting = threading.Lock()

    def test_leaves_whole_documents_and_a_running_application(self):
        with Device("--scenes", self.scenes, config=document(0)) as device:
            application = application_pid(device)
            seeds = random.Random(SEED)
            workers = [(self.send_documents, seeds.random()) for _ in range(_CONTROLS)]
            workers += [(self.send_rules, seeds.random()) for _ in range(_CLIENTS)]
            threads = [threading.Thread(target=self.work, args=(device, *worker, COUNT // len(workers))) for worker in workers]
            for thread in threads:
                thread.start()
            for thread in threads:
                thread.join()
            self.assertEqual(self.failures, [])
            self.assertEqual(application_pid(device), application)
            self.hold(device)
            running = lambda: {name.rpartition("Profile")[2] for name in retained(device) if name.startswith(f"{KTW}/")} - {"ANY"}  # noqa: E731
            stored = {str(each["uid"]) for each in device.configuration["params"]["profiles"]}
            until(lambda: running() == stored, lambda: f"{stored} run: {running()}")
            # Every document that was stored counted on from the one before it.
            saved = self.answers["document"] + sum(self.answers[each] for each in ("create", "modify", "delete"))
            self.assertEqual(device.configuration["params"]["configurationStatus"], saved)
            print(f"{SEED}: {dict(self.answers)}")

    def work(self, device, send, seed, count):
        try:
            send(device, random.Random(seed), count)
        except BaseException as error:  # noqa: BLE001
            self.failures.append(repr(error))

    def send_documents(self, device, chance, count):
        with Control(device) as control:
            for _ in range(count):
                with self.counting:
                    number = next(self.numbers)
                if chance.random() < 0.1:
                    code = control.code("setConfiguration", {"cameras": []})
                    self.note("refused document" if code == "2003" else f"answer {code}")
                    continue
                control.configure(document(number))
                self.note("document")
                self.hold(device)

    def send_rules(self, device, chance, count):
        with RuleBus(device) as client:
            for _ in range(count):
                kind = chance.choice(["create", "create", "modify", "delete", "get", "bad"])
                name = f"rule {chance.randrange(4)}"
                if kind == "get":
                    self.held([line.split('"')[1] for line in client.get().splitlines() if "<tt:Rule " in line])
                elif kind == "bad":
                    self.expect(client.create("no XML"), ERRORS + "InternalError")
                elif kind == "create":
                    answer = client.create(rules(rule(name, "0.8")))
                    kind = "too many" if answer == ERRORS + "TooManyRules" else kind
                    self.expect(answer, [], ERRORS + "TooManyRules")
                elif kind == "modify":
                    self.expect(client.modify(rules(rule(name, "0.4"))), [])
                else:
                    self.expect(client.delete(name, "nobody"), [])
                self.note(kind)
                self.hold(device)

    def note(self, what):
        with self.counting:
            self.answers[what] += 1

    def expect(self, answer, *allowed):
        if answer not in allowed:
            raise AssertionError(f"answered {answer}")

    def hold(self, device):
        """Holds the stored document against what it can be: one that was sent, with rules behind it."""
        found = json.loads(device.read("localdata/config.json"))["params"]["profiles"]
        if len({each["uid"] for each in found}) != len(found):
            raise AssertionError(f"two of one number: {found}")
        self.held([each["name"] for each in found])
        number = found[0]["name"].split("-")[0]
        sent = document(int(number))["params"]["profiles"]
        if json.dumps(found[: len(sent)]) != json.dumps(sent):
            raise AssertionError(f"mixed: {found}")

    def held(self, names):
        """Holds the names of profiles against the same."""
        number = int(names[0].split("-")[0])
        own = [f"{number}-{index}" for index in range(1 + number % 2)]
        if names[: len(own)] != own or len(names) > _LIMIT or not all(name.startswith("rule ") for name in names[len(own) :]):
            raise AssertionError(f"mixed: {names}")


if __name__ == "__main__":
    unittest.main()
