"""Reads the device's /dev/log."""

import os
import re
import select
import socket
import threading

from bringup import logs

_MESSAGE = re.compile(r"<(\d{1,3})>(?:[A-Z][a-z]{2} [ \d]\d \d\d:\d\d:\d\d )?(.*)", re.DOTALL)
_PIECE = 100  # messages written at a time
_APPLICATION = re.compile(r"[Tt]arnwatch(?:\[\d+\])?: ?")


class SyslogReader:
    """Writes what the application logs to tarnwatch.log and what others log to syslog.log.

    syslog(3) blocks its caller when ten messages lie unread, so a thread of its own does nothing but
    read and write files, and no terminal or other task can hold it up.
    """

    def __init__(self, path: str, folder: str):
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self._socket.bind(path)
        os.chmod(path, 0o666)
        self._application = logs.Log(folder, "tarnwatch")
        self._others = logs.Log(folder, "syslog")
        self._closing, self._close = os.pipe()
        self._thread = threading.Thread(target=self._read, daemon=True)
        self._thread.start()

    def close(self) -> None:
        """Reads what still lies in the socket, then ends."""
        os.close(self._close)
        self._thread.join()
        self._socket.close()

    def _read(self) -> None:
        while self._closing not in select.select([self._socket, self._closing], [], [])[0]:
            self._drain()
        while self._drain():
            pass

    def _drain(self) -> bool:
        """Writes what lies in the socket, as far as it goes into one piece; whether there was more."""
        application, others = [], []
        more = True
        try:
            for _ in range(_PIECE):
                level, text = parse(self._socket.recv(1 << 18, socket.MSG_DONTWAIT))
                own = _APPLICATION.match(text)
                (application if own else others).append(logs.line(level, text[own.end() :] if own else text))
        except BlockingIOError:
            more = False
        if application:
            self._application.write(b"".join(application))
        if others:
            self._others.write(b"".join(others))
        return more


def parse(datagram: bytes) -> tuple[int, str]:
    """The level and the text, ident included, of a message as syslog(3) sends it."""
    text = datagram.decode("utf-8", "backslashreplace")
    message = _MESSAGE.match(text)
    return (int(message[1]) & 7, message[2]) if message else (6, text)
