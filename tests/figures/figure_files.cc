// Files of all levels: see the header.
#include "tests/figures/figure_files.h"

#include <stdlib.h>

#include <map>

#include "tests/model/kind_rules.h"
#include "tests/model/random_logs.h"

namespace {

// Archives files into a directory; a run that fails leaves none.
std::vector<std::string> Archive(const TempDir& directory, const std::vector<std::string>& inputs,
                                 const std::string& into, const std::string& zone,
                                 bool straight_to_days = false) {
  if (inputs.empty()) return {};
  directory.MakeDirectory(into);
  std::vector<std::string> arguments = {"-o", directory.Path(into)};
  if (straight_to_days) arguments.emplace_back("-d");
  arguments.insert(arguments.end(), inputs.begin(), inputs.end());
  const ProgramResult run = RunProgram(QELPRFARC_PATH, arguments, {"", {{"TZ", zone}}});
  if (run.status != 0) return {};
  std::vector<std::string> paths;
  for (const std::string& name : directory.Names(into)) {
    paths.push_back(directory.Path(into + "/" + name));
  }
  return paths;
}

void MakeUsualLogs(const TempDir& directory, int revision, const std::string& zone, int interval) {
  std::vector<std::string> make = {"make",       "-q",      "-o",         directory.Path("logs"),
                                   "--days",     "2",       "--interval", std::to_string(interval),
                                   "--extended", "partial", "--revision", std::to_string(revision)};
  const std::map<model::Kind, const char*> options = {
      {model::Kind::kHp, "--hp"},        {model::Kind::kLd, "--ld"},
      {model::Kind::kPd, "--pd"},        {model::Kind::kRank, "--rank"},
      {model::Kind::kDp, "--dp"},        {model::Kind::kRp, "--rp"},
      {model::Kind::kCache, "--cache"},  {model::Kind::kMp, "--mp"},
      {model::Kind::kCheseg, "--cheseg"}};
  if (model::HasWaitTime(revision)) make.emplace_back("--wait-times");
  for (const model::KindRule& rule : model::KindRules(revision)) {
    const auto option = options.find(rule.kind);
    if (option != options.end()) make.insert(make.end(), {option->second, "2"});
  }
  RunProgram(PSLTOOL_PATH, make, {"", {{"TZ", zone}}});
}

}  // namespace

int FigureSeeds(int usual) {
  const char* const text = getenv("FIGURES_SEEDS");
  return text == nullptr ? usual : atoi(text);
}

ProgramResult RunPsltool(const std::vector<std::string>& arguments, const std::string& zone) {
  const char* const other = getenv("FIGURES_PSLTOOL");
  return RunProgram(other == nullptr ? PSLTOOL_PATH : other, arguments, {"", {{"TZ", zone}}});
}

FigureFiles::FigureFiles(uint64_t seed, int revision, const std::string& zone, int interval) {
  directory_.MakeDirectory("logs");
  if (seed == 0) {
    MakeUsualLogs(directory_, revision, zone, interval);
  } else {
    for (const model::InputFile& log :
         model::MakeRandomLogs(seed, static_cast<uint8_t>(revision), {})) {
      directory_.Write("logs/" + log.name, std::string(log.bytes.begin(), log.bytes.end()));
    }
  }
  for (const std::string& name : directory_.Names("logs")) {
    logs_.push_back(directory_.Path("logs/" + name));
  }
  hours_ = Archive(directory_, logs_, "hour", zone);
  days_ = Archive(directory_, hours_, "day", zone);
  straight_ = Archive(directory_, logs_, "straight", zone, true);
}

std::vector<std::string> FigureFiles::all() const {
  std::vector<std::string> paths = logs_;
  paths.insert(paths.end(), hours_.begin(), hours_.end());
  paths.insert(paths.end(), days_.begin(), days_.end());
  paths.insert(paths.end(), straight_.begin(), straight_.end());
  return paths;
}
