"""Entry of both halves: `python3 host/bringup {check,start,enter,service,ptz,inside} ...`, called by ./run."""

import os
import sys

sys.path[0] = os.path.dirname(os.path.dirname(os.path.realpath(__file__)))

from bringup.errors import BringupError  # noqa: E402


def main(mode: str, arguments: list[str]) -> int:
    if mode == "inside":
        from bringup import inner

        return inner.main(int(arguments[0]))
    if mode == "service":
        from bringup import enter

        return enter.main(["--state", "/run/device/state", "--enter", "service", *arguments])
    if mode == "ptz":
        from bringup import ptz

        return ptz.main(arguments)
    if mode == "enter":
        from bringup import enter

        return enter.main(arguments)
    from bringup import outer

    return outer.main(arguments, only_check=mode == "check")


def open_standard_streams() -> None:
    """A stream that the caller has closed is nothing to read or write, never the next file opened here."""
    while (fd := os.open(os.devnull, os.O_RDWR)) <= 2:
        os.set_inheritable(fd, True)
    os.close(fd)
    for name, fd, mode in (("stdin", 0, "r"), ("stdout", 1, "w"), ("stderr", 2, "w")):
        if getattr(sys, name) is None:
            setattr(sys, name, open(fd, mode, encoding="utf-8", closefd=False))
        elif mode == "w":
            getattr(sys, name).reconfigure(errors="backslashreplace")


try:
    open_standard_streams()
    sys.exit(main(sys.argv[1], sys.argv[2:]))
except BringupError as error:
    print(f"tarnwatch: {error}", file=sys.stderr)
    sys.exit(error.status)
except OSError as error:
    place = os.fsdecode(error.filename) + ": " if isinstance(error.filename, (str, bytes)) else ""
    print(f"tarnwatch: {place}{error.strerror or error}", file=sys.stderr)
    sys.exit(1)
