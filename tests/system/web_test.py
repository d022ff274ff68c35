"""The web server as it meets the outside: statuses, refusals, slow clients, passwords, the event bus."""

import base64
import concurrent.futures
import json
import os
import socket
import stat
import subprocess
import time
import unittest

import stand_in
from device import PATIENCE, retained, until
from quiet_device import QuietDeviceTest
from scenes import configuration
from websocket import CONNECT, WebSocketClient, connect_with_will, publish, subscribe

PASSWORD = "s:e cret pass"
LIMIT = 256 * 1024


class Answer:
    """An HTTP answer: status, headers by lower-case name, body."""

    def __init__(self, head, body):
        first, *lines = head.decode("latin-1").split("\r\n")
        self.status = int(first.split()[1])
        self.headers = {name.lower(): value.strip() for name, _, value in (line.partition(":") for line in lines)}
        self.body = body

    @property
    def json(self):
        return json.loads(self.body)


class Connection:
    """A raw connection to the web port, which can send what no HTTP library would."""

    def __init__(self, page, timeout=PATIENCE):
        host, port = page.removeprefix("http://").rstrip("/").rsplit(":", 1)
        self.host = f"{host}:{port}"
        self.socket = socket.create_connection((host, int(port)), timeout=timeout)
        self._file = self.socket.makefile("rb")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._file.close()
        self.socket.close()

    def send(self, data):
        self.socket.sendall(data if isinstance(data, bytes) else data.encode())

    def request(self, method, target, *headers, body=None, host=None):
        """Sends a request and reads its answer. A body is sent with its length unless it is in chunks already."""
        lines = [f"{method} {target} HTTP/1.1", f"Host: {host or self.host}", *headers]
        if body is not None and not any(line.lower().startswith("transfer-encoding") for line in headers):
            lines.append(f"Content-Length: {len(body)}")
        self.send("\r\n".join(lines).encode() + b"\r\n\r\n" + (body or b""))
        return self.answer(method)

    def answer(self, method="GET"):
        """Reads one answer; None at the end of the connection."""
        head = b""
        while not head.endswith(b"\r\n\r\n"):
            line = self._file.readline()
            if not line:
                return None
            head += line
        answer = Answer(head[:-4], b"")
        if method == "HEAD":
            return answer
        if answer.headers.get("transfer-encoding") == "chunked":
            while size := int(self._file.readline(), 16):
                answer.body += self._file.read(size)
                self._file.readline()
            self._file.readline()
        elif "content-length" in answer.headers:
            answer.body = self._file.read(int(answer.headers["content-length"]))
        else:
            answer.body = self._file.read()
        return answer

    def ended(self):
        """Whether the server has ended the connection, waiting for it."""
        try:
            return self._file.read(1) == b""
        except ConnectionResetError:
            return True


def ask(page, method, target, *headers, **more):
    """One request on a connection of its own."""
    with Connection(page) as connection:
        return connection.request(method, target, *headers, **more)


class WebTest(QuietDeviceTest):
    def refusal(self, answer, status):
        """Checks that an answer is a refusal in JSON with a reason; the reason."""
        self.assertEqual(answer.status, status, answer.body)
        self.assertEqual(answer.headers["content-type"], "application/json")
        self.assertEqual(list(answer.json), ["error"])
        return answer.json["error"]


