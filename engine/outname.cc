// Names of outputs: see the header.
#include "engine/outname.h"

#include <cstdio>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

#include "areas/finfo.h"
#include "engine/header.h"
#include "engine/layout/layout.h"
#include "engine/names.h"
#include "engine/output_file.h"
#include "platform/places.h"
#include "report/messages.h"
#include "report/runinfo.h"

namespace {

constexpr size_t kNameBuffer = 1024;

FileDate OutputDate() {
  if (arcdelinfo.auto_flg == 0 && finfo.layout->row.keeps_header) {
    return DateOf(finfo.header_read);
  }
  const std::time_t t = finfo.record_time;
  std::tm now = {};
  ::localtime_r(&t, &now);
  return {now.tm_year, now.tm_mon, now.tm_mday};
}

std::string SequelOf(const char* name) {
  if (arcdelinfo.auto_flg == 0) return SequelName(name);
  return TemporaryOf(SequelName(FinalOf(name)));
}

}  // namespace

void SetSubsystemName(char* destination, const char* path) {
  const std::optional<std::string_view> array = ArrayOf(path);
  if (!array) {
    LogMessage(101, path);
    LeaveOutputAndEnd();
  }
  std::snprintf(destination, sizeof finfo.array_name, "%.*s", static_cast<int>(array->size()),
                array->data());
}

void SetWriteFname(char* buffer) {
  if (finfo.level != 'H' && finfo.level != 'D') return;
  const std::string name = ArchiveName(finfo.level, OutputDate(), finfo.array_name);
  std::snprintf(buffer, kNameBuffer, "%s",
                (arcdelinfo.auto_flg != 0 ? TemporaryOf(name) : name).c_str());
}

void SetWritePath(const char* name) {
  if (finfo.outpath != nullptr) {
    std::snprintf(wfpath, sizeof wfpath, "%s", finfo.outpath);
  } else if (arcdelinfo.auto_flg != 0) {
    std::snprintf(wfpath, sizeof wfpath, "%s%s%s", arcdelinfo.arcdir, kArchivePart, name);
  } else {
    std::snprintf(wfpath, sizeof wfpath, "%s%s", finfo.path != nullptr ? finfo.path : "", name);
  }
}

void SetSequelNames() {
  std::snprintf(wfname, kNameBuffer, "%s", SequelOf(wfname).c_str());
  std::snprintf(wfpath, sizeof wfpath, "%s", SequelOf(wfpath).c_str());
}
