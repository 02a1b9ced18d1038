# The panel's bundle: a folder laid out as platform/Bundle.h expects
# (Contents/Info.plist, Contents/Resources/<lang>.lproj/*.strings,
# Contents/Resources/PrinterList.plist, later the helper under Contents/).
# The build makes it at the top of the build tree, where programs run from
# the build tree find it, and installs it under <libdir>/kelvo/. The name
# must match kBundleName in platform/Bundle.h (a test checks that the build
# tree's bundle is found).
set(KELVO_BUNDLE_NAME QJVKelvoPDE.plugin)
set(KELVO_BUNDLE_SOURCE_DIR ${PROJECT_SOURCE_DIR}/bundle)
set(KELVO_BUNDLE_BUILD_DIR ${PROJECT_BINARY_DIR}/${KELVO_BUNDLE_NAME})

# configure_file makes CMake re-run when a bundle file changes; the glob
# notices files added or removed. A file ending ".in" gets the project's
# version and the bundle name filled in and loses the suffix.
file(GLOB_RECURSE KELVO_BUNDLE_FILES CONFIGURE_DEPENDS RELATIVE ${KELVO_BUNDLE_SOURCE_DIR}
  ${KELVO_BUNDLE_SOURCE_DIR}/*)
foreach(file IN LISTS KELVO_BUNDLE_FILES)
  if(file MATCHES "^(.*)\\.in$")
    configure_file(${KELVO_BUNDLE_SOURCE_DIR}/${file} ${KELVO_BUNDLE_BUILD_DIR}/${CMAKE_MATCH_1} @ONLY)
  else()
    configure_file(${KELVO_BUNDLE_SOURCE_DIR}/${file} ${KELVO_BUNDLE_BUILD_DIR}/${file} COPYONLY)
  endif()
endforeach()

# The helper programs inside the bundle are installed by their own rule
# (cmake/KelvoHelper.cmake), with their modes; the build tree's links to them
# are left out here.
install(DIRECTORY ${KELVO_BUNDLE_BUILD_DIR}/ DESTINATION ${CMAKE_INSTALL_LIBDIR}/kelvo/${KELVO_BUNDLE_NAME}
  COMPONENT runtime PATTERN "*.app" EXCLUDE)

# The installed programs find the bundle from their own folder: tell the
# code the way from the programs' folder to the library folder
# ("../lib/x86_64-linux-gnu" under a multiarch prefix). Either may be set
# absolute; an absolute library folder is then used as it stands.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(KELVO_LIBDIR_FROM_BINDIR "${CMAKE_INSTALL_LIBDIR}")
elseif(IS_ABSOLUTE "${CMAKE_INSTALL_BINDIR}")
  file(RELATIVE_PATH KELVO_LIBDIR_FROM_BINDIR ${CMAKE_INSTALL_BINDIR} ${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR})
else()
  file(RELATIVE_PATH KELVO_LIBDIR_FROM_BINDIR /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${CMAKE_INSTALL_LIBDIR})
endif()
set_property(SOURCE ${PROJECT_SOURCE_DIR}/platform/Bundle.cpp APPEND PROPERTY
  COMPILE_DEFINITIONS "KELVO_LIBDIR_FROM_BINDIR=\"${KELVO_LIBDIR_FROM_BINDIR}\"")
