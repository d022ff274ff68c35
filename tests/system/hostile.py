"""Requests that no client would make: a generator of them, the same for the same seed."""

import copy
import json
import random

from control import LIMIT, request

_AREA = [[-0.97, -0.97], [-0.97, 0.97], [0.97, 0.97], [0.97, -0.97]]
_WORDS = ["", " ", "x", "1.4", "1.0", "1.9", "includeArea", "excludeArea", "fence", "sizePerspective", "640x480", "0x0", "9" * 40,
          "\u00e5\u20ac\U0001f600", "\x01\x1f\x7f", "<b>", "a" * 64, "\u20ac" * 64, "a" * 65, "%s%n%d", "../../etc/passwd", "-1", "1e9"]  # fmt: skip
_NUMBERS = [0, 1, -1, 2, 3, 5, 20, 21, 90, 100, 101, 4096, 2**31 - 1, 2**31, -(2**31), -(2**31) - 1, 2**63 - 1, -(2**63), 2**63, 10**30,
            0.0, -0.0, 0.5, -1.0, 1.0, 1.0000001, -1.5, 1e-320, 5e-324, 1e308, 1.7976931348623157e308, -1.79769e308, 1e-5]  # fmt: skip
_METHODS = ["setConfiguration", "getConfiguration", "getSupportedVersions", "getConfigurationCapabilities", "startVisualConfirmation",
            "stopVisualConfirmation", "startMotionLevel", "stopMotionLevel", "sendAlarmEvent", "missingMethod", "unknown"]  # fmt: skip


def requests(seed, count):
    """Yields `count` request bodies, bytes."""
    chance = random.Random(seed)
    for _ in range(count):
        yield _body(chance)


def _body(chance):
    kind = chance.random()
    if kind < 0.03:
        return _large(chance)
    if kind < 0.06:
        return chance.randbytes(chance.randrange(0, 400))
    if kind < 0.09:
        return _deep(chance)
    tree = _seed(chance)
    if kind > 0.2:
        for _ in range(chance.choice([1, 1, 1, 2, 3])):
            tree = _changed(chance, tree)
    text = json.dumps(tree, ensure_ascii=chance.random() < 0.5, indent=chance.choice([None, None, 1]))
    body = text.encode("utf-8", "surrogatepass")
    if kind > 0.7:
        for _ in range(chance.choice([1, 1, 2, 4])):
            body = _damaged(chance, body)
    return body


def _seed(chance):
    """A request that is good, or nearly so."""
    method = chance.choice(_METHODS + ["setConfiguration"] * 8)
    params = None
    if method == "setConfiguration":
        params = _document(chance)
    elif method == "startVisualConfirmation":
        params = {"profile": chance.choice([1, 1, 2, 99]), "transform": [round(chance.uniform(-2, 2), 3) for _ in range(9)]}
    elif method == "sendAlarmEvent":
        params = {"profile": chance.choice([1, 1, 2, 99])}
    elif chance.random() < 0.2:
        params = {}
    context = chance.choice([None, "", "c", chance.choice(_WORDS)])
    return request(method, params, chance.choice(["1.4"] * 6 + ["1.0", "1.1", "1.2", "1.3"]), context)


def _document(chance):
    profiles = []
    for uid in range(1, chance.choice([1, 2, 2, 3, 4])):
        area = [[round(chance.uniform(-1, 1), chance.randrange(1, 8)) for _ in "xy"] for _ in range(chance.randrange(3, 21))]
        filters = [
            {"type": "sizePercentage", "data": [chance.randrange(3, 101), chance.randrange(3, 101)], "active": chance.random() < 0.5},
            {"type": "timeShortLivedLimit", "data": chance.randrange(1, 6), "active": True},
            {"type": "distanceSwayingObject", "data": chance.randrange(3, 21), "active": True},
            {"type": "excludeArea", "data": copy.deepcopy(_AREA)},
        ]
        profile = {"uid": uid, "camera": 1, "name": chance.choice(["Door", "Gate \u20ac", " Lawn "]),
                   "filters": chance.sample(filters, chance.randrange(5)),
                   "triggers": [{"type": "includeArea", "data": area}]}  # fmt: skip
        if chance.random() < 0.2:
            profile["xinternalEventDuration"] = chance.choice([0, 1000000, 10**7])
        profiles.append(profile)
    params = {"cameras": [{"id": 1, "active": chance.random() < 0.8, "rotation": chance.choice([0, 90, 180, 270])}], "profiles": profiles}
    if chance.random() < 0.3:
        params["configurationStatus"] = chance.choice(_NUMBERS[:15])
    return params


