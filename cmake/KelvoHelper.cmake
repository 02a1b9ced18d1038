# The job-properties helper, kelvo-jp-helper: a program of its own that the
# panel starts by the path it computes inside the bundle,
#   <bundle>/Contents/QJV KD<v>toJP.app/Contents/MacOS/QJV KD<v>toJP,
# where <v> is one of the helper versions below (platform/Bundle.h,
# HelperVersionFor). One program serves them all (the minor number comes
# on its command line), so the build puts it at every such path of the
# build tree's bundle, as hard links made after each link, and installs a
# copy at each path of the installed bundle. Included after
# KelvoBundle.cmake, whose bundle variables it uses.
set(KELVO_HELPER_VERSIONS 3 4 4.1 4.2 4.4)

file(GLOB KELVO_JP_HELPER_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tools/kelvo-jp-helper/*.cpp)
add_executable(kelvo-jp-helper ${KELVO_JP_HELPER_SOURCES})
target_link_libraries(kelvo-jp-helper PRIVATE kelvo_core)
# With Qt the helper has its window (the job-properties window); without,
# or when given a script, it answers headless.
if(KELVO_HAVE_QT)
  target_link_libraries(kelvo-jp-helper PRIVATE kelvo_panel_qt)
  target_compile_definitions(kelvo-jp-helper PRIVATE KELVO_HELPER_WINDOW=1)
endif()

# The helper's path for version `v` under the bundle folder `bundle`.
function(kelvo_helper_path out bundle v)
  set(${out} "${bundle}/Contents/QJV KD${v}toJP.app/Contents/MacOS/QJV KD${v}toJP" PARENT_SCOPE)
endfunction()

# The linker writes a new file on every link, so an old link would keep the
# old program: each link is removed and made again. The paths hold blanks;
# VERBATIM passes each one as a single argument.
foreach(v IN LISTS KELVO_HELPER_VERSIONS)
  kelvo_helper_path(helper ${KELVO_BUNDLE_BUILD_DIR} ${v})
  get_filename_component(helper_dir "${helper}" DIRECTORY)
  add_custom_command(TARGET kelvo-jp-helper POST_BUILD
    COMMAND ${CMAKE_COMMAND} -E make_directory "${helper_dir}"
    COMMAND ${CMAKE_COMMAND} -E rm -f "${helper}"
    COMMAND ${CMAKE_COMMAND} -E create_hardlink "$<TARGET_FILE:kelvo-jp-helper>" "${helper}"
    VERBATIM)
  install(PROGRAMS $<TARGET_FILE:kelvo-jp-helper>
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/kelvo/${KELVO_BUNDLE_NAME}/Contents/QJV KD${v}toJP.app/Contents/MacOS"
    RENAME "QJV KD${v}toJP" COMPONENT runtime)
endforeach()

# The helper's tests (tests/tools) start it from the build tree's bundle,
# the way the panel does. The test target is made later (tests/), hence the
# deferred call at the end of the top directory.
kelvo_helper_path(KELVO_JP_HELPER_TEST_PATH ${KELVO_BUNDLE_BUILD_DIR} 4.4)
function(kelvo_helper_test_setup)
  if(TARGET tools_tests)
    target_compile_definitions(tools_tests PRIVATE "KELVO_JP_HELPER_BIN=\"${KELVO_JP_HELPER_TEST_PATH}\"")
    add_dependencies(tools_tests kelvo-jp-helper)
  endif()
endfunction()
cmake_language(DEFER DIRECTORY ${PROJECT_SOURCE_DIR} CALL kelvo_helper_test_setup)
