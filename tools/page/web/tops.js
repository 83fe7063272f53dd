// The resources of a kind in the order of a measure, each with a small curve.

// A measure of a resource over the intervals; null: not told in full.
async function seriesOf(kind, resource, measure) {
  const detail = await detailOf(kind, resource);
  if (!detail) return null;
  const series = seriesOfDetail(detail, measure, kind.array.level);
  return { ...series, begin: kind.array.begin, end: kind.array.end };
}

// Ranks all resources searched for: by sums of the whole span, or over steps of a part of it.
async function ranking(kind, measure) {
  const found = searched(kind) || Array.from({ length: kind.count }, (_, i) => i);
  const sums = await sumsOf(kind);
  const rank = isWhole(span()) ? null : await rankOf(kind, measure);
  const steps = rank && stepsIn(rank.grid, span());
  const rows = found.map((resource) => {
    if (rank) return { resource, ...rankedOver(rank, resource, steps, measure.about), rough: true };
    return { resource, mean: sums.value.get(measure.id)[resource], peak: sums.most.get(measure.id)[resource],
      whole: !isWhole(span()) };
  });
  return rows.filter((row) => !Number.isNaN(state.by === "peak" ? row.peak : row.mean));
}

function orderRows(rows) {
  const key = state.by === "peak" ? "peak" : "mean";
  rows.sort((a, b) => b[key] - a[key] || a.resource - b.resource);
}

// Rows that are shown get what the page tells in full.
async function refine(kind, measure, row) {
  const detail = await detailOf(kind, row.resource);
  const [first, behind] = intervalsIn(kind.array, span());
  row.others = new Map();
  if (detail) {
    for (const other of headMeasures(kind)) {
      const s = statisticsOf(seriesOfDetail(detail, other, kind.array.level), first, behind, other.about);
      row.others.set(other.id, s.mean);
      if (other === measure) Object.assign(row, s, { rough: false, whole: false });
    }
    row.curve = seriesOfDetail(detail, measure, kind.array.level).value;
    row.curveSpan = [first, behind];
    return;
  }
  await refineRough(kind, measure, row);
}

// As well as the page can tell of the others: sums of the whole span, else what ranks them.
async function refineRough(kind, measure, row) {
  row.roughOthers = !isWhole(span());
  for (const other of headMeasures(kind)) {
    if (!row.roughOthers) {
      row.others.set(other.id, (await sumsOf(kind)).value.get(other.id)[row.resource]);
      continue;
    }
    const rank = other === measure ? null : await rankOf(kind, other);
    if (rank) row.others.set(other.id, rankedOver(rank, row.resource, stepsIn(rank.grid, span()), other.about).mean);
  }
  const rank = await rankOf(kind, measure);
  if (!rank) return;
  row.curveSpan = stepsIn(rank.grid, span());
  row.curve = Float64Array.from(rank.grid.begin, (_, step) => rank.value(row.resource, step));
  // Where each step is an interval, half of the time is half of the steps' time, too.
  if (!rank.grid.native || measure.about.byOps) return;
  const weight = rank.grid.begin.map((begin, step) => rank.grid.end[step] - begin);
  const { median, p95 } = statisticsOf({ value: row.curve, weight }, ...row.curveSpan, measure.about);
  Object.assign(row, { median, p95, roughMiddles: true });
}

// Measures with a column of their own: those of the group, and of the entry as a whole.
function headMeasures(kind) {
  return kind.measures.filter((m) => m.g === 0 || m.g === state.group).slice(0, 8);
}

// Where interval i of a curve stands: beside the one before it, or at its time within that of all.
function placeInCurve(row, i) {
  const [first, behind] = row.curveSpan;
  if (!row.within) return 2 + ((i - first) / Math.max(1, behind - first - 1)) * 236;
  const { from, to } = row.within;
  return 2 + ((row.curveTimes.begin[i] - from) / Math.max(1, to - from)) * 236;
}

function curveOf(row) {
  const canvas = make("canvas", { class: "curve", width: 240, height: 44, role: "presentation" });
  if (!row.curve) return canvas;
  const [first, behind] = row.curveSpan;
  const most = Math.max(...valuesIn(row.curve, first, behind));
  const pen = canvas.getContext("2d");
  pen.strokeStyle = colour("--line-1");
  pen.lineWidth = 2;
  pen.beginPath();
  let down = false;
  for (let i = first; i < behind; ++i) {
    const value = row.curve[i];
    if (row.within && i > first && row.curveTimes.begin[i] > row.curveTimes.end[i - 1]) down = false;
    if (Number.isNaN(value)) {
      down = false;
      continue;
    }
    const x = placeInCurve(row, i);
    const y = 41 - (most > 0 ? value / most : 0) * 38;
    if (down) pen.lineTo(x, y);
    else pen.moveTo(x, y);
    down = true;
  }
  pen.stroke();
  return canvas;
}

const roughText = (row, text) => (row.rough ? `≈ ${text}` : row.whole ? `${text} (whole span)` : text);

