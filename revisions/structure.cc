// Structure records: see the header.
#include "revisions/structure.h"

#include <unistd.h>

#include <array>
#include <cstring>

#include "areas/finfo.h"
#include "engine/broken.h"
#include "engine/byteorder.h"
#include "engine/family.h"
#include "engine/pmoncommon.h"
#include "revisions/fold/fold.h"
#include "revisions/items.h"
#include "revisions/record_buffer.h"
#include "revisions/sets/provide.h"
#include "revisions/sets/slots.h"
#include "revisions/statistics.h"

const uint8_t* Top_lvdvno_ptr = nullptr;
const uint8_t* Top_ldpdno_ptr = nullptr;
uint32_t ld_total_size = 0;
uint32_t rank_total_size = 0;

namespace {

constexpr size_t kMaxLists = std::tuple_size_v<decltype(RevisionLayout::lists)>;
constexpr std::array<size_t, 4> kBasicCounts = {kBasicConc, kBasicLdCp, kBasicPoolCp, kBasicCab};

// The record read last, as offsets into it.
struct StructureRecord {
  RecordView record;
  const uint8_t* basic;
  std::array<conhdr, kMaxLists> descriptors;
  std::array<const uint8_t*, kMaxLists> lists;  // null: not carried or empty
  std::array<size_t, kMaxLists> sizes;          // with variable parts
  const uint8_t* trailing;
  size_t trailing_size;
  bool continuation;
};
StructureRecord structure;

// Counts of the record that is in force (structure_revision tells whether there is one), for
// comparison with the next one.
struct HeldCounts {
  std::array<uint16_t, kMaxLists> lists;
  std::array<uint16_t, kBasicCounts.size()> basic;
};
HeldCounts held;

const RevisionLayout& Layout() { return *finfo.layout; }

bool Includes(Included included) { return IsIncluded(included, structure.basic[kBasicIncluded]); }

size_t EntrySize(const ListRow& row, const conhdr& descriptor) {
  return row.entry == kSizeFromDescriptor ? descriptor.first : row.entry;
}

// Decodes header and basic information. False: broken, reported.
bool DecodeHeader() {
  const RecordView& record = structure.record;
  if (record.size < Layout().row.record_head) return BrokenRecord("structure record too short");
  conhdr basic;
  ntoh_conhdr(&basic, record.data + kAtFirstHeader);
  structure.basic = Carve(record, basic.offset, kBasicSize);
  if (structure.basic == nullptr) return BrokenRecord("basic information leaves its record");
  for (size_t i = 0; i < Layout().list_count; ++i) {
    ntoh_conhdr(&structure.descriptors[i], record.data + Layout().lists[i].header_at);
  }
  structure.continuation = record.data[kAtContinuation] != 0;
  return true;
}

// Bits of kinds that the revision lacks are ignored.
bool HasItemCount(size_t basic_at) {
  size_t i = 0;
  while (kItemRows[i].basic_at != basic_at) ++i;  // every count has its row
  return kItemRows[i].span.Holds(finfo.revision);
}

bool HasWaitTimes() {
  for (const ItemRow& row : kItemRows) {
    if (row.basic_at == 0 && !row.span.Holds(finfo.revision)) return false;
  }
  return (structure.basic[kBasicFlags] & kBasicWaitTimes) != 0;
}

bool CountsAreHeld() {
  if (structure_revision != finfo.revision) return false;
  for (size_t i = 0; i < Layout().list_count; ++i) {
    if (structure.descriptors[i].count != held.lists[i]) return false;
  }
  for (size_t i = 0; i < kBasicCounts.size(); ++i) {
    const uint16_t word = Load16(structure.basic + kBasicCounts[i]);
    if (!HasItemCount(kBasicCounts[i]) || (word & kBasicPresent) == 0) continue;
    if (word != held.basic[i]) return false;
  }
  return true;
}

void HoldCounts() {
  for (size_t i = 0; i < Layout().list_count; ++i) held.lists[i] = structure.descriptors[i].count;
  for (size_t i = 0; i < kBasicCounts.size(); ++i) {
    held.basic[i] = Load16(structure.basic + kBasicCounts[i]);
  }
}

// True when a day archive in progress holds this configuration already. Otherwise the continuation
// flag is cleared where the record does not continue what came before.
bool IsContinued() {
  const bool applies = finfo.continuation_switch == 1 && finfo.level == 'D' &&
                       structure.continuation && (pmonarc_stat & kContinued) != 0;
  if (!applies) return false;
  if ((pmonarc_stat & kNextDay) == 0 || !CountsAreHeld()) {
    structure.continuation = false;
    return false;
  }
  return !HasWaitTimes() && finfo.output_has_structure;
}

// Finds the bytes of one list, variable parts included. False: broken, reported.
bool LocateList(size_t i) {
  const ListRow& row = Layout().lists[i];
  const conhdr& descriptor = structure.descriptors[i];
  structure.lists[i] = nullptr;
  structure.sizes[i] = 0;
  if (descriptor.count == 0 || !Includes(row.included)) return true;
  const size_t entry = EntrySize(row, descriptor);
  if (entry < 2) return BrokenRecord("list entries too small for their key");
  if (descriptor.offset == 0) return BrokenRecord("list without an offset");
  size_t size = descriptor.count * entry;
  if (row.total_length_at != kNone) {
    size = 0;
    for (uint32_t n = 0; n < descriptor.count; ++n) {
      const uint8_t* p = Carve(structure.record, descriptor.offset + uint64_t{size}, entry);
      if (p == nullptr) return BrokenRecord("list leaves its record");
      const uint32_t total = Load32(p + row.total_length_at);
      if (total < entry) return BrokenRecord("variable entry shorter than its fixed part");
      if (Carve(structure.record, descriptor.offset + uint64_t{size}, total) == nullptr) {
        return BrokenRecord("variable part leaves its record");
      }
      size += total;
    }
  }
  structure.lists[i] = Carve(structure.record, descriptor.offset, size);
  structure.sizes[i] = size;
  return structure.lists[i] != nullptr || BrokenRecord("list leaves its record");
}

bool LocateTrailing() {
  structure.trailing = nullptr;
  structure.trailing_size = 0;
  const uint16_t at = Layout().row.trailing_at;
  if (at == 0) return true;
  const uint32_t offset = Load32(structure.record.data + at);
  if (offset == 0) return true;
  if (offset > structure.record.size) return BrokenRecord("trailing section leaves its record");
  structure.trailing = structure.record.data + offset;
  structure.trailing_size = structure.record.size - offset;
  return true;
}

const Form& FormOf(Kind kind) {
  // Every list has its section (layout/check.cc).
  return kForms[FindRow(Layout().Sections(), kind)->form];
}

// The second key byte of cache segments is in use only where the array says so.
uint8_t KeyCountOf(Kind kind, const Form& form) {
  const bool second =
      Layout().row.second_cheseg_key && (structure.basic[kBasicFlags] & kBasicSecondChesegKey) != 0;
  return kind == kCheseg && !second ? 1 : form.key.count;
}

// Takes the keys of a list; variable parts are stepped over.
void FillSet(size_t i) {
  const ListRow& row = Layout().lists[i];
  const conhdr& descriptor = structure.descriptors[i];
  ResourceSet& set = resource_sets[row.kind];
  if (structure.lists[i] == nullptr) {
    set.count = descriptor.count;  // still compared with the sections of statistics records
    set.lookup = row.lookup;       // an empty table is searched by the rule of its kind
    return;
  }
  const size_t entry = EntrySize(row, descriptor);
  const Form& form = FormOf(row.kind);
  uint8_t* to = ShapeSet(row.kind, {.entries = descriptor.count,
                                    .lookup = row.lookup,
                                    .key_count = KeyCountOf(row.kind, form),
                                    .head_size = SlotHeadSize(row.kind),
                                    .quadsets = form.quadsets,
                                    .tracked = form.tracked});
  const uint8_t* from = structure.lists[i];
  const size_t key_count = resource_sets[row.kind].key_count;
  for (uint32_t n = 0; n < descriptor.count; ++n, to += kKeyRoom) {
    std::memcpy(to, from + row.key_at, key_count);
    from += row.total_length_at == kNone ? entry : Load32(from + row.total_length_at);
  }
}

void NoteVariableParts() {
  Top_lvdvno_ptr = Top_ldpdno_ptr = nullptr;
  ld_total_size = rank_total_size = 0;
  for (size_t i = 0; i < Layout().list_count; ++i) {
    const ListRow& row = Layout().lists[i];
    if (row.total_length_at == kNone || structure.lists[i] == nullptr) continue;
    const auto variable = static_cast<uint32_t>(structure.sizes[i] -
                                                size_t{structure.descriptors[i].count} * row.entry);
    (row.kind == kLd ? Top_lvdvno_ptr : Top_ldpdno_ptr) = structure.lists[i] + row.entry;
    (row.kind == kLd ? ld_total_size : rank_total_size) = variable;
  }
}

// Takes the record at hand into the resource sets. False: broken, reported; nothing is held then.
bool TakeStructure() {
  DropSets();
  for (size_t i = 0; i < Layout().list_count; ++i) {
    if (!LocateList(i)) return false;
  }
  if (!LocateTrailing()) return false;
  int32_t logical_disks = 0;
  for (size_t i = 0; i < Layout().list_count; ++i) {
    const Kind kind = Layout().lists[i].kind;
    if (kind == kNoKind) continue;
    FillSet(i);
    if (kind == kLd) logical_disks = resource_sets[kLd].entries;
  }
  NoteVariableParts();
  MakeItemBlocks(structure.basic, finfo.revision, logical_disks);
  structure_revision = finfo.revision;
  included_choice = structure.basic[kBasicIncluded];
  HoldCounts();
  return true;
}

// Provides the slots of the lists. They come when the record has been written and its memory given
// back: both may be large.
void StartSets() {
  for (size_t i = 0; i < Layout().list_count; ++i) {
    const Kind kind = Layout().lists[i].kind;
    if (kind != kNoKind && structure.lists[i] != nullptr) StartSet(kind);
  }
}

// Skips the record at hand, or takes and writes it.
void DecideOnStructure() {
  if (!DecodeHeader()) {
    DropSets();
    return;
  }
  if (IsContinued()) {
    DropSetsFromStatistics();
    return;
  }
  if ((pmonarc_stat & kPeriodInProgress) != 0) {
    WriteStatistics(*finfo.layout);
    pmonarc_stat = kNewOutput;
  }
  if (!TakeStructure()) return;
  WriteStructure();
  ReleaseWholeRecord();
  StartSets();
}

// Whether the entries of a list are written.
bool IsWritten(size_t i) {
  const ListRow& row = Layout().lists[i];
  return row.written && structure.lists[i] != nullptr;
}

// Puts the descriptors of lists whose entries begin at `at`; the offset behind these. The list that
// a pair excludes carries the offset of the other, so both are put where they start.
size_t PutDescriptors(uint8_t* head, size_t at) {
  size_t pair_at = 0;
  for (size_t i = 0; i < Layout().list_count; ++i) {
    const ListRow& row = Layout().lists[i];
    conhdr descriptor = structure.descriptors[i];
    if (row.fixed_descriptor) {
      descriptor = {4, 0, 0};
    } else if (!row.written) {
      continue;
    } else {
      if (row.included != Included::kAlways && pair_at == 0) pair_at = at;
      const size_t start = row.included != Included::kAlways ? pair_at : at;
      descriptor.offset = static_cast<uint32_t>(start);
      if (IsWritten(i)) at += structure.sizes[i];
    }
    hton_conhdr(head + row.header_at, &descriptor);
  }
  return at;
}

}  // namespace

