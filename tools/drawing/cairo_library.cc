// Loading of cairo: see the header.
#include "tools/drawing/cairo_library.h"

#include <dlfcn.h>

namespace psltool {

namespace {

constexpr const char* kFile = "libcairo.so.2";

// Empty: everything was found.
std::string Load(CairoLibrary& library) {
  void* const handle = dlopen(kFile, RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) return dlerror();
  bool whole = true;
#define PSLTOOL_FIND(name)                                                                 \
  library.name = reinterpret_cast<decltype(&cairo_##name)>(dlsym(handle, "cairo_" #name)); \
  whole = whole && library.name != nullptr;
  PSLTOOL_CAIRO_FUNCTIONS(PSLTOOL_FIND)
#undef PSLTOOL_FIND
  return whole ? "" : std::string(kFile) + " lacks a function";
}

}  // namespace

const CairoLibrary* LoadCairo(std::string& why) {
  static CairoLibrary library;
  static const std::string fault = Load(library);
  why = fault;
  return fault.empty() ? &library : nullptr;
}

}  // namespace psltool
