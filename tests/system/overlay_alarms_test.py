"""Alarms in the video: where they are drawn, that nothing is left of them, and that neither the lack nor the
failures of the overlay services disturb alarms."""

import os
import tempfile
import time
import unittest

from application_test import scene_time
from device import KTW, PATIENCE, Device, until
from scenes import configuration, profile, standing
from video_picture import Picture, Stream, colourless_for, until_picture

DRAWN = f"{KTW}/tnsorva:Camera1Profile1"
TIMED = f"{KTW}/tnsorva:Camera1Profile2"
AREA = (-3072, -3072, 3072, 3584)  # scene units: left, bottom, right, top
BOX = (-1024, -1024, 512, 2048)
SIDE = (3200, -3584, 3840, -3200)  # outside of AREA
LATE = 1.0 * PATIENCE / 20  # seconds from a scene to its event at a client of the bus, on a busy machine


def area(left, bottom, right, top):
    return [{"type": "includeArea", "data": [[x / 4096, y / 4096] for x, y in ((left, bottom), (left, top), (right, top), (right, bottom))]}]


def drawing(*profiles, rotation=0):
    """A configuration whose first profile has its alarms drawn."""
    one = profile(size=False, lifetime=False, swaying=False) | {"triggers": area(*AREA), "xinternalEventDuration": 100000}
    config = configuration([one | {"alarmOverlayEnabled": True}, *profiles])
    config["params"]["cameras"][0] |= {"overlayResolution": "1280x720", "rotation": rotation}
    return config


class OverlayTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="tarnwatch-test-")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def device(self, seconds, stays, *options, rate=10, config=None, **more):
        scenes = standing(os.path.join(self.folder, "standing.jsonl"), seconds, stays, rate)
        device = Device("--scenes", scenes, *options, config=config or drawing(), **more)
        self.addCleanup(device.__exit__)
        return device.__enter__()


class Drawing(OverlayTest):
    def hold(self, device, stream, name="1.jpg"):
        """Waits for an alarm in the video, and that all of it is where it belongs, and nothing else."""
        lines = [stream.rectangle(*BOX)]
        picture = until_picture(device, lambda one: not one.is_grey, "the alarm is drawn", name=name)
        self.assertIsNone(picture.stray(lines))
        self.assertEqual(picture.missing(lines), [])

    def test_shows_the_box_in_red_and_nothing_else_until_the_alarm_is_over(self):
        device = self.device(12, [(7, 2, 7, BOX)])
        bus = device.bus(DRAWN)
        self.assertTrue(Picture.take(device).is_grey)
        bus.until_value(DRAWN, True)
        self.hold(device, Stream())
        bus.until_value(DRAWN, False)
        until_picture(device, lambda one: one.is_grey, "no colour is left")
        self.assertTrue(colourless_for(device, 2))

    def test_is_right_in_a_picture_that_is_turned(self):
        box = (-1024, 1024, 1024, 2048)
        for rotation in (90, 180, 270):
            with self.subTest(rotation):
                device = self.device(4, [(7, 0, 4, box)], "--loop", config=drawing(rotation=rotation))
                line = Stream(rotation=rotation).rectangle(*box)
                picture = until_picture(device, lambda one: not one.is_grey, "the alarm is drawn")
                self.assertEqual(picture.size, (1280, 720) if rotation == 180 else (720, 1280))
                self.assertIsNone(picture.stray([line]))
                # What is drawn into has the height of the upright picture also where the picture is higher.
                _, top, _, bottom = picture.coloured().getbbox()
                self.assertAlmostEqual(top, min(y for _, y in line), delta=4)
                self.assertAlmostEqual(bottom, min(720, max(y for _, y in line)), delta=4)
                device.stop()

    def test_is_in_the_stream_of_the_configuration_and_in_no_other(self):
        device = self.device(4, [(7, 0, 4, BOX)], "--loop")
        self.hold(device, Stream())
        self.assertTrue(Picture.take(device, "1.jpg?rotation=180").is_grey)

    def test_keeps_clear_of_a_text_at_the_top(self):
        high = (-1024, -1024, 512, 4000)  # its upper edge is at line 9
        config = drawing()
        config["params"]["profiles"][0]["triggers"] = area(-3072, -3072, 3072, 4000)
        device = self.device(4, [(7, 0, 4, high)], "--loop", config=config)
        stream = Stream()
        lines = [stream.rectangle(*high)]
        side = stream.pixel(-1024, 0)[0]
        until_picture(device, lambda one: one.is_red_at(side, 20) and not one.missing(lines), "it is drawn to its top")
        id = device.enter("overlay", "text", "Gate 3", "topright").strip()
        # 40 lines of 1080 are 26 of 720, and 32 in blocks of 16.
        picture = until_picture(device, lambda one: one.is_red_at(side, 60) and not one.is_red_at(side, 20), "the band has moved")
        self.assertIsNone(picture.stray(lines))
        self.assertGreaterEqual(picture.coloured().getbbox()[1], 32 - 2)
        self.assertTrue(picture.is_red_at(side, 40) and picture.has_light((900, 0, 1280, 32)))
        device.enter("overlay", "move", id, "bottomleft")
        picture = until_picture(device, lambda one: one.is_red_at(side, 20), "the band is back at the top")
        self.assertEqual(picture.missing(lines), [])
        device.enter("overlay", "remove", id)


