// The sections of a statistics record as its head tells them: where they lie, and whether they are
// those of the structure record in force.
#pragma once

#include <array>
#include <cstdint>

#include "engine/layout/layout.h"
#include "engine/pmoncommon.h"

struct Sections {
  std::array<stahdr, kSectionKinds> of = {};
  stahdr items = {};
};

// Of the record read last; the writer carries their first fields.
extern Sections sections_read;

Sections DecodeSections(const uint8_t* head, const RevisionLayout& layout);

// The layout of a record of a file in `layout`: archives of 0x10 can hold records of 0x11.
const RevisionLayout& LayoutOfRecord(const uint8_t* head, const RevisionLayout& layout);

constexpr bool HasEntries(const stahdr& header) { return header.count != 0 && header.offset != 0; }

// Whether the section's entries are to be read.
bool IsTaken(const Sections& sections, const SectionRow& row);

// Whether the set of a section that has entries must be built from it first.
bool BuildsSet(const Sections& sections, const SectionRow& row, const RevisionLayout& layout);

// Whether the counts are those of the resources; those of sets to be built are not compared.
bool CountsAgree(const Sections& sections, const RevisionLayout& layout);
