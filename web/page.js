// Shows the device's endpoints and the present alarm states.
"use strict";

const alarms = document.getElementById("alarms");
const connection = document.getElementById("connection");
const shown = new Map();

fetch("endpoints.json").then((answer) => answer.json()).then((endpoints) => {
  for (const [name, address] of Object.entries(endpoints)) {
    document.getElementById("endpoints").append(element("dt", name), element("dd", address));
  }
  const port = new URL(endpoints.events.replace("mqtt:", "http:")).port;
  document.getElementById("command").textContent = `mosquitto_sub -p ${port} -v -t 'tarnwatch/#'`;
});

function element(tag, text) {
  const made = document.createElement(tag);
  made.textContent = text;
  return made;
}

// One stateful event: a line with its topic, taken away when the event is undeclared.
function show(topic, payload) {
  if (payload === "") {
    shown.get(topic)?.remove();
    shown.delete(topic);
    return;
  }
  let state;
  try {
    state = Object.values(JSON.parse(payload).Data ?? {})[0];
  } catch {
    return;
  }
  if (typeof state !== "boolean") return;
  if (!shown.has(topic)) {
    const line = element("li", "");
    line.append(element("span", ""), element("code", topic.replace(/^tarnwatch\/onvif-ej\//, "")));
    const after = [...shown.keys()].sort().find((other) => other > topic);
    alarms.insertBefore(line, after ? shown.get(after) : null);
    shown.set(topic, line);
  }
  const line = shown.get(topic);
  line.className = state ? "active" : "";
  line.firstChild.textContent = state ? "alarm" : "quiet";
}

// Just enough of MQTT 3.1.1 for a listener at quality 0: connect, subscribe, take what is published.
const CONNECT = [0x10, 12, 0, 4, 77, 81, 84, 84, 4, 2, 0, 60, 0, 0];
const PING = [0xc0, 0];
const TOPICS = new TextEncoder().encode("tarnwatch/onvif-ej/#");
const SUBSCRIBE = [0x82, TOPICS.length + 5, 0, 1, 0, TOPICS.length, ...TOPICS, 0];

function listen() {
  const socket = new WebSocket(`${location.protocol === "https:" ? "wss" : "ws"}://${location.host}/events`, "mqtt");
  socket.binaryType = "arraybuffer";
  let waiting = new Uint8Array();
  let pings;
  socket.onopen = () => socket.send(new Uint8Array(CONNECT));
  socket.onmessage = ({ data }) => {
    waiting = Uint8Array.of(...waiting, ...new Uint8Array(data));
    for (let packet; (packet = take()); ) handle(packet);
  };
  socket.onclose = () => {
    clearInterval(pings);
    connection.textContent = "The event bus is away; trying again.";
    setTimeout(listen, 1000);
  };

  // Cuts the next whole packet off what has arrived.
  function take() {
    let length = 0, at = 1;
    for (let shift = 0; ; shift += 7, at++) {
      if (at >= waiting.length) return null;
      length += (waiting[at] & 127) << shift;
      if (waiting[at] < 128) break;
    }
    const end = at + 1 + length;
    if (waiting.length < end) return null;
    const packet = { kind: waiting[0] >> 4, body: waiting.subarray(at + 1, end) };
    waiting = waiting.slice(end);
    return packet;
  }

  function handle({ kind, body }) {
    if (kind === 2) {
      connection.textContent = "Listening.";
      for (const line of shown.values()) line.remove();
      shown.clear();
      socket.send(new Uint8Array(SUBSCRIBE));
      pings = setInterval(() => socket.send(new Uint8Array(PING)), 30000);
    } else if (kind === 3) {
      const text = new TextDecoder();
      const start = 2 + (body[0] << 8) + body[1];
      show(text.decode(body.subarray(2, start)), text.decode(body.subarray(start)));
    }
  }
}

listen();
