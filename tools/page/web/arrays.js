// The arrays of the page: of what time they tell, how complete, and what they did, side by side.

function gapsOf(array) {
  const gaps = [];
  for (let i = 1; i < array.count; ++i) {
    if (array.begin[i] > array.end[i - 1]) gaps.push([array.end[i - 1], array.begin[i]]);
  }
  return gaps;
}

// Days by the clock of the zone: how many are told whole, in part and not at all.
function daysOf(array, zone) {
  const told = new Map();
  const dayOf = (moment) => Math.floor(civilOf(moment, zone) / DAY);
  const add = (from, to) => told.set(dayOf(from), (told.get(dayOf(from)) || 0) + to - from);
  for (let i = 0; i < array.count; ++i) {
    let from = array.begin[i];
    for (;;) {
      const next = momentOf((dayOf(from) + 1) * DAY, zone);
      if (next >= array.end[i]) break;
      add(from, next);
      from = next;
    }
    add(from, array.end[i]);
  }
  const days = { whole: 0, part: 0, missing: 0 };
  const last = dayOf(Math.max(array.begin[array.count - 1], array.end[array.count - 1] - 1));
  for (let day = dayOf(array.begin[0]); day <= last; ++day) {
    const length = momentOf((day + 1) * DAY, zone) - momentOf(day * DAY, zone);
    const seconds = told.get(day) || 0;
    days[seconds >= length ? "whole" : seconds > 0 ? "part" : "missing"] += 1;
  }
  return days;
}

function daysText(array) {
  const days = daysOf(array, state.zone);
  const all = days.whole + days.part + days.missing;
  return `${all} ${all === 1 ? "day" : "days"}: ` +
    [[days.whole, "whole"], [days.part, "in part"], [days.missing, "missing"]]
      .filter(([count]) => count > 0).map(([count, word]) => `${count} ${word}`).join(", ");
}

async function fillArrays() {
  const several = page.arrays.length > 1;
  at("overview").hidden = !several;
  if (several) await fillOverview();
  const shown = several ? [currentArray(), ...page.arrays.filter((each) => !hasContent(each))] : page.arrays;
  at("arrays").replaceChildren(...shown.map((each) => arrayCard(each, !several)));
}

const nameOfArray = (array) => (array.name === "-" ? "files whose names tell no array" : array.name);

// `alone`: no overview shows its time.
function arrayCard(array, alone) {
  const broken = array.files.filter((file) => file.trouble);
  const card = make("article", { class: "card" }, make("h3", {}, nameOfArray(array)));
  if (!hasContent(array)) {
    card.append(make("p", {}, "Nothing could be read."));
  } else {
    const gaps = gapsOf(array);
    const lost = gaps.reduce((sum, [from, to]) => sum + to - from, 0);
    const [first, last] = [array.begin[0], array.end[array.count - 1]];
    card.append(
      make("p", {}, `${timeText(first, state.zone)} to ${timeText(last, state.zone)}, ${zoneText(state.zone, first)}`),
      ...(alone ? [stripOf(array, first, last), levelLegend([array])] : []),
      make("p", {}, `${daysText(array)}. ${array.count} intervals of ${array.files.length} files, ` +
        (gaps.length === 0 ? "no gaps" : `${gaps.length} ${gaps.length === 1 ? "gap" : "gaps"}, ${durationText(lost)} (` +
          `${(100 * lost / (last - first)).toFixed(1)} %) missing`)),
      detailsOf("Gaps", gaps.slice(0, 200).map(([from, to]) =>
        `${periodText(from, to, state.zone)} (${durationText(to - from)})`)) || "");
  }
  if (broken.length) {
    card.append(make("p", { class: "trouble" }, `${broken.length} of ${array.files.length} files broken ` +
      "or unreadable; what stands in front of the place is here"));
  }
  card.append(detailsOf("Files", array.files.map((file) => `${file.path}: ` + (file.trouble ||
    `${file.taken} of ${file.records} records of a ${LEVEL_WORDS["LHD".indexOf(file.level)] || "file"}`))));
  return card;
}

function detailsOf(title, lines) {
  if (lines.length === 0) return null;
  return make("details", {}, make("summary", {}, `${title} (${lines.length})`),
    make("ul", {}, ...lines.map((line) => make("li", {}, line))));
}

