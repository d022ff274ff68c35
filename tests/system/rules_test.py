"""The rule service in its device: every method, every error, alarms, hostile texts.

TARNWATCH_HOSTILE_RULES tells how often the hostile texts are sent.
"""

import os
import random
import shutil
import tempfile
import unittest

from control import Control
from control_test import application_pid
from device import PATIENCE, RECORDINGS, ROOT, TOPICS, Device, retained, until
from hostile_requests_test import resident, sanitized
from rules import ERRORS, WHOLE, RuleBus, RulesTest, listed, rule, rules
from scenes import configuration, profile

MOTION = f"{TOPICS}/RuleEngine/MotionRegionDetector/Motion"
CLIP = os.path.join(os.environ.get("XDG_CACHE_HOME") or os.path.expanduser("~/.cache"), "tarnwatch", "vtest.avi")

LIMIT = 1.0 if not sanitized() else 10.0  # seconds that any rule text may take
ROUNDS = int(os.environ.get("TARNWATCH_HOSTILE_RULES", "2"))
GROWTH = 4096  # KiB; a text of the largest that stayed behind would be 10,000

# As read back: a pixel of 200 is a step of the stored polygon.
DOOR = listed(("Door", "1.00", WHOLE))

TYPE = (
    '<tt:RuleDescription Name="tt:MotionRegionDetector" xmlns:tt="http://www.onvif.org/ver10/schema" '
    'xmlns:axt="http://www.onvif.org/ver20/analytics" maxInstances="3"> <tt:Parameters>  '
    '<tt:ElementItemDescription Name="MotionRegion" Type="axt:MotionRegionConfig"/> </tt:Parameters> '
    '<tt:Messages IsProperty="true">  <tt:Source>   <tt:SimpleItemDescription Name="VideoSource" '
    'Type="tt:ReferenceToken"/>   <tt:SimpleItemDescription Name="RuleName" Type="xs:string"/>  </tt:Source>  '
    '<tt:Key/>  <tt:Data>   <tt:SimpleItemDescription Name="State" Type="xs:boolean"/>  </tt:Data>  '
    "<tt:ParentTopic>tns1:RuleEngine/MotionRegionDetector/Motion</tt:ParentTopic> </tt:Messages></tt:RuleDescription>"
)
OPTIONS = (
    '<axt:MotionRegionConfigOptions xmlns:tt="http://www.onvif.org/ver10/schema" '
    'xmlns:axt="http://www.onvif.org/ver20/analytics">  <axt:MaxRegions>3</axt:MaxRegions>  '
    "<axt:DisarmSupport>false</axt:DisarmSupport>  <axt:PolygonSupport>true</axt:PolygonSupport>  "
    "<axt:PolygonLimits>    <tt:Min>3</tt:Min>    <tt:Max>20</tt:Max>  </axt:PolygonLimits>  "
    "<axt:SingleSensitivitySupport>false</axt:SingleSensitivitySupport>  "
    "<axt:RuleNotification>true</axt:RuleNotification></axt:MotionRegionConfigOptions>"
)