class Requests(WebTest):
    """Against a control service that tells what reached it."""

    def setUp(self):
        super().setUp()
        device = self.device(application=stand_in.CONTROL, config=configuration())
        self.here = device.__enter__()
        self.addCleanup(device.__exit__)
        self.page = self.here.endpoints["page"]

    def post(self, body, *headers, **more):
        return ask(self.page, "POST", "/control", *headers, body=body, **more)

    def test_hand_the_body_to_the_service_and_its_answer_back(self):
        answer = self.post(b'{"method":"x"}', "Content-Type: application/json", "X-Long: " + 7000 * "x", "Cookie: a=b")
        self.assertEqual(answer.status, 200)
        self.assertEqual(answer.headers["content-type"], "application/json")
        self.assertEqual(answer.json["length"], 14)
        self.assertEqual(answer.json["method"], "POST")
        self.assertLessEqual({name for name in answer.json["names"] if name.startswith("HTTP_")}, {"HTTP_HOST"})

    def test_take_a_body_of_256_kib_and_not_one_byte_more(self):
        self.assertEqual(self.post(b" " * LIMIT).json["length"], LIMIT)
        self.assertIn("256 KiB", self.refusal(self.post(b" " * (LIMIT + 1)), 413))

    def test_take_chunks_up_to_the_same_limit(self):
        chunks = lambda size, step: b"".join(  # noqa: E731
            b"%x\r\n%b\r\n" % (min(step, size - at), b" " * min(step, size - at)) for at in range(0, size, step)
        ) + b"0\r\n\r\n"  # fmt: skip
        chunked = "Transfer-Encoding: chunked"
        self.assertEqual(self.post(chunks(LIMIT, 5000), chunked).json["length"], LIMIT)
        self.assertEqual(self.post(chunks(0, 1), chunked).json["length"], 0)
        with Connection(self.page) as connection:
            connection.send(f"POST /control HTTP/1.1\r\nHost: {connection.host}\r\n{chunked}\r\n\r\n")
            try:
                connection.send(chunks(LIMIT + 1, 5000))
            except ConnectionError:
                pass  # refused before its end
            self.assertIn("256 KiB", self.refusal(connection.answer(), 413))
        self.assertEqual(self.post(b"zz\r\n\r\n", chunked).status, 400)

    def test_other_methods_on_control_are_told_which_one_it_takes(self):
        for method in ("GET", "PUT", "DELETE", "PATCH", "OPTIONS", "PROPFIND"):
            answer = ask(self.page, method, "/control")
            self.assertIn("POST", self.refusal(answer, 405))
            self.assertEqual(answer.headers["allow"], "POST")
        self.assertEqual(ask(self.page, "HEAD", "/control").status, 405)
        self.assertEqual(ask(self.page, "TRACE", "/control").status, 405)
        self.assertEqual(ask(self.page, "POST", "/", body=b"x").status, 405)

    def test_events_are_for_websockets(self):
        self.assertIn("WebSocket", self.refusal(ask(self.page, "GET", "/events"), 426))
        self.assertEqual(ask(self.page, "GET", "/events").headers["upgrade"], "websocket")
        self.refusal(ask(self.page, "GET", "/events", "Upgrade: h2c", "Connection: Upgrade"), 426)
        answer = ask(self.page, "POST", "/events", "Upgrade: websocket", "Connection: Upgrade", body=b"x")
        self.refusal(answer, 405)
        self.assertEqual(answer.headers["allow"], "GET")

    def test_pages_from_elsewhere_are_refused_everywhere(self):
        port = self.page.rstrip("/").rsplit(":", 1)[1]
        own = [f"http://127.0.0.1:{port}", f"https://127.0.0.1:{port}"]
        foreign = ["null", "http://elsewhere.example", "http://127.0.0.1", f"http://127.0.0.1:{port}.elsewhere.example",
                   f"http://elsewhere.example#127.0.0.1:{port}", f"http://x@127.0.0.1:{port}", f"file://127.0.0.1:{port}",
                   f"http://localhost:{port}", f"http://127.0.0.1:{port}/", f" http://127.0.0.1:{port} x"]  # fmt: skip
        for origin in own:
            self.assertEqual(self.post(b"{}", f"Origin: {origin}").status, 200, origin)
        for origin in foreign:
            for method, place in (("POST", "/control"), ("GET", "/"), ("GET", "/cameras.json"), ("GET", "/events"),
                                  ("GET", "/video/1"), ("GET", "/video/1.jpg"), ("GET", "/page.js")):  # fmt: skip
                answer = ask(self.page, method, place, f"Origin: {origin}", "Upgrade: websocket", "Connection: Upgrade",
                             body=b"{}" if method == "POST" else None)  # fmt: skip
                self.assertIn("another origin", self.refusal(answer, 403), (origin, place))
        self.assertNotIn(b"access-control-allow", "".join(self.post(b"{}").headers).encode())

    def test_a_foreign_name_that_points_here_is_refused(self):
        port = self.page.rstrip("/").rsplit(":", 1)[1]
        for host in (f"localhost:{port}", f"LOCALHOST:{port}", f"[::1]:{port}", "127.0.0.1"):
            self.assertEqual(ask(self.page, "GET", "/", host=host).status, 200, host)
        for host in (f"elsewhere.example:{port}", f"127.0.0.1.elsewhere.example:{port}", "localhost.elsewhere.example",
                     f"0.0.0.0:{port}", f"xlocalhost:{port}"):  # fmt: skip
            # The page's own scripts would send the name as their origin too.
            for headers in ((), (f"Origin: http://{host}",)):
                self.assertIn("host name", self.refusal(ask(self.page, "GET", "/", *headers, host=host), 403), host)
                self.refusal(self.post(b"{}", *headers, host=host), 403)
        with Connection(self.page) as connection:
            connection.send("GET / HTTP/1.0\r\n\r\n")
            self.refusal(connection.answer(), 403)

    def test_nothing_outside_the_page_is_served(self):
        for target in ("/../conf/nginx.conf", "/../../etc/passwd", "/%2e%2e/%2e%2e/etc/passwd", "/..%2f..%2fetc/passwd",
                       "/.%2e/nginx/access.conf", "/endpoints.json/../../etc/passwd", "/endpoints.json/", "//etc/passwd",
                       "/cameras.json/..%2f..%2fstate/parameters.conf", "/\\..\\..\\etc\\passwd", "/web/%00", "/-/",
                       "/nginx/users", "/state/endpoints.json", "/.git/config", "/%2fetc/passwd"):  # fmt: skip
            answer = ask(self.page, "GET", target)
            self.assertIn(answer.status, (400, 404), target)
            self.assertNotIn(b"root:", answer.body)

    def test_what_is_not_there_is_no_error_of_the_device(self):
        self.assertEqual(ask(self.page, "GET", "/favicon.ico").status, 404)
        self.assertNotIn("[error]", self.here.log("web"))

    def test_the_page_may_load_from_itself_only(self):
        headers = ask(self.page, "GET", "/").headers
        self.assertIn("default-src 'none'", headers["content-security-policy"])
        self.assertIn("frame-ancestors 'none'", headers["content-security-policy"])
        self.assertNotIn("unsafe", headers["content-security-policy"])
        self.assertEqual(headers["x-content-type-options"], "nosniff")
        self.assertEqual(headers["cross-origin-resource-policy"], "same-origin")

    def test_a_connection_lives_on_after_a_refusal_and_ends_where_it_cannot(self):
        with Connection(self.page) as connection:
            self.refusal(connection.request("GET", "/control"), 405)
            self.refusal(connection.request("POST", "/control", "Origin: null", body=b"{}"), 403)
            self.refusal(connection.request("GET", "/events"), 426)
            self.assertEqual(connection.request("GET", "/nothing").status, 404)
            # What the refused body held is not taken for a request.
            smuggled = f"DELETE /control HTTP/1.1\r\nHost: {connection.host}\r\n\r\n".encode()
            self.refusal(connection.request("PUT", "/control", body=smuggled), 405)
            self.assertEqual(connection.request("POST", "/control", body=b"{}").json["length"], 2)
            answer = connection.request("POST", "/control", body=b" " * (LIMIT + 1))
            self.refusal(answer, 413)
            self.assertEqual(answer.headers["connection"], "close")
            self.assertTrue(connection.ended())
        for head in ("nonsense\r\n\r\n", "POST /control HTTP/1.1\r\n\r\n", "GET / HTTP/1.1\r\nHost: a\r\nHost: b\r\n\r\n",
                     "POST /control HTTP/1.1\r\nHost: localhost\r\nContent-Length: 2\r\nTransfer-Encoding: chunked\r\n\r\n",
                     "POST /control HTTP/1.1\r\nHost: localhost\r\nContent-Length: -1\r\n\r\n",
                     "GET / HTTP/1.1\r\nHost: localhost\r\nX: " + 40000 * "x" + "\r\n\r\n"):  # fmt: skip
            with Connection(self.page) as connection:
                connection.send(head)
                self.assertEqual(connection.answer().status, 400, head[:80])
                self.assertTrue(connection.ended())

    def test_many_requests_share_a_connection(self):
        with Connection(self.page) as connection:
            for _ in range(200):
                self.assertEqual(connection.request("POST", "/control", body=b"{}").status, 200)

    def test_clients_that_send_slowly_are_cut_off_and_hold_up_nobody(self):
        slow = [Connection(self.page) for _ in range(600)]
        self.addCleanup(lambda: [connection.__exit__() for connection in slow])
        began = time.monotonic()
        heads, bodies = slow[:560], slow[560:]
        for connection in heads:
            connection.send("POST /control HT")
        for connection in bodies:
            connection.send(f"POST /control HTTP/1.1\r\nHost: {connection.host}\r\nContent-Length: 100\r\n\r\n{{")
        self.assertEqual(self.post(b"{}").status, 200)
        self.assertEqual(ask(self.page, "GET", "/").status, 200)
        self.assertLess(time.monotonic() - began, 9)  # before the first of them is cut off
        for piece in range(4):  # a head that comes in drops gains no time by each
            time.sleep(2)
            for connection in heads[:5]:
                connection.send(f"X{piece}: y\r\n" if piece else "TP/1.1\r\n")
        for connection in slow:
            connection.socket.settimeout(15)
            self.assertIn(getattr(connection.answer(), "status", None), (None, 408))
        self.assertLess(time.monotonic() - began, 16)  # 18 if each drop gained ten seconds

    def test_connections_that_trickle_bodies_leave_room_for_pages_and_events(self):
        held = [Connection(self.page) for _ in range(64)]
        self.addCleanup(lambda: [connection.__exit__() for connection in held])
        for connection in held:
            connection.send(f"POST /control HTTP/1.1\r\nHost: {connection.host}\r\nContent-Length: 100\r\n\r\n{{")
        answer = until(lambda: (answer := self.post(b"{}")).status == 429 and answer, "the limit is reached")
        self.assertIn("too many", self.refusal(answer, 429))
        self.assertEqual(ask(self.page, "GET", "/").status, 200)
        with WebSocketClient(self.page) as events:
            events.send(CONNECT)
            self.assertEqual(events.receive(), b"\x20\x02\x00\x00")
        for connection in held:
            connection.__exit__()
        until(lambda: self.post(b"{}").status == 200, "there is room again")

    def test_a_service_that_breaks_off_or_does_not_answer_is_told_apart_from_one_that_is_away(self):
        self.assertIn("without an answer", self.refusal(self.post(b"break off"), 502))
        self.assertIn("without an answer", self.refusal(self.post(b"nonsense"), 502))
        with concurrent.futures.ThreadPoolExecutor() as pool:
            late = pool.submit(lambda: ask(self.page, "POST", "/control", body=b"sleep"))
            with self.subTest("others are served meanwhile"):
                self.assertEqual(ask(self.page, "GET", "/").status, 200)
            self.here.service("stop", "application")
            self.assertIn(late.result().status, (502, 504))
        self.assertEqual(self.refusal(self.post(b"{}"), 503), "the control service does not answer")
        self.here.service("start", "application")
        until(lambda: self.post(b"{}").status == 200, "it is back")

    def test_events_are_refused_in_words_while_the_broker_is_away(self):
        self.here.service("stop", "broker")
        answer = ask(self.page, "GET", "/events", "Upgrade: websocket", "Connection: Upgrade",
                     "Sec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==", "Sec-WebSocket-Version: 13")  # fmt: skip
        self.assertIn("event bus", self.refusal(answer, 503))
        self.here.service("start", "broker")


