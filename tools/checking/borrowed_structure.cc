// Structure records of another day: see the header.
#include "tools/checking/borrowed_structure.h"

#include <fmt/format.h>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "tools/output/report.h"
#include "tools/reading/array_tables.h"

namespace psltool {

namespace {

bool Fits(const PslReader& file, const PslReader& damaged) {
  const PslHeader& mine = file.header();
  const PslHeader& its = damaged.header();
  if (mine.revision == its.revision && mine.level == its.level) return true;
  return Fail(file.path(),
              fmt::format("is of revision 0x{:02X}, level {}, but the damaged file of 0x{:02X}, "
                          "level {}: its structure record means something else",
                          mine.revision, TagText({&mine.level, 1}), its.revision,
                          TagText({&its.level, 1})));
}

}  // namespace

bool BorrowStructure(const std::string& path, const PslReader& damaged, Progress& progress,
                     BorrowedStructure& structure) {
  PslReader file(path, PslReader::Reports::kKept);
  if (!file.Open()) return Fail(path, Describe(file.trouble()));
  if (!Fits(file, damaged)) return false;
  const bool earlier =
      Load32(file.record().data() + kAtTime) <= Load32(damaged.record().data() + kAtTime);
  const FindingSink nobody = [](const Finding&) {};
  while ((earlier || structure.record.empty()) && file.NextHeader()) {
    progress.Show(path, file.position(), file.size());
    if (file.tag() != "CON") continue;
    if (!file.Load()) break;
    ArrayTables tables;
    RecordReport report(nobody, file.number(), file.position(), file.tag());
    if (!ReadTables(file.header(), file.record(), report, tables)) continue;
    structure.record.assign(file.record().begin(), file.record().end());
    structure.place = fmt::format("{}, record {}", path, file.number());
  }
  progress.Clear();
  if (file.failed() && file.trouble().severity == Severity::kUnreadable) {
    return Fail(path, file.trouble().text);
  }
  return !structure.record.empty() || Fail(path, "holds no sound structure record");
}

}  // namespace psltool
