// The present, of which times like "yesterday" are told: one place for all commands.
#pragma once

#include <cstdint>

namespace psltool {

// Seconds since 1970 by the system's clock, or what the variable PSLTOOL_NOW of the environment
// says ("@1709546700"): so that a command can be repeated as of then.
int64_t Now();

}  // namespace psltool
