// The prefix of the tests: see the header.
#include "tests/support/runs/prefix.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace {

// "Prefix...", "LongPrefix...", and both behind the name of an instantiation and "/".
bool UsesThePrefix(const std::string& suite) {
  const std::string name = suite.substr(suite.rfind('/') + 1);
  return name.starts_with("Prefix") || name.starts_with("LongPrefix") ||
         suite.starts_with("Prefix") || suite.starts_with("LongPrefix");
}

class StartsEmpty : public ::testing::EmptyTestEventListener {
 public:
  StartsEmpty() { ::testing::UnitTest::GetInstance()->listeners().Append(this); }
  void OnTestStart(const ::testing::TestInfo& test) override {
    if (UsesThePrefix(test.test_suite_name())) EmptyTestPrefix();
  }
};

// Owned by the list of listeners.
[[maybe_unused]] const StartsEmpty* const listener = new StartsEmpty;

}  // namespace

void EmptyTestPrefix() {
  std::error_code ignored;
  std::filesystem::remove_all(QELPRFARC_TEST_PREFIX, ignored);
  std::filesystem::create_directories(QELPRFARC_TEST_PREFIX);
}
