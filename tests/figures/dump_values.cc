// The values of an entry under the names of `dump`: rates, percentages, means and extremes.

#include "tests/figures/entries.h"

namespace figures {
namespace {

void PutExtremes(const Entry& entry, const Group& group, const std::string& prefix, bool raw,
                 Values& to) {
  const char* const current[] = {"ops_per_s_max", "ops_per_s_min", "kvolume_per_s_max",
                                 "kvolume_per_s_min"};
  const char* const older[] = {"ops_per_s_max", "ops_per_s_min", "second_mean_max",
                               "second_mean_min"};
  for (std::size_t i = 0; i < 4; ++i) {
    if (!group.masked[i]) continue;
    const auto& word = group.extremes[i];
    if (raw) to[prefix + "x" + std::to_string(i)] = word ? Json(*word) : Json();
    if (!group.meant[i]) continue;
    Json& value = to[prefix + (group.older ? older : current)[i]];
    if (!entry.valid) continue;
    // Operation rates are stored in thousandths.
    if (word) value = i < 2 ? *word / 1000.0 : static_cast<double>(*word);
    // An idle resource did nothing in every interval that had a length.
    if (!word && entry.length != 0 && !(group.older && i >= 2)) value = 0.0;
  }
}

void PutGroup(const Entry& entry, std::size_t number, bool raw, Values& to) {
  const Group& group = entry.groups[number - 1];
  const std::string prefix = "g" + std::to_string(number) + "_";
  const double seconds = entry.length / 1000.0;
  const bool measured = group.known && group.stored;
  to[prefix + "ops"] = group.known ? Json(group.count()) : Json();
  to[prefix + "ops_per_s"] = Json();
  to[prefix + "first_mean"] = measured ? Json(group.words.q1) : Json();
  to[prefix + "max"] = measured ? Json(group.words.q2) : Json();
  to[prefix + "second_mean"] = measured ? Json(group.words.q3) : Json();
  if (group.known && entry.length != 0) {
    to[prefix + "ops_per_s"] = group.count() / seconds;
    if (group.volume) {
      to[prefix + "kvolume_per_s"] = group.words.q3 * group.count() / seconds / 1024.0;
    }
  }
  if (raw && !entry.item) {
    const uint32_t words[] = {group.words.q0, group.words.q1, group.words.q2, group.words.q3};
    for (std::size_t i = 0; i < 4; ++i) {
      to[prefix + "q" + std::to_string(i)] = group.stored ? Json(words[i]) : Json();
    }
  }
  PutExtremes(entry, group, prefix, raw, to);
}

}  // namespace

Values DumpValues(const Entry& entry, bool raw) {
  Values values = entry.others;
  values["key"] = entry.key;
  values["status"] = entry.status;
  values["interval_ms"] = entry.length;
  if (!entry.item) values["valid"] = entry.valid;
  if (entry.compact) values["compact"] = *entry.compact;
  if (entry.ratio) values["busy_pct"] = *entry.ratio / 100.0;
  for (std::size_t g = 1; g <= entry.groups.size(); ++g) PutGroup(entry, g, raw, values);
  if (raw) {
    values["offset"] = entry.offset;
    values.insert(entry.raw.begin(), entry.raw.end());
  }
  return values;
}

}  // namespace figures
