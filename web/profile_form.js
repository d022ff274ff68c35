// The form of one profile: name, filters, preset, test alarm.

import { make } from "./elements.js";
import { LIFETIME, SIZE, SWAYING } from "./limits.js";
import { nameProblem, numberProblem } from "./configuration.js";

const WORDS = {
  [SIZE]: { title: "Ignore small objects", parts: ["Width", "Height"], before: "smaller than", unit: "%" },
  [LIFETIME]: { title: "Ignore short-lived objects", parts: ["Seconds"], before: "seen for less than", unit: "s" },
  [SWAYING]: { title: "Ignore swaying objects", parts: ["Distance"], before: "moved by less than", unit: "%" },
};
const ANY_PRESET = -2;

export class ProfileForm {
  #place;
  #listeners;
  #problems = new Map(); // by field: what is wrong
  #test = null;

  // Listeners: changed() after each change of the profile, test() and remove() when asked for.
  constructor(place, listeners) {
    [this.#place, this.#listeners] = [place, listeners];
  }

  // Whether all fields hold what the device takes.
  get valid() {
    return this.#problems.size === 0;
  }

  focusName() {
    this.#place.querySelector("input")?.select();
  }

  // Moves to the first field that is wrong.
  focusProblem() {
    this.#place.querySelector("[aria-invalid=true]")?.focus();
  }

  // Shows a profile of a camera, or none; changes go straight into them.
  show(profile, camera, limits) {
    this.#problems.clear();
    this.#place.replaceChildren();
    if (!profile) return;
    this.#test = make("button", { type: "button", textContent: "Send test alarm", onclick: this.#listeners.test });
    const remove = make("button", { type: "button", className: "danger", textContent: "Delete profile", onclick: this.#listeners.remove });
    this.#place.append(
      this.#name(profile, limits),
      make("fieldset", { className: "filters" }, make("legend", { textContent: "Filters" }), ...this.#filters(profile, limits)),
      ...(limits.presets ? [this.#preset(profile)] : []),
      ...(limits.overlayResolutions(profile.camera).length ? [this.#overlay(profile, camera, limits)] : []),
      make("div", { className: "bar" }, this.#test, remove),
    );
  }

  // Whether a test alarm can be asked for: the device must run the profile.
  allowTest(allowed) {
    if (!this.#test) return;
    this.#test.disabled = !allowed;
    this.#test.title = allowed ? "" : "Only for a saved profile of a camera that is analysed";
  }

  #name(profile, limits) {
    const input = make("input", { type: "text", value: profile.name, autocomplete: "off", spellcheck: false });
    return this.#field("Name", input, null, () => {
      profile.name = input.value;
      return nameProblem(input.value, limits.profiles);
    });
  }

  // A row for each filter that is there, and one for each type that is not but could be.
  #filters(profile, limits) {
    return limits.filterTypes.flatMap((type) => {
      const there = profile.filters.filter((filter) => filter.type === type);
      return there.length ? there.map((filter) => this.#filter(profile, filter, limits)) : [this.#filter(profile, null, limits, type)];
    });
  }

  #filter(profile, present, limits, type = present.type) {
    let filter = present;
    const proposal = limits.newFilter(type);
    const { min, max } = limits.of(type);
    const words = WORDS[type];
    const active = make("input", { type: "checkbox", checked: filter?.active ?? false });
    const numbers = words.parts.map((part, at) => {
      const [least, most] = [min, max].map((bound) => (Array.isArray(bound) ? bound[at] : bound));
      const value = Array.isArray(proposal.data) ? (filter ?? proposal).data[at] : (filter ?? proposal).data;
      const input = make("input", { type: "number", min: least, max: most, step: 1, value, inputMode: "numeric" });
      return this.#field(part, input, `${words.unit} (${least} to ${most})`, () => {
        const problem = numberProblem(input.valueAsNumber, least, most);
        if (!problem) set(at, input.valueAsNumber);
        return problem;
      });
    });
    const set = (at, value) => {
      ensure();
      if (Array.isArray(filter.data)) filter.data[at] = value;
      else filter.data = value;
    };
    const ensure = () => {
      if (filter) return;
      filter = Object.assign(proposal, { active: false });
      profile.filters.push(filter);
    };
    const dim = () => row.classList.toggle("off", !active.checked);
    active.addEventListener("change", () => {
      ensure();
      filter.active = active.checked;
      dim();
      this.#listeners.changed();
    });
    const title = make("label", { className: "switch" }, active, ` ${words.title}`);
    const row = make("div", { className: "filter", role: "group", "aria-label": words.title }, title,
      make("div", { className: "numbers" }, make("span", { textContent: words.before }), ...numbers));
    dim();
    return row;
  }

  #preset(profile) {
    const present = profile.presets?.[0] ?? ANY_PRESET;
    const any = make("input", { type: "checkbox", checked: present === ANY_PRESET });
    const number = make("input", { type: "number", step: 1, value: present === ANY_PRESET ? 1 : present, disabled: any.checked });
    const take = () => {
      number.disabled = any.checked;
      if (any.checked) profile.presets = [];
      else if (Number.isInteger(number.valueAsNumber)) profile.presets = [number.valueAsNumber];
      return any.checked || Number.isInteger(number.valueAsNumber) ? null : "A whole number.";
    };
    const field = this.#field("Preset", number, null, take);
    any.addEventListener("change", () => number.dispatchEvent(new Event("input")));
    return make("fieldset", {}, make("legend", { textContent: "Camera position" }),
      make("label", { className: "switch" }, any, " At every preset"), field);
  }

  // Whether its alarms are drawn into the video, and in which picture size; that is the camera's.
  #overlay(profile, camera, limits) {
    const sizes = limits.overlayResolutions(profile.camera);
    const drawn = make("input", { type: "checkbox", checked: profile.alarmOverlayEnabled ?? false });
    const option = (size) => make("option", { value: size, textContent: size.replace("x", " × ") });
    const size = make("select", { disabled: !drawn.checked }, ...sizes.map(option));
    size.value = sizes.includes(camera.overlayResolution) ? camera.overlayResolution : sizes[0];
    const take = () => {
      profile.alarmOverlayEnabled = drawn.checked;
      size.disabled = !drawn.checked;
      if (drawn.checked) camera.overlayResolution = size.value;
      this.#listeners.changed();
    };
    for (const input of [drawn, size]) input.addEventListener("change", take);
    return make("fieldset", { className: "overlay" }, make("legend", { textContent: "Video" }),
      make("label", { className: "switch" }, drawn, " Draw its alarms into the video"),
      make("label", { className: "field" }, make("span", { textContent: "Picture size" }), size,
        make("small", { textContent: "of all profiles of this camera" })));
  }

  // A labelled field; `take` takes the input over and tells what is wrong with it, or null.
  #field(label, input, unit, take) {
    const note = make("small", { className: "problem" });
    input.addEventListener("input", () => {
      const problem = take();
      if (problem) this.#problems.set(input, problem);
      else this.#problems.delete(input);
      note.textContent = problem ?? "";
      input.setAttribute("aria-invalid", String(problem !== null));
      this.#listeners.changed();
    });
    return make("label", { className: "field" }, make("span", { textContent: label }), input,
      unit === null ? null : make("small", { textContent: unit }), note);
  }
}
