// Files that could not be looked at: see the header.
#include "logdir/unread.h"

#include <cerrno>
#include <map>
#include <set>

#include "areas/finfo.h"
#include "report/messages.h"
#include "report/runinfo.h"
#include "report/trace.h"

namespace {

struct FailedCall {
  const char* name;  // null: none was made, as the path is too long
  int error;
  uint32_t detail;
};

std::map<std::string, FailedCall> failed;
std::set<std::string> reported;

}  // namespace

void NoteUnread(const std::string& path, const char* call, int error, uint32_t detail) {
  failed[path] = {call, error, detail};
}

void NoteLongPath(const std::string& path) { failed[path] = {nullptr, ENAMETOOLONG, 0}; }

bool ReportUnread(const std::string& path) {
  const auto at = failed.find(path);
  if (at == failed.end()) return false;
  arcdel_errflg |= 1;
  const FailedCall& call = at->second;
  if (call.name != nullptr) {
    if (!reported.insert(path).second) return false;
    LogMessage(102, path.c_str(), call.name, call.error, call.detail);
    return true;
  }
  if (!reported.insert(arcdelinfo.arcdir).second) return false;
  TraceLine(__LINE__, "archive directory too long for its files, left alone name=%s",
            arcdelinfo.arcdir);
  return true;
}

void ReportOversized(const std::string& path) {
  if (!reported.insert(path).second) return;
  TraceLine(__LINE__, "name too long, left alone name=%s", path.c_str());
}

int UnreadError(const std::string& path) {
  const auto at = failed.find(path);
  return at != failed.end() ? at->second.error : 0;
}

void ForgetUnread() {
  failed.clear();
  reported.clear();
}
