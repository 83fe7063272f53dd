// Logs to be read side by side or one by one: every kind of resource and of optional item, random
// figures; and how they are read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "engine/input_bytes.h"
#include "revisions/statistics.h"
#include "tests/revisions/items_fixture.h"
#include "tests/revisions/many_slots_run.h"
#include "tests/support/record_builder.h"
#include "tests/support/record_bytes.h"
#include "tests/support/revision_facts.h"

namespace revtest {

inline constexpr uint8_t kOfEach = 11;  // resources: a tile and a rest
inline constexpr int kRecords = 13;     // of the first hour: one batch and the beginning of another

// Sets how records are read while it exists.
class Reading {
 public:
  Reading(size_t records, size_t piece) {
    records_at_a_time = records;
    piece_bytes = piece;
  }
  ~Reading() {
    records_at_a_time = 10;
    piece_bytes = kPieceBytes;
  }
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;
};

// Holds a few entries, but the cache section, which is read side by side only in one piece.
inline size_t SmallPiece(int revision) { return revision < 0x19 ? 200 : kOfEach * size_t{128}; }

// A log of every kind with random figures, and optional items.
class MadeLog {
 public:
  // `strangers`: of so many entries one has the key of another resource or of none.
  MadeLog(int revision, uint32_t seed, uint32_t strangers = 0)
      : revision_(revision), figures_(seed), strangers_(strangers) {}

  std::string Make() {
    starts.clear();
    std::string log = spell::HeaderRecord({.revision = static_cast<uint8_t>(revision_)});
    log += spell::TextOf(Structure());
    const bool nodes = revision_ >= 0x1A;
    for (int i = 0; i < kRecords + 3; ++i) {
      if (i == 4) log += spell::FixedRecord("NNC", 80);
      if (i == 7) log += spell::FreeRecord(40);
      starts.push_back(log.size());
      log += spell::TextOf(Statistics(i, nodes));
    }
    return log;
  }
  std::vector<size_t> starts;  // of the statistics records
  uint8_t of_each = kOfEach;
  // Keys of entries of logical and physical disks instead of their own, by record and place.
  std::map<std::pair<int, int>, uint8_t> logical, physical;
  Bytes padding;  // behind the sections of each statistics record
  // Whether two of the first tile's entries are compact, and one of some kinds not valid, in all
  // records; at these records and places it is the other way round.
  bool steady = false;
  std::set<std::pair<int, int>> turned;
  void TurnTile(int record, bool full) {
    for (int place = 0; place < 8; ++place) {
      if ((place == 2 || place == 5) == full) turned.insert({record, place});
    }
  }

 private:
  Bytes Structure() const {
    StructureBuilder all = OneOfEach(revision_, false, 1);
    for (uint8_t key = 2; key <= of_each; ++key) {
      for (auto& [slot, entries] : OneOfEach(revision_, false, key).lists) {
        all.lists[slot].insert(all.lists[slot].end(), entries.begin(), entries.end());
      }
    }
    all.basic.U16(98, 0x8002).U16(100, 0x8002).U16(102, 0x8002).U16(104, 0x8002).U8(97, 0x20);
    return all.Build();
  }

  Bytes Statistics(int i, bool nodes) {
    StatisticsBuilder record = EntryOfEach(revision_, 0);
    const uint32_t hour = i < kRecords ? 0 : 3600;
    record.time = spell::kNewYear + hour + static_cast<uint32_t>(i);
    std::vector<Kind> kinds;
    for (const auto& [kind, entries] : record.sections) kinds.push_back(kind);
    if (nodes) kinds.push_back(kHpNode);
    record.sections.clear();
    for (const Kind kind : kinds) {
      for (uint8_t key = 1; key <= of_each; ++key) {
        const bool by_position = revision_ >= 0x1D && (kind == kHp || kind == kRp || kind == kMp);
        const bool stranger = strangers_ != 0 && !by_position && figures_.OneIn(strangers_);
        const uint8_t usual = stranger ? StrangerIn(kind) : key;
        record.Add(kind, Entry(kind, KeyInstead(kind, i, key - 1, usual), i, key - 1));
      }
    }
    if (revision_ >= 0x18) {
      record.Item(Item({.type = kConcType, .elements = {Conc(figures_.Below(4), 1)}}));
      record.Item(Item({.type = kCabType,
                        .flag = 0x80,
                        .interval = 5,
                        .elements = {Cab(1, 2, figures_.Next()), Cab(2, 2, figures_.Next())}}));
      // Of a disk that no table has, which goes to where the section has left the search, and of
      // one in the midst, where it goes on.
      const uint32_t n = figures_.Below(1000);
      record.Item(Item({.type = kWaitType,
                        .interval = 1000,
                        .elements = {Wait(0x6363, n, 2, 3, 4), Wait(0x0404, n, 3, 4, 5)}}));
    }
    Bytes built = record.Build().Add(padding);
    return built.U32(8, built.size());
  }

  uint8_t KeyInstead(Kind kind, int record, int place, uint8_t usual) const {
    if (kind != kLd && kind != kPd) return usual;
    const auto& keys = kind == kLd ? logical : physical;
    const auto found = keys.find({record, place});
    return found != keys.end() ? found->second : usual;
  }

  Bytes Entry(Kind kind, uint8_t key, int record, int place) {
    Bytes entry = PlainEntry(revision_, kind, key, 1 + figures_.Below(3) * 1000);
    entry.U32(0, figures_.Next());
    if (kind == kCache) return entry;
    const EntryFacts facts = EntryOf(kind, revision_);
    for (int k = 0; k < facts.quads; ++k) {
      entry.Quad(static_cast<size_t>(facts.quads_at + 16 * k), figures_.Next(), figures_.Next(),
                 figures_.Next(), figures_.Next());
    }
    const bool other = turned.contains({record, place});
    const bool not_valid = steady ? kind % 2 == 0 && place == 5 && !other : figures_.OneIn(12);
    if (not_valid) entry.U8(static_cast<size_t>(facts.not_valid), 1);
    const std::vector<KindFacts> kinds = KindsOf(revision_);
    const int head = FindKind(kinds, kind)->head;
    if (head == 0) return entry;
    const bool usual = steady ? place == 2 || place == 5 : figures_.OneIn(5);
    if (usual == other) return entry;
    return entry.U8(static_cast<size_t>(facts.compact), 1).Part(0, static_cast<size_t>(head));
  }

  // Disks that no table has go to where the search stands; with others a record is broken.
  uint8_t StrangerIn(Kind kind) {
    const bool by_cursor = kind == kPd || (kind == kLd && revision_ >= 0x15);
    return static_cast<uint8_t>(1 + figures_.Below(by_cursor ? kOfEach + 5 : kOfEach));
  }

  int revision_;
  Figures figures_;
  uint32_t strangers_;
};

// Gives the last disk port of a record the key of none. Disk ports are never compact.
inline void BreakLastDiskPort(std::string* log, size_t start, int revision) {
  const std::vector<KindFacts> kinds = KindsOf(revision);
  const KindFacts& ports = *FindKind(kinds, kDp);
  const auto word = [&](size_t at) {
    return Bytes(std::vector<uint8_t>(log->begin() + static_cast<std::ptrdiff_t>(at),
                                      log->begin() + static_cast<std::ptrdiff_t>(at + 4)))
        .Get32(0);
  };
  const size_t section = start + word(start + static_cast<size_t>(ports.slot) + 4);
  const size_t last = section + static_cast<size_t>(ports.entry) * (kOfEach - 1);
  (*log)[last + 8] = '\xEE';
  (*log)[last + 9] = '\xEE';
}

}  // namespace revtest
