"""Pictures of a device's video, and where alarms are drawn in them."""

import io
import time
import urllib.request

from PIL import Image, ImageChops, ImageDraw

from device import PATIENCE, until

# How far apart the strongest and the weakest of red, green and blue are in what counts as colour. What is
# drawn comes to about 150 over grey; where JPEG blurs it, less.
_COLOUR = 48
# Pixels on either side of a line: half its width is 2 across and 1 down, and colour is kept for two by two.
_REACH = 5


def fetch(device, name, timeout=PATIENCE):
    """What the device serves below /video/, as bytes."""
    with urllib.request.urlopen(device.endpoints["page"] + "video/" + name, timeout=timeout) as answer:
        return answer.read()


class Picture:
    """A decoded picture."""

    def __init__(self, jpeg):
        self.image = Image.open(io.BytesIO(jpeg)).convert("RGB")
        self.size = self.image.size

    @classmethod
    def take(cls, device, name="1.jpg"):
        return cls(fetch(device, name))

    def is_red_at(self, x, y):
        red, green, blue = self.image.getpixel((x, y))
        return red - max(green, blue) > _COLOUR

    def coloured(self):
        """A mask of what is not grey."""
        red, green, blue = self.image.split()
        most = ImageChops.lighter(ImageChops.lighter(red, green), blue)
        least = ImageChops.darker(ImageChops.darker(red, green), blue)
        return ImageChops.subtract(most, least).point(lambda apart: 255 if apart > _COLOUR else 0)

    @property
    def is_grey(self):
        return self.coloured().getbbox() is None

    def has_light(self, box):
        """Whether something lighter or darker than the grey of no picture is in there: left, top, right, bottom."""
        low, high = self.image.crop(box).convert("L").getextrema()
        return low < 100 or high > 160

    def stray(self, lines):
        """Where colour is beside these lines, each two or more points: the rectangle around it; None if nowhere."""
        rest = self.coloured()
        draw = ImageDraw.Draw(rest)
        for line in lines:
            for (x, y), (to_x, to_y) in zip(line, line[1:]):
                draw.rectangle((min(x, to_x) - _REACH, min(y, to_y) - _REACH, max(x, to_x) + _REACH, max(y, to_y) + _REACH), 0)
        return rest.getbbox()

    def missing(self, lines):
        """Which points in the middle of these lines are not red."""
        middles = [((x + to_x) // 2, (y + to_y) // 2) for line in lines for (x, y), (to_x, to_y) in zip(line, line[1:])]
        return [(x, y) for x, y in middles if 0 <= x < self.size[0] and 0 <= y < self.size[1] and not self.is_red_at(x, y)]


class Stream:
    """Turns scene units into the pixels that are seen, as alarms are drawn."""

    def __init__(self, width=1280, height=720, rotation=0):
        self.width, self.height, self.rotation = width, height, rotation

    def pixel(self, x, y):
        across, up = (x + 4096) * self.width // 8192, (y + 4096) * self.height // 8192
        return {0: (across, self.height - up), 90: (up, across), 180: (self.width - across, up),
                270: (self.height - up, self.width - across)}[self.rotation]  # fmt: skip

    def rectangle(self, left, bottom, right, top):
        """The closed line around a box in scene units."""
        corners = (left, bottom), (left, top), (right, top), (right, bottom), (left, bottom)
        return [self.pixel(*corner) for corner in corners]


def until_picture(device, condition, what, seconds=PATIENCE, name="1.jpg"):
    """Takes pictures until one meets the condition; that one. A service that is away is waited for."""

    def met():
        try:
            picture = Picture.take(device, name)
        except OSError:
            return None
        return picture if condition(picture) else None

    return until(met, what, seconds)


def colourless_for(device, seconds):
    """Whether no picture has colour in so many seconds; pictures are taken one after the other."""
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        if not Picture.take(device).is_grey:
            return False
    return True
