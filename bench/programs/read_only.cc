// Reads a statistics file as the archiver does (the 12 bytes of each record header, back, the whole
// record) and does nothing with it: the least that any archive run over the file must take.
// Compiled by scripts/bench, not part of qelprfarc_bench.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: read_only FILE\n");
    return 2;
  }
  const int fd = open(argv[1], O_RDONLY);
  if (fd == -1) {
    std::perror(argv[1]);
    return 1;
  }
  std::vector<uint8_t> record;
  uint64_t records = 0;
  for (;;) {
    uint8_t head[kRecordHeaderSize];
    const ssize_t got = read(fd, head, sizeof head);
    if (got == 0) break;
    const uint32_t length = got == sizeof head ? Load32(head + kAtLength) : 0;
    if (length < sizeof head || lseek(fd, -static_cast<off_t>(sizeof head), SEEK_CUR) == -1) {
      std::fprintf(stderr, "%s: broken record\n", argv[1]);
      return 1;
    }
    if (record.size() < length) record.resize(length);
    if (read(fd, record.data(), length) != static_cast<ssize_t>(length)) {
      std::fprintf(stderr, "%s: short record\n", argv[1]);
      return 1;
    }
    ++records;
  }
  close(fd);
  std::printf("%llu records\n", static_cast<unsigned long long>(records));
  return 0;
}
