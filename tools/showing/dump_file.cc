// Dumps: see the header. A record is looked at only as far as the archiver would.
#include "tools/showing/dump_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <memory>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "tools/output/report.h"
#include "tools/reading/array_tables.h"
#include "tools/reading/check_items.h"
#include "tools/reading/check_statistics.h"
#include "tools/reading/kind_names.h"
#include "tools/reading/record_period.h"
#include "tools/reading/resource_key.h"

namespace psltool {

namespace {

// How the entries of one layout are read.
struct Plan {
  uint8_t revision = 0;
  std::array<std::unique_ptr<EntryFields>, kSectionKinds> sections;
  std::array<std::optional<ColumnChoice>, kSectionKinds> choices;
  std::array<std::optional<ColumnChoice>, kSectionKinds> numbers;
};

class Dumper {
 public:
  Dumper(const DumpRequest& request, PslReader& reader, DumpWriter& writer)
      : request_(request), reader_(reader), writer_(writer), periods_(request.path, request.zone) {}

  bool IsWanted(Kind kind) const {
    return request_.kinds.empty() ||
           std::find(request_.kinds.begin(), request_.kinds.end(), kind) != request_.kinds.end();
  }

  // Makes ready for the file's revision. False: it cannot hold what is asked for, reported.
  bool Prepare(bool printed) {
    const uint8_t revision = reader_.header().revision;
    for (const Kind kind : request_.kinds) {
      if (HasKind(revision, kind)) continue;
      if (printed) {
        Fail(request_.path,
             fmt::format("files of revision 0x{:02X} hold no {}", revision, WordOfKind(kind)));
      }
      return false;
    }
    AddPlan(revision);
    // An "LDM" record in a 0x10 log leaves a record of the next layout in its archive.
    if (revision == 0x10) AddPlan(0x11);
    for (const ItemRow& row : kItemRows) {
      if (row.span.Holds(revision) && IsWanted(row.kind)) {
        items_[row.kind] = std::make_unique<EntryFields>(row, request_.raw);
      }
    }
    if (!TakeKey(printed)) return false;
    std::vector<const std::vector<Column>*> all;
    for (const Plan& plan : plans_) {
      for (const auto& fields : plan.sections) {
        if (fields != nullptr) all.push_back(&fields->columns());
      }
    }
    for (const auto& fields : items_) {
      if (fields != nullptr) all.push_back(&fields->columns());
    }
    writer_.Start(all);
    return true;
  }

  // False: the record at hand is broken or cannot be read, reported.
  bool Take() {
    if (reader_.tag() == "CON") return reader_.Load() && TakeStructure();
    if (reader_.tag() != "STA") return true;
    const uint32_t stamp = Load32(reader_.record().data() + kAtTime);
    period_ = periods_.Of(reader_.position(), stamp);
    if (periods_.unreadable()) return reader_.Inherit(periods_.trouble());
    if (!LiesIn(period_, request_.from, request_.to, request_.zone)) return true;
    ++count_.records;
    writer_.StartRecord(period_);
    return reader_.Load() && TakeStatistics();
  }

  const DumpCount& count() const { return count_; }

 private:
  void AddPlan(uint8_t layout_revision) {
    const RevisionLayout& layout = LayoutOf(layout_revision);
    Plan plan;
    plan.revision = layout_revision;
    for (const SectionRow& row : layout.Sections()) {
      if (!IsWanted(row.kind)) continue;
      plan.sections[row.kind] =
          std::make_unique<EntryFields>(reader_.header(), row, layout.row.rule, request_.raw);
      const std::vector<Column>& columns = plan.sections[row.kind]->columns();
      const std::vector<bool> wanted = writer_.Wants(columns);
      if (!wanted.empty()) plan.choices[row.kind].emplace(wanted);
      const std::vector<uint8_t> places = writer_.WantsNumbers(columns);
      if (!places.empty()) plan.numbers[row.kind].emplace(places);
    }
    plans_.push_back(std::move(plan));
  }

  bool TakeKey(bool printed) {
    if (!request_.key || request_.kinds.empty()) return true;
    const Kind kind = request_.kinds.front();
    const SectionRow* const row = FindRow(LayoutOf(reader_.header().revision).Sections(), kind);
    if (row == nullptr) return true;  // keys of optional items are compared as text
    key_ = ParseKey(kForms[row->form].key, *request_.key);
    if (key_) return true;
    if (printed) {
      Fail(request_.path, fmt::format("'{}' is not a key of {}", *request_.key, WordOfKind(kind)));
    }
    return false;
  }

