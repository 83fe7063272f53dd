// Proves that an archive holds what its inputs held: the archive is computed anew from them and
// compared byte for byte; every difference is named by its field.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/audit/output_choice.h"
#include "tools/audit/recompute_run.h"
#include "tools/output/progress.h"

namespace psltool {

enum class AuditRun : uint8_t { kManual, kAutomatic, kEither };

struct AuditRequest : ArchiveInputs {
  AuditRun run = AuditRun::kEither;
};

struct AuditFinding {
  std::string path;  // the archive, or the input that the finding is about
  const char* code = "";
  uint64_t record = 0;
  std::string tag;
  std::optional<uint32_t> stamp;  // of the record
  uint64_t offset = 0;            // in the file
  uint64_t width = 0;             // of the field; 0: the record or file as a whole
  std::string kind;               // "ld"; empty: of no resource
  std::string key;
  std::string field;
  std::string stored;  // of a field
  std::string expected;
  std::string text;         // of findings without field
  bool unreadable = false;  // the file could not be opened or read
};
using AuditSink = std::function<void(const AuditFinding&)>;

struct AuditResult {
  uint8_t revision = 0;
  char level = 0;
  RunKind run = RunKind::kManual;  // by whose rules the findings are
  std::vector<std::string> used;   // inputs that go into the archive
  // What was compared.
  uint64_t records = 0;  // behind the file header
  uint64_t statistics = 0;
  uint64_t entries = 0;  // of resources and optional items
  uint64_t bytes = 0;
  uint64_t findings = 0;
  bool unreadable = false;  // archive or inputs
};

// Tells each finding to `sink`.
AuditResult AuditArchive(const AuditRequest& request, const AuditSink& sink, Progress& progress);

}  // namespace psltool