function topHead(kind, measure) {
  const cell = (text, sorted, action, hint) => make("th", { scope: "col", "aria-sort": sorted ? "descending" : null },
    action ? make("button", { type: "button", class: "link", title: hint, onclick: action }, text) : text);
  const heads = headMeasures(kind).map((other) => cell(
    `${other.about.title}, ${unitText(other)}`, other === measure && state.by !== "peak",
    () => change({ measure: other.about.name, by: "mean", rows: 20 }), other.about.meaning));
  return make("tr", {}, cell(""), cell(kind.title), cell(`${measure.about.title} over time`), ...heads,
    cell("peak", state.by === "peak", () => change({ by: "peak" }), `Largest single interval of ${measure.about.title}`),
    cell("median"), cell("95 %"));
}

function topRow(kind, measure, row, rank) {
  const key = kind.keyList[row.resource];
  const name = nameOf(kind, row.resource);
  const open = async () => {
    const closes = state.open === key;
    change({ open: closes ? "" : key, heat: closes ? "all" : state.heat });
    await tell();
    const title = at("detail-title");
    if (title) title.focus();
  };
  const digits = measure.about.digits;
  const cells = headMeasures(kind).map((other) => {
    const own = other === measure;
    const value = own ? row.mean : row.others.get(other.id);
    const text = numberText(value, other.about.digits);
    return make("td", { class: own ? "own" : null, "data-exact": exactText(value) },
      own ? roughText(row, text) : row.roughOthers && !Number.isNaN(value) && value !== undefined ? `≈ ${text}` : text);
  });
  return make("tr", { class: state.open === key ? "open" : null, "data-key": key },
    make("td", {}, String(rank)),
    make("th", { scope: "row" }, make("button", { type: "button", class: "link", "aria-expanded":
      String(state.open === key), onclick: open }, name ? `${key} ${name}` : key)),
    make("td", { class: "curve-cell" }, curveOf(row)),
    ...cells,
    make("td", { "data-exact": exactText(row.peak) }, roughText(row, numberText(row.peak, digits))),
    ...[row.median, row.p95].map((value) => make("td", { "data-exact": exactText(value) },
      (row.roughMiddles && !Number.isNaN(value) ? "≈ " : "") + numberText(value, digits))));
}

async function fillTop() {
  const kind = currentKind();
  const measure = currentMeasure();
  fillKinds();
  if (!measure) {
    at("top").replaceChildren(make("p", {}, `${kind.count} ${kind.title}; their entries count nothing that can be ranked.`));
    return;
  }
  const rows = await ranking(kind, measure);
  orderRows(rows);
  const shown = rows.slice(0, state.rows);
  for (const row of shown) await refine(kind, measure, row);
  orderRows(shown);
  const body = make("tbody", {}, ...shown.map((row, i) => topRow(kind, measure, row, i + 1)));
  const table = make("table", { class: "top" },
    make("caption", {}, `${kind.title} by ${measureTitle(kind, measure)}: ${shown.length} of ${rows.length}` +
      (state.find ? `, found by “${state.find}”` : "")),
    make("thead", {}, topHead(kind, measure)), body);
  at("top").replaceChildren(make("p", { class: "meaning" }, `${kind.meaning} ${measure.about.meaning}`),
    make("div", { class: "scroll-x" }, table), topTools(kind, measure, rows, shown), ...topNotes(kind));
}

function topTools(kind, measure, rows, shown) {
  const more = shown.length < rows.length ? make("button", { type: "button",
    onclick: () => change({ rows: state.rows + 20 }, true) }, "Show 20 more") : null;
  const copy = make("button", { type: "button", onclick: () => copyText(csvText([
    ["rank", "key", "name", `${measure.about.title}, ${unitText(measure)}`, "peak", "approximate"],
    ...rows.map((row, i) => [i + 1, kind.keyList[row.resource], nameOf(kind, row.resource), exactText(row.mean),
      exactText(row.peak), row.rough ? "yes" : "no"])]), copy) }, "Copy as CSV");
  return make("div", { class: "tools" }, more, copy);
}

function topNotes(kind) {
  const full = kind.inFull.size;
  if (full >= kind.count) return [];
  const groups = kind.many && kind.groups > 1 ? ", and of counter group 1 only" : "";
  return [make("p", { class: "note" }, `Told in full: the ${full} that matter most of ${kind.count}. The page ` +
    `has the others summed up over the whole time and over steps of time${groups}; values marked ≈ come from there. ` +
    "A larger --size tells more in full.")];
}

// One button for each kind that the array has.
function fillKinds() {
  const current = currentKind();
  at("kinds").replaceChildren(...currentArray().kinds.map((kind) => make("button", { type: "button",
    class: kind === current ? "tab chosen" : "tab", "aria-pressed": String(kind === current), title: kind.meaning,
    onclick: () => change({ kind: kind.word, open: "", measure: "", by: "mean", rows: 20, group: 1, heat: "all" }) },
  `${kind.title} (${kind.count})`)));
}
