// Records through the engine. Whatever the bytes are, the run ends in an orderly way.
#include <fmt/format.h>

#include "tests/fuzz/target.h"
#include "tests/support/archive_target.h"
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
                 if (result.status != -1) return;
                 std::vector<std::string> paths;
                 for (const std::string& name : inputs) paths.push_back(directory + name);
                 for (const auto& entry : std::filesystem::directory_iterator(directory)) {
                   const std::string path = entry.path().string();
                   const bool is_input = std::find(paths.begin(), paths.end(), path) != paths.end();
                   if (!entry.is_regular_file() || is_input || !wrong.empty()) continue;
                   wrong = WrongWithArchive(path, paths);
                 }
               });
  return wrong;
}

}  // namespace fuzz
