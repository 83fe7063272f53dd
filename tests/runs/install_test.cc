// `cmake --install` into a directory of its own: what is there, and that units, script and pages
// name places that are there.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>
#include <string>

#include "tests/support/process.h"
#include "tests/support/tempdir.h"

namespace {

namespace fs = std::filesystem;

class Install : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::string build = fs::path(PSLTOOL_PATH).parent_path().parent_path();
    if (!fs::exists(build + "/cmake_install.cmake")) GTEST_SKIP() << "no build directory here";
    const ProgramResult result = RunProgram("/usr/bin/env", {"cmake", "--install", build},
                                            {"", {{"DESTDIR", stage_.Path()}}});
    ASSERT_EQ(result.status, 0) << result.err;
    for (const auto& entry : fs::recursive_directory_iterator(stage_.Path())) {
      if (!entry.is_directory()) files_.insert(entry.path().string().substr(stage_.Path().size()));
    }
  }

  // The only file whose path ends so; empty, and a failure, when there are others or none.
  std::string FileAt(const std::string& end) {
    std::string found;
    for (const std::string& file : files_) {
      if (!file.ends_with(end)) continue;
      EXPECT_EQ(found, "") << file;
      found = file;
    }
    EXPECT_NE(found, "") << end;
    return found;
  }

  TempDir stage_;
  std::set<std::string> files_;
};

TEST_F(Install, PutsEverythingIntoItsPlace) {
  for (const char* end : {"/bin/Qelprfarc",
                          "/bin/psltool",
                          "/etc/qelprfarc.conf",
                          "/etc/logrotate.d/qelprfarc",
                          "/systemd/system/qelprfarc.timer",
                          "/systemd/system/qelprfarc-segment.service",
                          "/sysusers.d/qelprfarc.conf",
                          "/libexec/qelprfarc/qelprfarc-segment",
                          "/man/man1/Qelprfarc.1",
                          "/man/man1/psltool.1",
                          "/man/man1/psltool-show.1",
                          "/man/man5/psl.5",
                          "/man/man5/qelprfarc.conf.5",
                          "/man/man7/qelprfarc.7",
                          "/bash-completion/completions/psltool",
                          "/bash-completion/completions/Qelprfarc",
                          "/site-functions/_psltool",
                          "/vendor_completions.d/psltool.fish",
                          "/docs/operations.md",
                          "/examples/qelprfarc-alarm@.service"}) {
    FileAt(end);
  }
}

// README.md and docs/ are read where they are installed, too. Links to what is in the checkout only
// were dead there: the changelog, what is trusted, rules to begin with.
TEST_F(Install, LinksOfThePagesLeadSomewhere) {
  const std::regex link("\\]\\(([^)#:[:space:]]+)[^):]*\\)");
  const std::regex example("packaging/[a-z/.-]*[a-z]");
  size_t followed = 0;
  const auto follow = [&](const fs::path& page, const fs::path& target) {
    ++followed;
    EXPECT_TRUE(fs::exists(target)) << page << ": " << target;
  };
  for (const std::string& file : files_) {
    if (!file.ends_with(".md")) continue;
    const fs::path page = stage_.Path(file.substr(1));
    const std::string text = TempDir::ReadFile(page);
    for (std::sregex_iterator at(text.begin(), text.end(), link), end; at != end; ++at) {
      follow(page, page.parent_path() / (*at)[1].str());
    }
    // What operators and analysts are told to run.
    if (page.filename() != "export.md" && page.filename() != "scale.md") continue;
    const fs::path root = page.parent_path().parent_path();
    if (page.parent_path().filename() != "docs") continue;
    for (std::sregex_iterator at(text.begin(), text.end(), example), end; at != end; ++at) {
      follow(page, root / at->str());
    }
  }
  EXPECT_GE(followed, 200U);
}

// A path in a unit that nobody installs would fail at night.
TEST_F(Install, UnitsAndPagesNameWhatIsThere) {
  const std::regex path("[=+-](/[a-zA-Z][^ \n]*/(bin|libexec|etc)/[^ \n]*)");
  size_t named = 0;
  for (const char* unit :
       {"qelprfarc.service", "qelprfarc-segment.service", "qelprfarc-unit@.service"}) {
    const std::string text = stage_.Read(FileAt("/" + std::string(unit)).substr(1));
    EXPECT_EQ(text.find('@' + std::string("CMAKE")), std::string::npos) << unit;
    EXPECT_NE(text.find("\nUser=qelprfarc\n"), std::string::npos) << unit;
    for (std::sregex_iterator at(text.begin(), text.end(), path), end; at != end; ++at) {
      const std::string name = (*at)[1];
      EXPECT_TRUE(files_.contains(name)) << unit << " names " << name;
      ++named;
    }
  }
  EXPECT_GE(named, 12U);
  const std::string settings = FileAt("/etc/qelprfarc.conf");
  const std::string page = stage_.Read(FileAt("/qelprfarc.conf.5").substr(1));
  EXPECT_NE(page.find(settings), std::string::npos) << settings;
}

}  // namespace
