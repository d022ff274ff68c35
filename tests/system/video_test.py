"""The video of a device, as it is served to the outside, and texts and images over it."""

import io
import os
import unittest

from PIL import Image

from application_test import CLIP
from device import Device, until
from quiet_device import QuietDeviceTest
from scenes import configuration
from video_picture import Picture, fetch, until_picture
from web_test import Connection, ask

TOP = (400, 0, 880, 40)  # where a text at the top of a picture of 1280x720 is
BOTTOM = (400, 680, 880, 720)
MIDDLE = (400, 100, 880, 620)


class Stream:
    """An answer without an end, read piece by piece."""

    def __init__(self, device, name):
        self._connection = Connection(device.endpoints["page"])
        self._connection.send(f"GET /video/{name} HTTP/1.1\r\nHost: {self._connection.host}\r\n\r\n")
        self._file = self._connection.socket.makefile("rb")
        self._rest = b""
        self.status = int(self._file.readline().split()[1])
        self.headers = self._head(self._file.readline)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._file.close()
        self._connection.__exit__()

    @staticmethod
    def _head(readline):
        lines = iter(lambda: readline().decode("latin-1").strip(), "")
        return {name.lower(): value.strip() for name, _, value in (line.partition(":") for line in lines)}

    def _chunk(self):
        """Takes one chunk in; whether there was one."""
        line = self._file.readline()
        size = int(line, 16) if line.strip() else 0
        self._rest += self._file.read(size)
        self._file.readline()
        return size > 0

    def read(self, size):
        """So many bytes, or fewer at the end."""
        while len(self._rest) < size and self._chunk():
            pass
        data, self._rest = self._rest[:size], self._rest[size:]
        return data

    def _line(self):
        while b"\n" not in self._rest and self._chunk():
            pass
        end = self._rest.find(b"\n") + 1
        return self.read(end)

    def part(self):
        """The headers and the body of the next part of a multipart stream; None at its end."""
        boundary = b"--" + self.headers["content-type"].partition("boundary=")[2].strip('"').encode()
        while line := self._line():
            if line.strip() == boundary:
                headers = self._head(self._line)
                if "content-length" not in headers:
                    break  # cut off in its head
                return headers, self.read(int(headers["content-length"]))
            if line.strip():
                raise AssertionError(f"between parts: {line[:40]!r}")
        return None

    def box(self):
        """The type and the content of the next box of an MP4 stream."""
        size = int.from_bytes(self.read(4), "big")
        return self.read(4).decode("latin-1"), self.read(size - 8)


class VideoTest(QuietDeviceTest):
    def refusal(self, device, method, name):
        """The status of a refusal, which tells a reason in JSON."""
        answer = ask(device.endpoints["page"], method, f"/video/{name}")
        self.assertEqual(list(answer.json), ["error"])
        return answer.status


class Addresses(VideoTest):
    def test_serve_a_picture_a_motion_and_a_film(self):
        with self.device() as device:
            picture = Picture.take(device)
            self.assertEqual(picture.size, (1280, 720))
            self.assertTrue(picture.is_grey)
            self.assertFalse(picture.has_light((0, 0, 1280, 720)))  # a recording has no pictures
            with Stream(device, "1") as motion:
                self.assertEqual(motion.status, 200)
                self.assertTrue(motion.headers["content-type"].startswith("multipart/x-mixed-replace"))
                for _ in range(3):
                    headers, body = motion.part()
                    self.assertEqual(headers["content-type"], "image/jpeg")
                    self.assertEqual(Picture(body).size, (1280, 720))
            with Stream(device, "1.mp4") as film:
                self.assertEqual((film.status, film.headers["content-type"]), (200, "video/mp4"))
                boxes = [film.box() for _ in range(6)]
                self.assertEqual([kind for kind, _ in boxes][:2], ["ftyp", "moov"])
                self.assertIn(b"avc1", boxes[1][1])
                self.assertEqual([kind for kind, _ in boxes][2:], ["moof", "mdat"] * 2)

    def test_are_not_kept_by_browsers_nor_shown_by_the_pages_of_others(self):
        with self.device() as device:
            for name in ("1.jpg", "9"):
                headers = ask(device.endpoints["page"], "HEAD", f"/video/{name}").headers
                self.assertEqual(headers["cache-control"], "no-store")
                self.assertEqual(headers["cross-origin-resource-policy"], "same-origin")
                self.assertEqual(headers["x-content-type-options"], "nosniff")

    def test_choose_streams_by_resolution_and_rotation(self):
        with self.device() as device:
            self.assertEqual(Picture.take(device, "1.jpg?rotation=90").size, (720, 1280))
            self.assertEqual(Picture.take(device, "1.jpg?resolution=1280x720&rotation=180").size, (1280, 720))
            for name in ("1.jpg?rotation=45", "1.jpg?resolution=640x480", "1?resolution=x", "2", "9.jpg", "0.mp4", "x.jpg", "1.png",
                         ""):  # fmt: skip
                self.assertEqual(self.refusal(device, "GET", name), 404, name)

    def test_take_get_and_head_only(self):
        with self.device() as device:
            for method in ("POST", "PUT", "DELETE", "OPTIONS"):
                self.assertEqual(self.refusal(device, method, "1.jpg"), 405, method)

    def test_show_the_overlay_resolution_and_the_rotation_of_the_configuration(self):
        config = configuration([])
        config["params"]["cameras"][0] |= {"rotation": 270, "overlayResolution": "1280x720"}
        with self.device(config=config) as device:
            self.assertEqual(Picture.take(device).size, (720, 1280))
            self.assertEqual(Picture.take(device, "1.jpg?rotation=0").size, (1280, 720))

    def test_serve_each_camera(self):
        with self.device("--scenes", self.scenes) as device:
            self.assertEqual(Picture.take(device, "2.jpg").size, (1280, 720))

    @unittest.skipUnless(os.path.exists(CLIP), "the sample video has not been fetched here")
    def test_show_the_pictures_of_a_video(self):
        with Device("--video", CLIP) as device:
            picture = until_picture(device, lambda one: one.has_light((0, 0, *one.size)), "a picture of the video")
            self.assertEqual(picture.size, (768, 576))
            until(lambda: fetch(device, "1.jpg") != fetch(device, "1.jpg"), "it moves")
            self.assertEqual(Picture.take(device, "1.jpg?resolution=320x240").size, (320, 240))
            device.kill("engine")  # a new one takes up the delivery
            before = fetch(device, "1.jpg")
            until(lambda: fetch(device, "1.jpg") != before, "it moves again")
            device.kill("video")
            until_picture(device, lambda one: one.has_light((0, 0, *one.size)), "pictures reach a new service")

    def test_are_away_with_the_service_and_back_with_it(self):
        with self.device() as device:
            with Stream(device, "1") as motion:
                self.assertIsNotNone(motion.part())
                device.kill("video")
                while motion.part() is not None:
                    pass
            until(lambda: ask(device.endpoints["page"], "GET", "/video/1.jpg").status == 200, "it is back")
            self.assertEqual(Picture.take(device).size, (1280, 720))
            self.assertNotIn("application ended", device.log("bringup"))


