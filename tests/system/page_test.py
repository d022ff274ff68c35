"""The page in a real browser: what a person sees there and does there, and what the device makes of it."""

import json
import os
import tempfile
import unittest

from selenium import webdriver
from selenium.common.exceptions import StaleElementReferenceException
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

from control import Control
from device import KTW, Device, until
from scenes import configuration, profile, recording

CORNER = [[-0.9, 0.6], [-0.6, 0.6], [-0.6, 0.9], [-0.9, 0.9]]  # where nobody walks


def browser(width=1280, height=1000):
    """A browser without a window that uses no network but this machine's."""
    options = Options()
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--disable-background-networking",
                     "--no-first-run", "--lang=en", f"--window-size={width},{height}"):  # fmt: skip
        options.add_argument(argument)
    options.binary_location = "/usr/bin/chromium"
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)


class PageTest(unittest.TestCase):
    """Each test has a device on which somebody walks across the middle, a browser, and the page in it."""

    def open(self, document, *options, width=1280):
        folder = tempfile.TemporaryDirectory(prefix="tarnwatch-test-")
        self.addCleanup(folder.cleanup)
        scenes = recording(os.path.join(folder.name, "walk.jsonl"), 9, [(1, 1, 8)])
        self.device = Device("--scenes", scenes, "--loop", *options, config=document)
        self.device.__enter__()
        self.addCleanup(self.device.__exit__)
        self.browser = browser(width)
        self.addCleanup(self.browser.quit)
        self.browser.get(self.device.endpoints["page"])
        self.until_shown("#state", "Online")
        until(lambda: self.all("#cameras button"), "the configuration is there")

    def all(self, selector):
        return self.browser.find_elements(By.CSS_SELECTOR, selector)

    def one(self, selector):
        return until(lambda: self.all(selector), selector)[0]

    def text(self, selector):
        # Read in one go: what is shown may be replaced between two questions.
        script = "return [...document.querySelectorAll(arguments[0])].map(e => e.innerText).join(' ')"
        return self.browser.execute_script(script, selector)

    def until_shown(self, selector, text):
        until(lambda: text in self.text(selector), lambda: f"{text!r} in {selector}: {self.text(selector)!r} {self.text('#message')!r}")

    def press(self, text):
        """Presses the button with this text. An event may replace it between finding and pressing."""

        def pressed():
            buttons = self.browser.find_elements(By.XPATH, f"//button[normalize-space()={text!r}]")
            try:
                return bool(buttons) and buttons[0].click() is None
            except StaleElementReferenceException:
                return False

        until(pressed, text)

    def type_into(self, selector, text):
        field = self.one(selector)
        field.send_keys(Keys.CONTROL, "a")
        field.send_keys(text)

    def drag(self, selector, number, x, y):
        """Drags a grip by the mouse to a place of the view, x and y from -1 to 1, y upwards."""
        box = self.browser.execute_script("return document.getElementById('view').getBoundingClientRect().toJSON()")
        start = self.browser.execute_script(
            "const b = document.querySelectorAll(arguments[0])[arguments[1]].getBoundingClientRect();"
            "return [b.x + b.width / 2, b.y + b.height / 2]", selector, number)  # fmt: skip
        goal = [box["x"] + (x + 1) / 2 * box["width"], box["y"] + (1 - y) / 2 * box["height"]]
        chain = ActionChains(self.browser, duration=50)
        chain.w3c_actions.pointer_action.move_to_location(round(start[0]), round(start[1])).pointer_down()
        chain.w3c_actions.pointer_action.move_to_location(round((start[0] + goal[0]) / 2), round((start[1] + goal[1]) / 2))
        chain.w3c_actions.pointer_action.move_to_location(round(goal[0]), round(goal[1])).pointer_up()
        chain.perform()

    def save(self):
        self.press("Save")
        self.until_shown("#unsaved", "Saved")

    @property
    def params(self):
        return self.device.configuration["params"]

    def no_complaints(self):
        """Checks that the browser has nothing to complain of but a picture that was away."""
        log = [entry["message"] for entry in self.browser.get_log("browser") if "/video/" not in entry["message"]]
        self.assertEqual(log, [])


