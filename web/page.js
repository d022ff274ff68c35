// The page: what is shown and selected, and who is told of what.

import { Alarms } from "./alarms.js";
import { AreaEditor } from "./area_editor.js";
import { addArea, areasOf, Configuration, nameProblem, removeArea } from "./configuration.js";
import { Confirmation } from "./confirmation.js";
import { call, ControlError } from "./control.js";
import { make, renew } from "./elements.js";
import { followDevice } from "./events.js";
import { EXCLUDE, INCLUDE, Limits } from "./limits.js";
import { MotionLevel } from "./motion_level.js";
import { ProfileForm } from "./profile_form.js";
import { View } from "./view.js";

const RETRY_DELAY = 2000; // ms
const WIDE = 16 / 9; // the shape of a picture that nobody tells

const at = (id) => document.getElementById(id);

const device = { connected: false, online: false, versions: [], pictures: new Map() };
const alarms = new Alarms();
let configuration = null;
let limits = null;
const selected = { camera: null, uid: null, area: null };
let saving = false;
let justSaved = false;
let wantsView = true; // the user's wish, whichever profile is shown

const view = new View(at("view"), at("picture"), at("frame"));
const motionLevel = new MotionLevel(at("motion-graph"), at("motion-value"), at("motion-switch"));
const editor = new AreaEditor(at("drawing"), { changed: edited, selected: selectArea, corner: showAreaTools });
const form = new ProfileForm(at("profile"), { changed: formChanged, test: sendTestAlarm, remove: removeProfile });
const confirmation = new Confirmation(confirmationChanged);

// --- what the device tells

followDevice({
  connected: (connected) => {
    device.connected = connected;
    if (!connected) view.clearFrame();
    alarms.forget();
    showState();
    showAlarms();
  },
  online: (online) => {
    const came = online && !device.online;
    device.online = online;
    if (came && configuration) confirmation.renew();
    if (!online) view.clearFrame();
    showState();
  },
  alarm: (camera, uid, active, time) => {
    alarms.take(camera, uid, active, time);
    showAlarms();
  },
  motionLevel: (camera, level) => motionLevel.take(camera, level),
  frame: (svg) => {
    if (svg === "") confirmation.ended();
    if (confirmation.on || svg === "") view.showFrame(svg);
  },
});

// --- reading and saving

async function load() {
  for (;;) {
    try {
      await readAll();
      return;
    } catch (problem) {
      if (!(problem instanceof ControlError)) throw problem;
      tell(`${words(problem)} Trying again…`);
      await new Promise((resolve) => setTimeout(resolve, RETRY_DELAY));
    }
  }
}

async function readAll() {
  const [versions, capabilities, params] = [
    await call("getSupportedVersions"),
    await call("getConfigurationCapabilities"),
    await call("getConfiguration"),
  ];
  device.versions = versions.apiVersions ?? [];
  limits = new Limits(capabilities);
  at("motion").hidden = !limits.hasMotionLevel;
  at("motion-switch").disabled = false;
  tell("");
  showState();
  takeConfiguration(params);
}

function takeConfiguration(params) {
  replaceDocument(() => (configuration = new Configuration(params)));
}

// Replaces the document, or what is in it; the area that is selected stays so by its place.
function replaceDocument(replace) {
  const place = profile() ? areasOf(profile()).findIndex((area) => area.item === selected.area) : -1;
  replace();
  selected.area = profile() ? (areasOf(profile())[place]?.item ?? null) : null;
  showAll();
}

async function readPictures() {
  try {
    const cameras = await (await fetch("cameras.json")).json();
    for (const camera of cameras) device.pictures.set(camera.id, camera);
  } catch {
    return; // the usual shape, then
  }
}

async function showEndpoints() {
  try {
    const { events } = await (await fetch("endpoints.json")).json();
    const { port } = new URL(events.replace("mqtt:", "http:"));
    at("command").textContent = `mosquitto_sub -p ${port} -v -t 'tarnwatch/#'`;
  } catch {
    return; // the usual port, then
  }
}

// Saves unless somebody else has saved since this page has read; then the user decides.
async function save({ anyway = false } = {}) {
  if (saving) return;
  if (!mayBeSaved()) return;
  saving = true;
  justSaved = false;
  showSaving();
  try {
    const present = new Configuration(await call("getConfiguration"));
    if (!anyway && present.status !== configuration.status) {
      tell("The configuration was changed elsewhere in the meantime.", { choice: true });
      return;
    }
    const { configurationStatus, ...params } = configuration.params;
    confirmation.expectEnd();
    await call("setConfiguration", params);
    takeConfiguration(await call("getConfiguration"));
    confirmation.expectEnd();
    tell("");
    justSaved = true;
  } catch (problem) {
    tell(`Not saved. ${words(problem)}`);
  } finally {
    saving = false;
    showSaving();
  }
}