  bool TakeStructure() {
    const std::optional<Finding> error = ErrorOf(reader_, [&](RecordReport& report) {
      return ReadTables(reader_.header(), reader_.record(), report, tables_);
    });
    return !error || reader_.Broken(error->code, error->offset, error->field, error->text);
  }

  bool TakeStatistics() {
    const std::span<const uint8_t> record = reader_.record();
    const size_t head = LayoutOf(reader_.header().revision).row.record_head;
    if (record.size() < head) {
      return BrokenAt("statistics-head", kAtLength, "record length",
                      fmt::format("{} bytes are less than the head of {}", record.size(), head));
    }
    const RevisionLayout& layout = LayoutOfStatistics(reader_.header(), record);
    const auto plan = std::find_if(plans_.begin(), plans_.end(), [&](const Plan& each) {
      return each.revision == layout.revision;
    });
    for (const SectionRow& row : layout.Sections()) {
      if (plan->sections[row.kind] != nullptr && !TakeSection(row, *plan)) return false;
    }
    return !layout.has_items || TakeItems();
  }

  bool BrokenAt(const char* code, uint64_t at, std::string field, std::string text) {
    return reader_.Broken(code, reader_.position() + at, std::move(field), std::move(text));
  }

  bool BrokenAt(ItemFault fault) {
    return BrokenAt(fault.code, fault.at, std::move(fault.field), std::move(fault.text));
  }

  bool HasKey(const Form& form, std::span<const uint8_t> entry) const {
    if (!key_) return true;
    for (size_t i = 0; i < key_->bytes.size(); ++i) {
      if (entry[form.key.at[i]] != key_->bytes[i]) return false;
    }
    return true;
  }

  bool TakeSection(const SectionRow& row, const Plan& plan) {
    const EntryFields& fields = *plan.sections[row.kind];
    const std::optional<ColumnChoice>& choice = plan.choices[row.kind];
    const std::optional<ColumnChoice>& numbers = plan.numbers[row.kind];
    values_.clear();  // of another kind
    const std::span<const uint8_t> record = reader_.record();
    const SectionPlace place = PlaceOf(record, row);
    if (place.count == 0 || place.offset == 0) return true;
    const std::string name = fmt::format("section {}", WordOfKind(row.kind));
    if (!tables_.known) {
      return BrokenAt("no-structure", row.header_at + 2U, name + ", count",
                      "entries before any structure record");
    }
    if (!IsRead(row, place, tables_)) return true;
    const Form& form = kForms[row.form];
    // Without a list the keys are those of the form; of cache segments the array says it.
    const size_t key_count =
        row.kind == kCheseg ? tables_.kinds[kCheseg].key_count : size_t{form.key.count};
    const char* const word = WordOfKind(row.kind);
    uint32_t number = 0;
    uint64_t behind = place.offset;
    const bool whole = VisitSection(
        reader_.header(), record, row,
        [&](std::span<const uint8_t> entry, std::span<const uint8_t> words) {
          const auto at = static_cast<uint64_t>(entry.data() - record.data());
          behind = at + entry.size() + words.size();
          ++number;
          if (!HasKey(form, entry)) return;
          ++count_.entries;
          const EntryFields::Entry each = {entry, words, key_count, reader_.position() + at};
          if (numbers) {
            fields.DecodeNumbers(each, *numbers, numbers_);
          } else {
            choice ? fields.Decode(each, *choice, values_) : fields.Decode(each, values_);
          }
          writer_.Put({period_, word, fields.columns(), values_, numbers_, &form, key_count,
                       EntryKey(form.key, key_count, entry)});
        });
    if (whole) return true;
    const bool outside = place.offset > record.size();
    return BrokenAt("section-bounds", outside ? row.header_at + 4U : behind,
                    outside ? name + ", offset" : fmt::format("{}, entry {}", name, number),
                    "the section leaves the record");
  }

  bool TakeItems() {
    const std::span<const uint8_t> record = reader_.record();
    const SectionPlace place = PlaceAt(record, kItemsHeader);
    if (place.count == 0 || place.offset == 0) return true;
    uint64_t at = place.offset;
    for (uint32_t i = 0; i < place.count; ++i) {
      std::span<const uint8_t> item;
      if (auto fault = CarveItem(record, at, i, item)) return BrokenAt(std::move(*fault));
      if (!TakeElements(item, at, i)) return false;
      at += item.size();
    }
    return true;
  }

