// The version: compiled with the number that CMake knows. See the header.
#include "platform/version.h"

const char kVersion[] = QELPRFARC_VERSION;