// Which part of a time is told by logs, hour and day archives, and which by nothing.
function stripOf(array, first, last) {
  const canvas = make("canvas", { class: "strip", role: "img", width: 600, height: 14 });
  const pen = canvas.getContext("2d");
  const scale = 600 / Math.max(1, last - first);
  pen.fillStyle = colour("--missing");
  pen.fillRect(0, 0, 600, 14);
  for (let i = 0; i < array.count; ++i) {
    pen.fillStyle = colour(`--level-${array.level[i]}`);
    const x = (array.begin[i] - first) * scale;
    pen.fillRect(x, 0, (array.end[i] - first) * scale - x + 0.3, 14);
  }
  const counts = levelCounts(array);
  const words = LEVEL_WORDS.slice(0, 3).map((word, i) => counts[i] && `${counts[i]} records of ${word}s`).filter(Boolean);
  canvas.setAttribute("aria-label", `Time told by ${words.join(", ")}`);
  return canvas;
}

function levelCounts(array) {
  const counts = [0, 0, 0];
  for (let i = 0; i < array.count; ++i) counts[array.level[i]] += 1;
  return counts;
}

function levelLegend(arrays, missing = arrays.some((array) => gapsOf(array).length > 0)) {
  const there = [0, 1, 2].filter((level) => arrays.some((array) => levelCounts(array)[level] > 0));
  const legend = make("ul", { class: "legend" }, ...there.map((level) =>
    make("li", {}, make("span", { class: `key level-${level}` }), `${LEVEL_WORDS[level]}s`)));
  if (missing) legend.append(make("li", {}, make("span", { class: "key missing" }), "nothing"));
  return legend;
}

// The time of all arrays, and the part of it that is chosen.
function timeOfAll() {
  const arrays = page.arrays.filter(hasContent);
  const first = Math.min(...arrays.map((array) => array.begin[0]));
  const last = Math.max(...arrays.map((array) => array.end[array.count - 1]));
  return { first, last, from: Math.max(first, state.from ?? first), to: Math.min(last, state.to ?? last) };
}

// The share of the chosen time that the array tells.
function completeness(array, { from, to }) {
  let told = 0;
  for (let i = 0; i < array.count; ++i) {
    told += Math.max(0, Math.min(to, array.end[i]) - Math.max(from, array.begin[i]));
  }
  return told / Math.max(1, to - from);
}

// What the overview tells of an array: statistics of each measure of the current kind.
async function overviewRow(array, time, measures) {
  const kind = array.kinds.find((each) => each.word === currentKind().word);
  const row = { array, complete: completeness(array, time), values: new Map() };
  if (!kind) return row;
  await keysOf(kind);
  const found = searched(kind);
  row.found = found ? found.length : kind.count;
  row.operations = await operationsOf(kind, found, ...intervalsIn(array, span()));
  for (const wanted of measures) {
    const measure = kind.measures.find((each) => each.id === wanted.id);
    const s = measure && await statisticsTogether(kind, measure, found);
    if (s) row.values.set(wanted.id, s);
  }
  return row;
}

const OVERVIEW_HEADS = { found: (row) => row.found, complete: (row) => row.complete,
  operations: (row) => row.operations, p95: (row) => valueOf(row, currentMeasure(), "p95"),
  largest: (row) => valueOf(row, currentMeasure(), "largest") };

function valueOf(row, measure, of = "mean") {
  const s = measure && row.values.get(measure.id);
  return s ? s[of] : NaN;
}

function orderOverview(rows) {
  const key = OVERVIEW_HEADS[state.order] ||
    (state.order && ((row) => valueOf(row, { id: state.order })));
  if (!key) return;
  const number = (row) => (key(row) ?? NaN);
  rows.sort((a, b) => (Number.isNaN(number(a)) ? 1 : Number.isNaN(number(b)) ? -1 : number(b) - number(a)));
}

