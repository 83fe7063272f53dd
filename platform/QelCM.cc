// Trace lines and operation-log entries. Every line is built in memory and appended with a single
// write to a descriptor opened with O_APPEND, so that archivers running side by side never mix
// their lines.
#include "platform/QelCM.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "platform/prefix.h"

char sgmtr_dmpfile[128];
int32_t sgmtr_dmptbl = 0;

namespace {

constexpr size_t kMaxLogText = 200;
constexpr int32_t kErrorClass = 4;

// Creates the directories above the file `path`. Failures show when the file is opened.
void MakeParentDirectories(const std::string& path) {
  for (size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1)) {
    mkdir(path.substr(0, end).c_str(), 0755);
  }
}

int OpenForAppend(const char* path) {
  return open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, 0644);
}

// Appends `line` to the file `path`, creating its directory when that is what is missing.
bool AppendLine(const char* path, const std::string& line) {
  int fd = OpenForAppend(path);
  if (fd == -1 && errno == ENOENT) {
    MakeParentDirectories(path);
    fd = OpenForAppend(path);
  }
  if (fd == -1) return false;
  ssize_t written;
  do {
    written = write(fd, line.data(), line.size());
  } while (written == -1 && errno == EINTR);
  close(fd);
  return written == static_cast<ssize_t>(line.size());
}

// `text` as the rest of one line: newlines inside (file names may hold them) become blanks, the
// final one is dropped.
std::string OneLine(const char* text, size_t max_length) {
  std::string line(text, strnlen(text, max_length));
  if (!line.empty() && line.back() == '\n') line.pop_back();
  for (char& c : line) {
    if (c == '\n') c = ' ';
  }
  return line;
}

std::string TraceTime() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const tm* local = localtime(&now.tv_sec);
  if (local == nullptr) return "?";
  char day[40];
  strftime(day, sizeof day, "%Y/%m/%d %H:%M:%S", local);
  char text[64];
  snprintf(text, sizeof text, "%s.%03ld", day, now.tv_nsec / 1000000);
  return text;
}

std::string LogTime() {
  const time_t now = time(nullptr);
  const tm* local = localtime(&now);
  if (local == nullptr) return "?";
  char day[40];
  strftime(day, sizeof day, "%Y-%m-%dT%H:%M:%S", local);
  const long minutes = std::labs(local->tm_gmtoff) / 60;
  char text[64];
  snprintf(text, sizeof text, "%s%c%02ld:%02ld", day, local->tm_gmtoff < 0 ? '-' : '+',
           minutes / 60, minutes % 60);
  return text;
}

}  // namespace

int fn_I_trace(const char* text, int /*one*/, int32_t* /*control*/, const char* tag, int line,
               int /*zero*/) {
  if (sgmtr_dmpfile[0] == '\0') return -1;
  const int saved_errno = errno;
  const std::string entry = TraceTime() + ' ' + std::to_string(getpid()) + ' ' + tag + ':' +
                            std::to_string(line) + ' ' + OneLine(text, strlen(text)) + '\n';
  const bool appended = AppendLine(sgmtr_dmpfile, entry);
  errno = saved_errno;
  return appended ? 0 : -1;
}

void SGMCM_OutMsg(const SgmcmMessage* message, const char* text) {
  const int saved_errno = errno;
  const std::string identifier(message->identifier,
                               strnlen(message->identifier, sizeof message->identifier));
  const std::string program(message->program, strnlen(message->program, sizeof message->program));
  const std::string entry = identifier + ' ' + program + ' ' +
                            std::to_string(message->message_class) + ' ' +
                            std::to_string(message->flag) + ' ' + OneLine(text, kMaxLogText);
  const std::string path = std::string(kInstallPrefix) + "etc/log/operation.log";
  AppendLine(path.c_str(), LogTime() + ' ' + entry + '\n');
  const int severity = message->message_class == kErrorClass ? LOG_ERR : LOG_WARNING;
  syslog(LOG_DAEMON | severity, "%s", entry.c_str());
  errno = saved_errno;
}
