// What pages allow themselves: scripts and style sheets of their own, named by their digests.
#pragma once

#include <string>
#include <string_view>

namespace psltool {

// "'sha256-...'": the source of a content policy that lets in this text and no other.
std::string AllowedBy(std::string_view text);

}  // namespace psltool
