# What is installed beside programs and pages: units and what they need, settings, documentation.
set(QELPRFARC_UNITS "${CMAKE_INSTALL_PREFIX}/lib/systemd/system" CACHE STRING
  "Where systemd looks for units")
set(QELPRFARC_SYSUSERS "${CMAKE_INSTALL_PREFIX}/lib/sysusers.d" CACHE STRING
  "Where systemd-sysusers looks for system users")
set(QELPRFARC_LIBEXEC "${CMAKE_INSTALL_FULL_LIBEXECDIR}/qelprfarc")

set(packaging "${CMAKE_CURRENT_SOURCE_DIR}/packaging")
set(units "${CMAKE_BINARY_DIR}/units")
file(READ "${packaging}/sandbox.conf" QELPRFARC_SANDBOX)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${packaging}/sandbox.conf")
foreach(unit IN ITEMS qelprfarc.service qelprfarc-segment.service qelprfarc-unit@.service)
  configure_file("${packaging}/${unit}.in" "${units}/${unit}" @ONLY)
  install(FILES "${units}/${unit}" DESTINATION "${QELPRFARC_UNITS}")
endforeach()
install(FILES "${packaging}/qelprfarc.timer" DESTINATION "${QELPRFARC_UNITS}")
install(FILES "${packaging}/qelprfarc.sysusers" DESTINATION "${QELPRFARC_SYSUSERS}"
  RENAME qelprfarc.conf)
install(PROGRAMS "${packaging}/qelprfarc-segment" DESTINATION "${QELPRFARC_LIBEXEC}")
install(FILES "${packaging}/qelprfarc.conf" DESTINATION "${CMAKE_INSTALL_FULL_SYSCONFDIR}")
configure_file("${packaging}/qelprfarc.logrotate.in" "${units}/qelprfarc.logrotate" @ONLY)
install(FILES "${units}/qelprfarc.logrotate" RENAME qelprfarc
  DESTINATION "${CMAKE_INSTALL_FULL_SYSCONFDIR}/logrotate.d")

# The pages as they lie in the checkout, so that their links lead somewhere.
install(FILES README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md LICENSE
  DESTINATION "${CMAKE_INSTALL_DOCDIR}")
install(DIRECTORY docs DESTINATION "${CMAKE_INSTALL_DOCDIR}" PATTERN "*.py" EXCLUDE)
set(examples "${CMAKE_INSTALL_DOCDIR}/examples")
install(DIRECTORY "${packaging}/examples/" "${packaging}/prometheus" "${packaging}/postgres"
  DESTINATION "${examples}")
install(PROGRAMS "${packaging}/qelprfarc-submit" "${packaging}/qelprfarc-units.sbatch"
  DESTINATION "${examples}")
install(FILES "${packaging}/psltool-limits.rules" DESTINATION "${examples}")
# The pages call them packaging/.
file(CREATE_LINK examples "${units}/packaging" SYMBOLIC)
install(FILES "${units}/packaging" DESTINATION "${CMAKE_INSTALL_DOCDIR}")
