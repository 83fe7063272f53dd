// `psltool dump`: entries whose bytes are spelled out, and random logs of every revision against
// the independent model's idea of where their fields stand.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "tests/model/kind_rules.h"
#include "tests/model/random_logs.h"
#include "tests/model/structure_record.h"
#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/revision_param.h"
#include "tests/support/sample_records.h"
#include "tests/support/tempdir.h"

namespace {

using nlohmann::json;
using spell::Bytes;

ProgramResult Dump(const std::string& path, std::vector<std::string> options,
                   const std::string& zone = "UTC") {
  options.insert(options.begin(), {"dump", path});
  return RunProgram(PSLTOOL_PATH, options, {"", {{"TZ", zone}}});
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// Logical disk 0x0102, an hour, 36 % busy; 7200 operations in the second counter group.
Bytes FullDisk() {
  Bytes b;
  spell::U32(b, 9);           // 0: status
  spell::U32(b, 3600000);     // 4: interval length
  spell::U16(b, 0x0102);      // 8: number
  spell::U16(b, 0);           // 10: full, valid
  spell::U16(b, 0x0003);      // 12: ratio present, sticky mark
  spell::U16(b, 3600);        // 14: ratio
  spell::U32(b, 0x80000010);  // 16: first group, 4096 operations
  spell::Zero(b, 12);
  spell::U32(b, 7200);  // 32: second group
  spell::U32(b, 450);
  spell::U32(b, 9000);
  spell::U32(b, 4096);
  spell::Zero(b, 48);
  spell::U32(b, 1500);  // word of bit 31: largest rate of the first group
  spell::U32(b, 4000);  // word of bit 27: largest rate of the second group
  spell::U32(b, 8100);  // word of bit 11: largest ratio
  return b;
}

// Another one, idle.
Bytes CompactDisk() {
  Bytes b;
  spell::U32(b, 1);
  spell::U32(b, 1800000);
  spell::U16(b, 7);
  spell::U16(b, 0x0100);  // compact
  spell::U32(b, 0);       // no ratio
  return b;
}

// A third, of which nothing is known.
Bytes InvalidDisk() {
  Bytes b = FullDisk();
  spell::SetU16(b, 8, 8);
  spell::SetU8(b, 11, 1);
  return b;
}

Bytes DiskRecord(uint32_t time) {
  spell::Sections record("STA", 0, time, 256);
  record.Add(88, 96, 3, FullDisk() + CompactDisk() + InvalidDisk());
  return record.Finish();
}

Bytes DiskFile(const std::vector<uint32_t>& times = {spell::kNewYear + 3540}) {
  spell::Header header;
  header.revision = 0x1D;
  header.bitmaps = {{64, 0x88000800}};  // Ld: bits 31, 27 and 11
  Bytes file = spell::HeaderRecord(header) + spell::Structure(0x1D, {.logical_disks = 3});
  for (const uint32_t time : times) file += DiskRecord(time);
  return file;
}

TEST(PsltoolDump, CsvOfLogicalDisks) {
  TempDir dir;
  dir.Write("x.psl", DiskFile());
  const ProgramResult result =
      Dump(dir.Path("x.psl"), {"--kind", "ld", "--format", "csv", "--utc"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out,
            "time,stamp,kind,key,status,interval_ms,valid,compact,busy_pct,busy_pct_max,sticky,"
            "g1_ops,g1_ops_per_s,g1_first_mean,g1_max,g1_second_mean,g1_kvolume_per_s,"
            "g1_ops_per_s_max,"
            "g2_ops,g2_ops_per_s,g2_first_mean,g2_max,g2_second_mean,g2_kvolume_per_s,"
            "g2_ops_per_s_max,"
            "g3_ops,g3_ops_per_s,g3_first_mean,g3_max,g3_second_mean,g3_kvolume_per_s,"
            "g4_ops,g4_ops_per_s,g4_first_mean,g4_max,g4_second_mean,g4_kvolume_per_s,"
            "g5_ops,g5_ops_per_s,g5_first_mean,g5_max,g5_second_mean,g5_kvolume_per_s\n"
            "2024-01-01T00:59:00Z,1704070740,ld,258,9,3600000,true,false,36,81,true,"
            "4096,1.1377777777777778,0,0,0,0,1.5,7200,2,450,9000,4096,8,4,"
            "0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0\n"
            "2024-01-01T00:59:00Z,1704070740,ld,7,1,1800000,true,true,,,false,"
            "0,0,,,,,,0,0,,,,,,0,0,,,,,0,0,,,,,0,0,,,,\n"
            "2024-01-01T00:59:00Z,1704070740,ld,8,9,3600000,false,false,,,true,"
            ",,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,\n");
}

TEST(PsltoolDump, JsonLinesWithRawWords) {
  TempDir dir;
  dir.Write("x.psl", DiskFile());
  const ProgramResult result =
      Dump(dir.Path("x.psl"), {"--format", "ndjson", "--raw", "--key", "258", "--kind", "ld"},
           "Asia/Kolkata");
  ASSERT_EQ(result.status, 0) << result.err;
  ASSERT_EQ(Lines(result.out).size(), 1U);
  const json entry = json::parse(result.out);
  EXPECT_EQ(entry["time"], "2024-01-01T06:29:00+05:30");
  EXPECT_EQ(entry["stamp"], 1704070740);
  EXPECT_EQ(entry["key"], "258");
  EXPECT_EQ(entry["ratio"], 3600);
  EXPECT_EQ(entry["busy_pct"], 36);
  EXPECT_EQ(entry["g1_q0"], 0x80000010);
  EXPECT_EQ(entry["g1_ops"], 4096);
  EXPECT_EQ(entry["g2_q3"], 4096);
  EXPECT_EQ(entry["g1_x0"], 1500);
  EXPECT_EQ(entry["g1_ops_per_s_max"], 1.5);
  EXPECT_EQ(entry["word_bit11"], 8100);
  const Bytes file = DiskFile();
  const size_t offset = entry["offset"];
  EXPECT_EQ(file.substr(offset, FullDisk().size()), FullDisk());
}

TEST(PsltoolDump, TableHasALineForEachGroup) {
  TempDir dir;
  dir.Write("x.psl", DiskFile());
  const ProgramResult result = Dump(dir.Path("x.psl"), {"--kind", "ld", "--key", "258"});
  ASSERT_EQ(result.status, 0) << result.err;
  const std::vector<std::string> lines = Lines(result.out);
  ASSERT_EQ(lines.size(), 6U) << result.out;
  EXPECT_EQ(lines[0],
            "time (local)        kind          key  status interval ms   valid compact  busy % "
            "busy % max  sticky group        ops      ops/s 1st mean/op        max 2nd mean/op "
            "volume/1024/s  ops/s max");
  EXPECT_NE(lines[1].find(" 4096       1.14 "), std::string::npos) << lines[1];
  EXPECT_NE(lines[2].find(" 2       7200          2         450       9000        4096"),
            std::string::npos)
      << lines[2];
  EXPECT_EQ(lines[2].substr(0, 10), "          ");
  EXPECT_EQ(result.out.find('\x1b'), std::string::npos);
}

// Wild words make rates beyond 64 bits, which the table once turned into integers.
TEST(PsltoolDump, RatesBeyondAnyIntegerArePrinted) {
  TempDir dir;
  Bytes disk(96, '\0');
  spell::SetU32(disk, 4, 1);  // a millisecond
  spell::SetU16(disk, 8, 0x0101);
  spell::SetU32(disk, 16, 0xFFFFFFFF);
  spell::SetU32(disk, 28, 0xFFFFFFFF);
  spell::Sections record("STA", 0, spell::kNewYear, 256);
  record.Add(88, 96, 1, disk);
  dir.Write("x.psl", spell::HeaderRecord({}) + spell::Structure(0x1D) + record.Finish());
  const ProgramResult result = Dump(dir.Path("x.psl"), {});
  EXPECT_EQ(result.status, 0) << result.err;
  // (2^31 - 1) * 256 operations of 2^32 - 1 each, in 1/1024 per second
  EXPECT_NE(result.out.find(" 549755813632 549755813632000 "), std::string::npos) << result.out;
  EXPECT_NE(result.out.find(" 2305843007603"), std::string::npos) << result.out;
}

// Up to 0x12 the second average is one over time, so that it makes no rate with the count.
TEST(PsltoolDump, OlderRevisionsHaveNoVolumeRate) {
  TempDir dir;
  spell::Header header;
  header.revision = 0x12;
  header.bitmaps = {{40, 0xF0000000}};
  Bytes disk(96 + 16, '\0');
  spell::SetU32(disk, 4, 60000);
  spell::SetU16(disk, 8, 0x0101);
  spell::SetU32(disk, 16, 600);
  spell::SetU32(disk, 28, 77);
  spell::SetU32(disk, 96, 12000);
  spell::SetU32(disk, 104, 99);
  spell::Sections record("STA", 0, spell::kNewYear, 80);
  record.Add(40, 96, 1, disk);
  dir.Write("x.psl", spell::HeaderRecord(header) + spell::Structure(0x12) + record.Finish());
  const json entry = json::parse(Dump(dir.Path("x.psl"), {"--format", "ndjson"}).out);
  EXPECT_EQ(entry.count("g1_kvolume_per_s"), 0U);
  EXPECT_EQ(entry["g1_ops_per_s"], 10);
  EXPECT_EQ(entry["g1_second_mean"], 77);
  EXPECT_EQ(entry["g1_ops_per_s_max"], 12);
  EXPECT_EQ(entry["g1_second_mean_max"], 99);
}

TEST(PsltoolDump, CacheModulesAndOptionalItems) {
  TempDir dir;
  Bytes record = spell::Statistics(0x21, {.all_kinds = true});
  const size_t cache = spell::GetU32(record, 76);
  spell::SetU8(record, cache + 10, 0x81);
  spell::SetU16(record, cache + 16, 1234);
  spell::SetU16(record, cache + 18, 55);
  spell::SetU16(record, cache + 20, 10000);
  spell::SetU32(record, cache + 28, 66);
  spell::SetU32(record, cache + 112, 42);  // the sixth group
  dir.Write("x.psl", spell::HeaderRecord({.revision = 0x21}) +
                         spell::Structure(0x21, {.all_kinds = true}) + record);
  const auto entry = [&](const char* kind) {
    return json::parse(
        Dump(dir.Path("x.psl"), {"--format", "ndjson", "--kind", kind, "--raw"}).out);
  };
  const json module = entry("cache");
  EXPECT_EQ(module["first_pct"], 12.34);
  EXPECT_EQ(module["first_max"], 55);
  EXPECT_EQ(module["second_pct"], 100);
  EXPECT_EQ(module["second_rate"], 66);
  EXPECT_EQ(module["flags"], 0x81);
  EXPECT_EQ(module["g6_ops"], 42);
  EXPECT_EQ(entry("conc")["present"], true);
  EXPECT_EQ(entry("conc")["key"], "1");
  EXPECT_EQ(entry("ld-cp")["key"], "0.1.0.0");
  EXPECT_EQ(entry("wait-time")["key"], "257");
  EXPECT_EQ(entry("wait-time")["g1_ops"], 0);
  EXPECT_EQ(entry("cab")["value"], 0);
  EXPECT_EQ(entry("pool-cp")["bytes"].get<std::string>().size(), 96U);
  // One line of each kind; ranks are carried here, pools not.
  EXPECT_EQ(Lines(Dump(dir.Path("x.psl"), {"--format", "ndjson"}).out).size(), 13U + 5U);
}

TEST(PsltoolDump, TimesAndKeysChooseEntries) {
  TempDir dir;
  dir.Write("x.psl", DiskFile({spell::kNewYear, spell::kNewYear + 3600, spell::kNewYear + 7200,
                               spell::kNewYear + spell::kDay}));
  const auto count = [&](std::vector<std::string> options, const std::string& zone = "UTC") {
    options.insert(options.end(), {"--format", "ndjson", "--kind", "ld", "--key", "7"});
    const ProgramResult result = Dump(dir.Path("x.psl"), options, zone);
    EXPECT_EQ(result.status, 0) << result.err;
    return Lines(result.out).size();
  };
  EXPECT_EQ(count({}), 4U);
  EXPECT_EQ(count({"--to", "2024-01-01"}), 3U);
  EXPECT_EQ(count({"--from", "2024-01-01 01:00"}), 3U);
  EXPECT_EQ(count({"--from", "2024-01-01T00:00:01", "--to", "2024-01-01 01:00"}), 1U);
  EXPECT_EQ(count({"--from", "@1704067201", "--to", "@1704070800"}), 1U);
  EXPECT_EQ(count({"--from", "2024-01-01 06:30"}, "Asia/Kolkata"), 3U);
  EXPECT_EQ(count({"--utc", "--from", "2024-01-01 06:30"}, "Asia/Kolkata"), 1U);
}

TEST(PsltoolDump, NothingOfTheTimeOrKeyIsTold) {
  TempDir dir;
  dir.Write("x.psl", DiskFile());
  const std::string file = dir.Path("x.psl");
  for (const char* format : {"table", "csv", "ndjson"}) {
    const ProgramResult late = Dump(file, {"--from", "2025-01-01", "--format", format});
    EXPECT_EQ(late.status, 1);
    EXPECT_EQ(late.err, "psltool: " + file +
                            ": no record lies in the time from 2025-01-01 (local); psltool info "
                            "tells what time a file spans\n");
    const ProgramResult key = Dump(file, {"--kind", "ld", "--key", "4711", "--format", format});
    EXPECT_EQ(key.status, 1);
    EXPECT_EQ(key.err, "psltool: " + file +
                           ": no record holds ld 4711; without --key all of the kind are put "
                           "out\n");
  }
  // Keys of optional items are compared as text.
  EXPECT_EQ(Dump(file, {"--kind", "wait-time", "--key", "4711"}).status, 1);
  // A kind that the array does not have is no mistake.
  const ProgramResult kind = Dump(file, {"--kind", "rank"});
  EXPECT_EQ(kind.status, 0);
  EXPECT_EQ(kind.err, "");
  const ProgramResult reversed =
      Dump(file, {"--from", "2024-01-02", "--to", "2024-01-01", "--format", "csv"});
  EXPECT_EQ(reversed.status, 2);
  EXPECT_EQ(reversed.out, "");
  EXPECT_EQ(reversed.err, "psltool: dump --from: '2024-01-02' is after --to '2024-01-01'\n");
}

TEST(PsltoolDump, WhatCannotBeAskedForIsRefused) {
  TempDir dir;
  dir.Write("x.psl", DiskFile());
  dir.Write("old.psl", spell::Log({.revision = 0x10}, {spell::kNewYear}));
  const std::string file = dir.Path("x.psl");
  for (const auto& options :
       std::vector<std::vector<std::string>>{{"--kind", "disk"},
                                             {"--key", "7"},
                                             {"--kind", "ld", "--kind", "pd", "--key", "7"},
                                             {"--kind", "ld", "--key", "1.2"},
                                             {"--from", "yesterday"},
                                             {"--to", "2024-02-30"},
                                             {"--from", "2024-01-01 25:00"},
                                             {"--from", "1969-12-31 23:00", "--utc"},
                                             {"--format", "xml"},
                                             {"second-file.psl"}}) {
    const ProgramResult result = Dump(file, options);
    EXPECT_EQ(result.status, 2) << options[0] << " " << options.back();
    EXPECT_NE(result.err, "");
    EXPECT_EQ(result.out, "");
  }
  const ProgramResult lacking = Dump(dir.Path("old.psl"), {"--kind", "pool"});
  EXPECT_EQ(lacking.status, 2);
  EXPECT_EQ(lacking.err,
            "psltool: " + dir.Path("old.psl") + ": files of revision 0x10 hold no pool\n");
  EXPECT_EQ(Dump(dir.Path("none.psl"), {}).status, 2);
}

TEST(PsltoolDump, ABrokenFileIsPrintedUpToThePlace) {
  TempDir dir;
  Bytes broken = DiskRecord(spell::kNewYear + 60);
  spell::SetU32(broken, 92, static_cast<uint32_t>(broken.size() - 10));
  const Bytes start = DiskFile();
  dir.Write("x.psl", start + broken);
  const ProgramResult result = Dump(dir.Path("x.psl"), {"--kind", "ld", "--format", "ndjson"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(Lines(result.out).size(), 3U);
  const std::string place = std::to_string(start.size() + broken.size() - 10);
  EXPECT_EQ(result.err,
            "psltool: " + dir.Path("x.psl") + ": record 3 (STA) at offset " + place +
                ", section ld, entry 0: the section leaves the record; psltool check tells "
                "all findings, psltool salvage saves the sound records\n");
  // A file without a sound header has nothing to be saved.
  dir.Write("y.psl", "no log");
  EXPECT_EQ(Dump(dir.Path("y.psl"), {}).err.find("salvage"), std::string::npos);
}

TEST(PsltoolDump, EntriesBeforeAnyStructureAreBroken) {
  TempDir dir;
  dir.Write("x.psl", spell::HeaderRecord({}) + spell::Statistics(0x1D));
  const ProgramResult result = Dump(dir.Path("x.psl"), {});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err.find("record 1 (STA) at offset 346, section ld, count"), std::string::npos)
      << result.err;
}

// ---- every revision against the model ----

const char* const kWords[] = {"hd", "rd",    "dd",     "hp", "hpnode", "rp",   "mp",
                              "dp", "cache", "cheseg", "ld", "pd",     "rank", "pool"};

std::string KeyText(const model::KindRule& rule, const model::Bytes& entry, bool second_cheseg) {
  if (rule.kind == model::Kind::kLd || rule.kind == model::Kind::kPool) {
    return std::to_string(model::Get16(entry, 8));
  }
  std::string text;
  for (const size_t at : rule.entry_key) {
    text += (text.empty() ? "" : ".") + std::to_string(entry.at(at));
  }
  if (rule.kind == model::Kind::kCheseg && second_cheseg) {
    text += "." + std::to_string(entry.at(12));
  }
  return text;
}

// One line per entry: kind, key, status, interval length, count words of the groups.
std::vector<std::string> ExpectedEntries(const model::Bytes& file, int revision) {
  std::vector<std::string> lines;
  model::Structure structure;
  for (size_t at = model::FileHeaderSize(revision); at < file.size();) {
    const std::string tag(file.begin() + static_cast<std::ptrdiff_t>(at),
                          file.begin() + static_cast<std::ptrdiff_t>(at) + 3);
    const model::Bytes record = model::Slice(file, at, model::Get32(file, at + 8));
    at += record.size();
    if (tag == "CON") structure = model::ReadStructure(record, revision);
    if (tag != "STA") continue;
    for (const model::KindRule& rule : model::KindRules(revision)) {
      const model::Descriptor section = model::ReadDescriptor(record, rule.slot);
      if (section.offset == 0 || structure.excluded(rule.slot)) continue;
      if (rule.kind == model::Kind::kDp && section.count != structure.count(rule.slot)) continue;
      const size_t mask_at = model::MaskOffset(revision, rule.kind);
      const uint32_t mask = mask_at == 0 ? 0 : model::Get32(file, mask_at);
      const auto words = static_cast<size_t>(__builtin_popcount(mask));
      const bool cache = rule.kind == model::Kind::kCache;
      const size_t full = cache ? model::CacheEntrySize(revision) : rule.size;
      size_t from = section.offset;
      for (int i = 0; i < section.count; ++i) {
        const bool compact =
            rule.compact_at != 0 && model::Get8(record, from + rule.compact_at) != 0;
        const model::Bytes entry = model::Slice(record, from, compact ? rule.head : full);
        from += compact ? rule.head : full + 4 * words;
        std::string line = std::string(kWords[static_cast<int>(rule.kind)]) + " " +
                           KeyText(rule, entry, structure.second_cheseg_key()) + " " +
                           std::to_string(model::Get32(entry, 0)) + " " +
                           std::to_string(model::Get32(entry, 4));
        for (size_t g = 0; !cache && !compact && g < rule.quads; ++g) {
          line += " " + std::to_string(model::Get32(entry, rule.quads_at + 16 * g));
        }
        lines.push_back(line);
      }
    }
  }
  return lines;
}

std::vector<std::string> DumpedEntries(const std::string& text) {
  std::vector<std::string> lines;
  for (const std::string& each : Lines(text)) {
    const json entry = json::parse(each);
    std::string line = entry["kind"].get<std::string>() + " " + entry["key"].get<std::string>() +
                       " " + entry["status"].dump() + " " + entry["interval_ms"].dump();
    for (int g = 1; entry["kind"] != "cache"; ++g) {
      const auto word = entry.find("g" + std::to_string(g) + "_q0");
      if (word == entry.end() || word->is_null()) break;
      line += " " + word->dump();
    }
    lines.push_back(line);
  }
  return lines;
}

class PsltoolDumpRevision : public testing::TestWithParam<int> {};

TEST_P(PsltoolDumpRevision, EntriesAreTheModels) {
  std::vector<std::string> options = {"--format", "ndjson", "--raw"};
  size_t entries = 0;
  for (const char* word : kWords) {
    bool has = false;
    for (const model::KindRule& rule : model::KindRules(GetParam())) {
      has = has || std::string(kWords[static_cast<int>(rule.kind)]) == word;
    }
    if (has) options.insert(options.end(), {"--kind", word});
  }
  for (uint64_t seed = 1; seed <= 3; ++seed) {
    for (const model::InputFile& log :
         model::MakeRandomLogs(seed, static_cast<uint8_t>(GetParam()), {})) {
      TempDir dir;
      dir.Write("x.psl", std::string(log.bytes.begin(), log.bytes.end()));
      const ProgramResult result = Dump(dir.Path("x.psl"), options);
      ASSERT_EQ(result.status, 0) << log.name << result.err;
      const std::vector<std::string> expected = ExpectedEntries(log.bytes, GetParam());
      EXPECT_EQ(DumpedEntries(result.out), expected) << "seed " << seed << ", " << log.name;
      entries += expected.size();
    }
  }
  EXPECT_GT(entries, 50U);
}

INSTANTIATE_TEST_SUITE_P(EveryRevision, PsltoolDumpRevision, testing::Range(0x10, 0x22),
                         RevisionParam<int>);

// An "LDM" record in a 0x10 log makes its archive hold records of two layouts.
TEST(PsltoolDump, ArchivesOfTwoLayouts) {
  TempDir dir;
  const ProgramSettings here = {dir.Path(), {}};
  ASSERT_EQ(RunProgram(PSLTOOL_PATH,
                       {"make", "--revision", "0x10", "--ld", "3", "--pd", "2", "--interval",
                        "3600", "--ldm", "1", "-q"},
                       here)
                .status,
            0);
  ASSERT_EQ(RunProgram(QELPRFARC_PATH, {"20240304array01.psl"}, here).status, 0);
  const ProgramResult result =
      Dump(dir.Path("20240304array01.psa"), {"--kind", "pd", "--kind", "ld", "--format", "csv"});
  ASSERT_EQ(result.status, 0) << result.err;
  const std::vector<std::string> lines = Lines(result.out);
  EXPECT_EQ(lines.size(), 1U + 24 * 5);
  const auto columns = std::count(lines[0].begin(), lines[0].end(), ',');
  int with_ratio = 0;
  for (const std::string& line : lines) {
    EXPECT_EQ(std::count(line.begin(), line.end(), ','), columns) << line;
    with_ratio += line.find(",pd,") != std::string::npos && line.back() != ',' ? 1 : 0;
  }
  EXPECT_EQ(with_ratio, 2);  // the record in front of the "LDM"
}

// ---- behaviour as a program ----

TEST(PsltoolDump, AClosedPipeIsNoFailure) {
  TempDir dir;
  std::vector<uint32_t> times(3000, spell::kNewYear);
  dir.Write("x.psl", DiskFile(times));
  const ProgramResult result = RunProgram(
      "/bin/sh", {"-c", "\"$0\" dump \"$1\" | head -n 1", PSLTOOL_PATH, dir.Path("x.psl")});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(Lines(result.out).size(), 1U);
}

TEST(PsltoolDump, AFullDiskIsTold) {
  TempDir dir;
  dir.Write("x.psl", DiskFile());
  const ProgramResult result = RunProgram(
      "/bin/sh", {"-c", "exec \"$0\" dump \"$1\" > /dev/full", PSLTOOL_PATH, dir.Path("x.psl")});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err, "psltool: standard output: cannot be written\n");
}

#if !defined(__SANITIZE_ADDRESS__)
// 64 MiB of records and as much free space go through 48 MiB of memory.
TEST(PsltoolDump, MemoryDoesNotGrowWithTheFile) {
  TempDir dir;
  const std::string record = spell::Statistics(0x10, {.time = spell::kNewYear});
  std::string file = spell::HeaderRecord({.revision = 0x10}) + spell::Structure(0x10);
  while (file.size() < (size_t{64} << 20)) file += record;
  file += spell::FreeRecord(size_t{64} << 20);
  dir.Write("x.psl", file);
  for (const char* command : {"dump --key 999 --kind ld", "check", "info", "salvage -o good.psl",
                              "top --by max", "export --to csv --key 999 --kind ld"}) {
    const ProgramResult result = RunProgram(
        "/bin/sh",
        {"-c", "cd \"$1\"; ulimit -v 49152; exec \"$0\" " + std::string(command) + " x.psl",
         PSLTOOL_PATH, dir.Path()});
    // Read to the end, a file without the key makes status 1, lack of memory 2.
    const bool finds = result.err.find("no record holds ld 999") == std::string::npos;
    EXPECT_EQ(finds, std::string(command).find("999") == std::string::npos) << command;
    EXPECT_EQ(result.status, finds ? 0 : 1) << command << ": " << result.err;
  }
}
#endif

}  // namespace
