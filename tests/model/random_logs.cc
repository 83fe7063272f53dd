// Files and days of the random logs: names, headers, and the sequence of records in each file.

#include "tests/model/random_logs.h"

#include <time.h>

#include <cstdio>
#include <string>

#include "tests/model/random_config.h"
#include "tests/model/random_source.h"
#include "tests/model/random_statistics.h"

namespace model {
namespace {

constexpr time_t kDaySeconds = 86400;

// Days are counted by their midnight in UTC, whatever zone the stamps follow.
tm DateOf(time_t day) {
  tm date{};
  gmtime_r(&day, &date);
  return date;
}

time_t RandomFirstDay(Random& random) {
  tm date{};
  date.tm_year = random.Range(100, 130);
  date.tm_mon = random.Range(0, 11);
  date.tm_mday = random.Percent(40) ? random.Range(27, 28) : random.Range(1, 28);
  return timegm(&date);
}

// The stamp at which the day begins for files of the revision.
time_t DayStart(time_t day, int revision) {
  if (revision >= 0x1D) return day;
  tm date = DateOf(day);
  date.tm_isdst = -1;
  return mktime(&date);
}

std::string DateText(time_t day) {
  const tm date = DateOf(day);
  char text[32];
  std::snprintf(text, sizeof text, "%04d%02d%02d", date.tm_year + 1900, date.tm_mon + 1,
                date.tm_mday);
  return text;
}

Bytes EncodeHeader(Random& random, int revision, time_t day, uint32_t stamp,
                   const StatisticsStyle& style) {
  Bytes header = random.Garbage(FileHeaderSize(revision));
  PatchText(header, 0, "HDR");
  header[3] = static_cast<uint8_t>(revision);
  Patch32(header, 4, stamp);
  Patch32(header, 8, static_cast<uint32_t>(header.size()));
  header[12] = 'L';
  for (const KindRule& rule : KindRules(revision)) {
    const std::size_t at = MaskOffset(revision, rule.kind);
    if (at != 0) Patch32(header, at, style.masks.at(rule.kind));
  }
  if (revision >= 0x1D) {
    const tm date = DateOf(day);
    header[132] = static_cast<uint8_t>(date.tm_year);
    header[133] = static_cast<uint8_t>(date.tm_mon);
    header[134] = static_cast<uint8_t>(date.tm_mday);
  }
  return header;
}

// "NNC", "LDM" and "FRE"; longer ones than the fixed forms exist from 0x1B on.
Bytes SmallRecord(Random& random, int revision, uint32_t stamp) {
  const char* const tags[] = {"NNC", "LDM", "FRE"};
  const std::size_t which = random.Below(3);
  std::size_t size = which == 0 ? 80 : 64;
  if (which == 2) size = random.Percent(50) ? 12 : 12 + random.Below(40);
  if (which != 2 && revision >= 0x1B && random.Percent(50)) size += random.Below(40);
  Bytes record = random.Garbage(size);
  PatchText(record, 0, tags[which]);
  Patch32(record, 4, stamp);
  Patch32(record, 8, static_cast<uint32_t>(size));
  return record;
}

time_t RandomStep(Random& random) {
  const time_t steps[] = {60, 60, 300, 600, 900, 1800, 3599, 3600, 7000};
  return steps[random.Below(9)];
}

struct Plan {
  ArraySize size = ArraySize::kSmall;
  bool mixed = false;
  bool faults = false;
  int max_records = 8;
};

// Stretches of records that are alike, as those of a large array are, and others between them.
void ChangeStyle(Random& random, StatisticsStyle& style) {
  if (random.Percent(80)) return;
  const int odd[] = {0, 0, 0, 1, 10, 100};
  style.odd = odd[random.Below(6)];
  if (random.Percent(30)) style.interval = random.Percent(70) ? 60000 : random.Word();
  if (random.Percent(20)) style.mood = RandomMood(random);
}

// Bytes behind the last section: the larger records are, the fewer of them are kept at a time.
void Pad(Random& random, Bytes& record) {
  const std::size_t sizes[] = {300000, 800000, 1500000, 3000000, 7500000};
  record.resize(record.size() + sizes[random.Below(5)] + random.Below(100));
  Patch32(record, 8, static_cast<uint32_t>(record.size()));
}

// A file's records from `clock` on, which is left at the last one.
void AppendRecords(Random& random, const Plan& plan, RandomConfig& config, StatisticsStyle& style,
                   time_t day_end, time_t& clock, Bytes& file) {
  const int revision = config.revision;
  const auto stamp = [&] { return static_cast<uint32_t>(clock); };
  const auto structure = [&] {
    Append(file, EncodeStructure(random, config, stamp(), random.Percent(60)));
    style.nodes_listed = false;
  };
  const bool padded = plan.size == ArraySize::kLarge && random.Percent(10);
  while (random.Percent(15)) Append(file, SmallRecord(random, revision, stamp()));
  structure();
  const int records = random.Percent(4) ? 0 : random.Range(1, plan.max_records);
  for (int i = 0; i < records; ++i) {
    const time_t step =
        plan.size == ArraySize::kLarge && random.Percent(85) ? 60 : RandomStep(random);
    if (clock + step >= day_end && !random.Percent(3)) break;
    clock += step;
    if (random.Percent(3)) clock -= 1 + static_cast<time_t>(random.Below(60));
    if (random.Percent(12)) Append(file, SmallRecord(random, revision, stamp()));
    if (random.Percent(6)) {
      if (random.Percent(40)) config = MakeConfig(random, revision, plan.size);
      if (random.Percent(50)) RenameConfig(random, config);
      structure();
    }
    if (plan.size == ArraySize::kLarge) ChangeStyle(random, style);
    Bytes record = EncodeStatistics(random, config, style, stamp());
    if (padded && random.Percent(25)) Pad(random, record);
    Append(file, record);
  }
  while (random.Percent(10)) Append(file, SmallRecord(random, revision, stamp()));
}

// Something that no reader may accept.
void AppendFault(Random& random, RandomConfig& config, StatisticsStyle& style, uint32_t stamp,
                 Bytes& file) {
  Bytes record = EncodeStatistics(random, config, style, stamp);
  switch (random.Range(0, 6)) {
    case 0:  // a stray tag
      PatchText(record, 0, "STR");
      break;
    case 1:  // less than a record header
      record = random.Garbage(static_cast<std::size_t>(random.Range(1, 11)));
      break;
    case 2:  // a length below that of the record header
      Patch32(record, 8, static_cast<uint32_t>(random.Range(0, 11)));
      break;
    case 3:  // a length beyond the file
      Patch32(record, 8, static_cast<uint32_t>(record.size()) + 1);
      break;
    case 4:  // shorter than its head
      record.resize(RecordHeadSize(config.revision) - 1);
      Patch32(record, 8, static_cast<uint32_t>(record.size()));
      break;
    default:  // a section count that is not the structure's
      for (const KindRule& rule : KindRules(config.revision)) {
        if (rule.kind != Kind::kLd) continue;
        Patch16(record, rule.slot + 2, static_cast<uint16_t>(Get16(record, rule.slot + 2) + 1));
      }
      break;
  }
  Append(file, record);
}

class Maker {
 public:
  Maker(uint64_t seed, int revision, const CaseOptions& options)
      : random_(seed * 64 + static_cast<uint64_t>(revision)), revision_(revision) {
    plan_.mixed = options.mixed_revisions;
    plan_.faults = options.faults;
    if (options.large) {
      plan_.size = ArraySize::kLarge;
      plan_.max_records = 40;
    } else if (random_.Percent(5)) {
      plan_.size = ArraySize::kManyDisks;
      plan_.max_records = 4;
    }
  }

