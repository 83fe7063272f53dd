// What `psltool check` finds in bytes, and what the archiver says of them, both in this process.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tests/support/archive_target.h"
#include "tests/support/tempdir.h"
#include "tools/checking/check_file.h"

using namespace psltool;

struct Checked {
  CheckedFile file;
  std::vector<Finding> findings;

  // "section-count at 1234" of each error, one per line.
  std::string Errors() const {
    std::string text;
    for (const Finding& finding : findings) {
      if (finding.severity == Severity::kWarning || finding.severity == Severity::kNote) continue;
      text += std::string(finding.code) + " at " + std::to_string(finding.offset) + "\n";
    }
    return text;
  }
};

inline Checked CheckPath(const std::string& path) {
  Checked checked;
  Progress progress(false);
  checked.file = CheckFile(
      path, [&](const Finding& finding) { checked.findings.push_back(finding); }, progress);
  return checked;
}

inline Checked CheckBytes(std::string_view bytes) {
  TempDir dir;
  dir.Write("x.psl", bytes);
  return CheckPath(dir.Path("x.psl"));
}

// True when a manual run of the archiver takes the file as the only one.
inline bool IsArchived(std::string_view bytes) {
  const std::span<const uint8_t> input(reinterpret_cast<const uint8_t*>(bytes.data()),
                                       bytes.size());
  const std::span<const uint8_t> inputs[] = {input};
  ArchiveTargetOptions options;
  options.level = 'H';
  return ArchiveBytes(inputs, options).status == -1;
}
