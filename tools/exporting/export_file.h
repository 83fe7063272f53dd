// Passes the entries of files to an export, row by row.
#pragma once

#include <string>
#include <unordered_map>

#include "tools/exporting/export_sink.h"
#include "tools/showing/dump_file.h"

namespace psltool {

struct ExportRequest {
  DumpRequest dump;   // what of the files is wanted; its path is set for each
  std::string array;  // name of the array where names of files do not tell; empty: none
  std::vector<std::string> metrics;     // as `IsMetric` takes them; empty: all
  std::vector<std::string> statistics;  // likewise

  // The columns that are wanted, in their order.
  std::vector<ExportColumn> ColumnsOf(const std::vector<Column>& columns) const;
};

// All columns that rows of the files can have, in the order in which they are first met.
std::vector<ExportColumn> ColumnsOfFiles(ExportRequest request,
                                         const std::vector<std::string>& paths);

class Exporter {
 public:
  Exporter(ExportRequest request, ExportSink& sink, Progress& progress,
           PslReader::Reports reports = PslReader::Reports::kPrinted)
      : request_(std::move(request)), sink_(sink), progress_(progress), reports_(reports) {}

  // Every failure is reported. Behind a failure of the sink, which `failed` tells, there is no
  // use in going on.
  DumpEnd Take(const std::string& path);
  bool failed() const { return failed_; }
  // Of all files so far.
  const DumpCount& count() const { return count_; }
  uint64_t rows() const { return rows_; }

 private:
  class Writer;

  ExportRequest request_;
  ExportSink& sink_;
  Progress& progress_;
  PslReader::Reports reports_;
  bool failed_ = false;
  DumpCount count_;
  uint64_t rows_ = 0;
  std::unordered_map<std::string, uint32_t> resources_;  // by array, level, kind and key
};

}  // namespace psltool