class Methods(RulesTest):
    def test_list_create_modify_and_delete(self):
        device = self.device()
        bus = device.bus()
        self.assertEqual(self.rules.get(), listed())
        self.assertEqual(self.rules.create(rules(rule("Door"))), [])
        self.assertEqual(self.rules.get(), DOOR)
        bus.until_value(f"{MOTION}/&0/Door", False)
        half = ((0, 200), (0, 0), (100, 0), (100, 200))
        self.assertEqual(self.rules.modify(rules(rule("Door", "0.4", half))), [])
        self.assertEqual(self.rules.get(), listed(("Door", "0.40", half)))
        self.assertEqual(self.rules.delete("Door"), [])
        self.assertEqual(self.rules.get(), listed())
        until(lambda: bus.last(f"{MOTION}/&0/Door") is None, "the event is gone")

    def test_create_reads_all_rules_of_a_text_and_counts_on(self):
        device = self.device([profile(7)])
        self.assertEqual(self.rules.create(rules(rule("B"), rule("C", "0.0"))), [])
        found = device.configuration["params"]["profiles"]
        self.assertEqual([each["uid"] for each in found], [7, 8, 9])
        # No sensitivity at all gives no filters, which is how the greatest one is read.
        self.assertEqual(found[2]["filters"], [])
        self.assertTrue(self.rules.get().endswith(listed(("C", "1.00", WHOLE)).partition("<GetRules>\n")[2]))

    def test_create_of_the_first_rule_takes_the_first_number(self):
        device = self.device()
        self.assertEqual(self.rules.create(rules(rule("Door"))), [])
        self.assertEqual([each["uid"] for each in device.configuration["params"]["profiles"]], [1])

    def test_a_rule_without_a_region_gets_the_default_one(self):
        device = self.device()
        self.assertEqual(self.rules.create('<a><Rule Name="Door"/></a>'), [])
        (found,) = device.configuration["params"]["profiles"]
        self.assertEqual(len(found["triggers"][0]["data"]), 4)
        self.assertIn('Sensitivity="0.80"', self.rules.get())

    def test_source_0_is_camera_1(self):
        device = self.device(cameras=2)
        self.assertEqual(self.rules.create(rules(rule("Front")), source=0), [])
        self.assertEqual(self.rules.create(rules(rule("Back")), source=1), [])
        found = device.configuration["params"]["profiles"]
        self.assertEqual([(each["name"], each["camera"]) for each in found], [("Front", 1), ("Back", 2)])
        self.assertEqual(self.rules.get(1), listed(("Back", "1.00", WHOLE)))
        self.assertEqual(self.rules.delete("Back", source=0), [])
        self.assertEqual(self.names(device), ["Front", "Back"])

    def test_create_wakes_an_inactive_camera_with_its_old_rules(self):
        device = self.device(cameras=2)
        document = configuration([profile(name="Old", camera=2)], cameras=2)
        document["params"]["cameras"][1]["active"] = False
        with Control(device) as control:
            control.configure(document)
        self.assertEqual(self.rules.get(1), listed())
        self.assertEqual(self.rules.modify(rules(rule("Old", "0.5")), source=1), [])
        self.assertEqual(self.rules.call("CreateRules", "(iiiis)", 1, 200, 200, 90, rules(rule("New"))), [])
        self.assertEqual(device.configuration["params"]["cameras"][1], {"id": 2, "active": True, "rotation": 90})
        self.assertEqual(self.names(device), ["Old", "New"])
        self.assertIn('Name="Old"', self.rules.get(1))

    def test_modify_of_an_unknown_rule_succeeds_and_changes_nothing(self):
        device = self.device([profile()])
        before = device.configuration["params"]["profiles"]
        self.assertEqual(self.rules.modify(rules(rule("Nobody"))), [])
        self.assertEqual(device.configuration["params"]["profiles"], before)

    def test_delete_without_names_saves_the_document_as_it_is(self):
        device = self.device([profile()])
        before = device.configuration
        self.assertEqual(self.rules.delete(), [])
        after = device.configuration
        self.assertEqual(after["params"].pop("configurationStatus"), before["params"].pop("configurationStatus") + 1)
        self.assertEqual(after, before)

    def test_type_and_options_are_the_told_ones(self):
        self.device()
        (registered,) = until(self.rules.types, "a provider")
        self.assertEqual(registered[1:5], ["/com/orva/MotionRegion", "com.orva.Onvif.Rule1", TYPE, OPTIONS])


