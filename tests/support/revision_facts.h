// What the format lays down per revision, spelled out by hand for the tests: where a kind stands in
// the headers, how large its entries are, where their fields lie. layout_test holds these tables
// against the program's own.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "areas/kinds.h"
#include "tests/support/revisions.h"

namespace revtest {

// A kind in one revision.
struct KindFacts {
  Kind kind;
  int slot;   // of its descriptor in structure records and its header in statistics records
  int list;   // bytes of a list entry; 0: no list; kFromDescriptor
  int entry;  // bytes of a statistics entry
  int head;   // bytes of a compact entry; 0: never compact
  int mask_at;
  uint32_t mask;
};
// An offset of the layout as an index into a buffer.
inline size_t Index(int at) { return static_cast<size_t>(at); }

inline constexpr int kFromDescriptor = -1;

// The kinds of a revision, in the order of the sections of its statistics records.
std::vector<KindFacts> KindsOf(int revision);
const KindFacts* FindKind(const std::vector<KindFacts>& kinds, Kind kind);

// A list of the structure record.
struct ListFacts {
  int slot;
  int entry;      // kFromDescriptor: the descriptor's first field
  int length_at;  // u32 total length of the entry; -1: no variable part
  enum { kWritten, kFixed, kLogsOnly } output;  // kFixed: descriptor 4, 0, 0 and no entries
};

// The lists of a revision in the order in which they are written.
std::vector<ListFacts> ListsOf(int revision);

// Where the fields of a kind's statistics entries lie. -1: no such field.
struct EntryFacts {
  std::vector<int> keys;  // bytes
  int compact;
  int not_valid;
  int ratio;
  int flag_at;  // ratio present, 0 in flag: always present
  int flag;
  int quads_at;
  int quads;
  int tracked;                 // the first so many have extremes
  bool idles;                  // idle entries are written compact
  std::array<int, 2> carried;  // u32 words kept from the last valid entry
};
EntryFacts EntryOf(Kind kind, int revision);  // not for the cache section

int RecordHeadOf(int revision);
int TrailingAt(int revision);  // 0: none
bool OlderRule(int revision);
std::string NameOf(Kind kind);
std::string RevisionName(int revision);  // "0x1D"

std::vector<int> AllRevisions();
std::vector<int> RevisionsFrom(int first, int last = kNewestRevision);

}  // namespace revtest
