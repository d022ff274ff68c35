// What a configuration may contain on this device, out of its capabilities.

export const INCLUDE = "includeArea";
export const EXCLUDE = "excludeArea";
export const SIZE = "sizePercentage";
export const LIFETIME = "timeShortLivedLimit";
export const SWAYING = "distanceSwayingObject";

export class Limits {
  #kinds;

  #overlayResolutions = new Map(); // by camera

  constructor(capabilities) {
    this.#kinds = new Map();
    for (const kind of [...(capabilities.filters ?? []), ...(capabilities.triggers ?? [])]) {
      this.#kinds.set(kind.type, kind);
    }
    this.profiles = capabilities.profiles ?? {};
    this.presets = capabilities.presets ?? null; // null: not a PTZ device
    this.hasMotionLevel = capabilities.motionLevel?.isSupported === true;
    for (const { id, availableResolutions } of capabilities.alarmOverlay?.cameras ?? []) {
      this.#overlayResolutions.set(id, availableResolutions);
    }
  }

  // The picture sizes in which alarms can be drawn into a camera's video; none if they cannot.
  overlayResolutions(camera) {
    return this.#overlayResolutions.get(camera) ?? [];
  }

  // Bounds and proposals for a type of filter or trigger, null if the device does not offer it.
  of(type) {
    return this.#kinds.get(type) ?? null;
  }

  get filterTypes() {
    return [SIZE, LIFETIME, SWAYING].filter((type) => this.of(type));
  }

  // A new filter with the device's proposals.
  newFilter(type) {
    const { default: data, defaultActive: active } = this.of(type);
    return { active, data: structuredClone(data), type };
  }

  // A new area with the device's proposal, moved a little for each one that is there already.
  newArea(type, present = 0) {
    const move = ([x, y]) => [within(x + 0.1 * present), within(y - 0.1 * present)];
    return { type, data: this.of(type).defaultInstance.map(move) };
  }
}

// A coordinate, within the view and with the four digits that the device stores.
export function within(value) {
  return Math.round(Math.min(1, Math.max(-1, value)) * 10000) / 10000;
}
