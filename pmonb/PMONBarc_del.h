// The parameter record of the pruning of performance monitor logs (PML files). It belongs to the
// caller, who clears it once before the first call and keeps it for a sequence of calls; totals and
// the subdirectory scan of one call serve the next.
#pragma once

#include <cstdint>

// Number of subdirectories that a PML directory can have ("00" to "FF").
inline constexpr uint32_t kPmlDirectories = 256;

// Value in PmlDelParam::scan_flags: the subdirectory scan has been done.
inline constexpr uint8_t kPmlScanned = 1;

// Values in PmlDelParam::dir_flags.
inline constexpr uint8_t kPmlDirExcluded = 2;  // set by the caller: mode 5 does not count it
inline constexpr uint8_t kPmlDirExists = 4;    // set by the scan

struct PmlDelParam {
  uint32_t term;          // mode 3: days to keep, back from the newest file of a subdirectory
  uint32_t delete_count;  // mode 4: how many of the oldest files to delete
  uint32_t limit_hi;      // size limit in bytes, upper half (modes 2, 6, 7, 8, 10)
  uint32_t limit_lo;      // lower half
  uint32_t margin;        // bytes that must stay free under the limit (modes 2, 6, 7, 10)
  uint16_t dir_no;        // the subdirectory of the modes that work on one, 0 to 255
  uint8_t scan_flags;     // starts at 0
  uint8_t dir_flags[kPmlDirectories];
  char base_dir[272];   // PML directory, ends in "/"
  char trace_dir[272];  // ends in "/"; the staging directory is this followed by ".trace3"
  uint8_t emb_flg;      // the caller's; not read here
  uint32_t total_hi;    // total size of the files counted: output of counting, input of 6 and 10
  uint32_t total_lo;
  uint32_t file_count;  // number of files counted; modes 2, 6, 8 subtract what they select
  char err_func[256];   // after a failure: what failed
  uint32_t detail;      // after a failure: detail code
  int32_t err_no;       // after a failure: error number
};
