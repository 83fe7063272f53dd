// The text-file routines.
#include "pmonb/PMONBshareTxt.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace {

class ShareTxt : public ::testing::Test {
 protected:
  ShareTxt() {
    std::string pattern = (std::filesystem::temp_directory_path() / "sharetxtXXXXXX").string();
    root_ = mkdtemp(pattern.data());
  }
  ~ShareTxt() override {
    pmonSubFileGetOneLine(nullptr, nullptr, nullptr, 0);
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
  }

  std::string Path(const std::string& name) const { return root_ + "/" + name; }

  std::string Write(const std::string& name, const std::string& content) const {
    std::ofstream(Path(name), std::ios::binary) << content;
    return Path(name);
  }

  static std::string Read(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream content;
    content << file.rdbuf();
    return content.str();
  }

  std::string root_;
  char line_[kPmonSubLineSize] = {};
};

TEST_F(ShareTxt, TokensWithTheLineEndAmongTheDelimiters) {
  char text[] = "a,,b\n";
  EXPECT_STREQ(pmonSubCsvtok(text, ",\n"), "a");
  EXPECT_STREQ(pmonSubCsvtok(nullptr, ",\n"), "");
  EXPECT_STREQ(pmonSubCsvtok(nullptr, ",\n"), "b");
  EXPECT_EQ(pmonSubCsvtok(nullptr, ",\n"), nullptr);
  EXPECT_EQ(pmonSubCsvtok(nullptr, ",\n"), nullptr);
}

TEST_F(ShareTxt, TheFieldBehindTheLastDelimiterIsNotReturned) {
  char text[] = "a,,b\n";
  EXPECT_STREQ(pmonSubCsvtok(text, ","), "a");
  EXPECT_STREQ(pmonSubCsvtok(nullptr, ","), "");
  EXPECT_EQ(pmonSubCsvtok(nullptr, ","), nullptr);
  EXPECT_STREQ(text + 3, "b\n");
}

TEST_F(ShareTxt, TokensBeginAnewWithANewText) {
  char first[] = "a,b,c,";
  char second[] = ",x,";
  EXPECT_EQ(pmonSubCsvtok(first, ","), first);
  EXPECT_EQ(pmonSubCsvtok(second, ","), second);
  EXPECT_STREQ(second, "");
  EXPECT_STREQ(pmonSubCsvtok(nullptr, ","), "x");
  EXPECT_EQ(pmonSubCsvtok(nullptr, ","), nullptr);
  char none[] = "abc";
  EXPECT_EQ(pmonSubCsvtok(none, ","), nullptr);
  EXPECT_STREQ(none, "abc");
  EXPECT_EQ(pmonSubCsvtok(nullptr, ","), nullptr);
  char empty[] = "";
  EXPECT_EQ(pmonSubCsvtok(empty, ","), nullptr);
}

TEST_F(ShareTxt, DelimitersMayChangeFromCallToCall) {
  char text[] = "key=a;b;";
  EXPECT_STREQ(pmonSubCsvtok(text, "="), "key");
  EXPECT_STREQ(pmonSubCsvtok(nullptr, ";"), "a");
  EXPECT_STREQ(pmonSubCsvtok(nullptr, ";="), "b");
  EXPECT_EQ(pmonSubCsvtok(nullptr, ""), nullptr);
}

TEST_F(ShareTxt, TheEndOfATextIsFinal) {
  char text[] = "a,b;c;";
  EXPECT_STREQ(pmonSubCsvtok(text, ","), "a");
  EXPECT_EQ(pmonSubCsvtok(nullptr, ","), nullptr);
  EXPECT_EQ(pmonSubCsvtok(nullptr, ";"), nullptr);
}

