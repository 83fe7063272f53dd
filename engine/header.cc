// File header record: see the header. Offsets and masks come from engine/layout/layout.h.
#include "engine/header.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "areas/finfo.h"
#include "engine/byteorder.h"
#include "engine/layout/layout.h"
#include "engine/output_file.h"
#include "engine/pmoncommon.h"
#include "platform/QelCM.h"
#include "platform/zone.h"
#include "report/messages.h"
#include "report/runinfo.h"

namespace {

using HeaderBytes = std::array<uint8_t, kLongHeader>;

void TraceZone(const char* text) {
  sgmtr_dmptbl = 0;
  fn_I_trace(text, 1, &sgmtr_dmptbl, "QelprfarcMain", __LINE__, 0);
}

// Bytes that the open input holds from its current position on. Pipes and terminals have no
// positions and count as empty.
int64_t BytesLeft() {
  struct stat status = {};
  const bool positions = ::fstat(rfd, &status) != 0 || S_ISREG(status.st_mode) ||
                         S_ISDIR(status.st_mode) || S_ISBLK(status.st_mode);
  if (!positions) return 0;
  const int64_t here = Seek(rfd, 0, SEEK_CUR);
  const int64_t end = Seek(rfd, 0, SEEK_END);
  Seek(rfd, here, SEEK_SET);
  return end - here;
}

bool TagIs(const uint8_t* header, const char* tag) { return std::memcmp(header, tag, 3) == 0; }

ItemMasks& MasksOf(Kind kind) {
  return kind == kReservedItems ? finfo.reserved_items : finfo.items[kind];
}

// Masks of kinds that the revision lacks keep what an earlier input gave them.
void SetMasks(const RevisionLayout& layout, const uint8_t* header) {
  for (const BitmapRow& row : layout.Bitmaps()) {
    ItemMasks& masks = MasksOf(row.kind);
    masks.in_mask = Load32(header + row.at);
    masks.in_count = static_cast<uint32_t>(CountBit(masks.in_mask));
    masks.out_mask = row.full;
    masks.out_count = static_cast<uint32_t>(CountBit(row.full));
  }
}

void ChooseOutputLevel() {
  if (finfo.level != 0) return;
  if (finfo.input_level == 'L') {
    finfo.level = 'H';
  } else if (finfo.input_level == 'H') {
    finfo.level = 'D';
  } else if ((finfo.optclass & kOptDirectory) == 0) {
    LogMessage(108, rfname);
    LeaveOutputAndEnd();
  }
}

void KeepHeader(const HeaderBytes& header) {
  if (finfo.header_read == nullptr) {
    finfo.header_read = static_cast<uint8_t*>(Malloc(kLongHeader));
    finfo.header_written = static_cast<uint8_t*>(Malloc(kLongHeader));
    std::memset(finfo.header_written, 0, kLongHeader);
  }
  std::memcpy(finfo.header_read, header.data(), kLongHeader);
}

}  // namespace

void SwitchTimeZone(uint8_t revision) {
  const bool utc = arcdelinfo.auto_flg == 0 && revision >= kFirstRevision &&
                   (revision > kLastRevision || LayoutOf(revision).row.keeps_header);
  if (!utc) {
    if (finfo.utc_in_force) SwitchBackFromUtc();
    finfo.utc_in_force = false;
    if (finfo.traced_utc) {
      TraceZone("TZ UTC to Local");
      finfo.traced_utc = false;
    }
    return;
  }
  if (!finfo.utc_in_force) SwitchToUtc();
  finfo.utc_in_force = true;
  if (!finfo.traced_utc) {
    TraceZone("TZ Local to UTC");
    finfo.traced_utc = true;
  }
}

HeaderVerdict JudgeHeader(const uint8_t* bytes, int64_t size, bool chosen_by_date, bool no_period) {
  if (size < static_cast<int64_t>(kRecordHeaderSize)) return HeaderVerdict::kShort;
  if (!TagIs(bytes, "HDR")) return HeaderVerdict::kNoHeader;
  if (!KnownRevision(bytes[kAtFlag])) return HeaderVerdict::kUnknownRevision;
  const RevisionRow& row = LayoutOf(bytes[kAtFlag]).row;
  if (size < row.file_header) return HeaderVerdict::kShort;
  if (bytes[kAtLevel] != 'D' || chosen_by_date) return HeaderVerdict::kAccepted;
  return row.keeps_header && no_period ? HeaderVerdict::kPassedOver : HeaderVerdict::kDayArchive;
}

