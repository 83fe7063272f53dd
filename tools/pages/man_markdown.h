// A page of the documentation as a manual page: headings, paragraphs, lists, tables and examples,
// as far as the pages of the format use them.
#pragma once

#include <string>

namespace psltool {

struct ManTitle {
  std::string name;     // "psl"
  std::string section;  // "5"
  std::string manual;   // "File Formats"
  std::string summary;  // behind the name
};

std::string ManOfMarkdown(const ManTitle& title, const std::string& page,
                          const std::string& see_also);

}  // namespace psltool
