"""A whole device for a test: the real programs, started by ./run in a temporary state folder.

Tests see it from outside only: its commands, files, ports and topics.
"""

import json
import os
import re
import select
import shutil
import signal
import subprocess
import tempfile
import threading
import time

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.realpath(__file__))))
RUN = os.path.join(ROOT, "run")
BUILD = os.environ.get("TARNWATCH_BUILD") or os.path.join(ROOT, "build", "release")
RECORDINGS = os.path.join(ROOT, "tests", "recordings")

# Sanitizers slow everything down; the limits of waits, never of measurements, grow with them.
PATIENCE = 20.0 * float(os.environ.get("TARNWATCH_TEST_PATIENCE", "1"))

_SANITIZER = re.compile(r"(ERROR|WARNING|SUMMARY): \w+Sanitizer|runtime error:")

TOPICS = "tarnwatch/onvif-ej"
KTW = f"{TOPICS}/tnsorva:DeviceAppHost/tnsorva:KTW"


def until(condition, what, seconds=PATIENCE):
    """Waits until the condition holds and returns what it gave."""
    deadline = time.monotonic() + seconds
    while True:
        if value := condition():
            return value
        if time.monotonic() > deadline:
            raise AssertionError(f"not within {seconds:.1f} s: {what() if callable(what) else what}")
        time.sleep(0.01)


def run(*options, timeout=PATIENCE, **more):
    """Runs ./run to its end, without installing or building."""
    command = [RUN, "--no-install", "--no-build", *options]
    return subprocess.run(command, capture_output=True, text=True, timeout=timeout, stdin=subprocess.DEVNULL, **more)


class Device:
    """A running device; a context manager that leaves nothing behind."""

    def __init__(self, *options, state=None, build=None, config=None, up=True, stdin=subprocess.DEVNULL):
        self.folder = tempfile.mkdtemp(prefix="tarnwatch-test-")
        self.state = state or os.path.join(self.folder, "state")
        self._options, self._build, self._up, self._stdin = options, build, up, stdin
        self._buses = []
        if config is not None:
            self.write("localdata/config.json", config)

    def __enter__(self):
        command = [RUN, "--no-install", "--no-build", "--state", self.state, "--port", "0", "--mqtt-port", "0"]
        environment = dict(os.environ, TARNWATCH_BUILD=self._build or BUILD)
        self._errors = open(os.path.join(self.folder, "stderr"), "w+", encoding="utf-8")
        self.process = subprocess.Popen(
            [*command, *self._options], stdin=self._stdin, stdout=subprocess.PIPE, stderr=self._errors,
            env=environment, text=True,
        )  # fmt: skip
        self.told = ""
        try:
            if self._up:
                self.wait_up()
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        for bus in self._buses:
            bus.close()
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            try:
                self.process.wait(40)
            except subprocess.TimeoutExpired:
                self.process.kill()
        self.process.stdout.close()
        self._errors.close()
        reports = [line for line in self.all_logs().splitlines() if _SANITIZER.search(line)]
        shutil.rmtree(self.folder, ignore_errors=True)
        if reports:
            raise AssertionError("\n".join(reports))

    def wait_up(self):
        """Waits for the five lines that tell that all is up."""
        deadline = time.monotonic() + 3 * PATIENCE
        while self.told.count("\n") < 5:
            ready, _, _ = select.select([self.process.stdout], [], [], max(0, deadline - time.monotonic()))
            text = os.read(self.process.stdout.fileno(), 4096).decode() if ready else ""
            if not text:
                raise AssertionError(f"not up: {self.told}{self.errors()}{self.all_logs()}")
            self.told += text
        self.up_at = time.time()

    def errors(self):
        """What bring-up has written to standard error."""
        with open(self._errors.name, encoding="utf-8") as file:
            return file.read()

    @property
    def endpoints(self):
        return json.loads(self.read("endpoints.json"))

    def path(self, name):
        return os.path.join(self.state, name)

    def read(self, name):
        """A file of the state folder as text."""
        with open(self.path(name), encoding="utf-8", errors="backslashreplace") as file:
            return file.read()

    def write(self, name, content):
        """Puts a file into the state folder; a dict is written as JSON."""
        os.makedirs(os.path.dirname(self.path(name)), exist_ok=True)
        with open(self.path(name), "w", encoding="utf-8") as file:
            file.write(content if isinstance(content, str) else json.dumps(content))

    @property
    def configuration(self):
        return json.loads(self.read("localdata/config.json"))

    def log(self, name="tarnwatch"):
        """A log file's text, empty while there is none."""
        return self.read(f"log/{name}.log") if os.path.exists(self.path(f"log/{name}.log")) else ""

    def all_logs(self):
        folder = self.path("log")
        names = sorted(os.listdir(folder)) if os.path.isdir(folder) else []
        return "".join(f"--- {name}\n{self.read('log/' + name)}" for name in names)

    def enter(self, *command, status=0, **more):
        """Runs a command inside and checks its status; what it wrote to standard output."""
        more.setdefault("stdin", subprocess.DEVNULL) if "input" not in more else None
        done = subprocess.run(
            [RUN, "--enter", "--state", self.state, *command], capture_output=True, text=True, timeout=PATIENCE, **more
        )
        if done.returncode != status:
            raise AssertionError(f"{command}: status {done.returncode}, {done.stdout}{done.stderr}")
        return done.stdout

    def service(self, action, name):
        self.enter("service", action, name)

    def services(self):
        """State by service name: "running PID", "waiting" or "down"."""
        return dict(line.split(None, 1) for line in self.enter("service").splitlines())

    def service_pid(self, name):
        """The process id, inside, of a service that is to be running."""
        return until(lambda: self._running_pid(name), f"{name} runs")

    def _running_pid(self, name):
        state = self.services()[name]
        return int(state.split()[1]) if state.startswith("running ") else None

    def kill(self, name, number="KILL"):
        """Signals a service's process."""
        self.enter("kill", f"-{number}", str(self.service_pid(name)))

    def bus(self, *topics):
        """Listens to the event bus, from outside."""
        bus = Bus(self.endpoints["events"], *(topics or ("tarnwatch/#",)))
        self._buses.append(bus)
        return bus

    def processes(self):
        """Every process of this device as this machine sees it: {pid: command line}."""
        return processes_of(self.state) | descendants_of(self.process.pid)

    def commands(self):
        """The command lines of its processes."""
        return [command.strip() for command in self.processes().values()]

    def until_gone(self):
        """Waits until the device has ended with all its processes; the exit status."""
        before = self.processes()
        status = self.process.wait(PATIENCE * 2)
        left = lambda: processes_of(self.state) | {p: c for p, c in before.items() if c and command_of(p) == c}  # noqa: E731
        until(lambda: not left(), lambda: f"gone: {left()}")
        return status

    def stop(self, number=signal.SIGTERM):
        """Ends it and waits until nothing is left; the exit status."""
        self.process.send_signal(number)
        return self.until_gone()


