// Text-file routines: see the header.
#include "pmonb/PMONBshareTxt.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

namespace {

constexpr int kDone = 0;
constexpr int kFileError = 3;

// States of a file that Query tells apart.
constexpr int kHasContent = 2;
constexpr int kEmpty = 3;
constexpr int kMissing = 4;

char* pNext = nullptr;  // behind the delimiter found last
FILE* ifp = nullptr;    // file of the search in progress
struct stat st1;        // status of the file operated on

struct CloseFile {
  void operator()(FILE* file) const { fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;

File Open(const char* path, const char* mode) {
  if (path == nullptr) errno = EFAULT;
  return File(path != nullptr ? fopen(path, mode) : nullptr);
}

// Buffered text may reach the disk, or fail to, only now.
bool Close(File file) { return fclose(file.release()) == 0; }

void CloseSearch() {
  if (ifp != nullptr) fclose(ifp);
  ifp = nullptr;
}

bool HasCommas(std::string_view line, int commas) {
  return commas == 0 || std::count(line.begin(), line.end(), ',') == commas;
}

// Appending a file to itself would never come to its end.
bool IsSameFile(FILE* a, FILE* b) {
  struct stat first {};
  struct stat second {};
  // Not reached: the status of a file that was opened just now is known.
  return fstat(fileno(a), &first) == 0 && fstat(fileno(b), &second) == 0 &&
         first.st_dev == second.st_dev && first.st_ino == second.st_ino && S_ISREG(first.st_mode);
}

// Copies to the end and counts lines, the last also when its line end is missing.
bool CopyLines(FILE* source, FILE* destination, int& lines) {
  char piece[kPmonSubLineSize];
  char last = '\n';
  size_t size;
  while ((size = fread(piece, 1, sizeof piece, source)) > 0) {
    if (fwrite(piece, 1, size, destination) != size) return false;
    lines += static_cast<int>(std::count(piece, piece + size, '\n'));
    last = piece[size - 1];
  }
  if (last != '\n') ++lines;
  return ferror(source) == 0;
}

int EnsureExists(const char* path) {
  constexpr int kExists = 10;
  return Open(path, "at") != nullptr ? kExists : -1;
}

int Query(const char* path) {
  if (path == nullptr) {
    errno = EFAULT;
    return -1;
  }
  if (stat(path, &st1) == 0) return st1.st_size != 0 ? kHasContent : kEmpty;
  return errno == ENOENT ? kMissing : -1;
}

int RemoveFile(const char* path) {
  constexpr int kRemoved = 1;
  constexpr int kNotRemoved = 5;
  const int state = Query(path);
  if (state != kHasContent && state != kEmpty) return state;
  return unlink(path) == 0 ? kRemoved : kNotRemoved;
}

}  // namespace

char* pmonSubCsvtok(char* text, const char* delimiters) {
  char* const start = text != nullptr ? text : pNext;
  pNext = nullptr;
  if (start == nullptr || delimiters == nullptr) return nullptr;
  char* const found = strpbrk(start, delimiters);
  if (found == nullptr) return nullptr;
  *found = '\0';
  pNext = found + 1;
  return start;
}

int pmonSubIsDigit(const char* text) {
  if (text == nullptr || *text == '\0') return 0;
  return text[strspn(text, "0123456789")] == '\0' ? 1 : 0;
}

int pmonSubFileGetOneLine(const char* path, char* line, const char* search, int commas) {
  constexpr int kOtherCommas = 4;
  constexpr int kEndReached = 5;
  constexpr int kNoFile = 15;
  constexpr int kClosed = 80;
  constexpr int kEndBefore = 81;
  if (line == nullptr) {
    CloseSearch();
    return kClosed;
  }
  if (path != nullptr) {
    CloseSearch();
    ifp = Open(path, "rt").release();
    if (ifp == nullptr) return kFileError;
  }
  if (ifp == nullptr) return kNoFile;
  while (true) {
    const bool ended = feof(ifp) != 0;
    if (ended || fgets(line, kPmonSubLineSize, ifp) == nullptr) {
      *line = '\0';
      return ended ? kEndBefore : kEndReached;
    }
    if (search != nullptr && strstr(line, search) != nullptr) {
      return HasCommas(line, commas) ? kDone : kOtherCommas;
    }
  }
}

int pmonSubFileMergeAdd(const char* source, const char* destination, int* lines) {
  File from = Open(source, "rt");
  if (from == nullptr) return kFileError;
  File to = Open(destination, "at");
  if (to == nullptr || IsSameFile(from.get(), to.get())) return kFileError;
  int copied = 0;
  const bool complete = CopyLines(from.get(), to.get(), copied);
  if (lines != nullptr) *lines += copied;
  const bool closed = Close(std::move(to));
  return complete && closed ? kDone : kFileError;
}

int pmonSubFilePutTxt(const char* text, const char* path, const char* mode) {
  if (text == nullptr || mode == nullptr) return kFileError;
  File file = Open(path, mode);
  if (file == nullptr) return kFileError;
  const bool written = fputs(text, file.get()) >= 0;
  const bool closed = Close(std::move(file));
  return written && closed ? kDone : kFileError;
}

int pmonSubFileOperation(const char* path, char code) {
  switch (code) {
    case '2':
      return EnsureExists(path);
    case 'F':
      return Query(path);
    case '<':
      return RemoveFile(path);
    default:
      return 0;
  }
}
