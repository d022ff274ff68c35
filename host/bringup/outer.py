"""The outer half: what needs the machine. State folder and its lock, listening sockets, source files,
the readers of URLs; starts the sandbox and tells its user."""

import asyncio
import errno
import fcntl
import json
import os
import signal
import socket
import stat
import subprocess
import sys
from dataclasses import dataclass

from bringup import enter, logs, parameters, sample_video, sandbox, sources, web
from bringup.errors import BadInput, BringupError
from bringup.options import Options, parse
from bringup.processes import Children, Process
from bringup.readers import Reader

_PR_SET_CHILD_SUBREAPER = 36
_STOPPING = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)


class _EarlyStop:
    """Ends this process on a stop request before there is a device: nothing runs but helpers, which end
    with it. Python drops an exception that a signal handler raises at certain moments (in the end of an
    object, say), so the request is kept as well."""

    asked = False

    @classmethod
    def take(cls, *_) -> None:
        cls.asked = True
        sys.exit(0)

    @classmethod
    def begin(cls) -> None:
        for number in _STOPPING:
            signal.signal(number, cls.take)
        signal.pthread_sigmask(signal.SIG_UNBLOCK, _STOPPING)  # ./run has blocked them


def main(arguments: list[str], only_check: bool) -> int:
    _EarlyStop.begin()
    options = parse(arguments)
    if only_check:
        _check_password(options.password_file)
        return 0
    password = web.read_password(options.password_file) if options.password_file else None
    sandbox.require()
    sources.check_urls(options.sources)
    if not options.sources:
        options.sources.append(sample_video.source())
    plan = _Plan(options, password)
    return asyncio.run(_Outer(options, plan).run())


def _check_password(path: str | None) -> None:
    """Refuses a bad password file. A pipe, such as a shell's <(...), can be read once only, so it is left alone."""
    if path is not None and not (os.path.exists(path) and stat.S_ISFIFO(os.stat(path).st_mode)):
        web.read_password(path)


class _Plan:
    """All that is settled before anything runs: each step refuses by BringupError."""

    def __init__(self, options: Options, password: str | None):
        self.state = os.path.abspath(options.state)
        self.logs = os.path.join(self.state, "log")
        self.lock = _make_state_folder(self.state)
        self.web = _listen(options.listen or "127.0.0.1", options.port)
        self.events = _listen("127.0.0.1", options.mqtt_port)
        self.password = password
        self.files = [None if source.kind == "url" else source.open() for source in options.sources]
        descriptions = sources.describe(options.sources, self.files)
        self.cameras = web.cameras_file(options.sources, descriptions)
        self.sizes = [f"{picture.width}x{picture.height}" for picture in descriptions]
        derived = parameters.derive(options.sources, descriptions, options.transport)
        parameters.update(os.path.join(self.state, "parameters.conf"), derived, options.parameters)
        self.pictures = _make_pictures_folder(options.dump_pictures)
        self.records = _open_records(options.record, [fd for fd in self.files if fd is not None], len(self.files))

    def endpoints(self) -> dict[str, str]:
        """The four addresses that the user is told."""
        host, port = self.web.getsockname()[:2]
        page = f"http://{web.url_host(host)}:{port}/"
        events = "mqtt://127.0.0.1:%d" % self.events.getsockname()[1]
        return {"page": page, "control": page + "control", "events": events, "state": self.state}


def _make_state_folder(state: str) -> int:
    """Makes the folder and takes its lock, which the inner half shares until the device has ended."""
    try:
        for folder in ("localdata", "log", "overlays"):
            os.makedirs(os.path.join(state, folder), exist_ok=True)
        lock = os.open(os.path.join(state, "lock"), os.O_CREAT | os.O_RDWR | os.O_CLOEXEC, 0o600)
    except OSError as error:
        raise BadInput(f"{state}: {error.strerror}") from None
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        raise BringupError(f"{state}: another device runs on this state folder") from None
    try:
        os.unlink(os.path.join(state, "endpoints.json"))
    except FileNotFoundError:
        pass
    return lock


