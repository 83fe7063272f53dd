// Rows that an export should hold, made from what `psltool dump` prints: an independent account of
// the names of metrics, statistics and units.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <tuple>
#include <vector>

struct TidyRow {
  std::string time;
  uint32_t stamp = 0;
  std::string array;
  std::string kind;
  std::string key;
  std::string metric;
  std::string statistic;
  double value = 0;
  std::string unit;
  std::string level;
  std::string begin;  // of the record's period
  std::string end;

  auto Tie() const {
    return std::tie(time, array, kind, key, metric, statistic, value, unit, level, begin, end);
  }
  bool operator==(const TidyRow& other) const { return Tie() == other.Tie(); }
};

// Of lines of `dump --format ndjson`. Throws on a column that has no name in exports.
std::vector<TidyRow> RowsOfDump(const std::string& lines, const std::string& array,
                                const std::string& level);

// Likewise, of one such line that has been read.
template <typename Entry>
void AddRows(const Entry& entry, const std::string& array, const std::string& level,
             std::vector<TidyRow>& rows);
extern template void AddRows(const nlohmann::json&, const std::string&, const std::string&,
                             std::vector<TidyRow>&);

// A log, its hour archive and its day archive of a revision, in a directory: paths with levels.
struct LeveledFile {
  std::string path;
  std::string level;
};
std::vector<LeveledFile> MakeAllLevels(const std::string& directory, int revision);
