// Command line of `psltool report`.
#include "tools/commands/commands.h"

#include <algorithm>
#include <string>
#include <vector>

#include "tools/commands/dump_options.h"
#include "tools/commands/files_option.h"
#include "tools/output/record_file.h"
#include "tools/output/report.h"
#include "tools/page/gather.h"
#include "tools/page/look_files.h"
#include "tools/page/page_choice.h"
#include "tools/page/page_text.h"
#include "tools/reading/labels.h"

namespace psltool {

namespace {

constexpr double kMegabyte = 1e6;
constexpr size_t kUsualSize = 9;  // megabytes
// Where an array has so many resources of a kind, or there are so many arrays, that few resources
// would have room.
constexpr size_t kSizeOfMany = 48;
constexpr size_t kManyArrays = 16;
constexpr double kSmallest = 1;
constexpr double kLargest = 400;

struct ReportOptions {
  std::vector<std::string> files;
  std::string out = "report.html";
  std::string labels;
  size_t size = 0;  // megabytes; 0: as many as are usual
  ChoiceOptions choice;
};

DumpCount CountOf(const PageData& page) {
  DumpCount count;
  for (const auto& [name, array] : page.arrays) {
    count.records += array.intervals.size();
    for (const auto& [word, kind] : array.kinds) count.entries += kind.resources.size();
  }
  return count;
}

double BytesOf(const ReportOptions& options, const PageData& page) {
  size_t size = options.size;
  if (size == 0) {
    const auto many = [](const auto& kind) {
      return kind.second.resources.size() > kManyResources;
    };
    const bool any = std::any_of(page.arrays.begin(), page.arrays.end(), [&](const auto& array) {
      return std::any_of(array.second.kinds.begin(), array.second.kinds.end(), many);
    });
    size = any || page.arrays.size() > kManyArrays ? kSizeOfMany : kUsualSize;
  }
  return static_cast<double>(size) * kMegabyte;
}

// Data takes what the page may have; a third of it ranks resources over parts of the span, but not
// so much that a browser would be busy with it for long. Of the numbers of resources in full more
// is kept than has room when it is packed.
PageLimits LimitsOf(double bytes) {
  constexpr double kRankShare = 0.33;
  constexpr double kMostOfRanks = 6e6;
  constexpr double kMemoryOfDetail = 40;
  constexpr double kMostMemory = 1.5e9;
  return {static_cast<size_t>(std::min(bytes * kRankShare, kMostOfRanks)),
          static_cast<size_t>(std::min(bytes * kMemoryOfDetail, kMostMemory))};
}

bool WritePage(const std::string& path, const std::string& text) {
  RecordFile file(path);
  return file.Create() && file.Write(reinterpret_cast<const uint8_t*>(text.data()), text.size()) &&
         file.Finish();
}

int Report(ReportOptions& options) {
  DumpRequest what;
  Labels labels;
  if (!TakeChoice("report", options.choice, what) ||
      !MayWrite("report -o", options.out, options.files, {options.labels}) ||
      !labels.Read(options.labels)) {
    return kExitRefused;
  }
  Progress progress;
  PageData page;
  if (!LookAtFiles(options.files, what, progress, page)) return kExitRefused;
  const int status = StatusOf(GatherSums(what, progress, page));
  const DumpCount count = CountOf(page);
  if (!HasWhatWasAsked("report", options.choice, what, count)) return std::max(status, kExitFailed);
  if (count.entries == 0) {
    Fail("report", "the files hold nothing to show; no page is made");
    return std::max(status, kExitFailed);
  }
  const double bytes = BytesOf(options, page);
  ChooseContent(LimitsOf(bytes), what.zone, page);
  GatherDetail(what, progress, page);
  const PagePieces pieces = PackPage({what.zone, static_cast<size_t>(bytes), &labels}, page);
  return WritePage(options.out, PageText(pieces)) ? status : kExitUnusable;
}

}  // namespace

void AddReportCommand(Command& command, int& status) {
  ReportOptions& options = command.Runs<ReportOptions>(Report, status);
  AddFilesOption(command, options.files);
  command.AddOption("-o,--out", options.out, "The page to write (default: report.html)");
  command
      .AddOption("--size", options.size,
                 "Megabytes that the data may take (default 9; with more than 8,192 resources of a "
                 "kind, or 16 arrays, 48): more tells more resources in full")
      ->Must(Between(kSmallest, kLargest));
  AddChoiceOptions(command, options.choice);
  AddLabelsOption(command, options.labels);
}

}  // namespace psltool
