# The version as the programs print it: the project's, its last number with three digits.
string(LENGTH "00${PROJECT_VERSION_PATCH}" patch_digits)
math(EXPR patch_begin "${patch_digits} - 3")
string(SUBSTRING "00${PROJECT_VERSION_PATCH}" ${patch_begin} 3 patch)
set(QELPRFARC_VERSION "${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}.${patch}")
set_source_files_properties("${CMAKE_CURRENT_SOURCE_DIR}/platform/version.cc" PROPERTIES
  COMPILE_DEFINITIONS "QELPRFARC_VERSION=\"${QELPRFARC_VERSION}\"")
