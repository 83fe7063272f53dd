// The pruning against a model of its rules (tests/pmonb/pml_model.h), over random directory
// trees.
#include <algorithm>
#include <cerrno>
#include <random>

#include "tests/pmonb/pml_model.h"
#include "tests/pmonb/pml_tree.h"

namespace {

using pml_test::Hex;

constexpr unsigned kMode2 = 2;

class PmlAgainstModel : public pml_test::PmlTree, public ::testing::WithParamInterface<unsigned> {
 protected:
  // So far down that the longest names make long paths.
  PmlAgainstModel() {
    while (base_.size() < 140) base_ += "deeper/";
    while (trace_dir_.size() < 140) trace_dir_ += "deeper/";
    staging_ = trace_dir_ + ".trace3";
    std::filesystem::create_directories(base_);
    std::filesystem::create_directories(staging_);
  }

  int Pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random_); }
  bool Chance(int percent) { return Pick(1, 100) <= percent; }

  // Few different values, so that dates and numbers meet often; years 2000 to 2009 among them.
  std::string RandomDate() {
    static const std::vector<std::string> dates = {
        "20000000", "20000101", "20001231", "20031115", "20050131", "20051231",
        "20090909", "20100101", "20110131", "20110201", "20110228", "20110231",
        "20110301", "20111231", "20120229", "20991231", "19991231", "20119999"};
    const size_t last = dates.size() - 1;
    const size_t first = narrow_ ? 7 : 0;
    return dates[static_cast<size_t>(Pick(static_cast<int>(first), static_cast<int>(last)))];
  }

  std::string RandomName() {
    static const std::vector<std::string> foreign = {"abc.pml",
                                                     "20110101.pml",
                                                     "20110101#001_002x.pml",
                                                     "20110101x#0011_002.pml",
                                                     "a b'c.pml",
                                                     "2011010ax#001_002.pml",
                                                     "99999999.pml",
                                                     "20110101x#001_02.pml",
                                                     std::string(251, 'l') + ".pml",
                                                     std::string(190, 'm') + ".pml"};
    static const std::vector<std::string> others = {"a.psl", ".pml", "A.PML", "20110101x#001_002"};
    if (Chance(12)) return foreign[static_cast<size_t>(Pick(0, 9))];
    if (Chance(4)) return others[static_cast<size_t>(Pick(0, 3))];
    static const char* const arrays[] = {"x", "a_b", "array.1", "long array name"};
    char numbers[32];
    snprintf(numbers, sizeof numbers, "#%d%02d_%d%02d.pml", Pick(0, 2), Pick(0, 3), Pick(0, 2),
             Pick(0, 3));
    return RandomDate() + arrays[Pick(0, 3)] + numbers;
  }

  uint64_t RandomSize() {
    if (huge_) return static_cast<uint64_t>(Pick(0, 9)) * 700000007;
    return static_cast<uint64_t>(Pick(0, 20));
  }

  // Inodes are costly to make on some file systems, names are not: files are links to one file of
  // each size, and emptied directories are renamed for the next tree.
  void PutLink(const std::string& path, uint64_t size) {
    const std::string original = root_ + "/size" + std::to_string(size);
    if (!std::filesystem::exists(original)) Put(original, size);
    std::filesystem::create_hard_link(original, path);
  }

  void MakeDirectory(const std::string& directory) {
    if (std::filesystem::exists(directory)) return;
    if (spares_.empty()) {
      std::filesystem::create_directory(directory);
    } else {
      std::filesystem::rename(spares_.back(), directory);
      spares_.pop_back();
    }
  }

  static void Empty(const std::string& directory) {
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
      std::filesystem::remove(entry.path());
    }
  }

  void Clear() {
    Empty(staging_);
    for (const auto& entry : std::filesystem::directory_iterator(base_)) {
      Empty(entry.path());
      spares_.push_back(root_ + "/spare" + std::to_string(spares_made_++));
      std::filesystem::rename(entry.path(), spares_.back());
    }
    std::ofstream(sgmtr_dmpfile, std::ios::trunc);
  }

  void Fill(const std::string& directory, int files) {
    MakeDirectory(directory);
    for (int i = 0; i < files; ++i) {
      const std::string path = directory + "/" + RandomName();
      if (std::filesystem::exists(path)) continue;
      if (Chance(3)) {
        std::filesystem::create_directory(path);
      } else {
        PutLink(path, RandomSize());
      }
    }
  }

  void MakeTree(unsigned mode) {
    narrow_ = Chance(50);
    huge_ = Chance(15);
    if (mode == 9) {
      if (Chance(95)) MakeDirectory(Dir(dir_no_));
      Fill(staging_, Pick(0, 4));
      // Names that are taken; what stands there is replaced.
      for (const std::string& name : NamesIn(staging_)) {
        const bool there = std::filesystem::exists(Dir(dir_no_));
        if (there && Chance(20) && !std::filesystem::is_directory(staging_ + "/" + name)) {
          PutLink(Dir(dir_no_) + "/" + name, 21);
        }
      }
      return;
    }
    if (Chance(2)) {
      for (unsigned number = 0; number < 256; ++number) Fill(Dir(number), Pick(0, 2));
      return;
    }
    if (Chance(95)) Fill(Dir(dir_no_), Pick(0, 12));
    for (int i = Pick(0, 4); i > 0; --i) Fill(Dir(static_cast<unsigned>(Pick(0, 255))), Pick(0, 6));
  }

  PmlModelState ReadTree(unsigned mode) {
    PmlModelState state;
    const bool all = mode == 3 || mode == 4;
    for (unsigned number = all ? 0 : dir_no_; number <= (all ? 255 : dir_no_); ++number) {
      state.dirs.push_back(number);
      if (std::filesystem::exists(Dir(number))) {
        ListForModel(state, number, mode == 9 ? staging_ : Dir(number));
      }
    }
    for (const PmlModelFile& file : state.files) state.total += file.size;
    state.count = static_cast<uint32_t>(state.files.size());
    state.total_lo = static_cast<uint32_t>(state.total);
    return state;
  }

  PmlDelParam RandomParam(PmlModelState& state, unsigned mode) {
    state.term = static_cast<uint32_t>(Chance(70) ? Pick(0, 400) : Pick(0, 40000));
    state.delete_count = static_cast<uint32_t>(Pick(0, 10));
    const double part = Pick(0, 120) / 100.0;
    state.limit = static_cast<uint64_t>(static_cast<double>(state.total) * part);
    if (Chance(20)) state.limit = state.total;
    state.margin = static_cast<uint64_t>(Pick(0, huge_ ? 2000000000 : 60));
    if (Chance(20)) state.margin = std::min<uint64_t>(state.limit, 0xFFFFFFFF);
    PmlDelParam param = Param();
    param.term = state.term;
    param.delete_count = state.delete_count;
    param.limit_hi = static_cast<uint32_t>(state.limit >> 32);
    param.limit_lo = static_cast<uint32_t>(state.limit);
    param.margin = static_cast<uint32_t>(state.margin);
    param.dir_no = static_cast<uint16_t>(dir_no_);
    if (mode == 6) {
      param.total_hi = static_cast<uint32_t>(state.total >> 32);
      param.total_lo = state.total_lo;
      param.file_count = state.count;
    }
    return param;
  }

  std::vector<std::string> ExpectedTrace(const PmlModelState& state, unsigned mode,
                                         int result) const {
    std::vector<std::string> lines;
    if (PmlRefusal(before_, mode) || result != 0) return lines;
    for (const PmlModelFile& file : state.files) {
      if (!file.chosen) continue;
      lines.push_back(std::string("DeletePml : task=") + (mode == 9 ? "move" : "delete") +
                      " name=" + file.path + " size=" +
                      std::to_string(static_cast<int32_t>(static_cast<uint32_t>(file.size))));
    }
    lines.push_back("Delete File Num " + std::to_string(lines.size()));
    return lines;
  }

  std::set<std::string> ExpectedTree(const PmlModelState& state, unsigned mode) const {
    std::set<std::string> tree = Everything();
    for (const PmlModelFile& file : state.files) {
      if (!file.chosen) continue;
      tree.erase(file.path.substr(root_.size() + 1));
      if (mode != 9) continue;
      const std::string name = std::filesystem::path(file.path).filename().string();
      tree.insert((Dir(dir_no_) + "/" + name).substr(root_.size() + 1));
    }
    if (mode == kMode2 || mode == 9) tree.insert((Dir(dir_no_) + "/").substr(root_.size() + 1));
    return tree;
  }

  void CompareOnce(unsigned mode) {
    dir_no_ = static_cast<unsigned>(Pick(0, 255));
    MakeTree(mode);
    PmlModelState state = ReadTree(mode);
    PmlDelParam param = RandomParam(state, mode);
    before_ = state;
    const int result = RunPmlModel(state, mode);
    const std::set<std::string> tree = ExpectedTree(state, mode);

    ASSERT_EQ(PMONBcomDeletePml(&param, static_cast<int8_t>(mode)), result);
    ASSERT_EQ(Everything(), tree);
    ASSERT_EQ(Trace(), ExpectedTrace(state, mode, result));
    ASSERT_EQ(param.file_count, state.count);
    ASSERT_EQ(param.total_lo, state.total_lo);
    ASSERT_EQ(param.total_hi, static_cast<uint32_t>(before_.total >> 32));
    for (const PmlModelFile& file : state.files) {
      if (mode != 9 || !file.chosen) continue;
      const std::string name = std::filesystem::path(file.path).filename().string();
      ASSERT_EQ(std::filesystem::file_size(Dir(dir_no_) + "/" + name), file.size) << name;
    }
    acted_ += result == 0 && !PmlRefusal(before_, mode) ? 1 : 0;
  }

  // The listing of some directory breaks off: nothing is chosen from what was read of it.
  void BreakOffOnce(unsigned mode) {
    dir_no_ = static_cast<unsigned>(Pick(0, 255));
    MakeTree(mode);
    PmlModelState state = ReadTree(mode);
    PmlDelParam param = RandomParam(state, mode);
    if (mode == kMode2 || mode == 9) MakeDirectory(Dir(dir_no_));
    const std::set<std::string> tree = Everything();
    static int entries_left;
    entries_left = Pick(0, 12);
    pml_system.read_dir = [](DIR* directory) -> dirent* {
      if (entries_left-- > 0) return readdir(directory);
      errno = EIO;
      return nullptr;
    };
    const int result = PMONBcomDeletePml(&param, static_cast<int8_t>(mode));
    pml_system.read_dir = readdir;
    // Where all was read before, the mode acts; not otherwise.
    if (entries_left >= 0) return;
    ++broken_off_;
    ASSERT_EQ(result, 4);
    ASSERT_STREQ(param.err_func, "readdir");
    ASSERT_EQ(Everything(), tree);
    ASSERT_TRUE(Trace().empty());
  }

  std::mt19937 random_;
  unsigned dir_no_ = 0;
  bool narrow_ = false;
  bool huge_ = false;
  std::vector<std::string> spares_;  // empty directories
  int spares_made_ = 0;
  PmlModelState before_;
  int acted_ = 0;
  int broken_off_ = 0;
};

