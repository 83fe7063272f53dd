// Goes over the inputs of an archive as an archive run would and tells, record by record, what the
// archives must hold. It computes everything anew from the inputs and the layout tables and shares
// no code with the archiver.
//
// Independent of the driver and of its rules: which inputs join (engine/joining.h), where hours end
// (revisions/statistics.cc), what of a record is taken and when a file header is written
// (engine/header.cc) stand here once more, written from docs/archiving.md. Shared: how records are
// framed and found sound.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tools/audit/recompute_period.h"
#include "tools/output/progress.h"
#include "tools/reading/finding.h"
#include "tools/reading/psl_reader.h"

namespace psltool {

// Manual and automatic runs judge by different dates which day an input of 0x1D+ is of.
enum class RunKind : uint8_t { kManual, kAutomatic };

struct RunRules {
  char level = 'H';  // of the archives
  RunKind run = RunKind::kManual;
  bool no_period = false;  // inputs in the order given, all into one day archive
};

struct OutputStart {
  const PslReader& input;           // the first input, its header at hand
  unsigned sequel;                  // 1, 2 for "#002" and so on
  std::span<const uint8_t> header;  // as the archive must hold it
};

class RunListener : public PeriodWatcher {
 public:
  virtual void OutputBegins(const OutputStart& start) = 0;
  // The input at hand goes into the output in progress.
  virtual void InputJoins(const PslReader& input) = 0;
  // The next record of the output. `sums`: those of the period of a statistics record, else null.
  virtual void RecordDue(std::span<const uint8_t> record, const PeriodSums* sums) = 0;
  virtual void InputTrouble(const std::string& path, const Finding& finding) = 0;
  virtual bool wants_more() const { return true; }
  void Added(const AddedEntry&) override {}
  void Taken(std::span<const uint8_t>, const TakenItem&) override {}
};

// `inputs` are taken in the archiver's order. `watched`: the listener hears of each entry and
// optional item, too.
void Recompute(std::vector<std::string> inputs, const RunRules& rules, RunListener& listener,
               bool watched, Progress& progress);

// The file header of an archive made from an input.
std::vector<uint8_t> PutHeader(const PslHeader& header, std::span<const uint8_t> record,
                               char level);

}  // namespace psltool
