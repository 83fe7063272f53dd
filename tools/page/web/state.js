// What is being looked at. It stands in the fragment of the address, so that a link leads others to
// the same view; every panel is told when it changes.

const DEFAULTS = { array: 0, kind: "", measure: "", group: 1, from: null, to: null, find: "",
  zone: "array", open: "", heat: "all", peaks: false, by: "mean", rows: 20, order: "" };
const state = { ...DEFAULTS };
const listeners = [];

function span() {
  return { from: state.from, to: state.to };
}

function currentArray() {
  return page.arrays[state.array];
}

function currentKind() {
  const array = currentArray();
  const usual = array.kinds.find((kind) => kind.word === "ld");
  if (!state.kind && usual) return usual;
  return kindOf(array, state.kind);
}

function currentMeasure() {
  return measureOf(currentKind(), state.measure || "ops", state.group);
}

// The resource that is open: of the array at hand, null when there is none.
function openResource() {
  if (!state.open) return null;
  const kind = currentKind();
  const resource = (kind.keyList || []).indexOf(state.open);
  return resource < 0 ? null : { kind, resource };
}

function fragmentOf(view) {
  const fields = new URLSearchParams();
  for (const [name, usual] of Object.entries(DEFAULTS)) {
    if (view[name] === usual || view[name] === null || view[name] === "") continue;
    const value = name === "array" ? page.arrays[view.array].name : view[name];
    fields.set(name, String(value));
  }
  return fields.toString();
}

function takeFragment(text) {
  const fields = new URLSearchParams(text.replace(/^#/, ""));
  const taken = { ...DEFAULTS };
  for (const [name, usual] of Object.entries(DEFAULTS)) {
    const value = fields.get(name);
    if (value === null) continue;
    if (name === "from" || name === "to") taken[name] = Number(value) || null;
    else if (typeof usual === "number") taken[name] = Number(value) || usual;
    else if (typeof usual === "boolean") taken[name] = value === "true";
    else taken[name] = value;
  }
  const array = page.arrays.findIndex((each) => each.name === fields.get("array"));
  const usual = page.arrays.findIndex(hasContent);
  taken.array = array < 0 || !hasContent(page.arrays[array]) ? usual : array;
  if (taken.from !== null && taken.to !== null && taken.from >= taken.to) taken.from = taken.to = null;
  Object.assign(state, taken);
}

// Changes the view. `quiet`: the address does not keep it as a step to go back to.
function change(changes, quiet = false) {
  const before = fragmentOf(state);
  Object.assign(state, changes);
  const after = fragmentOf(state);
  if (before === after) return;
  history[quiet ? "replaceState" : "pushState"](null, "", "#" + after);
  tell();
}

// Panels make their elements anew; who goes through them with keys stays where he was.
function focusPlace() {
  const element = document.activeElement;
  if (!element || element === document.body) return null;
  if (element.id) return { home: element.id };
  const home = element.closest("[id]");
  const tag = element.tagName;
  return home && { home: home.id, tag, text: element.textContent, number: [...home.querySelectorAll(tag)].indexOf(element) };
}

function focusAgain(place) {
  if (!place || document.activeElement !== document.body) return;
  const home = at(place.home);
  const all = home && place.tag ? [...home.querySelectorAll(place.tag)] : [home];
  const same = (element) => !place.tag || (element && element.textContent === place.text);
  const found = same(all[place.number || 0]) ? all[place.number || 0] : all.find(same);
  if (found) found.focus({ preventScroll: true });
}

let telling = null;

// Tells the panels, once for changes that come together.
function tell() {
  telling = telling || Promise.resolve().then(async () => {
    telling = null;
    document.body.dataset.busy = "true";
    const place = focusPlace();
    try {
      await keysOf(currentKind());
      for (const listener of listeners) await listener();
    } finally {
      focusAgain(place);
      if (telling === null) delete document.body.dataset.busy;
    }
  });
  return telling;
}

// Resources whose key or name has the words searched for; null: all. "*" stands for anything.
function searched(kind) {
  const words = state.find.trim().toLowerCase().split(/\s+/).filter(Boolean);
  if (words.length === 0) return null;
  const tests = words.map((word) => {
    if (!word.includes("*")) return (text, key) => key === word || text.includes(word);
    const pattern = word.split("*").map((part) => part.replace(/[.+?^${}()|[\]\\]/g, "\\$&"));
    const expression = new RegExp("^" + pattern.join(".*") + "$");
    return (text, key, name) => expression.test(key) || expression.test(name);
  });
  const found = [];
  for (let i = 0; i < kind.count; ++i) {
    const key = kind.keyList[i].toLowerCase();
    const name = nameOf(kind, i).toLowerCase();
    const text = `${kind.word} ${key} ${name}`;
    if (tests.every((test) => test(text, key, name))) found.push(i);
  }
  return found;
}

// Elements with attributes, texts and listeners. Texts are put as texts: nothing of a file is ever
// read as markup.
function make(name, attributes = {}, ...children) {
  const element = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) {
    if (value === null || value === undefined || value === false) continue;
    if (key.startsWith("on")) element.addEventListener(key.slice(2), value);
    else if (key in element && typeof value !== "string") element[key] = value;
    else element.setAttribute(key, value === true ? "" : value);
  }
  element.append(...children.filter((child) => child !== null && child !== undefined));
  return element;
}

const at = (id) => document.getElementById(id);

// What screen readers say next.
function say(text) {
  at("spoken").textContent = text;
}
