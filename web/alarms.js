// The alarm states of profiles, and the last alarms.

const KEPT = 20;

export class Alarms {
  #states = new Map(); // by "camera/uid": when the alarm began, null while quiet
  #past = []; // {camera, uid, began, ended}, newest first; ended is null while it lasts

  // Takes a state of the event bus; `active` is null when the profile is gone.
  take(camera, uid, active, time) {
    const key = `${camera}/${uid}`;
    const began = this.#states.get(key) ?? null;
    if (active && began === null) this.#begin(camera, uid, time);
    if (!active) this.#end(camera, uid, time);
    if (active === null) this.#states.delete(key);
    else this.#states.set(key, active ? (began ?? time) : null);
  }

  // Forgets the present states: they are told anew. Alarms that last go on when they are told again.
  forget() {
    this.#states.clear();
  }

  // "alarm", "quiet", or "" for a profile that the device does not run.
  state(camera, uid) {
    const began = this.#states.get(`${camera}/${uid}`);
    return began === undefined ? "" : began ? "alarm" : "quiet";
  }

  get active() {
    return [...this.#states.values()].filter((began) => began !== null).length;
  }

  activeOn(camera) {
    return [...this.#states].some(([key, began]) => began !== null && key.startsWith(`${camera}/`));
  }

  get past() {
    return this.#past;
  }

  #begin(camera, uid, time) {
    const told = this.#lasting(camera, uid);
    if (told?.began.getTime() === time.getTime()) return; // told again
    if (told) told.ended = time;
    this.#past = [{ camera, uid, began: time, ended: null }, ...this.#past].slice(0, KEPT);
  }

  #end(camera, uid, time) {
    const told = this.#lasting(camera, uid);
    if (told) told.ended = time;
  }

  #lasting(camera, uid) {
    return this.#past.find((one) => one.camera === camera && one.uid === uid && one.ended === null);
  }
}
