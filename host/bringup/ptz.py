"""A person in the place of the device's PTZ controller: `ptz {goto N | leave | move | stop}`, inside.

Publishes what a controller would: retained events with a time, on the topics that the application
listens to. A journey to a preset is what a camera head goes through: it leaves the preset it stands
at, starts to move, stops, and arrives.
"""

import json
import subprocess
import sys
from datetime import UTC, datetime

from bringup import parameters
from bringup.errors import BadInput, BringupError

PRESETS = "tarnwatch/onvif-ej/PTZController/tnsorva:PTZPresets/&0"
MOVE = "tarnwatch/onvif-ej/PTZController/tnsorva:Move/&0"
USAGE = "usage: ptz {goto N | leave | move | stop}; N is a preset, 0 to 2147483647"

_CURE = "start it with --parameter root.Properties.PTZ.PTZ=yes"
_LAST_PRESET = 2**31 - 1
_NOTHING_THERE = 27  # the status of mosquitto_sub when its time has passed


def main(arguments: list[str]) -> int:
    match arguments:
        case ["goto", number]:
            _go_to(_preset(number))
        case ["leave"]:
            _leave()
        case ["move"]:
            _publish(MOVE, is_moving=True)
        case ["stop"]:
            _publish(MOVE, is_moving=False)
        case _:
            raise BadInput(USAGE)
    if not _moves():
        print(f"tarnwatch: told, but this device is no PTZ camera and does not listen; {_CURE}", file=sys.stderr)
    return 0


def _moves() -> bool:
    """Whether the parameters make the device a PTZ camera."""
    values = parameters.read("/run/device/state/parameters.conf")
    return any(parameters.bare(name) == "Properties.PTZ.PTZ" and value == "yes" for name, value in values.items())


def _preset(text: str) -> int:
    if not text.isascii() or not text.isdigit() or len(text) > 10 or int(text) > _LAST_PRESET:
        raise BadInput(f"{text!r} is no preset; {USAGE}")
    return int(text)


def _go_to(preset: int) -> None:
    if (present := _present_preset()) is not None:
        _publish(PRESETS, on_preset=False, PresetToken=present)
    _publish(MOVE, is_moving=True)
    _publish(MOVE, is_moving=False)
    _publish(PRESETS, on_preset=True, PresetToken=preset)


def _leave() -> None:
    if (present := _present_preset()) is None:
        raise BringupError("the camera stands at no preset")
    _publish(PRESETS, on_preset=False, PresetToken=present)


def _present_preset() -> int | None:
    """The preset that was reached last and not left since; the event bus keeps it."""
    command = ["mosquitto_sub", "-t", PRESETS, "--retained-only", "-C", "1", "-W", "1"]
    done = _run(command, accepted=(0, _NOTHING_THERE))
    try:
        data = json.loads(done)["Data"]
        return data["PresetToken"] if data["on_preset"] else None
    except (ValueError, LookupError, TypeError):
        return None


def _publish(topic: str, **data) -> None:
    now = datetime.now(UTC).strftime("%Y-%m-%dT%H:%M:%S.%fZ")
    event = json.dumps({"UtcTime": now, "Source": {}, "Data": data})
    _run(["mosquitto_pub", "-r", "-q", "1", "-t", topic, "-m", event])


def _run(command: list[str], accepted: tuple[int, ...] = (0,)) -> str:
    done = subprocess.run(command, capture_output=True, text=True, stdin=subprocess.DEVNULL, check=False)
    if done.returncode not in accepted:
        raise BringupError("the event bus does not answer")
    return done.stdout
