// The driver of the slow model: file headers, outputs, day and month
// tests, and the stream of records.

#include "tests/model/slow_archiver.h"

#include <algorithm>
#include <cstdio>

#include "tests/model/archive_state.h"
#include "tests/model/input_names.h"
#include "tests/model/statistics_record.h"
#include "tests/model/structure_record.h"
#include "tests/model/time_zone.h"

namespace model {
namespace {

const std::vector<Kind> kBitmapKinds = {
    Kind::kHd, Kind::kRd,     Kind::kDd, Kind::kHp, Kind::kHpNode, Kind::kRp,  Kind::kMp,
    Kind::kDp, Kind::kCheseg, Kind::kLd, Kind::kPd, Kind::kRank,   Kind::kPool};

class Run {
 public:
  Run(const std::vector<InputFile>& inputs, const RunOptions& options)
      : inputs_(inputs), options_(options) {
    if (options.day) state_.output_level = 'D';
  }

  RunResult Go() {
    RunResult result;
    try {
      Inputs();
    } catch (const BrokenRecord& broken) {
      if (output_open_) files_.erase(output_name_);
      result.status = 1;
      result.reason = broken.what();
    } catch (const RunEnds& end) {
      result.status = 1;
      result.reason = end.what();
    }
    result.files = files_;
    return result;
  }

 private:
  // ---- the whole run ----
  void Inputs() {
    if (!options_.no_period) {
      std::stable_sort(inputs_.begin(), inputs_.end(), [](const InputFile& a, const InputFile& b) {
        return SortKey(a.name) < SortKey(b.name);
      });
    }
    std::vector<bool> passed_over(inputs_.size(), false);
    for (std::size_t i = 0; i < inputs_.size(); ++i) {
      passed_over[i] = !Acceptable(inputs_[i].bytes);
    }
    for (std::size_t i = 0; i < inputs_.size(); ++i) {
      if (passed_over[i]) continue;
      const bool same_day_next = i + 1 < inputs_.size() && !passed_over[i + 1] &&
                                 DayPrefix(inputs_[i].name) == DayPrefix(inputs_[i + 1].name);
      OneInput(inputs_[i], same_day_next);
    }
  }

  // The first look at a header: day archives are not archived again.
  bool Acceptable(const Bytes& input) const {
    if (input.size() < 80 || std::string(input.begin(), input.begin() + 3) != "HDR") {
      throw RunEnds("no header");
    }
    const int revision = input[3];
    if (revision < 0x10 || revision > 0x21) throw RunEnds("illegal revision");
    if (input[12] != 'D') return true;
    if (revision >= 0x1D && options_.no_period) return false;
    throw RunEnds("no more archiving");
  }

  void OneInput(const InputFile& input, bool same_day_next) {
    const int previous_revision = state_.revision;
    ReadFileHeader(input.bytes);
    if (state_.output_level == 'D' && output_open_) DayArchiveTests(input, previous_revision);
    if ((state_.period & kNewOutput) != 0) {
      state_.ld_cp_count = 0;
      state_.pool_cp_count = 0;
      state_.cab_count = 0;
      state_.counts_forgotten = true;
      array_ = ArrayName(input.name);
      OpenOutput(OutputName(), input);
    } else if ((state_.period & kContinues) != 0 && previous_revision != 0 &&
               previous_revision != state_.revision) {
      output_open_ = false;
      state_.period = kNewOutput;
      OpenOutput(SequelName(output_name_), input);
    }
    // What is known of the resources is known of one array, in one revision.
    const std::string sorted_array = SortedArray(input.name);
    if (sorted_array != sorted_array_ || state_.revision != held_revision_) HoldNothing(state_);
    sorted_array_ = sorted_array;
    held_revision_ = state_.revision;
    Records(input.bytes);
    WritePending(state_.revision);
    if (state_.output_level == 'D' || same_day_next) {
      state_.period = kContinues;
    } else {
      output_open_ = false;
      state_.period = kNewOutput;
    }
  }

  // ---- file headers ----
  void ReadFileHeader(const Bytes& input) {
    state_.revision = input[3];
    previous_time_ = current_time_;
    current_time_ = Get32(input, 4);
    header_ = Slice(input, 0, FileHeaderSize(state_.revision));
    state_.input_level = static_cast<char>(header_[12]);
    for (const Kind kind : kBitmapKinds) {
      const std::size_t at = MaskOffset(state_.revision, kind);
      if (at != 0) state_.masks[kind] = Get32(header_, at);
    }
    if (state_.output_level == 0) {
      if (state_.input_level == 'L') {
        state_.output_level = 'H';
      } else if (state_.input_level == 'H') {
        state_.output_level = 'D';
      } else {
        throw RunEnds("level that is not archived");
      }
    }
  }

