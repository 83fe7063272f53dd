// File names: what the archiver and psltool take from them agrees.

#include "areas/finfo.h"
#include "engine/names.h"
#include "engine/outname.h"
#include "engine/period.h"
#include "engine/pmoncommon.h"
#include "logdir/autorules.h"
#include "logdir/limits.h"
#include "logdir/pmonlogdir.h"
#include "logdir/timespan.h"
#include "pmonb/PMONBcomDeletePml.h"
#include "report/runinfo.h"
#include "tests/fuzz/target.h"
#include "tools/audit/recompute_inputs.h"
#include "tools/reading/file_summary.h"
#include "tools/reading/input_files.h"

namespace fuzz {

namespace {

int Sign(int value) { return value < 0 ? -1 : value > 0 ? 1 : 0; }

int ArchiverOrder(const std::string& left, const std::string& right) {
  const char* a = left.c_str();
  const char* b = right.c_str();
  return Sign(FSortFunc(&a, &b));
}

std::string Order(const std::string& left, const std::string& right) {
  const int order = ArchiverOrder(left, right);
  if (order != -ArchiverOrder(right, left)) return "the order depends on the side";
  if (order != Sign(psltool::SortKeyOf(left).compare(psltool::SortKeyOf(right)))) {
    return "sorted otherwise by psltool";
  }
  // Directories count for a run. Whoever audits may have put the files elsewhere since.
  const std::string left_name(psltool::BaseNameOf(left));
  const std::string right_name(psltool::BaseNameOf(right));
  const bool same = CheckSameDay(left_name.c_str(), right_name.c_str()) == 0;
  if (same != psltool::SameDayNames(left, right)) return "of one day for one of the two";
  return "";
}

std::string Arrays(const std::string& name) {
  const auto array = ArrayOf(name);
  const auto parts = psltool::NameOfInput(name);
  if (array.has_value() != parts.has_value()) return "a name for one of the two";
  if (array && parts->array != *array) return "another array";
  if (SortedArrayOf(name.c_str()) != psltool::ArrayInOrder(name)) return "another array in order";
  for (const char level : {'L', 'H', 'D'}) psltool::PartsOfName(name, level);
  psltool::IsFileOfDirectory(name);
  psltool::SequelOf(name);
  return "";
}

// A file that is too short is nobody's target, whatever it is called.
std::string Selection(const std::vector<std::string>& names) {
  Limits limits = {};
  limits.now = 1710000000;
  const AutoProbe probe = {.level = [](const char* name) { return name[0] % 3; },
                           .version = [](const char*) { return -1; }};
  for (const char level : {'H', 'D'}) {
    AutoSelection selection;
    const AutoPeriod period = PeriodOfRun(level, limits);
    const AutoNames given = {names, names};
    JudgeLogs(period, given, &selection);
    JudgeArchives(period, given, probe, &selection);
    DropArchived(level, probe, &selection);
    for (const AutoFile& log : selection.logs) {
      if (log.verdict == AutoVerdict::kTarget) return "a target that is too short";
    }
    for (const std::string& name : names) InputsHeldUpBy(level, name);
  }
  return "";
}

// The shape of monitor logs, from the end: "#nnn_nnn" and a suffix from the last "." on.
bool HasPmlShape(const std::string& name) {
  const auto digits = [&name](size_t from, size_t count) {
    for (size_t i = from; i < from + count; ++i) {
      if (i >= name.size() || name[i] < '0' || name[i] > '9') return false;
    }
    return true;
  };
  if (name.size() < 21 || name.size() > 52 || !digits(0, 8)) return false;
  const size_t hash = name.find('#', 8);
  if (hash == std::string::npos || hash == 8) return false;
  if (!digits(hash + 1, 3) || !digits(hash + 5, 3) || name[hash + 4] != '_') return false;
  const size_t dot = name.rfind('.');
  return dot == std::string::npos || dot < hash + 5 || dot == hash + 8;
}

void NextSequels(const std::string& name) {
  InitWorkArea();
  for (const int automatic : {0, 1}) {
    arcdelinfo.auto_flg = automatic;
    std::snprintf(wfname, 1024, "%s", name.c_str());
    std::snprintf(wfpath, sizeof wfpath, "%s", name.c_str());
    SetSequelNames();
    SetSequelNames();
  }
  arcdelinfo.auto_flg = 0;
}

}  // namespace

std::string Names(Input input) {
  constexpr size_t kMost = 300;
  std::vector<std::string> names;
  for (const Input piece : PiecesOf(input, 2)) {
    const std::string text = TextOf(piece.first(std::min(piece.size(), kMost)));
    names.emplace_back(text.c_str());  // names end at a zero byte
  }
  const std::string first = names.front();
  if ((check_pml_filename(first.c_str()) == 0) != HasPmlShape(first)) return "another PML shape";
  NextSequels(first);
  LiesInArchive(first.c_str());
  if (BeginsWithDigits(first.c_str(), 8)) {
    const struct tm date = NameDate(first.c_str(), -1);
    CheckTm(&date);
  }
  std::string wrong = Selection(names);
  // Inputs have one of two extensions.
  for (std::string& name : names) {
    if (!HasExtension(name.c_str(), ".psl") && !HasExtension(name.c_str(), ".psa")) name += ".psl";
    if (wrong.empty()) wrong = Arrays(name);
  }
  return wrong.empty() ? Order(names.front(), names.back()) : wrong;
}

}  // namespace fuzz
