// Visual confirmation: asks the device for pictures of what the detection of one profile sees, for as
// long as the page shows that profile.

import { call, callAndLeave } from "./control.js";

const IDENTITY = [1, 0, 0, 0, 1, 0, 0, 0, 1]; // the view is the whole stream
const RENEWAL = 10 * 60 * 1000; // ms; the device stops by itself after 15 minutes
const RETRY_DELAY = 2000; // ms, while the device does not answer
const SETTLING = 3000; // ms in which an end may be that of the profile before

export class Confirmation {
  #changed;
  #uid = null; // the wanted profile
  #asked = -Infinity;

  // `changed(on, problem)` tells whether pictures may be expected; problem is an Error or null.
  constructor(changed) {
    this.#changed = changed;
    setInterval(() => this.renew(), RENEWAL);
    addEventListener("pagehide", () => this.#uid !== null && callAndLeave("stopVisualConfirmation"));
    addEventListener("pageshow", ({ persisted }) => persisted && this.renew());
  }

  get on() {
    return this.#uid !== null;
  }

  // Wants pictures of this profile, or of none with null.
  async want(uid) {
    if (uid === this.#uid) return;
    const before = this.#uid;
    this.#uid = uid;
    if (uid !== null) await this.renew();
    else if (before !== null) await this.#ask("stopVisualConfirmation");
  }

  // Asks once more for what is wanted: in time, or because the device may have forgotten.
  async renew() {
    if (this.#uid === null) return;
    await this.#ask("startVisualConfirmation", { profile: this.#uid, transform: IDENTITY });
  }

  // Takes note that the device has told the end of the pictures: by another user of the device, unless
  // this page has just asked for something.
  ended() {
    if (this.#uid === null || performance.now() - this.#asked < SETTLING) return;
    this.#uid = null;
    this.#changed(false, new Error("Somebody else uses the live view, or it was stopped."));
  }

  // What is asked now may make the device tell an end that is none.
  expectEnd() {
    this.#asked = performance.now();
  }

  async #ask(method, params) {
    const wanted = this.#uid;
    this.expectEnd();
    try {
      await call(method, params);
      if (wanted === this.#uid) this.#changed(this.on, null);
    } catch (problem) {
      if (wanted !== this.#uid) return;
      if (wanted !== null && !problem.code) {
        setTimeout(() => this.renew(), RETRY_DELAY); // away, or just starting
        return;
      }
      this.#uid = null;
      this.#changed(false, problem);
    }
  }
}
