// Statistics records: see the header.
#include "revisions/statistics.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "areas/finfo.h"
#include "engine/broken.h"
#include "engine/byteorder.h"
#include "engine/family.h"
#include "engine/pmoncommon.h"
#include "engine/stream.h"
#include "revisions/batch.h"
#include "revisions/items.h"
#include "revisions/record_alone.h"
#include "revisions/record_buffer.h"
#include "revisions/sections.h"
#include "revisions/sets/lookup.h"
#include "revisions/sets/provide.h"
#include "revisions/sets/slots.h"

size_t records_at_a_time = kMostBatch;

namespace {

Batch batch;

// Where the period's first statistics record begins.
int64_t period_start = 0;

// The tables with which a record was not as expected: the records that follow are read one by one,
// so that a period is repeated once at most. What is repeated has come in step throughout and does
// not depend on where the cursors stood.
uint32_t tables_alone = 0;
bool any_alone = false;

void ReadAloneFromNowOn() {
  any_alone = true;
  tables_alone = resource_sets[kLd].provided;
}

void BeginPeriod() {
  finfo.first_interval = true;
  period_start = finfo.record_start;
}

// Whether the record at hand belongs to another period than the one in progress.
bool EndsThePeriod() {
  return (pmonarc_stat & (kNewOutput | kContinued)) == 0 &&
         EndsPeriod(finfo.previous_sta_time, finfo.record_time);
}

// Starts a period, or writes the finished hour when this record belongs to a later one.
void DecidePeriod() {
  const int64_t now = finfo.record_time;
  if ((pmonarc_stat & (kNewOutput | kContinued)) != 0) {
    pmonarc_stat = kPeriodInProgress;
    BeginPeriod();
  } else {
    finfo.interval_ms = (now - finfo.previous_sta_time) * 1000;
    if (EndsThePeriod()) {
      WriteStatistics(*finfo.layout);
      finfo.no_statistics = false;  // this record waits now
      BeginPeriod();
    }
  }
  finfo.previous_sta_time = now;
  finfo.folded_time = now;
  finfo.folded_flag = finfo.record_flag;
}

void TakePair(const RevisionLayout& layout, const uint8_t* interval) {
  if (!layout.row.carries_pair) return;
  finfo.previous_interval_value = finfo.interval_value;
  std::memcpy(&finfo.interval_value, interval, 2);
}

// Whether the counts are those of the structure record in force. False: broken, reported.
bool Agrees(const RevisionLayout& layout) {
  const bool any = std::ranges::any_of(layout.Sections(), [](const SectionRow& row) {
    return HasEntries(sections_read.of[row.kind]);
  });
  if (structure_revision != finfo.revision) {
    // Tables of another revision are laid out differently and say nothing about this file.
    DropSets();
    DropItemBlocks();
    if (any) return BrokenRecord("statistics before any structure record");
  }
  return CountsAgree(sections_read, layout) ||
         BrokenRecord("section count differs from the configuration");
}

// The record at hand, whole. `decided`: its period has been begun.
bool ReadAlone(const RevisionLayout& of_file, bool decided) {
  RecordBytes record;
  ReadWholeRecord(&record);
  const RecordView view = ViewOf(record);
  if (view.size < of_file.row.record_head) return BrokenRecord("statistics record too short");
  const RevisionLayout& layout = LayoutOfRecord(view.data, of_file);
  sections_read = DecodeSections(view.data, layout);
  if (!Agrees(layout)) return false;
  if (!decided) DecidePeriod();
  TakePair(layout, view.data + kAtIntervalValue);
  entries_out_of_step = false;
  if (!FoldSections(view, sections_read, layout)) return false;
  if (entries_out_of_step) ReadAloneFromNowOn();
  if (layout.has_items && !TakeItems(record, sections_read)) return false;
  finfo.first_interval = false;
  return true;
}

// Folds the entries of a record that has been read before once more. False: broken, reported; only
// what has been changed since is.
bool FoldAgain(const RevisionLayout& of_file) {
  RecordBytes record;
  ReadWholeRecord(&record);
  const RecordView view = ViewOf(record);
  if (view.size < of_file.row.record_head) return BrokenRecord("statistics record too short");
  const RevisionLayout& layout = LayoutOfRecord(view.data, of_file);
  if (!FoldSections(view, DecodeSections(view.data, layout), layout)) return false;
  finfo.first_interval = false;
  return true;
}

// The slots are void. They get the entries of the period's records again, up to those of the batch,
// whose first record is at hand. False: broken, reported.
bool RepeatPeriod(const RevisionLayout& layout) {
  const FileInfo now = finfo;
  for (uint8_t kind = 0; kind < kSectionKinds; ++kind) ClearSlots(static_cast<Kind>(kind));
  finfo.first_interval = true;
  finfo.position = period_start;
  while (finfo.position < now.record_start) {
    const int64_t at = finfo.position;
    const Frame frame = FrameAt(InputBytes(at, kRecordHeaderSize), at);
    // Somebody may have written to the file since.
    if (frame.fault != FrameFault::kSound) return BrokenRecord("record changed while it was read");
    NoteRecord(at, frame);
    if (frame.tag == RecordTag::kStatistics && !FoldAgain(layout)) return false;
  }
  finfo = now;
  return true;
}

// Takes the records of the batch as the stream hands them over, one after the other, when their
// entries have been folded.
void TakeBatch() {
  // Wait times are searched from where the section of their record has left the cursor.
  const bool disks = batch.Takes(kLd);
  const uint16_t behind_disks = usLdCursor;
  for (size_t i = 0; i < batch.count(); ++i) {
    BatchRecord& record = batch[i];
    if (i != 0) {
      NoteRecord(record.bytes.start(), record.frame);
      DecidePeriod();
    }
    TakePair(*record.layout, record.interval.data());
    sections_read = *record.sections;
    if (disks) usLdCursor = behind_disks;
    if (!record.bytes.ReadUntil(record.bytes.size())) ReadFailed(record.bytes.error());
    if (record.layout->has_items && !TakeItems(record.bytes, sections_read)) return;
    finfo.first_interval = false;
  }
}

}  // namespace

void ReadStatistics(const RevisionLayout& layout) {
  const bool alone = any_alone && tables_alone == resource_sets[kLd].provided;
  if (alone || records_at_a_time <= 1 || !batch.Begin()) {
    ReadAlone(layout, false);
    return;
  }
  sections_read = *batch[0].sections;
  // Nothing is written before it is known that this record can be read.
  if (EndsThePeriod()) batch.ReadFirst();
  DecidePeriod();
  batch.Gather(records_at_a_time);
  const std::array cursors = {usLdCursor, usPdCursor};
  if (batch.Fold()) {
    TakeBatch();
    return;
  }
  ReadAloneFromNowOn();
  if (!RepeatPeriod(layout)) return;
  usLdCursor = cursors[0];
  usPdCursor = cursors[1];
  ReadAlone(layout, true);
}

void FreeBatch() { batch.Free(); }
