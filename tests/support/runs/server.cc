// The server around an automatic run: see the header.
#include "tests/support/runs/server.h"

#include <sys/ipc.h>
#include <sys/shm.h>

#include <algorithm>
#include <sstream>
#include <stdexcept>

SharedSegment::SharedSegment(const SegmentBytes& bytes) {
  id_ = shmget(IPC_PRIVATE, bytes.bytes().size(), IPC_CREAT | 0600);
  if (id_ == -1) throw std::runtime_error("shmget");
  address_ = shmat(id_, nullptr, 0);
  // Removed at once: a segment can still be attached by its identifier until the last one detaches.
  shmctl(id_, IPC_RMID, nullptr);
  if (address_ == reinterpret_cast<void*>(-1)) throw std::runtime_error("shmat");
  std::memcpy(address_, bytes.bytes().data(), bytes.bytes().size());
}

SharedSegment::~SharedSegment() { shmdt(address_); }

TestServer::TestServer() {
  directory.MakeDirectory("root/pmon");
  directory.MakeDirectory("root/core/Qelprfd");
  directory.MakeDirectory("arc");
  directory.MakeDirectory("pml");
  segment.PutDirectories(directory.Path("root"), directory.Path("arc"), directory.Path("pml"));
  segment.PutArchivingSwitch(1);
}

ProgramResult TestServer::RunAuto(const std::vector<std::string>& more) const {
  std::vector<std::string> arguments{"-auto", "-mode", "svr", "SEGMENT"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return Run(arguments);
}

ProgramResult TestServer::RunAuto2(const std::string& embedded, const std::string& term,
                                   const std::string& oldest) const {
  return Run({"-mode", "svr", "SEGMENT", "-auto2", embedded, term, oldest});
}

ProgramResult TestServer::Run(std::vector<std::string> arguments) const {
  const SharedSegment shared(segment);
  std::replace(arguments.begin(), arguments.end(), std::string("SEGMENT"), shared.Id());
  return RunProgram(QELPRFARC_TEST_PATH, arguments);
}

namespace {

std::string TraceFile() { return std::string(QELPRFARC_TEST_PREFIX) + "etc/trace/Qelprfarc.trc"; }

}  // namespace

std::vector<std::string> TestServer::TraceOf(pid_t pid) {
  std::istringstream trace(TempDir::ReadFile(TraceFile()));
  std::vector<std::string> texts;
  const std::string wanted = std::to_string(pid);
  for (std::string line; std::getline(trace, line);) {
    // Date, time, process id, tag and line number, text.
    std::istringstream fields(line);
    std::string date, time, process, tag, text;
    fields >> date >> time >> process >> tag;
    if (process != wanted) continue;
    fields.get();
    std::getline(fields, text);
    texts.push_back(text);
  }
  return texts;
}

std::string TestServer::OperationLog() {
  return TempDir::ReadFile(std::string(QELPRFARC_TEST_PREFIX) + "etc/log/operation.log");
}
