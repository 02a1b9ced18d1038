# The desktop: the panel's Qt widgets and windows as a library of their own
# over the toolkit-free core (kelvo_panel_qt: panel/qt, platform/qt), and
# the programs kelvo-panel and kelvo-print with their desktop entries and
# icon. The core never sees a Qt header; only these targets link Qt.
string(TOUPPER "${KELVO_BUILD_QT}" kelvo_qt_mode)
set(KELVO_HAVE_QT OFF)
if(NOT kelvo_qt_mode STREQUAL "OFF")
  if(kelvo_qt_mode STREQUAL "AUTO")
    find_package(Qt6 6.2 QUIET COMPONENTS Widgets PrintSupport)
  else()
    find_package(Qt6 6.2 REQUIRED COMPONENTS Widgets PrintSupport)
  endif()
  if(Qt6Widgets_FOUND AND Qt6PrintSupport_FOUND)
    set(KELVO_HAVE_QT ON)
  else()
    message(STATUS "Qt 6 not found: the desktop panel and programs are not built (install qt6-base-dev)")
  endif()
endif()

if(KELVO_HAVE_QT)
  file(GLOB KELVO_QT_SOURCES CONFIGURE_DEPENDS
    ${PROJECT_SOURCE_DIR}/panel/qt/*.cpp ${PROJECT_SOURCE_DIR}/panel/qt/*.h
    ${PROJECT_SOURCE_DIR}/platform/qt/*.cpp ${PROJECT_SOURCE_DIR}/platform/qt/*.h)
  add_library(kelvo_panel_qt STATIC ${KELVO_QT_SOURCES})
  set_target_properties(kelvo_panel_qt PROPERTIES AUTOMOC ON)
  target_link_libraries(kelvo_panel_qt PUBLIC kelvo_core Qt6::Widgets)

  # A Qt program: its folder under tools/, moc on, the Qt library linked.
  function(kelvo_qt_program name)
    file(GLOB srcs CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tools/${name}/*.cpp ${PROJECT_SOURCE_DIR}/tools/${name}/*.h)
    if(NOT srcs)
      return()
    endif()
    add_executable(${name} ${srcs})
    set_target_properties(${name} PROPERTIES AUTOMOC ON)
    target_link_libraries(${name} PRIVATE kelvo_panel_qt kelvo_cups CLI11::CLI11 ${ARGN})
    target_compile_definitions(${name} PRIVATE KELVO_VERSION_STRING="${PROJECT_VERSION}")
    install(TARGETS ${name} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
  endfunction()
  kelvo_qt_program(kelvo-panel)
  kelvo_qt_program(kelvo-print Qt6::PrintSupport)

  install(FILES ${PROJECT_SOURCE_DIR}/docs/kelvo-panel.1 ${PROJECT_SOURCE_DIR}/docs/kelvo-print.1
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT runtime)

  # Desktop entries and the icon, for menus and file managers.
  file(GLOB KELVO_DESKTOP_FILES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/desktop/*.desktop)
  install(FILES ${KELVO_DESKTOP_FILES} DESTINATION ${CMAKE_INSTALL_DATADIR}/applications COMPONENT runtime)
  if(EXISTS ${PROJECT_SOURCE_DIR}/desktop/kelvo-panel.svg)
    install(FILES ${PROJECT_SOURCE_DIR}/desktop/kelvo-panel.svg
      DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps COMPONENT runtime)
  endif()
endif()
