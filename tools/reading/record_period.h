// The time that a statistics record stands for: one definition, by which every command chooses
// records and says of what time they are.
//
// A record of a log is an interval. It ends at the record's stamp and begins at that of the record
// before it; the first one of a file begins with its hour.
//
// A record of an hour archive stands for the hour of its stamp, hours being counted from 1970
// without a zone; one of a day archive for its day. Where an archive has several records of one
// hour or day (a structure record in between cuts it), a record ends at its stamp and the next
// begins there: the records of an archive never overlap.
//
// The days of a day archive are local ones (by the archiver's rules and by the collector's) or
// those of UTC (manual runs of 0x1D and later go by them). A file does not tell. But its header has
// the stamp and, from 0x1D on, the date of the log that it begins with, and that is also the day of
// the first record: the zone is the one, of these two, in which both lie on one date. A stamp at
// midnight belongs to the day that ends there.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "tools/reading/psl_reader.h"
#include "tools/reading/time_text.h"

namespace psltool {

struct RecordPeriod {
  char level = 'L';    // of the file: 'L', 'H' or 'D'
  uint32_t stamp = 0;  // of the record
  uint32_t begin = 0;  // the first second
  uint32_t end = 0;    // behind the last one; of a log the stamp
  uint32_t held = 0;   // no interval of the record has an earlier stamp
  bool whole = true;   // of archives: the only record of its hour or day
  Civil day = 0;       // of day archives: midnight of the date, in the zone of its days
  Zone day_zone = Zone::kLocal;
};

// The period of a record with these stamps before and behind it.
RecordPeriod PeriodOf(char level, Zone day_zone, std::optional<uint32_t> before, uint32_t stamp,
                      std::optional<uint32_t> behind);

// True: the period lies in the span. Records of logs are chosen by their stamps. Those of day
// archives by their day as `zone` has it, so that a date asks for the record of that date in all
// zones.
bool LiesIn(const RecordPeriod& period, std::optional<uint32_t> from, std::optional<uint32_t> to,
            Zone zone);
// True: the moment lies in the period, or is the record's stamp.
bool Holds(const RecordPeriod& period, uint32_t moment);

// The period as tables print it, and as `ReadTime` reads it: "2024-03-04" for a day, "2024-03-04
// 10:00-11:00" for an hour, "2024-03-04 13:45-24:00" for a piece of a day; of logs the stamp,
// "2024-03-04 10:15:00".
std::string PeriodText(const RecordPeriod& period, Zone zone);
// The widest of these, but for hours that exist twice.
inline constexpr size_t kPeriodWidth = 22;
// What stands above a column of them: "period (local)", of logs "time (UTC)".
std::string PeriodHead(char level, Zone zone);

// The stamps that intervals of a record may have, both included. Of two records of one array that
// share more than one the same intervals may be told twice. Of the first record of an archive it is
// the file's header that tells where they begin: a day can begin within an hour, and then the
// archives of two days hold a part of that hour each.
struct CoveredTime {
  uint32_t first;
  uint32_t last;
};
CoveredTime CoverOf(const RecordPeriod& period);

// The periods of a file's statistics records, in their order. It reads the heads of the records by
// itself, one record further than asked.
class FilePeriods {
 public:
  // `zone`: of day archives whose header does not tell the zone of their days.
  FilePeriods(const std::string& path, Zone zone);

  // The period of the statistics record at this place of the file. Places must not go back.
  RecordPeriod Of(uint64_t position, uint32_t stamp);

  // The file could not be opened or read here, so periods may be wrong; what was the trouble.
  bool unreadable() const { return reader_.trouble().severity == Severity::kUnreadable; }
  const Finding& trouble() const { return reader_.trouble(); }

 private:
  struct Place {
    uint64_t position;
    uint32_t stamp;
  };
  void Step();

  PslReader reader_;
  bool open_ = false;
  char level_ = 'L';
  Zone day_zone_;
  uint32_t opened_ = 0;  // stamp of the file's header
  std::optional<Place> before_;
  std::optional<Place> at_;
  std::optional<Place> behind_;
};

// The zone of the days of a day archive, by its file header and the stamp of its first statistics
// record; `otherwise` when neither zone fits.
Zone DayZoneOf(const PslHeader& header, std::span<const uint8_t> file_header, uint32_t first,
               Zone otherwise);

}  // namespace psltool
