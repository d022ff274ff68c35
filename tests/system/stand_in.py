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
