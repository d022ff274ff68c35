"""Scene recordings made for tests."""

import json


def recording(path, seconds, walks, rate=10):
    """Writes a recording of square objects that walk from left to right across the middle.

    `walks` are (id, from, to) in seconds. An object is 800 scene units wide and walks 1,000 a second.
    """
    with open(path, "w", encoding="utf-8") as file:
        for number in range(round(seconds * rate)):
            time = round(number / rate, 6)
            scene = {"time": time, "objects": [_square(id, -3000 + 1000 * (time - start)) for id, start, end in walks
                                               if start <= time < end]}  # fmt: skip
            ended = [id for id, _, end in walks if end <= time < end + 1 / rate]
            if ended:
                scene["events"] = [{"action": "delete", "ids": ended}]
            file.write(json.dumps(scene) + "\n")
    return path


def _square(id, left):
    left = round(left)
    return {"id": id, "polygon": [[left, -400], [left, 400], [left + 800, 400], [left + 800, -400]],
            "velocity": [1000, 0], "confidence": 4096}  # fmt: skip


def configuration(profiles=None, cameras=1):
    """A configuration document of the current version; by default as the application makes it."""
    return {
        "apiVersion": "1.4", "context": "", "method": "setConfiguration",
        "params": {
            "cameras": [{"id": id, "active": True, "rotation": 0} for id in range(1, cameras + 1)],
            "profiles": [profile()] if profiles is None else profiles,
            "configurationStatus": 0,
        },
    }  # fmt: skip


def profile(uid=1, camera=1, name="Profile 1", size=True, lifetime=True, swaying=True):
    """A profile that guards nearly the whole picture, with its filters on or off."""
    return {
        "uid": uid, "camera": camera, "name": name,
        "filters": [
            {"type": "sizePercentage", "data": [5, 5], "active": size},
            {"type": "timeShortLivedLimit", "data": 1, "active": lifetime},
            {"type": "distanceSwayingObject", "data": 5, "active": swaying},
        ],
        "triggers": [{"type": "includeArea", "data": [[-0.97, -0.97], [-0.97, 0.97], [0.97, 0.97], [0.97, -0.97]]}],
    }  # fmt: skip
