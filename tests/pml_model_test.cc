// The pruning against a model of its rules, over random directory trees. The model is written from
// the rules alone and shares nothing with the program: it searches all files anew for each choice,
// reckons sizes in integers and dates with std::chrono, and matches names with a regular
// expression.
#include <algorithm>
#include <chrono>
#include <optional>
#include <random>
#include <regex>

#include "tests/pml_tree.h"

namespace {

using pml_test::Hex;

constexpr unsigned kMode2 = 2;

// --- The model -----------------------------------------------------------------------------------

struct ModelFile {
  unsigned dir;
  std::string path;
  uint64_t size;
  bool valid = false;
  bool chosen = false;
  int date = 0;    // YYMMDD
  int number = 0;  // what orders files of one date: smaller is older
};

struct ModelState {
  std::vector<ModelFile> files;  // in the order of directories and listing
  std::vector<unsigned> dirs;    // range, ascending
  uint64_t limit = 0;
  uint64_t margin = 0;
  uint32_t term = 0;
  uint32_t delete_count = 0;
  uint64_t total = 0;
  uint32_t count = 0;
  uint32_t total_lo = 0;
};

ModelFile Describe(unsigned dir, const std::filesystem::path& path) {
  static const std::regex shape("[0-9]{8}[^#]+#[0-9]([0-9]{2})_[0-9]([0-9]{2})\\.pml");
  const std::string name = path.filename().string();
  ModelFile file{dir, path.string(), std::filesystem::file_size(path)};
  std::smatch parts;
  file.valid = name.size() >= 21 && name.size() <= 52 && std::regex_match(name, parts, shape);
  if (file.valid) {
    file.date = std::stoi(name.substr(2, 6));
    file.number = std::stoi(parts[1]) * 1000 + std::stoi(parts[2]);
  }
  return file;
}

void List(ModelState& state, unsigned dir, const std::string& directory) {
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    const std::string name = entry.path().filename().string();
    const bool is_log = name.size() > 4 && name.substr(name.size() - 4) == ".pml";
    if (is_log && !entry.is_directory()) state.files.push_back(Describe(dir, entry.path()));
  }
}

bool Older(const ModelFile& a, const ModelFile& b) {
  return a.date != b.date ? a.date < b.date : a.number < b.number;
}

// The oldest file that is valid, not chosen and in `dir` (if given); the first of equals.
ModelFile* Oldest(ModelState& state, std::optional<unsigned> dir = std::nullopt) {
  ModelFile* oldest = nullptr;
  for (ModelFile& file : state.files) {
    if (!file.valid || file.chosen || (dir.has_value() && file.dir != *dir)) continue;
    if (oldest == nullptr || Older(file, *oldest)) oldest = &file;
  }
  return oldest;
}

void ChooseForeign(ModelState& state) {
  for (ModelFile& file : state.files) file.chosen = !file.valid;
}

// Without any valid file the first of the table takes the place of the oldest.
ModelFile* OrFirst(ModelState& state, ModelFile* file) {
  if (file != nullptr) return file;
  return state.files.empty() ? nullptr : &state.files.front();
}

void ChooseForHeadroom(ModelState& state, uint64_t required) {
  auto headroom = static_cast<int64_t>(state.limit) - static_cast<int64_t>(state.total);
  ModelFile* next = OrFirst(state, Oldest(state));
  while (next != nullptr && headroom < static_cast<int64_t>(required)) {
    next->chosen = true;
    headroom += static_cast<int64_t>(next->size);
    state.total_lo -= static_cast<uint32_t>(next->size);
    state.count -= 1;
    next = Oldest(state);
  }
}

void ChooseOldest(ModelState& state) {
  // The directory with the lowest date, the last of equals.
  ModelFile* next = nullptr;
  for (const unsigned dir : state.dirs) {
    ModelFile* oldest = Oldest(state, dir);
    if (oldest != nullptr && (next == nullptr || oldest->date <= next->date)) next = oldest;
  }
  next = OrFirst(state, next);
  for (uint32_t taken = 0; next != nullptr && taken < state.delete_count; ++taken) {
    next->chosen = true;
    state.total_lo -= static_cast<uint32_t>(next->size);
    next = Oldest(state);
  }
}

