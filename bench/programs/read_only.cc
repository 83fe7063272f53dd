// Reads files as the archiver reads records: by pieces into one buffer that stays in the nearest
// caches, and does nothing with them: the least that any archive run over the files must take.
// Compiled by scripts/bench, not part of qelprfarc_bench.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

namespace {

constexpr size_t kPiece = size_t{64} << 10;

// Bytes, or -1 when the file cannot be read through.
long long ReadFile(const char* path, std::vector<char>& piece) {
  const int fd = open(path, O_RDONLY);
  if (fd == -1) {
    std::perror(path);
    return -1;
  }
  long long bytes = 0;
  for (;;) {
    const ssize_t got = read(fd, piece.data(), piece.size());
    if (got == -1) std::perror(path);
    if (got <= 0) {
      close(fd);
      return got == 0 ? bytes : -1;
    }
    bytes += got;
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: read_only FILE...\n");
    return 2;
  }
  std::vector<char> piece(kPiece);
  long long bytes = 0;
  for (int i = 1; i < argc; ++i) {
    const long long here = ReadFile(argv[i], piece);
    if (here < 0) return 1;
    bytes += here;
  }
  std::printf("%lld bytes\n", bytes);
  return 0;
}