def _make_pictures_folder(path: str | None) -> str | None:
    if path is None:
        return None
    try:
        os.makedirs(path, exist_ok=True)
    except OSError as error:
        raise BadInput(f"{path}: {error.strerror}") from None
    if not os.access(path, os.W_OK | os.X_OK):
        raise BadInput(f"{path}: {os.strerror(errno.EACCES)}")
    return os.path.abspath(path)


def _listen(host: str, port: int) -> socket.socket:
    listener = socket.socket(socket.AF_INET6 if ":" in host else socket.AF_INET, socket.SOCK_STREAM)
    listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    try:
        listener.bind((host, port))
        listener.listen(511)
    except OSError as error:
        raise BringupError(f"{web.url_host(host)}:{port}: {error.strerror}") from None
    return listener


def _open_records(path: str | None, played: list[int], count: int) -> list[tuple[int, str]]:
    """The files to record into with their names: FILE, FILE.2 and so on. The engine empties them."""
    if path is None:
        return []
    names = [path] + [f"{path}.{camera}" for camera in range(2, count + 1)]
    try:
        # A named pipe nobody reads must not hold up the start.
        records = [(os.open(name, os.O_WRONLY | os.O_CREAT | os.O_NONBLOCK | os.O_CLOEXEC, 0o644), name) for name in names]
    except OSError as error:
        raise BadInput(f"{error.filename}: {error.strerror}") from None
    for fd, name in records:
        if any(os.path.sameopenfile(fd, source) for source in played):
            raise BadInput(f"{name}: is a source; it would be lost")
        if not stat.S_ISREG(os.fstat(fd).st_mode):
            raise BadInput(f"{name}: not a regular file")
    return records


@dataclass
class _Ending:
    """How the device ends: the exit status, and a line for the user if it is not as wanted."""

    status: int
    message: str | None = None


