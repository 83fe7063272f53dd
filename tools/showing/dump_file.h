// Streams the entries of a log or archive to a writer, record by record.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "areas/kinds.h"
#include "tools/output/progress.h"
#include "tools/output/report.h"
#include "tools/reading/finding.h"
#include "tools/reading/time_text.h"
#include "tools/showing/dump_writers.h"

namespace psltool {

struct DumpRequest {
  std::string path;
  std::vector<Kind> kinds;         // empty: all that the file's revision has
  std::optional<std::string> key;  // only with one kind
  // Records whose period lies in this span, both seconds included; see record_period.h.
  std::optional<uint32_t> from;
  std::optional<uint32_t> to;
  Zone zone = Zone::kLocal;  // of the days of day archives
  bool raw = false;
};

enum class DumpEnd : uint8_t {
  kDone,
  kBroken,      // reported; what stands in front of the place has been written
  kUnreadable,  // reported
  kRefused,     // reported: the file cannot hold what is asked for
};

// What the files of a command had of what it was asked for.
struct DumpCount {
  uint64_t records = 0;  // statistics records of the span of time
  uint64_t entries = 0;
};

// Ends early when `out` or the writer has failed. `trouble`: gets what was found.
// `count`: what the file has is added.
DumpEnd DumpFile(const DumpRequest& request, DumpWriter& writer, const TextOut& out,
                 Progress& progress, PslReader::Reports reports = PslReader::Reports::kPrinted,
                 Finding* trouble = nullptr, DumpCount* count = nullptr);

// Tells the writer which columns entries of the file can have, and nothing else. A file that cannot
// be read has none; what is wrong with it is left to the dump to report.
void LookAtColumns(const DumpRequest& request, DumpWriter& writer);

// The exit status of a command whose dump of a file came to this end.
constexpr int StatusOf(DumpEnd end) {
  if (end == DumpEnd::kDone) return kExitDone;
  return end == DumpEnd::kBroken ? kExitFailed : kExitUnusable;
}

// "ld", "wait-time".
const char* WordOfKind(Kind kind);
// The kind of such a word. Nothing: there is none.
std::optional<Kind> KindOfWord(std::string_view word);

}  // namespace psltool
