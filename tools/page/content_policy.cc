// Digests of scripts and style sheets: see the header.
#include "tools/page/content_policy.h"

#include <openssl/evp.h>

#include <array>
#include <stdexcept>

namespace psltool {

std::string AllowedBy(std::string_view text) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest = {};
  unsigned size = 0;
  if (EVP_Digest(text.data(), text.size(), digest.data(), &size, EVP_sha256(), nullptr) != 1) {
    throw std::runtime_error("no SHA-256");
  }
  std::string base64(size_t{4} * ((size + 2) / 3), '\0');
  EVP_EncodeBlock(reinterpret_cast<unsigned char*>(base64.data()), digest.data(),
                  static_cast<int>(size));
  return "'sha256-" + base64 + "'";
}

}  // namespace psltool
