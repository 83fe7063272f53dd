// The file header record: check of a candidate input, reading into finfo, writing of the output's
// header, and the time zone that goes with the revision.
#pragma once

#include <cstddef>
#include <cstdint>

#include "engine/layout/records.h"
#include "engine/names.h"

// What the check of an input says of its file header.
enum class HeaderVerdict : uint8_t {
  kAccepted,
  kShort,            // the file is shorter than its header
  kNoHeader,         // it does not begin with one
  kUnknownRevision,  // of the format
  kDayArchive,       // is not archived further, and was not chosen among others in a directory
  kPassedOver,       // the same, but "-noperiod" takes no notice of it
};

// The first bytes of a file by which its header is judged.
inline constexpr size_t kJudgedBytes = kAtLevel + 1;

// `bytes`: kJudgedBytes, as far as the file has so many. `size`: bytes of the file.
// `chosen_by_date`: inputs of directory and automatic runs.
HeaderVerdict JudgeHeader(const uint8_t* bytes, int64_t size, bool chosen_by_date, bool no_period);

// Reads and judges the header of the input open on rfd; sets Rev_Kind and the time zone. Does not
// rewind. Returns 0 (accept), -1 (reject, message logged) or -2 (pass over silently).
int PreReadHeaderRec();

// Reads the header of the input open on rfd into finfo: revision and its layout, item bitmaps and
// full masks, level bytes, record time and length; chooses the output level if none is set. Ends
// the process (101, 108) on a bad tag or a level that is not archived further.
void ReadHeaderRec();

// Writes the output's header from finfo to wfd and sets Rev_Kind to the revision written.
void WriteHeaderRec();

// Puts the time zone into force that periods of `revision` are cut in: UTC from 0x1D on in manual
// runs, else local time. A trace line tells each change of direction.
void SwitchTimeZone(uint8_t revision);

// The date bytes of a header kept by ReadHeaderRec / WriteHeaderRec (revision 0x1D and later).
FileDate DateOf(const uint8_t* header);
