#pragma once

#include <string_view>

namespace orqmodel {

// The parts of a page that do not depend on its model: the files of draw/page. What makes them into
// a source is page/EmbedPage.cmake.
extern const std::string_view kPageHead;  ///< up to the title
extern const std::string_view kPageStyle;
extern const std::string_view kPageBody;  ///< from the end of the head on
extern const std::string_view kPageScript;

}  // namespace orqmodel
