// Moments and what clocks show of them: in the zone in which the page was made (the array's), in
// the reader's, or in UTC. All are seconds since 1970.

const DAY = 86400;
const zones = { changes: [] };

// Seconds east of Greenwich.
function offsetAt(moment, zone) {
  if (zone === "utc") return 0;
  if (zone === "reader") return -new Date(moment * 1000).getTimezoneOffset() * 60;
  return changeAt(moment)[1];
}

function changeAt(moment) {
  let found = zones.changes[0];
  for (const each of zones.changes) {
    if (each[0] <= moment) found = each;
  }
  return found;
}

function civilOf(moment, zone) {
  return moment + offsetAt(moment, zone);
}

// The first moment at which clocks show the reading; of one that they skip the moment behind it.
function momentOf(civil, zone) {
  const early = civil - offsetAt(civil - DAY, zone);
  if (civilOf(early, zone) === civil) return early;
  const late = civil - offsetAt(civil + DAY, zone);
  if (civilOf(late, zone) === civil) return late;
  return Math.max(early, late);
}

const two = (number) => String(number).padStart(2, "0");

function partsOf(moment, zone) {
  const date = new Date(civilOf(moment, zone) * 1000);
  return {
    year: date.getUTCFullYear(),
    month: date.getUTCMonth() + 1,
    day: date.getUTCDate(),
    weekday: date.getUTCDay(),
    hour: date.getUTCHours(),
    minute: date.getUTCMinutes(),
    second: date.getUTCSeconds(),
  };
}

function dateText(moment, zone) {
  const p = partsOf(moment, zone);
  return `${p.year}-${two(p.month)}-${two(p.day)}`;
}

function clockText(moment, zone) {
  const p = partsOf(moment, zone);
  return `${two(p.hour)}:${two(p.minute)}` + (p.second ? `:${two(p.second)}` : "");
}

function offsetText(moment, zone) {
  const offset = offsetAt(moment, zone);
  if (zone === "utc") return "Z";
  const minutes = Math.round(Math.abs(offset) / 60);
  return (offset < 0 ? "-" : "+") + two(Math.floor(minutes / 60)) + ":" + two(minutes % 60);
}

// True for a reading that clocks show twice.
function isTwice(moment, zone) {
  const civil = civilOf(moment, zone);
  return momentOf(civil, zone) !== moment || civilOf(moment + 3600, zone) === civil;
}

function timeText(moment, zone) {
  const text = dateText(moment, zone) + " " + clockText(moment, zone);
  return isTwice(moment, zone) ? text + offsetText(moment, zone) : text;
}

function isoText(moment, zone) {
  const p = partsOf(moment, zone);
  return `${dateText(moment, zone)}T${two(p.hour)}:${two(p.minute)}:${two(p.second)}` +
    offsetText(moment, zone);
}

// "2024-03-08 14:00 to 15:00", "2024-03-08" for a whole day.
function periodText(begin, end, zone) {
  const day = dateText(begin, zone);
  const midnight = clockText(begin, zone) === "00:00" && clockText(end, zone) === "00:00";
  if (midnight && dateText(end - 1, zone) === day) return day;
  if (midnight) return `${day} to ${dateText(end - 1, zone)}`;
  if (dateText(end, zone) === day) return `${timeText(begin, zone)} to ${clockText(end, zone)}`;
  return `${timeText(begin, zone)} to ${timeText(end, zone)}`;
}

// What axes and heads say of the zone.
function zoneText(zone, moment) {
  if (zone === "utc") return "UTC";
  if (zone === "reader") {
    const name = Intl.DateTimeFormat().resolvedOptions().timeZone;
    return `reader's zone (${name || offsetText(moment, zone)})`;
  }
  const name = changeAt(moment)[2];
  return zones.utc ? "UTC" : `array's zone (${name})`;
}

function durationText(seconds) {
  if (seconds >= 2 * DAY) return `${+(seconds / DAY).toFixed(1)} days`;
  if (seconds >= 5400) return `${+(seconds / 3600).toFixed(1)} hours`;
  if (seconds >= 60) return `${+(seconds / 60).toFixed(1)} minutes`;
  return `${seconds} seconds`;
}

// "2024-03-08T14:00" of an input of date and time, read in a zone; null: it is none.
function readTime(text, zone) {
  const found = /^(\d{4})-(\d\d)-(\d\d)(?:[T ](\d\d):(\d\d)(?::(\d\d))?)?$/.exec(text);
  if (!found) return null;
  const [year, month, day, hour, minute, second] = found.slice(1).map((part) => Number(part || 0));
  return momentOf(Date.UTC(year, month - 1, day, hour, minute, second) / 1000, zone);
}

function inputText(moment, zone) {
  const p = partsOf(moment, zone);
  return `${dateText(moment, zone)}T${two(p.hour)}:${two(p.minute)}`;
}

const MONTHS = ["Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"];
const WEEKDAYS = ["Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"];
const TICK_STEPS = [1, 5, 15, 30, 60, 300, 900, 1800, 3600, 7200, 10800, 21600, 43200, DAY, 2 * DAY,
  7 * DAY, 14 * DAY, 28 * DAY, 91 * DAY, 364 * DAY];

// Marks of an axis of time: on full hours and days by the clock of the zone.
function timeTicks(from, to, most, zone) {
  const step = TICK_STEPS.find((each) => (to - from) / each <= most) || 3640 * DAY;
  const origin = step >= 7 * DAY ? 4 * DAY : 0;  // a Monday
  const ticks = [];
  let civil = Math.ceil((civilOf(from, zone) - origin) / step) * step + origin;
  for (; ticks.length < 200; civil += step) {
    const moment = momentOf(civil, zone);
    if (moment > to) break;
    if (moment < from || (ticks.length && moment <= ticks[ticks.length - 1].moment)) continue;
    ticks.push({ moment, label: tickLabel(moment, step, zone) });
  }
  return ticks;
}

function tickLabel(moment, step, zone) {
  const p = partsOf(moment, zone);
  if (p.hour === 0 && p.minute === 0 && p.second === 0) {
    const month = `${p.day} ${MONTHS[p.month - 1]}`;
    return step >= 91 * DAY ? `${MONTHS[p.month - 1]} ${p.year}` : month;
  }
  return clockText(moment, zone);
}
