# Puts what shows pages into the program: the files of tools/page/web/ and the chart library
# (dygraphs, Debian's libjs-dygraphs) become the texts of page_assets.h. Run as a script
# (-DOUT=... -DWEB=... -DLIBRARY=...) it writes them; included, it says how they are built.
if(CMAKE_SCRIPT_MODE_FILE)
  # In this order: each file uses what those before it define.
  set(scripts bytes times data sums state words charts tables heat front arrays tops detail keys main)
  file(READ "${LIBRARY}/dygraph.min.js" script)
  string(REGEX REPLACE "//# sourceMappingURL=[^\n]*" "" script "${script}")
  string(APPEND script "\n(() => {\n\"use strict\";\n")
  foreach(name IN LISTS scripts)
    file(READ "${WEB}/${name}.js" part)
    string(APPEND script "${part}")
  endforeach()
  string(APPEND script "})();\n")
  file(READ "${LIBRARY}/dygraph.min.css" style)
  string(REGEX REPLACE "/\\*# sourceMappingURL=[^\n]*" "" style "${style}")
  file(READ "${WEB}/look.css" look)
  file(READ "${WEB}/dark.css" dark)
  string(REPLACE "{{dark}}" "${dark}" look "${look}")
  file(READ "${WEB}/page.css" part)
  string(APPEND style "\n${look}${part}")
  file(READ "${WEB}/compare.css" part)
  set(compare_style "${look}${part}")
  file(READ "${WEB}/page.html" template)

  set(source "// Made by cmake/PageAssets.cmake.\n#include \"tools/page/page_assets.h\"\n\n")
  string(APPEND source "namespace psltool {\n\n")
  foreach(pair IN ITEMS "kPageTemplate:template" "kPageStyle:style" "kPageScript:script"
      "kCompareStyle:compare_style")
    string(REPLACE ":" ";" pair "${pair}")
    list(GET pair 0 constant)
    list(GET pair 1 variable)
    file(WRITE "${OUT}.part" "${${variable}}")
    file(READ "${OUT}.part" hex HEX)
    string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
    string(REGEX REPLACE "((0x..,)(0x..,)?(0x..,)?(0x..,)?(0x..,)?(0x..,)?(0x..,)?(0x..,)?)"
      "\\1\n" bytes "${bytes}")
    string(APPEND source "static constexpr unsigned char ${constant}Bytes[] = {\n${bytes}};\n")
    string(APPEND source "const std::string_view ${constant}(\n"
      "    reinterpret_cast<const char*>(${constant}Bytes), sizeof(${constant}Bytes));\n\n")
  endforeach()
  string(APPEND source "}  // namespace psltool\n")
  file(REMOVE "${OUT}.part")
  file(WRITE "${OUT}" "${source}")
  return()
endif()

find_path(DYGRAPHS_DIR dygraph.min.js PATHS /usr/share/javascript/dygraphs NO_DEFAULT_PATH)
if(NOT DYGRAPHS_DIR)
  message(FATAL_ERROR "The chart library is missing: scripts/setup installs libjs-dygraphs")
endif()
set(page_web "${CMAKE_CURRENT_SOURCE_DIR}/tools/page/web")
set(page_assets "${CMAKE_CURRENT_BINARY_DIR}/page_assets.cc")
file(GLOB page_web_files CONFIGURE_DEPENDS "${page_web}/*")
add_custom_command(OUTPUT "${page_assets}"
  COMMAND "${CMAKE_COMMAND}" "-DOUT=${page_assets}" "-DWEB=${page_web}" "-DLIBRARY=${DYGRAPHS_DIR}"
    -P "${CMAKE_CURRENT_LIST_DIR}/PageAssets.cmake"
  DEPENDS ${page_web_files} "${DYGRAPHS_DIR}/dygraph.min.js" "${DYGRAPHS_DIR}/dygraph.min.css"
    "${CMAKE_CURRENT_LIST_DIR}/PageAssets.cmake"
  COMMENT "Putting the report page into psltool"
  VERBATIM)
