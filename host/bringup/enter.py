"""The caller's side of a command run inside a device.

A sequenced-packet socket in the state folder. The caller's first packet carries its three standard
streams and a file with a JSON object of `argv`, `cwd` and `environment` (a file, because these may be
larger than a packet); later ones are `{"signal": n}`. The device answers `{"status": n}` when the
command has ended. Either side going away ends the other's part.
"""

import asyncio
import json
import os
import signal
import socket

from bringup.errors import BringupError
from bringup.options import parse_enter

SOCKET = "enter.sock"
PACKET = 4096  # bytes, more than any packet has

_FORWARDED = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT)


def main(arguments: list[str]) -> int:
    state, command = parse_enter(arguments)
    return asyncio.run(_forwarding_signals(state, command))


async def _forwarding_signals(state: str, command: list[str]) -> int:
    connection = connect(state)
    for number in _FORWARDED:
        asyncio.get_running_loop().add_signal_handler(number, _send_signal, connection, number)
    return await run(connection, command)


def _send_signal(connection: socket.socket, number: int) -> None:
    try:
        connection.send(json.dumps({"signal": number}).encode())
    except OSError:
        pass


def connect(state: str) -> socket.socket:
    """Connects to the device of a state folder, however long the folder's path is."""
    connection = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
    try:
        folder = os.open(state, os.O_PATH | os.O_DIRECTORY)
        try:
            connection.connect(f"/proc/self/fd/{folder}/{SOCKET}")
        finally:
            os.close(folder)
    except PermissionError as error:
        raise BringupError(f"{state}: {error.strerror}") from None
    except OSError:
        raise BringupError(f"no device is running on {state}") from None
    connection.setblocking(False)
    return connection


async def run(connection: socket.socket, command: list[str]) -> int:
    """Runs a command inside with this process's standard streams; its exit status."""
    request = json.dumps({"argv": command, "cwd": _working_folder(), "environment": dict(os.environ)})
    with open(os.memfd_create("request"), "w+b") as file:
        file.write(request.encode())
        file.flush()
        try:
            socket.send_fds(connection, [b"run"], [0, 1, 2, file.fileno()])
        except OSError as error:
            raise BringupError(f"{command[0]}: {error.strerror}") from None
    try:
        answer = await asyncio.get_running_loop().sock_recv(connection, PACKET)
    except OSError:
        answer = b""
    if not answer:
        raise BringupError(f"the device ended while {command[0]} ran")
    return json.loads(answer)["status"]


def _working_folder() -> str:
    try:
        return os.getcwd()
    except OSError:
        return "/"
