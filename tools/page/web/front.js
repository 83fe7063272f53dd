// The front: which arrays, of what time, how complete, and what they did together.

function gapsOf(array) {
  const gaps = [];
  for (let i = 1; i < array.count; ++i) {
    if (array.begin[i] > array.end[i - 1]) gaps.push([array.end[i - 1], array.begin[i]]);
  }
  return gaps;
}

function fillArrays() {
  at("arrays").replaceChildren(...page.arrays.map((array, i) => arrayCard(array, i)));
}

function arrayCard(array, number) {
  const chosen = number === state.array;
  const broken = array.files.filter((file) => file.trouble);
  const name = array.name === "-" ? "files whose names tell no array" : array.name;
  // One of which there is nothing to show is told of, and not looked at.
  const title = hasContent(array) ? make("button", { type: "button", class: "link", "aria-pressed": String(chosen),
    onclick: () => change({ array: number, open: "", find: "" }) }, name) : name;
  const card = make("article", { class: chosen ? "card chosen" : "card" }, make("h3", {}, title));
  if (!hasContent(array)) {
    card.append(make("p", {}, "Nothing could be read."));
  } else {
    const gaps = gapsOf(array);
    const lost = gaps.reduce((sum, [from, to]) => sum + to - from, 0);
    const all = array.end[array.count - 1] - array.begin[0];
    card.append(
      make("p", {}, `${timeText(array.begin[0], state.zone)} to ${timeText(array.end[array.count - 1],
        state.zone)}, ${zoneText(state.zone, array.begin[0])}`),
      stripOf(array),
      make("p", {}, `${array.count} intervals of ${array.files.length} files, ` +
        (gaps.length === 0 ? "no gaps" : `${gaps.length} ${gaps.length === 1 ? "gap" : "gaps"}, ${durationText(lost)} (` +
          `${(100 * lost / all).toFixed(1)} %) missing`)),
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

// Which part of the span is told by logs, hour and day archives, and which by nothing.
function stripOf(array) {
  const canvas = make("canvas", { class: "strip", role: "img", width: 600, height: 14 });
  const pen = canvas.getContext("2d");
  const first = array.begin[0];
  const scale = 600 / Math.max(1, array.end[array.count - 1] - first);
  pen.fillStyle = colour("--missing");
  pen.fillRect(0, 0, 600, 14);
  const counts = [0, 0, 0];
  for (let i = 0; i < array.count; ++i) {
    counts[array.level[i]] += 1;
    pen.fillStyle = colour(`--level-${array.level[i]}`);
    const x = (array.begin[i] - first) * scale;
    pen.fillRect(x, 0, (array.end[i] - first) * scale - x + 0.3, 14);
  }
  const words = LEVEL_WORDS.slice(0, 3).map((word, i) => counts[i] && `${counts[i]} records of ${word}s`).filter(Boolean);
  canvas.setAttribute("aria-label", `Time told by ${words.join(", ")}`);
  const legend = make("ul", { class: "legend" });
  LEVEL_WORDS.slice(0, 3).forEach((word, i) => counts[i] &&
    legend.append(make("li", {}, make("span", { class: `key level-${i}` }), `${word}s`)));
  if (gapsOf(array).length) legend.append(make("li", {}, make("span", { class: "key missing" }), "nothing"));
  return make("div", {}, canvas, legend);
}

// Values of resources added up or brought to a mean: those searched for, as the page ranks them.
async function sumOfSearched(kind, measure, found) {
  const about = measure.about;
  const inFull = found.length <= 40 && found.every((resource) => kind.inFull.has(resource));
  const count = kind.array.count;
  if (inFull) return addUp(await Promise.all(found.map((i) => seriesOf(kind, i, measure))), count, about);
  const rank = await rankOf(kind, measure);
  if (!rank) return null;
  const steps = rank.grid.begin.length;
  const all = { value: new Float64Array(steps).fill(NaN), most: null, least: null, begin: rank.grid.begin,
    end: rank.grid.end, rough: true };
  for (let step = 0; step < steps; ++step) {
    let sum = 0;
    let seen = 0;
    for (const resource of found) {
      const value = rank.value(resource, step);
      if (Number.isNaN(value)) continue;
      sum = about.together === "largest" ? Math.max(sum, value) : sum + value;
      ++seen;
    }
    if (seen) all.value[step] = about.together === "mean" ? sum / seen : sum;
  }
  return all;
}

function addUp(series, count, about) {
  const all = { value: new Float64Array(count).fill(NaN), most: new Float64Array(count).fill(NaN),
    least: new Float64Array(count).fill(NaN), weight: new Float64Array(count) };
  for (let i = 0; i < count; ++i) {
    const there = series.filter((each) => !Number.isNaN(each.value[i]));
    if (there.length === 0) continue;
    const end = (each, of) => (each[of] ? each[of][i] : NaN);
    if (about.together === "sum") {
      all.value[i] = there.reduce((sum, each) => sum + each.value[i], 0);
      all.most[i] = there.reduce((sum, each) => sum + end(each, "most"), 0);
      all.least[i] = there.reduce((sum, each) => sum + end(each, "least"), 0);
      continue;
    }
    const weights = there.reduce((sum, each) => sum + each.weight[i], 0);
    all.weight[i] = weights;
    all.value[i] = about.together === "largest" ? Math.max(...there.map((each) => each.value[i]))
      : there.reduce((sum, each) => sum + each.value[i] * each.weight[i], 0) / weights;
    all.most[i] = Math.max(...there.map((each) => end(each, "most")));
    all.least[i] = Math.min(...there.map((each) => end(each, "least")));
  }
  return all;
}

let shownTotals = "";

async function fillTotals() {
  const kind = currentKind();
  const found = searched(kind);
  const mark = [state.array, kind.word, state.group, state.find].join("\n");
  await fillFigures(kind, found);
  if (mark === shownTotals) return;
  shownTotals = mark;
  const wanted = kind.measures.filter((m) => (m.g === 0 || m.g === state.group) &&
    m.about.name !== "second" && !isLargestOf(kind, m)).slice(0, 6);
  const charts = [];
  for (const measure of wanted) charts.push(await totalChart(kind, measure, found));
  at("totals").replaceChildren(...charts.filter(Boolean));
}

// The values of all resources together, or of those found.
async function togetherOf(kind, measure, found) {
  if (found) return found.length ? sumOfSearched(kind, measure, found) : null;
  const totals = await totalsOf(kind);
  return { value: totals.value.get(measure.id), most: totals.most.get(measure.id),
    least: totals.least.get(measure.id) };
}

const BAND_OF_SUM = "smallest and largest intervals of all, added up: the sum was never outside";

async function totalChart(kind, measure, found) {
  const of = found ? `${found.length} ${kind.title} found by “${state.find}”` : `all ${kind.count} ${kind.title}`;
  const series = await togetherOf(kind, measure, found);
  if (!series) return null;
  const array = series.begin ? stepArray(kind.array, series) : kind.array;
  const known = (numbers) => (numbers && numbers.some((each) => !Number.isNaN(each)) ? numbers : null);
  const { together } = measure.about;
  const lines = [{ label: together, value: series.value, most: known(series.most), least: known(series.least),
    measure }];
  const largest = largestOf(kind, measure);
  const other = largest && await togetherOf(kind, largest, found);
  if (other && other.value.length === series.value.length) {
    Object.assign(lines[0], { most: null, least: null });
    lines.push({ label: largest.about.title, value: other.value, most: null, least: null, measure: largest });
  }
  return makeChart({
    array,
    lines,
    name: `total/${kind.word}/${measure.id}`,
    title: `${measureTitle(kind, measure)} of ${of}${series.rough ? " (≈, in steps of time)" : ""}`,
    meaning: measure.about.meaning,
    bandText: together === "sum" ? BAND_OF_SUM : "smallest and largest single interval of any",
  });
}

// An array whose intervals are the steps of a ranking.
function stepArray(array, steps) {
  return { ...array, begin: steps.begin, end: steps.end, stamp: steps.end, count: steps.begin.length,
    level: new Float64Array(steps.begin.length).fill(3) };
}

// The figures in front: of the span and the resources chosen.
async function fillFigures(kind, found) {
  const [first, behind] = intervalsIn(kind.array, span());
  const figures = [["intervals", String(behind - first), "records of the span"],
    ["resources", found ? `${found.length} of ${kind.count}` : String(kind.count), kind.title]];
  const operations = await operationsOf(kind, found, first, behind);
  if (operations !== null) {
    figures.push(["operations", shortText(operations), groupText(kind, state.group), exactText(operations)]);
  }
  for (const measure of kind.measures.filter((m) => m.g === 0 || m.g === state.group).slice(0, 5)) {
    const figure = await figureOf(kind, measure, found);
    if (figure) figures.push(figure);
  }
  at("figures").replaceChildren(...figures.map(([title, value, note, exact]) =>
    make("div", { class: "figure", "data-exact": exact }, make("span", { class: "what" }, title),
      make("strong", {}, value), make("span", { class: "note" }, note))));
}

// Operations of the group in the span; null: the page cannot tell.
async function operationsOf(kind, found, first, behind) {
  if (kind.groups < state.group) return null;
  const { operations } = await (found ? sumsOf(kind) : totalsOf(kind));
  const own = operations[state.group - 1];
  if (!found) return own.subarray(first, behind).reduce((sum, each) => sum + each, 0);
  if (isWhole(span())) return found.reduce((sum, resource) => sum + (own[resource] || 0), 0);
  if (found.length > 40 || found.some((resource) => !kind.inFull.has(resource))) return null;
  let all = 0;
  for (const resource of found) {
    const column = (await detailOf(kind, resource)).get(`g${state.group}_ops`);
    for (let i = first; i < behind; ++i) all += column[i] || 0;
  }
  return all;
}

async function figureOf(kind, measure, found) {
  const series = await togetherOf(kind, measure, found);
  if (!series) return null;
  const array = series.begin ? stepArray(kind.array, series) : kind.array;
  const [first, behind] = intervalsIn(array, span());
  const own = series.weight && measure.about.byOps ? series.weight : lengthsOf(array);
  const weight = found ? own : totalWeights(kind, measure, await totalsOf(kind));
  const s = statisticsOf({ ...series, weight }, first, behind, measure.about);
  const unit = measure.about.unit;
  return [measure.about.title, `${series.rough ? "≈ " : ""}${numberText(s.mean)}${unit ? " " + unit : ""}`,
    measure.about.together === "largest" ? "largest of the span"
      : `largest of an interval ${numberText(Math.max(...valuesIn(series.value, first, behind)))}`,
    exactText(s.mean)];
}

const lengthsOf = (array) => array.begin.map((begin, i) => array.end[i] - begin);

function valuesIn(numbers, first, behind) {
  return [-Infinity, ...Array.from(numbers.subarray(first, behind)).filter((each) => !Number.isNaN(each))];
}

function totalWeights(kind, measure, totals) {
  if (measure.about.byOps && measure.g) return totals.operations[measure.g - 1];
  return lengthsOf(kind.array);
}
