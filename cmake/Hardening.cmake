# Released programs are hardened: a fault that a hostile log finds is to end the program, not to be of
# use to anybody. qelprfarc_harden(<target>...) gives the settings to programs and to what they are
# made of; the tests' own sources do without. Not under sanitizers and without optimisation, which these settings need or disturb.
# tests/runs/hardening_test.cc looks at the built programs.
include(CheckCXXCompilerFlag)

add_library(qelprfarc_hardening INTERFACE)
if(NOT QELPRFARC_SANITIZE AND NOT QELPRFARC_FUZZ AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  target_compile_options(qelprfarc_hardening INTERFACE
    -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -fPIE)
  check_cxx_compiler_flag(-fcf-protection QELPRFARC_HAS_CF_PROTECTION)
  if(QELPRFARC_HAS_CF_PROTECTION)
    target_compile_options(qelprfarc_hardening INTERFACE -fcf-protection)
  endif()
  target_link_options(qelprfarc_hardening INTERFACE
    -pie -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
endif()

function(qelprfarc_harden)
  foreach(target IN LISTS ARGN)
    target_link_libraries(${target} PRIVATE qelprfarc_hardening)
  endforeach()
endfunction()
