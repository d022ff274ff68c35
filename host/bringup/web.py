"""The parts of the web server's configuration that depend on the command line."""

import base64
import hashlib
import os

from bringup.errors import BadInput

USER = "admin"


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
        files["access.conf"] = "if ($stranger) { return 403; }\n"
    else:
        files["access.conf"] = 'auth_basic "Tarnwatch"; auth_basic_user_file /run/device/nginx/users;\n'
        files["users"] = f"{USER}:{_hashed(password)}\n"
    return files


def _address(address: tuple[str, int]) -> str:
    host, port = address
    return f"[{host}]:{port} ipv6only=off" if ":" in host else f"{host}:{port}"


def url_host(host: str) -> str:
    """A host as it stands in a URL."""
    return f"[{host}]" if ":" in host else host


def _hashed(password: str) -> str:
    """Salted SHA-1 as the web server reads it: one check per request must cost nothing."""
    salt = os.urandom(16)
    return "{SSHA}" + base64.b64encode(hashlib.sha1(password.encode() + salt).digest() + salt).decode()


def read_password(path: str) -> str:
    """The first line of a password file."""
    try:
        with open(path, encoding="utf-8") as file:
            password = file.readline().rstrip("\r\n")
    except (OSError, UnicodeDecodeError) as error:
        raise BadInput(f"{path}: {getattr(error, 'strerror', None) or 'not a text file'}") from None
    if not password:
        raise BadInput(f"{path}: its first line is empty, there is no password")
    return password
