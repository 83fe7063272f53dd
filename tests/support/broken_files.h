// One small file per way in which a log can be broken: sound records, the damage, more sound
// records. Tests hold against it what psltool says of such files, what it saves of them, and that
// the archiver refuses them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct BrokenFile {
  std::string name;  // "VariablePartLeavesRecord"
  std::string bytes;
  std::string code;     // the class that `psltool check` gives it
  uint64_t offset = 0;  // of the field at fault
  std::string sound;    // the part of the file in front of the damaged record
  // Records behind the file header that can be saved, "CON STA STA"; the latter with resync.
  std::string kept;
  std::string kept_with_resync;
};

std::vector<BrokenFile> BrokenFiles();
