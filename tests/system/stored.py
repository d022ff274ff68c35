"""What the application writes to config.json, worked out here from a request's bytes alone.

Nothing of the application takes part: this is the second opinion that the tests hold its file against.
"""

import json
import math
import re
import sys

_DEPTH = 2048  # levels of nesting that the application's JSON reader takes
_PLAIN = re.compile(r'[^\x00-\x1f"\\]*')
_NAMED = {'"': '\\"', "\\": "\\\\", "\b": "\\b", "\f": "\\f", "\n": "\\n", "\r": "\\r", "\t": "\\t"}


class Unreadable(Exception):
    """A text that the application does not take for JSON."""


def written(value):
    """A document's text in the file: four significant digits, blanks after colons and commas."""
    if isinstance(value, dict):
        return "{" + ", ".join(f"{_string(name)}: {written(member)}" for name, member in value.items()) + "}"
    if isinstance(value, list):
        return "[" + ", ".join(map(written, value)) + "]"
    if isinstance(value, str):
        return _string(value)
    if isinstance(value, bool) or value is None:
        return {True: "true", False: "false", None: "null"}[value]
    return str(value) if isinstance(value, int) else _real(value)


def _string(text):
    return '"' + "".join(c if _PLAIN.fullmatch(c) else _NAMED.get(c) or f"\\u{ord(c):04X}" for c in text) + '"'


def _real(value):
    text = f"{value:.4g}"
    if "e" not in text:
        return text if "." in text else text + ".0"
    digits, exponent = text.split("e")
    return f"{digits}e{int(exponent)}"


def read(text):
    """A text as the application reads it: strict JSON, an object or an array, 64-bit integers."""
    sys.setrecursionlimit(20000)
    try:
        value = json.loads(text, parse_int=_int, parse_float=_float, parse_constant=_refuse)
    except (ValueError, RecursionError) as error:
        raise Unreadable(str(error)) from None
    if not isinstance(value, (dict, list)):
        raise Unreadable("neither an object nor an array")
    _check(value, 1)
    return value


def _int(text):
    value = int(text) if len(text) < 30 else 1 << 64
    return value if -(1 << 63) <= value < 1 << 63 else _refuse(text)


def _float(text):
    return float(text) if math.isfinite(float(text)) else _refuse(text)


def _refuse(text):
    raise Unreadable(text)


def _check(value, depth):
    if depth > _DEPTH:
        raise Unreadable("too deep")
    if isinstance(value, str):
        if "\0" in value or any("\ud800" <= c <= "\udfff" for c in value):
            raise Unreadable("a character that no text has")
    elif isinstance(value, dict):
        for name, member in value.items():
            _check(name, depth)
            _check(member, depth + 1)
    elif isinstance(value, list):
        for member in value:
            _check(member, depth + 1)


def repaired(body):
    """The document that the application finds in a request's bytes. Trailing bytes are cut off, a closing
    brace at a time, beginning before the last character."""
    text = body.split(b"\0")[0]
    while True:
        try:
            return read(text.decode())
        except (Unreadable, UnicodeDecodeError) as error:
            brace = text.rfind(b"}", 0, max(len(text) - 1, 1))
            if len(text) < 2 or brace < 0:
                raise Unreadable(str(error)) from None
            text = text[: brace + 1]


def stored(request, before, ptz=False):
    """The bytes of the file after an accepted setConfiguration: `request` and what the file held `before`,
    both as read documents."""
    document = json.loads(json.dumps(request))
    version = tuple(int(part) for part in re.findall(r"\d+", document["apiVersion"]))
    if version < (1, 3):
        _take(document, before, "cameras", "id", "overlayResolution")
        _take(document, before, "profiles", "uid", "alarmOverlayEnabled")
    document["apiVersion"] = "1.4"
    if version < (1, 1):
        _take(document, before, "profiles", "uid", "presets")
    counter = before["params"].get("configurationStatus", 0)
    document["params"]["configurationStatus"] = 1 if counter == (1 << 31) - 1 else counter + 1
    for profile in document["params"]["profiles"] if ptz else []:
        profile.setdefault("presets", [])
    return written(document).encode()


def _take(document, before, array, identity, key):
    """An older version does not know the key: what the file has counts, not what the request says."""
    for element in document["params"][array]:
        element.pop(key, None)
        same = [other for other in before["params"][array] if other[identity] == element[identity]]
        if same and key in same[0]:
            element[key] = same[0][key]
