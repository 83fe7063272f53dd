// Archive runs computed anew: see the header. The state between inputs is that of the rules of
// periods in docs/archiving-records.md and joining in docs/archiving.md.
#include "tools/audit/recompute_run.h"

#include <fmt/format.h>

#include <cstring>
#include <ctime>
#include <optional>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "tools/audit/recompute_inputs.h"
#include "tools/audit/recompute_structure.h"
#include "tools/reading/check_statistics.h"

namespace psltool {

namespace {

constexpr uint32_t kSecondsPerHour = 3600;

struct Date {
  int year, month, day, day_of_year;
};

Date DateOfStamp(uint32_t stamp, bool utc) {
  const auto time = static_cast<time_t>(stamp);
  tm parts{};
  if (utc) {
    gmtime_r(&time, &parts);
  } else {
    localtime_r(&time, &parts);
  }
  return {parts.tm_year, parts.tm_mon, parts.tm_mday, parts.tm_yday};
}

Date DateOfHeader(std::span<const uint8_t> header) {
  return {header[kAtYear], header[kAtMonth], header[kAtDay], 0};
}

int MonthsBetween(const Date& from, const Date& to) {
  return 12 * (to.year - from.year) + to.month - from.month;
}

class Run {
 public:
  Run(const RunRules& rules, RunListener& listener, bool watched, Progress& progress)
      : rules_(rules),
        listener_(listener),
        progress_(progress),
        sums_(watched ? &listener : nullptr) {}

  void Take(const std::string& path) {
    PslReader reader(path, PslReader::Reports::kKept);
    if (!reader.Open()) {
      listener_.InputTrouble(path, reader.trouble());
      return;
    }
    reader_ = &reader;
    TakeInput(path);
    reader_ = nullptr;
  }

 private:
  void TakeInput(const std::string& path) {
    const PslReader& reader = *reader_;
    if (reader.header().level == 'D') {
      Trouble("input-level", kAtLevel, "archive level", "a day archive is no input");
      return;
    }
    if (rules_.level == 'H' && active_ && !SameDayNames(last_input_, path)) {
      active_ = false;
    } else if (rules_.level == 'H' && active_ && abandoned_) {
      Trouble("input-passed-over", 0, "",
              "not taken: an input of the same day before it is broken");
      return;
    }
    const uint32_t before = record_time_;
    record_time_ = Load32(reader.record().data() + kAtTime);
    if (rules_.level == 'D' && active_ && !Join(before)) return;
    const bool first = Provide();
    last_input_ = path;
    KeepTablesOf(path);
    listener_.InputJoins(reader);
    const uint32_t header_time = record_time_;
    if (TakeRecords()) {
      if (sums_.any()) EndPeriod(false);
    } else {
      sums_.Abandon();
      record_time_ = first ? header_time : before;
      abandoned_ = true;
    }
    in_period_ = false;
    continued_ = true;
    next_day_ = false;
  }

  // The tables are those of one array in one revision.
  void KeepTablesOf(const std::string& path) {
    const uint8_t revision = reader_->header().revision;
    const std::string array(ArrayInOrder(path));
    if (array != tables_array_ || revision != tables_revision_) {
      sums_.Drop();
      counts_ = StructureCounts();
    }
    tables_array_ = array;
    tables_revision_ = revision;
  }

  const RevisionLayout& layout() const { return LayoutOf(reader_->header().revision); }

  void Trouble(const char* code, uint64_t offset, std::string field, std::string text) {
    listener_.InputTrouble(reader_->path(),
                           {Severity::kError, code, reader_->number(), TagText(reader_->tag()),
                            offset, std::move(field), std::move(text)});
  }

