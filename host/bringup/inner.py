"""The inner half: first process of the sandbox. Starts everything in order, keeps it running, stops it
in reverse, reads the log and runs commands."""

import asyncio
import json
import os
import signal
import socket

from bringup import enter, logs
from bringup.commands import CommandServer
from bringup.processes import Children
from bringup.readiness import ApplicationWatch
from bringup.sandbox import APPLICATION, DEVICE, PROGRAMS
from bringup.services import Program, Service, accepts
from bringup.syslog_reader import SyslogReader

STATE = f"{DEVICE}/state"
LOGS = f"{STATE}/log"
CONF = f"{DEVICE}/conf"

SCENES = "/run/plinth/scenes"
VIDEO_PICTURES = "/run/video/pictures.sock"
VIDEO_WEB = "/run/video/web.sock"
WEB_SOCKETS = ("127.0.0.1", 9001)
CONTROL = f"{DEVICE}/http.sock"

_START_LIMIT = 60.0  # seconds until a device that is not up is given up
_CONTROL_GRACE = 1.0  # seconds from the application's events to its control service, the last of its start
_FAILURE_LIMIT = 5  # times a program may end by itself before the device is up

# The sanitizers' own settings and the library path they need, for development; nothing else gets in.
_PASSED_ON = ("ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS", "G_SLICE", "LD_LIBRARY_PATH")


class StartFailed(Exception):
    """The device did not come up; the message is one line for the user."""


def programs(plan: dict) -> list[Program]:
    """What runs in a device, in the order of start."""
    plain = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LANG": "C.UTF-8", "TZ": "UTC"}
    ours = plain | {name: os.environ[name] for name in _PASSED_ON if name in os.environ}
    held = "".join(f"{fd};" for fd in plan["listening"])
    cameras = [part for size in plan["cameras"] for part in ("--camera", size)]
    return [
        Program("bus", ["/usr/bin/dbus-daemon", f"--config-file={CONF}/bus.conf", "--nofork", "--nopidfile", "--nosyslog"],
                address="/run/dbus/system_bus_socket", environment=plain),
        Program("broker", ["/usr/sbin/mosquitto", "-c", f"{CONF}/mosquitto.conf"],
                address=("127.0.0.1", 1883), environment=plain, misses_requests=True),
        Program("web", ["/usr/sbin/nginx", "-p", DEVICE, "-c", f"{CONF}/nginx.conf", "-e", "stderr"],
                address=("127.0.0.1", 8080), fds=plan["listening"], environment=plain | {"NGINX": held}),
        Program("video", [f"{PROGRAMS}/video", *cameras, "--pictures", VIDEO_PICTURES, "--web", VIDEO_WEB,
                          "--configuration", f"{APPLICATION}/localdata/config.json", "--state", STATE],
                bus_names=["com.orva.Overlay2", "com.orva.Graphics1"],
                environment=ours | {"XDG_CACHE_HOME": "/run/video/cache"}),  # of the fonts
        Program("engine", [f"{PROGRAMS}/plinth", "--socket", SCENES, "--pictures", VIDEO_PICTURES, *plan["engine"]],
                address=SCENES, fds=plan["sources"], environment=ours, log="plinth"),
        Program("analytics", [f"{PROGRAMS}/analytics"], bus_names=["com.orva.Onvif.Analytics1"], environment=ours),
        Program("application", [f"{APPLICATION}/tarnwatch"],
                environment=ours, folder=APPLICATION, log="tarnwatch-output", after="video"),
    ]  # fmt: skip


