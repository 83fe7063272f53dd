// What the page holds: arrays, their kinds, and numbers by measure. Everything but the first piece
// is read when it is asked for.

let page = null;

async function readPage() {
  page = JSON.parse(await pieceText(0));
  zones.changes = page.zone.changes;
  zones.utc = page.zone.utc;
  const numbers = new Map(page.columns.map((column, i) => [column.name, i]));
  page.columnNumbers = numbers;
  for (const array of page.arrays) {
    const columns = new Columns(await piece(array.times));
    for (const name of ["begin", "end", "stamp", "level"]) array[name] = columns.next(array.count);
    for (const kind of array.kinds) prepareKind(array, kind);
  }
}

function prepareKind(array, kind) {
  kind.array = array;
  for (const measure of kind.measures) {
    measure.about = page.measures[measure.m];
    measure.id = (measure.g ? `g${measure.g}_` : "") + measure.about.name;
  }
  kind.inFull = new Map(kind.detail.resources.map((resource, i) => [resource, i]));
}

function kindOf(array, word) {
  return array.kinds.find((kind) => kind.word === word) || array.kinds[0];
}

function measureOf(kind, name, group) {
  return kind.measures.find((m) => m.about.name === name && (m.g === 0 || m.g === group)) ||
    kind.measures.find((m) => m.g === 0 || m.g === group) || kind.measures[0];
}

// An array of which something can be shown.
const hasContent = (array) => array.count > 0 && array.kinds.length > 0;

const LEVEL_WORDS = ["log", "hour archive", "day archive", "step of time"];

// "lazily", once: a property that is a promise of what `make` reads.
function once(object, name, make) {
  const key = "read_" + name;
  if (!object[key]) object[key] = make();
  return object[key];
}

const keysOf = (kind) => once(kind, "keys", async () => {
  const keys = kind.count === 0 ? [] : (await pieceText(kind.keys)).split("\n");
  kind.keyList = keys;
  return keys;
});

// Over the whole span: value and largest single value by measure, operations by group.
const sumsOf = (kind) => once(kind, "sums", async () => {
  const columns = new Columns(await piece(kind.sums));
  const sums = { value: new Map(), most: new Map(), operations: [] };
  for (const measure of kind.measures) {
    sums.value.set(measure.id, columns.next(kind.count));
    sums.most.set(measure.id, columns.next(kind.count));
  }
  for (let group = 0; group < kind.groups; ++group) sums.operations.push(columns.next(kind.count));
  return sums;
});

// Of all resources together, over the intervals.
const totalsOf = (kind) => once(kind, "totals", async () => {
  const columns = new Columns(await piece(kind.totals));
  const count = kind.array.count;
  const totals = { value: new Map(), most: new Map(), least: new Map(), operations: [] };
  for (const measure of kind.measures) {
    for (const of of ["value", "most", "least"]) totals[of].set(measure.id, columns.next(count));
  }
  for (let group = 0; group < kind.groups; ++group) totals.operations.push(columns.next(count));
  totals.counted = columns.next(count);
  totals.milliseconds = columns.next(count);
  return totals;
});

const gridOf = (kind, name) => once(kind, name, async () => {
  const grid = kind[name];
  if (grid.native) return { begin: kind.array.begin, end: kind.array.end, native: true };
  const columns = new Columns(await piece(grid.steps));
  return { begin: columns.next(grid.count), end: columns.next(grid.count), native: false };
});

// Values of each resource over steps, good enough to rank them; null: the page has none.
const rankOf = (kind, measure) => (measure && measure.rank
  ? once(kind, "rank_" + measure.id, () => readRank(kind, measure)) : Promise.resolve(null));

async function readRank(kind, measure) {
  const grid = await gridOf(kind, measure.rank.grid);
  const columns = new Columns(await piece(measure.rank.piece));
  const steps = grid.begin.length;
  const value = columns.matrix(kind.count, steps, kind.wide);
  const most = measure.rank.most ? columns.matrix(kind.count, steps, kind.wide) : value;
  return { grid, value, most };
}

// All numbers of a resource by the name of their column; null: the page does not tell it in full.
async function detailOf(kind, resource) {
  const place = kind.inFull.get(resource);
  if (place === undefined) return null;
  const columns = new Columns(await piece(kind.detail.pieces[place]), kind.detail.at[place]);
  const count = kind.array.count;
  const found = new Map();
  for (const number of kind.columns) found.set(page.columns[number].name, columns.next(count));
  for (const number of kind.columns) {
    const { name, group } = page.columns[number];
    const formula = found.get(name);
    if (typeof formula !== "function") continue;
    const ops = found.get(`g${group}_ops`);
    const ms = found.get("interval_ms");
    const second = found.get(`g${group}_second_mean`);
    found.set(name, ops.map((each, i) => formula(each, ms[i], second ? second[i] : NaN)));
  }
  return found;
}

// A measure of a resource or of a kind's total: numbers over the intervals.
function seriesOfDetail(detail, measure, level) {
  const column = (number) => (number === null ? undefined : detail.get(page.columns[number].name));
  const value = column(measure.value);
  const nothing = () => new Float64Array(value.length).fill(NaN);
  const own = (numbers) =>
    numbers.map((each, i) => (Number.isNaN(each) && level[i] === 0 ? value[i] : each));
  return {
    value,
    most: measure.most === null ? null : own(column(measure.most) || nothing()),
    least: measure.least === null ? null : own(column(measure.least) || nothing()),
    weight: column(measure.weight) || new Float64Array(value.length).fill(1),
  };
}

function nameOf(kind, resource) {
  return (kind.names && kind.names[resource]) || "";
}

// "ops of counter group 1" and its like.
function groupText(kind, group) {
  return group === 0 ? "" : kind.groupNames[group - 1];
}

function unitText(measure) {
  return measure.about.unit || "unit of the file";
}
