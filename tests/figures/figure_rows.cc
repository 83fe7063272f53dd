// Rows by the second calculation: see the header.
#include "tests/figures/figure_rows.h"

#include "tests/figures/entries.h"
#include "tests/figures/periods.h"
#include "tests/support/tempdir.h"

namespace {

using figures::Clock;

std::string LevelWord(char level) {
  if (level == 'L') return "log";
  return level == 'H' ? "hour" : "day";
}

}  // namespace

std::string ArrayOf(const std::string& path) {
  const std::string name = path.substr(path.rfind('/') + 1);
  const size_t start = name.find_first_not_of("0123456789");
  return name.substr(start, name.find_first_of("#.", start) - start);
}

std::vector<std::vector<TidyRow>> FigureRowsByEntry(const std::string& path) {
  const std::string text = TempDir::ReadFile(path);
  const figures::File file = figures::ReadFile(model::Bytes(text.begin(), text.end()));
  const std::vector<figures::Period> periods = figures::PeriodsOf(file, Clock::kUtc);
  std::vector<std::vector<TidyRow>> rows;
  for (size_t i = 0; i < periods.size(); ++i) {
    for (const figures::Entry& entry : file.records[i].entries) {
      figures::Json line = figures::DumpValues(entry, false);
      line["stamp"] = periods[i].stamp;
      line["time"] = figures::IsoText(periods[i].stamp, Clock::kUtc);
      line["begin"] = figures::IsoText(periods[i].begin, Clock::kUtc);
      line["end"] = figures::IsoText(periods[i].end, Clock::kUtc);
      line["kind"] = entry.kind;
      AddRows(line, ArrayOf(path), LevelWord(file.level), rows.emplace_back());
    }
  }
  return rows;
}

std::vector<TidyRow> FigureRows(const std::string& path) {
  std::vector<TidyRow> all;
  for (const std::vector<TidyRow>& rows : FigureRowsByEntry(path)) {
    all.insert(all.end(), rows.begin(), rows.end());
  }
  return all;
}
