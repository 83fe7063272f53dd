// Characters of UTF-8 text.
#pragma once

#include <cstddef>
#include <string_view>

namespace psltool {

// Length of the character that begins at `at`, 0 when none does. Control characters, those beyond
// ASCII (U+0080 to U+009F) among them, count as none.
size_t CharacterAt(std::string_view text, size_t at);

// True of the bytes of a character but its first.
constexpr bool IsInsideCharacter(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// How many characters a text has.
size_t WidthOf(std::string_view text);

}  // namespace psltool
