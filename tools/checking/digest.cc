// Digests: see the header.
#include "tools/checking/digest.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

namespace psltool {

namespace {

constexpr size_t kPiece = 1 << 18;

using Context = std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)>;

// The digest, from a library context of its own: when memory ends while the library sets up its
// shared one, it goes on without and crashes.
class Sha256 {
 public:
  Sha256()
      : library_(OSSL_LIB_CTX_new(), OSSL_LIB_CTX_free),
        digest_(library_ ? EVP_MD_fetch(library_.get(), "SHA2-256", nullptr) : nullptr,
                EVP_MD_free) {}
  // Null: the library fails.
  const EVP_MD* get() const { return digest_.get(); }

 private:
  std::unique_ptr<OSSL_LIB_CTX, decltype(&OSSL_LIB_CTX_free)> library_;
  std::unique_ptr<EVP_MD, decltype(&EVP_MD_free)> digest_;
};

class OpenFile {
 public:
  explicit OpenFile(const std::string& path)
      : fd_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}
  ~OpenFile() {
    if (fd_ != -1) close(fd_);
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  int fd() const { return fd_; }

 private:
  int fd_;
};

bool SameState(const struct stat& a, const struct stat& b) {
  return a.st_size == b.st_size && a.st_mtim.tv_sec == b.st_mtim.tv_sec &&
         a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

Digest Unreadable(const char* what) {
  Digest digest;
  digest.why = fmt::format("{}: {}", what, std::strerror(errno));
  return digest;
}

// Feeds the file to the digest. False: `digest` tells why.
bool ReadAll(int fd, EVP_MD_CTX* context, const struct stat& state, const std::string& path,
             Progress& progress, Digest& digest) {
  std::vector<uint8_t> piece(kPiece);
  const auto all = static_cast<uint64_t>(state.st_size);
  for (;;) {
    const ssize_t count = read(fd, piece.data(), piece.size());
    if (count == 0) return true;
    if (count == -1 && errno == EINTR) continue;
    if (count == -1) {
      digest = Unreadable("cannot be read");
      return false;
    }
    if (EVP_DigestUpdate(context, piece.data(), static_cast<size_t>(count)) != 1) {
      digest.why = "the digest library fails";
      return false;
    }
    digest.size += static_cast<uint64_t>(count);
    progress.Show(path, digest.size, all);
  }
}

}  // namespace

Digest DigestOfFile(const std::string& path, Progress& progress) {
  const OpenFile file(path);
  Digest digest;
  if (file.fd() == -1 && errno == ENOENT) {
    digest.end = DigestEnd::kMissing;
    return digest;
  }
  struct stat before {};
  if (file.fd() == -1 || fstat(file.fd(), &before) == -1) return Unreadable("cannot be opened");
  if (!S_ISREG(before.st_mode)) {
    digest.why = "not a regular file";
    return digest;
  }
  static const Sha256 sha256;
  const Context context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
  if (sha256.get() == nullptr || !context ||
      EVP_DigestInit_ex(context.get(), sha256.get(), nullptr) != 1) {
    digest.why = "the digest library fails";
    return digest;
  }
  if (!ReadAll(file.fd(), context.get(), before, path, progress, digest)) return digest;
  std::array<uint8_t, EVP_MAX_MD_SIZE> bytes{};
  unsigned size = 0;
  struct stat after {};
  if (EVP_DigestFinal_ex(context.get(), bytes.data(), &size) != 1) {
    digest.why = "the digest library fails";
    return digest;
  }
  if (fstat(file.fd(), &after) == -1) return Unreadable("cannot be read");
  for (unsigned i = 0; i < size; ++i) digest.hex += fmt::format("{:02x}", bytes[i]);
  digest.end = SameState(before, after) ? DigestEnd::kDone : DigestEnd::kChanging;
  return digest;
}

}  // namespace psltool
