// Holds the values of series against the rules of `psltool limits`.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tools/measures/limit_rules.h"
#include "tools/measures/series.h"
#include "tools/measures/statistics.h"

namespace psltool {

// What passed a limit: a run of intervals of one resource, each of which did, or for statistics of
// the whole span all of its intervals.
struct Breach {
  const LimitRule* rule;
  size_t resource;
  unsigned group;  // 0: of the entry as a whole
  uint32_t begin;
  uint32_t end;
  size_t intervals;
  double worst;       // the value that is farthest from the limit
  RecordPeriod when;  // in which it was; of the whole span its last one
};

// The measures that the rules ask for.
std::vector<MeasureAt> MeasuresOf(const std::vector<LimitRule>& rules);
std::vector<Kind> KindsOf(const std::vector<LimitRule>& rules);

class LimitCheck : public SeriesSink {
 public:
  LimitCheck(const std::vector<LimitRule>& rules, const SeriesReader& reader);

  void StartFile(const FileCover& file) override { file_ = &file; }
  void StartRecord(const FileCover& file, const RecordPeriod& period) override;
  void Put(const SeriesEntry& entry) override;

  // In the order of the rules, then of arrays, kinds, keys, groups and time.
  std::vector<Breach> Finish();
  // Values that a rule was held against, by the number of the rule.
  const std::vector<uint64_t>& looked() const { return looked_; }
  // The last stamp of each array.
  const std::map<std::string, uint32_t>& last_stamps() const { return last_stamps_; }

 private:
  // Intervals that follow each other.
  struct Run {
    uint32_t begin;
    uint32_t end;
    uint32_t shortest;  // interval, in seconds
    size_t intervals;
    double worst;
    RecordPeriod when;
    bool ended;  // an interval that does not pass the limit came behind
  };
  struct Span {
    Distribution values;
    Run run;  // of all intervals
  };
  using Place = std::pair<size_t, unsigned>;  // resource and group

  bool Joins(const Run& run, const Run& next) const;
  void Append(const LimitRule& rule, std::vector<Run>& runs, const Run& next) const;
  void Take(size_t rule, const Place& place, const Point& point, const Run& interval);
  bool IsWatched(size_t rule, size_t resource);

  const std::vector<LimitRule>& rules_;
  const SeriesReader& reader_;
  const FileCover* file_ = nullptr;
  std::vector<bool> covers_;                             // by rule, of the record at hand
  std::vector<std::vector<int8_t>> watched_;             // by rule and resource; -1: not known yet
  std::vector<std::map<Place, std::vector<Run>>> runs_;  // by rule
  std::vector<std::map<Place, Span>> spans_;
  std::vector<uint64_t> looked_;
  std::map<std::string, uint32_t> last_stamps_;
};

}  // namespace psltool
