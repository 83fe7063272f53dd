// One unit of archiving work done to its end: the archiver makes its archive in a directory of its
// own, the archive is checked, brought to the disk and renamed. Whatever happens on the way, the
// archive's own name holds the old archive, the new one, or nothing; and a new start does it again.
#pragma once

#include <cstdint>
#include <string>

#include "tools/running/units.h"

namespace psltool {

enum class UnitEnd : uint8_t {
  kMade,
  kWasDone,  // found done; nothing was changed
  kNotMade,  // the archiver or the check refused, reported
  kTrouble,  // a file could not be written, a program not started; reported
};

struct UnitRequest {
  UnitPlace place;
  std::string name;
  std::string archiver;  // program; empty: the one beside psltool, else the one in PATH
  bool again = false;    // even if it is done
};

UnitEnd RunUnit(const UnitRequest& request, WorkUnit& unit);

}  // namespace psltool
