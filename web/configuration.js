// The configuration document as the page edits it. What the page does not know stays in it untouched:
// it is changed in place, never built anew.

import { fromText, toText } from "./control.js";
import { EXCLUDE, INCLUDE } from "./limits.js";

export class Configuration {
  #stored;

  // `params` is what the device has stored.
  constructor(params) {
    this.params = params;
    this.#stored = toText(params);
  }

  get cameras() {
    return this.params.cameras;
  }

  get profiles() {
    return this.params.profiles;
  }

  // The device's count of accepted configurations when this one was read.
  get status() {
    return this.params.configurationStatus ?? 0;
  }

  get changed() {
    return toText(this.params) !== this.#stored;
  }

  discard() {
    this.params = fromText(this.#stored);
  }

  profile(uid) {
    return this.profiles.find((profile) => profile.uid === uid) ?? null;
  }

  profilesOf(camera) {
    return this.profiles.filter((profile) => profile.camera === camera);
  }

  // Whether the device has this profile, and runs it.
  isStored(uid) {
    return fromText(this.#stored).profiles.some((profile) => profile.uid === uid);
  }

  isRunning(uid) {
    const stored = fromText(this.#stored);
    const profile = stored.profiles.find((one) => one.uid === uid);
    return stored.cameras.some((camera) => camera.id === profile?.camera && camera.active);
  }

  // Adds a profile with the device's proposals; it.
  add(camera, limits) {
    const uid = this.#freeUid();
    const profile = {
      name: this.#freeName(camera),
      uid,
      camera,
      filters: limits.filterTypes.map((type) => limits.newFilter(type)),
      triggers: [limits.newArea(INCLUDE)],
    };
    if (limits.presets) profile.presets = [];
    this.profiles.push(profile);
    return profile;
  }

  remove(uid) {
    this.params.profiles = this.profiles.filter((profile) => profile.uid !== uid);
  }

  #freeUid() {
    const taken = new Set([0, ...this.profiles.map((profile) => profile.uid)]);
    const next = Math.max(...taken) + 1;
    if (next <= 2147483647) return next;
    for (let uid = 1; ; uid++) if (!taken.has(uid)) return uid;
  }

  #freeName(camera) {
    const taken = new Set(this.profilesOf(camera).map((profile) => profile.name));
    for (let number = 1; ; number++) if (!taken.has(`Profile ${number}`)) return `Profile ${number}`;
  }
}

// The areas of a profile, the include area first: {type, label, item}, with the points in item.data.
export function areasOf(profile) {
  const excluded = profile.filters.filter((filter) => filter.type === EXCLUDE);
  const included = profile.triggers.filter((trigger) => trigger.type === INCLUDE);
  return [
    ...included.map((item) => ({ type: INCLUDE, label: "Include area", item })),
    ...excluded.map((item, at) => ({ type: EXCLUDE, label: `Exclude area ${at + 1}`, item })),
  ];
}

export function addArea(profile, area) {
  (area.type === INCLUDE ? profile.triggers : profile.filters).push(area);
}

export function removeArea(profile, area) {
  const list = area.type === INCLUDE ? "triggers" : "filters";
  profile[list] = profile[list].filter((item) => item !== area);
}

// What is wrong with a profile's name, null if nothing is.
export function nameProblem(name, { minLengthName = 1, maxLengthName = 64 }) {
  const length = [...name.trim()].length;
  if (length < minLengthName) return "A profile needs a name.";
  if (length > maxLengthName) return `A name has at most ${maxLengthName} characters.`;
  if (/[<>]/.test(name)) return "A name holds neither < nor >.";
  return null;
}

// What is wrong with a number between bounds, null if nothing is.
export function numberProblem(value, min, max) {
  return Number.isInteger(value) && value >= min && value <= max ? null : `A whole number from ${min} to ${max}.`;
}