class Device:
    """Everything that runs in the sandbox. Lives from the plan's arrival to the last process's end."""

    def __init__(self, plan: dict):
        self._note_log = logs.Log(LOGS, "bringup")
        self.children = Children()
        self.syslog = SyslogReader(f"{DEVICE}/log", LOGS)
        self.services: list[Service] = []
        for program in programs(plan):
            after = next((service for service in self.services if service.program.name == program.after), None)
            self.services.append(Service(program, self.children, LOGS, self.note, after))
        self.commands = CommandServer(f"{STATE}/{enter.SOCKET}", self.children, self.services)

    def note(self, text: str) -> None:
        self._note_log.write(logs.line(6, text))

    async def start(self) -> None:
        """Starts the services in order and waits until all is up; raises StartFailed."""
        watch = asyncio.create_task(self._start_in_order())
        try:
            loop = asyncio.get_running_loop()
            deadline = loop.time() + _START_LIMIT
            while not watch.done():
                await asyncio.wait([watch], timeout=0.1)
                for service in self.services:
                    if service.failures >= _FAILURE_LIMIT:
                        raise StartFailed(f"{service.program.name} does not stay up: {self._last_words(service)}")
                if loop.time() > deadline:
                    raise StartFailed(self._what_is_missing())
            watch.result()
        finally:
            watch.cancel()

    async def _start_in_order(self) -> None:
        for service in self.services:
            await service.release()
            await service.until_ready()
        await ApplicationWatch(f"{STATE}/localdata/config.json").until_up(self.children)
        while not accepts(WEB_SOCKETS):
            await asyncio.sleep(0.01)
        await self._control_answers()
        self.note("up")

    async def _control_answers(self) -> None:
        """Waits a moment for the control service. One that does not come keeps nothing else down."""
        loop = asyncio.get_running_loop()
        deadline = loop.time() + _CONTROL_GRACE
        while not accepts(CONTROL) and loop.time() < deadline:
            await asyncio.sleep(0.01)

    def _last_words(self, service: Service) -> str:
        return logs.last_line(LOGS, service.log) or "it says nothing"

    def _what_is_missing(self) -> str:
        late = [service for service in self.services if not (service.was_ready and service.ready())]
        if late:
            return f"{late[0].program.name} is not ready after {_START_LIMIT:.0f} s: {self._last_words(late[0])}"
        return f"the application is not online after {_START_LIMIT:.0f} s; see tarnwatch.log"

    async def stop(self) -> None:
        """Ends commands, then the services in reverse order."""
        await self.commands.close()
        for service in reversed(self.services):
            await service.end()
        self.syslog.close()
        self.note("down")


async def _run(channel: socket.socket) -> int:
    reader, writer = await asyncio.open_connection(sock=channel, limit=1 << 20)
    stop = asyncio.Event()
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        asyncio.get_running_loop().add_signal_handler(number, stop.set)
    line = await reader.readline()
    if not line:
        return 1
    plan = json.loads(line)
    _prepare(plan)
    device = Device(plan)
    ending = asyncio.create_task(_until_stop(reader, stop))
    starting = asyncio.create_task(device.start())
    await asyncio.wait([ending, starting], return_when=asyncio.FIRST_COMPLETED)
    if starting.done():
        _tell(writer, _outcome(starting))
        if starting.exception() is None:
            await ending
    starting.cancel()
    ending.cancel()
    await device.stop()
    return 0


async def _until_stop(reader: asyncio.StreamReader, stop: asyncio.Event) -> None:
    """Waits for a signal or for the end of the channel: the outer half asks to stop, or is gone."""
    gone = asyncio.create_task(reader.read())
    await asyncio.wait([gone, asyncio.create_task(stop.wait())], return_when=asyncio.FIRST_COMPLETED)


def _outcome(starting: asyncio.Task) -> dict:
    error = starting.exception()
    if error is None:
        return {"up": True}
    if isinstance(error, StartFailed):
        return {"failed": str(error)}
    raise error


def _tell(writer: asyncio.StreamWriter, message: dict) -> None:
    """Tells the outer half, if it is still there."""
    writer.write(json.dumps(message).encode() + b"\n")


def _prepare(plan: dict) -> None:
    """Writes what the web server includes, and the folders it wants."""
    for folder in ("nginx", "tmp"):
        os.makedirs(f"{DEVICE}/{folder}", exist_ok=True)
    for name, text in plan["web"].items():
        with open(f"{DEVICE}/nginx/{name}", "w", encoding="utf-8") as file:
            os.chmod(file.fileno(), 0o600)
            file.write(text)


def main(channel: int) -> int:
    """Runs the inner half on its end of the channel to the outer one."""
    return asyncio.run(_run(socket.socket(fileno=channel)))
