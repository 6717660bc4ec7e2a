# The report page is ordinary files in this folder; the build embeds them as one source of nimbo_utils.
# Included, not a subdirectory of its own: a made source must be made where its target is defined.
set(page "${CMAKE_CURRENT_LIST_DIR}")
set(pieces
  PageHead.html
  ReportPage.css
  ContentOpening.html
  DefinitionsOpening.html
  DefinitionsClosing.html
  LegendAndEnd.html
)
set(scripts   # the page's script is these one after the other, in this order
  Globals.js
  Palettes.js
  Objects.js
  Descriptions.js
  Visibility.js
  Colors.js
  Menus.js
  Expressions.js
  TopBar.js
  Panes.js
  Blocks.js
  Keyboard.js
  Start.js
)

list(JOIN scripts "|" script_list)
list(TRANSFORM pieces PREPEND "${page}/")
list(TRANSFORM scripts PREPEND "${page}/script/")
set(NIMBO_PAGE_SOURCE "${CMAKE_CURRENT_BINARY_DIR}/PageTemplate.cpp")
add_custom_command(
  OUTPUT "${NIMBO_PAGE_SOURCE}"
  COMMAND "${CMAKE_COMMAND}" -D "PAGE=${page}" -D "SCRIPTS=${script_list}" -D "OUT=${NIMBO_PAGE_SOURCE}"
          -P "${page}/EmbedPage.cmake"
  DEPENDS "${page}/EmbedPage.cmake" ${pieces} ${scripts}
  COMMENT "Embedding the report page"
  VERBATIM)
