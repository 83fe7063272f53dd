// Explanations: see the header.
#include "tools/audit/explain_value.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "tools/audit/explain_rules.h"
#include "tools/audit/record_fields.h"
#include "tools/output/report.h"
#include "tools/reading/array_tables.h"
#include "tools/reading/kind_names.h"
#include "tools/reading/resource_key.h"
#include "tools/reading/time_text.h"
#include "tools/showing/dump_file.h"

namespace psltool {

namespace {

constexpr size_t kLongestElement = 64;  // bytes; more than any kind has

// Which entries are asked for.
struct Wanted {
  Kind kind;
  std::optional<uint32_t> key;  // packed, of resources
  size_t key_size = 0;
  std::string text;  // of optional items

  bool Is(uint32_t packed, size_t size) const { return key && packed == *key && size == key_size; }
};

// The entry or element as it stands in a record, taken apart.
struct Decoded {
  uint64_t at = 0;  // in the record
  std::vector<Column> columns;
  std::vector<Value> values;
};

std::optional<Decoded> Find(const FieldContext& context, std::span<const uint8_t> record,
                            const Wanted& wanted) {
  const RevisionLayout& layout = LayoutOfStatistics(context.header, record);
  std::span<const uint8_t> item;
  for (const RecordPart& part : PartsOf(context, record)) {
    const auto bytes = record.subspan(part.at, part.size);
    if (part.type == RecordPart::Type::kItem) item = bytes;
    if (part.kind != wanted.kind) continue;
    Decoded decoded;
    decoded.at = part.at;
    if (part.type == RecordPart::Type::kElement) {
      const ItemRow& row = ItemRowOf(part.kind);
      if (ElementKey(row, bytes) != wanted.text) continue;
      const EntryFields fields(row, false);
      decoded.columns = fields.columns();
      fields.Decode({bytes, {}, 0, 0, item}, decoded.values);
      return decoded;
    }
    if (part.type != RecordPart::Type::kEntry) continue;
    const SectionRow* const row = FindRow(layout.Sections(), part.kind);
    const Form& form = kForms[part.form];
    const size_t keys = part.kind == kCheseg ? context.cheseg_key_count : form.key.count;
    if (!wanted.Is(EntryKey(form.key, keys, bytes), keys)) continue;
    const size_t stored = std::min<size_t>(bytes.size(), form.size);
    const EntryFields fields(context.header, *row, layout.row.rule, false);
    decoded.columns = fields.columns();
    fields.Decode({bytes.first(stored), bytes.subspan(stored), keys, 0}, decoded.values);
    return decoded;
  }
  return std::nullopt;
}

// An optional item of the period.
struct SeenItem {
  struct Element {
    std::vector<uint8_t> bytes;
    size_t place;
    uint64_t offset = 0;
  };
  ExplainedInterval interval;
  std::vector<uint8_t> head;
  std::vector<Element> elements;
  std::vector<uint8_t> held;  // the wanted element as it is held after the item; empty: not yet
};

class Explainer : public RunListener {
 public:
  Explainer(const ExplainRequest& request, const Wanted& wanted, const PslReader& archive,
            uint32_t stamp, Explanation& explanation)
      : wanted_(wanted),
        choice_(request, LookAtInputs(request), archive.header().level, request.run),
        stamp_(stamp),
        zone_(request.zone),
        explanation_(explanation),
        context_(FieldContext::OfArchive(archive.header())) {}

  void OutputBegins(const OutputStart& start) override { choice_.Begins(start); }
  void InputJoins(const PslReader& input) override {
    input_ = &input;
    periods_ = std::make_unique<FilePeriods>(input.path(), zone_);
  }
  void InputTrouble(const std::string& path, const Finding& finding) override {
    Fail(path, Describe(finding));
    troubled_ = true;
  }
  bool wants_more() const override { return !done_; }

