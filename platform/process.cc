// EndProcess: see the header.
#include "platform/process.h"

#include <cstdlib>

EndProcessHook end_process_hook = nullptr;

void EndProcess(int status) {
  if (end_process_hook != nullptr) end_process_hook(status);
  std::exit(status);
}
