"""The log files of a state folder and the form of a log line."""

import os
from datetime import datetime, timezone

LEVELS = ("emerg", "alert", "crit", "err", "warning", "notice", "info", "debug")

_LARGE = 16 * 1024 * 1024  # bytes; a larger file is put aside when it is next opened


def line(level: int, text: str) -> bytes:
    """`2026-01-01T00:00:00.000000Z warning text`, with line ends inside the text written as \\n."""
    now = datetime.now(timezone.utc).strftime("%Y-%m-%dT%H:%M:%S.%fZ")
    text = text.rstrip("\n\0").replace("\r", "\\r").replace("\n", "\\n")
    return f"{now} {LEVELS[level]} {text}\n".encode("utf-8", "backslashreplace")


def open_log(folder: str, name: str) -> int:
    """A descriptor that appends to NAME.log of a log folder; a large file becomes NAME.log.1 first."""
    path = os.path.join(folder, name + ".log")
    try:
        if os.path.getsize(path) > _LARGE:
            os.replace(path, path + ".1")
    except FileNotFoundError:
        pass
    return os.open(path, os.O_WRONLY | os.O_CREAT | os.O_APPEND | os.O_CLOEXEC, 0o644)


def last_line(folder: str, name: str) -> str:
    """The last line of NAME.log, empty if there is none."""
    try:
        with open(os.path.join(folder, name + ".log"), "rb") as file:
            file.seek(max(0, os.fstat(file.fileno()).st_size - 4096))
            lines = file.read().decode(errors="backslashreplace").strip().splitlines()
    except OSError:
        return ""
    return lines[-1] if lines else ""


class Log:
    """Appends lines to one file. A line that cannot be written (full disk) is dropped: logging
    holds up nobody."""

    def __init__(self, folder: str, name: str):
        self._folder, self._name = folder, name
        self._fd = open_log(folder, name)

    def write(self, lines: bytes) -> None:
        try:
            os.write(self._fd, lines)
            if os.fstat(self._fd).st_size > _LARGE:
                fd = open_log(self._folder, self._name)
                os.close(self._fd)
                self._fd = fd
        except OSError:
            pass
