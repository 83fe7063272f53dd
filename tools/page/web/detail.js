// The charts of a resource that was opened: everything that its entries say.

let shownDetail = "";

// Charts by measure: averages bear their maxima as a second line, everything else its band.
function detailCharts(kind, detail, key) {
  const charts = [];
  for (const measure of kind.measures) {
    const series = seriesOfDetail(detail, measure, kind.array.level);
    if (!series.value || !series.value.some((each) => !Number.isNaN(each))) continue;
    if (isLargestOf(kind, measure)) continue;
    const lines = [{ label: measure.about.title, ...series, measure }];
    const largest = largestOf(kind, measure);
    if (largest) {
      const other = seriesOfDetail(detail, largest, kind.array.level);
      lines.push({ label: largest.about.title, ...other, most: null, least: null, measure: largest });
    }
    charts.push(makeChart({ array: kind.array, name: `${kind.word}/${key}/${measure.id}`, lines,
      title: measureTitle(kind, measure), meaning: measure.about.meaning }));
  }
  return charts;
}

// The measure that holds the largest single operations of an average.
function largestOf(kind, measure) {
  if (measure.about.name !== "mean") return null;
  return kind.measures.find((m) => m.about.name === "max" && m.g === measure.g) || null;
}

function isLargestOf(kind, measure) {
  return kind.measures.some((m) => largestOf(kind, m) === measure);
}

// A measure of a resource over the steps by which it is ranked; null: the page has none.
async function roughSeriesOf(kind, resource, measure) {
  const rank = await rankOf(kind, measure);
  if (!rank) return null;
  const steps = rank.grid.begin.length;
  const numbers = (of) => Float64Array.from({ length: steps }, (_, step) => of(resource, step));
  return { value: numbers(rank.value), most: measure.rank.most ? numbers(rank.most) : null, least: null,
    begin: rank.grid.begin, end: rank.grid.end };
}

// Of a resource that is not told in full: what ranks it.
async function roughCharts(kind, resource, key) {
  const charts = [];
  for (const measure of kind.measures) {
    const series = await roughSeriesOf(kind, resource, measure);
    if (!series) continue;
    const array = stepArray(kind.array, series);
    charts.push(makeChart({ array, name: `rough/${kind.word}/${key}/${measure.id}`,
      title: `${measureTitle(kind, measure)} (≈, in steps of time)`, meaning: measure.about.meaning,
      bandText: "up to the largest single interval",
      lines: [{ label: measure.about.title, ...series, measure }] }));
  }
  return charts;
}

// Columns that no chart shows: flags, states, and what has no measure.
function otherColumns(kind, detail) {
  const drawn = new Set();
  for (const measure of kind.measures) {
    for (const column of [measure.value, measure.most, measure.least]) if (column !== null) drawn.add(column);
  }
  const rest = kind.columns.filter((column) => !drawn.has(column));
  const [first, behind] = intervalsIn(kind.array, span());
  const rows = rest.map((column) => {
    const { name } = page.columns[column];
    const values = valuesIn(detail.get(name), first, behind).slice(1);
    if (values.length === 0) return null;
    const low = values.reduce((a, b) => Math.min(a, b));
    const high = values.reduce((a, b) => Math.max(a, b));
    return make("tr", {}, make("th", { scope: "row" }, name), make("td", {}, exactText(low)),
      make("td", {}, exactText(high)), make("td", {}, exactText(values[values.length - 1])));
  }).filter(Boolean);
  if (rows.length === 0) return null;
  return make("details", {}, make("summary", {}, "Other fields of its entries, as dump names them"),
    make("div", { class: "scroll-x" }, make("table", {}, make("thead", {}, make("tr", {},
      ...["field", "smallest", "largest", "last"].map((text) => make("th", { scope: "col" }, text)))),
    make("tbody", {}, ...rows))));
}

async function fillDetail() {
  const open = openResource();
  const place = at("detail");
  const mark = open ? [state.array, open.kind.word, state.open].join("\n") : "";
  place.hidden = !open;
  if (mark === shownDetail) return;
  shownDetail = mark;
  if (!open) {
    place.replaceChildren();
    return;
  }
  const { kind, resource } = open;
  const detail = await detailOf(kind, resource);
  const name = nameOf(kind, resource);
  const charts = detail ? detailCharts(kind, detail, state.open) : await roughCharts(kind, resource, state.open);
  const close = make("button", { type: "button", onclick: () => change({ open: "", heat: "all" }) }, "Close");
  const map = make("button", { type: "button",
    onclick: () => change({ heat: state.heat === "open" ? "all" : "open" }) }, "Heat map of this one");
  place.replaceChildren(
    make("h2", { tabindex: "-1", id: "detail-title" }, `${kind.word} ${state.open}${name ? " " + name : ""} of ` +
      currentArray().name),
    make("p", { class: "meaning" }, kind.meaning),
    make("div", { class: "tools" }, close, map),
    ...(charts.length ? [] : [make("p", {}, "Its entries count nothing that can be drawn.")]),
    make("div", { class: "charts" }, ...charts));
  if (detail) place.append(otherColumns(kind, detail) || "");
}