class Errors(RulesTest):
    def refuses(self, device, error, answer, warning):
        """Holds an answer against the error's name, its message, the log and the file."""
        self.assertEqual(answer, ERRORS + error)
        self.assertEqual(self.rules.message, "Error")
        until(lambda: warning in device.log(), warning)
        self.assertEqual(device.read("localdata/config.json"), self.before)

    def test_each_has_its_name(self):
        device = self.device([profile()])
        self.before = device.read("localdata/config.json")
        for text in ("", "no XML", "<a>", "<a/><b/>"):
            self.refuses(device, "InternalError", self.rules.create(text), "[CreateRules] Could not parse XML-data")
            self.refuses(device, "InvalidRules", self.rules.modify(text), "[ModifyRules] Could not parse XML-data")
        bad = (rules(), rules(rule("A", "1.5")), rules(rule("A", points=((40000, 0), (0, 0), (1, 1)))), "<a><Rule/></a>")
        for text in bad:
            self.refuses(device, "InternalError", self.rules.create(text), "[CreateRules] Could create rules from XML-data")
            self.refuses(device, "InternalError", self.rules.modify(text), "[ModifyRules] Could create rules from XML-data")
        without_area = rules(rule("A", points=()))
        self.refuses(device, "InternalError", self.rules.create(without_area), "[CreateRules] Could save the configuration")

    def test_too_many_rules_change_nothing(self):
        device = self.device()
        bus = device.bus()
        answer, count = [], -1
        while answer == []:
            count += 1
            self.before = device.read("localdata/config.json")
            answer = self.rules.create(rules(rule(f"Door {count}")))
        self.assertGreater(count, 2)
        self.refuses(device, "TooManyRules", answer, "[CreateRules] Could save the configuration")
        self.assertEqual(len(self.names(device)), count)
        bus.until_value(f"{MOTION}/&0/Door {count - 1}", False)
        self.assertIsNone(bus.last(f"{MOTION}/&0/Door {count}"))

    def test_a_contradiction_in_the_document_is_a_conflict(self):
        device = self.device([profile()])
        device.write("localdata/config.json", configuration([profile(1), profile(1, name="Again")]))
        self.before = device.read("localdata/config.json")
        self.refuses(device, "ConfigurationConflict", self.rules.delete(), "[DeleteRules] Could not save configuration")
        self.refuses(device, "ConfigurationConflict", self.rules.create(rules(rule("A"))),
                     "[CreateRules] Could save the configuration")  # fmt: skip
        self.refuses(device, "ConfigurationConflict", self.rules.modify(rules(rule("A"))),
                     "[ModifyRules] Could not save the configuration")  # fmt: skip

    def test_a_document_that_is_none_stops_every_method(self):
        device = self.device()
        device.write("localdata/config.json", "no JSON")
        self.before = "no JSON"
        self.refuses(device, "InternalError", self.rules.get(), "Failed to read from file")
        self.refuses(device, "InternalError", self.rules.delete("A"), "[DeleteRules] Could not create configuration")
        self.refuses(device, "InternalError", self.rules.create(rules(rule("A"))),
                     "[CreateRules] Could not create the configuration")  # fmt: skip
        self.refuses(device, "InternalError", self.rules.modify(rules(rule("A"))),
                     "[ModifyRules] Could not create the configuration")  # fmt: skip

    def test_a_stored_profile_that_is_no_rule_makes_the_list_invalid(self):
        device = self.device()
        document = configuration([{"camera": 1}])
        device.write("localdata/config.json", document)
        self.before = device.read("localdata/config.json")
        self.refuses(device, "InvalidRules", self.rules.get(), "Could not create rules from JSON")

    def test_an_unknown_method_is_an_internal_error(self):
        device = self.device()
        self.before = device.read("localdata/config.json")
        self.refuses(device, "InternalError", self.rules.call("BurnRules"), "Unknown method call: BurnRules")
        self.refuses(device, "InternalError", self.rules.call("getRules", "(i)", 0), "Unknown method call: getRules")

    def test_arguments_of_another_form_are_refused_by_the_bus_library(self):
        self.device()
        self.assertEqual(self.rules.call("GetRules", "(i)", 0), "org.freedesktop.DBus.Error.InvalidArgs")


class Signal(RulesTest):
    def test_goes_out_once_a_source_for_control_requests_and_never_for_rules(self):
        device = self.device(cameras=2)
        until(self.rules.types, "a provider")
        self.assertEqual(self.rules.create(rules(rule("Door"))), [])
        self.assertEqual(self.rules.changes(), {})
        with Control(device) as control:
            control.configure(configuration([profile()], cameras=2))
            until(lambda: self.rules.changes() == {0: 1, 1: 1}, "both sources changed")
            self.assertEqual(control.code("setConfiguration", {}), "2003")
            control.configure(configuration([profile()], cameras=2))
        until(lambda: self.rules.changes() == {0: 2, 1: 2}, "both sources changed")
        heard = [line.split(" ", 1)[1] for line in device.log("analytics").splitlines() if "have changed" in line]
        self.assertEqual(heard, [f"the rules of source {source} have changed" for source in (0, 1, 0, 1)])


