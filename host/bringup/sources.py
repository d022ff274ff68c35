"""Sources of pictures and scenes: what the user named, opened and described."""

import argparse
import json
import os
import re
import stat
import subprocess
from dataclasses import dataclass
from urllib.parse import urlsplit

from bringup import sandbox
from bringup.errors import BadInput, BringupError


@dataclass
class Source:
    """One source in the order given; `kind` is "video" or "scenes" for files and "url"."""

    kind: str
    place: str

    @classmethod
    def video(cls, place: str) -> "Source":
        """A picture source from the command line, a file or a URL."""
        if re.match(r"[A-Za-z][A-Za-z0-9+.-]*:/", place):
            _refuse_malformed_url(place)
            return cls("url", place)
        return cls("video", _existing(place))

    @classmethod
    def scenes(cls, place: str) -> "Source":
        """A scene recording from the command line."""
        return cls("scenes", _existing(place))

    @property
    def name(self) -> str:
        """What messages and parameters call it, one line; never the credentials of a URL."""
        if self.kind == "url":
            url = urlsplit(self.place)
            return (url.hostname or "") + url.path
        return re.sub(r"[\x00-\x1f\x7f]", "?", os.path.basename(self.place))

    def open(self) -> int:
        """A file's descriptor, open for reading."""
        try:
            fd = os.open(self.place, os.O_RDONLY | os.O_NONBLOCK)
        except OSError as error:
            raise BadInput(f"{self.place}: {error.strerror}") from None
        if not stat.S_ISREG(os.fstat(fd).st_mode):
            os.close(fd)
            raise BadInput(f"{self.place}: not a regular file")
        return fd


def _existing(place: str) -> str:
    try:
        os.close(Source("", place).open())
    except BadInput as error:
        raise argparse.ArgumentTypeError(str(error)) from None
    return place


def _refuse_malformed_url(place: str) -> None:
    try:
        url = urlsplit(place)
        good = bool(url.hostname) and url.port != 0 and not re.search(r"[\s\x00-\x1f]", place)
    except ValueError:
        good = False
    if not good or "://" not in place:
        raise argparse.ArgumentTypeError(f"{place!r} is not a URL")


@dataclass
class Description:
    """What the scene engine says of a source: picture size in pixels and ratio as "W:H"."""

    width: int
    height: int
    aspect_ratio: str


def check_urls(sources: list[Source]) -> None:
    """Refuses a URL of a kind that cannot be read; connects to nothing."""
    for source in sources:
        if source.kind == "url":
            command = sandbox.confined(["plinth-reader", "--check", source.place])
            _run_checked(source, subprocess.Popen(command, **_QUIET))


def describe(sources: list[Source], fds: list[int | None]) -> list[Description]:
    """Has the engine look at every source, all at once. A URL that brings nothing yet gets a default."""
    looking = [_start_describing(source, fd) for source, fd in zip(sources, fds)]
    try:
        return [_description(source, process) for source, (process, _) in zip(sources, looking)]
    finally:
        for process, reader in looking:
            for child in (process, reader):
                if child is not None:
                    child.kill()
                    child.wait()


_QUIET = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE, "text": True}


def _start_describing(source: Source, fd: int | None):
    reader = None
    if source.kind == "url":
        fd, writing = os.pipe()
        command = sandbox.confined(["plinth-reader", source.place], network=True)
        reader = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=writing, stderr=subprocess.DEVNULL)
        os.close(writing)
    command = sandbox.confined(["plinth", "--describe", *engine_arguments([source], [fd])])
    process = subprocess.Popen(command, pass_fds=[fd], **_QUIET)
    if reader is not None:
        os.close(fd)
    return process, reader


def _description(source: Source, process: subprocess.Popen) -> Description:
    answer = json.loads(_run_checked(source, process))
    return Description(answer["width"], answer["height"], answer["aspectRatio"])


def _run_checked(source: Source, process: subprocess.Popen) -> str:
    out, err = process.communicate()
    if process.returncode == 0:
        return out
    reason = err.strip().splitlines()[-1:] or [f"{source.name}: status {process.returncode}"]
    text = re.sub(r"^plinth(-reader)?: ", "", reason[0])
    raise (BadInput if process.returncode == 2 else BringupError)(text)


def engine_arguments(sources: list[Source], fds: list[int]) -> list[str]:
    """The engine's command line for these sources, handed in as these descriptors."""
    option = {"video": "--video-fd", "scenes": "--scenes-fd", "url": "--pipe-fd"}
    return [part for source, fd in zip(sources, fds) for part in (option[source.kind], str(fd), source.name)]
