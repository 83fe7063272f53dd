// A chart of measures over time: a line for the value, a band from the smallest to the largest
// single interval, or a second line. All charts of the page show the same span and the same moment.

const shownCharts = new Set();

// The page has legends of its own; the library's would set styles that the content policy forbids.
Dygraph.PLUGINS = Dygraph.PLUGINS.filter((plugin) => !/Legend/.test(plugin.prototype.toString()));

function colour(name) {
  return getComputedStyle(document.documentElement).getPropertyValue(name).trim();
}

function valueTicks(low, high, most) {
  const rough = (high - low) / most;
  const unit = 10 ** Math.floor(Math.log10(rough));
  const step = [1, 2, 5, 10].find((each) => each * unit >= rough) * unit;
  const ticks = [];
  for (let v = Math.ceil(low / step) * step; v <= high * (1 + 1e-9); v += step) {
    ticks.push({ v: +v.toPrecision(12), label: shortText(+v.toPrecision(12)) });
  }
  return ticks;
}

// Charts draw at most so many steps; of more intervals some share one, with the band of all of them.
const MOST_STEPS = 1500;

// Intervals [i, behind) of a line as one: [smallest, value, largest].
function stepOf(line, array, i, behind) {
  if (behind === i + 1 && Number.isNaN(line.value[i])) return null;
  let sum = 0;
  let weights = 0;
  let low = NaN;
  let high = NaN;
  for (let k = i; k < behind; ++k) {
    const value = line.value[k];
    if (Number.isNaN(value)) continue;
    const weight = Math.max(1, array.end[k] - array.begin[k]);
    sum += value * weight;
    weights += weight;
    const least = line.least && !Number.isNaN(line.least[k]) ? line.least[k] : value;
    const most = line.most && !Number.isNaN(line.most[k]) ? line.most[k] : value;
    if (!(low <= least)) low = least;
    if (!(high >= most)) high = most;
  }
  if (weights === 0) return null;
  const own = behind === i + 1 ? line.value[i] : sum / weights;
  return [low, line.measure.about.together === "largest" ? high : own, high];
}

// Rows for the library: a value holds from the begin of its interval to its end, gaps stay empty.
function chartRows(chart) {
  const { array, lines, banded } = chart;
  let [first, behind] = [0, array.count];
  if (array.count > MOST_STEPS) [first, behind] = intervalsIn(array, span());
  chart.stride = Math.max(1, Math.ceil((behind - first) / MOST_STEPS));
  const cells = (i, next) => lines.map((line) => {
    const step = stepOf(line, array, i, next);
    if (banded) return step || [null, null, null];
    return step && step[1];
  });
  const nothing = lines.map(() => (banded ? [null, null, null] : null));
  const rows = [];
  for (let i = first; i < behind;) {
    let next = i + 1;
    while (next < behind && next - i < chart.stride && array.begin[next] <= array.end[next - 1]) ++next;
    const values = cells(i, next);
    const begin = array.begin[i] * 1000;
    const end = array.end[next - 1] * 1000;
    rows.push([begin, ...values]);
    if (next === array.count || array.begin[next] > array.end[next - 1] || next === behind) {
      if (end > begin) rows.push([end, ...values]);
      rows.push([Math.max(end, begin) + 1, ...nothing]);
    }
    i = next;
  }
  return rows.length ? rows : [[windowOf(array)[0], ...nothing]];
}

function windowOf(array) {
  const from = state.from === null ? array.begin[0] : state.from;
  const to = state.to === null ? array.end[array.count - 1] : state.to;
  return [from * 1000, Math.max(to, from + 1) * 1000];
}

const valueAxis = () => ({ axisLabelWidth: 48, independentTicks: true,
  ticker: (low, high, pixels) => valueTicks(low, high, Math.max(2, pixels / 36)) });

// What a chart tells in a sentence.
function chartSummary(chart) {
  const [first, behind] = intervalsIn(chart.array, span());
  const parts = chart.lines.map((line) => {
    const s = statisticsOf(line, first, behind, line.measure.about);
    if (s.count === 0) return `${line.label}: no values`;
    const peak = s.peakAt < 0 ? "" :
      `, largest ${numberText(s.peak)} in ${periodText(chart.array.begin[s.peakAt],
        chart.array.end[s.peakAt], state.zone)}`;
    return `${line.label}: ${line.measure.about.together === "largest" ? "largest" : "mean"} ` +
      `${numberText(s.mean)} ${unitText(line.measure)}${peak}`;
  });
  return parts.join("; ");
}

