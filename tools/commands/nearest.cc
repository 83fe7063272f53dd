// Distances of words: see the header.
#include "tools/commands/nearest.h"

#include <algorithm>

namespace psltool {

namespace {

// Letters left out, put in, mistaken or swapped that lie between two words.
size_t Distance(std::string_view a, std::string_view b) {
  std::vector<std::vector<size_t>> steps(a.size() + 1, std::vector<size_t>(b.size() + 1));
  for (size_t i = 0; i <= a.size(); ++i) steps[i][0] = i;
  for (size_t j = 0; j <= b.size(); ++j) steps[0][j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t mistaken = steps[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      steps[i][j] = std::min({steps[i - 1][j] + 1, steps[i][j - 1] + 1, mistaken});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) steps[i][j] = std::min(steps[i][j], steps[i - 2][j - 2] + 1);
    }
  }
  return steps[a.size()][b.size()];
}

}  // namespace

std::string Nearest(std::string_view word, const std::vector<std::string>& words) {
  constexpr size_t kLongest = 64;  // no word of ours is longer
  if (word.empty() || word.size() > kLongest) return "";
  std::string nearest;
  // A third of the letters may be wrong; a short word may be a part of the one that was meant.
  size_t least = std::max<size_t>(word.size() / 3, 1) + 1;
  for (const std::string& each : words) {
    const size_t distance = Distance(word, each);
    if (distance < least) {
      least = distance;
      nearest = each;
    }
  }
  if (!nearest.empty()) return nearest;
  const auto begins = std::find_if(words.begin(), words.end(), [word](const std::string& each) {
    return each.starts_with(word) || word.starts_with(each);
  });
  return begins == words.end() ? "" : *begins;
}

}  // namespace psltool