  void Added(const AddedEntry& each) override {
    if (each.kind != wanted_.kind || !wanted_.Is(each.key, each.rules.key_count)) return;
    const Form& form = *each.rules.form;
    ExplainedInterval interval = IntervalOf(each.record, each.entry);
    interval.valid = each.entry[static_cast<size_t>(form.not_valid)] == 0;
    interval.length = Load32(each.entry.data() + kAtInterval);
    const RevisionLayout& layout = LayoutOfStatistics(input_->header(), each.record);
    const EntryFields fields(input_->header(), *FindRow(layout.Sections(), each.kind),
                             layout.row.rule, false);
    interval.columns = fields.columns();
    fields.Decode({each.entry, each.words, each.rules.key_count, interval.offset}, interval.values);
    intervals_.push_back(std::move(interval));
    entries_.push_back({each.rules,
                        {each.entry.begin(), each.entry.end()},
                        {each.words.begin(), each.words.end()}});
  }

  // Which elements make the wanted one is known when the period is over: wait times of a disk that
  // is not configured go to another one.
  void Taken(std::span<const uint8_t> record, const TakenItem& each) override {
    if (each.sum.row->kind != wanted_.kind) return;
    SeenItem seen;
    seen.interval = IntervalOf(record, each.item);
    seen.interval.length = Load32(each.item.data() + kAtInterval);
    seen.head.assign(each.item.begin(), each.item.begin() + kItemHead);
    for (const TakenItem::Element& element : each.elements) {
      seen.elements.push_back({{element.bytes.begin(), element.bytes.end()}, element.place});
      seen.elements.back().offset = IntervalOf(record, element.bytes).offset;
    }
    if (const ItemSum::Element* const held = FindElement(each.sum)) seen.held = held->bytes;
    items_.push_back(std::move(seen));
  }

  void RecordDue(std::span<const uint8_t> record, const PeriodSums* sums) override {
    if (sums == nullptr) return;
    if (choice_.ours() && Load32(record.data() + kAtTime) == stamp_) TakePeriod(record, *sums);
    intervals_.clear();
    entries_.clear();
    items_.clear();
  }

  bool found() const { return found_; }
  bool done() const { return done_; }
  bool troubled() const { return troubled_; }
  size_t cheseg_key_count() const { return context_.cheseg_key_count; }

 private:
  ExplainedInterval IntervalOf(std::span<const uint8_t> record, std::span<const uint8_t> bytes) {
    ExplainedInterval interval;
    interval.path = input_->path();
    interval.record = input_->number();
    interval.offset = input_->position() + static_cast<uint64_t>(bytes.data() - record.data());
    interval.period = periods_->Of(input_->position(), Load32(record.data() + kAtTime));
    if (periods_->unreadable() && !troubled_) InputTrouble(input_->path(), periods_->trouble());
    return interval;
  }

  void TakePeriod(std::span<const uint8_t> record, const PeriodSums& sums) {
    done_ = true;
    const KeyTable& cheseg = sums.tables().kinds[kCheseg];
    context_.cheseg_key_count = std::max<size_t>(cheseg.key_count, 1);
    const std::optional<Decoded> decoded = Find(context_, record, wanted_);
    if (!decoded) return;
    found_ = true;
    for (size_t i = 0; i < decoded->columns.size(); ++i) {
      ExplainedField field;
      field.column = decoded->columns[i];
      field.expected = decoded->values[i];
      explanation_.fields.push_back(std::move(field));
    }
    if (wanted_.kind >= kSectionKinds) {
      TakeElement(sums);
    } else {
      TakeResource(record, sums);
    }
    explanation_.intervals = std::move(intervals_);
  }

  const ItemSum::Element* FindElement(const ItemSum& sum) const {
    for (const ItemSum::Element& element : sum.elements) {
      if (!element.bytes.empty() && ElementKey(*sum.row, element.bytes) == wanted_.text) {
        return &element;
      }
    }
    return nullptr;
  }

