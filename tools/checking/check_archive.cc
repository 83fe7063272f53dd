// Records of archives: see the header.
#include "tools/checking/check_archive.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "tools/audit/recompute_structure.h"
#include "tools/checking/check_entry.h"
#include "tools/reading/kind_names.h"

namespace psltool {

namespace {

constexpr size_t kOffsetAt = 4;  // in a section header
constexpr size_t kSlotSize = 8;
constexpr size_t kConcPresent =
    FindField(FieldsOfList(ItemRowOf(kConc).fields), Role::kPresent)->at;

// Interval lengths of a record. Mostly all are the same; one that is not is worth a look.
class Lengths {
 public:
  void Add(uint32_t length, uint64_t at, const std::string& name, uint32_t index) {
    if (length == 0) return;
    ++counts_[length];
    ++all_;
    places_.push_back({length, at, &name, index});
  }

  void Tell(char level, RecordReport& report) const {
    const auto usual =
        std::max_element(counts_.begin(), counts_.end(),
                         [](const auto& a, const auto& b) { return a.second < b.second; });
    if (usual == counts_.end()) return;
    // Twice what a period has: the last interval of it can begin before it.
    const uint32_t longest = level == 'H' ? 2 * 3600 * 1000U : 2 * 86400 * 1000U;
    const bool clear = all_ >= kEnough && usual->second * 10 >= all_ * 9;
    for (const Place& place : places_) {
      const bool odd = clear && IsOdd(place.length, usual->first);
      if (!odd && (place.length <= longest || place.length == usual->first)) continue;
      report.Note(
          "interval-odd", place.at + kAtInterval,
          fmt::format("{}, entry {}, interval length", *place.name, place.index),
          odd ? fmt::format("{} ms, but nearly all others have {}", place.length, usual->first)
              : fmt::format("{} ms is longer than the period", place.length));
    }
  }

 private:
  static constexpr uint64_t kEnough = 10;
  static constexpr uint32_t kSecond = 1000;

  // Where single intervals did not count an entry is shorter by whole ones, mostly full seconds.
  static bool IsOdd(uint32_t length, uint32_t usual) {
    return length > usual || (usual % kSecond == 0 && length % kSecond != 0);
  }

  struct Place {
    uint32_t length;
    uint64_t at;
    const std::string* name;
    uint32_t index;
  };
  std::map<uint32_t, uint64_t> counts_;
  uint64_t all_ = 0;
  std::vector<Place> places_;
};

class StatisticsJudge {
 public:
  StatisticsJudge(const PslHeader& header, std::span<const uint8_t> record, RecordReport& report,
                  const ArrayTables& tables)
      : header_(header),
        record_(record),
        report_(report),
        tables_(tables),
        layout_(LayoutOfStatistics(header, record)),
        head_used_(layout_.row.record_head, false) {
    std::fill_n(head_used_.begin(), kRecordHeaderSize, true);
  }

  bool Judge() {
    at_ = layout_.row.record_head;
    for (size_t i = 0; i < layout_.section_count; ++i) names_.push_back(NameOfSection(i));
    bool sound = true;
    for (size_t i = 0; i < layout_.section_count; ++i) {
      Use(layout_.sections[i].header_at);
      sound = JudgeSection(layout_.sections[i], names_[i]) && sound;
    }
    if (layout_.has_items) {
      Use(kItemsHeader);
      sound = JudgeItems() && sound;
    }
    lengths_.Tell(header_.level, report_);
    if (sound && at_ != record_.size()) {
      sound =
          report_.Error("archive-length", kAtLength, "record length",
                        fmt::format("{} bytes, but its parts end after {}", record_.size(), at_));
    }
    return JudgeHead() && sound;
  }

 private:
  std::string NameOfSection(size_t i) const {
    return fmt::format("section {}", NameOf(layout_.sections[i].kind).word);
  }

  void Use(size_t slot) {
    std::fill_n(head_used_.begin() + static_cast<std::ptrdiff_t>(slot), kSlotSize, true);
  }

  // Bytes of the head that no section has.
  bool JudgeHead() {
    for (size_t i = 0; i < head_used_.size(); ++i) {
      if (head_used_[i] || record_[i] == 0) continue;
      return report_.Error("unused-bytes", i, "the head, unused byte",
                           fmt::format("{:02x} instead of 0", record_[i]));
    }
    return true;
  }

