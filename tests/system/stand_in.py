"""A stand-in for the application, for tests of what bring-up does with one that misbehaves."""

APPLICATION = '''#!/usr/bin/python3
import json, os, signal, subprocess, sys, syslog, time

def publish(topic, payload):
    subprocess.run(["mosquitto_pub", "-r", "-q", "1", "-t", topic, "-m", payload])

def declare(event):
    publish("tarnwatch/onvif-ej/tnsorva:DeviceAppHost/tnsorva:KTW/tnsorva:" + event, '{"Data":{"active":false}}')

def online():
    publish("tarnwatch/status", '{"online":true}')

def forever():
    while True:
        time.sleep(100)

signal.signal(signal.SIGTERM, lambda *_: sys.exit(0))
syslog.openlog("Tarnwatch", syslog.LOG_NDELAY, syslog.LOG_USER)
'''

ORDERLY = APPLICATION + "online()\nforever()\n"

# Serves the control socket: tells of each request what reached it. A body of "break off" gets no answer,
# "nonsense" one that is none, "sleep" one that comes too late.
CONTROL = (
    APPLICATION
    + '''
import socketserver

class Request(socketserver.StreamRequestHandler):
    def handle(self):
        length = b""
        while not length.endswith(b":"):
            length += self.rfile.read(1)
        parts = self.rfile.read(int(length[:-1])).decode("latin-1").split("\\0")
        self.rfile.read(1)
        values = dict(zip(parts[0:-1:2], parts[1::2]))
        body = self.rfile.read(int(values["CONTENT_LENGTH"] or 0))
        if body == b"break off":
            return
        if body == b"nonsense":
            self.wfile.write(bytes(100))
            return
        if body == b"sleep":
            forever()
        told = {"length": len(body), "method": values["REQUEST_METHOD"], "names": sorted(values)}
        self.wfile.write(b"Content-Type: application/json\\r\\nStatus: 200 OK\\r\\n\\r\\n" + json.dumps(told).encode())

class Server(socketserver.ThreadingUnixStreamServer):
    daemon_threads = True
    request_queue_size = 128

path = "/run/device/http.sock"
if os.path.exists(path):
    os.unlink(path)
server = Server(path, Request)
online()
declare("Camera1Profile1")
server.serve_forever()
'''
)
