"""The control API, from outside: every method, the envelope, what reaches the bus and what reaches the disk."""

import gzip
import json
import os
import re
import signal
import subprocess
import tempfile
import threading
import time
import unittest

from application_test import scene_time
from control import LIMIT, MESSAGES, Control, flaw, ordered, request
from device import KTW, PATIENCE, RECORDINGS, TOPICS, Device, retained, until, value_of
from scenes import configuration, profile, recording
from stored import read, stored, written

PROFILE = f"{KTW}/tnsorva:Camera1Profile1"
FRAMES = f"{KTW}/tnsorva:xinternal_data"
MOTION = f"{KTW}/tnsorva:Camera1MotionLevel"
PEDESTRIANS = os.path.join(RECORDINGS, "pedestrians.scenes.jsonl.gz")
IDENTITY = [1, 0, 0, 0, 1, 0, 0, 0, 1]
PTZ = ("--parameter", "root.Properties.PTZ.PTZ=yes")
EMPTY_PICTURE = "<svg><desc></desc></svg>"
NOWHERE = [[-1, 0.9], [-1, 1], [-0.9, 1], [-0.9, 0.9]]  # a corner that nobody enters


def free(uid=1, area=None, camera=1, name="Profile 1", **more):
    """A profile whose filters are off, so that whatever is in its area alarms."""
    made = profile(uid, camera, name, size=False, lifetime=False, swaying=False) | more
    if area is not None:
        made["triggers"] = [{"type": "includeArea", "data": area}]
    return made


def document(profiles, version="1.4", cameras=1, **more):
    """A setConfiguration request."""
    made = configuration(profiles, cameras)["params"]
    del made["configurationStatus"]
    return request("setConfiguration", made | more, version)


class ControlTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="tarnwatch-test-")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def scenes(self, seconds=3, walks=(), rate=10, name="walk.jsonl"):
        return recording(os.path.join(self.folder, name), seconds, walks, rate)

    def start(self, *options, scenes=None, config=None):
        """A device with a scene recording, by default one of an empty picture, and a client of it."""
        device = Device("--scenes", scenes or self.scenes(), *options, config=config)
        self.addCleanup(device.__exit__)
        device.__enter__()
        client = Control(device)
        self.addCleanup(client.close)
        return device, client

    def until_logged(self, device, words):
        """Waits for words in the application's log, which is written by another process."""
        until(lambda: words in device.log(), lambda: f"{words} in {device.log()}")

    def file(self, device):
        with open(device.path("localdata/config.json"), "rb") as file:
            return file.read()


class Curl(ControlTest):
    """Every method as a person at a terminal calls it."""

    def curl(self, device, body):
        command = ["curl", "-sS", "--fail", "--max-time", str(PATIENCE), device.endpoints["control"], "-d", body]
        return subprocess.run(command, check=True, capture_output=True, text=True).stdout

    def test_drives_every_method(self):
        device, _ = self.start(config=configuration())
        pid = device.service_pid("application")
        calls = [
            request("getSupportedVersions"),
            request("getConfigurationCapabilities"),
            request("getConfiguration"),
            document([profile(5, name="Door")]),
            request("startVisualConfirmation", {"profile": 5, "transform": IDENTITY}),
            request("stopVisualConfirmation"),
            request("startMotionLevel"),
            request("stopMotionLevel"),
            request("sendAlarmEvent", {"profile": 5}),
        ]
        for call in calls:
            with self.subTest(call["method"]):
                text = self.curl(device, json.dumps(call | {"context": "from a terminal"}))
                self.assertIsNone(flaw(text.encode()))
                answer = json.loads(text)
                self.assertIn("data", answer)
                self.assertEqual((answer["method"], answer["context"]), (call["method"], "from a terminal"))
        self.assertEqual(device.configuration["params"]["profiles"], [profile(5, name="Door")])
        self.assertEqual(device.service_pid("application"), pid)
        self.assertEqual(device.log(), "")


