"""What bring-up itself does: starting, ending, commands, restarts, logs, files and ports."""

import json
import os
import pty
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import unittest

import stand_in
from control import Control
from device import BUILD, RUN, processes_of, run, stand_in_build, until
from quiet_device import QuietDeviceTest
from scenes import configuration

UP = """Tarnwatch is up
  page     {page}
  control  {control}
  events   {events}
  state    {state}
"""
LOG_LINE = re.compile(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z (emerg|alert|crit|err|warning|notice|info|debug) (.*)")


class UpAndDown(QuietDeviceTest):
    def test_tells_the_same_on_the_terminal_and_in_endpoints_json(self):
        with self.device() as device:
            self.assertEqual(device.told, UP.format(**device.endpoints))
            self.assertEqual(list(device.endpoints), ["page", "control", "events", "state"])
            self.assertEqual(device.endpoints["state"], device.state)
            self.assertEqual(device.endpoints["control"], device.endpoints["page"] + "control")

    def test_ends_with_status_0_on_each_stop_signal(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(number), self.device() as device:
                self.assertEqual(device.stop(number), 0)
                self.assertEqual(device.errors(), "")

    def test_stops_in_reverse_order_of_its_start(self):
        with self.device() as device:
            device.stop()
            noted = re.findall(r"info (\w+) (started|is down)", device.log("bringup"))
            order = ["bus", "broker", "web", "video", "engine", "analytics", "application"]
            self.assertEqual(noted, [(name, "started") for name in order] + [(name, "is down") for name in order[::-1]])

    def test_ends_by_itself_after_the_time_counted_from_up(self):
        with self.device("--for", "1.5") as device:
            started = time.monotonic()
            self.assertEqual(device.until_gone(), 0)
            self.assertGreater(time.monotonic() - started, 1.3)

    def test_a_signal_before_it_is_up_ends_it_as_well(self):
        with self.device(application=stand_in.APPLICATION + "forever()\n", up=False) as device:
            until(lambda: "application started" in device.log("bringup"), "the application is started")
            self.assertEqual(device.stop(), 0)
            self.assertEqual(device.told, "")

    def test_endpoints_of_an_earlier_run_are_gone_before_it_is_up(self):
        with self.device(application=stand_in.APPLICATION + "forever()\n", up=False) as device:
            device.write("endpoints.json", "{}")
            until(lambda: "application started" in device.log("bringup"), "the application is started")
            self.assertFalse(os.path.exists(device.path("endpoints.json")))


class Then(QuietDeviceTest):
    def test_ends_with_the_status_of_the_command(self):
        for command, status in ((["true"], 0), (["sh", "-c", "exit 7"], 7), (["sh", "-c", "kill -KILL $$"], 137),
                                (["/nowhere"], 127), (["/etc/passwd"], 126)):  # fmt: skip
            with self.subTest(command), self.device("--then", *command) as device:
                self.assertEqual(device.until_gone(), status)

    def test_takes_the_rest_of_the_command_line_and_the_callers_streams(self):
        done = run("--scenes", self.scenes, "--state", self.folder + "/s", "--port", "0", "--mqtt-port", "0",
                   "--then", "sh", "-c", "echo $0 $1; echo wrong >&2", "--for", "x")  # fmt: skip
        self.assertEqual(done.stdout.splitlines()[5:], ["--for x"])
        self.assertEqual(done.stderr, "wrong\n")

    def test_runs_inside_with_the_devices_addresses(self):
        script = ("test -S /run/dbus/system_bus_socket && curl -sf http://127.0.0.1:8080/ >/dev/null && "
                  "mosquitto_sub -h 127.0.0.1 -p 1883 -t tarnwatch/status -C 1 && "
                  "test -f /run/device/state/parameters.conf && test -w /usr/local/packages/ktw/localdata")  # fmt: skip
        with self.device("--then", "sh", "-c", script) as device:
            self.assertEqual(device.until_gone(), 0)

    def test_a_stop_signal_ends_the_command_and_gives_0(self):
        with self.device("--then", "sleep", "100") as device:
            self.assertEqual(device.stop(signal.SIGINT), 0)


class Enter(QuietDeviceTest):
    def test_carries_streams_and_status_of_the_command(self):
        with self.device() as device:
            self.assertEqual(device.enter("tr", "a-z", "A-Z", input="through a pipe"), "THROUGH A PIPE")
            device.enter("sh", "-c", "exit 42", status=42)
            device.enter("nosuchcommand", status=127)
            device.enter("sh", "-c", "kill -TERM $$", status=143)

    def test_works_on_a_terminal(self):
        with self.device() as device:
            near, far = pty.openpty()
            with subprocess.Popen([RUN, "--enter", "--state", device.state, "sh", "-c", "test -t 0 && read x; echo got $x"],
                                  stdin=far, stdout=far, stderr=far) as caller:  # fmt: skip
                os.close(far)
                os.write(near, b"it\n")
                heard = b""
                while b"got it\r\n" not in heard:
                    heard += os.read(near, 1000)
                self.assertEqual(caller.wait(), 0)
            os.close(near)

    def test_serves_many_callers_at_once(self):
        with self.device() as device:
            command = [RUN, "--enter", "--state", device.state, "sh", "-c", "sleep 0.5; cat"]
            callers = [subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE) for _ in range(8)]
            answers = [caller.communicate(b"%d" % number)[0] for number, caller in enumerate(callers)]
            self.assertEqual(answers, [b"%d" % number for number in range(8)])

    def test_passes_signals_on_and_ends_the_command_with_its_caller(self):
        with self.device() as device:
            command = [RUN, "--enter", "--state", device.state, "sh", "-c", "trap 'exit 9' INT; echo on; while :; do sleep 0.1; done"]
            caller = subprocess.Popen(command, stdout=subprocess.PIPE)
            self.assertEqual(caller.stdout.readline(), b"on\n")
            caller.send_signal(signal.SIGINT)
            self.assertEqual(caller.wait(), 9)
            caller.stdout.close()
            orphaned = subprocess.Popen([RUN, "--enter", "--state", device.state, "sleep", "1234"])
            until(lambda: "sleep 1234" in device.commands(), "the command runs")
            orphaned.kill()
            orphaned.wait()
            until(lambda: "sleep 1234" not in device.commands(), "it has ended")

    def test_says_when_no_device_runs_there(self):
        done = subprocess.run([RUN, "--enter", "--state", self.folder, "true"], capture_output=True, text=True)
        self.assertEqual((done.returncode, done.stderr), (1, f"tarnwatch: no device is running on {self.folder}\n"))

    def test_is_told_when_the_device_ends_first(self):
        with self.device() as device:
            caller = subprocess.Popen([RUN, "--enter", "--state", device.state, "sleep", "100"], stderr=subprocess.PIPE, text=True)
            until(lambda: "sleep 100" in device.commands(), "the command runs")
            device.stop()
            self.assertEqual(caller.communicate()[1], "tarnwatch: the device ended while sleep ran\n")
            self.assertEqual(caller.returncode, 1)

    def test_carries_arguments_and_environment_however_large(self):
        with self.device() as device:
            large = "x" * 120_000
            sizes = device.enter("sh", "-c", 'echo ${#1} ${#2} ${#3} ${#LARGE}', "sh", large, large, large, env=dict(os.environ, LARGE=large))
            self.assertEqual(sizes.split(), ["120000"] * 4)

    def test_works_with_a_state_folder_longer_than_a_socket_address(self):
        state = os.path.join(self.folder, "x" * 120, "state")
        with self.device(state=state) as device:
            self.assertEqual(device.enter("echo", "far"), "far\n")


class Surroundings(QuietDeviceTest):
    """A caller that is not as usual, and a state folder that cannot be used."""

    def options(self):
        return ["--scenes", self.scenes, "--state", self.folder + "/s", "--port", "0", "--mqtt-port", "0"]

    def test_streams_the_caller_has_closed_are_nothing(self):
        ask = "curl -s -o /dev/null -w %{http_code} http://127.0.0.1:8080/ >&2"
        for closed in ("<&-", ">&-", "<&- >&-"):
            with self.subTest(closed):
                script = f'"$@" --then sh -c "cat; {ask}" </dev/null {closed}'
                done = subprocess.run(["sh", "-c", script, "sh", RUN, "--no-install", "--no-build", *self.options()],
                                      capture_output=True, text=True, timeout=60)  # fmt: skip
                self.assertEqual((done.returncode, done.stderr), (0, "200"))
                self.assertEqual(done.stdout.startswith("Tarnwatch is up"), ">&-" not in closed)

    def test_a_state_folder_that_cannot_be_printed_serves_as_any(self):
        state = self.folder + "/\N{EURO SIGN}"
        environment = dict(os.environ, PYTHONIOENCODING="ascii:strict")
        done = run(*self.options(), "--state", state, "--then", "true", env=environment)
        self.assertEqual((done.returncode, done.stdout.splitlines()[-1]), (0, f"  state    {self.folder}/\\u20ac"))

    def test_what_cannot_be_written_is_told_in_one_line(self):
        for name in ("parameters.conf", "endpoints.json", "log/bringup.log"):
            with self.subTest(name), tempfile.TemporaryDirectory() as state:
                os.makedirs(os.path.join(state, name))
                done = run(*self.options(), "--state", state)
                self.assertEqual((done.returncode, done.stderr), (1, f"tarnwatch: {state}/{name}: Is a directory\n"))
                self.assertEqual(processes_of(state), {})

    def test_a_device_that_cannot_tell_that_it_is_up_ends(self):
        application = stand_in.APPLICATION + "os.mkdir('/run/device/state/endpoints.json.new')\nonline()\nforever()\n"
        with self.device(application=application, config=configuration([]), up=False) as device:
            self.assertEqual(device.until_gone(), 1)
            self.assertRegex(device.errors(), r"\Atarnwatch: .*endpoints\.json\.new.*\n\Z")


class Services(QuietDeviceTest):
    def test_are_held_down_and_let_go_by_either_name(self):
        with self.device() as device:
            for name, program in (("bus", "dbus-daemon"), ("broker", "mosquitto"), ("web", "nginx"), ("engine", "plinth"),
                                  ("application", "tarnwatch")):  # fmt: skip
                with self.subTest(name):
                    device.service("stop", program)
                    self.assertEqual(device.services()[name], "down")
                    device.service("start", name)
                    self.assertRegex(device.services()[name], r"running \d+")
                    told = [line for line in device.log("bringup").splitlines() if f" {name} " in line]
                    self.assertEqual([line.split(f" {name} ")[1] for line in told], ["started", "is down", "started"])

    def test_stay_down_while_held(self):
        with self.device() as device:
            device.service("stop", "plinth")
            time.sleep(1.5)
            self.assertEqual(device.services()["engine"], "down")
            self.assertFalse(os.path.exists(f"/proc/{device.process.pid}/root/run/plinth/scenes"))

    def test_refuse_what_they_do_not_know(self):
        with self.device() as device:
            device.enter("service", "stop", "nothing", status=2)
            device.enter("service", "burn", "bus", status=2)

    def test_the_application_is_started_when_the_video_service_is_ready(self):
        build = stand_in_build(self.folder, "")
        shutil.copy(os.path.join(BUILD, "bin", "tarnwatch"), os.path.join(build, "bin"))
        # A service that is slow to come, each time.
        os.rename(os.path.join(build, "bin", "video"), os.path.join(build, "lib", "video"))
        with open(os.path.join(build, "bin", "video"), "w", encoding="utf-8") as file:
            file.write('#!/bin/sh\nsleep 1\nexec /run/device/lib/video "$@"\n')
            os.fchmod(file.fileno(), 0o755)
        with self.device(build=build) as device, Control(device) as control:
            overlay = lambda: control.data("getConfigurationCapabilities")["alarmOverlay"]["isSupported"]  # noqa: E731
            self.assertTrue(overlay())
            pids = [str(device.service_pid(name)) for name in ("video", "application")]
            device.enter("kill", "-KILL", *pids)
            until(lambda: device.service_pid("application") != int(pids[1]), "it is started again")
            control.until_answers()
            self.assertTrue(overlay())

    def test_the_application_is_started_without_a_video_service_that_is_held_down(self):
        with self.device() as device, Control(device) as control:
            device.service("stop", "video")
            device.service("stop", "application")
            device.service("start", "application")
            control.until_answers()
            self.assertEqual(control.data("getConfigurationCapabilities")["alarmOverlay"], {"isSupported": False})
            self.assertNotIn("started without", device.log("bringup"))

    def test_can_be_told_from_inside(self):
        with self.device() as device:
            self.assertRegex(device.enter("sh", "-c", "service stop web; service status | grep web"), r"web +down")


class Death(QuietDeviceTest):
    def test_each_process_comes_back_when_it_is_killed(self):
        with self.device() as device:
            for name in ("bus", "broker", "web", "video", "engine", "analytics", "application"):
                with self.subTest(name):
                    before = device.service_pid(name)
                    device.kill(name)
                    until(lambda: device.service_pid(name) != before, f"{name} is back")
            self.assertEqual(sum("nginx: master" in command for command in device.commands()), 1, device.commands())
            self.assertEqual(subprocess.run(["curl", "-sf", device.endpoints["page"]], capture_output=True).returncode, 0)

    def test_a_killed_worker_of_the_web_server_comes_back(self):
        with self.device() as device:
            workers = lambda: {pid for pid, command in device.processes().items() if "nginx: worker" in command}  # noqa: E731
            before = workers()
            os.kill(before.copy().pop(), signal.SIGKILL)
            until(lambda: workers() and not workers() & before, "another worker")

    def test_an_application_that_keeps_dying_is_started_at_growing_distances(self):
        application = stand_in.APPLICATION + "online()\nmark = '/run/device/state/up'\n" \
            "if os.path.exists(mark): sys.exit(3)\nopen(mark, 'w').close()\nforever()\n"  # fmt: skip
        with self.device(application=application, config=configuration([])) as device:
            device.kill("application")
            noted = lambda: re.findall(r"application ended with status (\d+); started again in (\d+) ms", device.log("bringup"))  # noqa: E731
            until(lambda: len(noted()) >= 6, noted)
            self.assertEqual(noted()[:6], [("137", "100"), ("3", "200"), ("3", "400"), ("3", "800"), ("3", "1000"), ("3", "1000")])

    def test_nothing_is_left_when_a_half_of_bring_up_or_bwrap_is_killed(self):
        halves = {
            "outer half": lambda command: "host/bringup start" in command,
            "inner half": lambda command: "/run/device/bringup inside" in command and not command.startswith("bwrap"),
            "bwrap": lambda command: command.startswith("bwrap"),
        }
        for half, is_it in halves.items():
            with self.subTest(half), self.device() as device:
                found = [pid for pid, command in device.processes().items() if is_it(command)]
                self.assertEqual(len(found), 1, device.processes())
                os.kill(found[0], signal.SIGKILL)
                self.assertNotEqual(device.until_gone(), 0)

    def test_a_device_can_start_again_where_one_was_killed(self):
        with self.device() as first:
            first.process.kill()
            first.until_gone()
            with self.device(state=first.state) as second:
                self.assertEqual(second.stop(), 0)

    def test_an_application_that_ignores_the_request_is_killed_after_five_seconds(self):
        application = stand_in.APPLICATION + "signal.signal(signal.SIGTERM, signal.SIG_IGN)\nonline()\nforever()\n"
        with self.device(application=application, config=configuration([])) as device:
            started = time.monotonic()
            self.assertEqual(device.stop(), 0)
            self.assertGreater(time.monotonic() - started, 4.9)

    def test_a_program_that_never_stays_up_fails_the_start_with_its_last_words(self):
        application = stand_in.APPLICATION + "sys.exit('no camera, no work')\n"
        with self.device(application=application, up=False) as device:
            self.assertEqual(device.until_gone(), 1)
            self.assertRegex(device.errors(), r"\Atarnwatch: application does not stay up: no camera, no work .*\n\Z")


class Logs(QuietDeviceTest):
    def test_a_message_is_a_line_of_time_level_and_text(self):
        application = stand_in.APPLICATION + "\n".join(
            f"syslog.syslog({level}, 'level {level}')" for level in range(8)
        ) + "\nsyslog.syslog(4, 'first\\nsecond\\n')\nonline()\nforever()\n"  # fmt: skip
        with self.device(application=application, config=configuration([])) as device:
            lines = [LOG_LINE.fullmatch(line) for line in device.log().splitlines()]
            self.assertNotIn(None, lines)
            levels = ["emerg", "alert", "crit", "err", "warning", "notice", "info", "debug"]
            self.assertEqual([line.group(1, 2) for line in lines[:9]],
                             [(name, f"level {level}") for level, name in enumerate(levels)] + [("warning", "first\\nsecond")])  # fmt: skip

    def test_others_messages_are_kept_apart(self):
        with self.device() as device:
            device.enter("python3", "-c", "import syslog; syslog.openlog('other'); syslog.syslog('by another')")
            until(lambda: "other: by another" in device.log("syslog"), "the message is in syslog.log")
            self.assertNotIn("by another", device.log())

    def test_a_flood_of_messages_is_all_written_and_blocks_nobody(self):
        application = stand_in.APPLICATION + "for n in range(20000): syslog.syslog(4, f'flood {n}')\nonline()\nforever()\n"
        with self.device(application=application, config=configuration([])) as device:
            flood = [line for line in device.log().splitlines() if " flood " in line]
            self.assertEqual([line.rsplit(" ", 1)[1] for line in flood], [str(n) for n in range(20000)])

    def test_each_process_has_its_log(self):
        with self.device() as device:
            self.assertLessEqual({"bus.log", "broker.log", "web.log", "plinth.log", "tarnwatch.log", "tarnwatch-output.log",
                                  "bringup.log"}, set(os.listdir(device.path("log"))))  # fmt: skip
            self.assertRegex(device.log("analytics"), r"\A\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z serving as com\.orva\.")


class Files(QuietDeviceTest):
    def test_one_source_writes_no_number_of_sources(self):
        with self.device() as device:
            self.assertEqual(device.read("parameters.conf"), (
                "root.Brand.ProdNbr=Tarnwatch-Host\n"
                "root.Brand.ProdType=Network Camera\n"
                "root.Properties.EmbeddedDevelopment.Version=2.16\n"
                "root.Properties.Image.Resolution=1280x720\n"
                "root.ImageSource.I0.Name=quiet.jsonl\n"
                "root.ImageSource.I0.Type=Camera\n"
                "root.ImageSource.I0.Sensor.AspectRatio=16:9\n"
                "root.Image.I0.Appearance.Resolution=1280x720\n"
            ))  # fmt: skip

    def test_two_sources_and_what_was_asked_for(self):
        with self.device("--scenes", self.scenes, "--parameter", "ImageSource.I1.Name=Back door", "--parameter",
                         "root.Properties.PTZ.PTZ=yes", "--parameter", "root.Brand.ProdType=") as device:  # fmt: skip
            lines = device.read("parameters.conf").splitlines()
            self.assertIn("root.Properties.EmbeddedDevelopment.RuleEngine.MultiConfiguration=yes", lines)
            self.assertIn("root.ImageSource.NbrOfSources=2", lines)
            self.assertEqual([line for line in lines if "I1.Name" in line], ["ImageSource.I1.Name=Back door"])
            self.assertIn("root.Properties.PTZ.PTZ=yes", lines)
            self.assertNotIn("ProdType", " ".join(lines))

    def test_the_state_folder_serves_one_device_at_a_time(self):
        with self.device() as device:
            second = run("--scenes", self.scenes, "--state", device.state, "--port", "0", "--mqtt-port", "0")
            self.assertEqual((second.returncode, second.stderr),
                             (1, f"tarnwatch: {device.state}: another device runs on this state folder\n"))  # fmt: skip
            self.assertEqual(device.enter("echo", "unharmed"), "unharmed\n")

    def test_the_temporary_folder_and_the_network_are_the_devices_own(self):
        with self.device() as device, tempfile.NamedTemporaryFile() as outside:
            device.enter("test", "-e", outside.name, status=1)
            device.enter("touch", "/etc/written", status=1)
            device.enter("curl", "-s", "--max-time", "2", device.endpoints["page"], status=7)


class Ports(QuietDeviceTest):
    def test_a_taken_port_is_told_at_once(self):
        with socket.create_server(("127.0.0.1", 0)) as taken:
            port = taken.getsockname()[1]
            for option, other in (("--port", "--mqtt-port"), ("--mqtt-port", "--port")):
                done = run("--scenes", self.scenes, "--state", self.folder + "/s", option, str(port), other, "0")
                self.assertEqual((done.returncode, done.stderr),
                                 (1, f"tarnwatch: 127.0.0.1:{port}: Address already in use\n"))  # fmt: skip

    def test_fixed_ports_are_the_ones_that_serve(self):
        with socket.create_server(("127.0.0.1", 0)) as one, socket.create_server(("127.0.0.1", 0)) as two:
            web, events = one.getsockname()[1], two.getsockname()[1]
        with self.device("--port", str(web), "--mqtt-port", str(events)) as device:
            self.assertEqual(device.endpoints["page"], f"http://127.0.0.1:{web}/")
            self.assertEqual(device.endpoints["events"], f"mqtt://127.0.0.1:{events}")
            bus = device.bus()
            until(lambda: "tarnwatch/status" in {message["topic"] for message in bus.messages}, "the status on the bus")

    def test_many_devices_run_side_by_side(self):
        with self.device() as one, self.device() as two, self.device() as three:
            pages = {device.endpoints["page"] for device in (one, two, three)}
            self.assertEqual(len(pages), 3)
            for device in (one, two, three):
                self.assertEqual(device.stop(), 0)


class SampleVideo(QuietDeviceTest):
    """What plays without a source, with a stand-in for apt-get."""

    def environment(self, apt_get):
        binaries = os.path.join(self.folder, "bin")
        os.makedirs(binaries)
        path = os.path.join(binaries, "apt-get")
        with open(path, "w", encoding="utf-8") as file:
            file.write("#!/bin/sh\n" + apt_get)
        os.chmod(path, 0o755)
        return dict(os.environ, PATH=binaries + ":" + os.environ["PATH"], XDG_CACHE_HOME=self.folder + "/cache")

    def start(self, environment, *options):
        command = [RUN, "--no-install", "--no-build", "--state", self.folder + "/s", "--port", "0", "--mqtt-port", "0", *options]
        return subprocess.Popen(command, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, text=True)  # fmt: skip

    def cached(self):
        folder = self.folder + "/cache/tarnwatch"
        return os.listdir(folder) if os.path.isdir(folder) else []

    def test_the_recording_plays_where_it_cannot_be_had(self):
        with self.start(self.environment("echo E: no network >&2; exit 100\n"), "--then", "true") as started:
            out, err = started.communicate()
        self.assertEqual((started.returncode, out.splitlines()[0]), (0, "Tarnwatch is up"))
        self.assertEqual(err.splitlines()[1:], ["tarnwatch: no sample video (E: no network); playing the pedestrians recording"])
        with open(self.folder + "/s/parameters.conf", encoding="utf-8") as file:
            self.assertIn("root.ImageSource.I0.Name=pedestrians.scenes.jsonl.gz\n", file.read())

    def test_the_clip_is_taken_out_of_the_package_once(self):
        tree = os.path.join(self.folder, "tree")
        for name, text in (("DEBIAN/control", "Package: opencv-doc\nVersion: 1\nArchitecture: all\nMaintainer: x <x@x>\n"
                            "Description: x\n"), ("usr/share/doc/vtest.avi", "no video"), ("usr/share/doc/other", "x")):  # fmt: skip
            os.makedirs(os.path.dirname(os.path.join(tree, name)), exist_ok=True)
            with open(os.path.join(tree, name), "w", encoding="utf-8") as file:
                file.write(text)
        environment = self.environment(f"echo fetched >>{self.folder}/count; dpkg-deb -b {tree} opencv-doc_1_all.deb\n")
        for _ in range(2):
            with self.start(environment) as started:
                self.assertIn("vtest.avi", started.communicate()[1])
            self.assertEqual(started.returncode, 2)
            self.assertEqual(self.cached(), ["vtest.avi"])
        with open(self.folder + "/count", encoding="utf-8") as file:
            self.assertEqual(file.read(), "fetched\n")

    def test_a_stop_signal_ends_the_fetching_and_leaves_nothing(self):
        with self.start(self.environment(f"echo $$ >{self.folder}/pid; exec sleep 100\n")) as started:
            until(lambda: os.path.exists(self.folder + "/pid") and os.path.getsize(self.folder + "/pid"), "it fetches")
            started.terminate()
            started.communicate()
        self.assertEqual(started.returncode, 0)
        with open(self.folder + "/pid", encoding="utf-8") as file:
            pid = file.read().strip()
        until(lambda: not os.path.exists(f"/proc/{pid}"), "the fetching has ended")
        self.assertEqual(self.cached(), [])


class BadInput(QuietDeviceTest):
    def refused(self, *options):
        """Runs with these options: one line and status 2; the line."""
        command = [RUN, "--no-install", "--no-build", "--state", self.folder + "/s", "--port", "0", "--mqtt-port", "0", *options]
        done = subprocess.run(command, capture_output=True, text=True, stdin=subprocess.DEVNULL)
        self.assertEqual((done.returncode, done.stdout), (2, ""), options)
        self.assertRegex(done.stderr, r"\Atarnwatch: [^\n]+\n\Z", options)
        self.assertEqual(processes_of(self.folder), {})
        return done.stderr

    def test_options_are_refused_in_one_line(self):
        empty = os.path.join(self.folder, "empty")
        open(empty, "w", encoding="utf-8").close()
        for options in (["--prot", "1"], ["extra"], ["--port", "65536"], ["--port", "x"], ["--mqtt-port", "-1"], ["--for", "0"],
                        ["--for", "nan"], ["--for", "soon"], ["--loop", "--once"], ["--transport", "pigeon"], ["--parameter", "x"],
                        ["--parameter", "=x"], ["--state"], ["--then"], ["--listen", "0.0.0.0"], ["--password-file", self.scenes],
                        ["--listen", "nowhere", "--password-file", self.scenes], ["--listen", "127.0.0.1", "--password-file", empty],
                        ["--record", "/nowhere/x", "--scenes", self.scenes], ["--enter"],
                        ["--enter", "--port", "1"]):  # fmt: skip
            with self.subTest(options):
                self.refused(*options)

    def test_files_are_refused_by_name(self):
        bad = os.path.join(self.folder, "bad.jsonl")
        with open(bad, "w", encoding="utf-8") as file:
            file.write('{"time": 0, "objects": []}\nnonsense\n')
        for option in ("--video", "--scenes"):
            self.assertIn("/nowhere/x", self.refused(option, "/nowhere/x"))
            self.assertIn("not a regular file", self.refused(option, self.folder))
        self.assertIn("bad.jsonl:2", self.refused("--scenes", bad))
        self.assertIn("bad.jsonl", self.refused("--video", bad))

    def test_a_recording_is_never_written_over_a_source_nor_into_what_is_no_file(self):
        os.symlink(self.scenes, self.folder + "/record.2")
        before = os.path.getsize(self.scenes)
        self.assertIn("is a source", self.refused("--scenes", self.scenes, "--record", self.scenes))
        self.assertIn("is a source", self.refused("--scenes", self.scenes, "--scenes", self.scenes, "--record", self.folder + "/record"))
        self.assertEqual(os.path.getsize(self.scenes), before)
        self.refused("--scenes", self.scenes, "--record", "/dev/null")

    def test_malformed_urls_are_refused(self):
        for url in ("rtsp://", "rtsp:/host/x", "http://host:port/", "rtsp://host:99999/", "rtsp://ho st/", "nosuch://host/x"):
            with self.subTest(url):
                self.refused("--video", url)

    def test_where_user_namespaces_are_refused_one_line_tells_the_cure(self):
        jail = ["bwrap", "--dev-bind", "/", "/", "--unshare-user", "--disable-userns"]
        done = subprocess.run([*jail, RUN, "--no-install", "--no-build", "--scenes", self.scenes, "--state", self.folder + "/s"],
                              capture_output=True, text=True, stdin=subprocess.DEVNULL)  # fmt: skip
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stderr, r"\Atarnwatch: no sandbox: [^\n]*; cure: [^\n]+\n\Z")

    def test_help_tells_every_option(self):
        told = run("--help").stdout
        for option in ("--video", "--scenes", "--loop", "--once", "--transport", "--parameter", "--state", "--port", "--mqtt-port",
                       "--listen", "--password-file", "--for", "--record", "--then", "--enter", "--no-install", "--no-build"):  # fmt: skip
            self.assertRegex(told, rf"(?m)^ +(--loop \| )?{option}\b", option)


if __name__ == "__main__":
    unittest.main()
