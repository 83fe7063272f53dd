// Option parsing. Arguments are taken left to right; a run-mode mask collects what kind of run they
// ask for, and only the masks of the three run modes are accepted at the end.
#include "archiver/options.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>

#include "areas/finfo.h"
#include "report/messages.h"
#include "report/runinfo.h"
#include "report/trace.h"
#include "report/usage.h"

namespace {

constexpr int64_t kMaxInt32 = std::numeric_limits<int32_t>::max();
constexpr int64_t kMaxByte = std::numeric_limits<uint8_t>::max();

struct Parser {
  int count;
  char** arguments;
  int next;  // argument to be examined next
  int32_t mask;
  const char* time_text;
};

bool Is(const char* argument, const char* option) { return strcmp(argument, option) == 0; }

// The value of an option; a missing one gives the usage text.
char* TakeValue(Parser& parser) {
  if (parser.next >= parser.count) Usage();
  return parser.arguments[parser.next++];
}

const char* TakePath(Parser& parser) {
  const char* path = TakeValue(parser);
  if (path[0] == '\0') Usage();
  return path;
}

int32_t TakeNumber(Parser& parser) {
  int64_t value = 0;
  if (!ParseNumber(TakeValue(parser), kMaxInt32, &value)) Usage();
  return static_cast<int32_t>(value);
}

void TakeUserFile(Parser& parser) {
  const char* path = TakeValue(parser);
  const size_t size = strlen(path) + 1;
  if (size > sizeof arcdelinfo.userfile) Usage();
  memcpy(arcdelinfo.userfile, path, size);
  const int fd = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd == -1) Usage();
  close(fd);
}

void ParseMode(Parser& parser) {
  parser.mask |= kRunMode;
  arcdelinfo.mode = kModeNone;
  const char* word = TakeValue(parser);
  if (Is(word, "svr")) {
    arcdelinfo.mode = kModeSvr;
    arcdelinfo.shmid = TakeNumber(parser);
    if (parser.next < parser.count && Is(parser.arguments[parser.next], "-force")) {
      arcdelinfo.force_flg = 1;
      ++parser.next;
    }
  } else if (Is(word, "user")) {
    arcdelinfo.mode = kModeUser;
    TakeUserFile(parser);
  } else if (Is(word, "arrayupdate")) {
    arcdelinfo.mode = kModeArrayUpdate;
    arcdelinfo.shmid = TakeNumber(parser);
  } else {
    Usage();
  }
}

// Up to three numbers. An argument that is not a number ends them and is itself lost, which is why
// the daemon passes three numbers or puts "-mode" first.
void ParseAuto2(Parser& parser) {
  parser.mask |= kRunAuto2;
  arcdelinfo.auto2_flg = 1;
  constexpr int64_t kMaxima[] = {kMaxByte, kMaxInt32, kMaxByte};
  int64_t values[] = {arcdelinfo.emb_flg, arcdelinfo.term_num, arcdelinfo.oldest_num};
  for (size_t i = 0; i < 3 && parser.next < parser.count; ++i) {
    const char* argument = parser.arguments[parser.next++];
    if (!AllDigits(argument)) break;
    if (!ParseNumber(argument, kMaxima[i], &values[i])) Usage();
  }
  arcdelinfo.emb_flg = static_cast<uint8_t>(values[0]);
  arcdelinfo.term_num = static_cast<int32_t>(values[1]);
  arcdelinfo.oldest_num = static_cast<uint8_t>(values[2]);
}

[[noreturn]] void RefuseArgument(const char* argument) {
  LogMessage(104, argument);
  Usage();
}

void ParseOption(Parser& parser, const char* option) {
  if (Is(option, "-o")) {
    parser.mask |= kRunManual;
    finfo.path = TakePath(parser);
    finfo.optclass |= kOptFile;
  } else if (Is(option, "-ext")) {
    arcdelinfo.ext_flg = 1;
    finfo.optclass |= kOptFile;
    SetTraceFile();
  } else if (Is(option, "-out")) {
    arcdelinfo.out_flg = 1;
    finfo.outpath = TakePath(parser);
    finfo.optclass |= kOptFile;
  } else if (Is(option, "-daypsanoerr")) {
    arcdelinfo.daypsanoerr_flg = 1;
    finfo.optclass |= kOptFile;
  } else if (Is(option, "-noperiod")) {
    arcdelinfo.noperiod_flg = 1;
    finfo.optclass |= kOptFile;
  } else if (Is(option, "-d")) {
    parser.mask |= kRunManual;
    finfo.level = 'D';
    finfo.optclass |= kOptFile;
  } else if (Is(option, "-p")) {
    parser.mask |= kRunManual;
    finfo.path = TakePath(parser);
    finfo.optclass |= kOptDirectory;
  } else if (Is(option, "-hour") || Is(option, "-day")) {
    parser.mask |= kRunManual;
    parser.time_text = TakeValue(parser);
    finfo.level = Is(option, "-hour") ? 'H' : 'D';
    finfo.optclass |= kOptDirectory;
  } else if (Is(option, "-v")) {
    parser.mask |= kRunManual;
    OptVerbose = 1;
  } else if (Is(option, "-auto")) {
    parser.mask |= kRunAuto;
    arcdelinfo.auto_flg = 1;
  } else if (Is(option, "-auto2")) {
    ParseAuto2(parser);
  } else if (Is(option, "-mode")) {
    ParseMode(parser);
  } else {
    RefuseArgument(option);
  }
}

// A mask that mixes manual options with those of the daemon, or "-auto" with both.
bool MixedMask(int32_t mask) {
  return mask == (kRunManual | kRunAuto) || mask == (kRunManual | kRunMode) ||
         mask == (kRunManual | kRunAuto | kRunMode);
}

void CheckCombination(int32_t mask) {
  if (mask != kRunManual && mask != (kRunAuto | kRunMode) && mask != (kRunMode | kRunAuto2)) {
    Usage();
  }
  const bool needs_ext =
      arcdelinfo.out_flg != 0 || arcdelinfo.daypsanoerr_flg != 0 || arcdelinfo.noperiod_flg != 0;
  if (needs_ext && arcdelinfo.ext_flg == 0) Usage();
}

}  // namespace

bool AllDigits(const char* text) {
  return text[0] != '\0' && strspn(text, "0123456789") == strlen(text);
}

bool ParseNumber(const char* text, int64_t maximum, int64_t* value) {
  if (!AllDigits(text)) return false;
  int64_t number = 0;
  for (const char* p = text; *p != '\0'; ++p) {
    number = number * 10 + (*p - '0');
    if (number > maximum) return false;
  }
  *value = number;
  return true;
}

const char* ParseCommandLine(int argc, char** argv) {
  Parser parser{argc, argv, 1, 0, nullptr};
  while (parser.next < argc) {
    if (MixedMask(parser.mask)) Usage();
    char* argument = argv[parser.next];
    if (argument[0] == '-') {
      ++parser.next;
      ParseOption(parser, argument);
      continue;
    }
    if (finfo.optclass == kOptDirectory) RefuseArgument(argument);
    parser.mask |= kRunManual;
    TargetList = argv + parser.next;
    Ntarget = argc - parser.next;
    break;
  }
  CheckCombination(parser.mask);
  return parser.time_text;
}