class Alarms(RulesTest):
    def raise_and_end(self, device):
        topic = f"{MOTION}/&0/Gate"
        bus = device.bus()
        with RuleBus(device) as client:
            self.assertEqual(client.create(rules(rule("Gate", "1.0"))), [])
            bus.until_value(topic, True, 2 * PATIENCE)
            self.assertEqual(retained(device)[topic]["Source"], {"VideoSource": "0", "RuleName": "Gate"})
            self.assertEqual(client.delete("Gate"), [])
        until(lambda: bus.last(topic) is None, "the event is gone")
        self.assertNotIn(topic, retained(device))
        self.assertFalse([name for name in retained(device) if "Profile" in name])

    def test_of_a_rule_rise_on_the_pedestrians_and_end_with_it(self):
        pedestrians = os.path.join(RECORDINGS, "pedestrians.scenes.jsonl.gz")
        with Device("--scenes", pedestrians, "--loop", config=configuration([])) as device:
            self.raise_and_end(device)

    @unittest.skipUnless(os.path.exists(CLIP), "the sample video has not been fetched here")
    def test_of_a_rule_rise_on_the_sample_video_and_end_with_it(self):
        with Device(config=configuration([])) as device:
            self.raise_and_end(device)


class Command(RulesTest):
    def test_does_what_a_person_wants(self):
        device = self.device()
        rule_text = rules(rule("Door"))
        picture = ["--width", "200", "--height", "200"]
        self.assertEqual(device.enter("rules", "create", "-", *picture, input=rule_text), "")
        self.assertEqual(device.enter("rules", "list", *picture), DOOR + "\n")
        listing = device.enter("rules", "list")
        self.assertEqual(device.enter("rules", "modify", "-", input=listing), "")
        self.assertEqual(device.enter("rules", "list"), listing)
        self.assertIn('<tt:Point x="0" y="720"/>', listing)  # a recording's picture is 1280x720
        self.assertIn('  <tt:ParentTopic>tns1:RuleEngine/MotionRegionDetector/Motion</tt:ParentTopic>\n',
                      device.enter("rules", "types"))  # fmt: skip
        self.assertIn("  <axt:MaxRegions>3</axt:MaxRegions>\n", device.enter("rules", "options"))
        self.assertEqual(device.enter("rules", "delete", "Door", "Nobody"), "")
        self.assertEqual(device.enter("rules", "list"), listed() + "\n")

    def test_reads_files_of_this_machine(self):
        device = self.device()
        example = os.path.join(ROOT, "tests", "system", "door.rules.xml")
        with tempfile.TemporaryDirectory(dir="/var/tmp") as folder:  # /tmp is the device's own
            shutil.copy(example, folder)
            device.enter("rules", "create", "door.rules.xml", "--source", "0", cwd=folder)
        self.assertEqual(self.names(device), ["Door"])

    def test_tells_refusals_by_name_and_status(self):
        device = self.device()
        for command, text, status, told in (
            ("create", "no XML", 1, "rules: com.orva.Onvif.Rule1.Error.InternalError: Error\n"),
            ("modify", "no XML", 1, "rules: com.orva.Onvif.Rule1.Error.InvalidRules: Error\n"),
            ("modify", b"\xff".decode("latin-1"), 1, "rules: com.orva.Onvif.Rule1.Error.InvalidRules: Error\n"),
            ("burn", "", 2, 'rules: no command "burn"; rules --help tells how\n'),
        ):
            done = device.enter("sh", "-c", 'rules "$1" - 2>&1', "sh", command, input=text, status=status)
            self.assertEqual(done, told)


