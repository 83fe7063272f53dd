// The same numbers as a table and as CSV.

const MOST_TABLE_ROWS = 1000;

const csvCell = (text) => (/[",\n\r]/.test(text) ? `"${text.replace(/"/g, '""')}"` : text);

function csvText(rows) {
  return rows.map((row) => row.map((cell) => csvCell(String(cell))).join(",")).join("\n") + "\n";
}

function exactText(value) {
  return value === null || value === undefined || Number.isNaN(value) ? "" : String(value);
}

// Columns of a chart: its lines, and the ends of the band.
function chartColumns(chart) {
  const columns = [];
  for (const line of chart.lines) {
    const unit = unitText(line.measure);
    columns.push({ head: `${line.label}, ${unit}`, numbers: line.value });
    if (!chart.banded) continue;
    if (line.least) columns.push({ head: `${line.label}, smallest, ${unit}`, numbers: line.least });
    if (line.most) columns.push({ head: `${line.label}, largest, ${unit}`, numbers: line.most });
  }
  return columns;
}

// `all`: of the whole span of the page, not only of what is chosen.
function chartCsv(chart, all = false) {
  const { array } = chart;
  const columns = chartColumns(chart);
  const [first, behind] = all ? [0, array.count] : intervalsIn(array, span());
  const rows = [["begin", "end", "stamp", "level", ...columns.map((column) => column.head)]];
  for (let i = first; i < behind; ++i) {
    rows.push([isoText(array.begin[i], state.zone), isoText(array.end[i], state.zone), array.stamp[i],
      LEVEL_WORDS[array.level[i]], ...columns.map((column) => exactText(column.numbers[i]))]);
  }
  return csvText(rows);
}

function chartTable(chart) {
  const { array } = chart;
  const columns = chartColumns(chart);
  const [first, behind] = intervalsIn(array, span());
  const last = Math.min(behind, first + MOST_TABLE_ROWS);
  const body = make("tbody");
  for (let i = first; i < last; ++i) {
    body.append(make("tr", {},
      make("th", { scope: "row" }, periodText(array.begin[i], array.end[i], state.zone)),
      ...columns.map((column) => make("td", {}, exactText(column.numbers[i])))));
  }
  const told = last < behind ? `the first ${last - first} of ${behind - first} intervals; CSV has all`
    : `${behind - first} intervals`;
  return make("div", { class: "scroll", tabindex: "0", role: "region", "aria-label": chart.title },
    make("table", {},
      make("caption", {}, `${chart.title}: ${told}, times in ${zoneText(state.zone, array.begin[0])}`),
      make("thead", {}, make("tr", {}, make("th", { scope: "col" }, "interval"),
        ...columns.map((column) => make("th", { scope: "col" }, column.head)))),
      body));
}

async function copyText(text, button) {
  let copied = true;
  try {
    await navigator.clipboard.writeText(text);
  } catch {
    const area = make("textarea", { class: "hidden-text" });
    area.value = text;
    document.body.append(area);
    area.select();
    copied = document.execCommand("copy");
    area.remove();
  }
  const before = button.textContent;
  button.textContent = copied ? "Copied" : "Cannot copy";
  say(copied ? "Copied as CSV" : "The browser does not let the page copy");
  setTimeout(() => { button.textContent = before; }, 1500);
}

// Buttons that show a table in a place, and copy the same numbers. `toggled` hears what fills the
// place again, or null when the table has been closed.
function tableTools(place, makeTable, makeCsv, toggled) {
  const fill = () => place.replaceChildren(makeTable());
  const table = make("button", { type: "button", "aria-expanded": "false", onclick: () => {
    const open = place.childElementCount === 0;
    table.setAttribute("aria-expanded", String(open));
    table.textContent = open ? "Hide table" : "Table";
    if (open) fill();
    else place.replaceChildren();
    toggled(open ? fill : null);
  } }, "Table");
  const copy = make("button", { type: "button", onclick: () => copyText(makeCsv(), copy) }, "Copy as CSV");
  return [table, copy];
}

// The buttons below a chart.
function chartTools(chart, place) {
  const tool = (text, label, action) =>
    make("button", { type: "button", "aria-label": label, title: label, onclick: action }, text);
  return [
    tool("−", "Zoom out", () => zoomBy(chart.array, 2)),
    tool("+", "Zoom in", () => zoomBy(chart.array, 0.5)),
    tool("◀", "Earlier", () => panBy(chart.array, -0.5)),
    tool("▶", "Later", () => panBy(chart.array, 0.5)),
    ...tableTools(place, () => chartTable(chart), () => chartCsv(chart), (fill) => { chart.refreshTable = fill; })];
}
