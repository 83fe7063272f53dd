// `psltool dump` of random logs of every revision against the independent model's idea of where
// their fields stand.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/model/kind_rules.h"
#include "tests/model/random_logs.h"
#include "tests/model/structure_record.h"
#include "tests/support/lines.h"
#include "tests/support/process.h"
#include "tests/support/revision_param.h"
#include "tests/support/tempdir.h"
#include "tests/support/tools/dump_run.h"

namespace {

using nlohmann::json;

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

INSTANTIATE_TEST_SUITE_P(EveryRevision, PsltoolDumpRevision, EachRevision(), RevisionParam<int>);

}  // namespace