  // Whether an input goes into the day archive in progress. False: it is passed over.
  bool Join(uint32_t last_record_time) {
    if (rules_.no_period) {
      next_day_ = true;
      return true;
    }
    const auto mine = NameOfInput(reader_->path());
    const auto other = NameOfInput(last_input_);
    const std::span<const uint8_t> header = reader_->record();
    const bool keeps = layout().row.keeps_header;
    const bool by_headers = keeps && rules_.run == RunKind::kManual;
    bool joined = true;
    if (!mine || !other || mine->array != other->array) {
      active_ = false;
    } else {
      Date now = DateOfStamp(record_time_, false);
      Date before = DateOfStamp(last_record_time, false);
      if (by_headers) {
        now = DateOfHeader(header);
        before = LayoutOf(output_revision_).row.keeps_header ? DateOfHeader(last_header_)
                                                             : DateOfStamp(record_time_, true);
      }
      const int months = MonthsBetween(before, now);
      int days = by_headers ? now.day - before.day : now.day_of_year - before.day_of_year;
      if (!by_headers && days < 0 && now.year > before.year) days = 1;
      if (months < 0) {
        Trouble("input-order", kAtTime, "time stamp", "the month lies before that of the archive");
        record_time_ = last_record_time;
        joined = false;
      } else if (months > 0) {
        active_ = false;
      } else if (days == 1) {
        next_day_ = true;
      } else if (days < 0) {
        Trouble("input-order", kAtTime, "time stamp",
                "the day lies before that of the input in front");
      }
    }
    if (joined && keeps) last_header_.assign(header.begin(), header.end());
    return joined;
  }

  // Begins an output where one is due. True when the input is the first of its output.
  bool Provide() {
    const uint8_t revision = reader_->header().revision;
    if (active_ && output_revision_ == revision) return false;
    if (active_) {
      ++sequel_;
    } else {
      sequel_ = 1;
      pairs_known_ = false;
      // Which optional items there are stays known, their numbers do not.
      for (uint16_t& item : counts_.items) item &= kBasicPresent;
    }
    active_ = true;
    abandoned_ = false;
    continued_ = false;
    next_day_ = false;
    output_revision_ = revision;
    has_structure_ = false;
    if (layout().row.keeps_header) {
      last_header_.assign(reader_->record().begin(), reader_->record().end());
    }
    const std::vector<uint8_t> header =
        PutHeader(reader_->header(), reader_->record(), rules_.level);
    listener_.OutputBegins({*reader_, sequel_, header});
    return true;
  }

  // False: the input is broken, reported.
  bool TakeRecords() {
    while (listener_.wants_more() && reader_->Next()) {
      progress_.Show(reader_->path(), reader_->position(), reader_->size());
      record_time_ = Load32(reader_->record().data() + kAtTime);
      if (!TakeRecord()) return false;
    }
    if (!reader_->failed()) return true;
    listener_.InputTrouble(reader_->path(), reader_->trouble());
    return false;
  }

  bool TakeRecord() {
    const std::string_view tag = reader_->tag();
    if (tag == "CON") return TakeStructure();
    if (tag == "STA") return TakeStatistics();
    if (tag == "FRE") return true;
    if (tag == "LDM") {
      if (in_period_) EndPeriod(true);
      if (layout().row.marks_pairs_on_ldm && pairs_known_) sums_.MarkPairs();
    }
    std::vector<uint8_t> record(reader_->record().begin(), reader_->record().end());
    Store32(record.data() + kAtLength, static_cast<uint32_t>(record.size()));
    listener_.RecordDue(record, nullptr);
    return true;
  }

  // Whether the statistics of the record at hand, or its tables, are what the archiver takes.
  template <class Judge>
  bool IsSound(Judge judge) {
    const std::optional<Finding> error = ErrorOf(*reader_, judge);
    if (error) listener_.InputTrouble(reader_->path(), *error);
    return !error;
  }

  bool HasBasicInformation() const {
    const std::span<const uint8_t> record = reader_->record();
    if (record.size() < layout().row.record_head) return false;
    const uint32_t at = Load32(record.data() + kAtFirstHeader + 4);
    return !Carve(record, at, kBasicSize).empty();
  }