function readingText(chart, i) {
  if (i < 0) return "";
  const when = periodText(chart.array.begin[i], chart.array.end[i], state.zone);
  const parts = chart.lines.map((line) => {
    const value = line.value[i];
    let text = `${line.label} ${numberText(value)}`;
    if (!Number.isNaN(value) && chart.banded) {
      text += ` (${numberText(line.least ? line.least[i] : NaN)} to ` +
        `${numberText(line.most ? line.most[i] : NaN)})`;
    }
    return text;
  });
  return `${when}: ${parts.join(", ")} ${unitText(chart.lines[0].measure)}`;
}

// `lines`: {label, value, most, least, measure}. Returns the chart's figure.
function makeChart({ array, title, meaning, lines, bandText, name }) {
  const banded = lines.length === 1 && Boolean(lines[0].most || lines[0].least);
  const plot = make("div", { class: "plot", tabindex: "0", role: "img" });
  const reading = make("p", { class: "reading" });
  const legend = make("ul", { class: "legend" });
  lines.forEach((line, i) => legend.append(
    make("li", {}, make("span", { class: `key line-${i + 1}` }), i === 0 ? line.label : `${line.label} (right axis)`)));
  if (banded) {
    legend.append(make("li", {}, make("span", { class: "key band" }),
      bandText || "from the smallest to the largest single interval"));
  }
  const chart = { array, lines, banded, plot, reading, title, name, at: -1 };
  const more = make("div", { class: "table-place" });
  const figure = make("figure", { class: lines.length > 1 ? "chart two-axes" : "chart" },
    make("figcaption", {}, make("h4", {}, title), meaning ? make("p", { class: "meaning" }, meaning) : null),
    plot, make("p", { class: "axis" }), legend, reading,
    make("div", { class: "tools" }, ...chartTools(chart, more)), more);
  chart.figure = figure;
  figure.csv = () => chartCsv(chart, true);
  figure.chartName = name;
  shownCharts.add(chart);
  return figure;
}

// Draws once the figure stands in the page; again when size or theme have changed.
function drawChart(chart) {
  const { array, lines, plot } = chart;
  if (!plot.isConnected) {
    if (chart.graph) chart.graph.destroy();
    shownCharts.delete(chart);
    return;
  }
  if (chart.graph) chart.graph.destroy();
  const zone = state.zone;
  chart.drawnFor = zone + document.documentElement.dataset.shade;
  const unit = unitText(lines[0].measure);
  plot.dataset.unit = unit;
  chart.graph = new Dygraph(plot, chartRows(chart), {
    labels: ["time", ...lines.map((line, i) => `line ${i + 1}`)],
    series: lines.length > 1 ? { "line 2": { axis: "y2" } } : {},
    customBars: chart.banded,
    stepPlot: true,
    ...coloursOf(chart),
    strokeWidth: 1.5,
    fillAlpha: 0.35,
    dateWindow: windowOf(array),
    includeZero: true,
    axisLabelFontSize: 12,
    highlightCircleSize: 3,
    axes: {
      // The last label would stand where those of the right axis begin.
      x: { ticker: (a, b, pixels) => timeTicks(a / 1000, b / 1000, pixels / 75, zone)
        .map((tick) => ({ v: tick.moment * 1000, label: tick.label }))
        .filter((tick) => lines.length === 1 || (b - tick.v) / (b - a) * pixels > 24) },
      y: valueAxis(),
      y2: { ...valueAxis(), drawGrid: false },
    },
    interactionModel: chartHands(chart),
    highlightCallback: (event, x) => mouseMoved(event) && showMoment(array, x / 1000),
    unhighlightCallback: (event) => mouseMoved(event) && showMoment(array, null),
  });
  describeChart(chart);
}

let mouseAt = "";

// False for what the browser tells of a mouse that rests while the page moves beneath it.
function mouseMoved(event) {
  const place = `${event.screenX} ${event.screenY}`;
  const moved = place !== mouseAt;
  mouseAt = place;
  return moved;
}

function describeChart(chart) {
  const [from] = windowOf(chart.array);
  chart.plot.setAttribute("aria-label", `Chart of ${chart.title}. ${chartSummary(chart)}. ` +
    "Arrow keys move through the intervals, plus and minus zoom, the zero key shows all.");
  chart.figure.querySelector(".axis").textContent =
    `${unitText(chart.lines[0].measure)} over time, ${zoneText(state.zone, from / 1000)}` +
    (chart.stride > 1 ? `; drawn in steps of ${chart.stride} intervals` : "");
}

const coloursOf = (chart) => ({ colors: chart.lines.map((line, i) => colour(`--line-${i + 1}`)),
  axisLineColor: colour("--axis"), gridLineColor: colour("--grid") });

