// Records taken apart, and the comparison of two: see tools/audit/record_fields.h.
#include <fmt/format.h>

#include <algorithm>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "tools/audit/recompute_structure.h"
#include "tools/audit/record_fields.h"
#include "tools/reading/array_tables.h"
#include "tools/reading/entry_fields.h"
#include "tools/showing/dump_file.h"

namespace psltool {

namespace {

using Type = RecordPart::Type;

class Parts {
 public:
  explicit Parts(std::span<const uint8_t> record) : record_(record) {}

  void Add(RecordPart part) { parts_.push_back(part); }

  // Puts the parts in order and names the bytes between and behind them.
  std::vector<RecordPart> Finish() {
    std::stable_sort(parts_.begin(), parts_.end(),
                     [](const RecordPart& a, const RecordPart& b) { return a.at < b.at; });
    std::vector<RecordPart> all;
    uint64_t at = 0;
    for (const RecordPart& part : parts_) {
      AddRest(all, at, part.at);
      all.push_back(part);
      at = std::max(at, part.at + part.size);
    }
    AddRest(all, at, record_.size());
    return all;
  }

 private:
  static void AddRest(std::vector<RecordPart>& all, uint64_t from, uint64_t to) {
    if (from < to) all.push_back({Type::kRest, kNoKind, 0, from, to - from, kFormCount});
  }