  bool TakeStructure() {
    const std::span<const uint8_t> record = reader_->record();
    StructureCounts counts;
    bool continuation = false;
    if (HasBasicInformation()) {
      counts = CountsOf(layout(), record);
      continuation = record[kAtContinuation] != 0;
      if (continuation && rules_.level == 'D' && continued_) {
        const bool same = next_day_ && SameCounts(layout(), counts_, counts);
        if (same && has_structure_ && !HasWaitTimes(layout(), record)) {
          sums_.DropFound();
          return true;
        }
        continuation = same;
      }
    }
    if (in_period_ && counts.held) EndPeriod(false);
    ArrayTables tables;
    counts_ = StructureCounts();
    if (!IsSound([&](RecordReport& report) {
          return ReadTables(reader_->header(), record, report, tables);
        })) {
      sums_.Drop();
      return false;
    }
    sums_.Start(layout(), std::move(tables));
    counts_ = counts;
    pairs_known_ = true;
    has_structure_ = true;
    listener_.RecordDue(PutStructure(layout(), record, continuation), nullptr);
    return true;
  }

  bool TakeStatistics() {
    const std::span<const uint8_t> record = reader_->record();
    const PslHeader& header = reader_->header();
    FoundTables found;
    if (!IsSound([&](RecordReport& report) {
          return CheckStatistics(header, record, report, sums_.tables(), found);
        })) {
      return false;
    }
    const RevisionLayout& in_use = LayoutOfStatistics(header, record);
    sums_.Note(in_use, record);
    const bool later_hour =
        in_period_ && record_time_ / kSecondsPerHour > statistics_time_ / kSecondsPerHour;
    if (rules_.level == 'H' && later_hour) EndPeriod(false);
    in_period_ = true;
    continued_ = false;
    next_day_ = false;
    statistics_time_ = record_time_;
    sums_.Add(header, in_use, record, found);
    return true;
  }

  // Tells the period's record. `at_ldm`: in 0x10 files that has the layout of 0x11.
  void EndPeriod(bool at_ldm) {
    const uint8_t revision = reader_->header().revision;
    const bool as_0x11 = at_ldm && revision == kFirstRevision;
    const RevisionLayout& used = as_0x11 ? LayoutOf(kFirstRevision + 1) : layout();
    listener_.RecordDue(sums_.Put(used, revision), &sums_);
    sums_.EndPeriod();
    in_period_ = false;
    continued_ = false;
    next_day_ = false;
  }

  const RunRules& rules_;
  RunListener& listener_;
  Progress& progress_;
  PslReader* reader_ = nullptr;
  PeriodSums sums_;
  StructureCounts counts_;            // of the structure record in force
  std::vector<uint8_t> last_header_;  // of the output, or of an input that joined it
  std::string last_input_;
  std::string tables_array_;  // of the input read last, and its revision
  uint8_t tables_revision_ = 0;
  unsigned sequel_ = 1;
  uint8_t output_revision_ = 0;
  uint32_t record_time_ = 0;
  uint32_t statistics_time_ = 0;
  bool active_ = false;     // an output is in progress
  bool abandoned_ = false;  // an input of it was
  bool continued_ = false;  // the output goes on with this input; nothing of it came yet
  bool next_day_ = false;   // the input is of the day behind that in front
  bool in_period_ = false;
  bool has_structure_ = false;  // the output holds a structure record
  bool pairs_known_ = false;    // and it was read for this output
};

}  // namespace

void Recompute(std::vector<std::string> inputs, const RunRules& rules, RunListener& listener,
               bool watched, Progress& progress) {
  if (!rules.no_period) SortInputs(inputs);
  Run run(rules, listener, watched, progress);
  for (const std::string& path : inputs) {
    if (!listener.wants_more()) return;
    run.Take(path);
  }
}

std::vector<uint8_t> PutHeader(const PslHeader& header, std::span<const uint8_t> record,
                               char level) {
  const RevisionLayout& layout = LayoutOf(header.revision);
  std::vector<uint8_t> out(layout.row.file_header, 0);
  if (layout.row.keeps_header) {
    out.assign(record.begin(), record.end());
  } else {
    std::memcpy(out.data(), record.data(), kAtLength);  // tag, revision, stamp
    Store32(out.data() + kAtLength, layout.row.file_header);
    out[kAtSecondLevel] = record[kAtSecondLevel];
    std::memcpy(out.data() + kAtConfiguration, record.data() + kAtConfiguration, 4);
  }
  out[kAtLevel] = static_cast<uint8_t>(level);
  for (const BitmapRow& bitmap : layout.Bitmaps()) {
    Store32(out.data() + bitmap.at, bitmap.full);
  }
  return out;
}

}  // namespace psltool
