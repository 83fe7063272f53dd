# Targets that look at the sources without building them: format-check and tidy.
find_program(CLANG_FORMAT_PROGRAM NAMES clang-format-14 clang-format)
if(CLANG_FORMAT_PROGRAM)
  add_custom_target(format-check
    COMMAND "${CMAKE_CURRENT_SOURCE_DIR}/scripts/format" --check
    WORKING_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}"
    COMMENT "Checking the layout of the sources"
    USES_TERMINAL VERBATIM)
endif()

find_program(RUN_CLANG_TIDY_PROGRAM NAMES run-clang-tidy-14 run-clang-tidy)
if(RUN_CLANG_TIDY_PROGRAM)
  # Which files: those of compile_commands.json that match the last pattern. The extra arguments
  # are for flags of g++ that clang does not know.
  add_custom_target(tidy
    COMMAND "${RUN_CLANG_TIDY_PROGRAM}" -quiet -p "${CMAKE_BINARY_DIR}"
      -extra-arg=-Wno-unknown-warning-option -extra-arg=-Wno-error
      "-header-filter=^${CMAKE_CURRENT_SOURCE_DIR}/(platform|areas|report|engine|revisions|logdir|pmonb|archiver|tools|tests|bench)/"
      "^${CMAKE_CURRENT_SOURCE_DIR}/(platform|areas|report|engine|revisions|logdir|pmonb|archiver|tools)/"
    WORKING_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}"
    COMMENT "Running clang-tidy"
    USES_TERMINAL VERBATIM)
endif()
