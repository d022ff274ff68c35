// Draws the areas of a profile over the view and changes them by pointer and keyboard.

import { draw } from "./elements.js";
import { INCLUDE, within } from "./limits.js";

const HEIGHT = 1000; // of the drawing; its width follows from the view's shape
const STEP = 0.01; // of an arrow key
const BIG_STEP = 0.1; // with Shift

const ARROWS = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, 1], ArrowDown: [0, -1] };

// Points are [x, y] from -1 to 1, x to the right and y upwards; in the drawing y points down.
export class AreaEditor {
  #svg;
  #listeners;
  #width = HEIGHT;
  #areas = [];
  #selected = null; // the item of the selected area
  #corner = null; // the number of its corner that was used last
  #limits = null;
  #shapes = new Map(); // polygons by item
  #handles = []; // of the selected area's corners
  #middles = []; // of its edges, the first between corners 0 and 1

  // Listeners: changed() after each change of a point; selected(item) and corner(number or null) by the user.
  constructor(svg, listeners) {
    this.#svg = svg;
    this.#listeners = listeners;
    new ResizeObserver(() => this.#place()).observe(svg);
  }

  setRatio(ratio) {
    this.#width = HEIGHT * ratio;
    this.#svg.setAttribute("viewBox", `0 0 ${this.#width} ${HEIGHT}`);
    this.#place();
  }

  // Shows these areas, one of them selected; `limits` tells how many corners an area may have.
  show(areas, selected, limits) {
    if (selected !== this.#selected) this.#corner = null;
    [this.#areas, this.#selected, this.#limits] = [areas, selected, limits];
    this.#build();
  }

  // The selected area's last used corner, null if there is none or it cannot be spared.
  get removableCorner() {
    const area = this.#area;
    const spare = area && area.item.data.length > this.#bounds(area).minNbrVertices;
    return spare && this.#corner !== null ? this.#corner : null;
  }

  removeCorner() {
    if (this.removableCorner === null) return;
    const points = this.#area.item.data;
    points.splice(this.#corner, 1);
    this.#corner = Math.min(this.#corner, points.length - 1);
    this.#build();
    this.#handles[this.#corner].focus();
    this.#listeners.changed();
  }

  get #area() {
    return this.#areas.find((area) => area.item === this.#selected) ?? null;
  }

  #bounds(area) {
    return this.#limits?.of(area.type) ?? { minNbrVertices: 3, maxNbrVertices: 20 };
  }

  // How many units of the drawing a pixel on the screen has.
  get #unitsPerPixel() {
    return this.#svg.clientHeight ? HEIGHT / this.#svg.clientHeight : 1;
  }

  #toDrawing([x, y]) {
    return [((x + 1) / 2) * this.#width, ((1 - y) / 2) * HEIGHT];
  }

  #fromPointer(event) {
    const box = this.#svg.getBoundingClientRect();
    return [((event.clientX - box.left) / box.width) * 2 - 1, 1 - ((event.clientY - box.top) / box.height) * 2];
  }

  #build() {
    this.#svg.replaceChildren();
    this.#shapes.clear();
    [this.#handles, this.#middles] = [[], []];
    // The selected one on top, so that it can be grasped where areas overlap.
    const ordered = [...this.#areas].sort((one, other) => this.#isSelected(one) - this.#isSelected(other));
    for (const area of ordered) this.#svg.append(this.#shape(area));
    if (this.#area) this.#buildHandles(this.#area);
    this.#place();
  }

  #isSelected(area) {
    return area.item === this.#selected;
  }

  #shape(area) {
    const kind = area.type === INCLUDE ? "include" : "exclude";
    const shape = draw("polygon", {
      class: `area ${kind}${this.#isSelected(area) ? " selected" : ""}`,
      onpointerdown: (event) => this.#graspArea(event, area),
    });
    shape.append(draw("title", {}, area.label));
    this.#shapes.set(area.item, shape);
    return shape;
  }

