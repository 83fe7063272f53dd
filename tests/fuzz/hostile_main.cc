// Damaged files of all revisions through the archiver and psltool, in this process, under the
// sanitizers: hostile_files <seed> <first> <end> <progress file>. What a number's file is follows
// from seed and number alone. The number in hand stands in the progress file, eight bytes, so that
// whoever started this knows what ended it, and goes on behind it. scripts/torture does.
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/fuzz/surroundings.h"
#include "tests/fuzz/targets.h"
#include "tests/model/random_source.h"
#include "tests/support/archive_target.h"
#include "tests/support/damage.h"
#include "tests/support/run_state.h"
#include "tests/support/tools/psltool_target.h"

namespace {

constexpr unsigned kSecondsOfAFile = 20;

// What stands behind the byte of choice of the seeds: logs and archives of every revision.
std::vector<std::string> SoundFiles() {
  std::vector<std::string> files;
  for (const std::string& seed : fuzz::FileSeeds()) {
    if (seed.size() > 1) files.push_back(seed.substr(1));
  }
  return files;
}

// Every file is checked. Dumps and exports take ten times as long as all the rest, so one file in
// eight has them; likewise salvage.
unsigned FormsOf(model::Random& random) {
  constexpr size_t kOneIn = 8;
  unsigned forms = 0;
  if (random.Below(kOneIn) == 0) {
    const int both = random.Range(0, 2);
    if (both != 0) forms |= kDumpForm << random.Below(3);
    if (both != 1) forms |= kExportForm << random.Below(4);
  }
  if (random.Below(kOneIn) == 0) forms |= kSalvage;
  return forms;
}

// "", or what is wrong.
std::string Judge(model::Random& random, fuzz::Input bytes) {
  ArchiveTargetOptions options;
  options.automatic = random.Percent(50);
  // As the header says, or the level of the run.
  constexpr char kLevels[] = {0, 'H', 'D'};
  options.level = kLevels[options.automatic ? random.Range(1, 2) : random.Range(0, 2)];
  const fuzz::Input inputs[] = {bytes};
  const ArchiveTargetResult result = ArchiveBytes(inputs, options);
  if (result.status > 1) return "status " + std::to_string(result.status);
  for (const std::string& name : result.left) {
    if (name.starts_with(".")) return "left behind: " + name;
  }
  const PsltoolTargetResult read = RunPsltool(bytes, FormsOf(random));
  if (!read.contradiction.empty()) return read.contradiction;
  // Of one log both say the same.
  const bool archived = result.status == kReturned;
  if (options.automatic || options.level == 'D' || read.level != 'L' || read.clean == archived) {
    return "";
  }
  return archived ? "check finds fault with what is archived"
                  : "check finds no fault with what is refused";
}

uint64_t NumberOf(const char* text) { return std::strtoull(text, nullptr, 10); }

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) return 2;
  const uint64_t seed = NumberOf(argv[1]);
  const uint64_t end = NumberOf(argv[3]);
  const int progress = ::open(argv[4], O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
  if (progress < 0) return 2;
  const std::vector<std::string> files = SoundFiles();
  bool wrong = false;
  for (uint64_t number = NumberOf(argv[2]); number < end; ++number) {
    if (::pwrite(progress, &number, sizeof number, 0) != sizeof number) return 2;
    model::Random random(seed << 40 ^ number);
    const std::string bytes = DamagedOnPurpose(random, files[number % files.size()]);
    const fuzz::Input input(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    ::alarm(kSecondsOfAFile);
    const std::string found = Judge(random, input);
    if (found.empty()) continue;
    std::printf("%llu %s\n", static_cast<unsigned long long>(number), found.c_str());
    wrong = true;
  }
  if (::pwrite(progress, &end, sizeof end, 0) != sizeof end) return 2;
  return wrong ? 1 : 0;
}