int PreReadHeaderRec() {
  HeaderBytes header = {};
  const int64_t left = BytesLeft();
  if (left >= static_cast<int64_t>(kRecordHeaderSize)) {
    ReadExact(rfd, header.data(), kRecordHeaderSize);
    Rev_Kind = header[kAtFlag];
    SwitchTimeZone(Rev_Kind);
    // The rest only of what is a header as far as its level.
    if (JudgeHeader(header.data(), left, true, false) == HeaderVerdict::kAccepted) {
      const size_t rest = LayoutOf(Rev_Kind).row.file_header - kRecordHeaderSize;
      ReadExact(rfd, header.data() + kRecordHeaderSize, rest);
    }
  }
  const bool chosen_by_date = (finfo.optclass & kOptDirectory) != 0;
  switch (JudgeHeader(header.data(), left, chosen_by_date, arcdelinfo.noperiod_flg != 0)) {
    case HeaderVerdict::kAccepted:
      return 0;
    case HeaderVerdict::kPassedOver:
      return -2;
    case HeaderVerdict::kShort:
      LogMessage(110, rfname, "read", 0, kDetRead);
      break;
    case HeaderVerdict::kNoHeader:
      LogMessage(101, rfname);
      break;
    case HeaderVerdict::kUnknownRevision:
      LogMessage(120, rfname);
      break;
    case HeaderVerdict::kDayArchive:
      LogMessage(108, rfname);
      break;
  }
  return -1;
}

void ReadHeaderRec() {
  HeaderBytes header = {};
  ReadExact(rfd, header.data(), kRecordHeaderSize);
  Rev_Kind = header[kAtFlag];
  SwitchTimeZone(Rev_Kind);
  // The header check has judged tag and revision already; a file that changed since ends here.
  if (!TagIs(header.data(), "HDR") || !KnownRevision(Rev_Kind)) {
    LogMessage(101, rfname);
    LeaveOutputAndEnd();
  }
  finfo.previous_time = finfo.record_time;
  finfo.previous_length = finfo.record_length;
  finfo.revision = Rev_Kind;
  finfo.record_time = Load32(header.data() + kAtTime);
  finfo.record_length = Load32(header.data() + kAtLength);
  finfo.header_time = finfo.record_time;

  const RevisionLayout& layout = LayoutOf(Rev_Kind);
  ReadExact(rfd, header.data() + kRecordHeaderSize, layout.row.file_header - kRecordHeaderSize);
  finfo.layout = &layout;
  finfo.input_level = static_cast<char>(header[kAtLevel]);
  finfo.second_level = header[kAtSecondLevel];
  finfo.configuration = Load32(header.data() + kAtConfiguration);
  SetMasks(layout, header.data());
  if (layout.row.keeps_header) KeepHeader(header);
  ChooseOutputLevel();
}

void WriteHeaderRec() {
  HeaderBytes header = {};
  const RevisionLayout& layout = *finfo.layout;
  Rev_Kind = finfo.revision;
  SwitchTimeZone(Rev_Kind);
  if (layout.row.keeps_header) {
    std::memcpy(header.data(), finfo.header_read, kLongHeader);
    std::memcpy(finfo.header_written, finfo.header_read, kLongHeader);
  } else {
    std::memcpy(header.data() + kAtTag, "HDR", 3);
    header[kAtFlag] = Rev_Kind;
    Store32(header.data() + kAtTime, static_cast<uint32_t>(finfo.record_time));
    Store32(header.data() + kAtLength, layout.row.file_header);
    header[kAtSecondLevel] = finfo.second_level;
  }
  header[kAtLevel] = static_cast<uint8_t>(finfo.level);
  Store32(header.data() + kAtConfiguration, finfo.configuration);
  for (const BitmapRow& row : layout.Bitmaps()) {
    Store32(header.data() + row.at, MasksOf(row.kind).out_mask);
  }
  WriteRecord(header.data(), layout.row.file_header);
}

FileDate DateOf(const uint8_t* header) {
  return {header[kAtYear], header[kAtMonth], header[kAtDay]};
}