class Areas(PageTest):
    def test_are_moved_by_the_mouse_saved_and_guarded_at_once(self):
        one = profile(swaying=False, lifetime=False) | {"myNote": {"kept": [1, None, "ü"]}, "xinternalEventDuration": 500000}
        one["triggers"][0] |= {"data": CORNER, "colour": "blue"}
        one["filters"].append({"type": "excludeArea", "data": [[-0.9, -0.9], [-0.8, -0.9], [-0.8, -0.8]], "why": "a tree"})
        document = configuration([one])
        document["params"]["installer"] = {"serial": 12345678901234567890 % 2**63}
        self.open(document)
        self.until_shown("#profiles", "Quiet")
        self.assertFalse(self.one("#save").is_enabled())
        for number, (x, y) in ((0, (-0.95, -0.9)), (1, (0.9, -0.9)), (2, (0.9, 0.9))):
            self.drag(".corner", number, x, y)
        self.until_shown("#unsaved", "Unsaved changes")
        self.assertEqual(self.params["profiles"][0]["triggers"][0]["data"], CORNER)  # nothing is stored yet
        self.save()
        stored = self.params
        moved = stored["profiles"][0]["triggers"][0].pop("data")
        for point, wanted in zip(moved, [[-0.95, -0.9], [0.9, -0.9], [0.9, 0.9], CORNER[3]]):
            for value, expected in zip(point, wanted):
                self.assertAlmostEqual(value, expected, delta=0.02)
        # All else is what it was, the page's ignorance of it notwithstanding.
        document["params"]["profiles"][0]["triggers"][0].pop("data")
        document["params"]["configurationStatus"] = 1
        self.assertEqual(stored, document["params"])
        self.until_shown("#profiles", "Alarm")
        self.until_shown("#past .alarm", "Profile 1")
        self.until_shown("#profiles", "Quiet")
        self.no_complaints()

    def test_are_added_and_changed_by_keyboard_and_removed(self):
        self.open(configuration([profile()]))
        self.press("+ Exclude area")
        self.until_shown("#areas [aria-pressed=true]", "Exclude area 1")
        self.assertEqual(len(self.all(".corner")), 4)
        middle = self.all(".middle")[1]
        self.browser.execute_script("arguments[0].focus()", middle)
        middle.send_keys(Keys.ENTER)
        until(lambda: len(self.all(".corner")) == 5, "a corner more")
        focused = self.browser.switch_to.active_element
        self.assertIn("Exclude area 1: corner 3", focused.get_attribute("aria-label"))
        focused.send_keys(Keys.ARROW_RIGHT, Keys.ARROW_RIGHT, Keys.SHIFT, Keys.ARROW_UP)
        self.save()
        area = self.params["profiles"][0]["filters"][-1]
        self.assertEqual((area["type"], len(area["data"])), ("excludeArea", 5))
        focused = self.all(".corner")[2]
        self.browser.execute_script("arguments[0].focus()", focused)
        focused.send_keys(Keys.DELETE)
        until(lambda: len(self.all(".corner")) == 4, "a corner less")
        self.save()
        rest = self.params["profiles"][0]["filters"][-1]["data"]
        self.assertEqual(rest, area["data"][:2] + area["data"][3:])
        self.assertAlmostEqual(area["data"][2][0] - sum(p[0] for p in (rest[1], rest[2])) / 2, 0.02, delta=0.001)
        self.assertAlmostEqual(area["data"][2][1] - sum(p[1] for p in (rest[1], rest[2])) / 2, 0.1, delta=0.001)
        self.press("Remove area")
        self.save()
        self.assertNotIn("excludeArea", [one["type"] for one in self.params["profiles"][0]["filters"]])
        self.assertFalse(self.one("#remove-area").is_enabled())  # a profile keeps its include area
        self.no_complaints()