  // Lists what an item says of the element in a place: all that it adds, so that the sums told are
  // those of the list.
  void ListItem(const SeenItem& seen, size_t place, std::vector<AddedElement>& added) {
    const EntryFields fields(ItemRowOf(wanted_.kind), false);
    const auto list = [&](std::span<const uint8_t> bytes, uint64_t offset, bool named) {
      ExplainedInterval interval = seen.interval;
      if (offset != 0) interval.offset = offset;
      interval.named = named;
      interval.columns = fields.columns();
      fields.Decode({bytes, {}, 0, interval.offset, seen.head}, interval.values);
      intervals_.push_back(std::move(interval));
      added.push_back({{bytes.begin(), bytes.end()}, named});
    };
    bool named = false;
    uint64_t offset = 0;
    for (const SeenItem::Element& element : seen.elements) {
      if (element.place != place) continue;
      if (wanted_.kind == kWaittm) {
        list(element.bytes, element.offset, true);
        // The item's time counts once.
        if (named) intervals_.back().length = 0;
      }
      offset = element.offset;
      named = true;
    }
    if (named && wanted_.kind == kWaittm) return;
    if (!seen.held.empty() && wanted_.kind != kWaittm) {
      list(seen.held, offset, named);
      return;
    }
    // Nothing of the element: an item that counts by its time and status only.
    const std::vector<uint8_t> none(kLongestElement, 0);
    list(none, 0, false);
    for (size_t i = 0; i < intervals_.back().columns.size(); ++i) {
      const Column& column = intervals_.back().columns[i];
      const bool of_head = column.role == Role::kStatus || column.role == Role::kInterval ||
                           column.content == Content::kItemFlag;
      if (!of_head) intervals_.back().values[i] = Value();
    }
  }

  void TakeElement(const PeriodSums& sums) {
    const ItemSum& items = *sums.items().Find(wanted_.kind);
    const ItemSum::Element* const element = FindElement(items);
    const auto place = static_cast<size_t>(element - items.elements.data());
    std::vector<AddedElement> added;
    for (const SeenItem& seen : items_) ListItem(seen, place, added);
    explanation_.of_items = true;
    ExplainElement(items, *element, added, explanation_.fields);
  }

  void TakeResource(std::span<const uint8_t> record, const PeriodSums& sums) {
    const RevisionLayout& layout = LayoutOfStatistics(context_.header, record);
    EntryRules rules;
    rules.form = &kForms[FindRow(layout.Sections(), wanted_.kind)->form];
    rules.rule = layout.row.rule;
    for (const ResourceSum& sum : sums.kind(wanted_.kind).resources) {
      if (sum.key != *wanted_.key) continue;
      ExplainEntry(rules, sum, entries_, explanation_.fields);
      return;
    }
  }

