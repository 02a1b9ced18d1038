# What `cmake --install` puts under the prefix: the shared library and its
# headers (include/kelvo/), a pkg-config file, a CMake package, the tool with
# its manual page and bash completion, and the licence; and the print
# server's filter in the server's own folder.
include(CMakePackageConfigHelpers)

install(TARGETS kelvo EXPORT KelvoTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kelvo COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS kelvo-pde RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)

# The filter goes where the print server looks for filters, whatever the
# prefix: CUPS finds a filter named in a PPD only in its own ServerBin/filter
# (`cups-config --serverbin`). It is a component of its own, so that a
# staged install (DESTDIR) or a user's prefix can leave it out or put it
# aside: `cmake --install build --component filter`.
find_program(KELVO_CUPS_CONFIG cups-config)
set(KELVO_CUPS_SERVERBIN_DEFAULT /usr/lib/cups)
if(KELVO_CUPS_CONFIG)
  execute_process(COMMAND ${KELVO_CUPS_CONFIG} --serverbin OUTPUT_VARIABLE KELVO_CUPS_SERVERBIN_FOUND
    OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE KELVO_CUPS_CONFIG_STATUS)
  if(KELVO_CUPS_CONFIG_STATUS EQUAL 0 AND KELVO_CUPS_SERVERBIN_FOUND)
    set(KELVO_CUPS_SERVERBIN_DEFAULT ${KELVO_CUPS_SERVERBIN_FOUND})
  endif()
endif()
set(KELVO_CUPS_FILTER_DIR ${KELVO_CUPS_SERVERBIN_DEFAULT}/filter CACHE PATH
  "Where kelvo-inject is installed (the print server's ServerBin/filter)")
# A print server runs only filters that nobody but root may change.
install(TARGETS kelvo-inject RUNTIME DESTINATION ${KELVO_CUPS_FILTER_DIR} COMPONENT filter
  PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
install(FILES ${PROJECT_SOURCE_DIR}/docs/kelvo-inject.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT filter)
install(FILES ${PROJECT_SOURCE_DIR}/docs/kelvo-pde.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT runtime)
install(FILES ${PROJECT_SOURCE_DIR}/tools/kelvo-pde/kelvo-pde.bash-completion
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME kelvo-pde COMPONENT runtime)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)

# CMake package: find_package(Kelvo) gives the imported target Kelvo::kelvo.
set(KELVO_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Kelvo)
install(EXPORT KelvoTargets NAMESPACE Kelvo:: DESTINATION ${KELVO_CMAKE_DIR} COMPONENT development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/KelvoConfig.cmake.in
  ${PROJECT_BINARY_DIR}/KelvoConfig.cmake INSTALL_DESTINATION ${KELVO_CMAKE_DIR})
# Before 1.0 a minor release may change the interface, so only the same
# major.minor satisfies a request.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KelvoConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KelvoConfig.cmake ${PROJECT_BINARY_DIR}/KelvoConfigVersion.cmake
  DESTINATION ${KELVO_CMAKE_DIR} COMPONENT development)

# pkg-config. The prefix is only known for certain when installing
# (`cmake --install build --prefix DIR` overrides the configured one), so
# the file is written then, from the prefix the install runs with. The
# library has no static form, so its zlib dependency stays out of the file.
foreach(dir LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
    set(KELVO_PC_${dir} "${CMAKE_INSTALL_${dir}}")
  else()
    set(KELVO_PC_${dir} "\${prefix}/${CMAKE_INSTALL_${dir}}")
  endif()
endforeach()
# The template keeps @KELVO_PC_PREFIX@ for the install-time pass.
set(KELVO_PC_PREFIX "@KELVO_PC_PREFIX@")
set(KELVO_PC_TEMPLATE ${PROJECT_BINARY_DIR}/kelvo.pc.template)
configure_file(${PROJECT_SOURCE_DIR}/cmake/kelvo.pc.in ${KELVO_PC_TEMPLATE} @ONLY)
install(CODE "
  set(KELVO_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
  configure_file(\"${KELVO_PC_TEMPLATE}\" \"${PROJECT_BINARY_DIR}/kelvo.pc\" @ONLY)
" COMPONENT development)
install(FILES ${PROJECT_BINARY_DIR}/kelvo.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
