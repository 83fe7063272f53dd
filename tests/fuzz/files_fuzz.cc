// Logs and archives through psltool: what reads them, what saves what is sound of them, and what
// computes archives anew.
#include "tests/fuzz/target.h"
#include "tests/support/scratch.h"
#include "tests/support/tools/audit_run.h"
#include "tests/support/tools/psltool_target.h"
#include "tools/audit/explain_value.h"

namespace fuzz {

namespace {

void ExplainIt(const ArchiveInputs& files, uint8_t choice) {
  ExplainRequest request;
  static_cast<ArchiveInputs&>(request) = files;
  request.kind = choice % 2 == 0 ? kLd : kConc;
  request.key = "1";
  request.at = {0, UINT32_MAX};
  request.run = choice % 3 == 0 ? RunKind::kAutomatic : RunKind::kManual;
  Explanation explanation;
  Progress progress(false);
  Explain(request, explanation, progress);
}

}  // namespace

std::string Read(Input input) {
  if (input.empty()) return "";
  // A dump, an export, or one of each, which are held against each other: all seven forms take most
  // of the time and share the reader.
  const unsigned dump = kDumpForm << input[0] % 3;
  const unsigned exported = kExportForm << input[0] / 3 % 4;
  const unsigned forms[] = {dump | exported, dump, exported};
  return RunPsltool(input.subspan(1), forms[input[0] / 12 % 3]).contradiction;
}

std::string Salvaged(Input input) {
  if (input.empty()) return "";
  return RunPsltool(input.subspan(1), kSalvage).contradiction;
}

std::string Audit(Input input) {
  constexpr size_t kMostFiles = 3;
  if (input.empty()) return "";
  const std::vector<Input> files = PiecesOf(input.subspan(1), kMostFiles);
  AuditRequest request;
  request.no_period = (input[0] & 4) != 0;
  request.any_name = (input[0] & 8) != 0;
  request.archive = Scratch::Write("20240101fz.psa", files[0]);
  for (size_t i = 1; i < files.size(); ++i) {
    const std::string name = "20240101fz#00" + std::to_string(i) + ".psl";
    request.inputs.push_back(Scratch::Write(name, files[i]));
  }
  RunAudit(request);
  ExplainIt(request, input[0]);
  return "";
}

}  // namespace fuzz
