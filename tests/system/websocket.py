"""Just enough of a WebSocket and MQTT client to speak to /events, also out of turn."""

import socket
import struct

from device import PATIENCE


def _text(text):
    data = text.encode() if isinstance(text, str) else text
    return struct.pack(">H", len(data)) + data


def _packet(kind, body):
    assert len(body) < 128
    return bytes([kind, len(body)]) + body


CONNECT = _packet(0x10, b"\x00\x04MQTT\x04\x02\x00\x3c\x00\x00")


def connect_with_will(topic, payload):
    """CONNECT with a retained last will."""
    return _packet(0x10, b"\x00\x04MQTT\x04\x26\x00\x3c\x00\x00" + _text(topic) + _text(payload))


def subscribe(*topics):
    """SUBSCRIBE at quality 0."""
    return _packet(0x82, b"\x00\x01" + b"".join(_text(topic) + b"\x00" for topic in topics))


def publish(topic, payload, retain):
    """PUBLISH at quality 0."""
    return _packet(0x31 if retain else 0x30, _text(topic) + payload)


class WebSocketClient:
    """An open WebSocket at /events; further headers may be given. Raises AssertionError unless it opens."""

    def __init__(self, page, *headers):
        host, port = page.removeprefix("http://").rstrip("/").rsplit(":", 1)
        self._socket = socket.create_connection((host, int(port)), timeout=PATIENCE)
        lines = ["GET /events HTTP/1.1", f"Host: {host}:{port}", "Upgrade: websocket", "Connection: Upgrade",
                 f"Origin: http://{host}:{port}", "Sec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==",
                 "Sec-WebSocket-Version: 13", "Sec-WebSocket-Protocol: mqtt", *headers]  # fmt: skip
        self._socket.sendall("\r\n".join([*lines, "", ""]).encode())
        answer = b""
        while not answer.endswith(b"\r\n\r\n"):
            piece = self._socket.recv(1)
            assert piece, answer
            answer += piece
        assert b" 101 " in answer, answer

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._socket.close()

    def send(self, data):
        """Sends one binary frame, masked with zeros."""
        assert len(data) < 65536
        length = bytes([0x80 | len(data)]) if len(data) < 126 else b"\xfe" + struct.pack(">H", len(data))
        self._socket.sendall(b"\x82" + length + bytes(4) + data)

    def receive(self):
        """The next frame's content."""
        length = self._exactly(2)[1]
        if length == 126:
            length = struct.unpack(">H", self._exactly(2))[0]
        elif length == 127:
            length = struct.unpack(">Q", self._exactly(8))[0]
        return self._exactly(length)

    def _exactly(self, count):
        data = b""
        while len(data) < count:
            piece = self._socket.recv(count - len(data))
            assert piece, "the connection has ended"
            data += piece
        return data