class Outages(OverlayTest):
    """One object stands in the area of the first profile all the time and is drawn; another one comes and goes once
    in each round in that of the second, which tells whether scenes still come through."""

    ROUND = 2.0

    def setUp(self):
        super().setUp()
        second = profile(2, size=False, lifetime=False, swaying=False) | {"xinternalEventDuration": 100000, "triggers": area(3100, -3700, 3940, -3100)}
        config = drawing(second)
        self.device = self.device(self.ROUND, [(7, 0, self.ROUND, BOX), (8, 0.5, 1.0, SIDE)], "--loop", rate=50, config=config)
        self.bus = self.device.bus(TIMED)
        self.drawn()

    def drawn(self, what="alarms are drawn"):
        lines = [Stream().rectangle(*BOX)]
        until_picture(self.device, lambda one: not one.missing(lines), what, 2 * PATIENCE)

    def overlay(self, *arguments):
        return self.device.enter("overlay", *arguments)

    def alarms(self):
        return [message for message in self.bus.of(TIMED) if message["payload"] and message["payload"]["Data"]["active"] and not message["retained"]]

    def rounds(self, count):
        """Waits for the next so many alarms of the second profile."""
        before = len(self.alarms())
        until(lambda: len(self.alarms()) >= before + count, "alarms go on", (count + 1) * self.ROUND + PATIENCE)

    def undisturbed(self):
        """Checks that the second profile had an alarm in every round so far, each told in time."""
        alarms = self.alarms()
        self.assertGreater(len(alarms), 1)
        wall = time.time() - time.monotonic()
        late = [message["at"] + wall - scene_time(message) for message in alarms]
        self.assertLess(max(late), LATE)
        apart = [scene_time(after) - scene_time(before) for before, after in zip(alarms, alarms[1:])]
        self.assertAlmostEqual(min(apart), self.ROUND, delta=0.1)
        self.assertAlmostEqual(max(apart), self.ROUND, delta=0.1)

    def test_services_that_are_killed_come_back_with_the_overlay(self):
        pid = self.device.service_pid("application")
        for _ in range(3):
            self.device.kill("video")
            self.rounds(1)
            self.drawn("it is back")
        self.device.service("stop", "video")
        self.rounds(2)
        self.device.service("start", "video")
        self.drawn("it is back after a while")
        self.undisturbed()
        self.assertEqual(self.device.service_pid("application"), pid)

    def test_the_bus_that_is_killed_comes_back_with_the_overlay(self):
        pid = self.device.service_pid("application")
        self.device.kill("bus")
        self.rounds(2)
        self.drawn("it is back")
        self.undisturbed()
        self.assertEqual(self.device.service_pid("application"), pid)

    def test_each_call_that_fails_costs_the_overlay_a_moment(self):
        for nth in range(1, 13):
            with self.subTest(nth):
                self.overlay("fault", "any", "error", "--nth", str(nth))
                self.rounds(1)
                self.drawn("it is back")
        self.undisturbed()

    def test_each_call_on_the_way_back_that_fails_is_made_again(self):
        calls = [("OpenCameraDevice", 1), ("GetCommandChannel", 1), *(("SetColor", nth) for nth in (1, 2, 3, 4)), ("CreateOverlay", 1),
                 ("RemoveOverlay", 1), ("SetProperties", 1), ("getBuffer", 2), ("getBuffer", 3), ("submitBuffer", 1),
                 ("submitBuffer", 2)]  # fmt: skip
        for method, nth in calls:
            with self.subTest(method=method, nth=nth):
                if method != "getBuffer":
                    self.overlay("fault", "getBuffer", "error")
                self.overlay("fault", method, "error", "--nth", str(nth))
                self.rounds(1)
                self.drawn("it is back")
                self.overlay("fault", "clear")
        self.undisturbed()

    def test_many_calls_that_fail_in_a_row_are_outlived(self):
        self.overlay("fault", "any", "error", "--count", "15")
        self.rounds(2)
        self.overlay("fault", "clear")
        # A list of streams that could not be read is told anew by what comes and goes.
        self.overlay("stream", "remove", "1")
        self.overlay("stream", "add", "1")
        self.drawn("it is back")
        self.undisturbed()

    def test_answers_and_buffers_of_the_wrong_kind_are_outlived(self):
        faults = [("getBuffer", "short"), ("getBuffer", "wrong"), ("getBuffer", "empty"), ("submitBuffer", "short"),
                  ("submitBuffer", "empty"), ("CreateOverlay", "wrong"), ("CreateOverlay", "empty"), ("GetCommandChannel", "nodescriptor"),
                  ("GetCommandChannel", "notasocket"), ("OpenCameraDevice", "nodescriptor"), ("OpenCameraDevice", "notamemory"),
                  ("OpenCameraDevice", "unsealed"), ("OpenCameraDevice", "toosmall")]  # fmt: skip
        pid = self.device.service_pid("application")
        for method, kind in faults:
            with self.subTest(method=method, kind=kind):
                self.overlay("fault", method, kind)
                if method != "getBuffer":
                    self.overlay("fault", "getBuffer", "error")
                self.rounds(1)
                self.drawn("it is back")
                self.overlay("fault", "clear")
        self.undisturbed()
        self.assertEqual(self.device.service_pid("application"), pid)

    def test_a_service_that_dies_while_it_answers_is_outlived(self):
        pid = self.device.service_pid("application")
        for method in ("getBuffer", "submitBuffer", "SetProperties"):
            with self.subTest(method):
                self.overlay("fault", method, "exit")
                self.rounds(1)
                self.drawn("it is back")
        self.undisturbed()
        self.assertEqual(self.device.service_pid("application"), pid)

    def test_streams_that_go_and_come_are_followed(self):
        self.overlay("stream", "remove", "1")
        until_picture(self.device, lambda one: one.is_grey, "nothing is drawn into a stream that is away")
        self.rounds(1)
        self.overlay("stream", "add", "1")
        self.drawn("it is back")
        self.rounds(1)
        self.undisturbed()


if __name__ == "__main__":
    unittest.main()
