import base64
import hashlib
import os
import tempfile
import unittest

from bringup import web
from bringup.errors import BadInput


class ListenFiles(unittest.TestCase):
    def files(self, host, port=8080, password=None):
        return web.listen_files((host, port), ("127.0.0.1", 1883), password)

    def test_the_two_sides_of_the_web_port_differ_as_addresses(self):
        for host, outside, inside in (("127.0.0.1", "127.0.0.1:8080 bind", "8080"), ("192.168.1.2", "192.168.1.2:8080 bind", "8080"),
                                      ("0.0.0.0", "0.0.0.0:8080 bind", "127.0.0.1:8080 bind"),
                                      ("::1", "[::1]:8080 ipv6only=off bind", "8080"),
                                      ("::", "[::]:8080 ipv6only=off bind", "127.0.0.1:8080 bind")):  # fmt: skip
            with self.subTest(host):
                files = self.files(host)
                self.assertEqual(files["listen-outside.conf"], f"listen {outside};\n")
                self.assertEqual(files["listen-inside.conf"], f"listen {inside};\n")

    def test_a_password_is_kept_as_a_salted_hash(self):
        name, _, stored = self.files("0.0.0.0", password="geheim")["users"].strip().partition(":")
        raw = base64.b64decode(stored.removeprefix("{SSHA}"))
        self.assertEqual(name, "admin")
        self.assertEqual(raw[:20], hashlib.sha1(b"geheim" + raw[20:]).digest())
        self.assertEqual(len(raw), 36)

    def test_without_a_password_only_loopback_names_serve(self):
        self.assertEqual(self.files("127.0.0.1")["access.conf"],
                         """if ($stranger) { return 403 '{"error":"refused: this host name is not the device"}\\n'; }\n""")  # fmt: skip


class Password(unittest.TestCase):
    def test_is_the_first_line_of_the_file(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "password")
            for content, expected in (("a b:c d:e\nrest\n", "a b:c d:e"), ("x" * 8, "x" * 8), ("x" * 128, "x" * 128),
                                      ("\u00fc" * 8 + "\r\n", "\u00fc" * 8)):  # fmt: skip
                with open(path, "w", encoding="utf-8", newline="", opener=lambda name, flags: os.open(name, flags, 0o600)) as file:
                    file.write(content)
                self.assertEqual(web.read_password(path), expected)
            for content in (b"", b"\nx\n", b"\xff" * 8 + b"\n", b"x" * 7, b"x" * 129, b" " * 8, b"x" * 7 + b"\t"):
                with open(path, "wb") as file:
                    file.write(content)
                self.assertRaises(BadInput, web.read_password, path)
        self.assertRaises(BadInput, web.read_password, path)
