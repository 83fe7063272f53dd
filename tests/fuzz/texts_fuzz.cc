// Small text files that people and other programs write: labels, SHA256SUMS, shared text files,
// trace and operation log.
#include <unistd.h>

#include <algorithm>

#include "pmonb/PMONBshareTxt.h"
#include "tests/fuzz/target.h"
#include "tests/support/scratch.h"
#include "tools/checking/sums_file.h"
#include "tools/reading/labels.h"
#include "tools/running/health.h"

namespace fuzz {

namespace {

// The line finder read in pieces, told another way: lines are at most so long.
std::vector<std::string> LinesOf(const std::string& text) {
  constexpr size_t kMost = kPmonSubLineSize - 1;
  std::vector<std::string> lines;
  for (size_t at = 0; at < text.size();) {
    const size_t end = text.find('\n', at);
    const size_t size =
        std::min({kMost, text.size() - at, end == std::string::npos ? text.size() : end + 1 - at});
    lines.push_back(text.substr(at, size));
    at += size;
  }
  return lines;
}

std::string FindLines(const std::string& path, const std::string& text, const std::string& search,
                      int commas) {
  char line[kPmonSubLineSize];
  const char* first = path.c_str();
  // C strings end at a zero byte.
  const std::string wanted = search.c_str();
  for (const std::string& each : LinesOf(text)) {
    const std::string seen = each.c_str();
    if (seen.find(wanted) == std::string::npos) continue;
    const int result = pmonSubFileGetOneLine(first, line, wanted.c_str(), commas);
    first = nullptr;
    const bool counted = commas == 0 || std::count(seen.begin(), seen.end(), ',') == commas;
    if (result != (counted ? 0 : 4) || seen != line) return "another line was found";
  }
  const int end = pmonSubFileGetOneLine(first, line, wanted.c_str(), commas);
  if ((end != 5 && end != 81) || line[0] != '\0') return "a line that is not there was found";
  pmonSubFileGetOneLine(nullptr, nullptr, nullptr, 0);
  return "";
}

std::string Tokenize(const std::string& text, const std::string& delimiters) {
  std::string copy = text.c_str();
  std::string again;
  char* field = pmonSubCsvtok(copy.data(), delimiters.c_str());
  while (field != nullptr) {
    again += field;
    again += '|';
    field = pmonSubCsvtok(nullptr, delimiters.c_str());
  }
  const std::string whole = text.c_str();
  const std::string marks = delimiters.c_str();
  std::string expected;
  for (size_t at = 0, end; (end = whole.find_first_of(marks, at)) != std::string::npos;) {
    expected += whole.substr(at, end - at) + "|";
    at = end + 1;
  }
  return again == expected ? "" : "other fields";
}

}  // namespace

std::string ShareTxt(Input input) {
  Taker taker(input);
  const int commas = taker.Byte() % 8;
  const std::string search = taker.Text(taker.Byte() % 8);
  const std::string delimiters = taker.Text(1 + taker.Byte() % 3);
  const std::string text = TextOf(taker.rest());
  const std::string path = Scratch::Write("shared", taker.rest());
  std::string wrong = FindLines(path, text, search, commas);
  if (wrong.empty()) wrong = Tokenize(text, delimiters);
  const bool digits =
      !text.empty() && text[0] != '\0' &&
      std::string(text.c_str()).find_first_not_of("0123456789") == std::string::npos;
  if (wrong.empty() && (pmonSubIsDigit(text.c_str()) == 1) != digits) wrong = "digits";

  int lines = 0;
  const std::string copy = Scratch::Path("copy");
  if (pmonSubFileMergeAdd(path.c_str(), copy.c_str(), &lines) != 0) wrong = "not merged";
  const auto ends = std::count(text.begin(), text.end(), '\n');
  if (lines != ends + (!text.empty() && text.back() != '\n' ? 1 : 0)) wrong = "lines miscounted";
  if (pmonSubFileOperation(copy.c_str(), 'F') != (text.empty() ? 3 : 2)) wrong = "state";
  if (pmonSubFileOperation(copy.c_str(), '<') != 1) wrong = "not removed";
  return wrong;
}

std::string Sums(Input input) {
  using psltool::SumsFile;
  Scratch::Write(psltool::kSumsName, input);
  const std::string directory = Scratch::Directory().Path();
  SumsFile read;
  if (!psltool::ReadSums(directory, read)) return "";
  // Each name comes back from the line that would be made for it.
  SumsFile made;
  for (const psltool::SumsLine& line : read.lines) {
    made.lines.push_back(line.name.empty() ? line : psltool::MakeSumsLine(line.name, line.digest));
  }
  std::string text;
  for (const psltool::SumsLine& line : made.lines) text += line.text + "\n";
  Scratch::Write(psltool::kSumsName, {reinterpret_cast<const uint8_t*>(text.data()), text.size()});
  SumsFile again;
  if (!psltool::ReadSums(directory, again)) return "what is written is not read";
  if (again.lines.size() != read.lines.size()) return "lines got lost";
  for (size_t i = 0; i < read.lines.size(); ++i) {
    if (again.lines[i].name != read.lines[i].name) return "another name";
    if (again.lines[i].digest != read.lines[i].digest) return "another digest";
  }
  return "";
}

std::string Logs(Input input) {
  static const bool made = [] {
    for (const char* name : {"prefix/etc/trace", "prefix/etc/log", "root/pmon"}) {
      Scratch::Directory().MakeDirectory(name);
    }
    return true;
  }();
  static_cast<void>(made);
  Taker taker(input);
  const int64_t now = taker.Word();
  const std::vector<Input> pieces = PiecesOf(taker.rest(), 2);
  Scratch::Write("prefix/etc/trace/Qelprfarc.trc", pieces[0]);
  Scratch::Write("prefix/etc/log/operation.log", pieces.size() > 1 ? pieces[1] : Input());
  psltool::HealthRequest request = {};
  request.config.root = "/srv/monitor";
  request.prefix = Scratch::Path("prefix/");
  request.now = now;
  request.max_age = 26 * 3600;
  request.max_run = 6 * 3600;
  request.zone = psltool::Zone::kUtc;
  psltool::Health health;
  if (!psltool::LookAtRuns(request, health)) return "the files cannot be read";
  if (health.last_run && health.last_run->start > now) return "a run of the future";
  return "";
}

std::string LabelFile(Input input) {
  psltool::Labels labels;
  if (!labels.Read(Scratch::Write("labels", input))) return "";
  for (const char* kind : {"ld", "pd", "cheseg", "wait-time", "cab", "no kind"}) {
    for (size_t group = 0; group < 8; ++group) labels.OfGroup(kind, group);
    for (const char* key : {"0", "1", "1.2", "1.2.3.4"}) {
      const std::string& name = labels.OfResource("array01", kind, key);
      if (name.size() > 64) return "a name is too long";
      for (const char c : name) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) return "a control character";
      }
    }
    labels.NameResourcesOf(kind);
  }
  return "";
}

}  // namespace fuzz
