// The parts of all statistics records of a file, for tests that choose some of them.
#pragma once

#include <string>

#include "tools/audit/record_fields.h"
#include "tools/reading/psl_reader.h"

using namespace psltool;

// Calls take(reader, part) for every part that belongs to a kind; the reader stands at its record.
template <class Take>
void ForEachPart(const std::string& path, Take take) {
  PslReader reader(path);
  if (!reader.Open()) return;
  FieldContext context;
  context.header = reader.header();
  while (reader.Next()) {
    if (reader.tag() != "STA") continue;
    for (const RecordPart& part : PartsOf(context, reader.record())) {
      if (part.kind != kNoKind) take(reader, part);
    }
  }
}
