// The view: the camera's picture, what the detection sees, and room for the drawing of areas above them.

import { MotionPicture } from "./motion_picture.js";

export class View {
  #box;
  #picture;
  #frame;
  #pending = null; // the newest frame that is not shown yet

  constructor(box, picture, frame) {
    [this.#box, this.#picture, this.#frame] = [box, new MotionPicture(picture), frame];
  }

  // Shows a camera of this number, with its picture while the device serves it: upright, as areas are told.
  show(camera, ratio) {
    this.#box.style.aspectRatio = String(ratio);
    this.#picture.show(camera === null ? null : `video/${camera}?rotation=0`);
    this.clearFrame();
  }

  // Lays an SVG frame over the picture. Frames that come faster than the screen draws are left out.
  showFrame(svg) {
    if (this.#pending === null) requestAnimationFrame(() => this.#drawFrame());
    this.#pending = svg;
  }

  clearFrame() {
    this.showFrame("");
  }

  #drawFrame() {
    // As a picture of its own it can neither run scripts nor load anything. Without its namespace it is
    // the empty frame.
    const drawable = this.#pending.startsWith("<svg xmlns");
    if (drawable) this.#frame.src = `data:image/svg+xml,${encodeURIComponent(this.#pending)}`;
    this.#frame.hidden = !drawable;
    this.#pending = null;
  }
}
