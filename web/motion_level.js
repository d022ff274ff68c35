// The motion level of the shown camera as a small graph, and its switch. The device does not tell whether
// it is on, so what is heard decides.

import { draw } from "./elements.js";

const KEPT = 60; // values, five minutes
const SILENCE = 13000; // ms; on, the device tells a value every five seconds
const WIDTH = 600;
const HEIGHT = 100;
const LEAST_TOP = 5; // percent at the top of the graph, at least

export class MotionLevel {
  #graph;
  #value;
  #switch;
  #values = new Map(); // by camera: [{at, level}]
  #camera = null;
  #heard = -Infinity;

  constructor(graph, value, theSwitch) {
    [this.#graph, this.#value, this.#switch] = [graph, value, theSwitch];
    graph.setAttribute("viewBox", `0 0 ${WIDTH} ${HEIGHT}`);
    setInterval(() => this.#show(), 1000);
  }

  show(camera) {
    this.#camera = camera;
    this.#show();
  }

  take(camera, level) {
    if (!Number.isFinite(level)) return;
    this.#heard = performance.now();
    const values = this.#values.get(camera) ?? [];
    this.#values.set(camera, [...values, level].slice(-KEPT));
    this.#switch.checked = true;
    this.#show();
  }

  // The user has switched it; false is believed at once, true once a value comes.
  switched(on) {
    this.#heard = on ? performance.now() : -Infinity;
    if (!on) this.#values.clear();
    this.#show();
  }

  #show() {
    const on = performance.now() - this.#heard < SILENCE;
    if (!on) this.#switch.checked = false;
    const values = this.#values.get(this.#camera) ?? [];
    const last = values.at(-1);
    this.#value.textContent = !on ? "off" : last === undefined ? "waiting for the first value" : `${last.toFixed(1)} %`;
    this.#graph.toggleAttribute("hidden", !on);
    this.#draw(on ? values : []);
  }

  #draw(values) {
    const top = Math.max(LEAST_TOP, ...values);
    const step = WIDTH / (KEPT - 1);
    const start = WIDTH - (values.length - 1) * step;
    const points = values.map((level, at) => `${start + at * step},${HEIGHT - (level / top) * (HEIGHT - 4)}`);
    this.#graph.replaceChildren();
    if (!points.length) return;
    const area = [`${start},${HEIGHT}`, ...points, `${WIDTH},${HEIGHT}`].join(" ");
    this.#graph.append(draw("polygon", { points: area }), draw("polyline", { points: points.join(" ") }));
  }
}