class HostileTexts(RulesTest):
    def texts(self, state):
        """Name and text of what must be refused without harm."""
        trap = f"file://{state}/trap"
        bomb = "".join(f'<!ENTITY e{n + 1} "{f"&e{n};" * 10}">' for n in range(12))
        chance = random.Random(7)
        yield "entity bomb", f'<!DOCTYPE a [<!ENTITY e0 "x">{bomb}]><a><Rule Name="&e12;"/></a>'
        yield "quadratic entity", f'<!DOCTYPE a [<!ENTITY e "{"x" * 50000}">]><a>{"&e;" * 20000}</a>'
        yield "external entity", f'<!DOCTYPE a [<!ENTITY e SYSTEM "{trap}">]><a><Rule Name="&e;"/>&e;</a>'
        yield "external parameter entity", f'<!DOCTYPE a [<!ENTITY % e SYSTEM "{trap}"> %e;]><a/>'
        yield "external document type", f'<!DOCTYPE a SYSTEM "{trap}"><a/>'
        yield "inclusion", f'<xi:include xmlns:xi="http://www.w3.org/2001/XInclude" href="{trap}"/>'
        yield "nesting", "<a>" * 3_500_000
        yield "nesting of rules", "<Rule>" * 870_000 + "</Rule>" * 870_000
        yield "attribute", f'<a b="{"x" * 10_000_000}"/>'
        yield "attributes", "<a " + " ".join(f'b{n}="{n}"' for n in range(500_000)) + "/>"
        yield "elements", "<a>" + "<b/>" * 2_000_000 + "</a>"
        yield "nothing but blanks", " " * 10_000_000
        yield "comment", "<!--" + "x" * 10_000_000
        for size in (1, 100, 10_000, 1_000_000):
            octets = bytes(chance.randrange(1, 256) for _ in range(size))
            yield f"{size} random bytes", octets.decode("latin-1")
            yield f"{size} random bytes in a rule", f'<a><Rule Name="<{octets.decode("latin-1")}"/></a>'

    def test_are_refused_in_time_and_leave_nothing_behind(self):
        device = self.device([profile()])
        # Whoever opens this to read waits for ever, and can be seen by whoever opens it to write.
        os.mkfifo(device.path("trap"))
        until(self.rules.types, "a provider")
        before = device.read("localdata/config.json")
        application = application_pid(device)
        for number in range(ROUNDS + 1):
            for name, text in self.texts("/run/device/state"):
                # An inclusion is XML as any other, without rules.
                of_modify = "InternalError" if name == "inclusion" else "InvalidRules"
                for method, error in ((self.rules.create, "InternalError"), (self.rules.modify, of_modify)):
                    with self.subTest(name, method=error):
                        self.assertEqual(method(text), ERRORS + error)
                        self.assertLess(self.rules.seconds, LIMIT)
            if number == 0:
                memory = resident(application)
        self.assertEqual(device.read("localdata/config.json"), before)
        with self.assertRaises(OSError):
            os.close(os.open(device.path("trap"), os.O_WRONLY | os.O_NONBLOCK))
        self.assertEqual(application_pid(device), application)
        if not sanitized():
            self.assertLess(resident(application) - memory, GROWTH)

    def test_of_the_allowed_size_are_refused_in_time_as_well(self):
        device = self.device([profile()])
        until(self.rules.types, "a provider")
        before = device.read("localdata/config.json")
        points = "<Point x='1' y='2'/>" * 900
        region = f"<MotionRegionConfig Sensitivity='0.5'>{points}</MotionRegionConfig>"
        # Each of the rules inside each other has all the points.
        nested = "<Rule Name='a'>" * 28 + region + "</Rule>" * 28
        many = "<Rule Name='a'/>" * 990
        for text, error in ((nested, "InternalError"), (many, "TooManyRules"), (f"<Rule Name='a'>{region}</Rule>", "InternalError")):
            self.assertEqual(self.rules.create(rules(text)), ERRORS + error)
            self.assertLess(self.rules.seconds, LIMIT)
            self.assertEqual(device.read("localdata/config.json"), before)

    def test_that_are_no_text_end_at_the_bus(self):
        device = self.device([profile()])
        until(self.rules.types, "a provider")
        application = application_pid(device)
        chance = random.Random(8)
        for size in (1, 100, 10_000, 1_000_000):
            for method in ("CreateRules", "ModifyRules"):
                self.rules.send_raw(method, b"\xff" + bytes(chance.randrange(1, 256) for _ in range(size)))
        self.assertIn('Name="Profile 1"', self.rules.get())
        self.assertEqual(application_pid(device), application)

    def test_beyond_the_limit_of_the_bus_end_the_senders_connection_alone(self):
        device = self.device([profile()])
        application = application_pid(device)
        self.assertIsNone(self.rules.create("<a>" * (6 << 20)))
        self.assertIn('Name="Profile 1"', self.rules.get())
        told = device.enter("sh", "-c", "head -c 20000000 /dev/zero | tr '\\0' ' ' | rules create - 2>&1", status=2)
        self.assertEqual(told, "rules: -: longer than 16773120 bytes; rules --help tells how\n")
        self.assertEqual(application_pid(device), application)


if __name__ == "__main__":
    unittest.main()
