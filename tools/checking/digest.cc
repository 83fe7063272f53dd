// Digests: see the header.
#include "tools/checking/digest.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <nettle/sha2.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <vector>

namespace psltool {

namespace {

constexpr size_t kPiece = 1 << 18;

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
bool ReadAll(int fd, sha256_ctx& context, const struct stat& state, const std::string& path,
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
    sha256_update(&context, static_cast<size_t>(count), piece.data());
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
  sha256_ctx context;
  sha256_init(&context);
  if (!ReadAll(file.fd(), context, before, path, progress, digest)) return digest;
  std::array<uint8_t, SHA256_DIGEST_SIZE> bytes{};
  sha256_digest(&context, bytes.size(), bytes.data());
  struct stat after {};
  if (fstat(file.fd(), &after) == -1) return Unreadable("cannot be read");
  for (const uint8_t byte : bytes) digest.hex += fmt::format("{:02x}", byte);
  digest.end = SameState(before, after) ? DigestEnd::kDone : DigestEnd::kChanging;
  return digest;
}

}  // namespace psltool
