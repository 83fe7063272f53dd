// One lookup of a resource in an automatic run over a table that a structure record filled: the
// position that it gives, and whether it reports the resource as missing.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <ostream>

#include "areas/finfo.h"
#include "tests/support/record_builder.h"
#include "tests/support/revision_run.h"
#include "tests/support/run_state.h"

namespace revtest {

using Keys = std::initializer_list<Key>;

inline void Configure(RevisionRun& run, int revision, Kind kind, Keys keys, unsigned basic97 = 0) {
  StructureBuilder structure(revision);
  structure.basic.U8(97, basic97);
  if (kind == kPool) structure.basic.U8(95, 1);
  run.Feed(structure.Add(kind, keys).Build());
}

// What a lookup gives in an automatic run, with the number of messages on standard error.
struct Looked {
  int32_t index;
  bool reported;
  bool operator==(const Looked&) const = default;
};
inline void PrintTo(const Looked& found, std::ostream* out) {
  *out << found.index << (found.reported ? ", reported" : "");
}

inline Looked Look(RevisionRun& run, const std::function<int32_t()>& find) {
  run.Automatic();
  auto_break_flg = 0;
  Capture errors(2);
  const int32_t index = find();
  const bool told = errors.Text() == "Qelprfarc: 112 Record broken -- 20240101array.psl\n";
  return {index, told && auto_break_flg == 1};
}

inline constexpr Looked kMissing = {-1, true};
inline Looked At(int32_t index) { return {index, false}; }

}  // namespace revtest
