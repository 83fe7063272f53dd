// Sparklines: see the header.
#include "tools/showing/spark.h"

#include <langinfo.h>
#include <locale.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace psltool {

namespace {

constexpr size_t kLevels = 8;
constexpr std::array<const char*, kLevels> kBlocks = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr std::array<const char*, kLevels> kAscii = {"_", ".", ":", "-", "=", "+", "*", "#"};

}  // namespace

std::string Sparkline(const std::vector<std::optional<double>>& cells, bool ascii) {
  double most = 0;
  for (const std::optional<double>& cell : cells) most = std::max(most, cell.value_or(0));
  std::string line;
  for (const std::optional<double>& cell : cells) {
    if (!cell) {
      line += ' ';
      continue;
    }
    const double part = most > 0 ? std::clamp(*cell / most, 0.0, 1.0) : 0;
    const auto level = static_cast<size_t>(std::lround(part * (kLevels - 1)));
    line += (ascii ? kAscii : kBlocks)[level];
  }
  return line;
}

bool LocaleIsUtf8() {
  const locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr);
  if (locale == nullptr) return false;
  const bool utf8 = std::strcmp(nl_langinfo_l(CODESET, locale), "UTF-8") == 0;
  freelocale(locale);
  return utf8;
}

}  // namespace psltool
