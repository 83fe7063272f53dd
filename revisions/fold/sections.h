// Reading and writing whole sections of statistics records: one pair of functions per form and
// quadset rule, chosen once per section.
#pragma once

#include <cstddef>
#include <cstdint>

#include "engine/layout.h"

// A statistics record that is wholly in memory.
struct RecordView {
  const uint8_t* data;
  size_t size;
};

struct SectionOps {
  // Folds `count` entries from `offset` on. False: broken record, reported.
  bool (*read)(const RecordView& record, Kind kind, uint32_t offset, uint32_t count);
  // Puts all slots of the kind; returns the first byte behind them. There must be room for
  // LargestSection bytes.
  uint8_t* (*write)(uint8_t* out, Kind kind);
};

const SectionOps& OpsOf(FormId form, QuadRule rule);

// Bytes of a kind's section when no entry is compact.
size_t LargestSection(FormId form, Kind kind);
