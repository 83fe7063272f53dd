// Statistics records one by one, each wholly in memory: the rules as they are written. Records that
// are read side by side (batch.h) must give the same.
#pragma once

#include "engine/layout/layout.h"
#include "revisions/record_buffer.h"
#include "revisions/sections.h"

// Folds the sections of a record whose counts agree. False: broken, reported.
bool FoldSections(const RecordView& record, const Sections& sections, const RevisionLayout& layout);

// Takes the optional items of a record. False: broken, reported.
bool TakeItems(RecordBytes& record, const Sections& sections);
