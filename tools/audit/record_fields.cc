// Fields of entries and heads: see the header. Names are those of `dump`.
#include "tools/audit/record_fields.h"

#include <fmt/format.h>

#include <algorithm>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "tools/audit/recompute_math.h"
#include "tools/showing/dump_file.h"

namespace psltool {

namespace {

// Gathers fields; the first one to name a byte keeps it.
class Fields {
 public:
  explicit Fields(uint64_t size) : named_(size, false) {}

  void Add(uint64_t at, uint64_t width, std::string name) {
    if (at + width > named_.size() || named_[at]) return;
    for (uint64_t i = at; i < at + width; ++i) named_[i] = true;
    spans_.push_back({at, width, std::move(name)});
  }

  // Names what is left, by words.
  std::vector<FieldSpan> Finish(const char* rest) {
    for (uint64_t at = 0; at < named_.size();) {
      if (named_[at]) {
        ++at;
        continue;
      }
      uint64_t end = at + 1;
      while (end < named_.size() && end % 4 != 0 && !named_[end]) ++end;
      Add(at, end - at, fmt::format("{} at {}", rest, at));
      at = end;
    }
    std::sort(spans_.begin(), spans_.end(),
              [](const FieldSpan& a, const FieldSpan& b) { return a.at < b.at; });
    return std::move(spans_);
  }

