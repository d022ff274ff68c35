"""The device parameters: STATE/parameters.conf, a NAME=value a line."""

import os
import re

from bringup.sources import Description, Source

_VERSIONS = {"socket": "2.14", "module": "2.16"}

# Names that bring-up writes, and takes away when they no longer follow from the sources.
_DERIVED = re.compile(
    r"Brand\.ProdNbr|Brand\.ProdType"
    r"|ImageSource\.NbrOfSources|ImageSource\.I\d+\.(Name|Type|Sensor\.AspectRatio)"
    r"|Image\.I\d+\.Appearance\.Resolution"
    r"|Properties\.Image\.Resolution"
    r"|Properties\.EmbeddedDevelopment\.(Version|RuleEngine\.MultiConfiguration)"
)

# Of the video service's streams beside those in a picture's own size; host/video/stream_table.h.
_STREAM_WIDTHS = (1280, 640, 320)
_STREAM_STEP = 16  # pixels; their sides are multiples


def bare(name: str) -> str:
    """A parameter's name without the optional leading "root."."""
    return name.removeprefix("root.")


def derive(sources: list[Source], descriptions: list[Description], transport: str) -> dict[str, str]:
    """The parameters that follow from the sources, by their full names."""
    values = {
        "Brand.ProdNbr": "Tarnwatch-Host",
        "Brand.ProdType": "Network Camera",
        "Properties.EmbeddedDevelopment.Version": _VERSIONS[transport],
        "Properties.Image.Resolution": ",".join(_resolutions(descriptions[0])),
    }
    if len(sources) > 1:
        values["Properties.EmbeddedDevelopment.RuleEngine.MultiConfiguration"] = "yes"
        values["ImageSource.NbrOfSources"] = str(len(sources))
    for number, (source, description) in enumerate(zip(sources, descriptions)):
        values[f"ImageSource.I{number}.Name"] = source.name
        values[f"ImageSource.I{number}.Type"] = "Camera"
        values[f"ImageSource.I{number}.Sensor.AspectRatio"] = description.aspect_ratio
        values[f"Image.I{number}.Appearance.Resolution"] = f"{description.width}x{description.height}"
    return {"root." + name: value for name, value in values.items()}


def _resolutions(picture: Description) -> list[str]:
    """The sizes of the streams: the picture's own, then those of other widths of exactly its shape."""
    sizes = [(picture.width, picture.height)]
    for width in _STREAM_WIDTHS:
        height, rest = divmod(width * picture.height, picture.width)
        if width != picture.width and rest == 0 and height % _STREAM_STEP == 0:
            sizes.append((width, height))
    return [f"{width}x{height}" for width, height in sizes]


def update(path: str, derived: dict[str, str], asked: list[tuple[str, str]]) -> None:
    """Rewrites the file: what was put there stays, what follows from the sources is fresh, then what
    was asked for on the command line; an empty value removes."""
    values = {name: value for name, value in read(path).items() if not _DERIVED.fullmatch(bare(name))}
    for name, value in [*derived.items(), *asked]:
        for known in [known for known in values if bare(known) == bare(name)]:
            del values[known]
        if value:
            values[name] = value
    with open(path + ".new", "w", encoding="utf-8", errors="surrogateescape", newline="") as file:
        file.writelines(f"{name}={value}\n" for name, value in values.items())
    os.replace(path + ".new", path)


def read(path: str) -> dict[str, str]:
    """The values of a file by their names as they stand there; none when there is no file."""
    try:
        with open(path, encoding="utf-8", errors="surrogateescape", newline="") as file:
            lines = [line.removesuffix("\r") for line in file.read().split("\n")]
    except FileNotFoundError:
        return {}
    pairs = (line.partition("=") for line in lines if "=" in line and not line.lstrip().startswith("#"))
    return {name.strip(): value for name, _, value in pairs}
