// The structures of the files as all who read and write them include them: the offsets and sizes
// that every revision shares. What differs by revision is in engine/layout/layout.h.
#pragma once

#include "engine/layout/records.h"  // IWYU pragma: export