class Texts(VideoTest):
    def overlay(self, device, *arguments, **more):
        return device.enter("overlay", *arguments, **more)

    def test_lie_over_the_picture_until_they_are_removed(self):
        with self.device() as device:
            id = self.overlay(device, "text", "Gate 3", "top").strip()
            picture = until_picture(device, lambda one: one.has_light(TOP), "the text is there")
            self.assertFalse(picture.has_light(MIDDLE) or picture.has_light(BOTTOM))
            self.assertTrue(picture.is_grey)
            self.assertRegex(self.overlay(device, "list"), rf"\A{id} +camera 1 +textoverlay +top +Gate 3\n\Z")
            self.overlay(device, "move", id, "bottom")
            until_picture(device, lambda one: one.has_light(BOTTOM) and not one.has_light(TOP), "the text has moved")
            self.overlay(device, "remove", id)
            until_picture(device, lambda one: not one.has_light((0, 0, *one.size)), "the text is gone")
            self.assertEqual(self.overlay(device, "list"), "")

    def test_are_kept_when_the_service_dies_and_when_the_device_is_started_again(self):
        with self.device() as device:
            self.overlay(device, "text", "Gate 3", "top")
            removed = self.overlay(device, "text", "gone", "bottom").strip()
            self.overlay(device, "remove", removed)
            device.kill("video")
            listed = self.overlay(device, "list")
            self.assertRegex(listed, r"\A\d+ +camera 1 +textoverlay +top +Gate 3\n\Z")
            self.assertEqual(device.stop(), 0)
            with self.device(state=device.state) as again:
                self.assertEqual(self.overlay(again, "list"), listed)
                until_picture(again, lambda one: one.has_light(TOP) and not one.has_light(BOTTOM), "the text is there")

    def test_may_be_in_any_script_and_write_no_warnings(self):
        with self.device() as device:
            self.overlay(device, "text", "Tür 門 دروازه", "top", "--height", "60")
            until_picture(device, lambda one: one.has_light(TOP), "the text is there")
            self.assertEqual([line for line in device.log("video").splitlines() if not line[:4].isdigit()], [])

    def test_images_are_handed_in_from_outside(self):
        png = io.BytesIO()
        Image.new("RGB", (64, 64), (0, 255, 0)).save(png, "PNG")
        path = os.path.join(self.folder, "green.png")
        with open(path, "wb") as file:
            file.write(png.getvalue())
        with self.device() as device, open(path, "rb") as file:
            self.overlay(device, "image", "-", "0,0", "--fixed", stdin=file)
            picture = until_picture(device, lambda one: not one.is_grey, "the image is there")
            left, top, right, bottom = picture.coloured().getbbox()
            for found, expected in ((left, 640), (top, 360), (right, 704), (bottom, 424)):
                self.assertAlmostEqual(found, expected, delta=2)

    def test_what_is_none_is_refused(self):
        with self.device() as device:
            for arguments in (["text", "Gate", "middle"], ["text", "Gate", "2,0"], ["text", "", "top"], ["image", "/etc/passwd", "top"],
                              ["text", "Gate", "top", "--camera", "2"], ["remove", "9"], ["move", "9", "top"],
                              ["fault", "getBuffer", "sideways"], ["stream", "remove", "99"]):  # fmt: skip
                with self.subTest(arguments):
                    self.overlay(device, *arguments, status=1)
            self.assertEqual(self.overlay(device, "list"), "")


if __name__ == "__main__":
    unittest.main()
