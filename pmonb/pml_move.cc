// Moving one file into a directory: by a rename where that has the same result, else with the
// system's move command, which also crosses volumes and replaces a file of that name. Starting a
// shell for each file costs a hundred times what a rename does.
#include "pmonb/pml_move.h"

#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "pmonb/pml_calls.h"
#include "pmonb/pml_detail.h"
#include "pmonb/pml_system.h"

namespace {

constexpr int kMoved = 0;
constexpr int kNotMoved = 4;

// `path` as one word of the shell in which nothing is interpreted, and which the command cannot
// take for an option.
std::string ShellWord(const char* path) {
  std::string word = *path == '-' ? "'./" : "'";
  for (const char* c = path; *c != '\0'; ++c) {
    if (*c == '\'') {
      word += "'\\''";
    } else {
      word += *c;
    }
  }
  return word + "'";
}

// While it lives, ended children are kept for waiting. A daemon may hand down an ignored SIGCHLD,
// with which the status of every command would be lost and every move look failed.
class ChildStatusKept {
 public:
  ChildStatusKept() {
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    sigemptyset(&standard.sa_mask);
    changed_ = sigaction(SIGCHLD, &standard, &previous_) == 0;
  }
  ~ChildStatusKept() {
    // Not reached: the action of SIGCHLD can be set.
    if (changed_) sigaction(SIGCHLD, &previous_, nullptr);
  }
  ChildStatusKept(const ChildStatusKept&) = delete;
  ChildStatusKept& operator=(const ChildStatusKept&) = delete;

 private:
  struct sigaction previous_ {};
  bool changed_ = false;
};

std::string move_failure;

// Whether the file is in the directory now. False leaves everything as it was, and in `failure`
// why.
bool RenamedInto(const std::string& source, const std::string& target, std::string& failure) {
  const std::string name = source.substr(source.rfind('/') + 1);
  // Of these the command alone knows what is meant.
  if (target.empty() || name.empty() || name == "." || name == "..") return false;
  const std::string path = target + (target.ends_with('/') ? "" : "/") + name;
  if (pml_system.rename_file(source.c_str(), path.c_str()) == 0) return true;
  failure = std::string("rename: ") + strerror(errno) + "; ";
  return false;
}

// Whether the command succeeded; if not, `failure` tells its end.
bool MovedByCommand(const std::string& command, std::string& failure) {
  const ChildStatusKept kept;
  errno = 0;
  const int status = pml_system.run_command(command.c_str());
  if (status == 0) return true;
  failure += "move command: ";
  if (status == -1) {
    failure += strerror(errno);
  } else if (WIFSIGNALED(status)) {
    failure += "signal " + std::to_string(WTERMSIG(status));
  } else {
    failure += "status " + std::to_string(WEXITSTATUS(status));
  }
  return false;
}

}  // namespace

const std::string& PmlMoveFailure() { return move_failure; }

int move_chink_pml(const char* source, const char* target, uint32_t* detail) {
  if (detail == nullptr) return kPmlNullArgument;
  if (source == nullptr) {
    *detail = kPmlDetNoSource;
    return kPmlNullArgument;
  }
  if (target == nullptr) {
    *detail = kPmlDetNoTarget;
    return kPmlNullArgument;
  }
  move_failure.clear();
  if (RenamedInto(source, target, move_failure)) return kMoved;
  const std::string command =
      "/bin/mv -f " + ShellWord(source) + " " + ShellWord(target) + " > /dev/null 2> /dev/null";
  if (MovedByCommand(command, move_failure)) return kMoved;
  *detail = 0;
  return kNotMoved;
}