// In the colours of another theme, on the canvas that is there. Of a new one browsers would print each
// stroke again, and with them the one that clears it.
function recolourCharts() {
  for (const chart of shownCharts) {
    if (!chart.graph || !chart.plot.isConnected) continue;
    chart.drawnFor = state.zone + document.documentElement.dataset.shade;
    chart.graph.updateOptions(coloursOf(chart));
  }
}

// Draws what is new, moves what is there to the span.
function refreshCharts() {
  const shade = document.documentElement.dataset.shade;
  for (const chart of [...shownCharts]) {
    if (!chart.graph || !chart.plot.isConnected || chart.drawnFor !== state.zone + shade) {
      drawChart(chart);
    } else {
      const file = chart.array.count > MOST_STEPS ? { file: chartRows(chart) } : {};
      chart.graph.updateOptions({ dateWindow: windowOf(chart.array), ...file });
      describeChart(chart);
    }
    if (chart.refreshTable) chart.refreshTable();
  }
}

// Every chart of the array shows the interval of the moment.
function showMoment(array, moment) {
  let i = -1;
  if (moment !== null) {
    i = Math.min(array.count - 1, upperBound(array.begin, moment) - 1);
    if (i >= 0 && array.end[i] < moment) i = -1;
  }
  for (const chart of shownCharts) {
    if (chart.array !== array || chart.at === i) continue;
    chart.at = i;
    chart.reading.textContent = readingText(chart, i);
    if (!chart.graph) continue;
    if (i < 0) chart.graph.clearSelection();
    else chart.graph.setSelection(rowOf(chart, i));
  }
}

function rowOf(chart, i) {
  const graph = chart.graph;
  let low = 0;
  let high = graph.numRows();
  // The step that begins with the interval, or the one that holds it.
  const x = chart.array.begin[i] * 1000;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (graph.getValue(middle, 0) <= x) low = middle + 1;
    else high = middle;
  }
  return Math.max(0, low - 1);
}

// Dragging chooses a span, with the shift key it moves it; a double click shows all.
function chartHands(chart) {
  const usual = Dygraph.defaultInteractionModel;
  let start = null;
  const timeAt = (event) => chart.graph.toDataXCoord(chart.graph.eventToDomCoords(event)[0]) / 1000;
  return {
    mousedown: (event, graph, context) => {
      context.initializeMouseDown(event, graph, context);
      start = { at: timeAt(event), x: event.pageX, shift: event.shiftKey, window: windowOf(chart.array) };
      const up = (end) => {
        document.removeEventListener("mouseup", up);
        chart.plot.classList.remove("dragged");
        const moved = Math.abs(end.pageX - start.x);
        if (moved > 4) dragged(chart, start, timeAt(end));
        start = null;
      };
      document.addEventListener("mouseup", up);
    },
    dblclick: () => change({ from: null, to: null }),
    touchstart: usual.touchstart,
    touchmove: usual.touchmove,
    touchend: (event, graph, context) => {
      usual.touchend(event, graph, context);
      const [from, to] = graph.xAxisRange();
      const [was, and] = windowOf(chart.array);
      if (from !== was || to !== and) setSpan(chart.array, from / 1000, to / 1000);
    },
  };
}

function dragged(chart, start, end) {
  if (!start.shift) return setSpan(chart.array, Math.min(start.at, end), Math.max(start.at, end));
  const moved = start.at - end;
  return setSpan(chart.array, start.window[0] / 1000 + moved, start.window[1] / 1000 + moved);
}

// Chooses a span that begins and ends with intervals of the array.
function setSpan(array, from, to) {
  const first = array.begin[0];
  const last = array.end[array.count - 1];
  const length = Math.min(to - from, last - first);
  const begin = Math.max(first, Math.min(from, last - length));
  const i = Math.max(0, upperBound(array.begin, begin + 0.5) - 1);
  const j = Math.min(array.count - 1, lowerBound(array.end, begin + length - 0.5));
  const whole = i === 0 && j === array.count - 1;
  change(whole ? { from: null, to: null } : { from: array.begin[i], to: array.end[Math.max(i, j)] });
}

function zoomBy(array, factor) {
  const [from, to] = windowOf(array).map((each) => each / 1000);
  const middle = (from + to) / 2;
  const half = ((to - from) / 2) * factor;
  setSpan(array, middle - half, middle + half);
}

function panBy(array, share) {
  const [from, to] = windowOf(array).map((each) => each / 1000);
  setSpan(array, from + (to - from) * share, to + (to - from) * share);
}
