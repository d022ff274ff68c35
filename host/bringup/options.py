"""The command line of ./run. A mistake raises BadInput."""

import argparse
import ipaddress
import math
import os
from dataclasses import dataclass, field

from bringup.errors import BadInput
from bringup.sources import Source


@dataclass
class Options:
    sources: list[Source] = field(default_factory=list)
    at_end: str | None = None
    transport: str = "module"
    parameters: list[tuple[str, str]] = field(default_factory=list)
    state: str = "state"
    port: int = 8080
    mqtt_port: int = 1883
    listen: str | None = None
    password_file: str | None = None
    seconds: float | None = None
    record: str | None = None
    then: list[str] | None = None
    dump_pictures: str | None = None


class _Parser(argparse.ArgumentParser):
    def error(self, message: str):
        raise BadInput(f"{message} (./run --help tells the options)")


def _parser() -> _Parser:
    parser = _Parser(prog="run", add_help=False, allow_abbrev=False)
    parser.add_argument("--video", dest="sources", action="append", default=[], type=Source.video)
    parser.add_argument("--scenes", dest="sources", action="append", type=Source.scenes)
    at_end = parser.add_mutually_exclusive_group()
    at_end.add_argument("--loop", dest="at_end", action="store_const", const="--loop")
    at_end.add_argument("--once", dest="at_end", action="store_const", const="--once")
    parser.add_argument("--transport", choices=["socket", "module"], default="module")
    parser.add_argument("--parameter", dest="parameters", action="append", default=[], type=_parameter)
    parser.add_argument("--state", default="state", type=_text)
    parser.add_argument("--port", default=8080, type=_port)
    parser.add_argument("--mqtt-port", default=1883, type=_port)
    parser.add_argument("--listen", type=_address)
    parser.add_argument("--password-file", type=_text)
    parser.add_argument("--for", dest="seconds", type=_seconds)
    parser.add_argument("--record", type=_text)
    parser.add_argument("--dump-pictures", type=_text)
    parser.add_argument("--no-install", action="store_true")
    parser.add_argument("--no-build", action="store_true")
    return parser


def _text(value: str) -> str:
    if not value:
        raise argparse.ArgumentTypeError("is empty")
    return value


def _port(value: str) -> int:
    if not value.isascii() or not value.isdigit() or int(value) > 65535:
        raise argparse.ArgumentTypeError(f"{value!r} is not a port (0 to 65535)")
    return int(value)


def _address(value: str) -> str:
    try:
        return str(ipaddress.ip_address(value))
    except ValueError:
        raise argparse.ArgumentTypeError(f"{value!r} is not an address in digits") from None


def _seconds(value: str) -> float:
    try:
        seconds = float(value)
    except ValueError:
        seconds = math.nan
    if not 0 < seconds < math.inf:
        raise argparse.ArgumentTypeError(f"{value!r} is not a number of seconds above 0")
    return seconds


def _parameter(value: str) -> tuple[str, str]:
    name, separator, content = value.partition("=")
    if not separator or not name or any(c.isspace() for c in name) or "\n" in content or "#" in name[:1]:
        raise argparse.ArgumentTypeError(f"{value!r} is not NAME=VALUE")
    return name, content


def parse(arguments: list[str]) -> Options:
    """Reads the command line of a start; everything behind --then is the command."""
    then = None
    if "--then" in arguments:
        at = arguments.index("--then")
        arguments, then = arguments[:at], arguments[at + 1 :]
        if not then:
            raise BadInput("argument --then: expected a command (./run --help tells the options)")
    read = vars(_parser().parse_args(arguments))
    del read["no_install"], read["no_build"]
    options = Options(then=then, **read)
    if (options.listen is None) != (options.password_file is None):
        raise BadInput("--listen and --password-file go together: other machines are never served without a password")
    return options


def parse_enter(arguments: list[str]) -> tuple[str, list[str]]:
    """Reads `[--state DIR] --enter [--state DIR] COMMAND [ARG]...`: the state folder and the command."""
    state, rest = "state", list(arguments)
    while rest and rest[0] in ("--state", "--enter"):
        if rest.pop(0) == "--state":
            if not rest or not rest[0]:
                raise BadInput("argument --state: expected one argument")
            state = rest.pop(0)
    if not rest:
        raise BadInput("argument --enter: expected a command (./run --help tells the options)")
    if rest[0].startswith("-"):
        raise BadInput(f"--enter takes no option {rest[0]} (only --state DIR, before the command)")
    return os.path.abspath(state), rest
