// A map of hours by days: each cell tells the mean of its hour, and in its upper corner the peak.

let heatCells = [];
let heatAt = null;
let heatOpen = false;  // the table of its numbers
let shownHeat = null;  // what drawHeat was called with

// The series that the map shows: of all resources or of the one that is open.
async function heatSeries() {
  const kind = currentKind();
  const measure = currentMeasure();
  if (!measure) return null;
  const open = state.heat === "open" ? openResource() : null;
  if (open) {
    const label = `${kind.word} ${state.open}`;
    const series = await seriesOf(kind, open.resource, measure);
    if (series) return { ...series, label, measure };
    const rough = await roughSeriesOf(kind, open.resource, measure);
    return rough && { ...rough, label: `${label} (≈, in steps of time)`, measure };
  }
  const found = searched(kind);
  const series = await togetherOf(kind, measure, found);
  if (!series) return null;
  const label = found ? `${found.length} ${kind.title} found by “${state.find}”` : `all ${kind.title}`;
  return { begin: kind.array.begin, end: kind.array.end, ...series, measure,
    label: series.rough ? `${label} (≈, in steps of time)` : label };
}

// Cells by day and hour of the zone. Of an hour that clocks show twice there are two, side by side.
function cellsOf(series) {
  const zone = state.zone;
  const cells = new Map();
  const [from, to] = windowOf(kindArray()).map((each) => each / 1000);
  for (let i = 0; i < series.value.length; ++i) {
    const begin = series.begin[i];
    const end = Math.max(series.end[i], begin + 1);
    if (begin < from || end > to + 1 || Number.isNaN(series.value[i])) continue;
    // What is longer than an hour fills all of its hours.
    for (let moment = begin; moment < end; moment = nextHour(moment, zone)) {
      const civil = civilOf(moment, zone);
      const hourBegin = moment - (((civil % 3600) + 3600) % 3600);
      let cell = cells.get(hourBegin);
      if (!cell) {
        const p = partsOf(moment, zone);
        cell = { begin: hourBegin, day: Math.floor(civil / DAY), hour: p.hour, sum: 0, weight: 0, most: NaN,
          largest: NaN, twice: isTwice(hourBegin, zone) };
        cells.set(hourBegin, cell);
      }
      const weight = Math.min(end, hourBegin + 3600) - moment;
      cell.sum += series.value[i] * weight;
      cell.weight += weight;
      if (!(cell.largest >= series.value[i])) cell.largest = series.value[i];
      const most = series.most && !Number.isNaN(series.most[i]) ? series.most[i] : series.value[i];
      if (!(cell.most >= most)) cell.most = most;
    }
  }
  const about = series.measure.about;
  return [...cells.values()].map((cell) => ({ ...cell,
    second: cell.twice && momentOf(civilOf(cell.begin, zone), zone) !== cell.begin,
    value: about.together === "largest" ? cell.largest : cell.sum / cell.weight }));
}

const kindArray = () => currentKind().array;

function nextHour(moment, zone) {
  const civil = civilOf(moment, zone);
  return moment + 3600 - (((civil % 3600) + 3600) % 3600);
}

function mix(share) {
  const stops = ["--heat-0", "--heat-1", "--heat-2", "--heat-3", "--heat-4"].map(colour);
  const place = Math.min(0.9999, Math.max(0, share)) * (stops.length - 1);
  const low = Math.floor(place);
  const parse = (text) => [1, 3, 5].map((from) => parseInt(text.slice(from, from + 2), 16));
  const [a, b] = [parse(stops[low]), parse(stops[low + 1])];
  return `rgb(${a.map((each, i) => Math.round(each + (b[i] - each) * (place - low))).join(",")})`;
}

async function fillHeat() {
  const series = await heatSeries();
  const place = at("heat-map");
  if (!series) return place.replaceChildren(make("p", {}, "The page has no numbers of this."));
  heatCells = cellsOf(series);
  const title = `${measureTitle(currentKind(), series.measure)} of ${series.label}`;
  at("heat-title").textContent = title;
  at("heat-meaning").textContent = series.measure.about.meaning;
  shownHeat = [series, place, title];
  drawHeat(...shownHeat);
}

function drawHeat(series, place, title) {
  const first = Math.min(...heatCells.map((cell) => cell.day));
  const days = heatCells.length ? Math.max(...heatCells.map((cell) => cell.day)) - first + 1 : 0;
  if (days <= 0) return place.replaceChildren(make("p", {}, "No values in the span."));
  const most = heatCells.reduce((all, cell) => Math.max(all, cell.most, cell.value), 0) || 1;
  const left = 44;
  const top = 8;
  const tall = 14;
  const wide = Math.max(10, Math.min(56, Math.floor((place.clientWidth - left - 8) / days)));
  const width = left + wide * days + 8;
  const height = top + 24 * tall + 26;
  const canvas = make("canvas", { tabindex: "0", role: "img", id: "heat-canvas" });
  const ratio = window.devicePixelRatio || 1;
  canvas.width = width * ratio;
  canvas.height = height * ratio;
  canvas.style.width = `${width}px`;
  canvas.style.height = `${height}px`;
  const pen = canvas.getContext("2d");
  pen.scale(ratio, ratio);
  pen.font = "12px system-ui, sans-serif";
  for (const cell of heatCells) {
    const part = cell.twice ? wide / 2 : wide;
    cell.x = left + (cell.day - first) * wide + (cell.second ? part : 0);
    cell.y = top + cell.hour * tall;
    cell.width = part - 1;
    cell.height = tall - 1;
    drawCell(pen, cell, most);
  }
  drawHeatAxes(pen, { first, days, left, top, tall, wide });
  const unit = unitText(series.measure);
  canvas.setAttribute("aria-label", `${title}: hours by days, mean and peak. Arrow keys move from hour to ` +
    `hour. Largest peak ${numberText(most)} ${unit}.`);
  const legend = make("p", { class: "heat-legend" }, `0 ${unit} `);
  for (let i = 0; i < 5; ++i) legend.append(make("span", { class: `ramp ramp-${i}` }));
  legend.append(` ${shortText(most)} ${unit}; cell: mean of the hour, upper corner: its peak. ` +
    `Days across, hours down, in ${zoneText(state.zone, heatCells[0].begin)}.`);
  place.replaceChildren(make("div", { class: "scroll-x" }, canvas), legend,
    make("p", { class: "reading", id: "heat-reading" }));
  heatTable(place, title, unit);
  const find = (event) => {
    const box = canvas.getBoundingClientRect();
    showCell(cellAt(event.clientX - box.left, event.clientY - box.top), series, unit);
  };
  canvas.addEventListener("pointermove", find);
  canvas.addEventListener("click", () => heatAt && setSpan(kindArray(), heatAt.begin, heatAt.begin + 3600));
  canvas.addEventListener("keydown", (event) => heatKey(event, series, unit));
}

