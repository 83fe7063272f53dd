// The front: what the resources of an array did together.

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
      all.weight[i] = Math.max(...there.map((each) => each.weight[i]));
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

// Measures of the group that stand in front.
function frontMeasures(kind) {
  return kind.measures.filter((m) => (m.g === 0 || m.g === state.group) && m.about.name !== "second").slice(0, 6);
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
  for (const measure of frontMeasures(kind)) {
    const figure = await figureOf(kind, measure, found);
    if (figure) figures.push(figure);
  }
  at("figures").replaceChildren(...figures.map(([title, value, note, exact, quantiles]) =>
    make("div", { class: "figure", "data-exact": exact, "data-quantiles": quantiles }, make("span", { class: "what" }, title),
      make("strong", {}, value), ...[note].flat().map((text) => make("span", { class: "note" }, text)))));
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

// All resources together, or those found, over the span: series, its array, and statistics; null:
// the page has no numbers of them.
async function statisticsTogether(kind, measure, found) {
  const series = await togetherOf(kind, measure, found);
  if (!series) return null;
  const array = series.begin ? stepArray(kind.array, series) : kind.array;
  const [first, behind] = intervalsIn(array, span());
  const weight = found ? series.weight || lengthsOf(array) : totalWeights(measure, await totalsOf(kind));
  return { ...statisticsOf({ ...series, weight }, first, behind, measure.about), series, array };
}

async function figureOf(kind, measure, found) {
  const s = await statisticsTogether(kind, measure, found);
  if (!s) return null;
  const { series } = s;
  const unit = measure.about.unit;
  const text = (value) => numberText(value, measure.about.digits);
  const largest = measure.about.together === "largest";
  return [measure.about.title, `${series.rough ? "≈ " : ""}${text(s.mean)}${unit ? " " + unit : ""}`,
    [largest ? "largest of the span" : `of an interval ${text(s.lowest)} to ${text(s.largest)}`,
      `median ${text(s.median)}, 95 % ${text(s.p95)}`], exactText(s.mean), `${exactText(s.median)} ${exactText(s.p95)}`];
}

const lengthsOf = (array) => array.begin.map((begin, i) => array.end[i] - begin);

function valuesIn(numbers, first, behind) {
  return [-Infinity, ...Array.from(numbers.subarray(first, behind)).filter((each) => !Number.isNaN(each))];
}

// Operations for averages, else the time that was measured, which a record's own need not fill.
const totalWeights = (measure, totals) =>
  (measure.about.byOps && measure.g ? totals.operations[measure.g - 1] : totals.milliseconds);
