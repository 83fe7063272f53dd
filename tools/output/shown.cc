// Text without control characters: see the header.
#include "tools/output/shown.h"

#include <fmt/format.h>

#include <cstdint>

namespace psltool {

namespace {

// Number of bytes behind the first one of a character in UTF-8; 0 for bytes that begin none.
size_t Followers(uint8_t byte) {
  if (byte >= 0xC2 && byte <= 0xDF) return 1;
  if (byte >= 0xE0 && byte <= 0xEF) return 2;
  return byte >= 0xF0 && byte <= 0xF4 ? 3 : 0;
}

// Size of the character beyond ASCII that stands at the beginning; 0 when there is none.
size_t WideCharacter(std::string_view text) {
  const size_t size = 1 + Followers(static_cast<uint8_t>(text[0]));
  if (size == 1 || size > text.size()) return 0;
  for (size_t i = 1; i < size; ++i) {
    if ((static_cast<uint8_t>(text[i]) & 0xC0) != 0x80) return 0;
  }
  return size;
}

// Terminals also obey the control characters from 0x80 to 0x9F, in UTF-8 and, some of them, as
// single bytes.
bool IsControl(uint8_t byte) { return byte < 0x20 || (byte >= 0x7F && byte <= 0x9F); }

std::string WithoutControls(std::string_view text, std::string_view allowed) {
  std::string shown;
  shown.reserve(text.size());
  for (size_t i = 0; i < text.size();) {
    const auto byte = static_cast<uint8_t>(text[i]);
    const size_t wide = WideCharacter(text.substr(i));
    const bool wide_control =
        wide == 2 && byte == 0xC2 && IsControl(static_cast<uint8_t>(text[i + 1]));
    if (wide != 0 && !wide_control) {
      shown += text.substr(i, wide);
      i += wide;
      continue;
    }
    if (IsControl(byte) && allowed.find(text[i]) == std::string_view::npos) {
      shown += fmt::format("\\x{:02x}", byte);
    } else if (wide_control) {
      shown += fmt::format("\\x{:02x}\\x{:02x}", byte, static_cast<uint8_t>(text[++i]));
    } else {
      shown += text[i];
    }
    ++i;
  }
  return shown;
}

}  // namespace

std::string Shown(std::string_view text) { return WithoutControls(text, ""); }

std::string ShownLines(std::string_view text) { return WithoutControls(text, "\n\t"); }

}  // namespace psltool