 private:
  std::vector<bool> named_;
  std::vector<FieldSpan> spans_;
};

// Names the bytes of a field. `group`: counter groups before it.
void AddField(Fields& fields, const Field& field, size_t group) {
  switch (field.unit()) {
    case FieldUnit::kQuadset:
      for (uint64_t i = 0; i < field.width() / 4; ++i) {
        fields.Add(field.at + 4 * i, 4,
                   fmt::format("g{}_{}", group + i / 4 + 1, kGroupWordNames[i % 4]));
      }
      break;
    case FieldUnit::kBit:
      fields.Add(field.at, 1, "flags");
      break;
    default:
      fields.Add(field.at, field.width(),
                 field.role == Role::kCarried ? fmt::format("{}{}", field.name(), field.at)
                                              : field.name());
  }
}

std::string WordName(const Form& form, QuadRule rule, size_t position) {
  const size_t ratio = 4 * size_t{form.tracked};
  if (position < ratio) {
    return fmt::format("g{}_{}", position / 4 + 1, ExtremeName(rule, position % 4));
  }
  if (position < ratio + 2) return kRatioExtremeNames[position - ratio];
  return fmt::format("word_bit{}", 31 - position);
}

void AddRecordHead(Fields& fields, const char* flag) {
  fields.Add(kAtTag, 3, "tag");
  fields.Add(kAtFlag, 1, flag);
  fields.Add(kAtTime, 4, "time stamp");
  fields.Add(kAtLength, 4, "record length");
}

void AddSlot(Fields& fields, size_t slot, const std::string& name) {
  fields.Add(slot, 2, name + ", first field");
  fields.Add(slot + 2, 2, name + ", count");
  fields.Add(slot + 4, 4, name + ", offset");
}

std::string ListName(const ListRow& row) {
  return row.kind == kNoKind ? fmt::format("list of slot {}", row.header_at)
                             : fmt::format("list {}", WordOfKind(row.kind));
}

std::vector<FieldSpan> FileHeaderFields(const FieldContext& context, uint64_t size) {
  Fields fields(size);
  AddRecordHead(fields, "format revision");
  fields.Add(kAtLevel, 1, "archive level");
  fields.Add(kAtSecondLevel, 1, "second level byte");
  fields.Add(kAtConfiguration, 4, "configuration word");
  const RevisionLayout& layout = LayoutOf(context.header.revision);
  for (const BitmapRow& row : layout.Bitmaps()) {
    fields.Add(row.at, 4,
               row.kind == kReservedItems ? "item mask reserved"
                                          : fmt::format("item mask {}", WordOfKind(row.kind)));
  }
  if (layout.row.keeps_header) {
    fields.Add(kAtYear, 1, "date, year");
    fields.Add(kAtMonth, 1, "date, month");
    fields.Add(kAtDay, 1, "date, day");
  }
  return fields.Finish("bytes");
}

std::vector<FieldSpan> HeadFields(const FieldContext& context, std::span<const uint8_t> record,
                                  uint64_t size) {
  const std::string_view tag(reinterpret_cast<const char*>(record.data()), 3);
  if (tag == "HDR") return FileHeaderFields(context, size);
  Fields fields(size);
  AddRecordHead(fields, "flag byte");
  if (tag == "STA") {
    const RevisionLayout& layout = LayoutOfStatistics(context.header, record);
    for (const SectionRow& row : layout.Sections()) {
      AddSlot(fields, row.header_at, fmt::format("section {}", WordOfKind(row.kind)));
    }
    if (layout.has_items) AddSlot(fields, kItemsHeader, "optional items");
  } else if (tag == "CON") {
    const RevisionLayout& layout = LayoutOf(context.header.revision);
    fields.Add(kAtContinuation, 1, "continuation flag");
    if (layout.row.carries_pair) fields.Add(kAtIntervalValue, 2, "interval value");
    AddSlot(fields, kAtFirstHeader, "basic information");
    for (const ListRow& list : layout.Lists()) {
      AddSlot(fields, list.header_at, ListName(list));
    }
    const size_t trailing = layout.row.trailing_at;
    if (trailing != 0) {
      fields.Add(trailing, 4, "trailing section, offset");
      fields.Add(trailing + 4, 4, fmt::format("word at {}", trailing + 4));
    }
  }
  return fields.Finish("bytes");
}

std::vector<FieldSpan> BasicFields(uint64_t size) {
  Fields fields(size);
  fields.Add(kBasicIncluded, 1, "ranks or pools");
  fields.Add(kBasicFlags, 1, "flags");
  for (const ItemRow& row : kItemRows) {
    if (row.basic_at != 0) fields.Add(row.basic_at, 2, WordOfKind(row.kind));
  }
  return fields.Finish("bytes");
}

std::vector<FieldSpan> ItemFields(uint64_t size) {
  Fields fields(size);
  fields.Add(kAtStatus, 4, "status");
  fields.Add(kAtInterval, 4, "interval_ms");
  fields.Add(kItemLength, 4, "length");
  fields.Add(kItemType, 1, "type");
  fields.Add(kItemFlag, 1, "item_flag");
  fields.Add(kItemCarried, 2, "u16_at_16");
  fields.Add(kItemCount, 2, "count");
  fields.Add(kItemFirst, 4, "first element");
  return fields.Finish("unused");
}

std::vector<FieldSpan> ElementSpans(Kind kind, uint64_t size) {
  Fields fields(size);
  for (const Field& field : FieldsOfList(ItemRowOf(kind).fields)) AddField(fields, field, 0);
  return fields.Finish("bytes");
}

}  // namespace

FieldContext FieldContext::OfArchive(const PslHeader& header) {
  FieldContext context = {header};
  context.header.masks.fill(0);
  for (const BitmapRow& row : LayoutOf(header.revision).Bitmaps()) {
    if (row.kind != kReservedItems) context.header.masks[row.kind] = row.full;
  }
  return context;
}

std::vector<FieldSpan> EntryFieldSpans(const Form& form, QuadRule rule, uint32_t mask,
                                       size_t key_count, size_t size) {
  Fields fields(size);
  size_t keys = 0;
  size_t groups = 0;
  for (const Field& field : form.Fields()) {
    if (field.role == Role::kKey && keys++ >= key_count) continue;
    if (field.role == Role::kSecondRatio && key_count == form.key.count) continue;
    AddField(fields, field, groups);
    if (field.unit() == FieldUnit::kQuadset) groups += field.count();
  }
  uint64_t at = form.size;
  for (size_t position = 0; position < 32; ++position) {
    if ((mask & (kFirstOfBitmap >> position)) == 0) continue;
    fields.Add(at, 4, WordName(form, rule, position));
    at += 4;
  }
  return fields.Finish("unused");
}

std::vector<FieldSpan> FieldsOf(const FieldContext& context, std::span<const uint8_t> record,
                                const RecordPart& part) {
  switch (part.type) {
    case RecordPart::Type::kHead:
      return HeadFields(context, record, part.size);
    case RecordPart::Type::kBasic:
      return BasicFields(part.size);
    case RecordPart::Type::kItem:
      return ItemFields(part.size);
    case RecordPart::Type::kElement:
      return ElementSpans(part.kind, part.size);
    case RecordPart::Type::kEntry: {
      const RevisionLayout& layout = LayoutOfStatistics(context.header, record);
      const Form& form = kForms[part.form];
      const size_t keys = part.kind == kCheseg ? context.cheseg_key_count : form.key.count;
      return EntryFieldSpans(form, layout.row.rule, context.header.masks[part.kind], keys,
                             part.size);
    }
    case RecordPart::Type::kList:
    case RecordPart::Type::kRest:
      break;
  }
  return Fields(part.size).Finish("bytes");
}

}  // namespace psltool
