// The values of resources over time, from any mix of logs and archives: every interval once, from
// the finest file that tells it.
//
// Of one array a record of an hour archive counts only where no log covers a part of its time, one
// of a day archive only where neither a log nor an hour archive does. Two files of the same level
// that cover the same time are refused.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tools/measures/measures.h"
#include "tools/output/progress.h"
#include "tools/reading/coverage.h"
#include "tools/showing/dump_file.h"
#include "tools/showing/resource_order.h"

namespace psltool {

struct SeriesRequest {
  DumpRequest dump;                 // kinds (none: all), key, span and zone; the path is set here
  std::vector<MeasureAt> measures;  // as `MeasuresOfKind` gives them
};

// The measures of these kinds, each once: all, those of these names, of all groups or of one.
std::vector<MeasureAt> MeasuresOf(const std::vector<Kind>& kinds,
                                  const std::vector<std::string>& names, unsigned group);

// What an entry says of one measure; kNoNumber: nothing.
struct Point {
  double value;   // of the interval or period
  double most;    // of the largest interval in it, where files carry it; else the value
  double least;   // of the smallest
  double weight;  // of the value in means, medians and percentiles: see `Weight`
};

struct SeriesResource {
  std::string array;
  Kind kind;
  std::string key;
};

struct SeriesEntry {
  size_t resource;  // among `SeriesReader::resources`
  Kind kind;
  const RecordPeriod& period;
  double milliseconds;            // that were measured
  std::span<const Point> points;  // one for each measure of the request
};

class SeriesSink {
 public:
  SeriesSink() = default;
  virtual ~SeriesSink() = default;
  SeriesSink(const SeriesSink&) = delete;
  SeriesSink& operator=(const SeriesSink&) = delete;
  virtual void StartFile(const FileCover&) {}
  // A record that counts, before its entries.
  virtual void StartRecord(const FileCover&, const RecordPeriod&) {}
  virtual void Put(const SeriesEntry& entry) = 0;
};

class SeriesReader {
 public:
  SeriesReader(SeriesRequest request, Progress& progress)
      : request_(std::move(request)), progress_(progress) {}

  // Nothing is reported of files: somebody else has done so.
  void ReportNothing() { walked_ = true; }
  // Looks at what time the files cover. False: two of them cover the same, reported.
  bool Look(const std::vector<std::string>& paths);

  // Walks the files by array and time; each walk gives the same. Returns the exit status: 1 when a
  // file is broken, 2 when one cannot be read; both are reported by the first walk.
  int Walk(SeriesSink& sink);
  // Only these resources, which an earlier walk has met.
  int Walk(SeriesSink& sink, std::function<bool(size_t)> wanted);

  const SeriesRequest& request() const { return request_; }
  // Those that can be read, in the order of the walk.
  const std::vector<FileCover>& files() const { return files_; }
  // The records that walks pass on, in their order.
  void EachRecord(const std::function<void(const FileCover&, const RecordPeriod&)>& visit) const;
  // As met by walks so far.
  const std::vector<SeriesResource>& resources() const { return resources_; }
  // What the walk had of what was asked for.
  const DumpCount& count() const { return count_; }
  // Records that were left out since finer files tell their time.
  uint64_t left_out() const { return left_out_; }

 private:
  class Writer;
  bool IsToldFiner(const FileCover& file, const RecordPeriod& period) const;
  size_t AddResource(const std::string& array, Kind kind, std::string key);

  SeriesRequest request_;
  Progress& progress_;
  std::vector<FileCover> files_;
  std::unordered_map<std::string, std::vector<RecordPeriod>> periods_;  // by path
  std::vector<std::string> unreadable_;
  std::vector<SeriesResource> resources_;
  std::unordered_map<std::string, std::array<ResourceNumbers, kKinds>> known_;  // by array
  DumpCount count_;
  uint64_t left_out_ = 0;
  bool walked_ = false;
};

}  // namespace psltool
