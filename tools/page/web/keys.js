// What keys do where a chart has the focus.

function chartOf(element) {
  for (const chart of shownCharts) if (chart.plot === element) return chart;
  return null;
}

function moveBy(chart, steps) {
  const [first, behind] = intervalsIn(chart.array, span());
  if (behind <= first) return;
  const from = chart.at < first || chart.at >= behind ? (steps > 0 ? first - 1 : behind) : chart.at;
  const i = Math.min(behind - 1, Math.max(first, from + steps));
  showMoment(chart.array, chart.array.begin[i]);
  say(readingText(chart, i));
}

const CHART_KEYS = {
  ArrowLeft: (chart, event) => (event.shiftKey ? panBy(chart.array, -0.5) : moveBy(chart, -1)),
  ArrowRight: (chart, event) => (event.shiftKey ? panBy(chart.array, 0.5) : moveBy(chart, 1)),
  PageUp: (chart) => moveBy(chart, -24),
  PageDown: (chart) => moveBy(chart, 24),
  "+": (chart) => zoomBy(chart.array, 0.5),
  "=": (chart) => zoomBy(chart.array, 0.5),
  "-": (chart) => zoomBy(chart.array, 2),
  0: () => change({ from: null, to: null }),
  Home: () => change({ from: null, to: null }),
  Escape: (chart) => showMoment(chart.array, null),
};

document.addEventListener("keydown", (event) => {
  const chart = chartOf(event.target);
  const action = chart && CHART_KEYS[event.key];
  if (!action || event.ctrlKey || event.metaKey || event.altKey) return;
  event.preventDefault();
  action(chart, event);
});
