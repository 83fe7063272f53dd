// CreateZeroFile: an empty archive marks a day as done, so that a day whose log is broken is not
// archived again by every later run.
#include "report/zero_file.h"

#include <fcntl.h>
#include <unistd.h>

#include "areas/finfo.h"

void CreateZeroFile() {
  if (wfd != -1) close(wfd);
  wfd = -1;
  // The driver empties it again, and judges whether that went well, before it gives it its name.
  const int fd =
      open(wfpath, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0666);
  if (fd != -1) close(fd);
}
