import os
import select
import socket
import tempfile
import threading
import unittest
from unittest import mock

from bringup import logs, syslog_reader


class Lines(unittest.TestCase):
    def test_a_line_is_time_level_and_text(self):
        self.assertRegex(logs.line(3, "text"), rb"\A\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z err text\n\Z")

    def test_inner_line_ends_are_written_and_trailing_ones_left_out(self):
        self.assertTrue(logs.line(4, "a\nb\r\nc\n\n").endswith(b" warning a\\nb\\r\\nc\n"))

    def test_what_is_no_text_is_written_as_escapes(self):
        _, text = syslog_reader.parse(b"<12>Jan  1 00:00:00 Tarnwatch: \xff\xc3\xa4")
        self.assertTrue(logs.line(4, text).endswith("\\xffä\n".encode()))


class Messages(unittest.TestCase):
    def test_level_and_text_are_taken_from_what_syslog_sends(self):
        for datagram, expected in ((b"<11>Nov 21 03:46:34 Tarnwatch: text", (3, "Tarnwatch: text")),
                                   (b"<15>Nov  1 03:46:34 x[12]: y", (7, "x[12]: y")),
                                   (b"<14>no date", (6, "no date")), (b"plain", (6, "plain")), (b"", (6, ""))):  # fmt: skip
            with self.subTest(datagram):
                self.assertEqual(syslog_reader.parse(datagram), expected)


class Reader(unittest.TestCase):
    def test_all_that_lies_unread_at_the_close_is_written(self):
        with tempfile.TemporaryDirectory() as folder, socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sender, \
                mock.patch.object(syslog_reader, "_PIECE", 2):  # fmt: skip
            reader = syslog_reader.SyslogReader(folder + "/socket", folder)
            writing, go_on = threading.Event(), threading.Event()
            write = reader._others.write

            def held_up(lines):
                writing.set()
                go_on.wait()
                write(lines)

            reader._others.write = held_up
            sender.connect(folder + "/socket")
            sender.send(b"<14>0")
            writing.wait()
            for number in range(1, 9):
                sender.send(b"<14>%d" % number)
            closer = threading.Thread(target=reader.close)
            closer.start()
            select.select([reader._closing], [], [])
            go_on.set()
            closer.join()
            with open(folder + "/syslog.log", encoding="utf-8") as file:
                self.assertEqual([line.split()[-1] for line in file], [str(number) for number in range(9)])


class Files(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def test_a_large_file_is_put_aside(self):
        with open(os.path.join(self.folder, "x.log"), "wb") as file:
            file.truncate((16 << 20) + 1)
        log = logs.Log(self.folder, "x")
        log.write(b"new\n")
        self.assertEqual(os.path.getsize(os.path.join(self.folder, "x.log.1")), (16 << 20) + 1)
        self.assertEqual(logs.last_line(self.folder, "x"), "new")

    def test_a_file_that_grows_large_while_it_is_written_is_put_aside_as_well(self):
        log = logs.Log(self.folder, "x")
        log.write(b"." * (17 << 20))
        log.write(b"new\n")
        self.assertEqual(os.path.getsize(os.path.join(self.folder, "x.log")), 4)

    def test_a_full_disk_holds_up_nobody(self):
        os.symlink("/dev/full", os.path.join(self.folder, "x.log"))
        logs.Log(self.folder, "x").write(b"lost\n")

    def test_the_last_line_of_nothing_is_empty(self):
        self.assertEqual(logs.last_line(self.folder, "none"), "")
