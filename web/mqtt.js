// A listener of the event bus: just enough of MQTT 3.1.1 over WebSocket to subscribe at quality 0.

const CONNECT = [0x10, 12, 0, 4, 77, 81, 84, 84, 4, 2, 0, 60, 0, 0];
const PING = [0xc0, 0];
const CONNECT_ACKNOWLEDGED = 2;
const PUBLISHED = 3;

const PING_INTERVAL = 30000; // ms
const SILENCE_LIMIT = 75000; // ms without a word, not even an answer to a ping
const RETRY_DELAY = 1000; // ms

// Listens for as long as the page lives, through outages. `onMessage` gets topic and payload as texts;
// `onState` gets true when listening begins anew, which brings all retained messages again, and false
// when it ends.
export function listen(topic, { onMessage, onState }) {
  const scheme = location.protocol === "https:" ? "wss" : "ws";
  const socket = new WebSocket(`${scheme}://${location.host}/events`, "mqtt");
  let waiting = new Uint8Array();
  let heard = performance.now();
  let pings;

  socket.binaryType = "arraybuffer";
  socket.onopen = () => socket.send(new Uint8Array(CONNECT));
  socket.onmessage = ({ data }) => {
    heard = performance.now();
    waiting = joined(waiting, new Uint8Array(data));
    for (let packet; (packet = firstPacket(waiting)); ) {
      waiting = waiting.subarray(packet.size);
      take(packet);
    }
  };
  socket.onclose = () => {
    clearInterval(pings);
    onState(false);
    setTimeout(() => listen(topic, { onMessage, onState }), RETRY_DELAY);
  };

  function take({ kind, body }) {
    if (kind === CONNECT_ACKNOWLEDGED) {
      onState(true);
      socket.send(subscription(topic));
      pings = setInterval(ping, PING_INTERVAL);
    } else if (kind === PUBLISHED) {
      const start = 2 + (body[0] << 8) + body[1];
      const text = new TextDecoder();
      onMessage(text.decode(body.subarray(2, start)), text.decode(body.subarray(start)));
    }
  }

  function ping() {
    if (performance.now() - heard > SILENCE_LIMIT) socket.close();
    else socket.send(new Uint8Array(PING));
  }
}

function subscription(topic) {
  const name = new TextEncoder().encode(topic);
  return new Uint8Array([0x82, name.length + 5, 0, 1, 0, name.length, ...name, 0]);
}

function joined(first, second) {
  if (!first.length) return second;
  const both = new Uint8Array(first.length + second.length);
  both.set(first);
  both.set(second, first.length);
  return both;
}

// The first packet, if all of it is there: its kind, its body, its size in bytes.
function firstPacket(bytes) {
  let length = 0;
  let at = 1;
  for (let shift = 0; ; shift += 7, at++) {
    if (at >= bytes.length) return null;
    length += (bytes[at] & 127) << shift;
    if (bytes[at] < 128) break;
  }
  const size = at + 1 + length;
  return bytes.length < size ? null : { kind: bytes[0] >> 4, body: bytes.subarray(at + 1, size), size };
}
