// What `psltool make` is asked for: the arrays, the days and what each file holds.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "areas/kinds.h"
#include "engine/layout/revisions.h"

namespace psltool {

enum class Profile : uint8_t {
  kOffice,  // working days with a lunch dip, a nightly batch peak, quiet weekends, one hot disk
  kFlat,    // the same load at every hour on every resource, all entries full and valid
  kIdle,    // no operation at all
};

enum class Extended : uint8_t {
  kNoWords,   // the archiver computes rates and extremes itself
  kAllWords,  // all words of the revision
  kMaxima,    // only the maxima
  kChanging,  // files take turns: all, the maxima, none
};

struct MakePlan {
  uint8_t revision = kLastRevision;
  std::vector<std::string> arrays;
  std::chrono::year_month_day start = {};
  uint32_t days = 1;
  uint32_t interval = 300;                   // seconds
  uint32_t records = 0;                      // statistics records per day at most; 0: no limit
  std::array<uint32_t, kKinds> counts = {};  // resources or elements; 0 for kinds not carried
  bool wait_times = false;
  bool pools = true;  // pools rather than ranks, from the revision on that has only one of them
  uint64_t seed = 1;
  uint32_t hot_ld = 0;  // position of the logical disk that takes a large share of the load
  Profile profile = Profile::kOffice;
  Extended extended = Extended::kNoWords;
  uint32_t idle_share = 0;       // percent of each kind's resources that rest at any time
  uint32_t not_valid_share = 0;  // percent that nothing was measured of
  uint32_t structures = 1;       // structure records per file
  uint32_t nnc = 0;              // further records per file
  uint32_t ldm = 0;
  uint32_t fre = 0;
  uint32_t files_per_day = 1;
  bool local_days = false;  // days are cut in local time instead of UTC
  std::string out = ".";
  bool force = false;  // files that are there are replaced
  bool quiet = false;
};

// More than 256 cache segments need the second byte of their key.
inline bool HasSecondChesegKey(const MakePlan& plan) { return plan.counts[kCheseg] > 256; }

}  // namespace psltool
