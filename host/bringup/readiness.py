"""Tells when the application is up, by what it declares on the event bus."""

import asyncio
import json
import subprocess

from bringup.processes import Children

_STATUS = "tarnwatch/status"
_EVENTS = "tarnwatch/onvif-ej/tnsorva:DeviceAppHost/tnsorva:KTW/"
_GRACE = 3.0  # seconds


class ApplicationWatch:
    """Listens to the bus until the application is up: it is online, and each active profile of
    config.json has its event declared.

    The document is read again with every message, since the application writes it before it declares
    events (a missing one is made, an old one upgraded). A document that it refuses declares none, and
    nothing on the bus says so: once it has been online for three seconds it counts as up.
    """

    def __init__(self, configuration: str):
        self._configuration = configuration
        self._online = False
        self._declared: set[str] = set()

    async def until_up(self, children: Children) -> None:
        command = ["mosquitto_sub", "-h", "127.0.0.1", "-q", "1", "-t", "tarnwatch/#", "-F", "%j"]
        while not await self._listen(children, command):
            await asyncio.sleep(0.1)

    async def _listen(self, children: Children, command: list[str]) -> bool:
        """One life of the listener; whether the application came up in it."""
        listener = children.spawn(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        lines, transport = await _reader(listener.popen.stdout)
        loop = asyncio.get_running_loop()
        deadline = None
        try:
            while not self.complete():
                if self._online and deadline is None:
                    deadline = loop.time() + _GRACE
                try:
                    line = await asyncio.wait_for(lines.readline(), deadline and max(0.0, deadline - loop.time()))
                except asyncio.TimeoutError:
                    return True
                if not line:
                    return False
                self.hear(line)
            return True
        finally:
            transport.close()
            await listener.end(1.0)

    def hear(self, line: bytes) -> None:
        """Takes one message, as mosquitto_sub writes it."""
        message = json.loads(line)
        topic, payload = message["topic"], message.get("payload")
        if topic == _STATUS:
            self._online = _decoded(payload).get("online") is True
        elif topic.startswith(_EVENTS):
            (self._declared.add if payload else self._declared.discard)(topic[len(_EVENTS) :])

    def complete(self) -> bool:
        """Whether all that the configuration lets expect has been heard."""
        expected = expected_events(self._configuration) if self._online else None
        return expected is not None and expected <= self._declared


def expected_events(path: str) -> set[str] | None:
    """The names of the events that a configuration's active profiles declare; None while there is no
    readable document."""
    try:
        with open(path, encoding="utf-8") as file:
            parameters = json.load(file)["params"]
        active = {camera["id"] for camera in parameters["cameras"] if camera["active"] is True}
        profiles = [profile for profile in parameters["profiles"] if profile["camera"] in active]
        return {f"tnsorva:Camera{profile['camera']}Profile{profile['uid']}" for profile in profiles}
    except (OSError, ValueError, LookupError, TypeError):
        return None


def _decoded(payload) -> dict:
    """A payload as an object: mosquitto_sub's %j already decodes one that is JSON."""
    if isinstance(payload, str):
        try:
            payload = json.loads(payload)
        except ValueError:
            return {}
    return payload if isinstance(payload, dict) else {}


async def _reader(pipe) -> tuple[asyncio.StreamReader, asyncio.BaseTransport]:
    lines = asyncio.StreamReader(limit=1 << 22)
    protocol = asyncio.StreamReaderProtocol(lines)
    transport, _ = await asyncio.get_running_loop().connect_read_pipe(lambda: protocol, pipe)
    return lines, transport