// The threshold as YYMMDD, nothing when it lies before 2000.
std::optional<int> Threshold(int newest, uint32_t term) {
  const std::string text = std::to_string(newest) + "      ";
  const auto piece = [&text](size_t at) {
    int value = 0;
    for (const char c : text.substr(at, 2)) {
      if (c != ' ') value = value * 10 + (c - '0');
    }
    return value;
  };
  using namespace std::chrono;
  const year_month month = year{2000 + piece(0)} / January + months{piece(2) - 1};
  const year_month_day last{sys_days{month / 1} + days{piece(4) - 1} - days{term}};
  const int of_year = static_cast<int>(last.year());
  if (of_year < 2000) return std::nullopt;
  return (of_year - 2000) * 10000 + static_cast<int>(static_cast<unsigned>(last.month())) * 100 +
         static_cast<int>(static_cast<unsigned>(last.day()));
}

void ChooseByAge(ModelState& state) {
  for (const unsigned dir : state.dirs) {
    int newest = 0;
    for (const ModelFile& file : state.files) {
      if (file.dir == dir && file.valid) newest = std::max(newest, file.date);
    }
    const std::optional<int> threshold = Threshold(newest, state.term);
    for (ModelFile& file : state.files) {
      if (file.dir == dir && file.valid && threshold && file.date <= *threshold) file.chosen = true;
    }
  }
}

void ChooseAllButNewest(ModelState& state) {
  ModelFile* newest = nullptr;
  for (ModelFile& file : state.files) {
    if (!file.valid) continue;
    const bool newer = newest == nullptr || file.date > newest->date ||
                       (file.date == newest->date && file.number > newest->number);
    if (newer) newest = &file;
  }
  for (ModelFile& file : state.files) file.chosen = &file != newest;
}

// Result of the mode; nothing when it acts.
std::optional<int> Refusal(const ModelState& state, unsigned mode) {
  const auto headroom = static_cast<int64_t>(state.limit) - static_cast<int64_t>(state.total);
  bool acts = true;
  if (mode == 2 || mode == 6) {
    if (state.margin > state.limit) return 1;
    acts = headroom <= static_cast<int64_t>(state.margin);
  } else if (mode == 4) {
    acts = state.count > 7;
  } else if (mode == 8) {
    acts = state.limit < state.total;
  }
  if (!acts) return 0;
  if (state.count == 0) return 1;
  return std::nullopt;
}

int RunModel(ModelState& state, unsigned mode) {
  if (const std::optional<int> result = Refusal(state, mode)) return *result;
  ChooseForeign(state);
  if (mode == 2 || mode == 6) ChooseForHeadroom(state, state.margin);
  if (mode == 8) ChooseForHeadroom(state, 0);
  if (mode == 3) ChooseByAge(state);
  if (mode == 4) ChooseOldest(state);
  if (mode == 9) ChooseAllButNewest(state);
  return 0;
}

// --- Random trees --------------------------------------------------------------------------------

