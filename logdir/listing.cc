// Directory listings: see the header.
#include "logdir/listing.h"

#include <dirent.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "logdir/unread.h"
#include "platform/process.h"
#include "report/messages.h"

namespace {

constexpr uint32_t kDetOpendir = 0x03040001;
constexpr uint32_t kDetReaddir = 0x03040002;
constexpr uint32_t kDetStat = 0x03040003;

void Add(const std::string& directory, const char* name, Listing* listing) {
  const std::string path = directory + name;
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    if (errno == ENOENT) return;
    NoteUnread(path, "stat", errno, kDetStat);
    listing->unread.emplace_back(name);
    return;
  }
  // Sockets and block devices share the directory bit and are left out with it.
  if ((status.st_mode & S_IFDIR) != 0) return;
  (strlen(name) < kNameSlot ? listing->names : listing->oversized).emplace_back(name);
}

}  // namespace

Listing ListDirectory(const char* directory) {
  Listing listing;
  DIR* stream = opendir(directory);
  if (stream == nullptr) {
    listing.call = "opendir";
    listing.error = errno;
    return listing;
  }
  for (;;) {
    errno = 0;  // the end of the directory and an error look alike but for this
    const dirent* entry = readdir(stream);
    if (entry == nullptr) break;
    Add(directory, entry->d_name, &listing);
  }
  if (errno != 0) {
    listing.call = "readdir";
    listing.error = errno;
  }
  closedir(stream);
  return listing;
}

Listing ListForRun(const char* directory) {
  Listing listing = ListDirectory(directory);
  if (listing.call != nullptr) EndUnlisted(directory, listing);
  for (const std::string& name : listing.unread) ReportUnread(directory + name);
  for (const std::string& name : listing.oversized) ReportOversized(directory + name);
  return listing;
}

void EndUnlisted(const char* directory, const Listing& listing) {
  const bool unopened = strcmp(listing.call, "opendir") == 0;
  LogMessage(103, directory, listing.call, listing.error, unopened ? kDetOpendir : kDetReaddir);
  LogTaskFailed();
  EndProcess(1);
}