  std::vector<InputFile> Make() {
    const int arrays = plan_.size != ArraySize::kSmall ? 1 : random_.Range(1, 2);
    const char* const names[] = {"array", "D3000_x", "disk-A", "q", ""};
    const std::size_t first_name = random_.Below(5);
    for (int i = 0; i < arrays; ++i) {
      Array(names[(first_name + static_cast<std::size_t>(i)) % 5]);
    }
    random_.Shuffle(files_);
    return files_;
  }

 private:
  int FileRevision() {
    if (!plan_.mixed || random_.Percent(40)) return revision_;
    return random_.Range(0x10, 0x21);
  }

  void Array(const std::string& name) {
    RandomConfig config = MakeConfig(random_, revision_, plan_.size);
    time_t day = RandomFirstDay(random_);
    const int days = plan_.size != ArraySize::kSmall ? random_.Range(1, 2) : random_.Range(1, 4);
    for (int i = 0; i < days; ++i) {
      Day(name, day, config);
      day += kDaySeconds * (random_.Percent(65) ? 1 : random_.Range(2, 40));
    }
  }

  void Day(const std::string& name, time_t day, RandomConfig& config) {
    const int files = random_.Percent(60) ? 1 : random_.Range(2, 3);
    const bool numbered = random_.Percent(50);  // the first file has "#001" too
    time_t clock = 0;
    for (int i = 1; i <= files; ++i) {
      const int revision = FileRevision();
      const time_t start = plan_.mixed ? day + 10 * 3600 : DayStart(day, revision);
      const time_t end = plan_.mixed ? start + 4 * 3600 : start + kDaySeconds - 3600;
      if (i == 1) clock = start + random_.Range(0, 4000);
      if (i == 1 && !plan_.mixed && random_.Percent(30)) clock += random_.Range(0, 70000);
      if (revision != config.revision || random_.Percent(10)) {
        config = MakeConfig(random_, revision, plan_.size);
      } else if (random_.Percent(15)) {
        RenameConfig(random_, config);
      }
      std::string file_name = DateText(day) + name;
      if (i > 1 || numbered) file_name += "#00" + std::to_string(i);
      files_.push_back({file_name + ".psl", File(day, end, config, clock)});
    }
  }

  Bytes File(time_t day, time_t end, RandomConfig& config, time_t& clock) {
    StatisticsStyle style;
    style.masks = RandomMasks(random_, config.revision);
    style.mood = RandomMood(random_);
    style.interval = random_.Percent(80) ? 60000 : random_.Word() % 4000000;
    Bytes file = EncodeHeader(random_, config.revision, day, static_cast<uint32_t>(clock), style);
    AppendRecords(random_, plan_, config, style, end, clock, file);
    if (plan_.faults && random_.Percent(25)) {
      AppendFault(random_, config, style, static_cast<uint32_t>(clock), file);
    }
    return file;
  }

  Random random_;
  int revision_;
  Plan plan_;
  std::vector<InputFile> files_;
};

}  // namespace

std::vector<InputFile> MakeRandomLogs(uint64_t seed, uint8_t revision, const CaseOptions& options) {
  return Maker(seed, revision, options).Make();
}

}  // namespace model