def _value(chance, depth=0):
    """Anything that JSON can say."""
    kind = chance.randrange(8 if depth < 3 else 5)
    if kind == 0:
        return None
    if kind == 1:
        return chance.random() < 0.5
    if kind in (2, 3):
        return chance.choice(_NUMBERS)
    if kind == 4:
        return chance.choice(_WORDS)
    if kind == 5:
        return {chance.choice(_WORDS + ["data", "type", "id", "uid"]): _value(chance, depth + 1) for _ in range(chance.randrange(4))}
    if kind == 6:
        return [_value(chance, depth + 1) for _ in range(chance.randrange(5))]
    return copy.deepcopy(_AREA)


def _places(value, path=()):
    yield path
    members = value.items() if isinstance(value, dict) else enumerate(value) if isinstance(value, list) else ()
    for name, member in members:
        yield from _places(member, (*path, name))


def _changed(chance, tree):
    """The tree with one place changed: another type, another number, one member more or less, a name."""
    tree = copy.deepcopy(tree)
    path = chance.choice(list(_places(tree)))
    if not path:
        return _value(chance) if chance.random() < 0.1 else tree
    owner = tree
    for name in path[:-1]:
        owner = owner[name]
    here, change = owner[path[-1]], chance.randrange(7)
    if change == 0:
        del owner[path[-1]]
    elif change == 1 and isinstance(owner, dict):
        owner[chance.choice(_WORDS + ["data", "uid", "presets", "perspective", "alarmOverlayEnabled", "overlayResolution"])] = _value(chance)
    elif change == 1:
        owner.insert(path[-1], copy.deepcopy(chance.choice(owner)))
    elif change == 2 and isinstance(here, list):
        here.extend(copy.deepcopy(here) * chance.choice([1, 2, 6]))
    elif change == 3 and isinstance(here, (int, float)) and not isinstance(here, bool):
        owner[path[-1]] = here + chance.choice([1, -1, 0.5, 1e-9, 2**31, -(2**32)])
    elif change == 4 and isinstance(owner, dict):
        owner[path[-1] + chance.choice(["", "x", "\0", "\ud800"])] = owner.pop(path[-1])
    elif change == 5:
        for _ in range(chance.choice([1, 50, 1000, 3000])):
            here = [here]
        owner[path[-1]] = here if len(path) < 5 else _value(chance)
    else:
        owner[path[-1]] = _value(chance)
    return tree


def _damaged(chance, body):
    """The bytes with one place damaged."""
    at, kind = chance.randrange(len(body) + 1), chance.randrange(8)
    piece = body[at : at + chance.randrange(1, 40)]
    if kind == 0:
        return body[:at]
    if kind == 1:
        return body[:at] + chance.randbytes(chance.randrange(1, 8)) + body[at:]
    if kind == 2:
        return body[:at] + body[at + len(piece) :]
    if kind == 3:
        return body[:at] + piece + body[at:]
    if kind == 4:
        return body[:at] + chance.choice([b"\0", b"\xff", b"\xc0\xaf", b"\xed\xa0\x80", b"\xf4\x90\x80\x80", b"\\u0000", b"\\ud800"]) + body[at:]
    if kind == 5:
        return body + chance.choice([b"}", b"}}}", b"\0", b" \n", b"garbage", b"} garbage", b"{", b'{"a":1}'])
    if kind == 6:
        return body[:at] + chance.choice([b"{", b"}", b"[", b"]", b'"', b",", b":", b"NaN", b"-Infinity", b"1e999", b"0x1F"]) + body[at:]
    return bytes(b ^ 1 << chance.randrange(8) if chance.random() < 0.01 else b for b in body)


def _deep(chance):
    depth = chance.choice([10, 2040, 2048, 2049, 5000, 60000])
    opened, closed = chance.choice([(b"[", b"]"), (b'{"a":', b"}"), (b"{", b""), (b"}", b""), (b"{}", b"")])
    body = opened * depth + (b"1" if closed else b"") + closed * depth
    return body[:LIMIT]


def _large(chance):
    """Sizes round the limit, with good and bad content."""
    size = LIMIT + chance.choice([-1, 0, 0, 1, 1, 5000])
    if chance.random() < 0.5:
        body = json.dumps(_seed(chance)).encode()
        return body.ljust(size, chance.choice([b" ", b"\n", b"x", b"}", b"\0"]))
    tree = _seed(chance)
    tree["padding"] = ""
    room = size - len(json.dumps(tree))
    tree["padding"] = "p" * room
    return json.dumps(tree).encode()
