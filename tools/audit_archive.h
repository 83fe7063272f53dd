// Proves that an archive holds what its inputs held: the archive is computed anew from them and
// compared byte for byte; every difference is named by its field.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/progress.h"
#include "tools/recompute_run.h"

enum class AuditRun : uint8_t { kManual, kAutomatic, kEither };

struct AuditWishes {
  std::string archive;
  std::vector<std::string> inputs;
  AuditRun run = AuditRun::kEither;
  bool no_period = false;  // made with "-noperiod": inputs in the order given
  bool any_name = false;   // made with "-out": the archive's name says nothing
  // The inputs are those of a whole run: that some go into other archives is no finding. What the
  // archiver remembers from one archive to the next (the disk found last) is known then, too.
  bool whole_run = false;
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
AuditResult AuditArchive(const AuditWishes& wishes, const AuditSink& sink, Progress& progress);
