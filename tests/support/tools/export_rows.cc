// Expected rows: see the header.
#include "tests/support/tools/export_rows.h"

#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

#include "tests/support/process.h"
#include "tools/reading/kind_names.h"

using namespace psltool;

namespace {

struct Name {
  std::string metric;
  std::string statistic;
  std::string unit;
};

const std::map<std::string, Name>& Names() {
  static const std::map<std::string, Name> names = {
      {"status", {"status", "last", "code"}},
      {"interval_ms", {"interval", "sum", "milliseconds"}},
      {"valid", {"valid", "state", "flag"}},
      {"compact", {"compact", "state", "flag"}},
      {"counted", {"counted", "state", "flag"}},
      {"sticky", {"sticky", "state", "flag"}},
      {"mark", {"mark", "state", "flag"}},
      {"present", {"present", "state", "flag"}},
      {"busy_pct", {"busy", "mean", "percent"}},
      {"busy_pct_max", {"busy", "max", "percent"}},
      {"busy_pct_min", {"busy", "min", "percent"}},
      {"first_pct", {"first_ratio", "mean", "percent"}},
      {"second_pct", {"second_ratio", "mean", "percent"}},
      {"first_max", {"first_maximum", "max", "file"}},
      {"second_max", {"second_maximum", "max", "file"}},
      {"first_rate", {"first_rate", "mean", "file"}},
      {"second_rate", {"second_rate", "mean", "file"}},
      {"second_flags", {"second_flags", "last", "bits"}},
      {"flags", {"flags", "last", "bits"}},
      {"item_flag", {"item_flag", "last", "bits"}},
      {"value", {"value", "mean", "file"}},
      {"word_at_12", {"word_at_12", "last", "file"}},
      {"word_at_16", {"word_at_16", "last", "file"}},
      {"word_at_20", {"word_at_20", "last", "file"}},
      {"ops", {"ops", "sum", "operations"}},
      {"ops_per_s", {"ops_rate", "mean", "operations_per_second"}},
      {"ops_per_s_max", {"ops_rate", "max", "operations_per_second"}},
      {"ops_per_s_min", {"ops_rate", "min", "operations_per_second"}},
      {"first_mean", {"first", "mean", "file"}},
      {"max", {"maximum", "max", "file"}},
      {"second_mean", {"second", "mean", "file"}},
      {"second_mean_max", {"second", "max", "file"}},
      {"second_mean_min", {"second", "min", "file"}},
      {"kvolume_per_s", {"volume_rate", "mean", "1024_per_second"}},
      {"kvolume_per_s_max", {"volume_rate", "max", "1024_per_second"}},
      {"kvolume_per_s_min", {"volume_rate", "min", "1024_per_second"}},
  };
  return names;
}

}  // namespace

template <typename Entry>
void AddRows(const Entry& entry, const std::string& array, const std::string& level,
             std::vector<TidyRow>& rows) {
  const TidyRow place = {entry.at("time"),
                         entry.at("stamp"),
                         array,
                         entry.at("kind"),
                         entry.at("key"),
                         "",
                         "",
                         0,
                         "",
                         level,
                         entry.at("begin"),
                         entry.at("end")};
  for (const auto& [column, value] : entry.items()) {
    if (column == "time" || column == "stamp" || column == "begin" || column == "end") continue;
    if (column == "kind" || column == "key") continue;
    const bool group = column[0] == 'g' && column[2] == '_';
    const std::string prefix = group ? column.substr(0, 3) : "";
    const Name& name = Names().at(column.substr(prefix.size()));
    if (value.is_null()) continue;
    TidyRow& row = rows.emplace_back(place);
    row.metric = prefix + name.metric;
    row.statistic = name.statistic;
    row.value =
        value.is_boolean() ? (value.template get<bool>() ? 1 : 0) : value.template get<double>();
    row.unit = name.unit;
  }
}

template void AddRows(const nlohmann::json&, const std::string&, const std::string&,
                      std::vector<TidyRow>&);

std::vector<TidyRow> RowsOfDump(const std::string& lines, const std::string& array,
                                const std::string& level) {
  std::vector<TidyRow> rows;
  std::istringstream stream(lines);
  for (std::string line; std::getline(stream, line);) {
    AddRows(nlohmann::ordered_json::parse(line), array, level, rows);
  }
  return rows;
}

std::vector<LeveledFile> MakeAllLevels(const std::string& directory, int revision) {
  const ProgramSettings here = {directory, {}};
  std::vector<std::string> make = {"make",       "-q",    "--revision", std::to_string(revision),
                                   "--interval", "21600", "--extended", "full"};
  for (const KindName& kind : KindNames()) {
    if (!HasKind(static_cast<uint8_t>(revision), kind.kind)) continue;
    make.insert(make.end(), {std::string("--") + kind.word, kind.kind == kLd ? "2" : "1"});
  }
  if (revision >= 0x1C) make.emplace_back("--wait-times");
  std::filesystem::create_directories(directory + "/day");
  const std::vector<LeveledFile> files = {{directory + "/20240304array01.psl", "log"},
                                          {directory + "/20240304array01.psa", "hour"},
                                          {directory + "/day/202403array01.psa", "day"}};
  if (RunProgram(PSLTOOL_PATH, make, here).status != 0 ||
      RunProgram(QELPRFARC_PATH, {"20240304array01.psl"}, here).status != 0 ||
      RunProgram(QELPRFARC_PATH, {"-o", "day", "20240304array01.psa"}, here).status != 0) {
    throw std::runtime_error("files cannot be made");
  }
  return files;
}
