# qelprfarc_prefix(<target> <prefix>): an object library holding kInstallPrefix with this value.
# Each program links exactly one of them.
function(qelprfarc_prefix target prefix)
  if(NOT prefix MATCHES "^/(.*/)?$")
    message(FATAL_ERROR "The prefix must begin and end with '/': ${prefix}")
  endif()
  add_library(${target} OBJECT platform/prefix.cc)
  target_compile_definitions(${target} PRIVATE "QELSVR_PREFIX=\"${prefix}\"")
  target_link_libraries(${target} PUBLIC qelprfarc_flags PRIVATE qelprfarc_hardening)
endfunction()
