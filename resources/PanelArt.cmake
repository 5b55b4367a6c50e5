# The panel's bitmaps (resources 5000 to 5015) are drawn at build time by
# resources/make_panel_art.cpp into the build tree; included from the window
# layer's CMakeLists, whose resource table embeds them.
add_executable(make_panel_art ${PROJECT_SOURCE_DIR}/resources/make_panel_art.cpp)
target_include_directories(make_panel_art PRIVATE ${PROJECT_SOURCE_DIR}/resources)
target_link_libraries(make_panel_art PRIVATE plugin_core PkgConfig::WINAPI_TEXT m)

set(GRAPHICEQ_PANEL_ART_DIR ${CMAKE_CURRENT_BINARY_DIR}/panel-art CACHE INTERNAL "generated panel bitmaps")
set(GRAPHICEQ_PANEL_ART_IDS 5000 5001 5002 5003 5006 5007 5008 5009 5010 5011 5012 5013 5014 5015)
set(GRAPHICEQ_PANEL_ART)
foreach(id ${GRAPHICEQ_PANEL_ART_IDS})
  list(APPEND GRAPHICEQ_PANEL_ART ${GRAPHICEQ_PANEL_ART_DIR}/${id}.png)
endforeach()
set(GRAPHICEQ_PANEL_MOCKUP ${GRAPHICEQ_PANEL_ART_DIR}/panel-mockup.png CACHE INTERNAL "panel mock-up")
add_custom_command(
  OUTPUT ${GRAPHICEQ_PANEL_ART} ${GRAPHICEQ_PANEL_MOCKUP}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${GRAPHICEQ_PANEL_ART_DIR}
  # fontconfig keeps its font sets for the life of the process; a sanitizer
  # build must not count them as leaks of the drawing tool.
  COMMAND ${CMAKE_COMMAND} -E env LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/lsan.supp
          $<TARGET_FILE:make_panel_art> ${GRAPHICEQ_PANEL_ART_DIR} --mockup ${GRAPHICEQ_PANEL_MOCKUP}
  DEPENDS make_panel_art
  COMMENT "Drawing the panel's bitmaps"
  VERBATIM)
add_custom_target(panel_art DEPENDS ${GRAPHICEQ_PANEL_ART})