  #buildHandles(area) {
    const points = area.item.data;
    if (points.length < this.#bounds(area).maxNbrVertices) {
      this.#middles = points.map((_, at) => this.#middle(area, at));
      this.#svg.append(...this.#middles);
    }
    this.#handles = points.map((_, at) => this.#handle(area, at));
    this.#svg.append(...this.#handles);
  }

  #handle(area, at) {
    const handle = grip("corner", {
      onpointerdown: (event) => this.#graspCorner(event, area, at),
      onkeydown: (event) => this.#key(event, area, at),
      onfocus: () => this.#use(at),
      ondblclick: () => {
        this.#use(at);
        this.removeCorner();
      },
    });
    handle.classList.toggle("used", at === this.#corner);
    return handle;
  }

  #middle(area, at) {
    const next = (at + 1) % area.item.data.length;
    return grip("middle", {
      "aria-label": `${area.label}: add a corner between ${at + 1} and ${next + 1}`,
      onpointerdown: (event) => {
        this.#addCorner(area, at);
        this.#graspCorner(event, area, at + 1);
      },
      onkeydown: (event) => {
        if (event.key !== "Enter" && event.key !== " ") return;
        event.preventDefault();
        this.#addCorner(area, at);
      },
    });
  }

  // Puts everything where the points are now.
  #place() {
    for (const area of this.#areas) {
      const points = area.item.data.map((point) => this.#toDrawing(point).join(","));
      this.#shapes.get(area.item)?.setAttribute("points", points.join(" "));
    }
    const area = this.#area;
    if (!area) return;
    const scale = this.#unitsPerPixel;
    area.item.data.forEach((point, at) => {
      const [x, y] = point;
      put(this.#handles[at], this.#toDrawing(point), scale);
      const place = `x ${x.toFixed(2)}, y ${y.toFixed(2)}`;
      this.#handles[at]?.setAttribute("aria-label", `${area.label}: corner ${at + 1}, ${place}`);
      const [nextX, nextY] = area.item.data[(at + 1) % area.item.data.length];
      put(this.#middles[at], this.#toDrawing([(x + nextX) / 2, (y + nextY) / 2]), scale);
    });
  }

  #use(at) {
    this.#corner = at;
    this.#handles.forEach((handle, number) => handle.classList.toggle("used", number === at));
    this.#listeners.corner(at);
  }

  #addCorner(area, at) {
    const points = area.item.data;
    const [x, y] = points[at];
    const [nextX, nextY] = points[(at + 1) % points.length];
    points.splice(at + 1, 0, [within((x + nextX) / 2), within((y + nextY) / 2)]);
    this.#corner = at + 1;
    this.#build();
    this.#handles[at + 1].focus();
    this.#listeners.changed();
  }

  #key(event, area, at) {
    if (event.key === "Delete" || event.key === "Backspace") {
      event.preventDefault();
      this.#use(at);
      this.removeCorner();
    } else if (ARROWS[event.key]) {
      event.preventDefault();
      const step = event.shiftKey ? BIG_STEP : STEP;
      const [x, y] = area.item.data[at];
      const [right, up] = ARROWS[event.key];
      this.#move(area, at, [x + right * step, y + up * step]);
    }
  }

  #move(area, at, [x, y]) {
    area.item.data[at] = [within(x), within(y)];
    this.#place();
    this.#listeners.changed();
  }

  #graspCorner(event, area, at) {
    if (event.button !== 0) return;
    const [startX, startY] = this.#fromPointer(event);
    const [x, y] = area.item.data[at];
    this.#handles[at].focus();
    this.#follow(event, ([nowX, nowY]) => this.#move(area, at, [x + nowX - startX, y + nowY - startY]));
  }

  #graspArea(event, area) {
    if (event.button !== 0) return;
    if (!this.#isSelected(area)) {
      this.#listeners.selected(area.item);
      return;
    }
    const start = this.#fromPointer(event);
    const points = area.item.data.map(([x, y]) => [x, y]);
    this.#follow(event, (now) => {
      const by = [0, 1].map((axis) => allowed(points, axis, now[axis] - start[axis]));
      area.item.data.forEach((_, at) => {
        area.item.data[at] = [within(points[at][0] + by[0]), within(points[at][1] + by[1])];
      });
      this.#place();
      this.#listeners.changed();
    });
  }

  // Calls `moved` with the pointer's place until it is let go.
  #follow(event, moved) {
    event.preventDefault();
    const { pointerId } = event;
    this.#svg.setPointerCapture(pointerId);
    const ending = new AbortController();
    const options = { signal: ending.signal };
    const move = (now) => now.pointerId === pointerId && moved(this.#fromPointer(now));
    const end = (now) => now.pointerId === pointerId && ending.abort();
    this.#svg.addEventListener("pointermove", move, options);
    this.#svg.addEventListener("pointerup", end, options);
    this.#svg.addEventListener("pointercancel", end, options);
  }
}

// How far points may be moved along an axis so that all stay in the view.
function allowed(points, axis, by) {
  const values = points.map((point) => point[axis]);
  return Math.min(1 - Math.max(...values), Math.max(-1 - Math.min(...values), by));
}

// A place to grasp: what is seen, and a larger one around it for fingers.
function grip(kind, properties) {
  const shown = kind === "corner" ? 7 : 4.5;
  return draw(
    "g",
    { class: kind, tabindex: 0, role: "button", ...properties },
    draw("circle", { class: "reach", r: kind === "corner" ? 18 : 13 }),
    draw("circle", { class: "dot", r: shown }),
  );
}

function put(element, [x, y], scale) {
  element?.setAttribute("transform", `translate(${x} ${y}) scale(${scale})`);
}
