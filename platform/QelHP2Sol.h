// String comparison of the server's portability library.
#pragma once

#include <cstddef>

// Compares at most `length` characters, as strncmp does.
int QelSol_strncmp(const char* a, const char* b, size_t length);