function mayBeSaved() {
  const wrong = configuration.profiles.find((profile) => nameProblem(profile.name, limits.profiles));
  if (wrong && wrong.uid !== selected.uid) selectProfile(wrong.camera, wrong.uid);
  if (form.valid && !wrong) return true;
  tell(wrong ? nameProblem(wrong.name, limits.profiles) : "Not saved: a value is out of its limits.");
  form.focusProblem();
  return false;
}

function discard() {
  tell("");
  replaceDocument(() => configuration.discard());
}

function words(problem) {
  return problem.code ? `${problem.message} (code ${problem.code}).` : problem.message;
}

function tell(text, { choice = false } = {}) {
  at("message").hidden = text === "";
  at("message").querySelector("p").textContent = text;
  for (const id of ["load-theirs", "save-anyway"]) at(id).hidden = !choice;
}

// --- selecting

function camera(id = selected.camera) {
  return configuration.cameras.find((one) => one.id === id) ?? null;
}

function profile() {
  return configuration?.profile(selected.uid) ?? null;
}

function selectCamera(id) {
  selectProfile(id, configuration.profilesOf(id)[0]?.uid ?? null);
}

function selectProfile(cameraId, uid) {
  selected.camera = cameraId;
  selected.uid = uid;
  selected.area = null;
  showAll();
}

function selectArea(item) {
  selected.area = item;
  showAreas();
}

// Keeps what is selected among what is there.
function settleSelection() {
  if (!camera()) selected.camera = configuration.cameras[0]?.id ?? null;
  const own = configuration.profilesOf(selected.camera);
  if (!own.some((one) => one.uid === selected.uid)) selected.uid = own[0]?.uid ?? null;
}

// --- changing

function edited() {
  showSaving();
  showAreaTools();
}

function formChanged() {
  showProfiles();
  edited();
}

function addProfile() {
  const added = configuration.add(selected.camera, limits);
  selectProfile(added.camera, added.uid);
  form.focusName();
}

function removeProfile() {
  const { name } = profile();
  configuration.remove(selected.uid);
  showAll();
  at("unsaved").textContent = `“${name}” will be deleted when you save`;
}

function proposeArea(type) {
  const present = areasOf(profile()).filter((area) => area.type === type).length;
  const area = limits.newArea(type, present);
  addArea(profile(), area);
  selectArea(area);
  edited();
}

function removeSelectedArea() {
  const area = areasOf(profile()).find((one) => one.item === selected.area);
  removeArea(profile(), area.item);
  selected.area = null;
  showAreas();
  edited();
}

async function sendTestAlarm() {
  try {
    await call("sendAlarmEvent", { profile: selected.uid });
    tell("");
  } catch (problem) {
    tell(`No test alarm. ${words(problem)}`);
  }
}

async function switchMotionLevel() {
  const on = at("motion-switch").checked;
  try {
    await call(on ? "startMotionLevel" : "stopMotionLevel");
    motionLevel.switched(on);
  } catch (problem) {
    at("motion-switch").checked = !on;
    tell(`The motion level cannot be switched. ${words(problem)}`);
  }
}

// --- the live view

function updateConfirmation() {
  const possible = selected.uid !== null && configuration.isRunning(selected.uid);
  at("confirm").disabled = !possible;
  confirmation.want(wantsView && possible ? selected.uid : null);
  at("confirm").checked = confirmation.on;
  if (!confirmation.on) view.clearFrame();
}

function confirmationChanged(on, problem) {
  at("confirm").checked = on;
  if (!on) view.clearFrame();
  if (problem) {
    wantsView = false;
    tell(`The live view is off. ${words(problem)}`);
  }
}

// --- showing

function showState() {
  const state = !device.connected ? "away" : device.online ? "online" : "offline";
  const text = { away: "The device is away, trying again…", online: "Online", offline: "The application is not running" };
  at("state").className = state;
  at("state").textContent = text[state];
  at("versions").textContent = device.versions.length ? `API ${device.versions.at(0)} to ${device.versions.at(-1)}` : "";
}

function showAll() {
  settleSelection();
  const picture = device.pictures.get(selected.camera);
  const [width, height] = (picture?.aspectRatio ?? "").split(":").map(Number);
  const ratio = width / height || WIDE;
  if (at("view").dataset.camera !== String(selected.camera)) {
    at("view").dataset.camera = selected.camera;
    view.show(selected.camera, ratio);
    editor.setRatio(ratio);
  }
  motionLevel.show(selected.camera);
  showCameras();
  form.show(profile(), camera(), limits);
  showAreas();
  showAlarms();
  showSaving();
  updateConfirmation();
}

function showCameras() {
  renew(at("cameras"), configuration.cameras.map(({ id }) => {
    const name = device.pictures.get(id)?.name;
    return choice(`Camera ${id}`, id === selected.camera, () => selectCamera(id), {
      title: name ?? "", className: alarms.activeOn(id) ? "alarm" : "", "data-key": id,
    });
  }));
  at("analysed").disabled = !camera();
  at("analysed").checked = camera()?.active ?? false;
}

