// The pruning of large directories: time must not grow with the square of the number of files.
#include <chrono>

#include "tests/pmonb/pml_tree.h"

namespace {

using pml_test::Name;

class LongPmlScale : public pml_test::PmlTree {
 protected:
  LongPmlScale() { sgmtr_dmpfile[0] = '\0'; }

  // `count` files of one byte, spread over `directories`, in no order of age.
  void Make(int count, int directories) const {
    for (int d = 0; d < directories; ++d) {
      std::filesystem::create_directories(Dir(static_cast<unsigned>(d)));
    }
    for (int i = 0; i < count; ++i) {
      const int shuffled = static_cast<int>(int64_t{i} * 7919 % count);
      const int year = 2010 + shuffled / 10000 % 80;
      const int date = year * 10000 + (1 + shuffled / 833 % 12) * 100 + 1 + shuffled % 28;
      char array[16];
      snprintf(array, sizeof array, "a%06d", i);
      const std::string name = Name(date, shuffled % 100, shuffled / 100 % 100, array);
      // Links are made faster than files; a file has room for some 65,000 of them.
      const std::string original = root_ + "/byte" + std::to_string(i / 50000);
      if (i % 50000 == 0) Put(original, 1);
      std::filesystem::create_hard_link(original,
                                        Dir(static_cast<unsigned>(i % directories)) + "/" + name);
    }
  }

  // Seconds that a mode takes to delete all of `count` files but ten.
  double Seconds(int mode, int count, int directories) {
    Make(count, directories);
    PmlDelParam param = Param();
    param.delete_count = static_cast<uint32_t>(count - 10);
    param.limit_lo = 10;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(PMONBcomDeletePml(&param, static_cast<int8_t>(mode)), 0);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    size_t left = 0;
    for (int d = 0; d < directories; ++d) {
      left += NamesIn(Dir(static_cast<unsigned>(d))).size();
    }
    EXPECT_EQ(left, mode == 3 ? 0u : 10u);
    std::filesystem::remove_all(base_);
    std::filesystem::create_directories(base_);
    printf("mode %d, %d directories, %d files: %.3f s\n", mode, directories, count, taken.count());
    return taken.count();
  }

  // Ten times the files may take some thirty times as long, noise and n log n included; a search of
  // the whole table for each deletion would take a hundred times as long and more.
  void ExpectNearlyLinear(int mode, int directories) {
    const double small = Seconds(mode, 10000, directories);
    const double large = Seconds(mode, 100000, directories);
    EXPECT_LT(large, 35 * small + 1.0);
  }
};

TEST_F(LongPmlScale, ByAge) { ExpectNearlyLinear(3, 256); }

TEST_F(LongPmlScale, ByNumber) { ExpectNearlyLinear(4, 256); }

TEST_F(LongPmlScale, BySizeInOneDirectory) { ExpectNearlyLinear(8, 1); }

}  // namespace
