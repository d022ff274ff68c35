// What the device tells on the event bus, in the page's terms.

import { listen } from "./mqtt.js";

const PREFIX = "tarnwatch/";
const OWN = "tarnwatch/onvif-ej/tnsorva:DeviceAppHost/tnsorva:KTW/tnsorva:";

const PROFILE = /^Camera(\d+)Profile(-?\d+)$/;
const MOTION_LEVEL = /^Camera(\d+)MotionLevel$/;
const FRAME = "xinternal_data";

// Follows the device. The listeners, all of them wanted:
//   connected(bool)                   the event bus is heard; with true all states are told anew
//   online(bool)                      the application runs
//   alarm(camera, uid, active, time)  a profile's state; active is null when the profile is gone
//   motionLevel(camera, percent)      every five seconds while it is on
//   frame(svg)                        what the detection sees; empty when visual confirmation has ended
export function followDevice(listeners) {
  listen(`${PREFIX}#`, {
    onState: listeners.connected,
    onMessage: (topic, payload) => {
      const content = parsed(payload);
      if (topic === `${PREFIX}status`) listeners.online(content?.online === true);
      else if (topic.startsWith(OWN)) tell(listeners, topic.slice(OWN.length), content);
    },
  });
}

function tell(listeners, name, content) {
  const data = content?.Data;
  let match;
  if ((match = PROFILE.exec(name))) {
    const time = content ? new Date(content.UtcTime) : new Date();
    listeners.alarm(Number(match[1]), Number(match[2]), data ? data.active === true : null, time);
  } else if ((match = MOTION_LEVEL.exec(name))) {
    if (data) listeners.motionLevel(Number(match[1]), Number(data.motionlevel));
  } else if (name === FRAME) {
    if (data) listeners.frame(data.svgframe ?? "");
  }
}

function parsed(payload) {
  try {
    return JSON.parse(payload);
  } catch {
    return null;
  }
}
