// Reads statistics files as the archiver does (the 12 bytes of each record header, back, the whole
// record) and does nothing with them: the least that any archive run over the files must take.
// Compiled by scripts/bench, not part of qelprfarc_bench.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"

namespace {

// Number of records, or -1 when the file cannot be read through.
long long ReadFile(const char* path, std::vector<uint8_t>& record) {
  const int fd = open(path, O_RDONLY);
  if (fd == -1) {
    std::perror(path);
    return -1;
  }
  long long records = 0;
  for (;; ++records) {
    uint8_t head[kRecordHeaderSize];
    const ssize_t got = read(fd, head, sizeof head);
    if (got == 0) break;
    const uint32_t length = got == sizeof head ? Load32(head + kAtLength) : 0;
    if (length < sizeof head || lseek(fd, -static_cast<off_t>(sizeof head), SEEK_CUR) == -1) {
      std::fprintf(stderr, "%s: broken record\n", path);
      records = -1;
      break;
    }
    if (record.size() < length) record.resize(length);
    if (read(fd, record.data(), length) != static_cast<ssize_t>(length)) {
      std::fprintf(stderr, "%s: short record\n", path);
      records = -1;
      break;
    }
  }
  close(fd);
  return records;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: read_only FILE...\n");
    return 2;
  }
  std::vector<uint8_t> record;
  long long records = 0;
  for (int i = 1; i < argc; ++i) {
    const long long here = ReadFile(argv[i], record);
    if (here < 0) return 1;
    records += here;
  }
  std::printf("%lld records\n", records);
  return 0;
}
