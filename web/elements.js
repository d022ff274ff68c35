// Makes elements of the page and of drawings.

const SVG = "http://www.w3.org/2000/svg";

// An HTML element; properties are set as such, those with a dash as attributes, "on..." as listeners.
export function make(tag, properties = {}, ...children) {
  return fill(document.createElement(tag), properties, children);
}

// An element of a drawing; all properties but listeners are attributes.
export function draw(tag, attributes = {}, ...children) {
  return fill(document.createElementNS(SVG, tag), attributes, children, true);
}

// Puts new children in the place of the old ones, and the focus where it was. Children that are just the
// same stay; where all have a data-key and the keys are those of the old ones, these are brought up to date
// instead. So a press of a button is not lost when something else changes.
export function renew(place, children, { always = false } = {}) {
  const old = [...place.children];
  const isSame = old.length === children.length && old.every((child, at) => child.isEqualNode(children[at]));
  if (isSame && !always) return;
  if (!always && haveSameKeys(old, children)) {
    old.forEach((child, at) => update(child, children[at]));
    return;
  }
  const focused = old.findIndex((child) => child.contains(document.activeElement));
  place.replaceChildren(...children);
  if (focused < 0 || !children.length) return;
  const next = children[Math.min(focused, children.length - 1)];
  (next.matches("button") ? next : next.querySelector("button"))?.focus();
}

function haveSameKeys(old, children) {
  const keys = (list) => list.map((child) => child.dataset.key ?? null);
  const [theirs, ours] = [keys(old), keys(children)];
  return theirs.length === ours.length && theirs.every((key, at) => key !== null && key === ours[at]);
}

// Gives an element the attributes and texts of another one of the same make; its listeners stay.
function update(element, wanted) {
  for (const { name } of [...element.attributes]) if (!wanted.hasAttribute(name)) element.removeAttribute(name);
  for (const { name, value } of wanted.attributes) if (element.getAttribute(name) !== value) element.setAttribute(name, value);
  const [present, parts] = [[...element.childNodes], [...wanted.childNodes]];
  if (present.length !== parts.length) {
    element.replaceChildren(...parts);
    return;
  }
  parts.forEach((part, at) => {
    if (part.nodeType === Node.TEXT_NODE) present[at].data = part.data;
    else update(present[at], part);
  });
}

function fill(element, properties, children, drawn = false) {
  for (const [name, value] of Object.entries(properties)) {
    if (name.startsWith("on")) element.addEventListener(name.slice(2), value);
    else if (drawn || name.includes("-") || name === "role") setAttribute(element, name, value);
    else element[name] = value;
  }
  element.append(...children.filter((child) => child !== null && child !== undefined));
  return element;
}

function setAttribute(element, name, value) {
  if (value !== null && value !== undefined) element.setAttribute(name, value);
}