function showProfiles() {
  if (!configuration) return;
  const own = configuration.profilesOf(selected.camera);
  const none = make("li", { className: "none", textContent: "No profile: nothing is watched here." });
  renew(at("profiles"), own.length ? own.map(profileLine) : [none]);
  const most = limits.profiles.maxNbrProfilesPerCamera ?? Infinity;
  at("add-profile").disabled = own.length >= most;
  at("add-profile").title = own.length >= most ? `At most ${most} profiles per camera` : "";
}

function profileLine(one) {
  const state = configuration.isStored(one.uid) ? alarms.state(selected.camera, one.uid) : "new";
  const said = { alarm: "Alarm", quiet: "Quiet", new: "Not saved", "": "Not running" };
  const name = make("span", { className: "name", textContent: one.name.trim() || "(no name)" });
  const button = choice("", one.uid === selected.uid, () => selectProfile(one.camera, one.uid), { className: state || "idle" });
  button.append(name, make("span", { className: "chip", textContent: said[state] }));
  return make("li", { "data-key": one.uid }, button);
}

// A button of several of which one is chosen.
function choice(text, chosen, onclick, more = {}) {
  return make("button", { type: "button", "aria-pressed": chosen, textContent: text, onclick, ...more });
}

function showAreas() {
  const areas = profile() ? areasOf(profile()) : [];
  if (!areas.some((area) => area.item === selected.area)) selected.area = areas[0]?.item ?? null;
  editor.show(areas, selected.area, limits);
  const buttons = areas.map(({ label, type, item }) =>
    choice(label, item === selected.area, () => selectArea(item), { className: type === INCLUDE ? "include" : "exclude" }));
  const additions = profile() ? [INCLUDE, EXCLUDE].filter((type) => limits.of(type)).map((type) => addition(type, areas)) : [];
  renew(at("areas"), [...buttons, ...additions.filter(Boolean)], { always: true }); // their areas may be others
  showAreaTools();
}

function addition(type, areas) {
  const present = areas.filter((area) => area.type === type).length;
  if (present >= limits.of(type).maxNbrInstances) return null;
  const text = type === INCLUDE ? "+ Include area" : "+ Exclude area";
  return make("button", { type: "button", className: "add", textContent: text, onclick: () => proposeArea(type) });
}

function showAreaTools() {
  const area = profile() && areasOf(profile()).find((one) => one.item === selected.area);
  const count = area ? areasOf(profile()).filter((one) => one.type === area.type).length : 0;
  at("remove-area").disabled = !area || count <= limits.of(area.type).minNbrInstances;
  at("remove-corner").disabled = editor.removableCorner === null;
}

function showAlarms() {
  const count = alarms.active;
  document.title = count ? `(${count}) Alarm – Tarnwatch` : "Tarnwatch";
  showPast();
  if (!configuration) return;
  showCameras();
  showProfiles();
}

function showPast() {
  at("past").replaceChildren(...alarms.past.slice(0, 8).map(({ camera: id, uid, began, ended }) => {
    const name = configuration?.profile(uid)?.name ?? `Profile ${uid}`;
    const several = configuration?.cameras.length > 1 ? `Camera ${id}: ` : "";
    const lasted = ended ? `${Math.max(1, Math.round((ended - began) / 1000))} s` : "now";
    return make("li", { className: ended ? "" : "alarm" },
      make("time", { dateTime: began.toISOString(), textContent: began.toLocaleTimeString() }),
      make("span", { className: "name", textContent: several + name }), make("span", { textContent: lasted }));
  }));
  if (!alarms.past.length) at("past").append(make("li", { className: "none", textContent: "None since this page was opened." }));
}

function showSaving() {
  const changed = configuration?.changed ?? false;
  at("unsaved").textContent = saving ? "Saving…" : changed || !form.valid ? "Unsaved changes" : justSaved ? "Saved" : "";
  at("save").disabled = at("discard").disabled = saving || !(changed || !form.valid);
  form.allowTest(configuration !== null && configuration.isRunning(selected.uid));
}

// --- the user

at("save").addEventListener("click", () => save());
at("save-anyway").addEventListener("click", () => save({ anyway: true }));
at("load-theirs").addEventListener("click", load);
at("discard").addEventListener("click", discard);
at("dismiss").addEventListener("click", () => tell(""));
at("add-profile").addEventListener("click", addProfile);
at("remove-corner").addEventListener("click", () => editor.removeCorner());
at("remove-area").addEventListener("click", removeSelectedArea);
at("motion-switch").addEventListener("change", switchMotionLevel);
at("analysed").addEventListener("change", () => {
  camera().active = at("analysed").checked;
  edited();
});
at("confirm").addEventListener("change", () => {
  wantsView = at("confirm").checked;
  updateConfirmation();
});
addEventListener("beforeunload", (event) => {
  if (configuration?.changed) event.preventDefault();
});

showState();
showPast();
showEndpoints();
readPictures().then(load);
