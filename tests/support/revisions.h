// The revisions that there are, told apart from the tables under test.
#pragma once

inline constexpr int kOldestRevision = 0x10;
inline constexpr int kNewestRevision = 0x21;
