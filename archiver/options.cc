// Option parsing. Arguments are taken left to right; a run-mode mask collects what kind of run they
// ask for, and only the masks of the three run modes are accepted at the end.
#include "archiver/options.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
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

constexpr const char* kModeWords[] = {"svr", "user", "arrayupdate"};

void ParseMode(Parser& parser) {
  parser.mask |= kRunMode;
  arcdelinfo.mode = kModeNone;
  const char* word = TakeValue(parser);
  if (Is(word, kModeWords[0])) {
    arcdelinfo.mode = kModeSvr;
    arcdelinfo.shmid = TakeNumber(parser);
    if (parser.next < parser.count && Is(parser.arguments[parser.next], "-force")) {
      arcdelinfo.force_flg = 1;
      ++parser.next;
    }
  } else if (Is(word, kModeWords[1])) {
    arcdelinfo.mode = kModeUser;
    TakeUserFile(parser);
  } else if (Is(word, kModeWords[2])) {
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

void TakeLevel(Parser& parser, char level) {
  parser.mask |= kRunManual;
  parser.time_text = TakeValue(parser);
  finfo.level = level;
  finfo.optclass |= kOptDirectory;
}

// An option and what it does to the run. Without the latter it is none by itself: "-force" belongs
// to the value of "-mode", "-ver" is the only argument or wrong.
struct OptionRow {
  OptionText said;
  void (*take)(Parser& parser);
};

using Value = OptionText::Value;
using Use = OptionText::Use;

constexpr OptionRow kOptions[] = {
    {{"-v", "", Value::kNone, Use::kManual,
      "Print \"input --> output\" for every input of a finished archive."},
     [](Parser& parser) {
       parser.mask |= kRunManual;
       OptVerbose = 1;
     }},
    {{"-o", "path", Value::kDirectory, Use::kManual,
      "Directory for the archives (default: the current one)."},
     [](Parser& parser) {
       parser.mask |= kRunManual;
       finfo.path = TakePath(parser);
       finfo.optclass |= kOptFile;
     }},
    {{"-d", "", Value::kNone, Use::kManual, "Make day archives."},
     [](Parser& parser) {
       parser.mask |= kRunManual;
       finfo.level = 'D';
       finfo.optclass |= kOptFile;
     }},
    {{"-p", "path", Value::kDirectory, Use::kManual,
      "Directory of the inputs and of the archives; excludes the options of runs over named "
      "files."},
     [](Parser& parser) {
       parser.mask |= kRunManual;
       finfo.path = TakePath(parser);
       finfo.optclass |= kOptDirectory;
     }},
    {{"-hour", "time", Value::kTime, Use::kManual, "With -p: hour archives of this time span."},
     [](Parser& parser) { TakeLevel(parser, 'H'); }},
    {{"-day", "time", Value::kTime, Use::kManual, "With -p: day archives of this time span."},
     [](Parser& parser) { TakeLevel(parser, 'D'); }},
    {{"-ext", "", Value::kNone, Use::kManual,
      "Messages go to the trace file instead of standard error."},
     [](Parser&) {
       arcdelinfo.ext_flg = 1;
       finfo.optclass |= kOptFile;
       SetTraceFile();
     }},
    {{"-out", "path", Value::kFile, Use::kManual,
      "The archive's own path, name included; only with -ext."},
     [](Parser& parser) {
       arcdelinfo.out_flg = 1;
       finfo.outpath = TakePath(parser);
       finfo.optclass |= kOptFile;
     }},
    {{"-noperiod", "", Value::kNone, Use::kManual,
      "Keep the inputs in the order given and put them into one day archive, whatever their month "
      "or "
      "array; pass over day archives among them; only with -ext."},
     [](Parser&) {
       arcdelinfo.noperiod_flg = 1;
       finfo.optclass |= kOptFile;
     }},
    {{"-daypsanoerr", "", Value::kNone, Use::kManual,
      "Accepted, without effect of its own; only with -ext."},
     [](Parser&) {
       arcdelinfo.daypsanoerr_flg = 1;
       finfo.optclass |= kOptFile;
     }},
    {{"-ver", "", Value::kNone, Use::kManual, "Print the version; the only argument."}, nullptr},
    {{"-auto", "", Value::kNone, Use::kDaemon, "Automatic archiving; needs -mode."},
     [](Parser& parser) {
       parser.mask |= kRunAuto;
       arcdelinfo.auto_flg = 1;
     }},
    {{"-auto2", "emb days count", Value::kNumbers, Use::kDaemon,
      "Automatic pruning of PML files; needs -mode. Up to three numbers: 1 for an embedded system "
      "volume, else 0; days to keep; how many of the oldest files to delete. For the last two 0 "
      "means: not at all."},
     ParseAuto2},
    {{"-mode", "word value", Value::kMode, Use::kDaemon,
      "svr or arrayupdate and the number of the daemon's shared-memory segment, from which the "
      "configuration is read; user and a file is refused at run time."},
     ParseMode},
    {{"-force", "", Value::kNone, Use::kDaemon,
      "Right after the number of -mode svr: archive even if the configuration says not to."},
     nullptr},
};

constexpr size_t kOptionCount = std::size(kOptions);

constexpr std::array<OptionText, kOptionCount> kOptionTexts = [] {
  std::array<OptionText, kOptionCount> texts = {};
  for (size_t i = 0; i < kOptionCount; ++i) texts[i] = kOptions[i].said;
  return texts;
}();

void ParseOption(Parser& parser, const char* option) {
  const auto row = std::find_if(
      std::begin(kOptions), std::end(kOptions),
      [option](const auto& each) { return each.take != nullptr && Is(option, each.said.name); });
  if (row == std::end(kOptions)) RefuseArgument(option);
  row->take(parser);
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

std::span<const OptionText> OptionTexts() { return kOptionTexts; }

std::span<const char* const> ModeWords() { return kModeWords; }

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