class _Outer:
    def __init__(self, options: Options, plan: _Plan):
        self._options, self._plan = options, plan
        self._ending: asyncio.Future[_Ending] | None = None
        self._tasks: list[asyncio.Task] = []

    async def run(self) -> int:
        loop = asyncio.get_running_loop()
        self._ending = loop.create_future()
        for number in _STOPPING:
            loop.add_signal_handler(number, self._end, 0)
        if _EarlyStop.asked:
            return 0
        _adopt_orphans()
        children = Children()
        readers = self._start_readers(children)
        device, channel = self._start_device(children, readers)
        lines, writer = await asyncio.open_connection(sock=channel)
        writer.write(json.dumps(self._message(readers)).encode() + b"\n")
        self._watch(self._follow(lines))
        self._watch(self._until_gone(device))
        ending = await self._ending
        await self._wind_up(writer, readers, children)
        signal.pthread_sigmask(signal.SIG_BLOCK, _STOPPING)  # one more request changes nothing now
        if ending.message:
            print(f"tarnwatch: {ending.message}", file=sys.stderr)
        return ending.status

    def _end(self, status: int, message: str | None = None) -> None:
        """Asks for the end; the first to ask settles how."""
        if not self._ending.done():
            self._ending.set_result(_Ending(status, message))

    def _watch(self, coroutine) -> None:
        task = asyncio.create_task(coroutine)
        task.add_done_callback(self._end_if_failed)
        self._tasks.append(task)

    def _end_if_failed(self, task: asyncio.Task) -> None:
        """A device that cannot be watched any more is ended, not left to itself: the disk is full, say."""
        error = None if task.cancelled() else task.exception()
        if error is not None:
            self._end(1, str(error))

    def _start_readers(self, children: Children) -> dict[int, Reader]:
        """A reader for each URL source, by the source's place in the order."""
        once = self._options.at_end == "--once"
        return {
            number: Reader(source, once, children, self._plan.logs, f"reader-{number + 1}")
            for number, source in enumerate(self._options.sources)
            if source.kind == "url"
        }

    def _source_fds(self, readers: dict[int, Reader]) -> list[int]:
        return [readers[number].reading if fd is None else fd for number, fd in enumerate(self._plan.files)]

    def _message(self, readers: dict[int, Reader]) -> dict:
        """What the inner half is told first; descriptors keep their numbers on the way in."""
        plan, fds = self._plan, self._source_fds(readers)
        engine = sources.engine_arguments(self._options.sources, fds)
        engine += [self._options.at_end] if self._options.at_end else []
        engine += [part for fd, name in plan.records for part in ("--record-fd", str(fd), os.path.basename(name))]
        engine += ["--dump", sandbox.PICTURES] if plan.pictures else []
        outside = [listener.getsockname()[:2] for listener in (plan.web, plan.events)]
        return {
            "engine": engine,
            "cameras": plan.sizes,
            "sources": fds + [fd for fd, _ in plan.records],
            "listening": [plan.web.fileno(), plan.events.fileno()],
            "web": web.listen_files(*outside, plan.password) | {"cameras.json": plan.cameras},
        }

    def _start_device(self, children: Children, readers: dict[int, Reader]) -> tuple[Process, socket.socket]:
        plan = self._plan
        ours, theirs = socket.socketpair()
        command = ["/usr/bin/python3", f"{sandbox.DEVICE}/bringup", "inside", str(theirs.fileno())]
        handed_in = [theirs.fileno(), plan.lock, plan.web.fileno(), plan.events.fileno()]
        handed_in += self._source_fds(readers) + [fd for fd, _ in plan.records]
        output = logs.open_log(plan.logs, "bringup")
        device = children.spawn(
            sandbox.device(plan.state, plan.pictures, command), stdin=subprocess.DEVNULL, stdout=output, stderr=output,
            pass_fds=handed_in,
        )  # fmt: skip
        os.close(output)
        theirs.close()
        for fd, _ in plan.records:
            os.close(fd)
        return device, ours

    async def _follow(self, lines: asyncio.StreamReader) -> None:
        """Takes what the inner half tells."""
        while line := await lines.readline():
            message = json.loads(line)
            if "failed" in message:
                self._end(1, f"{message['failed']} (logs: {self._plan.logs})")
            elif "up" in message:
                self._up()

    async def _until_gone(self, device: Process) -> None:
        await device.wait()
        self._end(1, self._last_words())

    def _last_words(self) -> str:
        return f"the device ended unexpectedly; see {os.path.join(self._plan.logs, 'bringup.log')}"

    def _up(self) -> None:
        endpoints = self._plan.endpoints()
        path = os.path.join(self._plan.state, "endpoints.json")
        with open(path + ".new", "w", encoding="utf-8", errors="surrogateescape") as file:
            json.dump(endpoints, file, indent=2, ensure_ascii=False)
            file.write("\n")
        os.replace(path + ".new", path)
        _print_up(endpoints)
        if self._options.seconds is not None:
            asyncio.get_running_loop().call_later(self._options.seconds, self._end, 0)
        if self._options.then is not None:
            self._watch(self._then(self._options.then))

    async def _then(self, command: list[str]) -> None:
        try:
            self._end(await enter.run(enter.connect(self._plan.state), command))
        except BringupError as error:
            self._end(1, str(error))

    async def _wind_up(self, writer: asyncio.StreamWriter, readers: dict[int, Reader], children: Children) -> None:
        """Lets the inner half stop in order and waits until nothing is left."""
        if writer.can_write_eof():
            writer.write_eof()
        for task in self._tasks:
            task.cancel()
        await asyncio.gather(*self._tasks, return_exceptions=True)
        await asyncio.gather(*(reader.end() for reader in readers.values()))
        await children.none_left()


def _adopt_orphans() -> None:
    """Makes this process inherit the sandbox's first process if bwrap itself is killed, so that it can
    be waited for."""
    import ctypes

    ctypes.CDLL(None, use_errno=True).prctl(_PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)


def _print_up(endpoints: dict[str, str]) -> None:
    lines = ["Tarnwatch is up", *(f"  {name:9}{address}" for name, address in endpoints.items())]
    try:
        print("\n".join(lines), flush=True)
    except OSError:  # nobody reads; the device does not mind
        sys.stdout = open(os.devnull, "w", encoding="utf-8")
