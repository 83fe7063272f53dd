// Trace lines and operation-log entries. Every line is built in place and appended with a single
// write to a descriptor opened with O_APPEND, so that archivers running side by side never mix
// their lines. Nothing here takes memory from the heap: that it is exhausted must still be told.
#include "platform/QelCM.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "platform/places.h"
#include "platform/prefix.h"
#include "platform/zone.h"

char sgmtr_dmpfile[128];
int32_t sgmtr_dmptbl = 0;

namespace {

constexpr size_t kLongestLine = 8192;
constexpr size_t kLongestPath = 1024;
constexpr size_t kMaxLogText = 200;
constexpr int32_t kErrorClass = 4;

// A line behind a newline that is only written where the file ends inside a line.
class Line {
 public:
  // Newlines in `text` (file names may hold them) become blanks; a final one is dropped.
  void AppendText(const char* text, size_t max_length) {
    size_t length = strnlen(text, max_length);
    if (length > 0 && text[length - 1] == '\n') --length;
    const size_t begin = size_;
    Append(text, length);
    std::replace(bytes_ + begin, bytes_ + size_, '\n', ' ');
  }
  void Append(const char* text, size_t length) {
    // One character is left for the end of the line.
    length = std::min(length, sizeof bytes_ - 1 - size_);
    memcpy(bytes_ + size_, text, length);
    size_ += length;
  }
  void Append(const char* text) { Append(text, strlen(text)); }
  void End() { bytes_[size_++] = '\n'; }

  const char* WithNewlineBefore() const { return bytes_; }
  const char* Text() const { return bytes_ + 1; }
  size_t TextSize() const { return size_ - 1; }

 private:
  char bytes_[kLongestLine] = "\n";
  size_t size_ = 1;
};

// Creates the directories above the file `path`. Failures show when the file is opened.
void MakeParentDirectories(const char* path) {
  char directory[kLongestPath];
  const size_t length = strlen(path);
  // Not reached: paths come from buffers that are no larger.
  if (length >= sizeof directory) return;
  memcpy(directory, path, length + 1);
  for (char* end = strchr(directory + 1, '/'); end != nullptr; end = strchr(end + 1, '/')) {
    *end = '\0';
    mkdir(directory, 0755);
    *end = '/';
  }
}

// Read access is for a look at the last character; whoever has none can still append.
int OpenForAppend(const char* path) {
  constexpr int kFlags = O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY;
  const int fd = open(path, O_RDWR | kFlags, 0644);
  return fd != -1 || errno != EACCES ? fd : open(path, O_WRONLY | kFlags, 0644);
}

bool EndsInsideALineNow(int fd) {
  struct stat status {};
  char last = '\n';
  if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size == 0) return false;
  return pread(fd, &last, 1, status.st_size - 1) == 1 && last != '\n';
}

// A full disk may have cut the last line short. A line that another process is just writing across
// the end of a page looks the same for a moment, so that what seems torn is looked at again.
bool EndsInsideALine(int fd) {
  constexpr int kLooks = 20;
  constexpr timespec kBetween = {.tv_sec = 0, .tv_nsec = 1000000};
  for (int look = 1; EndsInsideALineNow(fd); ++look) {
    if (look == kLooks) return true;
    nanosleep(&kBetween, nullptr);
  }
  return false;
}

// Appends `line` to the file `path`, creating its directory when that is what is missing.
bool AppendLine(const char* path, const Line& line) {
  int fd = OpenForAppend(path);
  if (fd == -1 && errno == ENOENT) {
    MakeParentDirectories(path);
    fd = OpenForAppend(path);
  }
  if (fd == -1) return false;
  const bool torn = EndsInsideALine(fd);
  const char* text = torn ? line.WithNewlineBefore() : line.Text();
  const size_t size = line.TextSize() + (torn ? 1 : 0);
  ssize_t written;
  do {
    written = write(fd, text, size);
  } while (written == -1 && errno == EINTR);
  close(fd);
  return written == static_cast<ssize_t>(size);
}

void AppendTraceTime(Line* line) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const tm local = TimeInOwnZone(now.tv_sec);
  char text[40];
  line->Append(text, strftime(text, sizeof text, "%Y/%m/%d %H:%M:%S", &local));
  snprintf(text, sizeof text, ".%03ld", now.tv_nsec / 1000000);
  line->Append(text);
}

void AppendLogTime(Line* line) {
  const tm local = TimeInOwnZone(time(nullptr));
  char text[40];
  line->Append(text, strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &local));
  const long minutes = std::labs(local.tm_gmtoff) / 60;
  snprintf(text, sizeof text, "%c%02ld:%02ld", local.tm_gmtoff < 0 ? '-' : '+', minutes / 60,
           minutes % 60);
  line->Append(text);
}

}  // namespace

int fn_I_trace(const char* text, int /*one*/, int32_t* /*control*/, const char* tag, int line,
               int /*zero*/) {
  if (sgmtr_dmpfile[0] == '\0') return -1;
  const int saved_errno = errno;
  Line entry;
  AppendTraceTime(&entry);
  char origin[80];
  snprintf(origin, sizeof origin, " %ld %.40s:%d ", static_cast<long>(getpid()), tag, line);
  entry.Append(origin);
  entry.AppendText(text, strlen(text));
  entry.End();
  const bool appended = AppendLine(sgmtr_dmpfile, entry);
  errno = saved_errno;
  return appended ? 0 : -1;
}

int SGMCM_OutMsg(const SgmcmMessage* message, const char* text) {
  const int saved_errno = errno;
  Line line;
  AppendLogTime(&line);
  line.Append(" ");
  const char* const entry = line.Text() + line.TextSize();
  char origin[80];
  snprintf(origin, sizeof origin, "%.*s %.*s %d %d ", static_cast<int>(sizeof message->identifier),
           message->identifier, static_cast<int>(sizeof message->program), message->program,
           message->message_class, message->flag);
  line.Append(origin);
  line.AppendText(text, kMaxLogText);
  const size_t entry_length = static_cast<size_t>(line.Text() + line.TextSize() - entry);
  const int severity = message->message_class == kErrorClass ? LOG_ERR : LOG_WARNING;
  syslog(LOG_DAEMON | severity, "%.*s", static_cast<int>(entry_length), entry);
  line.End();
  char path[kLongestPath];
  snprintf(path, sizeof path, "%s%s", kInstallPrefix, kOperationLog);
  const bool appended = AppendLine(path, line);
  errno = saved_errno;
  return appended ? 0 : -1;
}
