// The version of both programs. Its one place is the project's line in CMakeLists.txt; a release
// tag says the same, which scripts/release looks at.
#pragma once

// As it is printed: the last of the three numbers has three digits, "7.4.003".
extern const char kVersion[];
