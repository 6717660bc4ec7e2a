#pragma once

#include <string_view>

/// The fixed text of a report page: the pieces between which the tree and the descriptions are poured.
/// The pieces are the ordinary .html, .css and .js files under page/, which the build embeds (page/EmbedPage.cmake).
/// A page is: pageHead, contentOpening, the tree, "</div>" and a line end, definitionsOpening, the descriptions,
/// definitionsClosing, legendAndEnd.
namespace quillon::nimbo::html {

/// From the document declaration to the menus, style sheet and script included.
std::string_view pageHead();

/// Opens the pane that shows the tree.
std::string_view contentOpening();

/// Opens the table of descriptions and the script that holds them, up to the start of the map.
std::string_view definitionsOpening();

/// The start of the map's first entry, a dummy whose string stays open: every description begins by closing the entry
/// before it, and a page without any still has a valid map.
std::string_view dummyDefinitionHead();

/// Closes the string of the last entry, the map, the script and the table.
std::string_view definitionsClosing();

/// The legend, and the end of the page.
std::string_view legendAndEnd();

}  // namespace quillon::nimbo::html
