// Tells which of the outputs that a run makes is the archive at hand, by name and sequel number.
//
// Independent, as a part of the audit: which output is the archive at hand follows from the names
// that recompute_inputs gives, not from those of engine/names.h.
#pragma once

#include <string>
#include <vector>

#include "tools/audit/recompute_run.h"

namespace psltool {

// An archive and the inputs that it is said to be made of.
struct ArchiveInputs {
  std::string archive;
  std::vector<std::string> inputs;
  bool no_period = false;  // made with "-noperiod": inputs in the order given
  bool any_name = false;   // made with "-out": the archive's name says nothing
  // The inputs are those of a whole run: that some go into other archives is no finding. What the
  // archiver remembers from one archive to the next (the disk found last) is known then, too.
  bool whole_run = false;
};

// What the inputs' headers say.
struct InputsAtHand {
  unsigned stretches = 0;         // of inputs of one revision, one behind the other
  bool dates_in_headers = false;  // of any input
};
InputsAtHand LookAtInputs(const ArchiveInputs& request);

class OutputChoice {
 public:
  OutputChoice(const ArchiveInputs& request, const InputsAtHand& inputs, char level, RunKind run);

  // An output begins. True when it is the archive.
  bool Begins(const OutputStart& start);

  bool found() const { return found_; }
  // The output in progress is the archive.
  bool ours() const { return ours_; }
  // The output in progress, or the one that it is a sequel of, has the archive's name.
  bool named() const { return named_; }
  // Name of the output in progress, without a sequel's number.
  const std::string& name() const { return name_; }

 private:
  bool IsNamedAs(const OutputStart& start, const std::vector<std::string>& stems) const;

  const ArchiveInputs& request_;
  char level_;
  RunKind run_;
  unsigned sequel_;
  std::string stem_;
  std::string name_;
  bool named_ = false;
  bool ours_ = false;
  bool found_ = false;
};

}  // namespace psltool
