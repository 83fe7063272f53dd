// Child processes and comparison of their outputs for the property tests.

#include "tests/model/program_run.h"

#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include "tests/model/record_locator.h"

extern char** environ;

namespace model {
namespace {

void WriteFile(const std::filesystem::path& path, const Bytes& bytes) {
  std::ofstream stream(path, std::ios::binary);
  stream.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  stream.flush();
  if (!stream) throw std::runtime_error("cannot write " + path.string());
}

std::string ReadText(const std::filesystem::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
}

std::vector<std::string> EnvironmentWithZone(const std::string& zone) {
  std::vector<std::string> variables;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string variable = *entry;
    if (variable.rfind("TZ=", 0) != 0) variables.push_back(variable);
  }
  variables.push_back("TZ=" + zone);
  return variables;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

int SpawnAndWait(const std::string& program, std::vector<std::string> arguments,
                 std::vector<std::string> environment, const std::filesystem::path& directory,
                 const std::filesystem::path& error_file) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, error_file.c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addchdir_np(&actions, directory.c_str());
  const std::vector<char*> argument_pointers = Pointers(arguments);
  const std::vector<char*> environment_pointers = Pointers(environment);
  pid_t child = 0;
  const int error = posix_spawn(&child, program.c_str(), &actions, nullptr,
                                argument_pointers.data(), environment_pointers.data());
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw std::system_error(error, std::generic_category(), program);
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "waitpid");
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

std::string FirstDifference(const Bytes& expected, const Bytes& actual) {
  std::size_t at = 0;
  while (at < expected.size() && at < actual.size() && expected[at] == actual[at]) ++at;
  std::string text = "byte " + std::to_string(at) + ": expected ";
  text += at < expected.size() ? std::to_string(expected[at]) : std::string("the end");
  text += ", got ";
  text += at < actual.size() ? std::to_string(actual[at]) : std::string("the end");
  return text + "; expected file: " + DescribeOffset(expected, at) +
         "; actual file: " + DescribeOffset(actual, at);
}

}  // namespace

TemporaryDirectory::TemporaryDirectory() {
  std::string name = (std::filesystem::temp_directory_path() / "archive-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) {
    throw std::system_error(errno, std::generic_category(), "mkdtemp");
  }
  path_ = name;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

ProgramResult RunProgram(const std::string& program, const std::vector<InputFile>& inputs,
                         const RunOptions& options, const std::string& zone) {
  const TemporaryDirectory root;
  const std::filesystem::path work = root.path() / "work";
  std::filesystem::create_directory(work);
  std::vector<std::string> arguments = {program};
  if (options.no_period) {
    arguments.push_back("-ext");
    arguments.push_back("-noperiod");
  }
  if (options.day) arguments.push_back("-d");
  std::map<std::string, bool> is_input;
  for (const InputFile& input : inputs) {
    WriteFile(work / input.name, input.bytes);
    arguments.push_back(input.name);
    is_input[input.name] = true;
  }
  ProgramResult result;
  const std::filesystem::path error_file = root.path() / "stderr";
  result.status = SpawnAndWait(program, arguments, EnvironmentWithZone(zone), work, error_file);
  result.error_text = ReadText(error_file);
  for (const auto& entry : std::filesystem::directory_iterator(work)) {
    const std::string name = entry.path().filename().string();
    if (is_input.count(name) != 0) continue;
    const std::string text = ReadText(entry.path());
    result.files[name] = Bytes(text.begin(), text.end());
  }
  return result;
}

std::string Difference(const RunResult& expected, const ProgramResult& actual) {
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

}  // namespace model
