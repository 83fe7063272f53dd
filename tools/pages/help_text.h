// The text behind a command's options, taken apart.
#pragma once

#include <string>
#include <vector>

namespace psltool {

struct HelpText {
  std::vector<std::string> paragraphs;  // what it prints, how it is meant; a line each
  std::string statuses;                 // "0 done, 1 ...", one line
  std::vector<std::string> examples;    // lines, without their indent
};

HelpText TakeApart(const std::string& help);

}  // namespace psltool
