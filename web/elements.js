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
// same stay, so that a press of a button is not lost when something else changes.
export function renew(place, children, { always = false } = {}) {
  const old = [...place.children];
  if (!always && old.length === children.length && old.every((child, at) => child.isEqualNode(children[at]))) return;
  const focused = old.findIndex((child) => child.contains(document.activeElement));
  place.replaceChildren(...children);
  if (focused < 0 || !children.length) return;
  const next = children[Math.min(focused, children.length - 1)];
  (next.matches("button") ? next : next.querySelector("button"))?.focus();
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