TEST_F(ShareTxt, IsDigit) {
  EXPECT_EQ(pmonSubIsDigit(nullptr), 0);
  EXPECT_EQ(pmonSubIsDigit(""), 0);
  EXPECT_EQ(pmonSubIsDigit("0123"), 1);
  EXPECT_EQ(pmonSubIsDigit("12a"), 0);
  EXPECT_EQ(pmonSubIsDigit("-1"), 0);
  EXPECT_EQ(pmonSubIsDigit(" 1"), 0);
  for (int c = 1; c < 256; ++c) {
    const char text[] = {'7', static_cast<char>(c), '\0'};
    EXPECT_EQ(pmonSubIsDigit(text), c >= '0' && c <= '9' ? 1 : 0) << c;
  }
}

TEST_F(ShareTxt, FindsLinesOneAfterTheOther) {
  const std::string path = Write("f", "a,1\nx,1,2\nb\nx,3,4\n");
  EXPECT_EQ(pmonSubFileGetOneLine(path.c_str(), line_, "x", 2), 0);
  EXPECT_STREQ(line_, "x,1,2\n");
  EXPECT_EQ(pmonSubFileGetOneLine(nullptr, line_, "x", 2), 0);
  EXPECT_STREQ(line_, "x,3,4\n");
  EXPECT_EQ(pmonSubFileGetOneLine(nullptr, line_, "x", 2), 5);
  EXPECT_STREQ(line_, "");
  EXPECT_EQ(pmonSubFileGetOneLine(nullptr, line_, "x", 2), 81);
  EXPECT_EQ(pmonSubFileGetOneLine(path.c_str(), line_, "b", 0), 0);
  EXPECT_STREQ(line_, "b\n");
}

TEST_F(ShareTxt, CountsTheCommasOfTheLineFound) {
  const std::string path = Write("f", "x,1,2\n");
  EXPECT_EQ(pmonSubFileGetOneLine(path.c_str(), line_, "x", 2), 0);
  EXPECT_EQ(pmonSubFileGetOneLine(path.c_str(), line_, "x", 3), 4);
  EXPECT_STREQ(line_, "x,1,2\n");
  EXPECT_EQ(pmonSubFileGetOneLine(path.c_str(), line_, "x", 1), 4);
  EXPECT_EQ(pmonSubFileGetOneLine(path.c_str(), line_, "x", 0), 0);
}

TEST_F(ShareTxt, AFoundEmptyLineHasNoCommas) {
  using namespace std::string_literals;
  const std::string path = Write("f", "\0rest\n"s);
  EXPECT_EQ(pmonSubFileGetOneLine(path.c_str(), line_, "", 1), 4);
  EXPECT_EQ(pmonSubFileGetOneLine(path.c_str(), line_, "", 0), 0);
}

TEST_F(ShareTxt, WithoutASearchTextTheFileIsReadToItsEnd) {
  EXPECT_EQ(pmonSubFileGetOneLine(Write("f", "a\nb\n").c_str(), line_, nullptr, 0), 5);
  EXPECT_STREQ(line_, "");
  // Reading a last line without line end meets the end of the file already.
  EXPECT_EQ(pmonSubFileGetOneLine(Write("g", "a\nb").c_str(), line_, nullptr, 0), 81);
  EXPECT_STREQ(line_, "");
  EXPECT_EQ(pmonSubFileGetOneLine(Write("h", "").c_str(), line_, nullptr, 0), 5);
}

TEST_F(ShareTxt, OpeningAndClosingOfTheSearch) {
  EXPECT_EQ(pmonSubFileGetOneLine(nullptr, line_, "x", 0), 15);
  EXPECT_EQ(pmonSubFileGetOneLine(Path("missing").c_str(), line_, "x", 0), 3);
  EXPECT_EQ(pmonSubFileGetOneLine(nullptr, line_, "x", 0), 15);
  const std::string path = Write("f", "x\nx\n");
  EXPECT_EQ(pmonSubFileGetOneLine(path.c_str(), line_, "x", 0), 0);
  EXPECT_EQ(pmonSubFileGetOneLine(nullptr, nullptr, "x", 0), 80);
  EXPECT_EQ(pmonSubFileGetOneLine(nullptr, line_, "x", 0), 15);
  EXPECT_EQ(pmonSubFileGetOneLine(path.c_str(), nullptr, "x", 0), 80);
  // A failed opening ends the search that was in progress.
  EXPECT_EQ(pmonSubFileGetOneLine(path.c_str(), line_, "x", 0), 0);
  EXPECT_EQ(pmonSubFileGetOneLine(Path("missing").c_str(), line_, "x", 0), 3);
  EXPECT_EQ(pmonSubFileGetOneLine(nullptr, line_, "x", 0), 15);
}

