// Numbers as people read them.

const NONE = "\u2013";

// Three significant digits: 1234, 12.3, 0.123.
function sensible(value) {
  if (value === null || value === undefined || !Number.isFinite(value)) return NONE;
  const size = Math.abs(value);
  if (size === 0) return "0";
  if (size >= 100) return value.toFixed(0);
  if (size >= 10) return value.toFixed(1);
  if (size >= 1) return value.toFixed(2);
  if (size >= 0.001) return value.toFixed(2 - Math.floor(Math.log10(size)));
  return value.toExponential(1);
}

function fixed(digits) {
  return (value) => (value === null || value === undefined || !Number.isFinite(value)) ? NONE : value.toFixed(digits).replace("-", "\u2212");
}

function signed(value) {
  const text = fixed(1)(value);
  return value > 0 && text !== "0.0" ? "+" + text : text === "\u22120.0" ? "0.0" : text;
}

// A share in per cent: whole 100 only where nothing is missing.
function percent(value) {
  if (value === null || value === undefined) return NONE;
  if (value === 100) return "100";
  return value > 99.99 ? ">99.99" : value.toFixed(2);
}

// Seconds as 12.345 s or 2:05.123, with as many decimals as a step needs.
function timeText(seconds, step) {
  const digits = Math.max(0, Math.min(4, Math.ceil(-Math.log10(step || 1))));
  if (Math.abs(seconds) < 60) return seconds.toFixed(digits) + " s";
  const minutes = Math.floor(seconds / 60);
  const rest = (seconds - 60 * minutes).toFixed(digits);
  return minutes + ":" + (Number(rest) < 10 ? "0" : "") + rest;
}

function element(name, attributes, ...children) {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(attributes || {})) made.setAttribute(key, value);
  made.append(...children);
  return made;
}

function byId(id) {
  return document.getElementById(id);
}
