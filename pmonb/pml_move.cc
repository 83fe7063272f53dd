// Moving one file with the system's move command, which also crosses volumes.
#include <csignal>
#include <string>

#include "pmonb/PMONBcomDeletePml.h"
#include "pmonb/pml_detail.h"
#include "pmonb/pml_system.h"

namespace {

constexpr int kMoved = 0;
constexpr int kNotMoved = 4;
constexpr int kNullArgument = 5;

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
    if (changed_) sigaction(SIGCHLD, &previous_, nullptr);
  }
  ChildStatusKept(const ChildStatusKept&) = delete;
  ChildStatusKept& operator=(const ChildStatusKept&) = delete;

 private:
  struct sigaction previous_ {};
  bool changed_ = false;
};

}  // namespace

int move_chink_pml(const char* source, const char* target, uint32_t* detail) {
  if (detail == nullptr) return kNullArgument;
  if (source == nullptr) {
    *detail = kPmlDetNoSource;
    return kNullArgument;
  }
  if (target == nullptr) {
    *detail = kPmlDetNoTarget;
    return kNullArgument;
  }
  const std::string command =
      "/bin/mv -f " + ShellWord(source) + " " + ShellWord(target) + " > /dev/null 2> /dev/null";
  const ChildStatusKept kept;
  if (pml_system.run_command(command.c_str()) == 0) return kMoved;
  *detail = 0;
  return kNotMoved;
}
