// What the tests of the pruning share: a directory tree of its own for each test, with trace file,
// and the state of the process put back afterwards.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "platform/QelCM.h"
#include "pmonb/PMONBcomDeletePml.h"
#include "pmonb/pml_system.h"

namespace pml_test {

inline constexpr char kOverride[] = "QelPMON_EMBSYSVOL";

// "20110101x#001_002.pml"
inline std::string Name(int date, int first = 1, int second = 1, const std::string& array = "x") {
  char numbers[32];
  snprintf(numbers, sizeof numbers, "#%03d_%03d.pml", first, second);
  return std::to_string(date) + array + numbers;
}

// "0A"
inline std::string Hex(unsigned number) {
  char text[16];
  snprintf(text, sizeof text, "%02X", number);
  return text;
}

// root/pml/ is the PML directory, root/srv/.trace3 the staging directory; both exist. No override
// is set in the environment, and every volume counts as mounted unless a test says otherwise.
class PmlTree : public ::testing::Test {
 protected:
  PmlTree() {
    std::string pattern = (std::filesystem::temp_directory_path() / "pmltestXXXXXX").string();
    root_ = mkdtemp(pattern.data());
    base_ = root_ + "/pml/";
    trace_dir_ = root_ + "/srv/";
    staging_ = trace_dir_ + ".trace3";
    std::filesystem::create_directories(base_);
    std::filesystem::create_directories(staging_);
    std::snprintf(sgmtr_dmpfile, sizeof sgmtr_dmpfile, "%s/trace", root_.c_str());
    unsetenv(kOverride);
    pml_system.check_volume = [](const char*, PmlErrorBlock*) { return 0; };
  }

  ~PmlTree() override {
    pml_system = saved_system_;
    sgmtr_dmpfile[0] = '\0';
    unsetenv(kOverride);
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
  }

  PmlDelParam Param() const {
    PmlDelParam param{};
    snprintf(param.base_dir, sizeof param.base_dir, "%s", base_.c_str());
    snprintf(param.trace_dir, sizeof param.trace_dir, "%s", trace_dir_.c_str());
    return param;
  }

  // A sparse file.
  static void Put(const std::string& path, uint64_t size = 10) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    ASSERT_GE(fd, 0) << path << ": " << strerror(errno);
    EXPECT_EQ(ftruncate(fd, static_cast<off_t>(size)), 0) << path << ": " << strerror(errno);
    close(fd);
  }

  std::string Dir(unsigned number) const { return base_ + Hex(number); }

  void PutIn(unsigned number, const std::string& name, uint64_t size = 10) const {
    std::filesystem::create_directories(Dir(number));
    Put(Dir(number) + "/" + name, size);
  }

  void Stage(const std::string& name, uint64_t size = 10) const {
    Put(staging_ + "/" + name, size);
  }

  // Paths below root/pml and root/srv, relative to the root, directories with "/" behind.
  std::set<std::string> Everything() const {
    std::set<std::string> all;
    for (const char* top : {"pml", "srv"}) {
      for (const auto& entry : std::filesystem::recursive_directory_iterator(root_ + "/" + top)) {
        const bool is_directory = entry.is_directory() && !entry.is_symlink();
        all.insert(entry.path().string().substr(root_.size() + 1) + (is_directory ? "/" : ""));
      }
    }
    return all;
  }

  // Names in one directory.
  static std::set<std::string> NamesIn(const std::string& directory) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
      names.insert(entry.path().filename().string());
    }
    return names;
  }

  // Texts of the trace so far; every line must carry the tag of the pruning.
  std::vector<std::string> Trace() const {
    std::ifstream file(sgmtr_dmpfile);
    std::vector<std::string> texts;
    for (std::string line; std::getline(file, line);) {
      size_t blank = 0;
      for (int i = 0; i < 4; ++i) blank = line.find(' ', blank) + 1;
      const std::string head = line.substr(0, blank);
      EXPECT_NE(head.find(" PMONBcomDeletePml:"), std::string::npos) << line;
      texts.push_back(line.substr(blank));
    }
    return texts;
  }

  static void ExpectFailure(const PmlDelParam& param, int result, uint32_t detail, const char* what,
                            int error) {
    EXPECT_EQ(result, kPmlFailed);
    EXPECT_EQ(param.detail, detail) << std::hex << param.detail;
    EXPECT_STREQ(param.err_func, what);
    EXPECT_EQ(param.err_no, error);
  }

  std::string root_, base_, trace_dir_, staging_;

 private:
  PmlSystem saved_system_ = pml_system;
};

}  // namespace pml_test