class PmlAgainstModel : public pml_test::PmlTree, public ::testing::WithParamInterface<unsigned> {
 protected:
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
    static const std::vector<std::string> foreign = {
        "abc.pml",   "20110101.pml",          "20110101#001_002x.pml", "20110101x#0011_002.pml",
        "a b'c.pml", "2011010ax#001_002.pml", "99999999.pml",          "20110101x#001_02.pml"};
    static const std::vector<std::string> others = {"a.psl", ".pml", "A.PML", "20110101x#001_002"};
    if (Chance(12)) return foreign[static_cast<size_t>(Pick(0, 7))];
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
      return;
    }
    if (Chance(2)) {
      for (unsigned number = 0; number < 256; ++number) Fill(Dir(number), Pick(0, 2));
      return;
    }
    if (Chance(95)) Fill(Dir(dir_no_), Pick(0, 12));
    for (int i = Pick(0, 4); i > 0; --i) Fill(Dir(static_cast<unsigned>(Pick(0, 255))), Pick(0, 6));
  }

  ModelState ReadTree(unsigned mode) {
    ModelState state;
    const bool all = mode == 3 || mode == 4;
    for (unsigned number = all ? 0 : dir_no_; number <= (all ? 255 : dir_no_); ++number) {
      state.dirs.push_back(number);
      if (std::filesystem::exists(Dir(number))) {
        List(state, number, mode == 9 ? staging_ : Dir(number));
      }
    }
    for (const ModelFile& file : state.files) state.total += file.size;
    state.count = static_cast<uint32_t>(state.files.size());
    state.total_lo = static_cast<uint32_t>(state.total);
    return state;
  }

  PmlDelParam RandomParam(ModelState& state, unsigned mode) {
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

  std::vector<std::string> ExpectedTrace(const ModelState& state, unsigned mode, int result) const {
    std::vector<std::string> lines;
    if (Refusal(before_, mode) || result != 0) return lines;
    for (const ModelFile& file : state.files) {
      if (!file.chosen) continue;
      lines.push_back(std::string("DeletePml : task=") + (mode == 9 ? "move" : "delete") +
                      " name=" + file.path + " size=" +
                      std::to_string(static_cast<int32_t>(static_cast<uint32_t>(file.size))));
    }
    lines.push_back("Delete File Num " + std::to_string(lines.size()));
    return lines;
  }

  std::set<std::string> ExpectedTree(const ModelState& state, unsigned mode) const {
    std::set<std::string> tree = Everything();
    for (const ModelFile& file : state.files) {
      if (!file.chosen) continue;
      tree.erase(file.path.substr(root_.size() + 1));
      if (mode != 9) continue;
      const std::string name = std::filesystem::path(file.path).filename().string();
      tree.insert("pml/" + Hex(dir_no_) + "/" + name);
    }
    if (mode == kMode2 || mode == 9) tree.insert("pml/" + Hex(dir_no_) + "/");
    return tree;
  }

  void CompareOnce(unsigned mode) {
    dir_no_ = static_cast<unsigned>(Pick(0, 255));
    MakeTree(mode);
    ModelState state = ReadTree(mode);
    PmlDelParam param = RandomParam(state, mode);
    before_ = state;
    const int result = RunModel(state, mode);
    const std::set<std::string> tree = ExpectedTree(state, mode);

    ASSERT_EQ(PMONBcomDeletePml(&param, static_cast<int8_t>(mode)), result);
    ASSERT_EQ(Everything(), tree);
    ASSERT_EQ(Trace(), ExpectedTrace(state, mode, result));
    ASSERT_EQ(param.file_count, state.count);
    ASSERT_EQ(param.total_lo, state.total_lo);
    ASSERT_EQ(param.total_hi, static_cast<uint32_t>(before_.total >> 32));
    acted_ += result == 0 && !Refusal(before_, mode) ? 1 : 0;
  }

  std::mt19937 random_;
  unsigned dir_no_ = 0;
  bool narrow_ = false;
  bool huge_ = false;
  std::vector<std::string> spares_;  // empty directories
  int spares_made_ = 0;
  ModelState before_;
  int acted_ = 0;
};

TEST_P(PmlAgainstModel, SameChoiceTotalsAndTrace) {
  const unsigned mode = GetParam();
  const int trees = mode == 9 ? 300 : 600;
  for (int i = 0; i < trees; ++i) {
    SCOPED_TRACE("mode " + std::to_string(mode) + ", tree " + std::to_string(i));
    random_.seed(mode * 100000 + static_cast<unsigned>(i));
    CompareOnce(mode);
    if (HasFatalFailure()) return;
    Clear();
  }
  EXPECT_GT(acted_, trees / 5) << "too few trees let the mode act";
}

INSTANTIATE_TEST_SUITE_P(ActingModes, PmlAgainstModel, ::testing::Values(2u, 3u, 4u, 6u, 8u, 9u),
                         [](const auto& tested) { return "Mode" + std::to_string(tested.param); });

}  // namespace