  bool JudgePlace(uint32_t offset, uint64_t due, size_t slot, const std::string& name) {
    return offset == due ||
           report_.Error("archive-offset", slot + kOffsetAt, name + ", offset",
                         fmt::format("{}, but in archives it begins at {}", offset, due));
  }

  // Entries stand in the order of the resources. An unknown disk takes the place of another one;
  // that is told elsewhere.
  bool JudgeKey(const KeyTable& table, uint32_t key, uint32_t index, uint64_t at,
                const std::string& name) {
    if (table.from_statistics || index >= table.keys.size() || table.keys[index] == key)
      return true;
    const bool known = std::binary_search(table.sorted.begin(), table.sorted.end(), key);
    if (!known && table.lookup == Lookup::kCursor) return true;
    return report_.Error("key-order", at, fmt::format("{}, entry {}, key", name, index),
                         "not the resource that has this place");
  }

  bool JudgeSection(const SectionRow& row, const std::string& name) {
    const SectionPlace place = PlaceOf(record_, row);
    if (!IsIncluded(row.included, tables_.choice))
      return JudgePlace(place.offset, 0, row.header_at, name);
    if (!JudgePlace(place.offset, at_, row.header_at, name)) {
      at_ = 0;  // where the others begin cannot be told
      return false;
    }
    const KeyTable& table = tables_.kinds[row.kind];
    const Form& form = kForms[row.form];
    const size_t keys = table.key_count != 0 ? table.key_count : size_t{form.key.count};
    EntryJudge judge({header_, row, layout_.row.rule, keys, name}, report_);
    uint32_t index = 0;
    bool sound = true;
    VisitSection(
        header_, record_, row, [&](std::span<const uint8_t> entry, std::span<const uint8_t> words) {
          const auto at = static_cast<uint64_t>(entry.data() - record_.data());
          sound = judge.Judge(index, at, entry, words) && sound;
          sound =
              JudgeKey(table, EntryKey(form.key, keys, entry), index, at + form.key.at[0], name) &&
              sound;
          lengths_.Add(Load32(entry.data() + kAtInterval), at, name, index);
          at_ = at + entry.size() + words.size();
          ++index;
        });
    return sound;
  }

  // The items that archives hold: one of each kind that is marked present, in one order; of Conc
  // only in periods that had one.
  bool JudgeItems() {
    const SectionPlace place = PlaceAt(record_, kItemsHeader);
    const std::string name = "the optional items";
    if (place.count == 0) {
      for (size_t i = 0; i < kSlotSize; ++i) {
        if (record_[kItemsHeader + i] == 0) continue;
        return report_.Error("unused-bytes", kItemsHeader + i, name,
                             "not 0, but there are no items");
      }
    } else if (!JudgePlace(place.offset, at_, kItemsHeader, name)) {
      return false;
    }
    uint32_t seen = 0;
    bool sound = true;
    for (const ItemRow& row : kItemRows) {
      if (!row.span.Holds(header_.revision) || tables_.item_room[row.kind] < 0) continue;
      const auto head =
          seen < place.count ? Carve(record_, at_, kItemOutHead) : std::span<const uint8_t>();
      if (head.empty() || head[kItemType] != row.type) {
        if (row.kind == kConc || !tables_.known) continue;
        return report_.Error("item-missing", kItemsHeader, name,
                             fmt::format("no item of type {} in its place", row.type));
      }
      const auto item = Carve(record_, at_, Load32(head.data() + kItemLength));
      if (item.size() < kItemOutHead) return false;  // reported
      sound = JudgeItem(row, item, fmt::format("optional item {}", seen)) && sound;
      at_ += item.size();
      ++seen;
    }
    return seen == place.count ? sound
                               : report_.Error("item-order", kItemsHeader, name,
                                               fmt::format("{} items, but archives hold {} here",
                                                           place.count, seen));
  }

  bool JudgeItem(const ItemRow& row, std::span<const uint8_t> item, const std::string& name) {
    const uint32_t count = Load16(item.data() + kItemCount);
    const auto wrong = [&](uint64_t at, const char* field) {
      return report_.Error("item-form", at_ + at, fmt::format("{}, {}", name, field),
                           "not what archives hold");
    };
    if (item.size() != kItemOutHead + uint64_t{count} * row.element)
      return wrong(kItemLength, "length");
    if (Load32(item.data() + kItemFirst) != kItemOutHead) return wrong(kItemFirst, "first element");
    if (Load16(item.data() + kItemFlag + 1) != 0) return wrong(kItemFlag + 1, "unused bytes");
    for (size_t i = kItemHead; i < kItemOutHead; ++i) {
      if (item[i] != 0) return wrong(i, "unused bytes");
    }
    if (!IsFlag(row, count, item[kItemFlag])) return wrong(kItemFlag, "flag");
    bool sound = true;
    for (uint32_t i = 0; i < count; ++i) {
      const uint64_t at = kItemOutHead + uint64_t{i} * row.element;
      sound = JudgeElement(row, item, at, fmt::format("{}, element {}", name, i)) && sound;
    }
    return sound;
  }

