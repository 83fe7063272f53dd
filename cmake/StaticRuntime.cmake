# The archiver brings the compiler's own libraries with it: finding and linking them takes the system
# longer than a small archive, and a night starts it once for each of a thousand arrays. The C library
# stays the system's. Not under sanitizers, which want to stand between.
include(CheckCXXSourceCompiles)

function(qelprfarc_static_runtime target)
  if(QELPRFARC_SANITIZE OR QELPRFARC_FUZZ)
    return()
  endif()
  set(options -static-libstdc++ -static-libgcc)
  set(CMAKE_REQUIRED_LINK_OPTIONS ${options})
  check_cxx_source_compiles("#include <string>\nint main() { return std::string().size(); }"
    QELPRFARC_HAS_STATIC_RUNTIME)
  if(QELPRFARC_HAS_STATIC_RUNTIME)
    target_link_options(${target} PRIVATE ${options})
  endif()
endfunction()
