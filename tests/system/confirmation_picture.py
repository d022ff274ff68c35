#!/usr/bin/python3
"""Lays a visual confirmation frame over the picture of the same scene, as a page in the browser does.

usage: confirmation_picture.py VIDEO TARGET.png [LEAST NUMBER OF OBJECTS]

Starts a device of its own on the video, takes the first frame with so many objects, and photographs it over
the picture of that scene time with a headless Chromium.
"""

import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

from application_test import scene_time
from control import Control
from device import KTW, PATIENCE, Device, until, value_of
from scenes import configuration, profile

FRAMES = f"{KTW}/tnsorva:xinternal_data"
PICTURE = re.compile(r"camera1_[^_]+_\d+\.jpg")
AREA = [[-0.2, -0.2], [-0.2, 0.5], [0.35, 0.5], [0.35, -0.2]]  # of the sample video: the middle of the path


def take(video, folder, objects=1, seconds=3 * PATIENCE):
    """Runs a device until a frame shows so many objects and an alarm; the paths of the frame, of its picture and
    of an earlier one in `folder`, and by how much the times of frame and picture differ, in seconds."""
    pictures = os.path.join(folder, "pictures")
    config = configuration([profile() | {"triggers": [{"type": "includeArea", "data": AREA}]}])
    with Device("--video", video, "--dump-pictures", pictures, config=config) as device:
        frames = device.bus(FRAMES)
        with Control(device) as control:
            control.data("startVisualConfirmation", {"profile": 1, "transform": [1, 0, 0, 0, 1, 0, 0, 0, 1]})

        def good():
            shown = ((message, value_of(message["payload"])) for message in list(frames.messages))
            return next((m for m, svg in shown if svg.count('class=""') >= objects and "includeArea" in svg), None)

        message = until(good, f"a frame with {objects} objects", seconds)
        time.sleep(0.5)  # the picture may be written a moment after its scene was sent
        at = scene_time(message)
        times = {time_of(name): name for name in os.listdir(pictures) if PICTURE.fullmatch(name)}
        nearest = min(times, key=lambda time: abs(time - at))
        earlier = min(times, key=lambda time: abs(time - (at - 1)))
        taken = {"picture.jpg": times[nearest], "earlier.jpg": times[earlier]}
        for target, name in taken.items():
            shutil.copy(os.path.join(pictures, name), os.path.join(folder, target))
    with open(os.path.join(folder, "frame.svg"), "w", encoding="utf-8") as file:
        file.write(value_of(message["payload"]))
    return [os.path.join(folder, name) for name in ("frame.svg", *taken)], nearest - at


def time_of(name):
    """The scene time in a picture's name, in seconds."""
    text = name.split("_")[1]
    return scene_time({"payload": {"UtcTime": text}})


def size_of(picture):
    """Width and height of a JPEG."""
    with open(picture, "rb") as file:
        data = file.read()
    at = 2
    while data[at + 1] not in (0xC0, 0xC1, 0xC2):
        at += 2 + int.from_bytes(data[at + 2 : at + 4], "big")
    return int.from_bytes(data[at + 7 : at + 9], "big"), int.from_bytes(data[at + 5 : at + 7], "big")


def photograph(picture, target, over=None, scale=1):
    """Has Chromium show the picture, with the file of a frame over it if there is one, and keeps what it shows."""
    folder = os.path.dirname(picture)
    width, height = (round(scale * length) for length in size_of(picture))
    place = f'style="position:absolute;left:0;top:0;width:{width}px;height:{height}px"'
    images = "".join(f'<img src="{os.path.basename(name)}" {place}>' for name in (picture, over) if name)
    page = os.path.join(folder, "page.html")
    with open(page, "w", encoding="utf-8") as file:
        file.write(f'<body style="margin:0;overflow:hidden">{images}')
    command = ["chromium", "--headless=new", "--no-sandbox", "--disable-gpu", "--hide-scrollbars", "--disable-dev-shm-usage",
               f"--user-data-dir={folder}/browser", f"--window-size={width},{height}", "--force-device-scale-factor=1",
               f"--screenshot={target}", f"file://{page}"]  # fmt: skip
    subprocess.run(command, check=True, capture_output=True, timeout=5 * PATIENCE)


def main():
    video, target = sys.argv[1:3]
    objects = int(sys.argv[3]) if len(sys.argv) > 3 else 1
    with tempfile.TemporaryDirectory(prefix="tarnwatch-test-") as folder:
        (frame, picture, _), apart = take(video, folder, objects)
        photograph(picture, os.path.realpath(target), frame, 0.75)
    print(f"{target}: picture and frame are {abs(1e6 * apart):.0f} us apart")


if __name__ == "__main__":
    main()
