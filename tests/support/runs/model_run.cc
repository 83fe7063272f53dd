// Runs of the archiver beside the model's: see the header.
#include "tests/support/runs/model_run.h"

#include "tests/model/record_locator.h"
#include "tests/support/process.h"
#include "tests/support/tempdir.h"

namespace {

std::string FirstDifference(const model::Bytes& expected, const model::Bytes& actual) {
  size_t at = 0;
  while (at < expected.size() && at < actual.size() && expected[at] == actual[at]) ++at;
  std::string text = "byte " + std::to_string(at) + ": expected ";
  text += at < expected.size() ? std::to_string(expected[at]) : std::string("the end");
  text += ", got ";
  text += at < actual.size() ? std::to_string(actual[at]) : std::string("the end");
  return text + "; expected file: " + model::DescribeOffset(expected, at) +
         "; actual file: " + model::DescribeOffset(actual, at);
}

}  // namespace

ArchiverRun RunArchiverOn(const std::string& program, const std::vector<model::InputFile>& inputs,
                          const model::RunOptions& options, const std::string& zone) {
  const TempDir directory;
  std::vector<std::string> arguments;
  if (options.no_period) arguments = {"-ext", "-noperiod"};
  if (options.day) arguments.emplace_back("-d");
  for (const model::InputFile& input : inputs) {
    directory.Write(input.name, std::string(input.bytes.begin(), input.bytes.end()));
    arguments.push_back(input.name);
  }
  const ProgramResult result = RunProgram(program, arguments, {directory.Path(), {{"TZ", zone}}});
  ArchiverRun run = {result.status, {}, result.err};
  for (const model::InputFile& input : inputs) {
    std::filesystem::remove(directory.Path(input.name));
  }
  for (const std::string& name : directory.Names()) {
    const std::string bytes = directory.Read(name);
    run.files[name] = model::Bytes(bytes.begin(), bytes.end());
  }
  return run;
}

std::string Difference(const model::RunResult& expected, const ArchiverRun& actual) {
  std::string text;
  if (expected.status != actual.status) {
    text += "exit status " + std::to_string(actual.status) + " instead of " +
            std::to_string(expected.status) +
            (expected.reason.empty() ? "" : " (" + expected.reason + ")") + "\n";
  }
  for (const auto& [name, bytes] : expected.files) {
    const auto found = actual.files.find(name);
    if (found == actual.files.end()) {
      text += name + ": missing\n";
    } else if (found->second != bytes) {
      text += name + ": " + FirstDifference(bytes, found->second) + "\n";
    }
  }
  for (const auto& [name, bytes] : actual.files) {
    if (expected.files.count(name) == 0) text += name + ": not expected\n";
  }
  if (!text.empty() && !actual.error_text.empty()) text += "it said: " + actual.error_text;
  return text;
}
