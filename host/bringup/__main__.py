"""Entry of both halves: `python3 host/bringup {check,start,enter,service,inside} ...`, called by ./run."""

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
    if mode == "enter":
        from bringup import enter

        return enter.main(arguments)
    from bringup import outer

    return outer.main(arguments, only_check=mode == "check")


try:
    sys.exit(main(sys.argv[1], sys.argv[2:]))
except BringupError as error:
    print(f"tarnwatch: {error}", file=sys.stderr)
    sys.exit(error.status)