// What was marked present stays so: only the numbers are forgotten.
void ForgetHeldItemCounts() {
  for (uint16_t& word : held.basic) word &= kBasicPresent;
}

void ReadStructure() {
  RecordBytes record;
  ReadWholeRecord(&record);
  structure.record = ViewOf(record);
  DecideOnStructure();
  ReleaseWholeRecord();
}

int WriteStructure() {
  const RevisionLayout& layout = Layout();
  const size_t head = layout.row.record_head;
  const uint8_t* const in = structure.record.data;
  RecordWriter writer;
  uint8_t* const out = writer.Room(head + kBasicSize);
  writer.Take(head + kBasicSize);
  std::memset(out, 0, head);

  std::memcpy(out + kAtTag, "CON", 3);
  out[kAtFlag] = finfo.record_flag;
  Store32(out + kAtTime, static_cast<uint32_t>(finfo.record_time));
  out[kAtContinuation] = finfo.continuation_switch == 1 && structure.continuation ? 1 : 0;
  if (layout.row.carries_pair) std::memcpy(out + kAtIntervalValue, in + kAtIntervalValue, 2);

  conhdr descriptor;
  ntoh_conhdr(&descriptor, in + kAtFirstHeader);
  descriptor.offset = static_cast<uint32_t>(head);
  hton_conhdr(out + kAtFirstHeader, &descriptor);
  std::memcpy(out + head, structure.basic, kBasicSize);
  const size_t trailing_at = PutDescriptors(out, head + kBasicSize);
  if (layout.row.trailing_at != 0) {
    uint8_t* const trailing = out + layout.row.trailing_at;
    if (structure.trailing != nullptr) Store32(trailing, static_cast<uint32_t>(trailing_at));
    std::memcpy(trailing + 4, in + layout.row.trailing_at + 4, 4);
  }
  Store32(out + kAtLength, static_cast<uint32_t>(trailing_at + structure.trailing_size));
  for (size_t i = 0; i < layout.list_count; ++i) {
    if (IsWritten(i)) writer.Put(structure.lists[i], structure.sizes[i]);
  }
  writer.Put(structure.trailing, structure.trailing_size);
  writer.Flush();
  finfo.output_has_structure = true;
  return NoteStructureWritten();
}
