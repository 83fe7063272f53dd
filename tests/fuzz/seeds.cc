// What the fuzzers start from: logs and archives of every revision, sound and broken, made by the
// generators of the tests. Files stay small, so that thousands go through a target in a second.
#include <filesystem>

#include "tests/fuzz/targets.h"
#include "tests/model/random_logs.h"
#include "tests/support/archive_target.h"
#include "tests/support/broken_files.h"
#include "tests/support/sample_records.h"
#include "tests/support/tempdir.h"

namespace fuzz {

namespace {

constexpr size_t kLargest = 12000;
constexpr int kFirstRevision = 0x10;
constexpr int kLastRevision = 0x21;

struct Case {
  std::string log;
  std::string archive;  // its hour archive, empty where the run failed
};

std::string HourArchiveOf(const std::string& log) {
  const Input bytes(reinterpret_cast<const uint8_t*>(log.data()), log.size());
  const Input inputs[] = {bytes};
  std::string archive;
  ArchiveBytes(inputs, {.automatic = false, .level = 'H'},
               [&archive](const std::string& directory, const auto&, const auto& result) {
                 if (result.status != -1) return;
                 for (const auto& entry : std::filesystem::directory_iterator(directory)) {
                   const std::string path = entry.path().string();
                   if (path.ends_with(".psa")) archive = TempDir::ReadFile(path);
                 }
               });
  return archive;
}

std::vector<Case> Cases() {
  std::vector<Case> cases;
  const auto add = [&cases](const std::string& log) {
    if (log.size() <= kLargest) cases.push_back({log, HourArchiveOf(log)});
  };
  for (int number = kFirstRevision; number <= kLastRevision; ++number) {
    const auto revision = static_cast<uint8_t>(number);
    constexpr uint32_t kHour = 3600;
    add(spell::Log({.revision = revision},
                   {spell::kNewYear, spell::kNewYear + 60, spell::kNewYear + kHour}, true));
    for (const uint64_t seed : {uint64_t{1}, uint64_t{2}}) {
      for (const model::InputFile& log : model::MakeRandomLogs(seed, revision, {})) {
        add({log.bytes.begin(), log.bytes.end()});
        break;  // the others are like it
      }
    }
  }
  return cases;
}

// Each text behind a byte of choice, which goes around.
std::vector<std::string> Chosen(const std::vector<std::string>& texts, const std::string& choices) {
  std::vector<std::string> seeds;
  for (size_t i = 0; i < texts.size(); ++i) seeds.push_back(choices[i % choices.size()] + texts[i]);
  return seeds;
}

std::vector<std::string> Files() {
  std::vector<std::string> files;
  for (const Case& each : Cases()) {
    files.push_back(each.log);
    if (!each.archive.empty()) files.push_back(each.archive);
  }
  for (const BrokenFile& file : BrokenFiles()) {
    if (file.bytes.size() <= kLargest) files.push_back(file.bytes);
  }
  return files;
}

std::string U16Text(size_t value) {
  return {static_cast<char>(value >> 8), static_cast<char>(value & 0xFF)};
}

std::string Patch(size_t at, const std::string& bytes) {
  return U16Text(at) + static_cast<char>(bytes.size()) + bytes;
}

}  // namespace

std::vector<std::string> FileSeeds() { return Chosen(Files(), std::string("\0\2", 2)); }

std::vector<std::string> ReadSeeds() {
  std::string choices;
  for (char choice = 0; choice < 36; ++choice) choices += choice;
  return Chosen(Files(), choices);
}

std::vector<std::string> ArchiveSeeds() {
  std::vector<std::string> seeds = Chosen(Files(), std::string("\0\1\2\3", 4));
  const std::vector<Case> cases = Cases();
  for (size_t i = 0; i + 1 < cases.size(); ++i) {
    // Two parts of a day, now and then of two revisions.
    seeds.push_back('\1' + Joined({cases[i].log, cases[i + i % 2].log}));
    if (cases[i].archive.empty()) continue;
    seeds.push_back('\3' + Joined({cases[i].archive, cases[i + i % 2].archive}));
  }
  return seeds;
}

std::vector<std::string> SideBySideSeeds() {
  constexpr int kRecords = 14;  // one batch and the beginning of another, and some of the next hour
  std::vector<std::string> seeds;
  char choice = 0;
  for (int number = kFirstRevision; number <= kLastRevision; ++number) {
    std::vector<uint32_t> times;
    for (uint32_t i = 1; i <= kRecords; ++i) times.push_back(spell::kNewYear + i * 270);
    for (const bool all_kinds : {false, true}) {
      const std::string text =
          spell::Log({.revision = static_cast<uint8_t>(number)}, times, all_kinds);
      seeds.push_back(std::string(1, choice) + '\10' + text);
      choice = static_cast<char>((choice + 5) % 16);
      seeds.push_back(std::string(1, choice) + '\2' + text.substr(0, text.size() / 2));
    }
  }
  for (const std::string& seed : ArchiveSeeds()) {
    if (seed.size() > 1) seeds.push_back(seed[0] + ('\7' + seed.substr(1)));
  }
  return seeds;
}

std::vector<std::string> AuditSeeds() {
  std::vector<std::string> seeds;
  for (const Case& each : Cases()) {
    if (each.archive.empty()) continue;
    seeds.push_back('\0' + Joined({each.archive, each.log}));
    seeds.push_back('\10' + Joined({each.archive, each.log, each.log}));
  }
  return seeds;
}

std::vector<std::string> SegmentSeeds() {
  const std::string paths = Patch(240, "/root") + Patch(6304, "/arc/") + Patch(9184, "/pml");
  const std::string whole = U16Text(10240);
  std::string kept;
  for (const char unit : {'\0', '\1', '\2'}) kept += std::string("\2\0", 2) + unit + '\0';
  return {'\0' + whole + paths,
          '\0' + whole + paths + Patch(6569, "\1") + Patch(6592, kept),
          '\1' + whole + paths + Patch(6569, "\2"),
          '\2' + whole + paths + Patch(6572, std::string("\240\0\0\0", 4)),
          '\2' + whole + paths + Patch(9168, std::string("\24\0\0\0", 4)),
          '\0' + whole + paths + Patch(240, std::string(255, 'r')) + Patch(495, "rrrrrrrrrrrrrrrr"),
          '\0' + U16Text(9189) + paths};
}

std::vector<std::string> NameSeeds() {
  return {Joined({"20240304array01#001.psl", "20240304array01#002.psl"}),
          Joined({"20240304a.psl", "20240305a.psl"}),
          Joined({"dir.x/20240304a#002.psa", "other/20240304a.psa"}),
          Joined({"202403a.psa", "202403a#002.psa"}),
          "20110101x#001_002.pml",
          "20240304array01.psa_tmp",
          "20240230a.psl",
          "2024030.psl",
          "#.psl",
          std::string(70, '1') + "#12345.psa"};
}

std::vector<std::string> TimeSeeds() {
  std::vector<std::string> seeds;
  for (const char* text : {"2024-03-04",
                           "2024/03/04 10:05",
                           "20240304",
                           "2024-03",
                           "202403",
                           "2024",
                           "2024-03-04T10:05:30+01:00",
                           "2024-10-27 02:30:00+02:00",
                           "2024-10-27 02:30 CEST",
                           "2024-03-31 02:30",
                           "2024-03-04 10:00-11:00",
                           "2024-10-27 02:30..02:45:30 CET",
                           "10:05",
                           "today",
                           "yesterday 10:05",
                           "last monday",
                           "this week",
                           "last 7 days",
                           "last hour",
                           "now",
                           "-7d",
                           "7 days ago",
                           "@1709546700",
                           "1709546700",
                           "7d",
                           "12m",
                           "2y",
                           "20240101-20240131",
                           "366d",
                           "24m",
                           "none",
                           "255",
                           "256"}) {
    seeds.push_back("\x65\xE5\xA4\x80" + std::string(text));
  }
  return seeds;
}

std::vector<std::string> PmlSeeds() {
  std::vector<std::string> seeds;
  for (char mode = 0; mode < 5; ++mode) {
    std::string seed = {mode, '\n'};
    seed += std::string("\0\0\0\7\3\0\0\1\0\0\0\0\40", 13);
    for (char i = 0; i < 10; ++i) {
      seed += {'\1', static_cast<char>(20 + i), '\52', '\30', static_cast<char>(1 + i),
               '\4', static_cast<char>(i),      '\2'};
    }
    seeds.push_back(seed + "\1\4\5names");
    seeds.push_back(seed + "\252\13\7\52\1\2\3\4\5\1\11\44" + std::string(36, 'n'));
  }
  return seeds;
}

std::vector<std::string> ShareTxtSeeds() {
  return {std::string("\0\2b,\1,one,two\nb,three,four\n", 28),
          std::string("\2\1x\2;,x,y,z\nx;y\n\nlast", 20),
          std::string("\0\0\0,", 4) + std::string(5000, 'l') + "\n" + std::string(4095, 'm'),
          std::string("\0\0\0,0123456789", 14)};
}

std::vector<std::string> SumsSeeds() {
  const std::string digest(64, 'a');
  return {digest + "  20240304a.psl\n" + std::string(64, 'B') + " *./b.psa\n",
          "# comment\n\n\\" + digest + "  with\\nend\\\\and\\rmore\n",
          digest + "  same\n" + std::string(64, 'b') + "  same\n", digest + " one blank\n"};
}

std::vector<std::string> LogSeeds() {
  const std::string now = "\x65\xE6\xB4\x00";
  const std::string trace =
      "2024/03/05 00:30:00.100 77 Qelprfarc:58 $main():arc start\n"
      "2024/03/05 00:30:00.101 77 Qelprfarc:59 $main():root /srv/monitor/\n"
      "2024/03/05 00:30:00.200 77 Qelprfarc:181 $main():arc end\n";
  const std::string log =
      "2024-03-05T00:30:00+00:00 08300 Qelprfarc 5 1 There is broken psl(psa) file. "
      "file=20240304a.psl\n"
      "2024-03-05T00:30:00+01:00 08320 Qelprfarc 4 1 Failed in archives of psl(psa) files.\n";
  return {now + Joined({trace, log}), now + Joined({trace.substr(0, 130), ""}),
          now + Joined({"", log})};
}

std::vector<std::string> LabelSeeds() {
  return {
      "group ld 1 random reads\nresource array01 ld 21 mail store\n"
      "resource * pd 0.1 first disk of every array\n# comment\n\n",
      "group wait-time 1 waits\nresource a cab 1.65535 \xC3\xA9t\xC3\xA9\n",
      "resource * ldcp 1.2.3.4 pair\nresource * cheseg 7 one\nresource * cheseg 7.1 two\n",
      "group ld 9 none\n"};
}

std::vector<std::string> RuleSeeds() {
  std::vector<std::string> seeds;
  for (const char* text :
       {"ld busy max > 80 % for 3 hours", "hp,rp mean > 5 ms on mon-fri between 08:00 and 18:00",
        "pd key 0.* array osaka* ops p95 > 180",
        "pd,ld key 1.? group 2 volume max >= 2.5 MiB/s for 90 minutes on mon-wed,sun",
        "ld mean time <= 1e3 us between 22:00 and 06:30", "cheseg busy median < 10%"}) {
    for (const char choice : {'\0', '\1'}) seeds.push_back(choice + std::string(text));
    seeds.push_back("\x81# rules\n\n" + std::string(text) + "\r\n" + text + " for 1 day\n");
  }
  return seeds;
}

}  // namespace fuzz