TEST_F(ShareTxt, LongLinesAreReadInPieces) {
  const std::string path = Write("f", std::string(4095, 'a') + "b,c\n");
  EXPECT_EQ(pmonSubFileGetOneLine(path.c_str(), line_, "a", 0), 0);
  EXPECT_EQ(std::string(line_), std::string(4095, 'a'));
  EXPECT_EQ(pmonSubFileGetOneLine(nullptr, line_, "b", 1), 0);
  EXPECT_STREQ(line_, "b,c\n");
}

TEST_F(ShareTxt, AppendsAndCountsLines) {
  const std::string source = Write("s", "one\ntwo\nthree");
  const std::string destination = Write("d", "zero\n");
  int lines = 5;
  EXPECT_EQ(pmonSubFileMergeAdd(source.c_str(), destination.c_str(), &lines), 0);
  EXPECT_EQ(lines, 8);
  EXPECT_EQ(Read(destination), "zero\none\ntwo\nthree");
  EXPECT_EQ(Read(source), "one\ntwo\nthree");
  EXPECT_EQ(pmonSubFileMergeAdd(Write("e", "").c_str(), Path("new").c_str(), &lines), 0);
  EXPECT_EQ(lines, 8);
  EXPECT_TRUE(std::filesystem::exists(Path("new")));
}

TEST_F(ShareTxt, AppendsLongLinesAndZeroBytesWhole) {
  using namespace std::string_literals;
  const std::string content =
      std::string(10000, 'a') + "\n\0b\0\n"s + std::string(4095, 'c') + "\n";
  const std::string source = Write("s", content);
  int lines = 0;
  EXPECT_EQ(pmonSubFileMergeAdd(source.c_str(), Path("d").c_str(), &lines), 0);
  EXPECT_EQ(lines, 3);
  EXPECT_EQ(Read(Path("d")), content);
}

TEST_F(ShareTxt, AppendingReportsFilesItCannotUse) {
  const std::string source = Write("s", "one\n");
  int lines = 0;
  EXPECT_EQ(pmonSubFileMergeAdd(Path("missing").c_str(), Path("d").c_str(), &lines), 3);
  EXPECT_FALSE(std::filesystem::exists(Path("d")));
  EXPECT_EQ(pmonSubFileMergeAdd(source.c_str(), Path("no/d").c_str(), &lines), 3);
  EXPECT_EQ(pmonSubFileMergeAdd(nullptr, Path("d").c_str(), &lines), 3);
  EXPECT_EQ(pmonSubFileMergeAdd(source.c_str(), nullptr, &lines), 3);
  EXPECT_EQ(pmonSubFileMergeAdd(source.c_str(), "/dev/full", &lines), 3);
  lines = 0;
  EXPECT_EQ(pmonSubFileMergeAdd(source.c_str(), source.c_str(), &lines), 3);
  EXPECT_EQ(lines, 0);
  EXPECT_EQ(Read(source), "one\n");
}

TEST_F(ShareTxt, PutsText) {
  EXPECT_EQ(pmonSubFilePutTxt("abc\n", Path("f").c_str(), "wt"), 0);
  EXPECT_EQ(pmonSubFilePutTxt("def", Path("f").c_str(), "at"), 0);
  EXPECT_EQ(Read(Path("f")), "abc\ndef");
  EXPECT_EQ(pmonSubFilePutTxt("", Path("f").c_str(), "w"), 0);
  EXPECT_EQ(Read(Path("f")), "");
}