  const Wanted& wanted_;
  OutputChoice choice_;
  uint32_t stamp_;
  Zone zone_;
  Explanation& explanation_;
  FieldContext context_;
  const PslReader* input_ = nullptr;
  std::unique_ptr<FilePeriods> periods_;      // of the input
  std::vector<ExplainedInterval> intervals_;  // of the period so far
  std::vector<AddedInterval> entries_;
  std::vector<SeenItem> items_;
  bool found_ = false;
  bool done_ = false;
  bool troubled_ = false;
};

// The place and the period of the record asked for.
struct Asked {
  uint64_t position = 0;
  RecordPeriod period;
};

// The first record whose period lies in the span, else the one whose period the span begins in.
// What cannot be read is reported by `archive`.
std::optional<Asked> FindRecord(const ExplainRequest& request, PslReader& archive,
                                std::optional<RecordPeriod>& last) {
  PslReader reader(request.archive, PslReader::Reports::kKept);
  FilePeriods periods(request.archive, request.zone);
  std::optional<Asked> holder;
  const bool opened = reader.Open();
  while (opened && reader.NextHeader()) {
    if (reader.tag() != "STA") continue;
    last = periods.Of(reader.position(), Load32(reader.record().data() + kAtTime));
    if (periods.unreadable()) break;
    const Asked asked = {reader.position(), *last};
    if (LiesIn(*last, request.at.first, request.at.last, request.zone)) return asked;
    if (!holder && Holds(*last, request.at.first)) holder = asked;
  }
  for (const Finding& trouble : {reader.trouble(), periods.trouble()}) {
    if (trouble.severity == Severity::kUnreadable && !archive.failed()) archive.Inherit(trouble);
  }
  return holder;
}

// Goes to the record asked for. False: there is none, or the archive is broken; reported.
bool GoToRecord(PslReader& archive, const ExplainRequest& request, RecordPeriod& period) {
  std::optional<RecordPeriod> last;
  const std::optional<Asked> asked = FindRecord(request, archive, last);
  if (archive.failed()) return false;
  while (archive.NextHeader()) {
    if (!asked || archive.position() != asked->position) continue;
    period = asked->period;
    return archive.Load();
  }
  if (archive.failed()) return false;
  const std::string text = TimeText(request.at.first, request.zone);
  return Fail(archive.path(), last ? fmt::format("no record stands for {}; the last one is of {}",
                                                 text, PeriodText(*last, request.zone))
                                   : std::string("no statistics records"));
}

// What is asked for, in files of a revision. Nothing: they cannot hold it, reported.
std::optional<Wanted> WantedOf(const ExplainRequest& request, uint8_t revision) {
  const auto refuse = [&](const std::string& why) {
    Fail(request.archive, why);
    return std::nullopt;
  };
  const char* const kind = WordOfKind(request.kind);
  if (!HasKind(revision, request.kind)) {
    return refuse(fmt::format("files of revision 0x{:02X} hold no {}", revision, kind));
  }
  Wanted wanted = {request.kind, std::nullopt, 0, request.key};
  if (const SectionRow* const row = FindRow(LayoutOf(revision).Sections(), request.kind)) {
    const auto key = ParseKey(kForms[row->form].key, request.key);
    if (!key) return refuse(fmt::format("'{}' is not a key of {}", request.key, kind));
    wanted.key = PackKey(key->bytes.data(), key->bytes.size());
    wanted.key_size = key->bytes.size();
  }
  return wanted;
}

// Puts what the archive holds beside what the inputs make.
void Compare(const Decoded& stored, Explanation& explanation) {
  for (ExplainedField& field : explanation.fields) {
    for (size_t i = 0; i < stored.columns.size(); ++i) {
      if (stored.columns[i].name == field.column.name) field.stored = stored.values[i];
    }
    if (field.stored != field.expected) ++explanation.differences;
  }
}

}  // namespace

ExplainEnd Explain(const ExplainRequest& request, Explanation& explanation, Progress& progress) {
  PslReader archive(request.archive);
  const auto failure = [&] {
    return archive.trouble().severity == Severity::kUnreadable ? ExplainEnd::kUnreadable
                                                               : ExplainEnd::kFailed;
  };
  if (!archive.Open()) return failure();
  const uint8_t revision = archive.header().revision;
  const std::optional<Wanted> wanted = WantedOf(request, revision);
  if (!wanted) return ExplainEnd::kRefused;
  explanation = Explanation();
  if (!GoToRecord(archive, request, explanation.period)) {
    return archive.failed() ? failure() : ExplainEnd::kFailed;
  }
  explanation.record = archive.number();
  explanation.revision = revision;
  Explainer explainer(request, *wanted, archive, explanation.period.stamp, explanation);
  const RunRules rules = {archive.header().level, request.run, request.no_period};
  Recompute(request.inputs, rules, explainer, true, progress);
  progress.Clear();
  const auto fail = [&](const std::string& why) {
    Fail(request.archive, why);
    return ExplainEnd::kFailed;
  };
  const std::string what = fmt::format("{} {}", WordOfKind(request.kind), request.key);
  const std::string period = PeriodText(explanation.period, request.zone);
  if (!explainer.done()) {
    return fail(fmt::format("the inputs make no record of {}: `psltool audit` tells more", period));
  }
  if (!explainer.found()) {
    return fail(fmt::format("the inputs have no {} in the record of {}", what, period));
  }
  FieldContext context;
  context.header = archive.header();
  context.cheseg_key_count = explainer.cheseg_key_count();
  const std::optional<Decoded> stored = Find(context, archive.record(), *wanted);
  if (!stored) {
    return fail(fmt::format("record {} at offset {} holds no {}, but the inputs do",
                            archive.number(), archive.position(), what));
  }
  explanation.offset = archive.position() + stored->at;
  Compare(*stored, explanation);
  return explainer.troubled() ? ExplainEnd::kFailed : ExplainEnd::kDone;
}

}  // namespace psltool
