"""The device's side of commands run inside it; see enter.py for the packets."""

import asyncio
import json
import os
import signal
import socket

from bringup import enter
from bringup.processes import Children, Process
from bringup.sandbox import DEVICE, PROGRAMS
from bringup.services import Service

_GRACE = 2.0  # seconds from the request to end to the kill, when a caller or the device goes away
_USAGE = "usage: service [status | stop NAME | start NAME]"


class CommandServer:
    """Runs the commands of all callers, each in a session of its own with its caller's streams."""

    def __init__(self, path: str, children: Children, services: list[Service]):
        self._children, self._services = children, services
        self._tasks: set[asyncio.Task] = set()
        self._listener = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        self._listener.setblocking(False)
        try:
            os.unlink(path)
        except FileNotFoundError:
            pass
        self._listener.bind(path)
        os.chmod(path, 0o600)
        self._listener.listen(64)
        asyncio.get_running_loop().add_reader(self._listener, self._accept)

    async def close(self) -> None:
        """Takes no more commands and ends those that run."""
        asyncio.get_running_loop().remove_reader(self._listener)
        self._listener.close()
        for task in self._tasks:
            task.cancel()
        await asyncio.gather(*self._tasks, return_exceptions=True)

    def _accept(self) -> None:
        try:
            connection, _ = self._listener.accept()
        except OSError:
            return
        connection.setblocking(False)
        task = asyncio.create_task(self._serve(connection))
        self._tasks.add(task)
        task.add_done_callback(self._tasks.discard)

    async def _serve(self, connection: socket.socket) -> None:
        streams: list[int] = []
        try:
            await _readable(connection)
            _, streams, _, _ = socket.recv_fds(connection, enter.PACKET, 4)
            if len(streams) == 4:
                request = _read_request(streams.pop())
                status = await self._answer(connection, request, streams)
                connection.send(json.dumps({"status": status}).encode())
        except (OSError, ValueError, LookupError):
            pass  # the caller has gone, or was none of ours
        finally:
            for fd in streams:
                os.close(fd)
            connection.close()

    async def _answer(self, connection: socket.socket, request: dict, streams: list[int]) -> int:
        argv = request["argv"]
        if argv[0] == "service":
            text, status = await self._service(argv[1:])
            await asyncio.to_thread(os.write, streams[2 if status else 1], text.encode())
            return status
        try:
            process = self._spawn(request, streams)
        except OSError as error:
            os.write(streams[2], f"tarnwatch: {argv[0]}: {error.strerror}\n".encode())
            return 127 if isinstance(error, FileNotFoundError) else 126
        while streams:
            os.close(streams.pop())  # so that a reader of the command's output sees its end
        return await _attend(connection, process)

    def _spawn(self, request: dict, streams: list[int]) -> Process:
        environment = {name: value for name, value in request["environment"].items() if name != "TMPDIR"}
        environment["PATH"] = f"{PROGRAMS}:{DEVICE}/bringup/bin:" + environment.get("PATH", "/usr/bin:/bin")
        folder = request["cwd"] if os.path.isdir(request["cwd"]) else "/"
        stdin, stdout, stderr = streams
        return self._children.spawn(
            request["argv"], stdin=stdin, stdout=stdout, stderr=stderr, env=environment, cwd=folder
        )

    async def _service(self, arguments: list[str]) -> tuple[str, int]:
        """Answers `service ...`: what to print, and the status."""
        if arguments in ([], ["status"]):
            return "".join(f"{service.program.name:12}{service.state}\n" for service in self._services), 0
        if len(arguments) != 2 or arguments[0] not in ("stop", "start"):
            return _USAGE + "\n", 2
        for service in self._services:
            if service.called(arguments[1]):
                await (service.hold() if arguments[0] == "stop" else service.release())
                return "", 0
        names = ", ".join(service.program.name for service in self._services)
        return f"service: no {arguments[1]} here; there are {names}\n", 2


def _read_request(descriptor: int) -> dict:
    with open(descriptor, "rb") as file:
        file.seek(0)
        return json.load(file)


async def _attend(connection: socket.socket, process: Process) -> int:
    """Passes the caller's signals on until the command ends; ends it when the caller goes away."""
    try:
        while not process.ended.done():
            packet = asyncio.create_task(asyncio.get_running_loop().sock_recv(connection, enter.PACKET))
            await asyncio.wait([process.ended, packet], return_when=asyncio.FIRST_COMPLETED)
            if not packet.done():
                packet.cancel()
            elif not (data := packet.result()):
                raise ConnectionResetError
            else:
                process.signal_group(json.loads(data)["signal"])
        return process.ended.result()
    finally:
        if not process.ended.done():
            process.signal_group(signal.SIGHUP)
            await process.end(_GRACE)


async def _readable(connection: socket.socket) -> None:
    loop = asyncio.get_running_loop()
    ready = loop.create_future()
    loop.add_reader(connection, ready.set_result, None)
    try:
        await ready
    finally:
        loop.remove_reader(connection)
