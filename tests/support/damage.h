// Files damaged the way that disks, transfers and ill will damage them.
#pragma once

#include <string>

#include "tests/model/random_source.h"

// Some bytes are others, a part is missing or stands twice, the end is cut off.
std::string Damaged(model::Random& random, std::string bytes);

// The same, and now and then lengths and counts at the ends of their range.
std::string DamagedOnPurpose(model::Random& random, std::string bytes);