const cellsInOrder = () => [...heatCells].sort((a, b) => a.begin - b.begin);

function heatCsv(unit) {
  return csvText([["begin", "end", `mean, ${unit}`, `peak, ${unit}`], ...cellsInOrder().map((cell) =>
    [isoText(cell.begin, state.zone), isoText(cell.begin + 3600, state.zone), exactText(cell.value), exactText(cell.most)])]);
}

// The numbers of the map, below it; open as long as nobody closes them.
function heatTable(place, title, unit) {
  const below = make("div", { class: "table-place" });
  const table = () => {
    const cells = cellsInOrder();
    const told = cells.slice(0, MOST_TABLE_ROWS);
    return make("div", { class: "scroll", tabindex: "0", role: "region", "aria-label": title }, make("table", {},
      make("caption", {}, `${title}: ${told.length < cells.length ? `the first ${told.length} of ${cells.length} hours; CSV has all`
        : `${cells.length} hours`}, times in ${zoneText(state.zone, cells[0].begin)}`),
      make("thead", {}, make("tr", {}, ...["hour", `mean, ${unit}`, `peak, ${unit}`].map((head) => make("th", { scope: "col" }, head)))),
      make("tbody", {}, ...told.map((cell) => make("tr", {},
        make("th", { scope: "row" }, periodText(cell.begin, cell.begin + 3600, state.zone)),
        make("td", {}, exactText(cell.value)), make("td", {}, exactText(cell.most)))))));
  };
  place.csv = () => heatCsv(unit);
  const tools = tableTools(below, table, place.csv, (fill) => { heatOpen = Boolean(fill); });
  place.append(make("div", { class: "tools" }, ...tools), below);
  if (heatOpen) tools[0].click();
}

function drawCell(pen, cell, most) {
  pen.fillStyle = mix(cell.value / most);
  pen.fillRect(cell.x, cell.y, cell.width, cell.height);
  if (Number.isNaN(cell.most)) return;
  const corner = Math.min(cell.width, cell.height) * 0.7;
  pen.fillStyle = mix(cell.most / most);
  pen.beginPath();
  pen.moveTo(cell.x + cell.width, cell.y);
  pen.lineTo(cell.x + cell.width, cell.y + corner);
  pen.lineTo(cell.x + cell.width - corner, cell.y);
  pen.fill();
}

function drawHeatAxes(pen, { first, days, left, top, tall, wide }) {
  pen.fillStyle = colour("--muted");
  pen.textAlign = "right";
  pen.textBaseline = "middle";
  for (let hour = 0; hour < 24; hour += 3) {
    pen.fillText(`${two(hour)}:00`, left - 6, top + hour * tall + tall / 2);
  }
  pen.textAlign = "left";
  const every = Math.ceil(54 / wide);
  for (let day = 0; day < days; day += every) {
    const date = new Date((first + day) * DAY * 1000);
    if ((days - day) * wide < 40) break;
    const text = wide >= 74 ? `${WEEKDAYS[date.getUTCDay()]} ` : "";
    pen.fillText(`${text}${date.getUTCDate()} ${MONTHS[date.getUTCMonth()]}`, left + day * wide,
      top + 24 * tall + 14);
  }
}

function cellAt(x, y) {
  return heatCells.find((cell) => x >= cell.x && x <= cell.x + cell.width + 1 && y >= cell.y &&
    y <= cell.y + cell.height + 1) || null;
}

function showCell(cell, series, unit) {
  heatAt = cell;
  const text = cell ? `${periodText(cell.begin, cell.begin + 3600, state.zone)}: ` +
    `${numberText(cell.value)}, peak ${numberText(cell.most)} ${unit}` : "";
  const reading = at("heat-reading");
  if (reading) reading.textContent = text;
  return text;
}

function heatKey(event, series, unit) {
  const steps = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] };
  if (event.key === "Enter" && heatAt) return setSpan(kindArray(), heatAt.begin, heatAt.begin + 3600);
  const step = steps[event.key];
  if (!step) return undefined;
  event.preventDefault();
  const from = heatAt || heatCells[0];
  const candidates = heatCells.filter((cell) => (step[0]
    ? cell.hour === from.hour && Math.sign(cell.day - from.day) === step[0]
    : cell.day === from.day && Math.sign(cell.hour - from.hour) === step[1]));
  candidates.sort((a, b) => Math.abs(a.begin - from.begin) - Math.abs(b.begin - from.begin));
  say(showCell(candidates[0] || from, series, unit));
  return undefined;
}