def command_of(pid):
    """The command line of a process; empty for one that has ended."""
    try:
        with open(f"/proc/{pid}/cmdline", "rb") as file:
            return file.read().replace(b"\0", b" ").decode(errors="replace")
    except OSError:
        return ""


def descendants_of(pid):
    """Children and theirs: {pid: command line}."""
    try:
        with open(f"/proc/{pid}/task/{pid}/children", encoding="ascii") as file:
            children = [int(child) for child in file.read().split()]
    except OSError:
        return {}
    found = {child: command_of(child) for child in children}
    for child in children:
        found |= descendants_of(child)
    return found


def processes_of(state):
    """Processes that live in a sandbox with this state folder, or name it: {pid: command line}."""
    found = {}
    for pid in filter(str.isdigit, os.listdir("/proc")):
        command = command_of(pid)
        try:
            with open(f"/proc/{pid}/mountinfo", encoding="utf-8") as file:
                inside = any(_is_state_mount(line, state) for line in file)
        except OSError:
            continue
        if inside or state in command:
            found[int(pid)] = command
    return found


def _is_state_mount(line, state):
    root, target = line.split()[3:5]
    return target == "/run/device/state" and state.endswith(root)


class Bus:
    """What a plain MQTT client hears, in order. Each message: topic, payload (decoded), retained, at (monotonic)."""

    def __init__(self, endpoint, *topics):
        host, port = endpoint.removeprefix("mqtt://").rsplit(":", 1)
        command = ["mosquitto_sub", "-h", host, "-p", port, "-q", "1", "-F", r"%r\t%t\t%p"]
        self.messages = []
        self._process = subprocess.Popen(
            command + [part for topic in topics for part in ("-t", topic)],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
        )  # fmt: skip
        self._thread = threading.Thread(target=self._listen, daemon=True)
        self._thread.start()

    def _listen(self):
        for line in self._process.stdout:
            retained, topic, payload = line.rstrip("\n").split("\t", 2)
            content = json.loads(payload) if payload else None
            self.messages.append({"topic": topic, "payload": content, "retained": retained == "1", "at": time.monotonic()})

    def of(self, topic):
        return [message for message in self.messages if message["topic"] == topic]

    def last(self, topic):
        """The present payload of a topic, None if there is none."""
        heard = self.of(topic)
        return heard[-1]["payload"] if heard else None

    def until_value(self, topic, value, seconds=PATIENCE):
        """Waits until an event's first data member has this value; the message."""
        def there():
            heard = self.of(topic)
            return heard[-1] if heard and value_of(heard[-1]["payload"]) == value else None

        return until(there, lambda: f"{topic} is {value}; heard {self.messages}", seconds)

    def close(self):
        if self._process.poll() is None:
            self._process.kill()
        self._process.wait()
        self._thread.join()
        self._process.stdout.close()


def value_of(payload):
    return next(iter(payload["Data"].values())) if payload and "Data" in payload else None


def retained(device, topic="tarnwatch/#"):
    """What a client that comes now is given: {topic: payload}."""
    _, port = device.endpoints["events"].rsplit(":", 1)
    command = ["mosquitto_sub", "-p", port, "-t", topic, "--retained-only", "-W", "1", "-F", r"%t\t%p"]
    out = subprocess.run(command, capture_output=True, text=True, timeout=PATIENCE, stdin=subprocess.DEVNULL).stdout
    return {name: json.loads(payload) for name, payload in (line.split("\t", 1) for line in out.splitlines())}


def stand_in_build(folder, application):
    """A build tree with a stand-in for the application, a script, beside the real engine."""
    binaries = os.path.join(folder, "build", "bin")
    os.makedirs(binaries)
    shutil.copytree(os.path.join(BUILD, "lib"), os.path.join(folder, "build", "lib"), symlinks=True)
    for name in ("plinth", "plinth-reader", "video", "analytics", "rules", "overlay"):
        shutil.copy(os.path.join(BUILD, "bin", name), binaries)
    path = os.path.join(binaries, "tarnwatch")
    with open(path, "w", encoding="utf-8") as file:
        file.write(application)
    os.chmod(path, 0o755)
    return os.path.dirname(binaries)
