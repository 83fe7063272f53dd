# Files of a folder are compiled several at a time: most of a small file's time goes into the templates
# of the standard library, which its neighbours need as well. Names in anonymous namespaces are unique
# within a folder because of it. Files include what they use all the same: the debug and the sanitize
# build compile each by itself. -DQELPRFARC_UNITY=OFF does so, too, for clangd and for changes that touch
# one file again and again.
#
# qelprfarc_unite(<target> <files at a time> <pattern>): those sources whose paths match the pattern;
# sources with options of their own stay alone.
option(QELPRFARC_UNITY "Compile several files of a folder at a time" ON)
# The archiver's own files are few and compiled each by itself, so that each is optimised by itself, and a
# change of one costs one. For a single look, as LongClang takes it, all of a folder at once is quickest.
option(QELPRFARC_UNITY_ARCHIVER "Compile the archiver's files of a folder at a time, too" OFF)
function(qelprfarc_unite target size pattern)
  if(NOT QELPRFARC_UNITY OR QELPRFARC_SANITIZE OR QELPRFARC_FUZZ OR CMAKE_BUILD_TYPE STREQUAL "Debug")
    return()
  endif()
  get_target_property(sources ${target} SOURCES)
  foreach(source IN LISTS sources)
    if(NOT source MATCHES "${pattern}")
      continue()
    endif()
    cmake_path(GET source PARENT_PATH folder)
    cmake_path(RELATIVE_PATH folder BASE_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}")
    string(MAKE_C_IDENTIFIER "${folder}" folder)
    math(EXPR group "0${count_${folder}} / ${size}")
    math(EXPR count_${folder} "0${count_${folder}} + 1")
    set_source_files_properties("${source}" PROPERTIES UNITY_GROUP "${folder}_${group}")
  endforeach()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
endfunction()
