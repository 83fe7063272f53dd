// What kinds and measures are, in the words of the table of measures.

function measureTitle(kind, measure) {
  const group = groupText(kind, measure.g);
  return group ? `${measure.about.title}, ${group}` : measure.about.title;
}

function fillWords() {
  const kind = currentKind();
  const list = make("dl");
  for (const each of currentArray().kinds) {
    list.append(make("dt", {}, `${each.title} (${each.word})`), make("dd", {}, each.meaning));
  }
  const measures = make("dl");
  const seen = new Set();
  for (const measure of kind.measures) {
    if (seen.has(measure.m)) continue;
    seen.add(measure.m);
    measures.append(make("dt", {}, `${measure.about.title} (${unitText(measure)})`),
      make("dd", {}, measure.about.meaning));
  }
  at("words").replaceChildren(
    make("h3", {}, "Kinds of resources"), list,
    make("h3", {}, `Measures of ${kind.title}`), measures,
    make("h3", {}, "Statistics"),
    make("dl", {},
      make("dt", {}, "mean"), make("dd", {}, "Over the intervals chosen: of rates, ratios and volumes " +
        "by the length of the intervals, of averages by their operations."),
      make("dt", {}, "peak"), make("dd", {}, "The largest single interval. Archives keep it for every " +
        "hour and day; where they carry none it is the largest value of a record."),
      make("dt", {}, "median, 95 %"), make("dd", {}, "The value that is not passed in half, or in 95 " +
        "percent, of the time (of averages: of the operations), counted by the records that the page has."),
      make("dt", {}, "band"), make("dd", {}, "Around the line of one resource: from its smallest to its " +
        "largest single interval. Around a sum of resources: the smallest and largest intervals of all of " +
        "them added up; the sum itself was never outside."),
      make("dt", {}, "≈"), make("dd", {}, "From steps of time and rounded to a part of the resource's " +
        "largest value: the page tells this resource not in full.")));
}