  Bytes OutputHeader() const {
    const int revision = state_.revision;
    Bytes header = header_;
    if (revision < 0x1D) {
      header.assign(FileHeaderSize(revision), 0);
      PatchText(header, 0, "HDR");
      header[3] = static_cast<uint8_t>(revision);
      Patch32(header, 4, current_time_);
      Patch32(header, 8, static_cast<uint32_t>(header.size()));
      header[13] = header_[13];
      Patch32(header, 16, Get32(header_, 16));
    } else {
      Patch32(header, 56, 0);  // the reserved bitmap
    }
    header[12] = static_cast<uint8_t>(state_.output_level);
    for (const Kind kind : kBitmapKinds) {
      const std::size_t at = MaskOffset(revision, kind);
      if (at != 0) Patch32(header, at, FullMask(ItemCount(revision, kind)));
    }
    return header;
  }

  // ---- outputs ----
  std::string OutputName() const {
    int year = 0;
    int month = 0;
    int day = 0;
    if (state_.revision >= 0x1D) {
      year = 1900 + header_[132];
      month = 1 + header_[133];
      day = header_[134];
    } else {
      const tm date = CalendarTime(current_time_, state_.revision);
      year = 1900 + date.tm_year;
      month = 1 + date.tm_mon;
      day = date.tm_mday;
    }
    char text[64];
    if (state_.output_level == 'H') {
      std::snprintf(text, sizeof text, "%04d%02d%02d", year, month, day);
    } else {
      std::snprintf(text, sizeof text, "%04d%02d", year, month);
    }
    return text + array_ + ".psa";
  }

  void OpenOutput(const std::string& name, const InputFile& input) {
    bool is_input = false;
    for (const InputFile& other : inputs_) is_input = is_input || other.name == name;
    if (is_input || files_.count(name) != 0) throw RunEnds("output refused for " + input.name);
    output_name_ = name;
    output_open_ = true;
    state_.structure_in_output = false;
    files_[name] = OutputHeader();
    written_header_ = header_;
  }

  void WriteRecord(const Bytes& record) { Append(files_[output_name_], record); }

  void WritePending(int layout) {
    if (!state_.pending) return;
    WriteRecord(WriteStatistics(state_, layout));
    state_.pending = false;
  }

  // ---- days and months of a day archive ----
  void DayArchiveTests(const InputFile& input, int previous_revision) {
    if (options_.no_period) {
      state_.period |= kNextDay;
    } else if (ArrayName(input.name) != array_) {
      output_open_ = false;
      state_.period = kNewOutput;
    } else {
      const int months = MonthsLater(previous_revision);
      if (months < 0) throw BrokenRecord("months go backwards");
      if (months > 0) {
        output_open_ = false;
        state_.period = months == 1 ? (kNewOutput | kNextDay) : kNewOutput;
      } else {
        const int days = DaysLater(previous_revision, months);
        if (days < 0) throw BrokenRecord("days go backwards");
        if (days == 1) state_.period |= kNextDay;
      }
    }
    written_header_ = header_;
  }

  int MonthsLater(int previous_revision) const {
    const tm now = CalendarTime(current_time_, state_.revision);
    if (state_.revision < 0x1D) {
      const tm before = CalendarTime(previous_time_, state_.revision);
      return (now.tm_mon + 12 * now.tm_year) - (before.tm_mon + 12 * before.tm_year);
    }
    const int read = header_[133] + 12 * header_[132];
    if (previous_revision >= 0x1D) return read - (written_header_[133] + 12 * written_header_[132]);
    return read - (now.tm_mon + 12 * now.tm_year);
  }

  int DaysLater(int previous_revision, int months) const {
    const tm now = CalendarTime(current_time_, state_.revision);
    if (state_.revision < 0x1D) {
      const tm before = CalendarTime(previous_time_, state_.revision);
      const int days = now.tm_yday - before.tm_yday;
      return days < 0 && now.tm_year > before.tm_year ? 1 : days;
    }
    if (months != 0) return 30 * months;
    if (previous_revision >= 0x1D) return header_[134] - written_header_[134];
    return header_[134] - now.tm_mday;
  }

