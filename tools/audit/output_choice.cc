// Choice of an output: see the header.
#include "tools/audit/output_choice.h"

#include <algorithm>

#include "tools/audit/recompute_inputs.h"

namespace psltool {

InputsAtHand LookAtInputs(const ArchiveInputs& request) {
  std::vector<std::string> paths = request.inputs;
  if (!request.no_period) SortInputs(paths);
  InputsAtHand inputs;
  uint8_t revision = 0;
  for (const std::string& path : paths) {
    PslReader reader(path, PslReader::Reports::kKept);
    if (!reader.Open()) continue;
    inputs.stretches += reader.header().revision != revision ? 1 : 0;
    revision = reader.header().revision;
    inputs.dates_in_headers = inputs.dates_in_headers || LayoutOf(revision).row.keeps_header;
  }
  return inputs;
}

OutputChoice::OutputChoice(const ArchiveInputs& request, const InputsAtHand& inputs, char level,
                           RunKind run)
    : request_(request), level_(level), run_(run) {
  // Sequels are counted from the first revision of the inputs; inputs of one revision alone are
  // those of the sequel itself.
  const bool alone = inputs.stretches <= 1 && !request.whole_run;
  sequel_ = alone || request.any_name ? 1 : SequelOf(request.archive);
  const std::string_view base = BaseNameOf(request.archive);
  stem_ = base.substr(0, std::min(base.find('#'), base.rfind('.')));
}

bool OutputChoice::IsNamedAs(const OutputStart& start,
                             const std::vector<std::string>& stems) const {
  if (request_.any_name) return true;
  // Of a whole run two archives can be of days that are easily mistaken for each other.
  if (request_.whole_run) return !stems.empty() && stems.front() == stem_;
  if (std::find(stems.begin(), stems.end(), stem_) != stems.end()) return true;
  // A sequel whose own inputs alone are there: only the array can be told.
  const auto name = NameOfInput(start.input.path());
  return sequel_ != SequelOf(request_.archive) && name && stem_.ends_with(name->array);
}

bool OutputChoice::Begins(const OutputStart& start) {
  // A sequel is named after the first input of all.
  if (start.sequel == 1) {
    const auto stems = ArchiveStems(start.input.path(), start.input.header(), start.input.record(),
                                    level_, run_ == RunKind::kManual);
    named_ = !found_ && IsNamedAs(start, stems);
    name_ = stems.empty() ? "another file" : stems.front() + ".psa";
  }
  ours_ = !found_ && named_ && start.sequel == sequel_;
  found_ = found_ || ours_;
  return ours_;
}

}  // namespace psltool
