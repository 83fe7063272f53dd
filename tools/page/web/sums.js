// What intervals amount to: means, extremes, median and 95th percentile of the part of time chosen.

// The intervals that lie in a span: [first, behind). Spans go from a begin to an end.
function intervalsIn(array, span) {
  let first = 0;
  let behind = array.count;
  if (span.from !== null) first = lowerBound(array.begin, span.from);
  if (span.to !== null) behind = upperBound(array.end, span.to);
  return [first, Math.max(first, behind)];
}

function lowerBound(numbers, value) {
  let low = 0;
  let high = numbers.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (numbers[middle] < value) low = middle + 1;
    else high = middle;
  }
  return low;
}

const upperBound = (numbers, value) => {
  let at = lowerBound(numbers, value);
  while (at < numbers.length && numbers[at] <= value) ++at;
  return at;
};

function isWhole(span) {
  return span.from === null && span.to === null;
}

// The value below which a share of the weights lies: the smallest one at which it is reached.
function quantile(pairs, share) {
  let all = 0;
  for (const [, weight] of pairs) all += weight;
  let sum = 0;
  for (const [value, weight] of pairs) {
    sum += weight;
    if (weight > 0 && sum >= all * share) return value;
  }
  return NaN;
}

// Of a series over the intervals [first, behind). `together` as in the table of measures.
function statisticsOf(series, first, behind, about) {
  let sum = 0;
  let weights = 0;
  let largest = NaN;
  let lowest = NaN;
  let peak = NaN;
  let peakAt = -1;
  let low = NaN;
  const pairs = [];
  for (let i = first; i < behind; ++i) {
    const value = series.value[i];
    if (Number.isNaN(value)) continue;
    const weight = series.weight && series.weight[i] > 0 ? series.weight[i] : 0;
    sum += value * weight;
    weights += weight;
    pairs.push([value, weight]);
    if (!(largest >= value)) largest = value;
    if (!(lowest <= value)) lowest = value;
    const most = series.most && !Number.isNaN(series.most[i]) ? series.most[i] : value;
    if (!(peak >= most)) {
      peak = most;
      peakAt = i;
    }
    const least = series.least && !Number.isNaN(series.least[i]) ? series.least[i] : value;
    if (!(low <= least)) low = least;
  }
  pairs.sort((a, b) => a[0] - b[0]);
  const mean = about.together === "largest" ? largest : weights > 0 ? sum / weights : NaN;
  return { mean, peak, peakAt, low, lowest, largest, median: quantile(pairs, 0.5), p95: quantile(pairs, 0.95),
    count: pairs.length };
}

// The value of a resource over the steps of a ranking that touch the span, and its largest.
function rankedOver(rank, resource, steps, about) {
  let sum = 0;
  let weights = 0;
  let largest = NaN;
  let most = NaN;
  for (let step = steps[0]; step < steps[1]; ++step) {
    const value = rank.value(resource, step);
    if (Number.isNaN(value)) continue;
    const length = rank.grid.end[step] - rank.grid.begin[step];
    sum += value * length;
    weights += length;
    if (!(largest >= value)) largest = value;
    const peak = rank.most(resource, step);
    if (!(most >= peak)) most = peak;
  }
  const mean = about.together === "largest" ? largest : weights > 0 ? sum / weights : NaN;
  return { mean, peak: most };
}

function stepsIn(grid, span) {
  let first = 0;
  let behind = grid.begin.length;
  if (span.from !== null) while (first < behind && grid.end[first] <= span.from) ++first;
  if (span.to !== null) while (behind > first && grid.begin[behind - 1] >= span.to) --behind;
  return [first, behind];
}

// Numbers for people: as many digits as tell something.
function numberText(value, digits = 2) {
  if (value === null || value === undefined || Number.isNaN(value)) return "–";
  const size = Math.abs(value);
  const places = size >= 1000 ? 0 : size >= 100 ? Math.min(digits, 1) : digits;
  return value.toLocaleString("en", { minimumFractionDigits: places, maximumFractionDigits: places });
}

const SHORT = [[1e15, "P"], [1e12, "T"], [1e9, "G"], [1e6, "M"], [1e3, "k"]];

function shortText(value) {
  if (Number.isNaN(value)) return "–";
  for (const [unit, letter] of SHORT) {
    if (Math.abs(value) >= unit) return +(value / unit).toPrecision(3) + letter;
  }
  return String(+value.toPrecision(3));
}
