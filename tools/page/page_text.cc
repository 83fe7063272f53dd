// The page as text: see the header. Style and script are allowed by their digests and nothing else
// is allowed at all: the page asks nobody for anything.
#include "tools/page/page_text.h"

#include <fmt/format.h>

#include "tools/page/content_policy.h"
#include "tools/page/page_assets.h"

namespace psltool {

namespace {

// What stands in the place of a mark of the template.
std::string PieceOf(std::string_view mark, const PagePieces& pieces) {
  if (mark == "policy") {
    return fmt::format(
        "default-src 'none'; connect-src 'none'; script-src {}; style-src {}; base-uri 'none'; "
        "form-action 'none'",
        AllowedBy(kPageScript), AllowedBy(kPageStyle));
  }
  if (mark == "style") return std::string(kPageStyle);
  if (mark == "script") return std::string(kPageScript);
  std::string text;
  size_t number = 0;
  for (const std::string& each : pieces.packed()) {
    text += fmt::format("<script type=\"application/octet-stream\" id=\"piece-{}\">", number++);
    text += each;
    text += "</script>\n";
  }
  return text;
}

}  // namespace

std::string PageText(const PagePieces& pieces) {
  constexpr std::string_view kOpen = "{{";
  constexpr std::string_view kClose = "}}";
  std::string text;
  std::string_view rest = kPageTemplate;
  for (size_t at = rest.find(kOpen); at != std::string_view::npos; at = rest.find(kOpen)) {
    const size_t end = rest.find(kClose, at);
    text += rest.substr(0, at);
    text += PieceOf(rest.substr(at + kOpen.size(), end - at - kOpen.size()), pieces);
    rest.remove_prefix(end + kClose.size());
  }
  return text.append(rest);
}

}  // namespace psltool