async function fillOverview() {
  const kind = currentKind();
  const time = timeOfAll();
  const measure = currentMeasure();
  const measures = frontMeasures(kind).filter((each) => each.about.together !== "largest");
  const wanted = measure && !measures.includes(measure) ? [...measures, measure] : measures;
  const rows = [];
  for (const array of page.arrays.filter(hasContent)) rows.push(await overviewRow(array, time, wanted));
  orderOverview(rows);
  const title = measure ? measureTitle(kind, measure) : "";
  const table = make("table", { class: "top", id: "overview-table" },
    make("thead", {}, overviewHead(kind, measure, measures)),
    make("tbody", {}, ...rows.map((row) => overviewLine(row, time, measure, measures))));
  const copy = make("button", { type: "button", onclick: () => copyText(overviewCsv(rows, kind, measures), copy) }, "Copy as CSV");
  const about = make("p", { class: "note" }, `${kind.title} of ${rows.length} arrays` + (state.find ? `, found by “${state.find}”` : "") +
      `, ${periodText(time.from, time.to, state.zone)}, ${zoneText(state.zone, time.from)}. ` +
      "A name chooses what the rest of the page is about, a head orders.");
  // Many arrays scroll in a window of their own, below their heads.
  const scrolls = rows.length > 14 ? "scroll" : "scroll-x";
  at("overview").replaceChildren(about, make("div", { class: scrolls, tabindex: "0", role: "region", "aria-label": "Arrays" }, table),
    make("div", { class: "tools" }, levelLegend(rows.map((row) => row.array), true),
      measure ? make("ul", { class: "legend" }, make("li", {}, make("span", { class: "key" }), `${title} of all together`)) : null,
      copy));
}

function overviewHead(kind, measure, measures) {
  const cell = (text, order, hint) => make("th", { scope: "col", "aria-sort": state.order === order && order ? "descending" : null },
    order === undefined ? text : make("button", { type: "button", class: "link", title: hint || null,
      onclick: () => change({ order }) }, text));
  const own = measure ? [cell(`${measure.about.title} over time`)] : [];
  const peaks = measure ? [cell(`${measure.about.title}, 95 %`, "p95"), cell(`${measure.about.title}, largest interval`, "largest")] : [];
  const operations = kind.groups ? [cell("operations", "operations", groupText(kind, state.group))] : [];
  return make("tr", {}, cell("array", ""), cell("time told"), cell("complete", "complete"), cell(kind.title, "found"), ...own,
    ...operations,
    ...measures.map((each) => cell(`${each.about.title}, ${unitText(each)}`, each.id, each.about.meaning)), ...peaks);
}

function overviewLine(row, time, measure, measures) {
  const { array } = row;
  const number = page.arrays.indexOf(array);
  const chosen = number === state.array;
  const broken = array.files.filter((file) => file.trouble).length;
  const s = measure && row.values.get(measure.id);
  const numberCell = (value, digits, rough) =>
    make("td", { "data-exact": exactText(value) }, (rough ? "≈ " : "") + numberText(value, digits));
  const curve = s && curveOf({ curve: s.series.value, curveTimes: s.array,
    curveSpan: intervalsIn(s.array, span()), within: time });
  const operations = currentKind().groups ? [make("td", { "data-exact": exactText(row.operations) },
    row.operations === null || row.operations === undefined ? "–" : shortText(row.operations))] : [];
  return make("tr", { class: chosen ? "open" : null, "data-array": array.name },
    make("th", { scope: "row" }, make("button", { type: "button", class: "link", "aria-pressed": String(chosen),
      onclick: () => change({ array: number, open: "", heat: "all" }) }, nameOfArray(array))),
    make("td", { class: "strip-cell" }, stripOf(array, time.from, time.to)),
    make("td", { class: broken ? "trouble" : null }, `${(100 * row.complete).toFixed(row.complete === 1 ? 0 : 1)} %` +
      (broken ? `, ${broken} broken` : "")),
    make("td", {}, row.found === undefined ? "–" : String(row.found)),
    ...(measure ? [make("td", { class: "curve-cell" }, curve || "")] : []), ...operations,
    ...measures.map((each) => {
      const own = row.values.get(each.id);
      const cell = numberCell(own ? own.mean : NaN, each.about.digits, own && own.series.rough);
      if (each === measure) cell.className = "own";
      return cell;
    }),
    ...(measure ? ["p95", "largest"].map((of) => numberCell(s ? s[of] : NaN, measure.about.digits)) : []));
}

function overviewCsv(rows, kind, measures) {
  return csvText([["array", "begin", "end", "complete", kind.word, "operations", ...measures.flatMap((each) => {
    const head = `${each.about.title}, ${unitText(each)}`;
    return [head, `${head}, median`, `${head}, 95 %`, `${head}, largest`];
  })], ...rows.map((row) => [row.array.name, isoText(row.array.begin[0], state.zone),
    isoText(row.array.end[row.array.count - 1], state.zone), row.complete, row.found ?? "", exactText(row.operations),
    ...measures.flatMap((each) => ["mean", "median", "p95", "largest"].map((of) => exactText(valueOf(row, each, of))))])]);
}