class Video(WebTest):
    def test_a_video_service_that_is_away_is_told_of_as_503(self):
        with self.device() as device:
            device.service("stop", "video")
            for method in ("GET", "POST"):
                answer = ask(device.endpoints["page"], method, "/video/1")
                self.assertEqual(self.refusal(answer, 503), "the video service does not answer")


class Application(WebTest):
    def test_pages_are_told_of_the_cameras(self):
        with self.device("--scenes", self.scenes) as device:
            cameras = ask(device.endpoints["page"], "GET", "/cameras.json").json
            camera = {"name": "quiet.jsonl", "width": 1280, "height": 720, "aspectRatio": "16:9"}
            self.assertEqual(cameras, [{"id": 1, **camera}, {"id": 2, **camera}])

    def test_an_application_that_is_away_is_told_of_as_503(self):
        with self.device() as device:
            device.service("stop", "application")
            answer = ask(device.endpoints["page"], "POST", "/control", body=b"{}")
            self.assertEqual(self.refusal(answer, 503), "the control service does not answer")


class Events(WebTest):
    def test_may_be_read_and_nothing_else(self):
        with self.device() as device:
            page = device.endpoints["page"]
            before = retained(device)
            self.assertEqual(before["tarnwatch/status"], {"online": True})
            with WebSocketClient(page) as events:
                events.send(CONNECT)
                self.assertEqual(events.receive(), b"\x20\x02\x00\x00")
                events.send(subscribe("tarnwatch/status", "#", "$SYS/#"))
                until(lambda: b'tarnwatch/status{"online":true}' in events.receive(), "the state")
                for topic in ("tarnwatch/status", "tarnwatch/new", "elsewhere", "$SYS/x",
                              "tarnwatch/onvif-ej/PTZController/tnsorva:Move/&0"):  # fmt: skip
                    for retain in (True, False):
                        events.send(publish(topic, b"forged", retain))
                events.send(publish("tarnwatch/status", b"", True))
                events.send(b"\xc0\x00")  # a ping, answered behind all of it
                heard = b""
                while not heard.endswith(b"\xd0\x00"):
                    heard += events.receive()
                self.assertNotIn(b"forged", heard)
                self.assertNotIn(b"$SYS/broker", heard)
            with WebSocketClient(page) as events:
                events.send(connect_with_will("tarnwatch/status", b'{"online":false}'))
                events.receive()
            self.assertEqual(retained(device), before)


