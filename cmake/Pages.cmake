# Manual pages and completion of shells, made by qelprfarc_pages from the tables of the programs. The
# program runs while building, so a cross compiler needs CMAKE_CROSSCOMPILING_EMULATOR.
qelprfarc_sources(pages_sources tools/pages)
add_library(qelprfarc_pages_core STATIC ${pages_sources})
target_link_libraries(qelprfarc_pages_core PUBLIC psltool_core)
target_compile_options(qelprfarc_pages_core PRIVATE -O1 -g1)
add_executable(qelprfarc_pages tools/pages.cc)
target_link_libraries(qelprfarc_pages PRIVATE qelprfarc_prefix_product qelprfarc_pages_core)

set(pages_directory "${CMAKE_BINARY_DIR}/pages")
file(GLOB pages_written CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/packaging/man/*.in")
add_custom_command(OUTPUT "${pages_directory}/made"
  COMMAND "${CMAKE_COMMAND}" -E rm -rf "${pages_directory}"
  COMMAND qelprfarc_pages installed "${CMAKE_CURRENT_SOURCE_DIR}" "${pages_directory}"
    "${CMAKE_INSTALL_FULL_SYSCONFDIR}" "${CMAKE_INSTALL_FULL_DOCDIR}"
  COMMAND "${CMAKE_COMMAND}" -E touch "${pages_directory}/made"
  DEPENDS qelprfarc_pages "${CMAKE_CURRENT_SOURCE_DIR}/docs/format.md"
    "${CMAKE_CURRENT_SOURCE_DIR}/docs/format-entries.md" ${pages_written}
  COMMENT "Writing manual pages and completion"
  VERBATIM)
add_custom_target(pages ALL DEPENDS "${pages_directory}/made")

set(QELPRFARC_ZSH_FUNCTIONS "${CMAKE_INSTALL_DATADIR}/zsh/site-functions" CACHE STRING
  "Where zsh looks for completion")
install(DIRECTORY "${pages_directory}/man/" DESTINATION "${CMAKE_INSTALL_MANDIR}")
install(DIRECTORY "${pages_directory}/completion/bash/"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions")
install(DIRECTORY "${pages_directory}/completion/zsh/" DESTINATION "${QELPRFARC_ZSH_FUNCTIONS}")
install(DIRECTORY "${pages_directory}/completion/fish/"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d")
