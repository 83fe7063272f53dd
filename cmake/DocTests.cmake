# What README and docs/ say is run: each page's commands in a test of its own, and all links, names of
# files, commands and options in another. Programs of the sanitizer build are too slow to print in time.
find_package(Python3 COMPONENTS Interpreter QUIET)
if(NOT Python3_FOUND OR NOT TARGET Qelprfarc OR NOT TARGET psltool OR QELPRFARC_SANITIZE)
  return()
endif()

set(doc_tests "${CMAKE_CURRENT_SOURCE_DIR}/tests/docs")
add_test(NAME Docs.Links
  COMMAND "${Python3_EXECUTABLE}" "${doc_tests}/links.py" --psltool $<TARGET_FILE:psltool>)
add_test(NAME Docs.PlantedMistakes COMMAND "${Python3_EXECUTABLE}" "${doc_tests}/planted.py")
add_test(NAME Docs.PackageLife COMMAND "${Python3_EXECUTABLE}" "${doc_tests}/package_life.py")
add_test(NAME Docs.Pictures COMMAND "${Python3_EXECUTABLE}" -B
  "${CMAKE_CURRENT_SOURCE_DIR}/docs/pictures/draw.py" --check --programs "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")

file(GLOB_RECURSE doc_pages CONFIGURE_DEPENDS RELATIVE "${CMAKE_CURRENT_SOURCE_DIR}"
  "${CMAKE_CURRENT_SOURCE_DIR}/*.md")
foreach(page IN LISTS doc_pages)
  if(NOT page MATCHES "^(docs|packaging)/|^[A-Z]+\\.md$")
    continue()
  endif()
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/${page}")
  # Without a command a page is read all the same: code in no fence, commands in no console block.
  file(STRINGS "${CMAKE_CURRENT_SOURCE_DIR}/${page}" of_runs REGEX "^\\$ .*(psltool (segment|health)|-auto)")
  set(prefix_option)
  if(of_runs)
    set(prefix_option --prefix "${test_prefix}")
  endif()
  add_test(NAME "Docs.${page}" COMMAND "${Python3_EXECUTABLE}" "${doc_tests}/transcripts.py"
    --programs "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}" ${prefix_option} "${page}")
  set_tests_properties("Docs.${page}" PROPERTIES TIMEOUT 180)
  if(of_runs)
    set_tests_properties("Docs.${page}" PROPERTIES RESOURCE_LOCK test_prefix)
  endif()
endforeach()
