// Names and lines of others as they may be shown to a terminal.
#pragma once

#include <fmt/format.h>

#include <string>
#include <string_view>
#include <utility>

#include "tools/output/text_out.h"

namespace psltool {

// The text with every control character, and every byte that is no part of UTF-8, as \xNN: what a
// file is called must not move the cursor, nor do worse.
std::string ShownText(std::string_view text);

// A line whose arguments may come from anywhere.
template <class... Arguments>
void PrintLine(TextOut& out, fmt::format_string<Arguments...> format, Arguments&&... arguments) {
  out.Put(ShownText(fmt::format(format, std::forward<Arguments>(arguments)...)));
  out.Put("\n");
}

}  // namespace psltool
