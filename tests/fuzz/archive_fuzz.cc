// Records through the engine. Whatever the bytes are, the run ends in an orderly way.
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "tests/fuzz/target.h"
#include "tests/support/archive_target.h"
#include "tests/support/run_state.h"
#include "tests/support/tools/audit_run.h"
#include "tests/support/tools/psl_check.h"

namespace fuzz {

namespace {

ArchiveTargetOptions OptionsOf(uint8_t choice) {
  ArchiveTargetOptions options;
  options.automatic = (choice & 1) != 0;
  options.level = (choice & 2) != 0 ? 'D' : 'H';
  return options;
}

// What the audit cannot know or does not follow.
bool IsFinding(const AuditFinding& finding) { return !finding.unreadable; }

std::string WrongWithArchive(const std::string& path, const std::vector<std::string>& inputs) {
  const Checked checked = CheckPath(path);
  if (checked.file.errors != 0) return "check: " + checked.Errors();
  AuditRequest request;
  request.archive = path;
  request.inputs = inputs;
  const Audited audited = RunAudit(request);
  for (const AuditFinding& finding : audited.findings) {
    if (IsFinding(finding)) return "audit: " + audited.Text();
  }
  return "";
}

// Of one log: the archiver takes it, and check finds no fault with it, or neither.
std::string OtherVerdict(const std::string& path, bool archived) {
  const Checked checked = CheckPath(path);
  if (checked.file.level != 'L' || (checked.file.errors == 0) == archived) return "";
  return archived ? "check finds fault with what is archived: " + checked.Errors()
                  : "check finds no fault with what is refused";
}

// What is wrong with the archives of a manual run.
std::string WrongWithArchives(const std::string& directory, const std::vector<std::string>& paths) {
  std::string wrong;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    const std::string path = entry.path().string();
    const bool is_input = std::find(paths.begin(), paths.end(), path) != paths.end();
    if (!entry.is_regular_file() || is_input || !wrong.empty()) continue;
    wrong = WrongWithArchive(path, paths);
  }
  return wrong;
}

}  // namespace

std::string Archive(Input input) {
  constexpr size_t kMostFiles = 3;
  if (input.empty()) return "";
  const std::vector<Input> files = PiecesOf(input.subspan(1), kMostFiles);
  const ArchiveTargetResult result = ArchiveBytes(files, OptionsOf(input[0]));
  if (result.status > 1) return fmt::format("status {}", result.status);
  for (const std::string& name : result.left) {
    if (name.starts_with(".")) return "left behind: " + name;
  }
  return "";
}

std::string Prove(Input input) {
  if (input.empty()) return "";
  ArchiveTargetOptions options = OptionsOf(input[0]);
  options.automatic = false;
  const std::vector<Input> files = PiecesOf(input.subspan(1), 2);
  std::string wrong;
  ArchiveBytes(files, options,
               [&](const std::string& directory, const std::vector<std::string>& inputs,
                   const ArchiveTargetResult& result) {
                 std::vector<std::string> paths;
                 for (const std::string& name : inputs) paths.push_back(directory + name);
                 const bool archived = result.status == kReturned;
                 if (paths.size() == 1 && options.level == 'H') {
                   wrong = OtherVerdict(paths[0], archived);
                 }
                 if (archived && wrong.empty()) wrong = WrongWithArchives(directory, paths);
               });
  return wrong;
}

}  // namespace fuzz
