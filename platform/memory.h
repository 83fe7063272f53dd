// What the memory of the machine is made of.
#pragma once

#include <cstddef>

inline constexpr size_t kCacheLine = 64;
inline constexpr size_t kLargePage = size_t{2} << 20;  // where the processor has such pages

// Asks for large pages where a block covers them whole. They are a wish: nothing fails without
// them.
void PreferLargePages(void* block, size_t size);
