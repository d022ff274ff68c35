"""What the pages of the control API say, held against a running device."""

import copy
import json
import os
import re
import subprocess
import tempfile
import unittest

from control import MESSAGES, Control, ordered
from device import PATIENCE, ROOT, Device
from scenes import recording
from stored import stored

URL = "http://127.0.0.1:8080/control"


def page(name):
    with open(os.path.join(ROOT, "docs", name), encoding="utf-8") as file:
        return file.read()


def examples(text):
    """The commands of a page with the answers that stand below them."""
    return re.findall(r"```sh\n(.*?)```\n```json\n(.*?)```", text, re.S)


def table(text, heading):
    """The cells of the first table below a heading, without its own heading."""
    rows = re.search(rf"^## {heading}\n(?s:.*?)\n\|[-|]+\|\n((?:\|.*\n)+)", text, re.M)[1]
    return [[cell.strip() for cell in row.strip("|").split("|")] for row in rows.splitlines()]


def bare(cell):
    return cell.strip("`")


class PagesTest(unittest.TestCase):
    def start(self):
        folder = tempfile.TemporaryDirectory(prefix="tarnwatch-test-")
        self.addCleanup(folder.cleanup)
        device = Device("--scenes", recording(os.path.join(folder.name, "quiet.jsonl"), 3, []))
        self.addCleanup(device.__exit__)
        device.__enter__()
        control = Control(device)
        self.addCleanup(control.close)
        return device, control


class ControlPage(PagesTest):
    def test_each_example_answers_as_the_page_says(self):
        device, _ = self.start()
        found = examples(page("control-api.md"))
        self.assertGreater(len(found), 15)
        for command, answer in found:
            with self.subTest(command):
                self.assertIn(URL, command)
                here = command.replace(URL, device.endpoints["control"])
                done = subprocess.run(["bash", "-c", here], capture_output=True, text=True, timeout=PATIENCE)
                self.assertEqual(done.stderr, "")
                self.assertEqual(ordered(done.stdout), ordered(answer))
                self.assertEqual(len(done.stdout.strip().splitlines()), 1)

    def test_has_an_example_of_every_method(self):
        text = page("control-api.md")
        shown = {json.loads(answer).get("method") for command, answer in examples(text) if '"data"' in answer}
        self.assertEqual(shown, {bare(row[0]) for row in table(text, "Methods")})

    def test_lists_every_code_with_its_messages(self):
        told = {}
        for _, code, message, _ in table(page("control-api.md"), "Errors"):
            told.setdefault(code, set()).add(message)
        self.assertEqual(told, {code: set(messages) for code, messages in MESSAGES.items()})


class ConfigurationPage(PagesTest):
    def setUp(self):
        self.text = page("configuration.md")
        self.example = json.loads(re.search(r"```json\n(.*?)```", self.text, re.S)[1])

    def changed(self, place, change):
        """The example with the member at a JSON pointer given to `change(owner, key)`."""
        document = copy.deepcopy(self.example)
        *owners, last = place.split("/")[1:]
        owner = document
        for name in owners:
            owner = owner[int(name) if isinstance(owner, list) else name]
        change(owner, int(last) if isinstance(owner, list) else last)
        return document

    def hold(self, control, document, code, what):
        with self.subTest(what):
            answer = json.loads(control.text(json.dumps(document)))
            self.assertEqual(answer.get("error", {}).get("code", "0"), code, answer)

    def test_the_example_is_accepted_and_stored(self):
        device, control = self.start()
        before = device.configuration
        control.configure(self.example)
        self.assertEqual(device.read("localdata/config.json").encode(), stored(self.example, before))

    def test_each_limit_is_accepted_and_nothing_beyond(self):
        _, control = self.start()
        rows = table(self.text, "Limits")
        self.assertGreater(len(rows), 10)
        for place, kind, smallest, largest, code in rows:
            step = 0.0001 if kind == "coordinate" else 1
            low, high = (float(bound) if kind == "coordinate" else int(bound) for bound in (smallest, largest))
            for value, expected in ((low, "0"), (high, "0"), (low - step, code), (high + step, code)):
                if value >= 0 or kind in ("number", "coordinate"):
                    change = lambda owner, key: owner.__setitem__(key, sized(kind, owner[key], value))  # noqa: B023, E731
                    self.hold(control, self.changed(bare(place), change), expected, f"{place}: {kind} {value}")

    def test_each_refusal_is_one_and_each_oddity_is_accepted(self):
        _, control = self.start()
        rows = table(self.text, "What is refused")
        self.assertGreater(len(rows), 40)
        for place, value, code in rows:
            if value == "removed":
                change = lambda owner, key: owner.__delitem__(key)  # noqa: E731
            else:
                change = lambda owner, key: owner.__setitem__(key, json.loads(bare(value)))  # noqa: B023, E731
            self.hold(control, self.changed(bare(place), change), code, f"{place}: {value}")


def sized(kind, member, size):
    """A member of that size, made of what stands there."""
    if kind in ("number", "coordinate"):
        return size
    if kind == "characters":
        return "\u20ac" * size
    if kind == "points":
        return [[round(-0.9 + 0.05 * i, 2), 0.1 * (i % 3)] for i in range(size)]
    if kind == "elements":
        return [copy.deepcopy(member[0]) for _ in range(size)]
    if kind == "exclude areas":
        return [copy.deepcopy(member[3]) for _ in range(size)]
    if kind == "profiles of a camera":
        return [copy.deepcopy(member[1]) | {"uid": uid} for uid in range(size)]
    raise AssertionError(f"the page has an unknown kind of limit: {kind}")


if __name__ == "__main__":
    unittest.main()
