"""The device's services and what keeps each of them running."""

import asyncio
import os
import signal
import socket
import subprocess
from dataclasses import dataclass, field
from typing import Callable

from bringup import logs
from bringup.processes import Children, Process

_FIRST_DELAY = 0.1  # seconds until a process that ended is started again, doubling to the last
_LAST_DELAY = 1.0
_STEADY = 10.0  # a process that ran this many seconds starts over with the first delay
_GRACE = 5.0  # seconds between the request to end and the kill
_POLL = 0.005
_BUS_POLL = 0.05
_PATIENCE = 5.0  # seconds that a start waits for the service it is to follow


@dataclass
class Program:
    """What a service runs. `name` is what it is called by; so is the base name of its program."""

    name: str
    command: list[str]
    address: str | tuple[str, int] | None = None  # accepts connections when ready; a socket path or a TCP port
    bus_names: list[str] = field(default_factory=list)  # owned on the system bus when ready
    fds: list[int] = field(default_factory=list)
    environment: dict[str, str] = field(default_factory=dict)
    folder: str = "/"
    log: str = ""  # base name of its log file, if not its own name
    misses_requests: bool = False  # a request to end can get lost
    after: str | None = None  # the service that each start waits a while for, unless that one is held down


def accepts(address: str | tuple[str, int]) -> bool:
    """Whether a server takes connections at a socket path or a TCP port. A socket file alone says nothing."""
    family = socket.AF_UNIX if isinstance(address, str) else socket.AF_INET
    with socket.socket(family, socket.SOCK_STREAM) as probe:
        probe.settimeout(0.2)
        try:
            probe.connect(address)
        except OSError:
            return False
        return True


class Service:
    """Keeps one program running: started again when it ends by itself, unless it is held down.

    states:  down --release()--> running --ends by itself--> waiting --delay--> running
             any state --hold()--> down
    """

    def __init__(
        self, program: Program, children: Children, log_folder: str, note: Callable[[str], None],
        after: "Service | None" = None,
    ):  # fmt: skip
        """`after` is the service that the program names so."""
        self.program = program
        self.failures = 0  # times it ended by itself
        self.was_ready = False  # since it was first waited for
        self._children, self._log_folder, self._note = children, log_folder, note
        self._after = after
        self._process: Process | None = None
        self._found_ready: Process | None = None
        self._wanted = asyncio.Event()
        self._spawned = asyncio.Event()
        self._task = asyncio.create_task(self._keep())

    @property
    def log(self) -> str:
        return self.program.log or self.program.name

    @property
    def state(self) -> str:
        """For people: "running PID", "waiting" or "down"."""
        if self._process is not None:
            return f"running {self._process.pid}"
        return "waiting" if self._wanted.is_set() else "down"

    def called(self, name: str) -> bool:
        return name in (self.program.name, os.path.basename(self.program.command[0]))

    def ready(self) -> bool:
        """Whether it runs and, if it serves an address, accepts there."""
        return self._process is not None and (self.program.address is None or accepts(self.program.address))

    async def release(self) -> None:
        """Lets it run and waits until it has been started."""
        held = not self._wanted.is_set()
        self._wanted.set()
        await self._spawned.wait()
        if held and self._process is not None:
            self._note(f"{self.program.name} started")

    async def until_ready(self) -> None:
        while self._process is None or self._process is not self._found_ready:
            process = await self._until_accepting()
            for name in self.program.bus_names:
                await self._until_owned(name)
            self._found_ready = process
        self.was_ready = True

    async def _until_accepting(self) -> Process | None:
        while not self.ready():
            await asyncio.sleep(_POLL)
        return self._process

    async def _until_owned(self, name: str) -> None:
        while await self._wait_for_name(name) != 0:
            await asyncio.sleep(_BUS_POLL)

    async def hold(self) -> None:
        """Ends it and holds it down."""
        self._wanted.clear()
        if self._process is not None:
            await self._process.end(_GRACE, self.program.misses_requests)

    async def end(self) -> None:
        """Ends it for good."""
        await self.hold()
        self._task.cancel()

    async def _wait_for_name(self, name: str) -> int:
        """Waits until a name is owned; the status of what waited, which ends with the bus."""
        command = ["/usr/bin/gdbus", "wait", "--system", name]
        waiting = self._children.spawn(
            command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, env={}
        )
        try:
            return await waiting.wait()
        finally:
            await waiting.end(1.0)

    async def _keep(self) -> None:
        delay = _FIRST_DELAY
        while True:
            await self._wanted.wait()
            await self._follow()
            if not self._wanted.is_set():
                continue
            started = asyncio.get_running_loop().time()
            ending = await self._run()
            if not self._wanted.is_set():
                self._note(f"{self.program.name} is down")
                continue
            self.failures += 1
            if asyncio.get_running_loop().time() - started >= _STEADY:
                delay = _FIRST_DELAY
            self._note(f"{self.program.name} {ending}; started again in {delay * 1000:.0f} ms")
            await asyncio.sleep(delay)
            delay = min(2 * delay, _LAST_DELAY)

    async def _follow(self) -> None:
        """Waits for the service that this one is started after. The application asks for the names of the
        video service once and keeps the answer."""
        if self._after is not None and self._after._wanted.is_set():
            try:
                await asyncio.wait_for(self._after.until_ready(), _PATIENCE)
            except asyncio.TimeoutError:
                self._note(f"{self.program.name} is started without {self._after.program.name}")

    async def _run(self) -> str:
        """One life of the process; tells how it ended."""
        failure = None
        try:
            self._process = self._spawn()
        except OSError as error:
            failure = f"could not be started: {error.strerror}"
        self._spawned.set()
        if failure is None:
            status = await self._process.wait()
            self._process.signal_group(signal.SIGKILL)  # a dead master's workers would keep its ports
            self._process = None
        self._spawned.clear()
        return failure or f"ended with status {status}"

    def _spawn(self) -> Process:
        output = logs.open_log(self._log_folder, self.log)
        try:
            return self._children.spawn(
                self.program.command,
                stdin=subprocess.DEVNULL,
                stdout=output,
                stderr=output,
                pass_fds=self.program.fds,
                env=self.program.environment,
                cwd=self.program.folder,
            )
        finally:
            os.close(output)
