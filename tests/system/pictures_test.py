"""Pictures kept with the times of their scenes."""

import datetime
import os
import re
import tempfile
import unittest

from device import Device, run, until

NAME = re.compile(r"camera(\d+)_(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z)_(\d+)\.jpg")


def grey_video(path, pictures=30, width=64, height=48, rate=10):
    """Writes an uncompressed video of grey pictures."""
    with open(path, "wb") as file:
        file.write(b"YUV4MPEG2 W%d H%d F%d:1 Ip A1:1 C420jpeg\n" % (width, height, rate))
        for _ in range(pictures):
            file.write(b"FRAME\n" + bytes([128]) * (width * height * 3 // 2))
    return path


class Pictures(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="tarnwatch-test-")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.pictures = os.path.join(self.folder, "kept", "pictures")
        self.video = grey_video(os.path.join(self.folder, "grey.y4m"))

    def kept(self):
        return sorted(name for name in os.listdir(self.pictures) if not name.startswith("."))

    def test_are_kept_in_a_folder_outside_named_by_the_times_of_their_scenes(self):
        with Device("--video", self.video, "--dump-pictures", self.pictures):
            names = until(lambda: names if len(names := self.kept()) >= 5 else None, "five pictures")
            now = datetime.datetime.now(datetime.timezone.utc)
            parts = [NAME.fullmatch(name) for name in names]
            self.assertTrue(all(parts), names)
            self.assertEqual({part[1] for part in parts}, {"1"})
            for part in parts:
                age = now - datetime.datetime.fromisoformat(part[2].replace("Z", "+00:00"))
                self.assertLess(abs(age.total_seconds()), 30)
            steps = [int(b[3]) - int(a[3]) for a, b in zip(parts, parts[1:])]
            self.assertEqual({round(step / 100_000) for step in steps}, {1}, steps)
            with open(os.path.join(self.pictures, names[0]), "rb") as file:
                content = file.read()
            self.assertEqual((content[:2], content[-2:]), (b"\xff\xd8", b"\xff\xd9"))

    def test_a_bad_folder_is_refused_in_one_line(self):
        state = os.path.join(self.folder, "state")
        done = run("--state", state, "--port", "0", "--mqtt-port", "0", "--video", self.video,
                   "--dump-pictures", self.video)  # fmt: skip
        self.assertEqual(done.returncode, 2)
        self.assertEqual(done.stderr, f"tarnwatch: {self.video}: File exists\n")


if __name__ == "__main__":
    unittest.main()
