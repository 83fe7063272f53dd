// Records that are read side by side give what they give one by one: the same end, the same files.
#include <filesystem>
#include <map>

#include "engine/input_bytes.h"
#include "revisions/statistics.h"
#include "tests/fuzz/target.h"
#include "tests/support/archive_target.h"
#include "tests/support/tempdir.h"

namespace fuzz {

namespace {

struct Outcome {
  int status = 0;
  bool abandoned = false;
  std::map<std::string, std::string> files;  // what the run left, inputs apart

  bool operator==(const Outcome&) const = default;
};

Outcome Run(const std::vector<Input>& inputs, const ArchiveTargetOptions& options, size_t records,
            size_t piece) {
  const size_t records_before = records_at_a_time;
  records_at_a_time = records;
  piece_bytes = piece;
  Outcome outcome;
  const ArchiveTargetResult result = ArchiveBytes(
      inputs, options, [&](const std::string& directory, const auto& names, const auto&) {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
          const std::string name = entry.path().filename().string();
          if (!entry.is_regular_file() || name == names[0] || name == names.back()) continue;
          outcome.files[name] = TempDir::ReadFile(entry.path().string());
        }
      });
  records_at_a_time = records_before;
  piece_bytes = kPieceBytes;
  outcome.status = result.status;
  outcome.abandoned = result.abandoned;
  return outcome;
}

}  // namespace

std::string SideBySide(Input input) {
  if (input.size() < 2) return "";
  ArchiveTargetOptions options;
  options.automatic = (input[0] & 1) != 0;
  options.level = (input[0] & 2) != 0 ? 'D' : 'H';
  // Pieces that hold whole records, a few entries, or next to nothing of one.
  constexpr size_t kPieces[] = {kPieceBytes, 4096, 512, 100};
  const size_t piece = kPieces[input[0] >> 2 & 3];
  const size_t records = 2 + input[1] % 9;
  const std::vector<Input> files = PiecesOf(input.subspan(2), 2);
  const Outcome alone = Run(files, options, 1, kPieceBytes);
  const Outcome together = Run(files, options, records, piece);
  if (alone == together) return "";
  if (alone.status != together.status) return "another status";
  return alone.abandoned != together.abandoned ? "abandoned in one of the two" : "another archive";
}

}  // namespace fuzz
