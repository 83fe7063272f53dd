// The last step of the pruning: selected files are deleted or moved, each with a line in the trace.
#include <cerrno>
#include <cstdio>

#include "pmonb/pml_detail.h"
#include "pmonb/pml_system.h"
#include "pmonb/pml_work.h"

namespace {

bool DeleteFile(PmlWork& work, const PmlFileEntry& file) {
  if (pml_system.remove_file(file.path) == 0) return true;
  return PmlFailure(work, kPmlDetRemove, "remove", errno);
}

// The final "/" keeps a log from being renamed to the directory's name, should the directory have
// gone since it was counted.
bool MoveFile(PmlWork& work, const PmlFileEntry& file) {
  const std::string target = SubdirectoryPath(work, work.param->dir_no) + "/";
  uint32_t detail = 0;
  errno = 0;
  if (pml_system.move_file(file.path, target.c_str(), &detail) == 0) return true;
  return PmlFailure(work, detail, "move", errno);
}

}  // namespace

bool ActOnFiles(PmlWork& work) {
  const bool moving = work.mode->task == PmlTask::kMove;
  int done = 0;
  for (uint32_t i = 0; i < work.listed; ++i) {
    const PmlFileEntry& file = work.files[i];
    if (file.selected == 0) continue;
    if (!(moving ? MoveFile(work, file) : DeleteFile(work, file))) return false;
    ++done;
    char text[512];
    snprintf(text, sizeof text, "DeletePml : task=%s name=%s size=%d", moving ? "move" : "delete",
             file.path, static_cast<int>(file.size));
    PmlTrace(__LINE__, text);
  }
  char text[64];
  snprintf(text, sizeof text, "Delete File Num %d", done);
  PmlTrace(__LINE__, text);
  return true;
}
