import json
import os
import tempfile
import unittest

from bringup.readiness import ApplicationWatch, expected_events

EVENTS = "tarnwatch/onvif-ej/tnsorva:DeviceAppHost/tnsorva:KTW/tnsorva:"


def document(cameras, profiles):
    return {
        "params": {
            "cameras": [{"id": id, "active": active} for id, active in cameras],
            "profiles": [{"camera": camera, "uid": uid} for camera, uid in profiles],
        }
    }


class ReadinessTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = os.path.join(folder.name, "config.json")

    def put(self, content):
        with open(self.path, "w", encoding="utf-8") as file:
            file.write(content if isinstance(content, str) else json.dumps(content))


class ExpectedEvents(ReadinessTest):
    def test_are_those_of_active_cameras(self):
        self.put(document([(1, True), (2, False), (3, True)], [(1, 4), (1, 5), (2, 6)]))
        self.assertEqual(expected_events(self.path), {"tnsorva:Camera1Profile4", "tnsorva:Camera1Profile5"})

    def test_are_unknown_without_a_document(self):
        self.assertIsNone(expected_events(self.path))
        for content in ("", "{", "[]", "{}", "3", '{"params": {"cameras": 1}}', '{"params": {"cameras": [1], "profiles": []}}'):
            with self.subTest(content):
                self.put(content)
                self.assertIsNone(expected_events(self.path))


class Watch(ReadinessTest):
    def hear(self, watch, topic, payload):
        watch.hear(json.dumps({"topic": topic, "payload": payload}).encode())

    def test_waits_for_both_the_state_and_the_events(self):
        self.put(document([(1, True)], [(1, 1), (1, 2)]))
        watch = ApplicationWatch(self.path)
        self.hear(watch, EVENTS + "Camera1Profile1", {"Data": {"active": False}})
        self.hear(watch, EVENTS + "Camera1Profile2", {"Data": {"active": False}})
        self.assertFalse(watch.complete())
        self.hear(watch, "tarnwatch/status", {"online": True})
        self.assertTrue(watch.complete())

    def test_an_event_that_was_taken_back_is_not_there(self):
        self.put(document([(1, True)], [(1, 1)]))
        watch = ApplicationWatch(self.path)
        self.hear(watch, "tarnwatch/status", '{"online": true}')
        self.hear(watch, EVENTS + "Camera1Profile1", {"Data": {}})
        self.assertTrue(watch.complete())
        self.hear(watch, EVENTS + "Camera1Profile1", None)
        self.assertFalse(watch.complete())

    def test_an_application_that_is_offline_is_not_up(self):
        self.put(document([(1, True)], []))
        watch = ApplicationWatch(self.path)
        for payload in ({"online": False}, "no JSON", None, 3):
            self.hear(watch, "tarnwatch/status", payload)
            self.assertFalse(watch.complete())
        self.hear(watch, "tarnwatch/status", {"online": True})
        self.assertTrue(watch.complete())

