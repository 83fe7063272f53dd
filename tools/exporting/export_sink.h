// Where the rows of an export go: text, a database, or an exposition for time-series engines.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/exporting/export_columns.h"
#include "tools/output/text_out.h"
#include "tools/reading/labels.h"
#include "tools/reading/psl_reader.h"
#include "tools/reading/record_period.h"
#include "tools/reading/time_text.h"

namespace psltool {

// A file whose rows come next.
struct ExportFile {
  std::string path;
  std::string name;   // without directories
  std::string array;  // empty: not told by the name
  const char* level;  // "log", "hour" or "day"
  PslHeader header;
};

struct ExportRow {
  uint32_t stamp;
  const RecordPeriod& period;  // of the record
  uint32_t resource;           // number of array, level, kind and key, the same in all files
  const char* kind;
  const std::string& key;
  const ExportColumn& column;
  const Value& value;  // a number or a flag
};

// A number for the row's series, the same in all files.
inline uint64_t SeriesOf(const ExportRow& row) {
  return uint64_t{row.resource} << 16 | row.column.number;
}

// How the reading of a file ended.
enum class ExportFileEnd : uint8_t {
  kWhole,
  kBroken,      // what stands in front of the place was put
  kUnreadable,  // nothing is known of the rest
};

class ExportSink {
 public:
  ExportSink() = default;
  virtual ~ExportSink() = default;
  ExportSink(const ExportSink&) = delete;
  ExportSink& operator=(const ExportSink&) = delete;

  // Each returns false after a report; nothing is asked of the sink then but to be destroyed.
  virtual bool StartFile(const ExportFile& file) = 0;
  virtual bool Put(const ExportRow& row) = 0;
  // The rows of a resource at one time have been put.
  virtual bool EndEntry() { return true; }
  virtual bool EndFile(ExportFileEnd end, const std::string& trouble) = 0;
  // All files have been put.
  virtual bool Finish() = 0;
};

// `labels`: names that rows bear, when there are any.
std::unique_ptr<ExportSink> MakeCsvSink(TextOut& out, Zone zone, const Labels& labels);
std::unique_ptr<ExportSink> MakeJsonLinesSink(TextOut& out, Zone zone, const Labels& labels);
// One line for each resource and time. `columns`: all that can occur, in the order of the line.
std::unique_ptr<ExportSink> MakeWideSink(TextOut& out, Zone zone, const Labels& labels,
                                         std::vector<ExportColumn> columns);
// A new database is built beside its path; rows of a file that an older one holds are replaced.
// Null: reported.
std::unique_ptr<ExportSink> MakeSqliteSink(const std::string& path, const Labels& labels);
// `scratch`: directory of a temporary file, which has no name and is gone when the tool ends.
std::unique_ptr<ExportSink> MakeOpenMetricsSink(TextOut& out, const std::string& scratch,
                                                const Labels& labels);

}  // namespace psltool
