// Speed of the inner loops: folding a section's entries into slots and writing a period's slots as
// entries.
#include <benchmark/benchmark.h>

#include <bit>
#include <vector>

#include "areas/finfo.h"
#include "engine/byteorder.h"
#include "engine/layout/layout.h"
#include "engine/pmonfile.h"
#include "revisions/fold/fold.h"
#include "revisions/sets/provide.h"
#include "revisions/sets/slots.h"

namespace {

constexpr uint8_t kRevision = 0x21;
constexpr uint32_t kInterval = 60000;

// What a run has set up when it meets a section of `count` entries of one kind.
struct Section {
  const SectionRow* row = nullptr;
  QuadRule rule = QuadRule::kCurrent;
  std::vector<uint8_t> entries;
  uint32_t count = 0;

  RecordView Record() const { return {entries.data(), entries.size()}; }
};

uint32_t FullMask(Kind kind) {
  const RevisionLayout& layout = LayoutOf(kRevision);
  for (size_t i = 0; i < layout.bitmap_count; ++i) {
    if (layout.bitmaps[i].kind == kind) return layout.bitmaps[i].full;
  }
  return 0;
}

// Entry `i`: valid, full, with operations in every counter group.
void FillEntry(const Form& form, uint32_t i, uint8_t* entry) {
  Store32(entry + kAtStatus, 1);
  Store32(entry + kAtInterval, kInterval);
  if (form.key.number) {
    Store16(entry + form.key.at[0], static_cast<uint16_t>(i));
  } else {
    entry[form.key.at[0]] = static_cast<uint8_t>(i >> 8);
    if (form.key.count > 1) entry[form.key.at[1]] = static_cast<uint8_t>(i);
  }
  if (form.ratio != kNone) Store16(entry + form.ratio, static_cast<uint16_t>(i % 10000));
  if (form.ratio_flag.at != kNone) entry[form.ratio_flag.at] = form.ratio_flag.bit;
  for (size_t n = 0; n < form.quadsets; ++n) {
    uint8_t* const quadset = entry + form.quadsets_at + n * kQuadsetSize;
    Store32(quadset, 1000 + i % 997);
    Store32(quadset + 4, 300 + i % 31);
    Store32(quadset + 8, 4000 + i % 61);
    Store32(quadset + 12, 8192);
  }
}

void FillTable(const Section& section, Kind kind, Lookup lookup) {
  const Form& form = kForms[section.row->form];
  uint8_t* table = ShapeSet(kind, {.entries = static_cast<int32_t>(section.count),
                                   .lookup = lookup,
                                   .key_count = form.key.count,
                                   .head_size = SlotHeadSize(kind),
                                   .quadsets = form.quadsets,
                                   .tracked = form.tracked});
  const size_t step = section.entries.size() / section.count;
  for (uint32_t i = 0; i < section.count; ++i, table += kKeyRoom) {
    for (size_t n = 0; n < form.key.count; ++n) {
      table[n] = section.entries[i * step + form.key.at[n]];
    }
  }
  StartSet(kind);
}

Section MakeSection(Kind kind, uint32_t count, bool words) {
  const RevisionLayout& layout = LayoutOf(kRevision);
  Section section;
  section.count = count;
  section.row = FindRow(layout.Sections(), kind);
  section.rule = layout.row.rule;
  const uint32_t mask = FullMask(kind);
  const auto bits = static_cast<uint32_t>(std::popcount(mask));
  finfo.revision = kRevision;
  finfo.layout = &layout;
  Rev_Kind = kRevision;
  finfo.items[kind] = {words ? mask : 0, words ? bits : 0, mask, bits};
  finfo.first_interval = false;
  const Form& form = kForms[section.row->form];
  const size_t step = form.size + (words ? size_t{bits} * 4 : 0);
  section.entries.assign(count * step, 0);
  for (uint32_t i = 0; i < count; ++i) FillEntry(form, i, section.entries.data() + i * step);
  for (size_t i = 0; i < layout.list_count; ++i) {
    const ListRow& row = layout.lists[i];
    if (row.kind == kind) FillTable(section, kind, row.lookup);
  }
  return section;
}

void Count(benchmark::State& state, uint32_t items, size_t bytes) {
  const auto rounds = static_cast<int64_t>(state.iterations());
  state.SetItemsProcessed(rounds * items);
  state.SetBytesProcessed(rounds * static_cast<int64_t>(bytes));
}

void Fold(benchmark::State& state, Kind kind, bool words) {
  const Section section = MakeSection(kind, static_cast<uint32_t>(state.range(0)), words);
  // As in a period: what its first interval begins, the others go on with.
  finfo.first_interval = true;
  for (auto _ : state) {
    if (!ReadSection(section.Record(), *section.row, section.rule, 0, section.count)) {
      state.SkipWithError("the section was refused");
      break;
    }
    finfo.first_interval = false;
  }
  Count(state, section.count, section.entries.size());
  DropSets();
}

void Write(benchmark::State& state, Kind kind) {
  const Section section = MakeSection(kind, static_cast<uint32_t>(state.range(0)), false);
  finfo.first_interval = true;
  ReadSection(section.Record(), *section.row, section.rule, 0, section.count);
  std::vector<uint8_t> out(section.count * LargestEntry(*section.row));
  size_t written = 0;
  for (auto _ : state) {
    const auto count = static_cast<int32_t>(section.count);
    const uint8_t* const end = PutSection(out.data(), *section.row, section.rule, 0, count);
    written = static_cast<size_t>(end - out.data());
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  if (written != out.size()) state.SkipWithError("entries were written compact");
  Count(state, section.count, written);
  DropSets();
}

}  // namespace

BENCHMARK_CAPTURE(Fold, LogicalDisks, kLd, false)->Arg(64)->Arg(4096)->Arg(65535);
BENCHMARK_CAPTURE(Fold, LogicalDisksWithWords, kLd, true)->Arg(4096);
BENCHMARK_CAPTURE(Fold, PhysicalDisks, kPd, false)->Arg(4096);
BENCHMARK_CAPTURE(Fold, HostPorts, kHp, false)->Arg(64)->Arg(4096);
BENCHMARK_CAPTURE(Fold, Pools, kPool, false)->Arg(256);
BENCHMARK_CAPTURE(Write, LogicalDisks, kLd)->Arg(64)->Arg(4096)->Arg(65535);
BENCHMARK_CAPTURE(Write, PhysicalDisks, kPd)->Arg(4096);
