// History of a resource: see the header.
#include "tools/show_history.h"

#include <charconv>
#include <span>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"

namespace {

constexpr uint32_t kTopBit = 0x80000000;

// Which of ranks and pools the records hold, by the structure record read last.
bool TakeChoice(PslReader& reader, uint8_t& choice) {
  const std::span<const uint8_t> record = reader.record();
  const auto descriptor = Carve(record, kAtFirstSlot, kSlotStep);
  if (descriptor.empty()) return reader.Broken("shorter than its head");
  const auto basic = Carve(record, Load32(descriptor.data() + 4), kBasicSize);
  if (basic.empty()) return reader.Broken("the basic information leaves the record");
  choice = basic[kBasicCarried];
  return true;
}

bool HasKey(const Form& form, std::span<const uint8_t> entry, const ResourceKey& key) {
  for (size_t i = 0; i < key.bytes.size(); ++i) {
    if (entry[form.key.at[i]] != key.bytes[i]) return false;
  }
  return true;
}

// Position of a mask bit's word behind the entry, or nothing when the entry has no such word.
std::optional<uint32_t> WordAt(std::span<const uint8_t> words, uint32_t mask, uint32_t position) {
  const uint32_t bit = kTopBit >> position;
  if (words.empty() || (mask & bit) == 0) return std::nullopt;
  const auto before = static_cast<size_t>(std::popcount(mask & ~(bit | (bit - 1))));
  return Load32(words.data() + 4 * before);
}

double Decode(uint32_t word) {
  return (word & kTopBit) == 0 ? word : static_cast<double>(uint64_t{word & ~kTopBit} * 256);
}

Period PeriodOf(const Form& form, std::span<const uint8_t> entry, std::span<const uint8_t> words,
                uint32_t mask, uint32_t group) {
  Period period = {};
  period.length = Load32(entry.data() + kAtInterval);
  if (entry[static_cast<size_t>(form.not_valid)] != 0) period.length = 0;
  if (form.ratio != kNone) {
    period.usage = Load16(entry.data() + static_cast<size_t>(form.ratio)) / 100.0;
  }
  const bool compact = entry.size() < form.size || form.quadsets == 0;
  if (compact || group >= form.quadsets) return period;
  const uint8_t* at = entry.data() + form.quadsets_at + group * kQuadsetSize;
  period.operations = Decode(Load32(at));
  period.first = Load32(at + 4);
  period.largest = Load32(at + 8);
  period.volume = Load32(at + 12);
  if (group < form.tracked) {
    // Rates are kept in thousandths of an operation per second.
    if (const auto word = WordAt(words, mask, 4 * group)) period.peak = *word / 1000.0;
  }
  return period;
}

}  // namespace

std::optional<ResourceKey> ParseKey(const KeyBytes& key, const std::string& text) {
  std::vector<uint32_t> parts;
  const char* at = text.data();
  const char* const end = at + text.size();
  while (true) {
    uint32_t part = 0;
    const auto [stop, error] = std::from_chars(at, end, part);
    if (error != std::errc()) return std::nullopt;
    parts.push_back(part);
    if (stop == end) break;
    if (*stop != '.') return std::nullopt;
    at = stop + 1;
  }
  ResourceKey result;
  if (key.number) {
    if (parts.size() != 1 || parts[0] > 0xFFFF) return std::nullopt;
    result.bytes = {static_cast<uint8_t>(parts[0] >> 8), static_cast<uint8_t>(parts[0] & 0xFF)};
    return result;
  }
  // A key may be given by its first bytes, since not every array uses the last one.
  if (parts.size() > key.count) return std::nullopt;
  for (const uint32_t part : parts) {
    if (part > 0xFF) return std::nullopt;
    result.bytes.push_back(static_cast<uint8_t>(part));
  }
  return result;
}

const SectionRow* SectionOf(const RevisionLayout& layout, Kind kind) {
  for (size_t i = 0; i < layout.section_count; ++i) {
    if (layout.sections[i].kind == kind) return &layout.sections[i];
  }
  return nullptr;
}

bool ReadHistory(PslReader& reader, Kind kind, const ResourceKey& key, uint32_t group,
                 std::vector<Period>& periods, Progress* progress) {
  uint8_t choice = 0;
  while (reader.Next()) {
    if (progress != nullptr) progress->Show(reader.path(), reader.position(), reader.size());
    if (reader.tag() == "CON" && !TakeChoice(reader, choice)) return false;
    if (reader.tag() != "STA") continue;
    const std::span<const uint8_t> record = reader.record();
    const RevisionLayout& layout = LayoutOfStatistics(reader.header(), record);
    if (record.size() < layout.row.record_head) return reader.Broken("shorter than its head");
    const SectionRow* row = SectionOf(layout, kind);
    if (row == nullptr || !IsCarriedBy(row->carried, choice)) continue;
    const Form& form = kForms[row->form];
    const uint32_t mask = reader.header().masks[kind];
    bool found = false;
    const bool whole =
        VisitSection(reader.header(), record, *row,
                     [&](std::span<const uint8_t> entry, std::span<const uint8_t> words) {
                       if (found || !HasKey(form, entry, key)) return;
                       found = true;
                       periods.push_back(PeriodOf(form, entry, words, mask, group));
                       periods.back().stamp = Load32(record.data() + kAtTime);
                     });
    if (!whole) return reader.Broken("a section leaves the record");
  }
  return !reader.failed();
}
