// The last step of the pruning: selected files are deleted or moved, each with a line in the trace.
#include <cerrno>
#include <cstring>

#include "pmonb/pml_detail.h"
#include "pmonb/pml_move.h"
#include "pmonb/pml_system.h"
#include "pmonb/pml_work.h"

namespace {

void TraceFailure(const char* task, const PmlFileEntry& file, const std::string& reason) {
  PmlTrace(__LINE__, std::string("DeletePml : failed task=") + task + " name=" + file.path +
                         " reason=" + reason);
}

bool DeleteFile(PmlWork& work, const PmlFileEntry& file) {
  if (pml_system.remove_file(file.path) == 0) return true;
  const int error = errno;
  TraceFailure("delete", file, strerror(error));
  return PmlFailure(work, kPmlDetRemove, "remove", error);
}

// The final "/" keeps a log from being renamed to the directory's name, should the directory have
// gone since it was counted.
bool MoveFile(PmlWork& work, const PmlFileEntry& file) {
  const std::string target = SubdirectoryPath(work, work.param->dir_no) + "/";
  uint32_t detail = 0;
  errno = 0;
  if (pml_system.move_file(file.path, target.c_str(), &detail) == 0) return true;
  const int error = errno;
  TraceFailure("move", file, PmlMoveFailure());
  return PmlFailure(work, detail, "move", error);
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
    PmlTrace(__LINE__, std::string("DeletePml : task=") + (moving ? "move" : "delete") + " name=" +
                           file.path + " size=" + std::to_string(static_cast<int>(file.size)));
  }
  PmlTrace(__LINE__, "Delete File Num " + std::to_string(done));
  return true;
}
