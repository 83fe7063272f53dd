// What shows pages: the files of web/ and the chart library, as the build has put them into the
// program (cmake/PageAssets.cmake).
#pragma once

#include <string_view>

namespace psltool {

extern const std::string_view kPageTemplate;
extern const std::string_view kPageStyle;
extern const std::string_view kPageScript;
extern const std::string_view kCompareStyle;

}  // namespace psltool