  bool TakeElements(std::span<const uint8_t> item, uint64_t at, uint32_t number) {
    const RevisionLayout& layout = LayoutOf(reader_.header().revision);
    const ItemRow* const row = ItemRowOfType(item[kItemType], layout.revision);
    if (row == nullptr || items_[row->kind] == nullptr) return true;
    if (!psltool::TakesElements(layout, *row, item)) return true;
    const uint32_t count = Load16(item.data() + kItemCount);
    const uint32_t first = Load32(item.data() + kItemFirst);
    if (count == 0) return true;
    const std::string name = fmt::format("optional item {}", number);
    if (auto fault = ElementsFault(*row, item, at, name)) return BrokenAt(std::move(*fault));
    const auto elements = item.subspan(first, size_t{count} * row->element);
    const EntryFields& fields = *items_[row->kind];
    for (size_t from = 0; from < elements.size(); from += row->element) {
      const auto element = elements.subspan(from, row->element);
      if (request_.key && ElementKey(*row, element) != *request_.key) continue;
      ++count_.entries;
      fields.Decode({element, {}, 0, reader_.position() + at + first + from, item}, values_);
      TakeNumbers(fields.columns());
      writer_.Put({.period = period_,
                   .kind = WordOfKind(row->kind),
                   .columns = fields.columns(),
                   .values = values_,
                   .numbers = numbers_});
    }
    return true;
  }

  // Elements of optional items are few; their numbers are taken from the values.
  void TakeNumbers(const std::vector<Column>& columns) {
    const std::vector<uint8_t> places = writer_.WantsNumbers(columns);
    numbers_.clear();
    for (size_t i = 0; i < places.size(); ++i) {
      if (places[i] == ColumnChoice::kNowhere) continue;
      if (places[i] >= numbers_.size()) numbers_.resize(places[i] + 1U, kNoNumber);
      numbers_[places[i]] = NumberOr(values_[i], kNoNumber);
    }
  }

  const DumpRequest& request_;
  PslReader& reader_;
  DumpWriter& writer_;
  std::vector<Plan> plans_;
  std::array<std::unique_ptr<EntryFields>, kKinds> items_;
  std::optional<ResourceKey> key_;
  ArrayTables tables_;
  FilePeriods periods_;
  RecordPeriod period_;  // of the record at hand
  DumpCount count_;
  std::vector<Value> values_;
  std::vector<double> numbers_;
};

}  // namespace

const char* WordOfKind(Kind kind) { return kind == kWaittm ? "wait-time" : NameOf(kind).word; }

DumpEnd DumpFile(const DumpRequest& request, DumpWriter& writer, const TextOut& out,
                 Progress& progress, PslReader::Reports reports, Finding* trouble,
                 DumpCount* count) {
  PslReader reader(request.path, reports);
  const auto failure = [&] {
    if (trouble != nullptr) *trouble = reader.trouble();
    return reader.trouble().severity == Severity::kUnreadable ? DumpEnd::kUnreadable
                                                              : DumpEnd::kBroken;
  };
  if (!reader.Open()) return failure();
  writer.Open(reader.header());
  Dumper dumper(request, reader, writer);
  if (!dumper.Prepare(reports == PslReader::Reports::kPrinted)) return DumpEnd::kRefused;
  while (!out.failed() && !writer.failed() && reader.NextHeader()) {
    progress.Show(request.path, reader.position(), reader.size());
    if (!dumper.Take()) break;
  }
  writer.Finish();
  if (count != nullptr) {
    count->records += dumper.count().records;
    count->entries += dumper.count().entries;
  }
  return reader.failed() ? failure() : DumpEnd::kDone;
}

std::optional<Kind> KindOfWord(std::string_view word) {
  return word == WordOfKind(kWaittm) ? std::optional(kWaittm) : KindOf(word);
}

void LookAtColumns(const DumpRequest& request, DumpWriter& writer) {
  PslReader reader(request.path, PslReader::Reports::kKept);
  if (!reader.Open()) return;
  static_cast<void>(Dumper(request, reader, writer).Prepare(false));
}

}  // namespace psltool
