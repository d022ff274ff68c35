"""The parts of the web server's configuration that depend on the command line."""

import base64
import hashlib
import json
import os
import stat

from bringup.errors import BadInput
from bringup.sources import Description, Source

USER = "admin"

_SHORTEST, _LONGEST = 8, 128  # characters of a password


def listen_files(web: tuple[str, int], events: tuple[str, int], password: str | None) -> dict[str, str]:
    """Files that conf/nginx.conf includes, by name. `web` and `events` are where the sockets handed in
    from outside listen; inside the device the web port is 8080 on the device's own loopback.

    The two sides must differ as addresses or nginx would take the one for the other, hence the
    wildcard inside beside an address outside, and the reverse.
    """
    inside = "127.0.0.1:8080 bind" if web[0] in ("0.0.0.0", "::") else "8080"
    files = {
        "listen-outside.conf": f"listen {_address(web)} bind;\n",
        "listen-inside.conf": f"listen {inside};\n",
        "listen-events.conf": f"listen {_address(events)} so_keepalive=on;\n",
    }
    if password is None:
        files["access.conf"] = """if ($stranger) { return 403 '{"error":"refused: this host name is not the device"}\\n'; }\n"""
    else:
        # A wrong password costs a second, so that guessing is slow while a right one costs nothing.
        files["access.conf"] = 'auth_basic "Tarnwatch"; auth_basic_user_file /run/device/nginx/users; auth_delay 1s;\n'
        files["users"] = f"{USER}:{_hashed(password)}\n"
    return files


def _address(address: tuple[str, int]) -> str:
    host, port = address
    return f"[{host}]:{port} ipv6only=off" if ":" in host else f"{host}:{port}"


def url_host(host: str) -> str:
    """A host as it stands in a URL."""
    return f"[{host}]" if ":" in host else host


def _hashed(password: str) -> str:
    """Salted SHA-1 as the web server reads it. The check is made for each request, in the one worker
    that serves all: a slow hash would cost every request its time and any client could stop the
    server with wrong passwords. What is hashed lies in the device's memory, mode 0600, and guessing
    over the network is slowed down instead."""
    salt = os.urandom(16)
    return "{SSHA}" + base64.b64encode(hashlib.sha1(password.encode() + salt).digest() + salt).decode()


def cameras_file(sources: list[Source], descriptions: list[Description]) -> str:
    """What a page is told of the cameras, by their numbers: names, picture sizes and shapes."""
    described = [
        {"id": number, "name": source.name, "width": picture.width, "height": picture.height,
         "aspectRatio": picture.aspect_ratio}
        for number, (source, picture) in enumerate(zip(sources, descriptions), start=1)
    ]  # fmt: skip
    return json.dumps(described, indent=2) + "\n"


def read_password(path: str) -> str:
    """The password in a file: its first line. Refuses by BadInput a file that others than its owner
    may read or write, and a password that is easily guessed or cannot be typed."""
    try:
        with open(path, encoding="utf-8") as file:
            _refuse_shared(path, os.fstat(file.fileno()))
            password = file.readline().rstrip("\r\n")
    except (OSError, UnicodeDecodeError) as error:
        raise BadInput(f"{path}: {getattr(error, 'strerror', None) or 'not a text file'}") from None
    if not password:
        raise BadInput(f"{path}: its first line is empty, there is no password")
    if not _SHORTEST <= len(password) <= _LONGEST:
        raise BadInput(f"{path}: the password has {len(password)} characters; {_SHORTEST} to {_LONGEST} are wanted")
    if not password.isprintable() or password.isspace():
        raise BadInput(f"{path}: the password has characters that cannot be typed, or nothing but blanks")
    return password


def _refuse_shared(path: str, status: os.stat_result) -> None:
    """A file, that is: a pipe such as a shell's <(...) belongs to the two processes at its ends."""
    mode = stat.S_IMODE(status.st_mode)
    if stat.S_ISREG(status.st_mode) and mode & 0o077:
        raise BadInput(f"{path}: its mode is {mode:04o}, others may read or write it; chmod 600 makes it yours alone")
