// A slow, plain second implementation of a manual archive run, written from the format's rules
// alone: given the input files it says which files the run leaves, byte for byte.
//
// Independent, as all of tests/model/: it includes nothing of the product. What stands here a
// second time: headers (engine/header.cc), which inputs join and where outputs are cut
// (engine/joining.cc, engine/period.cc), names (engine/names.cc), and the stream of records
// (engine/framing.cc, engine/stream.cc).

#ifndef TESTS_MODEL_SLOW_ARCHIVER_H_
#define TESTS_MODEL_SLOW_ARCHIVER_H_

#include <map>
#include <string>
#include <vector>

#include "tests/model/bytes.h"

namespace model {

/// One input file: its name without a directory and its content.
struct InputFile {
  std::string name;
  Bytes bytes;
};

struct RunOptions {
  bool day = false;        // "-d"
  bool no_period = false;  // "-noperiod" (with "-ext")
};

struct RunResult {
  int status = 0;  // exit status of the process
  std::map<std::string, Bytes> files;
  std::string reason;  // of a status other than 0, for the tests' messages
};

/// The outcome of a manual run over `inputs`. Local time is that of the environment's `TZ`, which
/// is put back before the function returns.
RunResult RunArchiver(const std::vector<InputFile>& inputs, const RunOptions& options);

/// The files alone; `level` 'D' stands for the option "-d", any other for no option.
std::map<std::string, Bytes> Archive(std::vector<InputFile> inputs, char level);

}  // namespace model

#endif  // TESTS_MODEL_SLOW_ARCHIVER_H_
