// Starts the page: controls, panels, and what brings them up to date.

const SPANS = [["all", null], ["last day", DAY], ["last 7 days", 7 * DAY], ["last 30 days", 30 * DAY]];

function fillControls() {
  const array = currentArray();
  const kind = currentKind();
  const from = state.from === null ? array.begin[0] : state.from;
  const to = state.to === null ? array.end[array.count - 1] : state.to;
  if (document.activeElement !== at("from")) at("from").value = inputText(from, state.zone);
  if (document.activeElement !== at("to")) at("to").value = inputText(to, state.zone);
  if (document.activeElement !== at("find")) at("find").value = state.find;
  at("zone").value = state.zone;
  at("span-text").textContent = `${periodText(from, to, state.zone)}, ${zoneText(state.zone, from)}`;
  at("group").replaceChildren(...Array.from({ length: kind.groups }, (_, i) =>
    make("option", { value: String(i + 1), selected: state.group === i + 1 }, groupText(kind, i + 1))));
  at("group-label").hidden = kind.groups < 2;
  const heads = new Map(kind.measures.filter((m) => m.g === 0 || m.g === state.group).map((m) => [m.about.name, m]));
  const measure = currentMeasure();
  at("measure").replaceChildren(...[...heads].map(([name, m]) =>
    make("option", { value: name, selected: m === measure }, `${m.about.title} (${unitText(m)})`)));
  const found = searched(kind);
  at("found").textContent = found ? `${found.length} of ${kind.count} found` : "";
  at("heat-of").replaceChildren(...[["all", `all ${kind.title}`], ...(state.open ? [["open",
    `${kind.word} ${state.open}`]] : [])].map(([value, text]) =>
    make("option", { value, selected: state.heat === value }, text)));
}

function takeSpan() {
  const array = currentArray();
  const from = readTime(at("from").value, state.zone);
  const to = readTime(at("to").value, state.zone);
  if (from === null || to === null || from >= to) {
    at("span-text").textContent = "The span must begin before it ends.";
    return;
  }
  const whole = from <= array.begin[0] && to >= array.end[array.count - 1];
  change(whole ? { from: null, to: null } : { from, to });
}

function listenToControls() {
  at("from").addEventListener("change", takeSpan);
  at("to").addEventListener("change", takeSpan);
  let waiting = null;
  at("find").addEventListener("input", () => {
    clearTimeout(waiting);
    waiting = setTimeout(() => change({ find: at("find").value, rows: 20 }, true), 150);
  });
  at("zone").addEventListener("change", () => change({ zone: at("zone").value }));
  at("group").addEventListener("change", () => change({ group: Number(at("group").value) }));
  at("measure").addEventListener("change", () => change({ measure: at("measure").value, by: "mean" }));
  at("heat-of").addEventListener("change", () => change({ heat: at("heat-of").value }));
  at("shade").addEventListener("click", () => setShade(document.documentElement.dataset.shade === "dark" ? "light" : "dark", true));
  at("spans").replaceChildren(...SPANS.map(([text, length]) => make("button", { type: "button", onclick: () => {
    const array = currentArray();
    const last = array.end[array.count - 1];
    if (length === null || last - length <= array.begin[0]) change({ from: null, to: null });
    else setSpan(array, last - length, last);
  } }, text)));
  window.addEventListener("popstate", () => {
    takeFragment(location.hash);
    tell();
  });
  listenToPrinter();
  let resized = null;
  window.addEventListener("resize", () => {
    clearTimeout(resized);
    resized = setTimeout(redraw, 150);
  });
  window.matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => setShade(savedShade()));
}

function redraw() {
  for (const chart of shownCharts) chart.drawnFor = "";
  tell();
}

// Paper is light, whatever the screen is.
function listenToPrinter() {
  let before = null;
  const turn = (shade) => {
    document.documentElement.dataset.shade = shade;
    fillArrays();
    if (shownHeat) drawHeat(...shownHeat);
    recolourCharts();
  };
  window.addEventListener("beforeprint", () => {
    before = document.documentElement.dataset.shade;
    turn("light");
  });
  window.addEventListener("afterprint", () => before && turn(before));
}

function savedShade() {
  let saved = null;
  try {
    saved = localStorage.getItem("psltool-shade");
  } catch {
    // A browser that keeps nothing for pages from disk.
  }
  return saved || (window.matchMedia("(prefers-color-scheme: dark)").matches ? "dark" : "light");
}

function setShade(shade, keep = false) {
  document.documentElement.dataset.shade = shade;
  at("shade").textContent = shade === "dark" ? "Light" : "Dark";
  if (keep) {
    try {
      localStorage.setItem("psltool-shade", shade);
    } catch {
      // As above: then it holds until the page is closed.
    }
  }
  if (page) tell();
}

function fillNotes() {
  const notes = page.notes || [];
  at("notes").hidden = notes.length === 0;
  at("notes").replaceChildren(detailsOf("Records left out", notes) || "");
}

async function start() {
  if (typeof DecompressionStream === "undefined") {
    at("message").textContent = "This browser cannot unpack the data of the page (it has no " +
      "DecompressionStream). Browsers since 2023 can: Firefox 113, Chrome 80, Safari 16.4 and later.";
    return;
  }
  setShade(savedShade());
  await readPage();
  takeFragment(location.hash);
  const names = page.arrays.map(nameOfArray);
  document.title = `Performance of ${names.length > 4 ? `${names.length} arrays` : names.join(", ")}`;
  at("title").textContent = document.title;
  at("content").hidden = false;
  listeners.push(fillControls, fillArrays, fillTotals, fillTop, fillDetail, fillHeat, fillWords, fillNotes,
    refreshCharts);
  at("controls").addEventListener("submit", (event) => event.preventDefault());
  listenToControls();
  await tell();
  at("message").remove();
  document.body.dataset.ready = String(Math.round(performance.now()));
}

start().catch((error) => {
  at("message").textContent = `The page cannot be shown: ${error.message}`;
  throw error;
});
