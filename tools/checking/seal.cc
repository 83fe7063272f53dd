// Seals: see the header. A line is replaced or dropped only when that is asked for, so that a
// damaged file cannot be sealed in passing.
#include "tools/checking/seal.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <optional>
#include <set>

#include "engine/names.h"
#include "tools/checking/check_file.h"
#include "tools/checking/digest.h"
#include "tools/checking/sums_file.h"
#include "tools/output/report.h"
#include "tools/reading/input_files.h"

namespace psltool {

namespace {

namespace fs = std::filesystem;

// Keeps a second seal of the same directory away.
class DirectoryLock {
 public:
  ~DirectoryLock() {
    if (fd_ != -1) close(fd_);
  }
  DirectoryLock() = default;
  DirectoryLock(const DirectoryLock&) = delete;
  DirectoryLock& operator=(const DirectoryLock&) = delete;

  bool Take(const std::string& directory) {
    fd_ = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd_ == -1) {
      return Fail(directory, fmt::format("cannot be opened: {}", std::strerror(errno)));
    }
    if (flock(fd_, LOCK_EX | LOCK_NB) == 0) return true;
    return Fail(directory, errno == EWOULDBLOCK
                               ? std::string("is being sealed by another process; try again later")
                               : fmt::format("cannot be locked: {}", std::strerror(errno)));
  }

 private:
  int fd_ = -1;
};

// Names of the finished logs and archives of a directory, sorted. False: reported.
bool ListFiles(const std::string& directory, std::set<std::string>& names) {
  std::error_code error;
  fs::directory_iterator entry(directory, error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    std::error_code gone;  // removed in the meantime: passed over
    if (IsFileOfDirectory(name) && entry->is_regular_file(gone)) names.insert(name);
  }
  return !error || Fail(directory, "cannot be read: " + error.message());
}

// A log whose name says a day that is not over, of local time or of UTC, is still being written.
bool IsOfToday(const std::string& name) {
  if (!IsLogName(name) || !ArrayOf(name) || !BeginsWithDigits(name, kDayDigits)) return false;
  const time_t now = time(nullptr);
  char local[16];
  char utc[16];
  tm parts{};
  strftime(local, sizeof local, "%Y%m%d", localtime_r(&now, &parts));
  strftime(utc, sizeof utc, "%Y%m%d", gmtime_r(&now, &parts));
  return name.substr(0, kDayDigits) >= std::min<std::string_view>(local, utc);
}

class Sealer {
 public:
  Sealer(const SealRequest& request, Progress& progress, SealReport& report)
      : request_(request), progress_(progress), report_(report) {}

  bool Run() {
    if (!ReadSums(request_.directory, old_) || !ListFiles(request_.directory, files_) ||
        !TakeRenewals()) {
      return false;
    }
    for (const SumsLine& line : old_.lines) {
      files_.erase(line.name);
      if (!Judge(line)) return false;
    }
    for (const std::string& name : files_) {
      if (!Add(name)) return false;
    }
    progress_.Clear();
    if (!changed_) return true;
    report_.written = WriteSums(request_.directory, new_);
    return report_.written;
  }

 private:
  std::string PathOf(const std::string& name) const {
    return request_.directory + (request_.directory.ends_with('/') ? "" : "/") + name;
  }

  void Tell(const std::string& name, SealState state, std::string text = "") {
    report_.entries.push_back({name, state, std::move(text)});
  }

  // Takes a name, or a path of a file in the directory.
  bool TakeRenewals() {
    for (const std::string& asked : request_.renew) {
      const fs::path path(asked);
      const std::string name = path.filename().string();
      std::error_code error;
      if (path.has_parent_path() &&
          !fs::equivalent(path.parent_path(), request_.directory, error)) {
        return Fail("seal --renew",
                    fmt::format("{} does not lie in {}", asked, request_.directory));
      }
      if (!fs::is_regular_file(PathOf(name), error)) {
        return Fail("seal --renew", fmt::format("{} is no file of {}", name, request_.directory));
      }
      renew_.insert(name);
      if (IsFileOfDirectory(name)) files_.insert(name);
    }
    return true;
  }

  // Deals with a line and its file. False: the file cannot be read, reported.
  bool Judge(const SumsLine& line) {
    if (line.name.empty()) {
      new_.lines.push_back(line);
      return true;
    }
    const bool renew = renew_.count(line.name) != 0;
    if (request_.only_new && !renew) return Keep(line, SealState::kUnread);
    const Digest digest = DigestOfFile(PathOf(line.name), progress_);
    switch (digest.end) {
      case DigestEnd::kUnreadable:
        progress_.Clear();
        return Fail(PathOf(line.name), digest.why);
      case DigestEnd::kMissing:
        if (!request_.forget) return Keep(line, SealState::kGone);
        changed_ = true;
        Tell(line.name, SealState::kForgotten);
        return true;
      case DigestEnd::kChanging:
        return Keep(line, SealState::kChanged, "it is being written to");
      case DigestEnd::kDone:
        break;
    }
    if (digest.hex == line.digest) return Keep(line, SealState::kKept);
    if (!renew) return Keep(line, SealState::kChanged);
    changed_ = true;
    new_.lines.push_back(MakeSumsLine(line.name, digest.hex));
    Tell(line.name, SealState::kRenewed);
    return true;
  }

  bool Keep(const SumsLine& line, SealState state, std::string text = "") {
    new_.lines.push_back(line);
    Tell(line.name, state, std::move(text));
    return true;
  }

  // Seals a new file when it is whole.
  bool Add(const std::string& name) {
    const std::string path = PathOf(name);
    if (IsOfToday(name) && renew_.count(name) == 0) {
      Tell(name, SealState::kChanging);
      return true;
    }
    std::optional<Finding> error;
    const FindingSink sink = [&error](const Finding& finding) {
      if (finding.severity != Severity::kWarning && !error) error = finding;
    };
    const CheckedFile checked = CheckFile(path, sink, progress_);
    const Digest digest = DigestOfFile(path, progress_);
    progress_.Clear();
    if (digest.end == DigestEnd::kMissing) return true;
    if (digest.end == DigestEnd::kUnreadable) return Fail(path, digest.why);
    if (checked.unreadable) return Fail(path, error->text);
    if (digest.end == DigestEnd::kChanging || digest.size != checked.size) {
      Tell(name, SealState::kChanging);
    } else if (checked.size == 0) {
      Tell(name, SealState::kEmpty);
    } else if (checked.errors != 0 && renew_.count(name) == 0) {
      Tell(name, SealState::kBroken, Describe(*error));
    } else {
      changed_ = true;
      new_.lines.push_back(MakeSumsLine(name, digest.hex));
      Tell(name, SealState::kAdded);
    }
    return true;
  }

  const SealRequest& request_;
  Progress& progress_;
  SealReport& report_;
  SumsFile old_;
  SumsFile new_;
  std::set<std::string> files_;  // in the end those without a line
  std::set<std::string> renew_;
  bool changed_ = false;
};

}  // namespace

bool IsFinding(SealState state) {
  return state == SealState::kChanged || state == SealState::kGone || state == SealState::kBroken;
}

const char* WordOf(SealState state) {
  constexpr std::array<const char*, 10> kWords = {"kept",      "unread", "added",    "renewed",
                                                  "forgotten", "empty",  "changing", "changed",
                                                  "gone",      "broken"};
  return kWords[static_cast<size_t>(state)];
}

bool Seal(const SealRequest& request, Progress& progress, SealReport& report) {
  report = SealReport();
  DirectoryLock lock;
  return lock.Take(request.directory) && Sealer(request, progress, report).Run();
}

}  // namespace psltool
