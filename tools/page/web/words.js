// What kinds, measures and statistics are, in the words of the table of measures.

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
    make("dl", {}, ...page.statistics.flatMap((each) => [make("dt", {}, each.name), make("dd", {}, each.meaning)])));
}