class Profiles(PageTest):
    def test_are_added_renamed_tested_and_deleted(self):
        self.open(configuration([profile(uid=7) | {"triggers": [{"type": "includeArea", "data": CORNER}]}]))
        self.press("Add profile")
        self.until_shown("#profiles", "Not saved")
        self.assertFalse(self.browser.find_element(By.XPATH, "//button[.='Send test alarm']").is_enabled())
        self.type_into("#profile input[type=text]", "Gate <1>")
        self.until_shown("#profile .problem", "neither < nor >")
        self.press("Save")
        self.until_shown("#message", "neither < nor >")
        self.type_into("#profile input[type=text]", "Gate ü")
        self.type_into("#profile input[type=number]", "101")
        self.until_shown("#profile .problem", "3 to 100")
        self.type_into("#profile input[type=number]", "60")
        self.save()
        self.type_into("#profile input[type=number]", "101")
        self.until_shown("#unsaved", "Unsaved changes")
        self.type_into("#profile input[type=number]", "60")
        added = self.params["profiles"][1]
        self.assertEqual((added["name"], added["uid"], added["camera"]), ("Gate ü", 8, 1))
        self.assertEqual(added["filters"][0], {"active": True, "data": [60, 5], "type": "sizePercentage"})
        bus = self.device.bus(f"{KTW}/tnsorva:Camera1Profile8")
        self.press("Send test alarm")
        bus.until_value(f"{KTW}/tnsorva:Camera1Profile8", True)
        self.until_shown("#profiles .alarm", "Gate ü")
        self.press("Delete profile")
        self.save()
        self.assertEqual([one["uid"] for one in self.params["profiles"]], [7])
        self.no_complaints()

    def test_what_the_device_refuses_is_told_with_its_code_and_stays_unsaved(self):
        self.open(configuration([profile()]))
        before = self.device.read("localdata/config.json")
        self.type_into("#profile input[type=text]", "Door")
        # The device knows of the limit, the page is made to forget it.
        self.browser.execute_script("""const fetched = window.fetch;
            window.fetch = (to, options) => fetched(to, options?.body?.includes('"setConfiguration"')
                ? {...options, body: options.body.replace('"sizePercentage"', '"nonsense"')} : options)""")
        self.press("Save")
        self.until_shown("#message", "Not saved.")
        self.assertRegex(self.text("#message"), r"\(code \d{4}\)")
        self.assertEqual(self.device.read("localdata/config.json"), before)
        self.until_shown("#unsaved", "Unsaved changes")
        self.press("Discard")
        self.until_shown("#profiles", "Profile 1")
        self.assertEqual(self.text("#unsaved"), "")

    def test_a_change_made_elsewhere_is_not_overwritten_unasked(self):
        self.open(configuration([profile()]))
        self.type_into("#profile input[type=text]", "Mine")
        theirs = dict(self.params, profiles=[profile(name="Theirs")])
        with Control(self.device) as control:
            control.data("setConfiguration", theirs)
        self.press("Save")
        self.until_shown("#message", "changed elsewhere")
        self.assertEqual(self.params["profiles"][0]["name"], "Theirs")
        self.press("Load theirs")
        self.until_shown("#profiles", "Theirs")
        self.type_into("#profile input[type=text]", "Mine")
        self.save()
        self.assertEqual(self.params["profiles"][0]["name"], "Mine")

    def test_have_a_preset_on_a_camera_that_moves(self):
        self.open(configuration([profile()]), "--parameter", "root.Properties.PTZ.PTZ=yes")
        every = self.browser.find_element(By.XPATH, "//label[contains(., 'At every preset')]/input")
        self.assertTrue(every.is_selected())
        every.click()
        self.type_into("#profile fieldset:not(.filters) input[type=number]", "3")
        self.save()
        self.assertEqual(self.params["profiles"][0]["presets"], [3])

    def test_have_their_alarms_drawn_into_the_video_in_a_size_of_the_camera_s(self):
        self.open(configuration([profile(swaying=False, lifetime=False)]))
        sizes = [option.get_attribute("value") for option in self.all("#profile .overlay option")]
        self.assertEqual(sizes, ["1280x720"])  # the only one of a recording's picture that keeps the shape
        self.assertFalse(self.one("#profile .overlay select").is_enabled())
        self.one("#profile .overlay input").click()
        self.save()
        self.assertTrue(self.params["profiles"][0]["alarmOverlayEnabled"])
        self.assertEqual(self.params["cameras"][0]["overlayResolution"], "1280x720")
        self.one("#profile .overlay input").click()
        self.save()
        self.assertFalse(self.params["profiles"][0]["alarmOverlayEnabled"])
        self.no_complaints()