TEST_F(ShareTxt, PuttingTextFails) {
  EXPECT_EQ(pmonSubFilePutTxt("abc", Path("no/f").c_str(), "wt"), 3);
  EXPECT_EQ(pmonSubFilePutTxt("abc", Path("f").c_str(), "rt"), 3);
  EXPECT_EQ(pmonSubFilePutTxt("abc", "/dev/full", "wt"), 3);
  EXPECT_EQ(pmonSubFilePutTxt("abc", Write("r", "").c_str(), "rt"), 3);
  EXPECT_EQ(pmonSubFilePutTxt("abc", nullptr, "wt"), 3);
  EXPECT_EQ(pmonSubFilePutTxt(nullptr, Path("f").c_str(), "wt"), 3);
  EXPECT_EQ(pmonSubFilePutTxt("abc", Path("f").c_str(), nullptr), 3);
}

TEST_F(ShareTxt, MakesSureThatAFileExists) {
  EXPECT_EQ(pmonSubFileOperation(Path("f").c_str(), '2'), 10);
  EXPECT_EQ(std::filesystem::file_size(Path("f")), 0u);
  EXPECT_EQ(pmonSubFileOperation(Write("g", "abc").c_str(), '2'), 10);
  EXPECT_EQ(Read(Path("g")), "abc");
  EXPECT_EQ(pmonSubFileOperation(Path("no/f").c_str(), '2'), -1);
  EXPECT_EQ(pmonSubFileOperation(root_.c_str(), '2'), -1);
  EXPECT_EQ(pmonSubFileOperation(nullptr, '2'), -1);
}

TEST_F(ShareTxt, QueriesAFile) {
  EXPECT_EQ(pmonSubFileOperation(Write("f", "x").c_str(), 'F'), 2);
  EXPECT_EQ(pmonSubFileOperation(Write("g", "").c_str(), 'F'), 3);
  EXPECT_EQ(pmonSubFileOperation(Path("missing").c_str(), 'F'), 4);
  EXPECT_EQ(pmonSubFileOperation(Path("f/below").c_str(), 'F'), -1);
  EXPECT_EQ(errno, ENOTDIR);
  EXPECT_EQ(pmonSubFileOperation(nullptr, 'F'), -1);
  EXPECT_EQ(Read(Path("f")), "x");
}

TEST_F(ShareTxt, RemovesAFile) {
  EXPECT_EQ(pmonSubFileOperation(Write("f", "x").c_str(), '<'), 1);
  EXPECT_EQ(pmonSubFileOperation(Write("g", "").c_str(), '\x3c'), 1);
  EXPECT_TRUE(std::filesystem::is_empty(root_));
  EXPECT_EQ(pmonSubFileOperation(Path("f").c_str(), '<'), 4);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(pmonSubFileOperation(Path(Write("h", "").substr(root_.size() + 1) + "/x").c_str(), '<'),
            -1);
  EXPECT_EQ(pmonSubFileOperation(nullptr, '<'), -1);
}

TEST_F(ShareTxt, RemovesLinksThemselvesAndNoDirectories) {
  std::filesystem::create_symlink(Write("f", "x"), Path("link"));
  EXPECT_EQ(pmonSubFileOperation(Path("link").c_str(), '<'), 1);
  EXPECT_EQ(Read(Path("f")), "x");
  std::filesystem::create_directory(Path("d"));
  EXPECT_EQ(pmonSubFileOperation(Path("d").c_str(), '<'), 5);
  EXPECT_TRUE(std::filesystem::exists(Path("d")));
}

TEST_F(ShareTxt, OtherOperationsDoNothing) {
  const std::string path = Write("f", "x");
  for (int c = 0; c < 256; ++c) {
    if (c == '2' || c == 'F' || c == '<') continue;
    EXPECT_EQ(pmonSubFileOperation(path.c_str(), static_cast<char>(c)), 0) << c;
  }
  EXPECT_EQ(Read(path), "x");
}

}  // namespace
