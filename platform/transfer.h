// How much a single read or write is asked to move.
#pragma once

#include <cstddef>

// One call moves at most this much; the kernel cuts longer transfers, which is no failure.
inline constexpr size_t kLargestTransfer = size_t{1} << 30;