class Watching(PageTest):
    def test_shows_the_camera_s_picture_and_again_when_the_video_service_was_away(self):
        self.open(configuration([profile()]))
        script = "const one = document.getElementById('picture'); return one.hidden ? null : [one.width, one.height]"
        shown = lambda: self.browser.execute_script(script)  # noqa: E731
        until(lambda: shown() == [1280, 720], "the picture is shown")
        self.device.service("stop", "video")
        until(lambda: shown() is None, "no old picture is shown")
        self.device.service("start", "video")
        until(lambda: shown() == [1280, 720], "it is shown again")
        self.no_complaints()

    def test_keeps_its_buttons_while_alarms_come_and_go(self):
        self.open(configuration([profile(swaying=False, lifetime=False) | {"xinternalEventDuration": 500000}]))
        buttons = self.all("#cameras button, #profiles button")
        self.assertEqual(len(buttons), 2)
        for state in ("Alarm", "Quiet", "Alarm"):
            self.until_shown("#profiles", state)
        self.assertEqual(self.all("#cameras button, #profiles button"), buttons)
        self.assertIn("alarm", buttons[0].get_attribute("class"))
        buttons[1].click()
        self.no_complaints()

    def test_shows_what_the_detection_sees_until_the_page_is_left(self):
        self.open(configuration([profile(swaying=False, lifetime=False)]))
        bus = self.device.bus(f"{KTW}/tnsorva:xinternal_data")
        until(lambda: self.one("#frame").is_displayed(), "a frame")
        drawn = self.browser.execute_script("const f = document.getElementById('frame'); return f.complete && f.naturalWidth > 0")
        self.assertTrue(drawn)
        view = self.browser.execute_script("const b = document.getElementById('view').getBoundingClientRect(); return b.width / b.height")
        self.assertAlmostEqual(view, 16 / 9, delta=0.01)
        until(lambda: any(m["payload"]["Data"]["svgframe"] for m in bus.messages), "frames on the bus")
        self.browser.get("about:blank")
        until(lambda: bus.messages[-1]["payload"]["Data"]["svgframe"] == "", "the end of the frames")

    def test_shows_the_motion_level_while_it_is_on(self):
        self.open(configuration([profile()]))
        self.assertEqual(self.text("#motion-value"), "off")
        self.one("#motion-switch").click()
        self.until_shown("#motion-value", " %")
        self.assertTrue(self.all("#motion-graph polyline"))
        self.assertEqual(json.loads(self.device.read("localdata/motion_level_config.json")), {"active": True})
        self.one("#motion-switch").click()
        self.until_shown("#motion-value", "off")
        until(lambda: json.loads(self.device.read("localdata/motion_level_config.json")) == {"active": False}, "it is off")
        self.no_complaints()

    def test_finds_the_device_again_and_its_live_view(self):
        self.open(configuration([profile(swaying=False, lifetime=False)]))
        until(lambda: self.one("#frame").is_displayed(), "a frame")
        self.device.service("stop", "application")
        self.until_shown("#state", "not running")
        until(lambda: not self.one("#frame").is_displayed(), "no frame")
        self.device.service("start", "application")
        self.until_shown("#state", "Online")
        until(lambda: self.one("#frame").is_displayed(), "a frame again")

    def test_fits_a_phone_and_is_named_throughout(self):
        self.open(configuration([profile(), profile(uid=2, camera=2, name="A" * 64)], cameras=2),
                  "--scenes", os.path.join(os.path.dirname(__file__), "../recordings/pedestrians.scenes.jsonl.gz"), width=500)  # fmt: skip
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                     {"width": 360, "height": 740, "deviceScaleFactor": 2, "mobile": True})  # fmt: skip
        self.press("Camera 2")
        self.until_shown("#profiles", "A" * 64)
        self.assertLessEqual(self.browser.execute_script("return document.documentElement.scrollWidth"), 360)
        unnamed = self.browser.execute_script("""return [...document.querySelectorAll("button, input, [tabindex]")]
            .filter(e => e.checkVisibility() && !(e.getAttribute("aria-label") || e.textContent.trim() || e.labels?.[0]?.textContent.trim()))
            .map(e => e.outerHTML)""")
        self.assertEqual(unnamed, [])


if __name__ == "__main__":
    unittest.main()
