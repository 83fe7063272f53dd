// Archived random logs: see the header.
#include "tests/support/runs/archived_logs.h"

#include <algorithm>
#include <sstream>

#include "tests/support/process.h"

ArchivedLogs::ArchivedLogs(uint64_t seed, uint8_t revision, const model::CaseOptions& options,
                           std::string zone)
    : zone_(std::move(zone)) {
  directory_.MakeDirectory("logs");
  for (const model::InputFile& log : model::MakeRandomLogs(seed, revision, options)) {
    const std::string name = "logs/" + log.name;
    directory_.Write(name, std::string(log.bytes.begin(), log.bytes.end()));
    logs_.push_back(directory_.Path(name));
  }
}

std::vector<ArchivedFile> ArchivedLogs::Archive(const std::vector<std::string>& inputs,
                                                const std::string& into,
                                                const std::vector<std::string>& options,
                                                const std::string& program) const {
  directory_.MakeDirectory(into);
  std::vector<std::string> arguments = {"-v", "-o", directory_.Path(into)};
  arguments.insert(arguments.end(), options.begin(), options.end());
  arguments.insert(arguments.end(), inputs.begin(), inputs.end());
  const ProgramResult run =
      RunProgram(program.empty() ? QELPRFARC_PATH : program, arguments, {"", {{"TZ", zone_}}});
  if (run.status != 0) return {};
  // "input --> output", a line for each input.
  std::vector<ArchivedFile> files;
  std::istringstream lines(run.out);
  for (std::string line; std::getline(lines, line);) {
    const size_t arrow = line.find(" --> ");
    if (arrow == std::string::npos) continue;
    const std::string name = line.substr(arrow + 5);
    const std::string output = directory_.Path(into) + "/" + name.substr(name.rfind('/') + 1);
    if (files.empty() || files.back().path != output) files.push_back({output, {}});
    files.back().inputs.push_back(line.substr(0, arrow));
  }
  return files;
}

std::vector<std::string> PathsOf(const std::vector<ArchivedFile>& files) {
  std::vector<std::string> paths;
  for (const ArchivedFile& file : files) paths.push_back(file.path);
  return paths;
}
