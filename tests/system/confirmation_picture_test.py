"""Visual confirmation in a browser: the boxes of a frame are where something moves in its picture."""

import os
import re
import shutil
import tempfile
import unittest
import zlib

from application_test import CLIP
from confirmation_picture import photograph, size_of, take


class Photograph:
    """The pixels of a PNG file of eight bits a channel, not interlaced."""

    def __init__(self, path):
        with open(path, "rb") as file:
            data = file.read()
        at, packed = 8, b""
        while at < len(data):
            length, kind = int.from_bytes(data[at : at + 4], "big"), data[at + 4 : at + 8]
            content = data[at + 8 : at + 8 + length]
            if kind == b"IHDR":
                self.width, self.height = int.from_bytes(content[:4], "big"), int.from_bytes(content[4:8], "big")
                self._channels = {2: 3, 6: 4}[content[9]]
            elif kind == b"IDAT":
                packed += content
            at += 12 + length
        self._rows = list(self._unfiltered(zlib.decompress(packed)))

    def _unfiltered(self, data):
        step, length = self._channels, self._channels * self.width
        above = bytearray(length)
        for number in range(self.height):
            begin = number * (length + 1)
            kind, row = data[begin], bytearray(data[begin + 1 : begin + 1 + length])
            for i in range(length) if kind else ():
                left, up = row[i - step] if i >= step else 0, above[i]
                if kind == 1:
                    guess = left
                elif kind == 2:
                    guess = up
                elif kind == 3:
                    guess = (left + up) // 2
                else:
                    corner = above[i - step] if i >= step else 0
                    guess = min((left, up, corner), key=lambda value: abs(left + up - corner - value))
                row[i] = (row[i] + guess) & 255
            yield row
            above = row

    def at(self, x, y):
        """Red, green and blue."""
        i = self._channels * x
        return tuple(self._rows[y][i : i + 3])

    def difference(self, other, left, top, right, bottom):
        """The mean difference of green from another photograph in a rectangle, every second pixel."""
        found = [abs(self.at(x, y)[1] - other.at(x, y)[1]) for y in range(top, bottom, 2) for x in range(left, right, 2)]
        return sum(found) / len(found)


class ConfirmationPicture(unittest.TestCase):
    @unittest.skipUnless(os.path.exists(CLIP), "the sample video has not been fetched here")
    @unittest.skipUnless(shutil.which("chromium"), "there is no browser here")
    def test_shows_boxes_round_what_moves(self):
        with tempfile.TemporaryDirectory(prefix="tarnwatch-test-") as folder:
            (frame, picture, earlier), apart = take(CLIP, folder, 3)
            self.assertLess(abs(apart), 0.01)
            photograph(picture, f"{folder}/with.png", frame)
            photograph(picture, f"{folder}/now.png")
            photograph(earlier, f"{folder}/then.png")
            shown, now, then = (Photograph(f"{folder}/{name}.png") for name in ("with", "now", "then"))
            with open(frame, encoding="utf-8") as file:
                boxes = self.boxes(file.read(), *size_of(picture))
            self.assertGreaterEqual(len(boxes), 3)
            self.assertEqual({colour for _, colour in boxes}, {"#FF0000", "#00FF00"})
            moving = []
            for (left, top, right, bottom), colour in boxes:
                for x in (left, right):
                    self.assertTrue(self.is_framed(shown, now, x, (top + bottom) // 2, colour), (x, top, colour))
                moving.append(now.difference(then, left, top, right, bottom))
            everywhere = now.difference(then, 0, 0, now.width, now.height)
            self.assertGreater(sum(moving) / len(moving), 4 * everywhere)

    def boxes(self, svg, width, height):
        """Corners in pixels, and the colour, of each object's box that is wholly in the picture."""
        found = []
        for points, colour in re.findall(r'class="" points="([^"]*)" style="fill:(#\w+)', svg):
            corners = [tuple(map(float, point.split(","))) for point in points.split()]
            xs = [round((x + 1) / 2 * width) for x, _ in corners]
            ys = [round((1 - y) / 2 * height) for _, y in corners]
            if min(xs) > 2 and max(xs) < width - 2 and min(ys) > 2 and max(ys) < height - 2:
                found.append(((min(xs), min(ys), max(xs), max(ys)), colour))
        return found

    def is_framed(self, shown, bare, x, y, colour):
        """Whether a line of that colour passes near the place, and not in the bare picture."""
        own, other = (0, 1) if colour == "#FF0000" else (1, 0)
        excess = lambda pixel: pixel[own] - max(pixel[other], pixel[2])  # noqa: E731
        return any(excess(shown.at(x + by, y)) > excess(bare.at(x + by, y)) + 40 for by in range(-2, 3))


if __name__ == "__main__":
    unittest.main()
