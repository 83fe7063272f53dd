// Writes what a fuzzer starts from: write_seeds <target> <directory>. Without arguments it prints
// the names of the targets.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

#include "tests/fuzz/targets.h"

int main(int argc, char** argv) {
  for (const fuzz::NamedTarget& target : fuzz::AllTargets()) {
    if (argc != 3) {
      std::puts(target.name);
    } else if (std::strcmp(argv[1], target.name) == 0) {
      size_t number = 0;
      for (const std::string& seed : target.seeds()) {
        std::ofstream file(std::string(argv[2]) + "/seed" + std::to_string(number++),
                           std::ios::binary);
        file << seed;
        if (!file.flush()) return 1;
      }
      return 0;
    }
  }
  return argc == 3 ? 2 : 0;
}
