// The control API: one call for each method, failures as errors with words for a person.

const ADDRESS = "control";
const API_VERSION = "1.4";

// A request that was refused or got no answer. `code` is the API's own, or "" for a failure on the way.
export class ControlError extends Error {
  constructor(message, code = "") {
    super(message);
    this.code = code;
  }
}

// The text of a request.
export function requestText(method, params) {
  return toText({ apiVersion: API_VERSION, context: "page", method, ...(params === undefined ? {} : { params }) });
}

// Calls a method; the data of its answer.
export async function call(method, params) {
  let answer, body;
  try {
    const options = { method: "POST", headers: { "Content-Type": "application/json" }, body: requestText(method, params) };
    answer = await fetch(ADDRESS, options);
    body = await answer.text();
  } catch {
    throw new ControlError("The device cannot be reached.");
  }
  const told = parsed(body);
  if (!answer.ok) throw new ControlError(httpFailure(answer.status, told));
  if (told === undefined) throw new ControlError("The answer is not JSON.");
  if (told.error) throw new ControlError(told.error.message, told.error.code);
  return told.data ?? {};
}

// Sends a request while the page is being left: nobody waits for the answer.
export function callAndLeave(method, params) {
  navigator.sendBeacon(ADDRESS, new Blob([requestText(method, params)], { type: "application/json" }));
}

function httpFailure(status, told) {
  const reason = typeof told?.error === "string" ? told.error : "no reason given";
  return `The web server answered ${status}: ${reason}.`;
}

function parsed(text) {
  try {
    return fromText(text);
  } catch {
    return undefined;
  }
}

// JSON to values. Integers that a number cannot hold exactly are kept as they are written, where the
// browser can.
export function fromText(text) {
  return JSON.parse(text, (_, value, context) => {
    const inexact = Number.isInteger(value) && !Number.isSafeInteger(value);
    return inexact && context?.source && JSON.rawJSON ? JSON.rawJSON(context.source) : value;
  });
}

export function toText(value) {
  return JSON.stringify(value);
}