class OtherMachines(WebTest):
    def password(self, text=PASSWORD + "\n", mode=0o600):
        path = os.path.join(self.folder, "password")
        with open(path, "w", encoding="utf-8") as file:
            os.fchmod(file.fileno(), mode)
            file.write(text)
        return path

    @staticmethod
    def credentials(password, user="admin"):
        return "Authorization: Basic " + base64.b64encode(f"{user}:{password}".encode()).decode()

    def test_are_served_with_the_password_only_wherever_they_ask(self):
        upgrade = ("Upgrade: websocket", "Connection: Upgrade", "Sec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==",
                   "Sec-WebSocket-Version: 13", "Sec-WebSocket-Protocol: mqtt")  # fmt: skip
        places = [("GET", "/", ()), ("GET", "/page.js", ()), ("GET", "/nothing", ()), ("GET", "/endpoints.json", ()),
                  ("GET", "/cameras.json", ()), ("POST", "/control", ()), ("GET", "/control", ()), ("GET", "/events", upgrade),
                  ("GET", "/events", ()), ("GET", "/video/9", ())]  # fmt: skip
        wrong = [(), (self.credentials("wrong pass"),), (self.credentials(PASSWORD, "root"),), (self.credentials(PASSWORD + "x"),),
                 (self.credentials(""),), ("Authorization: Bearer x",)]  # fmt: skip
        with self.device("--listen", "0.0.0.0", "--password-file", self.password()) as device:
            page = device.endpoints["page"]
            self.assertRegex(page, r"http://0\.0\.0\.0:\d+/")
            self.assertRegex(device.endpoints["events"], r"mqtt://127\.0\.0\.1:\d+")
            asked = [(place, headers) for place in places for headers in wrong]
            with concurrent.futures.ThreadPoolExecutor(len(asked)) as pool:  # each takes a second
                answers = pool.map(lambda one: ask(page, one[0][0], one[0][1], *one[0][2], *one[1],
                                                   body=b"{}" if one[0][0] == "POST" else None), asked)  # fmt: skip
                for one, answer in zip(asked, answers):
                    self.assertEqual(answer.status, 401, one)
                    self.assertEqual(answer.headers["www-authenticate"], 'Basic realm="Tarnwatch"')
            right = self.credentials(PASSWORD)
            given = [ask(page, method, place, right, *more, body=b"{}" if method == "POST" else None).status
                     for method, place, more in places if more == ()]  # fmt: skip
            self.assertEqual(given, [200, 200, 404, 200, 200, given[5], 405, 426, 404])
            self.assertIn(given[5], (200, 503))
            with WebSocketClient(page, right) as events:
                events.send(CONNECT)
                self.assertEqual(events.receive(), b"\x20\x02\x00\x00")
            # A page of another origin that the browser holds the password of.
            self.refusal(ask(page, "POST", "/control", right, "Origin: http://elsewhere.example", body=b"{}"), 403)
            inside = ["curl", "-s", "-o", "/dev/null", "-w", "%{http_code}", "http://127.0.0.1:8080/"]
            self.assertEqual(device.enter(*inside), "200")

    def test_neither_the_password_nor_its_hash_lies_open(self):
        with self.device("--listen", "127.0.0.1", "--password-file", self.password()) as device:
            self.assertEqual(device.enter("stat", "-c", "%a", "/run/device/nginx/users"), "600\n")
            self.assertRegex(device.enter("cat", "/run/device/nginx/users"), r"\Aadmin:\{SSHA\}[A-Za-z0-9+/]+=*\n\Z")
            for command in device.commands():
                self.assertNotIn(PASSWORD, command)
            ask(device.endpoints["page"], "GET", "/nothing", self.credentials(PASSWORD))
            for secret in (PASSWORD, self.credentials(PASSWORD).split()[-1]):
                self.assertNotIn(secret, device.all_logs())
            for folder, _, names in os.walk(device.state):
                for name in names:
                    path = os.path.join(folder, name)
                    if stat.S_ISREG(os.stat(path).st_mode):
                        with open(path, "rb") as file:
                            self.assertNotIn(b"SSHA", file.read(), path)

    def test_the_service_never_sees_the_password(self):
        with self.device("--listen", "127.0.0.1", "--password-file", self.password(), application=stand_in.CONTROL) as device:
            answer = ask(device.endpoints["page"], "POST", "/control", self.credentials(PASSWORD), body=b"{}")
            self.assertEqual([name for name in answer.json["names"] if "AUTH" in name], [])

    def test_a_wrong_password_costs_its_sender_a_second_and_others_nothing(self):
        with self.device("--listen", "127.0.0.1", "--password-file", self.password()) as device:
            page = device.endpoints["page"]
            with concurrent.futures.ThreadPoolExecutor(40) as pool:
                guess = lambda _: (time.monotonic(), ask(page, "GET", "/", self.credentials("a guess")), time.monotonic())  # noqa: E731
                guesses = [pool.submit(guess, number) for number in range(40)]
                began = time.monotonic()
                for _ in range(50):
                    self.assertEqual(ask(page, "GET", "/", self.credentials(PASSWORD)).status, 200)
                self.assertLess(time.monotonic() - began, 20)  # 50 if they waited as well
                for began, answer, ended in (guess.result() for guess in guesses):
                    self.assertEqual(answer.status, 401)
                    self.assertGreaterEqual(ended - began, 0.9)

    def test_a_password_file_that_others_may_read_is_refused(self):
        for mode in (0o644, 0o640, 0o604, 0o602, 0o620):
            self.assertRegex(self.refused(self.password(mode=mode)), f"mode is {mode:04o}.*chmod 600")

    def test_a_password_that_is_none_is_refused(self):
        for text in ("", "\n", "\nsecond line\n", "short77\n", 8 * " " + "\n", 129 * "x", "tab\tin the middle"):
            self.assertIn("password", self.refused(self.password(text)))
        with open(path := self.password(), "wb") as file:
            file.write(b"\xff\xfe not a text")
        self.assertIn("not a text file", self.refused(path))
        self.assertIn("No such file", self.refused(os.path.join(self.folder, "none")))
        self.assertIn("directory", self.refused(self.folder))

    def refused(self, path):
        """Starts with this password file: one line and status 2, nothing is started; the line."""
        with self.device("--listen", "127.0.0.1", "--password-file", path, up=False) as device:
            self.assertEqual(device.process.wait(PATIENCE), 2)
            self.assertRegex(device.errors(), r"\Atarnwatch: [^\n]+\n\Z")
            return device.errors()

    def test_a_password_from_a_pipe_has_no_mode_to_speak_of(self):
        reading, writing = os.pipe()
        os.write(writing, PASSWORD.encode() + b"\n")
        os.close(writing)
        with self.device("--listen", "127.0.0.1", "--password-file", "/dev/stdin", stdin=reading) as device:
            os.close(reading)
            self.assertEqual(ask(device.endpoints["page"], "GET", "/", self.credentials(PASSWORD)).status, 200)

    def test_reach_the_web_port_and_no_other(self):
        with self.device("--listen", "0.0.0.0", "--password-file", self.password()) as device:
            _, web = device.endpoints["page"].rstrip("/").rsplit(":", 1)
            _, events = device.endpoints["events"].rsplit(":", 1)
            shown = subprocess.run(["cat", "/proc/net/tcp", "/proc/net/tcp6"], capture_output=True, text=True).stdout
            listening = {line.split()[1] for line in shown.splitlines() if len(line.split()) > 3 and line.split()[3] == "0A"}
            self.assertIn(f"00000000:{int(web):04X}", listening)
            self.assertEqual([one for one in listening if one.endswith(f":{int(events):04X}")], [f"0100007F:{int(events):04X}"])


if __name__ == "__main__":
    unittest.main()