class Envelope(ControlTest):
    def test_answers_each_kind_of_bad_request_with_its_code_and_http_status_200(self):
        device, control = self.start()
        good = json.dumps(request("getSupportedVersions"))
        cases = [
            ("", "2001"), (" ", "2001"), ("}", "2001"), ("{", "2001"), ("nonsense", "2001"), ("{]", "2001"),
            ('"text"', "2001"), ("17", "2001"), ("{'method': 1}", "2001"), ('{"a": 01}', "2001"),
            (b'{"method": "\xff"}', "2001"), ('{"a":1}}', "2003"), ("{}", "2003"), ("[]", "2003"), ("[{}]", "2003"),
            ('{"apiVersion": "1.4"}', "2003"), ('{"apiVersion": "1.4", "method": ""}', "2003"),
            ('{"apiVersion": "1.4", "method": 1}', "2003"), ('{"method": "getConfiguration"}', "2003"),
            ('{"method": "getConfiguration", "apiVersion": 1.4}', "2003"),
            (good, "0"), (good + " \n", "0"), (good + "trailing", "0"), (good + "}", "0"), (good + "} } trailing", "0"),
            (good + "{", "0"), (json.dumps([request("getSupportedVersions")]), "2003"),
        ]  # fmt: skip
        for version, code in [("1.0", "0"), ("1.3", "0"), ("1.4", "0"), ("1.5", "2000"), ("1.9", "2000"), ("2.0", "2000"),
                              ("0.9", "2000"), ("1", "2003"), ("1.x", "2003"), ("", "2003"), ("1.4.0", "2003")]:  # fmt: skip
            cases.append((json.dumps(request("getSupportedVersions", version=version)), code))
        for method, code in [("missingMethod", "2003"), ("getconfiguration", "2005"), ("getConfiguration ", "2005")]:
            cases.append((json.dumps(request(method)), code))
        for body, code in cases:
            with self.subTest(body):
                text = control.text(body)
                self.assertIsNone(flaw(text.encode()), text)
                answer = json.loads(text)
                self.assertEqual(answer.get("error", {}).get("code", "0"), code, text)
                if code == "2001":
                    self.assertEqual((answer["method"], answer["context"]), ("", ""))

    def test_answers_name_the_highest_version_and_echo_method_and_context(self):
        _, control = self.start()
        text = control.text('{"context":"abc","method":"getSupportedVersions","apiVersion":"1.0"}')
        self.assertEqual(text, '{"apiVersion":"1.4","method":"getSupportedVersions","context":"abc",'
                               '"data":{"apiVersions":["1.0","1.1","1.2","1.3","1.4"]}}')  # fmt: skip
        text = control.text('{"apiVersion":"1.2","method":"\\u00dcn\\"known","context":"\\u20ac"}')
        self.assertEqual(text, '{"apiVersion":"1.4","method":"Ün\\"known","context":"€","error":{"code":"2005",'
                               '"message":"The requested CGI method was not found"}}')  # fmt: skip

    def test_an_empty_context_and_none_give_the_same_answer(self):
        _, control = self.start()
        without = control.text(json.dumps(request("getSupportedVersions")))
        self.assertEqual(control.text(json.dumps(request("getSupportedVersions", context=""))), without)
        self.assertEqual(json.loads(without)["context"], "")

    def test_a_bad_head_is_told_in_the_log(self):
        device, control = self.start()
        control.text('{"apiVersion":"1.9","method":"getConfiguration","context":"me"}')
        self.until_logged(device, r"warning The request header is not ok.\n  Parsed request: [version: 1.9, method: getConfiguration, "
                      r"context: me]\n  Supported version matching request: 1.4\n  Received request: ")  # fmt: skip

    def test_takes_bodies_up_to_the_limit_and_refuses_larger_ones_clearly(self):
        _, control = self.start()
        good = json.dumps(request("getSupportedVersions"))
        self.assertIsNone(flaw(control.text(good.ljust(LIMIT)).encode()))
        self.assertIsNone(flaw(control.text("{" * LIMIT).encode()))
        status, _, body = control.send(good.ljust(LIMIT + 1).encode())
        self.assertEqual(status, 413)
        self.assertTrue(body)

    def test_refuses_a_body_with_a_nul_in_it(self):
        _, control = self.start()
        for more in (b"\0", b"\0" + b"x" * (LIMIT // 2)):
            status, headers, body = control.send(json.dumps(request("getSupportedVersions")).encode() + more)
            self.assertEqual((status, headers["Content-Type"]), (400, "application/json"))
            self.assertIn("error", json.loads(body))

    def test_takes_a_hostile_heap_of_braces_in_a_moment(self):
        _, control = self.start()
        for body in ("}" * LIMIT, "{}" * (LIMIT // 2), '{"a":' * (LIMIT // 5), "[" * LIMIT, '{"a":1' + "}" * (LIMIT - 6)):
            with self.subTest(body[:8]):
                begin = time.monotonic()
                self.assertIsNone(flaw(control.text(body).encode()))
                self.assertLess(time.monotonic() - begin, 0.1 * PATIENCE)

    def test_other_verbs_are_not_allowed(self):
        _, control = self.start()
        for verb in ("GET", "PUT", "DELETE", "PATCH"):
            with self.subTest(verb):
                self.assertEqual(control.send(b"{}", verb)[0], 405)

    def test_a_page_from_elsewhere_is_refused(self):
        _, control = self.start()
        body = json.dumps(request("stopVisualConfirmation")).encode()
        self.assertEqual(control.send(body, headers={"Origin": "http://elsewhere.example"})[0], 403)
        self.assertEqual(control.send(body, headers={"Host": "elsewhere.example"})[0], 403)


class Capabilities(ControlTest):
    def expected(self, profiles, **more):
        corners = lambda at: [[-at, -at], [-at, at], [at, at], [at, -at]]  # noqa: E731
        area = {"min": [-1.0, -1.0], "max": [1.0, 1.0], "minNbrVertices": 3, "maxNbrVertices": 20}
        return {
            "filters": [
                {"type": "sizePercentage", "min": [3, 3], "max": [100, 100], "default": [5, 5], "defaultActive": True},
                {"type": "timeShortLivedLimit", "min": 1, "max": 5, "default": 1, "defaultActive": True},
                {"type": "distanceSwayingObject", "min": 3, "max": 20, "default": 5, "defaultActive": True},
                {"type": "excludeArea", **area, "minNbrInstances": 0, "maxNbrInstances": 3, "defaultInstance": corners(0.2)},
            ],
            "triggers": [
                {"type": "includeArea", **area, "minNbrInstances": 1, "maxNbrInstances": 1, "defaultInstance": corners(0.97)},
            ],
            "profiles": {"minNbrProfilesPerCamera": 0, "maxNbrProfilesPerCamera": profiles,
                         "minLengthName": 1, "maxLengthName": 64},
            "alarmOverlay": {"isSupported": True, "maxNbrActiveCameras": 1,
                             "cameras": [{"id": 1, "availableResolutions": ["1280x720"]}]},
            "motionLevel": {"isSupported": True},
        } | more  # fmt: skip

    def hold(self, profiles, *options, **more):
        _, control = self.start(*options)
        answer = control.text(json.dumps(request("getConfigurationCapabilities")))
        told = dict(ordered(answer))["data"]
        self.assertEqual(told, ordered(json.dumps(self.expected(profiles, **more))))
        self.assertIn('"defaultInstance":[[-0.97,-0.97],[-0.97,0.97],[0.97,0.97],[0.97,-0.97]]', answer)
        return control

    def hold_limit(self, control, limit, cameras=1):
        at_limit = document([profile(uid) for uid in range(1, limit + 1)], cameras=cameras)
        self.assertNotIn("error", json.loads(control.text(json.dumps(at_limit))))
        beyond = document([profile(uid) for uid in range(1, limit + 2)], cameras=cameras)
        self.assertEqual(json.loads(control.text(json.dumps(beyond)))["error"],
                         {"code": "2002", "message": MESSAGES["1000"][0]})  # fmt: skip

    def test_of_a_fixed_camera(self):
        self.hold_limit(self.hold(3), 3)

    def test_of_a_ptz_camera(self):
        self.hold_limit(self.hold(10, *PTZ, presets={"maxNbrPresetsPerProfile": 1, "defaultPreset": -2}), 10)

    def test_of_several_cameras(self):
        self.hold_limit(self.hold(3, "--scenes", self.scenes(name="b.jsonl"), alarmOverlay={"isSupported": False}), 3, 2)


class Reconfiguration(ControlTest):
    def test_alarms_of_a_new_area_follow_without_a_restart(self):
        device, control = self.start(scenes=PEDESTRIANS, config=configuration([free(area=NOWHERE)]))
        pid = device.service_pid("application")
        bus = device.bus()
        time.sleep(3)
        self.assertFalse(value_of(bus.last(PROFILE)))
        asked = document([free(7, name="Lawn & path")])
        before = read(self.file(device).decode())
        control.configure(asked)
        for topic in (f"{KTW}/tnsorva:Camera1Profile7", f"{TOPICS}/RuleEngine/MotionRegionDetector/Motion/&0/Lawn & path"):
            bus.until_value(topic, True)
        self.assertEqual(self.file(device), stored(asked, before))
        until(lambda: PROFILE not in retained(device), "the old profile's event is gone")
        self.assertEqual(device.service_pid("application"), pid)
        self.assertNotIn("ended", device.log("bringup"))

    def test_an_alarm_ends_with_the_profile_that_raised_it(self):
        device, control = self.start(scenes=self.scenes(30, [(7, 1, 25)]), config=configuration([free()]))
        bus = device.bus()
        bus.until_value(PROFILE, True)
        control.configure(document([free(area=NOWHERE)]))
        bus.until_value(PROFILE, False)

    def test_the_file_is_the_told_one_byte_for_byte(self):
        device, control = self.start()
        texts = [
            '{"apiVersion":"1.4","method":"setConfiguration","params":{"cameras":[{"id":1,"active":true,"rotation":0}],"profiles":[]}}',
            # Unknown members stay where they are, reals get four digits, members keep their order, a counter is overwritten.
            '{"params":{"configurationStatus":5,"note":"\\u00e9 \\u20ac \\"quoted\\" \\\\ / \\t \\u001f","cameras":[{"rotation":180,'
            '"id":1,"active":true,"lens":[1e3,0.000012345,-0.0,1E20,123456.789,2.5e-300]}],"profiles":[{"camera":1,"uid":-4,"name":'
            '"  Gate  ","filters":[{"type":"excludeArea","data":[[-0.123456,0.1],[0.2,0.33333333],[1,-1]]},{"data":[3,100],'
            '"active":false,"type":"sizePercentage","why":null}],"triggers":[{"data":[[0.00001,1],[-1.0,0.55555],[1,-0.99999]],'
            '"type":"includeArea"}],"perspective":7,"xinternalEventDuration":1000000}]},"apiVersion":"1.4","method":'
            '"setConfiguration","context":"any","extra":{"z":1,"a":[true,false,null,{}],"m":9223372036854775807}}',
            # Of a member that is there twice the last one counts, at the place of the first.
            '{"apiVersion":"1.0","method":"setConfiguration","apiVersion":"1.4","params":{"cameras":[{"id":1,"active":true,'
            '"rotation":90}],"profiles":[]},"context":""}  trailing } bytes',
        ]  # fmt: skip
        for text in texts:
            with self.subTest(text[:60]):
                before = read(self.file(device).decode())
                self.assertNotIn("error", json.loads(control.text(text)))
                document = read(text.partition("  trailing")[0])
                self.assertEqual(self.file(device), stored(document, before))
                answer = control.text(json.dumps(request("getConfiguration")))
                told = dict(ordered(answer))["data"]
                self.assertEqual(told, dict(ordered(self.file(device)))["params"])

    def test_counts_accepted_documents(self):
        config = configuration()
        config["params"]["configurationStatus"] = 9
        device, control = self.start(config=config)
        count = lambda: device.configuration["params"]["configurationStatus"]  # noqa: E731
        control.configure(document([], configurationStatus=5))
        self.assertEqual(count(), 10)
        control.configure(document([]))
        self.assertEqual(count(), 11)
        self.assertEqual(control.data("getConfiguration")["configurationStatus"], 11)

    def test_the_counter_begins_anew_after_the_greatest_number(self):
        config = configuration()
        config["params"]["configurationStatus"] = 2147483647
        device, control = self.start(config=config)
        control.configure(document([]))
        self.assertEqual(device.configuration["params"]["configurationStatus"], 1)

    def test_a_file_without_a_counter_counts_as_0(self):
        config = configuration()
        del config["params"]["configurationStatus"]
        device, control = self.start(config=config)
        control.configure(document([]))
        self.assertEqual(device.configuration["params"]["configurationStatus"], 1)

    def test_a_refused_document_changes_nothing(self):
        device, control = self.start(scenes=self.scenes(20, [(7, 4, 9)]), config=configuration([free()]))
        control.configure(document([free()]))
        path = device.path("localdata/config.json")
        before, state = self.file(device), os.stat(path)
        broken = [
            (document([free(), free()]), "2002"),
            (document([free(), free(2, camera=2)]), "2004"),
            (document([free(1) | {"triggers": []}]), "2002"),
            (document([]) | {"params": 7}, "2003"),
            (document([], cameras=2), "2004"),
            (document([free(uid) for uid in range(4)]), "2002"),
        ]
        for asked, code in broken:
            answer = json.loads(control.text(json.dumps(asked)))
            self.assertEqual(answer["error"]["code"], code, asked)
        self.until_logged(device, "warning Could not parse configuration")
        self.assertEqual(self.file(device), before)
        self.assertEqual(os.stat(path), state)
        self.assertEqual(device.bus().until_value(PROFILE, True)["payload"]["Data"], {"active": True})

    def test_after_a_failed_save_the_old_profiles_go_on(self):
        scenes = self.scenes(30, [(7, 5, 10)])
        device, control = self.start(scenes=scenes, config=configuration([free()]))
        bus, before = device.bus(), self.file(device)
        os.chmod(device.path("localdata"), 0o500)
        self.addCleanup(os.chmod, device.path("localdata"), 0o700)
        answer = json.loads(control.text(json.dumps(document([free(9, area=NOWHERE)]))))
        self.assertEqual(answer["error"], {"code": "1000", "message": MESSAGES["1000"][0]})
        self.until_logged(device, "warning Could not save configuration")
        self.until_logged(device, "Could not write file /usr/local/packages/ktw/localdata/config.json : ")
        bus.until_value(PROFILE, True)
        self.assertEqual(self.file(device), before)
        os.chmod(device.path("localdata"), 0o700)
        control.configure(document([free(9)]))

    def test_without_a_file_nothing_can_be_read_or_set(self):
        device, control = self.start()
        os.unlink(device.path("localdata/config.json"))
        self.assertEqual(control.code("getConfiguration"), "1000")
        for version in ("1.0", "1.4"):
            answer = json.loads(control.text(json.dumps(document([], version))))
            self.assertEqual(answer["error"]["code"], "1000")
        self.until_logged(device, "warning Could not read the configuration file")
        self.assertFalse(os.path.exists(device.path("localdata/config.json")))

    def test_an_older_request_keeps_what_its_version_does_not_know(self):
        config = configuration([profile() | {"alarmOverlayEnabled": True, "presets": [4]}])
        config["params"]["cameras"][0]["overlayResolution"] = "1280x720"
        for version, kept in (("1.0", 3), ("1.1", 2), ("1.2", 2), ("1.3", 0), ("1.4", 0)):
            with self.subTest(version):
                device, control = self.start(*PTZ, config=config)
                asked = document([profile() | {"alarmOverlayEnabled": False, "presets": [7]}], version)
                asked["params"]["cameras"][0]["overlayResolution"] = "640x360"
                control.configure(asked)
                self.assertEqual(self.file(device), stored(asked, config, ptz=True))
                now = device.configuration["params"]
                found = [now["profiles"][0]["presets"] == [4], now["profiles"][0]["alarmOverlayEnabled"],
                         now["cameras"][0]["overlayResolution"] == "1280x720"]  # fmt: skip
                self.assertEqual(sum(found), kept)

    def test_an_older_request_with_a_profile_without_uid_is_refused(self):
        _, control = self.start()
        asked = document([{name: value for name, value in profile().items() if name != "uid"}], "1.2")
        self.assertEqual(json.loads(control.text(json.dumps(asked)))["error"]["code"], "2003")

    def test_a_ptz_camera_gets_an_array_of_presets_and_a_fixed_one_refuses_it(self):
        device, control = self.start(*PTZ)
        before = read(self.file(device).decode())
        asked = document([profile(), profile(2) | {"presets": [3]}])
        control.configure(asked)
        self.assertEqual(self.file(device), stored(asked, before, ptz=True))
        self.assertEqual([p["presets"] for p in device.configuration["params"]["profiles"]], [[], [3]])
        _, control = self.start()
        refused = document([profile() | {"presets": []}])
        self.assertEqual(json.loads(control.text(json.dumps(refused)))["error"]["code"], "2002")

    def test_a_document_without_profiles_stops_all_events(self):
        device, control = self.start()
        control.configure(document([]))
        until(lambda: set(retained(device)) == {"tarnwatch/status"}, lambda: f"no events: {retained(device)}")

    def test_is_there_again_after_a_restart(self):
        device, control = self.start()
        control.configure(document([free(3, name="Kept")]))
        before = self.file(device)
        device.kill("application")
        control.until_answers()
        self.assertEqual(control.data("getConfiguration")["profiles"], [free(3, name="Kept")])
        self.assertEqual(self.file(device), before)
        until(lambda: f"{KTW}/tnsorva:Camera1Profile3" in retained(device), "its event is declared")


def scenes_of(path):
    with (gzip.open if path.endswith(".gz") else open)(path, "rt", encoding="utf-8") as file:
        return [json.loads(line) for line in file]


def box(polygon):
    """A polygon's box as it stands in a frame."""
    xs, ys = [x for x, _ in polygon], [y for _, y in polygon]
    corners = [(min(xs), min(ys)), (max(xs), min(ys)), (max(xs), max(ys)), (min(xs), max(ys))]
    return "".join(f" {x / 4096:.3f},{y / 4096:.3f}" for x, y in corners)


def frame(svg_class, points, colour):
    style = f"fill:{colour};fill-opacity:0.200000;stroke:{colour};stroke-width:0.005000;"
    return f'<polygon class="{svg_class}" points="{points}" style="{style}"  />\n'


OPENING = (
    '<svg xmlns="http://www.w3.org/2000/svg" version="1.1" baseProfile="full" \n'
    'xmlns:xlink="http://www.w3.org/1999/xlink" \nwidth="100%" height="100%" \nviewBox="-1 -1 2 2" \n'
    'preserveAspectRatio="none" >\n'
)
RED, GREEN = "#FF0000", "#00FF00"


class VisualConfirmation(ControlTest):
    def start(self, *arguments, **more):
        device, control = super().start(*arguments, **more)
        self.frames = device.bus(FRAMES)
        return device, control

    def svgs(self):
        return [value_of(message["payload"]) for message in list(self.frames.messages)]

    def test_sends_one_frame_for_each_scene_with_the_boxes_of_that_scene(self):
        path = self.scenes(30, [(7, 1, 20)], rate=15)
        config = configuration([free(area=[[-1, -1], [-1, 1], [0, 1], [0, -1]])])
        device, control = self.start(scenes=path, config=config)
        control.data("startVisualConfirmation", {"profile": 1, "transform": [2, 0, 0, 0, 2, 0, 0, 0, 1]})
        head = OPENING + '<g transform="matrix(1 0 0 -1 0 0) matrix(0.5000 0.0000 0.0000 0.5000 0.0000 0.0000 )" >'
        area = frame("includeArea", " -1.000,-1.000 -1.000,1.000 0.000,1.000 0.000,-1.000", RED)
        expected, last_alarm = [], None
        for scene in scenes_of(path):
            objects = scene["objects"]
            inside = [o for o in objects if min(x for x, _ in o["polygon"]) < 0]
            last_alarm = scene["time"] if inside else last_alarm
            shown = "".join(frame("", box(o["polygon"]), RED if o in inside else GREEN) for o in objects)
            if last_alarm is not None and scene["time"] - last_alarm <= 3:
                shown += area
            expected.append(head + shown + "</g></svg>" if shown else EMPTY_PICTURE)
        until(lambda: EMPTY_PICTURE in self.svgs()[1:], "the object leaves", 2 * PATIENCE)
        heard = self.svgs()
        begin = next(i for i, svg in enumerate(heard) if svg != EMPTY_PICTURE)
        self.assertLessEqual(begin, 1)  # an empty picture is sent once
        first = expected.index(heard[begin])
        end = next(i for i in range(first, len(expected)) if expected[i] == EMPTY_PICTURE)
        self.assertEqual(heard[begin:], expected[first : end + 1])
        self.assertGreater(end - first, 15 * 15)
        self.hold_rate(15)

    def hold_rate(self, rate):
        """Frames carry the times of their scenes: evenly spaced, none left out."""
        times = [scene_time(message) for message in self.frames.messages if "<polygon" in value_of(message["payload"])]
        steps = [later - earlier for earlier, later in zip(times, times[1:])]
        self.assertTrue(all(abs(step - 1 / rate) < 0.02 for step in steps), steps)

    def test_shows_the_boxes_of_recorded_pedestrians(self):
        device, control = self.start(scenes=PEDESTRIANS, config=configuration([profile()]))
        control.data("startVisualConfirmation", {"profile": 1, "transform": IDENTITY})
        until(lambda: sum("<polygon" in svg for svg in self.svgs()) > 50, "frames come")
        frames = [svg for svg in self.svgs() if "<polygon" in svg]
        boxes = lambda svg: sorted(re.findall(r'<polygon class="" points="([^"]*)"', svg))  # noqa: E731
        scenes = [sorted(box(o["polygon"]) for o in scene["objects"] if o.get("confidence", 4096) == 4096)
                  for scene in scenes_of(PEDESTRIANS)]  # fmt: skip
        first = scenes.index(boxes(frames[0]))
        self.assertGreater(len(boxes(frames[0])), 0)
        self.assertEqual([boxes(svg) for svg in frames], scenes[first : first + len(frames)])
        self.hold_rate(10)

    def test_ends_with_an_event_without_a_picture(self):
        device, control = self.start(scenes=self.scenes(20, [(7, 1, 15)]), config=configuration([free()]))
        control.data("startVisualConfirmation", {"profile": 1, "transform": IDENTITY})
        until(lambda: any("<polygon" in svg for svg in self.svgs()), "frames come")
        control.data("stopVisualConfirmation")
        until(lambda: self.svgs()[-1] == "", "it says that it ends")
        heard = len(self.svgs())
        time.sleep(1)
        self.assertEqual(len(self.svgs()), heard)
        control.data("stopVisualConfirmation")  # with nothing running, a success as well
        self.assertEqual(len(self.svgs()), heard)

    def test_of_another_profile_ends_the_one_before(self):
        config = configuration([free(), free(2, area=NOWHERE)])
        device, control = self.start(scenes=self.scenes(30, [(7, 1, 25)]), config=config)
        control.data("startVisualConfirmation", {"profile": 1, "transform": IDENTITY})
        until(lambda: any("includeArea" in svg for svg in self.svgs()), "frames of the first")
        control.data("startVisualConfirmation", {"profile": 2, "transform": IDENTITY})
        until(lambda: "" in self.svgs(), "the first one ends")
        after = self.svgs().index("") + 1
        until(lambda: len(self.svgs()) > after + 5, "frames of the second")
        self.assertTrue(all(RED not in svg and GREEN in svg for svg in self.svgs()[after:]), self.svgs()[after:])

    def test_goes_on_with_the_same_profile_of_a_new_configuration(self):
        device, control = self.start(scenes=self.scenes(30, [(7, 1, 25)]), config=configuration([free()]))
        control.data("startVisualConfirmation", {"profile": 1, "transform": [2, 0, 0, 0, 2, 0, 0, 0, 1]})
        until(lambda: any(RED in svg for svg in self.svgs()), "frames of the old area")
        control.configure(document([free(area=NOWHERE)]))
        until(lambda: self.svgs() and GREEN in self.svgs()[-1], "frames of the new area")
        self.assertIn("matrix(0.5000 ", self.svgs()[-1])

    def test_with_a_singular_matrix_is_turned_over_only(self):
        device, control = self.start(scenes=self.scenes(20, [(7, 1, 15)]), config=configuration([free()]))
        control.data("startVisualConfirmation", {"profile": 1, "transform": [0] * 9})
        until(lambda: any("<polygon" in svg for svg in self.svgs()), "frames come")
        self.assertIn('<g transform="matrix(1 0 0 -1 0 0)" >', [svg for svg in self.svgs() if "<polygon" in svg][0])
        self.until_logged(device, "warning The TransformationMatrix must be invertible.")

    def test_refuses_what_it_cannot_show(self):
        device, control = self.start()
        ask = lambda params: control.code("startVisualConfirmation", params)  # noqa: E731
        self.assertEqual(ask(None), "2001")
        self.assertEqual(ask({"transform": IDENTITY}), "2003")
        self.assertEqual(ask({"profile": "1", "transform": IDENTITY}), "2003")
        self.assertEqual(ask({"profile": 1}), "2003")
        self.assertEqual(ask({"profile": 1, "transform": IDENTITY[:8]}), "2003")
        self.assertEqual(ask({"profile": 1, "transform": IDENTITY[:8] + ["1"]}), "2003")
        self.assertEqual(ask({"profile": 1, "transform": IDENTITY + [1]}), "0")  # the first nine count
        self.assertEqual(ask({"profile": 99, "transform": IDENTITY}), "2002")
        for words in ("Could not decode the params for startVisualConfirmation",
                      "Could not unpack data for profile uid for startVisualConfirmation",
                      "Could not unpack the transformation matrix", "Could not enable visual confirmation"):  # fmt: skip
            self.until_logged(device, f"warning {words}")


class TestAlarm(ControlTest):
    def hold(self, hold_time, scenes, config):
        device, control = self.start(scenes=scenes, config=config)
        bus = device.bus()
        control.data("sendAlarmEvent", {"profile": 1})
        topics = [PROFILE, f"{KTW}/tnsorva:Camera1ProfileANY", f"{TOPICS}/VideoSource/MotionAlarm/&0",
                  f"{TOPICS}/RuleEngine/MotionRegionDetector/Motion/&0/Profile 1"]  # fmt: skip
        starts = [scene_time(bus.until_value(topic, True)) for topic in topics]
        ends = [scene_time(bus.until_value(topic, False)) for topic in topics]
        for start, end in zip(starts, ends):
            # The first scene later than the hold time ends it; scenes are 0.1 s apart.
            self.assertGreater(end - start, hold_time - 0.02)
            self.assertLess(end - start, hold_time + 0.25)

    def test_is_a_real_event_as_long_as_the_hold_time(self):
        self.hold(3, self.scenes(), configuration([profile()]))

    def test_is_as_long_as_the_hold_time_of_its_profile(self):
        self.hold(1, self.scenes(), configuration([profile() | {"xinternalEventDuration": 1000000}]))

    def test_is_shown_by_visual_confirmation(self):
        device, control = self.start(config=configuration([free()]))
        frames = device.bus(FRAMES)
        control.data("startVisualConfirmation", {"profile": 1, "transform": IDENTITY})
        control.data("sendAlarmEvent", {"profile": 1})
        until(lambda: any('class="includeArea"' in value_of(m["payload"]) for m in frames.messages), "the area is shown")
        until(lambda: value_of(frames.messages[-1]["payload"]) == EMPTY_PICTURE, "and cleared")

    def test_of_an_unknown_profile_or_an_inactive_camera_is_refused(self):
        config = configuration([profile(), profile(2, 2)], cameras=2)
        config["params"]["cameras"][1]["active"] = False
        device, control = self.start("--scenes", self.scenes(name="b.jsonl"), config=config)
        self.assertEqual(control.code("sendAlarmEvent", {"profile": 1}), "0")
        self.assertEqual(control.code("sendAlarmEvent", {"profile": 2}), "2004")
        self.assertEqual(control.code("sendAlarmEvent", {"profile": 99}), "2004")
        self.until_logged(device, "warning Profile does not exist")
        self.assertEqual(control.code("sendAlarmEvent"), "2001")
        self.assertEqual(control.code("sendAlarmEvent", {}), "2003")
        self.assertEqual(control.code("sendAlarmEvent", {"profile": 1.0}), "2003")
        for words in ("Could not decode the params for sendAlarmEvent", "Could not unpack data for profile uid for sendAlarmEvent"):
            self.until_logged(device, f"warning {words}")


class MotionLevel(ControlTest):
    def test_comes_every_five_seconds_and_survives_a_restart(self):
        path = self.scenes(60, [(number, 5 * number, 5 * number + 5) for number in range(12)])
        device, control = self.start(scenes=path)
        levels = device.bus(MOTION)
        control.data("startMotionLevel")
        control.data("startMotionLevel")  # twice is as good as once
        begin = time.monotonic()
        self.assertEqual(device.read("localdata/motion_level_config.json"), '{"active": true}')
        until(lambda: len(levels.messages) >= 3, "three values", 3 * PATIENCE)
        times = [begin] + [message["at"] for message in levels.messages]
        for earlier, later in zip(times, times[1:]):
            self.assertGreater(later - earlier, 4.8)
            self.assertLess(later - earlier, 6)
        # One square of 800 scene units in a picture of 8192.
        self.assertEqual({value_of(m["payload"]) for m in levels.messages}, {f"{100 * 800 * 800 / 8192**2:.4f}"})
        heard = len(levels.messages)
        device.kill("application")
        killed = time.monotonic()
        until(lambda: len(levels.messages) > heard, "a value after the restart", 2 * PATIENCE)
        self.assertGreater(levels.messages[heard]["at"] - killed, 5)
        self.assertLess(levels.messages[heard]["at"] - killed, 5 + 3 * PATIENCE / 20)

    def test_stops_and_stays_off_after_a_restart(self):
        device, control = self.start(config=configuration())
        levels = device.bus(MOTION)
        control.data("startMotionLevel")
        until(lambda: levels.messages, "a value")
        self.assertEqual(value_of(levels.messages[0]["payload"]), "0.0000")
        control.data("stopMotionLevel")
        self.assertEqual(device.read("localdata/motion_level_config.json"), '{"active": false}')
        heard = len(levels.messages)
        device.kill("application")
        control.until_answers()
        time.sleep(6)
        self.assertEqual(len(levels.messages), heard)


class ControlOutages(ControlTest):
    def test_a_request_while_the_application_is_down_gets_a_clear_answer(self):
        device, control = self.start()
        control.data("getSupportedVersions")
        device.service("stop", "application")
        status, headers, body = control.send(json.dumps(request("getSupportedVersions")).encode())
        self.assertIn(status, (502, 503))
        self.assertEqual(headers["Content-Type"], "application/json")
        self.assertIn("error", json.loads(body))
        device.service("start", "application")
        control.until_answers()

    def test_a_kill_in_the_middle_of_a_request_gives_it_a_clear_answer(self):
        device, control = self.start()
        pid = application_pid(device)
        os.kill(pid, signal.SIGSTOP)
        answers = []

        body = json.dumps(request("getSupportedVersions")).encode()
        thread = threading.Thread(target=lambda: answers.append(control.send(body)))
        thread.start()
        time.sleep(0.5)
        self.assertEqual(answers, [])
        os.kill(pid, signal.SIGKILL)
        thread.join(PATIENCE)
        status, headers, body = answers[0]
        self.assertIn(status, (502, 503))
        self.assertEqual(headers["Content-Type"], "application/json")
        self.assertIn("error", json.loads(body))
        control.until_answers()

    def test_requests_go_on_while_broker_and_engine_are_down(self):
        device, control = self.start()
        for name in ("broker", "engine"):
            device.service("stop", name)
        control.configure(document([free(4)]))
        self.assertEqual(control.data("getConfiguration")["profiles"][0]["uid"], 4)
        for name in ("broker", "engine"):
            device.service("start", name)
        until(lambda: f"{KTW}/tnsorva:Camera1Profile4" in retained(device), "the event is declared")

    def test_many_clients_at_once_are_served_one_after_the_other(self):
        device, control = self.start()

        failures = []

        def client(number):
            with Control(device) as mine:
                for count in range(20):
                    context = f"{number}/{count}"
                    told = mine.ask("getConfiguration", context=context)
                    if told["context"] != context or "data" not in told:
                        failures.append(told)

        threads = [threading.Thread(target=client, args=(number,)) for number in range(16)]
        for thread in threads:
            thread.start()
        for number in range(20):
            control.configure(document([free(number)]))
        for thread in threads:
            thread.join()
        self.assertEqual(failures, [])
        self.assertEqual(device.configuration["params"]["configurationStatus"], 20)


def application_pid(device):
    """The application's process as this machine sees it."""
    found = [pid for pid, command in device.processes().items() if command.strip() == "/usr/local/packages/ktw/tarnwatch"]
    if len(found) != 1:
        raise AssertionError(f"application: {found}")
    return found[0]


if __name__ == "__main__":
    unittest.main()
