# Headers of the libraries that nearly every file of a target includes are compiled once. Files include
# what they use all the same: the sanitizer build does without, and would not compile otherwise.
#
# qelprfarc_precompile(<target> <header>...)
function(qelprfarc_precompile target)
  if(QELPRFARC_PRECOMPILE)
    target_precompile_headers(${target} PRIVATE ${ARGN})
  endif()
endfunction()
