# qelprfarc_sources(<variable> <folder>...): the *.cc files of the folders, asked anew at each build.
function(qelprfarc_sources variable)
  set(found "")
  foreach(folder IN LISTS ARGN)
    file(GLOB in_folder CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/${folder}/*.cc")
    list(APPEND found ${in_folder})
  endforeach()
  set(${variable} "${found}" PARENT_SCOPE)
endfunction()
