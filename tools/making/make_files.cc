// Files of a plan: see the header.
#include "tools/making/make_files.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <vector>

#include "engine/byteorder.h"
#include "engine/layout/layout.h"
#include "engine/pmonfile.h"
#include "tools/making/make_array.h"
#include "tools/making/make_days.h"
#include "tools/making/make_random.h"
#include "tools/making/make_statistics.h"
#include "tools/making/make_structure.h"
#include "tools/output/progress.h"
#include "tools/output/record_file.h"
#include "tools/output/report.h"
#include "tools/output/text_out.h"

namespace psltool {

namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint32_t kConfigurationWord = 0x00010001;

// The words of the file that is made as number `file` of an array, from 0.
Extended WordsOf(const MakePlan& plan, uint32_t file) {
  constexpr std::array kTurns = {Extended::kAllWords, Extended::kMaxima, Extended::kNoWords};
  return plan.extended == Extended::kChanging ? kTurns[file % kTurns.size()] : plan.extended;
}

Bytes FileHeader(const MakePlan& plan, Extended words, const Day& day, uint32_t stamp) {
  const RevisionLayout& layout = LayoutOf(plan.revision);
  Bytes header(layout.row.file_header, 0);
  std::memcpy(header.data() + kAtTag, "HDR", 3);
  header[kAtFlag] = plan.revision;
  Store32(header.data() + kAtTime, stamp);
  Store32(header.data() + kAtLength, static_cast<uint32_t>(header.size()));
  header[kAtLevel] = 'L';
  Store32(header.data() + kAtConfiguration, kConfigurationWord);
  const auto masks = ItemMasksOf(plan, words);
  for (const BitmapRow& row : layout.Bitmaps()) {
    if (row.kind != kReservedItems) Store32(header.data() + row.at, masks[row.kind]);
  }
  if (layout.row.keeps_header) {
    const FileDate date = FileDateOf(day.date);
    header[kAtYear] = static_cast<uint8_t>(date.year);
    header[kAtMonth] = static_cast<uint8_t>(date.month);
    header[kAtDay] = static_cast<uint8_t>(date.day);
  }
  return header;
}

Bytes SmallRecord(const char* tag, size_t size, uint32_t stamp) {
  Bytes record(size, 0);
  std::memcpy(record.data() + kAtTag, tag, 3);
  Store32(record.data() + kAtTime, stamp);
  Store32(record.data() + kAtLength, static_cast<uint32_t>(size));
  for (size_t i = kRecordHeaderSize; i < size; ++i) record[i] = static_cast<uint8_t>(i);
  return record;
}

// How many of `wanted` records, spread evenly over `all` intervals, come before interval `i`.
uint32_t DueBefore(uint32_t i, uint32_t all, uint32_t wanted) {
  const auto at = [&](uint64_t n) { return (n * wanted + all / 2) / all; };
  return static_cast<uint32_t>(at(uint64_t{i} + 1) - at(i));
}

bool StructureIsDue(uint32_t i, uint32_t all, uint32_t wanted) {
  const uint64_t n = wanted;
  return i == 0 || i * n / all != (i - 1) * n / all;
}

struct FileMaker {
  const MakePlan& plan;
  const ArrayModel& model;
  Progress& progress;
  TextOut& out;
  Bytes structure;
  Bytes statistics;
  uint32_t files = 0;  // made so far

  bool WriteExtras(RecordFile& file, uint32_t i, uint32_t all, uint32_t stamp) const {
    const auto write = [&](const Bytes& record) {
      return file.Write(record.data(), record.size());
    };
    for (uint32_t n = DueBefore(i, all, plan.nnc); n > 0; --n) {
      if (!write(SmallRecord("NNC", kNncSize, stamp))) return false;
    }
    for (uint32_t n = DueBefore(i, all, plan.ldm); n > 0; --n) {
      if (!write(SmallRecord("LDM", kLdmSize, stamp))) return false;
    }
    Random random(Mix(model.seed, ~uint64_t{stamp}));
    for (uint32_t n = DueBefore(i, all, plan.fre); n > 0; --n) {
      if (!write(SmallRecord("FRE", kRecordHeaderSize + random.Below(1000), stamp))) return false;
    }
    return true;
  }

  bool Make(const Day& day, uint32_t part) {
    const Slice slice = SliceOf(plan, day, part);
    const uint32_t all = slice.last - slice.first;
    const Extended words = WordsOf(plan, files);
    RecordFile file(PathOf(plan, model.name, day, part));
    const auto stamp_of = [&](uint32_t i) {
      return static_cast<uint32_t>(day.start + int64_t{slice.first + i} * plan.interval);
    };
    const Bytes header = FileHeader(plan, words, day, stamp_of(0));
    if (!file.Create() || !file.Write(header.data(), header.size())) return false;
    for (uint32_t i = 0; i < all; ++i) {
      progress.Show(file.path(), i, all);
      const uint32_t stamp = stamp_of(i);
      const bool new_structure = StructureIsDue(i, all, plan.structures);
      if (new_structure) {
        BuildStructure(plan, model, stamp, i == 0 && files != 0, structure);
        if (!file.Write(structure.data(), structure.size())) return false;
      }
      if (!WriteExtras(file, i, all, stamp)) return false;
      const Load load = LoadAt(plan.profile, day.weekday, stamp - day.start);
      const size_t size =
          BuildStatistics(plan, model, {stamp, load, new_structure, words}, statistics);
      if (!file.Write(statistics.data(), size)) return false;
    }
    progress.Clear();
    if (!file.Finish()) return false;
    ++files;
    if (!plan.quiet) {
      out.Print("{}  {} bytes, {} intervals\n", file.path(), file.size(), all);
      // Whoever watches sees each file when it is there.
      if (!out.FlushOrFail()) return false;
    }
    return true;
  }
};

// A log that is there may be of an array that does exist. Looked for before anything is made.
bool NoneIsThere(const MakePlan& plan) {
  for (const std::string& array : plan.arrays) {
    for (uint32_t d = 0; d < plan.days; ++d) {
      for (uint32_t part = 0; part < plan.files_per_day; ++part) {
        const std::string path = PathOf(plan, array, DayOf(plan, d), part);
        std::error_code error;
        if (std::filesystem::exists(path, error)) return Fail(path, "exists; --force replaces it");
      }
    }
  }
  return true;
}

}  // namespace

bool MakeFiles(const MakePlan& plan) {
  std::error_code error;
  std::filesystem::create_directories(plan.out, error);
  if (error) return Fail(plan.out, "cannot be created: " + error.message());
  if (!plan.force && !NoneIsThere(plan)) return false;
  Progress progress(!plan.quiet);
  TextOut out(stdout);
  for (size_t n = 0; n < plan.arrays.size(); ++n) {
    const ArrayModel model = MakeArray(plan, n);
    FileMaker maker = {plan, model, progress, out, {}, {}};
    for (uint32_t d = 0; d < plan.days; ++d) {
      const Day day = DayOf(plan, d);
      for (uint32_t part = 0; part < plan.files_per_day; ++part) {
        if (!maker.Make(day, part)) return false;
      }
    }
    if (!plan.quiet && plan.profile == Profile::kOffice && plan.hot_ld < plan.counts[kLd]) {
      out.Print("{}: the busiest logical disk is number {}\n", model.name, plan.hot_ld);
    }
  }
  return out.FlushOrFail();
}

}  // namespace psltool
