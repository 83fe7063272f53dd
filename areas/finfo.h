// Work areas of one archive run. The program is a single thread over these globals; members are
// grouped by the file that writes them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "areas/kinds.h"

struct RevisionLayout;

// Item bitmaps of one resource kind: which 32-bit counters follow each entry of the input, and
// which follow each entry that is written.
struct ItemMasks {
  uint32_t in_mask;    // bitmap of the input's header
  uint32_t in_count;   // its set bits: words behind every full input entry
  uint32_t out_mask;   // full mask of the revision
  uint32_t out_count;  // its set bits: words behind every full output entry
};

// Option class bits of FileInfo::optclass.
inline constexpr int32_t kOptFile = 1;  // "-o", "-ext", "-out", "-daypsanoerr", "-noperiod", "-d"
inline constexpr int32_t kOptDirectory = 2;  // "-p", "-hour", "-day", and always in automatic runs

struct FileInfo {
  // --- archiver/options.cc -----------------------------------------------------------------
  char level;  // level of the output: 'H', 'D' or 0 while unset (engine/header.cc sets it then)
  const char* path;     // "-o" or "-p" directory ending in "/", or null
  const char* outpath;  // "-out": path of the output file itself, or null
  int32_t optclass;     // kOptFile | kOptDirectory

  // --- logdir/ ------------------------------------------------------------------------------
  uint8_t* target_marks;  // one byte per target: 1 = a day archive that was passed over
  size_t target_marks_size;
  bool discontinuous;  // message 201 is due (set by nothing today)

  // --- engine/header.cc ---------------------------------------------------------------------
  char input_level;              // 'L', 'H' or 'D'
  uint8_t second_level;          // byte 13 of the header, carried
  uint32_t configuration;        // word at 16 of the header, carried
  uint8_t revision;              // revision byte of the input
  const RevisionLayout* layout;  // tables of that revision
  ItemMasks items[kSectionKinds];
  ItemMasks reserved_items;  // bitmap at 56 from revision 0x19 on: read, never used, written as 0
  int64_t record_time;       // stamp of the record read last, seconds since the epoch
  uint32_t record_length;
  int64_t previous_time;  // the same of the record before
  uint32_t previous_length;
  int64_t header_time;
  uint8_t* header_read;     // last header read, 256 bytes, from revision 0x1D on; null before
  uint8_t* header_written;  // last header written
  bool utc_in_force;        // TZ was switched to UTC
  bool traced_utc;          // the last time-zone trace line said "TZ Local to UTC"

  // --- engine/stream.cc ---------------------------------------------------------------------
  int64_t input_size;
  int64_t position;  // where the next record of the input begins
  int64_t record_start;
  uint8_t record_flag;       // byte 3 of the record header
  bool first_configuration;  // the record stands directly behind the file header
  bool no_statistics;        // no statistics record waits to be written

  // --- engine/QelprfarcMain.cc ---------------------------------------------------------------
  char array_name[256];  // array of the output in progress
  uint8_t continuation_switch;

  // --- revisions/ ----------------------------------------------------------------------------
  bool first_interval;        // the next interval replaces all maxima and minima
  int64_t previous_sta_time;  // stamp of the statistics record before (hours are cut against it)
  int64_t interval_ms;        // length of the last interval by stamps
  int64_t folded_time;        // stamp and flag byte of the last record folded into the period
  uint8_t folded_flag;
  uint16_t interval_value;  // bytes 14 and 15 of the last statistics record
  uint16_t previous_interval_value;
  bool output_has_structure;  // the output in progress holds a structure record
};

extern FileInfo finfo;

// Period state (bits may combine).
inline constexpr int32_t kNextDay = 1;           // the input lies on the next day, or "-noperiod"
inline constexpr int32_t kNewOutput = 2;         // no period in progress, a new output is due
inline constexpr int32_t kPeriodInProgress = 4;  // slots hold intervals
inline constexpr int32_t kContinued = 8;         // the output goes on with the next input
extern int32_t pmonarc_stat;

extern char** TargetList;  // inputs of the run; entries may be null
extern int32_t Ntarget;
extern char** Flist;  // directory listing
extern int32_t Nfile;
extern char* FlistBuf;  // the names' 64-byte slots

extern const char* rfname;  // current input as it stands in the target list, or null
extern int rfd;
extern char* wfname;       // output name without directory, 1,024 bytes, from InitWorkArea
extern char wfpath[1024];  // path of the output in progress
extern int wfd;            // -1 when no output is open
extern uint8_t Rev_Kind;   // format revision of the current input

extern int32_t auto_break_flg;  // the current input is to be abandoned (automatic runs)
extern int32_t arcdel_errflg;   // 1 ORed in for each failed input
extern int64_t lastrectime;     // record time before the current input's header was read

// Clears finfo and provides wfname (1,024 bytes, zeroed).
void InitWorkArea();