  bool IsFlag(const ItemRow& row, uint32_t count, uint8_t flag) const {
    if (row.kind == kCab) return count != 0 ? (flag & kItemTaken) != 0 : flag == 0;
    const bool pair = row.kind == kLdCp || row.kind == kPoolCp;
    if (pair && layout_.row.pair_flag_by_count) return flag == (count != 0 ? kItemTaken : 0);
    return true;
  }

  bool JudgeElement(const ItemRow& row, std::span<const uint8_t> item, uint64_t at,
                    const std::string& name) {
    const auto bytes = item.subspan(at, row.element);
    if (row.kind == kConc && bytes[kConcPresent] != 1) {
      return report_.Error("item-form", at_ + at + kConcPresent, name + ", presence",
                           "archives hold only elements that are present");
    }
    if (row.kind != kWaittm) return true;
    for (size_t i = 2; i < kQuadsetSize; ++i) {
      if (bytes[i] == 0) continue;
      return report_.Error("unused-bytes", at_ + at + i, name + ", unused byte",
                           fmt::format("{:02x} instead of 0", bytes[i]));
    }
    return JudgeGroup(QuadRule::kCurrent, bytes.data() + kQuadsetSize,
                      Load32(item.data() + kAtInterval), at_ + at + kQuadsetSize, name, report_);
  }

  const PslHeader& header_;
  std::span<const uint8_t> record_;
  RecordReport& report_;
  const ArrayTables& tables_;
  const RevisionLayout& layout_;
  std::vector<bool> head_used_;
  std::vector<std::string> names_;
  Lengths lengths_;
  uint64_t at_ = 0;  // where the next part begins
};

}  // namespace

bool CheckArchivedStructure(const PslHeader& header, std::span<const uint8_t> record,
                            RecordReport& report) {
  // What the archiver would make of it: in an archive it has been made so already.
  const RevisionLayout& layout = LayoutOf(header.revision);
  const std::vector<uint8_t> due = PutStructure(layout, record, record[kAtContinuation] != 0);
  const size_t size = std::min(due.size(), record.size());
  const auto differ =
      std::mismatch(due.begin(), due.begin() + static_cast<std::ptrdiff_t>(size), record.begin());
  const auto at = static_cast<uint64_t>(differ.first - due.begin());
  if (at == size && due.size() == record.size()) return true;
  if (at == size) {
    return report.Error("archive-length", kAtLength, "record length",
                        fmt::format("{} bytes, but its parts make {}", record.size(), due.size()));
  }
  return report.Error("structure-form", at, fmt::format("byte {}", at),
                      fmt::format("{:02x}, but the archiver writes {:02x}", record[at], due[at]));
}

bool CheckArchivedStatistics(const PslHeader& header, std::span<const uint8_t> record,
                             RecordReport& report, const ArrayTables& tables) {
  return StatisticsJudge(header, record, report, tables).Judge();
}

void CheckArchivedHeader(const PslHeader& header, std::span<const uint8_t> record,
                         RecordReport& report) {
  const RevisionLayout& layout = LayoutOf(header.revision);
  if (layout.row.keeps_header) return;  // the bytes are the first input's
  constexpr size_t kSecondLevelEnd = kAtLevel + 2;
  constexpr size_t kWord = 16;  // the configuration word
  std::vector<bool> used(record.size(), false);
  std::fill_n(used.begin(), kSecondLevelEnd, true);
  std::fill_n(used.begin() + kWord, 4, true);
  for (const BitmapRow& bitmap : layout.Bitmaps()) {
    if (bitmap.kind == kReservedItems) continue;
    std::fill_n(used.begin() + bitmap.at, 4, true);
  }
  for (size_t i = 0; i < record.size(); ++i) {
    if (used[i] || record[i] == 0) continue;
    report.Warn("header-unused", i, "unused byte", fmt::format("{:02x} instead of 0", record[i]));
    return;
  }
}

}  // namespace psltool
