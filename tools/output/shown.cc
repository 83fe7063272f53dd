// Text without control characters: see the header.
#include "tools/output/shown.h"

#include <fmt/format.h>

#include <cstdint>
#include <iterator>

#include "tools/output/characters.h"

namespace psltool {

namespace {

struct Style {
  std::string_view allowed;  // controls that stay
  bool strays;               // bytes that are no part of UTF-8 are told, too
  bool capitals;             // "\x1B" rather than "\x1b"
};

// Terminals also obey the control characters from 0x80 to 0x9F, in UTF-8 and, some of them, as
// single bytes.
bool IsControl(uint8_t byte, uint8_t next) {
  return byte < 0x20 || (byte >= 0x7F && byte <= 0x9F) ||
         (byte == 0xC2 && next >= 0x80 && next <= 0x9F);
}

std::string Told(std::string_view text, const Style& style) {
  std::string told;
  told.reserve(text.size());
  for (size_t at = 0; at < text.size();) {
    const size_t length = CharacterAt(text, at);
    const auto byte = static_cast<uint8_t>(text[at]);
    const auto next = at + 1 < text.size() ? static_cast<uint8_t>(text[at + 1]) : uint8_t{0};
    if (length != 0) {
      told += text.substr(at, length);
    } else if (style.allowed.find(text[at]) != std::string_view::npos ||
               !(style.strays || IsControl(byte, next))) {
      told += text[at];
    } else if (style.capitals) {
      fmt::format_to(std::back_inserter(told), "\\x{:02X}", byte);
    } else {
      fmt::format_to(std::back_inserter(told), "\\x{:02x}", byte);
    }
    at += length == 0 ? 1 : length;
  }
  return told;
}

}  // namespace

std::string Shown(std::string_view text) { return Told(text, {"", false, false}); }

std::string ShownLines(std::string_view text) { return Told(text, {"\n\t", false, false}); }

std::string ShownText(std::string_view text) { return Told(text, {"", true, true}); }

}  // namespace psltool