  std::span<const uint8_t> record_;
  std::vector<RecordPart> parts_;
};

void AddItems(std::span<const uint8_t> record, uint8_t revision, Parts& parts) {
  const SectionPlace place = PlaceAt(record, kItemsHeader);
  if (place.count == 0 || place.offset == 0) return;
  uint64_t at = place.offset;
  for (uint32_t i = 0; i < place.count; ++i) {
    const auto head = Carve(record, at, kItemOutHead);
    if (head.empty()) return;
    Kind kind = kNoKind;
    size_t element = 0;
    for (const ItemRow& row : kItemRows) {
      if (row.type != head[kItemType] || !row.span.Holds(revision)) continue;
      kind = row.kind;
      element = row.element;
    }
    parts.Add({Type::kItem, kind, i, at, kItemOutHead, kFormCount});
    const uint32_t size = Load32(head.data() + kItemLength);
    if (size < kItemOutHead || Carve(record, at, size).empty()) return;
    for (uint64_t from = kItemOutHead; element != 0 && from + element <= size; from += element) {
      const auto index = static_cast<uint32_t>((from - kItemOutHead) / element);
      parts.Add({Type::kElement, kind, index, at + from, element, kFormCount});
    }
    at += size;
  }
}

void AddSections(const FieldContext& context, std::span<const uint8_t> record, Parts& parts) {
  const RevisionLayout& layout = LayoutOfStatistics(context.header, record);
  for (const SectionRow& row : layout.Sections()) {
    uint32_t index = 0;
    VisitSection(
        context.header, record, row,
        [&](std::span<const uint8_t> entry, std::span<const uint8_t> words) {
          const auto at = static_cast<uint64_t>(entry.data() - record.data());
          parts.Add({Type::kEntry, row.kind, index++, at, entry.size() + words.size(), row.form});
        });
  }
  if (layout.has_items) AddItems(record, layout.revision, parts);
}

void AddLists(const FieldContext& context, std::span<const uint8_t> record, Parts& parts) {
  const RevisionLayout& layout = LayoutOf(context.header.revision);
  const uint32_t basic = Load32(record.data() + kAtFirstHeader + 4);
  if (Carve(record, basic, kBasicSize).empty()) return;
  parts.Add({Type::kBasic, kNoKind, 0, basic, kBasicSize, kFormCount});
  for (const ListRow& row : layout.Lists()) {
    const auto bytes = ListBytes(record, row);
    const uint64_t start = PlaceAt(record, row.header_at).offset;
    const uint64_t entry =
        row.entry == kSizeFromDescriptor ? Load16(record.data() + row.header_at) : row.entry;
    uint32_t index = 0;
    for (uint64_t at = 0; entry != 0 && at + entry <= bytes.size();) {
      uint64_t size = entry;
      if (row.total_length_at != kNone) {
        size = std::clamp<uint64_t>(Load32(bytes.data() + at + row.total_length_at), entry,
                                    bytes.size() - at);
      }
      parts.Add({Type::kList, row.kind, index++, start + at, size, kFormCount});
      at += size;
    }
  }
}

std::string TextOf(std::span<const uint8_t> bytes) {
  if (bytes.size() == 1) return std::to_string(bytes[0]);
  if (bytes.size() == 2) return std::to_string(Load16(bytes.data()));
  if (bytes.size() == 4) return std::to_string(Load32(bytes.data()));
  std::string text;
  for (const uint8_t byte : bytes) text += fmt::format("{:02x}", byte);
  return text;
}

// What the resource of a part is called.
std::string KeyOf(const FieldContext& context, const RecordPart& part,
                  std::span<const uint8_t> bytes) {
  if (part.type == Type::kEntry) {
    const Form& form = kForms[part.form];
    const size_t keys = part.kind == kCheseg ? context.cheseg_key_count : form.key.count;
    return KeyText(form.key, keys, EntryKey(form.key, keys, bytes));
  }
  if (part.type == Type::kElement) return ElementKey(ItemRowOf(part.kind), bytes);
  if (part.type == Type::kList) return fmt::format("entry {}", part.index);
  return {};
}

std::string NameOf(const RecordPart& part, const std::string& field) {
  if (part.type == Type::kBasic) return "basic information, " + field;
  if (part.type == Type::kItem) return "item head, " + field;
  if (part.type == Type::kList) return "list, " + field;
  return field;
}

void ComparePart(const FieldContext& context, std::span<const uint8_t> record,
                 const RecordPart& part, std::span<const uint8_t> expected,
                 std::span<const uint8_t> stored, uint64_t stored_at, const DifferenceSink& sink) {
  const size_t shared = std::min(expected.size(), stored.size());
  if (std::equal(expected.begin(), expected.begin() + static_cast<std::ptrdiff_t>(shared),
                 stored.begin())) {
    return;
  }
  const std::string key = KeyOf(context, part, expected);
  for (const FieldSpan& field : FieldsOf(context, record, part)) {
    if (field.at + field.width > shared) break;
    const auto want = expected.subspan(field.at, field.width);
    const auto have = stored.subspan(field.at, field.width);
    if (std::equal(want.begin(), want.end(), have.begin())) continue;
    sink({stored_at + field.at, field.width, part.kind == kNoKind ? "" : WordOfKind(part.kind), key,
          NameOf(part, field.name), TextOf(have), TextOf(want)});
  }
}

// Records of different length: part by part, each found by what it is.
void CompareUneven(const FieldContext& context, std::span<const uint8_t> expected,
                   std::span<const uint8_t> stored, const DifferenceSink& sink) {
  const std::vector<RecordPart> theirs = PartsOf(context, stored);
  size_t next = 0;
  for (const RecordPart& part : PartsOf(context, expected)) {
    size_t found = next;
    while (found < theirs.size() &&
           (theirs[found].type != part.type || theirs[found].kind != part.kind ||
            theirs[found].index != part.index)) {
      ++found;
    }
    const auto want = expected.subspan(part.at, part.size);
    if (found == theirs.size()) {
      sink({part.at, 0, part.kind == kNoKind ? "" : WordOfKind(part.kind),
            KeyOf(context, part, want), NameOf(part, "entry"), "",
            fmt::format("{} bytes", part.size)});
      continue;
    }
    next = found + 1;
    const RecordPart& other = theirs[found];
    ComparePart(context, expected, part, want, stored.subspan(other.at, other.size), other.at,
                sink);
  }
}

}  // namespace

std::vector<RecordPart> PartsOf(const FieldContext& context, std::span<const uint8_t> record) {
  Parts parts(record);
  const std::string_view tag(reinterpret_cast<const char*>(record.data()), 3);
  const size_t head = LayoutOf(context.header.revision).row.record_head;
  if (tag == "HDR") {
    parts.Add({Type::kHead, kNoKind, 0, 0, record.size(), kFormCount});
  } else if ((tag != "STA" && tag != "CON") || record.size() < head) {
    parts.Add({Type::kHead, kNoKind, 0, 0, std::min(record.size(), kRecordHeaderSize), kFormCount});
  } else {
    parts.Add({Type::kHead, kNoKind, 0, 0, head, kFormCount});
    if (tag == "STA") {
      AddSections(context, record, parts);
    } else {
      AddLists(context, record, parts);
    }
  }
  return parts.Finish();
}

void CompareRecords(const FieldContext& context, std::span<const uint8_t> expected,
                    std::span<const uint8_t> stored, const DifferenceSink& sink) {
  if (expected.size() != stored.size()) {
    CompareUneven(context, expected, stored, sink);
    return;
  }
  if (std::equal(expected.begin(), expected.end(), stored.begin())) return;
  for (const RecordPart& part : PartsOf(context, expected)) {
    ComparePart(context, expected, part, expected.subspan(part.at, part.size),
                stored.subspan(part.at, part.size), part.at, sink);
  }
}

}  // namespace psltool
