// Digests of scripts and style sheets: see the header.
#include "tools/page/content_policy.h"

#include <nettle/base64.h>
#include <nettle/sha2.h>

#include <array>

namespace psltool {

std::string AllowedBy(std::string_view text) {
  sha256_ctx context;
  sha256_init(&context);
  sha256_update(&context, text.size(), reinterpret_cast<const uint8_t*>(text.data()));
  std::array<uint8_t, SHA256_DIGEST_SIZE> digest = {};
  sha256_digest(&context, digest.size(), digest.data());
  std::string base64(BASE64_ENCODE_RAW_LENGTH(digest.size()), '\0');
  base64_encode_raw(base64.data(), digest.size(), digest.data());
  return "'sha256-" + base64 + "'";
}

}  // namespace psltool
