// How a command of psltool ends, as the shell sees it.
#pragma once

namespace psltool {

inline constexpr int kExitClean = 0;
inline constexpr int kExitFindings = 1;  // what was looked at is not as it should be
inline constexpr int kExitTrouble = 2;   // it could not be looked at, or not be asked for like this

}  // namespace psltool