  // ---- the record stream ----
  void Records(const Bytes& input) {
    std::size_t at = FileHeaderSize(state_.revision);
    while (at < input.size()) {
      const Bytes start = Slice(input, at, 12);
      const std::size_t length = Get32(start, 8);
      if (length < 12) throw BrokenRecord("record shorter than its header");
      const Bytes record = Slice(input, at, length);
      previous_time_ = current_time_;
      current_time_ = Get32(record, 4);
      const std::string tag(record.begin(), record.begin() + 3);
      if (tag == "CON") {
        StructureRecord(record);
        at += length;
      } else if (tag == "STA") {
        StatisticsRecord(record);
        at += length;
      } else if (tag == "NNC") {
        CopyRecord(record, 80);
        at += state_.revision >= 0x1B ? length : 80;
      } else if (tag == "LDM") {
        FlushBeforeLdm();
        CopyRecord(record, 64);
        at += state_.revision >= 0x1B ? length : 64;
      } else if (tag == "FRE") {
        at += length;
      } else {
        throw BrokenRecord("unknown tag");
      }
    }
  }

  void CopyRecord(const Bytes& record, std::size_t size) {
    Bytes copy = Slice(record, 0, size);
    Patch32(copy, 8, static_cast<uint32_t>(size));
    WriteRecord(copy);
  }

  void FlushBeforeLdm() {
    if ((state_.period & kInPeriod) != 0) {
      WritePending(state_.revision == 0x10 ? 0x11 : state_.revision);
      state_.period = kNewOutput;
    }
    if (state_.revision < 0x1C) return;
    if (state_.ld_cp_count > 0 && state_.ld_cp.exists) state_.ld_cp.mark_all = true;
    if (state_.pool_cp_count > 0 && state_.pool_cp.exists) state_.pool_cp.mark_all = true;
    if (state_.revision < 0x1D) return;
    if (state_.cab_count > 0 && state_.cab.exists) state_.cab.mark_all = true;
  }

  void StructureRecord(const Bytes& record) {
    const Structure next = ReadStructure(record, state_.revision);
    bool continuation = next.continuation;
    if (state_.output_level == 'D' && continuation && (state_.period & kContinues) != 0) {
      if ((state_.period & kNextDay) == 0) {
        continuation = false;
      } else if (!state_.structure_held ||
                 !SameCounts(state_.structure, next, state_.counts_forgotten)) {
        continuation = false;
      } else if (state_.structure_in_output && !next.has_wait_time()) {
        DropBuiltSets(state_);
        return;
      }
    } else if ((state_.period & kInPeriod) != 0) {
      WritePending(state_.revision);
      state_.period = kNewOutput;
    }
    HoldStructure(state_, next);
    WriteRecord(WriteStructure(next, continuation));
  }

  void StatisticsRecord(const Bytes& record) {
    state_.pending = true;
    CheckStatistics(state_, record);
    const uint32_t time = current_time_;
    if ((state_.period & (kNewOutput | kContinues)) != 0) {
      state_.period = kInPeriod;
      state_.first_interval = true;
    } else if (state_.output_level == 'H' && time / 3600 > state_.previous_statistics_time / 3600) {
      WriteRecord(WriteStatistics(state_, state_.revision));
      state_.first_interval = true;
    }
    state_.previous_statistics_time = time;
    FoldStatistics(state_, record);
    state_.folded_time = time;
    state_.folded_flag = record[3];
    state_.first_interval = false;
  }

  std::vector<InputFile> inputs_;
  RunOptions options_;
  ArchiveState state_;
  std::map<std::string, Bytes> files_;
  Bytes header_;          // the last one read
  Bytes written_header_;  // the last one written, or taken for written by the day tests
  std::string array_;
  std::string sorted_array_;  // of the input read last, and its revision
  int held_revision_ = 0;
  std::string output_name_;
  bool output_open_ = false;
  uint32_t current_time_ = 0;
  uint32_t previous_time_ = 0;
};

}  // namespace

RunResult RunArchiver(const std::vector<InputFile>& inputs, const RunOptions& options) {
  return Run(inputs, options).Go();
}

std::map<std::string, Bytes> Archive(std::vector<InputFile> inputs, char level) {
  RunOptions options;
  options.day = level == 'D';
  return RunArchiver(inputs, options).files;
}

}  // namespace model
