// Names of outputs: see the header.
#include "engine/outname.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <string_view>

#include "areas/finfo.h"
#include "engine/header.h"
#include "engine/layout/layout.h"
#include "engine/output.h"
#include "report/messages.h"
#include "report/runinfo.h"

namespace {

constexpr size_t kDateDigits = 8;
constexpr size_t kNameBuffer = 1024;

std::string_view BaseName(std::string_view path) {
  const size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

HeaderDate OutputDate() {
  if (arcdelinfo.auto_flg == 0 && finfo.layout->row.keeps_header) {
    return DateOf(finfo.header_read);
  }
  const std::time_t t = finfo.record_time;
  std::tm now = {};
  ::localtime_r(&t, &now);
  return {now.tm_year, now.tm_mon, now.tm_mday};
}

// "dir/x.psa" -> "dir/x#002.psa", "dir/x#002.psa" -> "dir/x#003.psa".
std::string SequelOf(std::string path) {
  if (arcdelinfo.auto_flg != 0) path.resize(std::min(path.rfind('_'), path.size()));
  const size_t base = path.size() - BaseName(path).size();
  const size_t hash = path.rfind('#');
  char number[16];
  if (hash != std::string::npos && hash >= base) {
    const int previous = std::atoi(path.substr(hash + 1, 5).c_str());
    std::snprintf(number, sizeof number, "%03d", previous + 1);
    path = path.substr(0, hash + 1) + number + ".psa";
  } else {
    const size_t dot = path.rfind('.');
    path.insert(dot != std::string::npos && dot >= base ? dot : path.size(), "#002");
  }
  if (arcdelinfo.auto_flg != 0) path += "_tmp";
  return path;
}

}  // namespace

bool ArrayNameOf(const char* path, char* name, size_t size) {
  std::string_view base = BaseName(path).substr(0, kNameBuffer - 1);
  const size_t dot = base.find('.');
  if (dot == std::string_view::npos) return false;
  base = base.substr(0, dot);
  base = base.substr(0, base.find('#'));
  if (base.size() < kDateDigits) return false;
  base = base.substr(kDateDigits);
  std::snprintf(name, size, "%.*s", static_cast<int>(base.size()), base.data());
  return true;
}

void SetSubsystemName(char* destination, const char* path) {
  if (ArrayNameOf(path, destination, sizeof finfo.array_name)) return;
  LogMessage(101, path);
  LeaveOutputAndEnd();
}

bool LiesInArchive(const char* name) { return std::strstr(name, ".psl") == nullptr; }

void SetWriteFname(char* buffer) {
  const HeaderDate date = OutputDate();
  const char* extension = arcdelinfo.auto_flg != 0 ? ".psa_tmp" : ".psa";
  if (finfo.level == 'H') {
    std::snprintf(buffer, kNameBuffer, "%04d%02d%02d%s%s", date.year + 1900, date.month + 1,
                  date.day, finfo.array_name, extension);
  } else if (finfo.level == 'D') {
    std::snprintf(buffer, kNameBuffer, "%04d%02d%s%s", date.year + 1900, date.month + 1,
                  finfo.array_name, extension);
  }
}

void SetWritePath(const char* name) {
  if (finfo.outpath != nullptr) {
    std::snprintf(wfpath, sizeof wfpath, "%s", finfo.outpath);
  } else if (arcdelinfo.auto_flg != 0) {
    std::snprintf(wfpath, sizeof wfpath, "%s%s/%s", arcdelinfo.arcdir, "archive", name);
  } else {
    std::snprintf(wfpath, sizeof wfpath, "%s%s", finfo.path != nullptr ? finfo.path : "", name);
  }
}

void SetSequelNames() {
  std::snprintf(wfname, kNameBuffer, "%s", SequelOf(wfname).c_str());
  std::snprintf(wfpath, sizeof wfpath, "%s", SequelOf(wfpath).c_str());
}
