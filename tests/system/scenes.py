"""Scene recordings made for tests."""

import json


def recording(path, seconds, walks, rate=10):
    """Writes a recording of square objects that walk from left to right across the middle.

    `walks` are (id, from, to) in seconds. An object is 800 scene units wide and walks 1,000 a second.
    """

    def walking(id, start, time):
        left = round(-3000 + 1000 * (time - start))
        return _object(id, (left, -400, left + 800, 400), 1000)

    return _write(path, seconds, rate, [(id, start, end, walking) for id, start, end in walks])


def standing(path, seconds, stays, rate=10):
    """Writes a recording of objects that stand still. `stays` are (id, from, to, box): seconds, and left, bottom,
    right and top in scene units."""
    return _write(path, seconds, rate, [(id, start, end, lambda id, _, __, box=box: _object(id, box, 0))
                                        for id, start, end, box in stays])  # fmt: skip


def _write(path, seconds, rate, visits):
    """Visits are (id, from, to, what makes the object of id, from and time)."""
    with open(path, "w", encoding="utf-8") as file:
        for number in range(round(seconds * rate)):
            time = round(number / rate, 6)
            scene = {"time": time, "objects": [make(id, start, time) for id, start, end, make in visits if start <= time < end]}
            ended = [id for id, _, end, _ in visits if end <= time < end + 1 / rate]
            if ended:
                scene["events"] = [{"action": "delete", "ids": ended}]
            file.write(json.dumps(scene) + "\n")
    return path


def _object(id, box, velocity):
    left, bottom, right, top = box
    return {"id": id, "polygon": [[left, bottom], [left, top], [right, top], [right, bottom]],
            "velocity": [velocity, 0], "confidence": 4096}  # fmt: skip


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
