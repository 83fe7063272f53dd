// Which rule makes each field of an archive's entry, and which interval held its value.
#pragma once

#include <vector>

#include "tools/audit/explained.h"
#include "tools/audit/recompute_entry.h"
#include "tools/audit/recompute_items.h"

namespace psltool {

// An interval as it was added.
struct AddedInterval {
  EntryRules rules;
  std::vector<uint8_t> entry;
  std::vector<uint8_t> words;
};

// Fills rule, sum, weight and holder of each field of a resource's entry.
void ExplainEntry(const EntryRules& rules, const ResourceSum& sum,
                  const std::vector<AddedInterval>& added, std::vector<ExplainedField>& fields);

// The same of an optional item's element. `added`: what each item of the kind says of it.
struct AddedElement {
  std::vector<uint8_t> bytes;
  bool named;  // in the item, not only held
};
void ExplainElement(const ItemSum& items, const ItemSum::Element& sum,
                    const std::vector<AddedElement>& added, std::vector<ExplainedField>& fields);

}  // namespace psltool
