// QelSol_strncmp: the C library's comparison under the portability library's name.
#include "platform/QelHP2Sol.h"

#include <cstring>

int QelSol_strncmp(const char* a, const char* b, size_t length) { return strncmp(a, b, length); }