TEST_P(PmlAgainstModel, SameChoiceTotalsAndTrace) {
  const unsigned mode = GetParam();
  constexpr int trees = 600;
  for (int i = 0; i < trees; ++i) {
    SCOPED_TRACE("mode " + std::to_string(mode) + ", tree " + std::to_string(i));
    random_.seed(mode * 100000 + static_cast<unsigned>(i));
    CompareOnce(mode);
    if (HasFatalFailure()) return;
    Clear();
  }
  EXPECT_GT(acted_, trees / 5) << "too few trees let the mode act";
}

TEST_P(PmlAgainstModel, NothingIsChosenFromAPartOfADirectory) {
  const unsigned mode = GetParam();
  constexpr int trees = 100;
  for (int i = 0; i < trees; ++i) {
    SCOPED_TRACE("mode " + std::to_string(mode) + ", tree " + std::to_string(i));
    random_.seed(mode * 100000 + 50000 + static_cast<unsigned>(i));
    BreakOffOnce(mode);
    if (HasFatalFailure()) return;
    Clear();
  }
  EXPECT_GT(broken_off_, trees / 4);
}

INSTANTIATE_TEST_SUITE_P(ActingModes, PmlAgainstModel, ::testing::Values(2u, 3u, 4u, 6u, 8u, 9u),
                         [](const auto& tested) { return "Mode" + std::to_string(tested.param); });

}  // namespace
