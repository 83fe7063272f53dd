// Entry of the program Qelprfarc.
#include <new>

#include "archiver/Qelprfarc.h"
#include "engine/pmoncommon.h"
#include "platform/process.h"

int main(int argc, char** argv) {
  OpenStandardDescriptors();
  std::set_new_handler(OutOfMemory);
  return RunArchiver(argc, argv);
}
