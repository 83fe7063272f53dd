// `psltool chart` and `compare` from outside: files that are pictures, and every refusal.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/process.h"
#include "tests/support/tempdir.h"
#include "tools/page/page_assets.h"

namespace {

using psltool::kPageStyle;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class PsltoolPictures : public testing::Test {
 protected:
  PsltoolPictures() {
    RunProgram(PSLTOOL_PATH, {"make", "-q", "--ld", "3", "--pd", "4", "--interval", "900", "--days",
                              "2", "-o", directory_.Path()});
  }
  ProgramResult Run(std::vector<std::string> arguments) {
    return RunProgram(PSLTOOL_PATH, arguments, {directory_.Path(), {}});
  }
  void ExpectRefusal(const std::vector<std::string>& arguments, int status,
                     const std::string& message) {
    const ProgramResult result = Run(arguments);
    EXPECT_EQ(result.status, status) << message;
    EXPECT_THAT(result.err, HasSubstr(message));
  }

  TempDir directory_;
};

TEST_F(PsltoolPictures, AreSvgAndPng) {
  const std::string log = directory_.Names()[0];
  EXPECT_EQ(Run({"chart", log, "--key", "1", "-o", "x.svg"}).status, 0);
  EXPECT_THAT(directory_.Read("x.svg"), StartsWith("<?xml"));
  EXPECT_THAT(directory_.Read("x.svg"), HasSubstr("</svg>"));
  EXPECT_EQ(
      Run({"chart", log, "-m", "busy", "--width", "400", "--height", "300", "-o", "x.png"}).status,
      0);
  const std::string png = directory_.Read("x.png");
  EXPECT_THAT(png, StartsWith("\x89PNG"));
  // Its head says the size.
  ASSERT_GT(png.size(), 24U);
  EXPECT_EQ(png.substr(16, 8), std::string("\0\0\1\x90\0\0\1\x2C", 8));
}

// One look: what pages call --line-1 is the line of a chart.
TEST_F(PsltoolPictures, HaveTheColoursOfPages) {
  EXPECT_EQ(Run({"chart", directory_.Names()[0], "--key", "1", "-o", "x.svg"}).status, 0);
  const std::string picture = directory_.Read("x.svg");
  for (const char* name : {"--line-1: #", "--ink: #", "--muted: #", "--grid: #"}) {
    const size_t at = kPageStyle.find(name);
    ASSERT_NE(at, kPageStyle.npos) << name;
    const std::string digits(kPageStyle.substr(at + std::string(name).size(), 6));
    // As cairo writes it: in percent, to as many digits as its version has.
    const auto percent = [&](size_t from) {
      return fmt::format("{:.6f}", std::stoi(digits.substr(from, 2), nullptr, 16) / 2.55);
    };
    const std::string red = percent(0).substr(0, percent(0).find('.') + 4);
    EXPECT_THAT(picture, HasSubstr("rgb(" + red)) << name << digits;
  }
}

TEST_F(PsltoolPictures, HostileNamesAreDrawn) {
  directory_.Write("labels", "resource * ld 1 <b>&\"'</b> \xE2\x80\xAE x\n");
  const std::string name = directory_.Names()[0];
  const std::string odd = "20240304<a&b>\xFF\x01.psl";
  directory_.Write(odd, directory_.Read(name));
  EXPECT_EQ(Run({"chart", odd, "--key", "1", "--labels", "labels", "-o", "x.svg"}).status, 0);
  EXPECT_THAT(directory_.Read("x.svg"), Not(HasSubstr("<b>")));
}

TEST_F(PsltoolPictures, RefusalsLeaveNoFile) {
  const std::string log = directory_.Names()[0];
  ExpectRefusal({"chart", log, "-o", "x.gif"}, 2, "ends in neither .svg nor .png");
  ExpectRefusal({"chart", log, "-k", "hd", "-m", "ops", "-o", "x.svg"}, 2, "hd has no ops");
  ExpectRefusal({"chart", log, "-k", "pd", "-g", "3", "-o", "x.svg"}, 2,
                "entries of pd have 2 counter groups, not 3");
  ExpectRefusal({"chart", log, "--key", "77", "-o", "x.svg"}, 1, "no record holds ld 77");
  ExpectRefusal({"chart", log, "-k", "pd", "--key", "0", "-o", "x.svg"}, 2,
                "stands for several pd");
  ExpectRefusal({"chart", log, "--from", "2020-01-01", "--to", "2020-01-02", "-o", "x.svg"}, 1,
                "no record lies in the time");
  ExpectRefusal({"chart", log, log, "-o", "x.svg"}, 2, "would count twice");
  ExpectRefusal({"chart", "none.psl", "-o", "x.svg"}, 2, "none.psl");
  ExpectRefusal({"chart", log, "-o", "none/x.svg"}, 2, "none/x.svg");
  EXPECT_FALSE(directory_.Exists("x.svg"));
}

// It is loaded by those who draw, so nobody else misses it.
TEST_F(PsltoolPictures, LibraryThatCannotBeLoadedIsTold) {
  const std::string log = directory_.Names()[0];
  directory_.MakeDirectory("broken");
  directory_.Write("broken/libcairo.so.2", "");
  const ProgramSettings settings = {directory_.Path(),
                                    {{"LD_LIBRARY_PATH", directory_.Path("broken")}}};
  const ProgramResult chart = RunProgram(PSLTOOL_PATH, {"chart", log, "-o", "x.svg"}, settings);
  EXPECT_EQ(chart.status, 2);
  EXPECT_THAT(chart.err, StartsWith("psltool: x.svg: cannot be drawn: "));
  EXPECT_THAT(chart.err, HasSubstr("libcairo.so.2"));
  EXPECT_THAT(directory_.Names(), Not(testing::Contains("x.svg")));
  EXPECT_EQ(RunProgram(PSLTOOL_PATH, {"info", log}, settings).status, 0);
}

TEST_F(PsltoolPictures, ComparisonsNeedTwoSides) {
  const std::string one = directory_.Names()[0];
  const std::string other = directory_.Names()[1];
  EXPECT_EQ(Run({"compare", one, "--", other, "-n", "3"}).status, 0);
  EXPECT_EQ(
      Run({"compare", "-n", "3", "--before", "2024-03-04", "--after", "2024-03-05", one, other})
          .status,
      0);
  ExpectRefusal({"compare", one, other}, 2, "-- must stand between");
  ExpectRefusal({"compare", one, "--"}, 2, "no file stands on one side");
  ExpectRefusal({"compare", "--before", "2024-03-04", one}, 2, "go together");
  ExpectRefusal({"compare", "--before", "2024-03-04", "--after", "2024-03-05", one, "--", other}, 2,
                "not both");
  ExpectRefusal({"compare", "--before", "soon", "--after", "2024-03-05", one}, 2,
                "compare --before: 'soon' is no time");
  ExpectRefusal({"compare", "--before", "2020", "--after", "2024", one}, 1, "span before");
  ExpectRefusal({"compare", one, one, "--", other}, 2, "would count twice");
  ExpectRefusal({"compare", "-k", "hd", "-m", "ops", one, "--", other}, 2, "have no ops");
}

TEST_F(PsltoolPictures, WhatWentAndCameIsTold) {
  const std::string one = directory_.Names()[0];
  directory_.MakeDirectory("more");
  RunProgram(PSLTOOL_PATH, {"make", "-q", "--ld", "4", "--pd", "2", "--interval", "900", "--start",
                            "2024-03-09", "-o", directory_.Path("more")});
  const std::string other = "more/" + directory_.Names("more")[0];
  const ProgramResult result = Run({"compare", one, "--", other, "-n", "1000"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_THAT(result.out, testing::ContainsRegex("appeared array01 ld +3 "));
  EXPECT_THAT(result.out, testing::ContainsRegex("went +array01 pd +0.[23] "));
}

TEST_F(PsltoolPictures, NowIsToldInOnePlace) {
  const std::string log = directory_.Names()[0];
  const auto run = [&](const std::string& command, const std::string& now) {
    std::vector<std::string> arguments = {command, log, "--from", "yesterday", "--to", "yesterday"};
    if (command == "chart") arguments.insert(arguments.end(), {"-o", "y.svg"});
    return RunProgram(PSLTOOL_PATH, arguments, {directory_.Path(), {{"PSLTOOL_NOW", now}}}).status;
  };
  for (const std::string command : {"dump", "show", "top", "chart"}) {
    EXPECT_EQ(run(command, "@1709640000"), 0) << command;  // 2024-03-05 12:00 UTC
    EXPECT_EQ(run(command, "@1719640000"), 1) << command;
  }
}

TEST_F(PsltoolPictures, ShowAndTopTakeTheChoicesOfDump) {
  const std::string log = directory_.Names()[0];
  const ProgramResult top = Run({"top", log, "-k", "ld", "-k", "pd", "-n", "1"});
  EXPECT_EQ(top.status, 0) << top.err;
  EXPECT_THAT(top.out, HasSubstr("ld by ops"));
  EXPECT_THAT(top.out, HasSubstr("pd by ops"));
  const ProgramResult one = Run({"top", log, "-k", "pd", "--key", "0.1", "--json"});
  EXPECT_THAT(one.out, HasSubstr("\"key\": \"0.1\""));
  EXPECT_THAT(one.out, Not(HasSubstr("\"key\": \"0.0\"")));
  const ProgramResult show = Run({"show", log, "-k", "ld", "-k", "pd", "--json"});
  EXPECT_THAT(show.out, StartsWith("["));
  EXPECT_THAT(show.out, HasSubstr("\"kind\": \"pd\""));
  ExpectRefusal({"top", log, "-k", "ld", "-k", "pd", "--key", "1"}, 2, "needs one --kind");
  ExpectRefusal({"show", log, "-k", "ld", "-k", "pd", "--key", "1"}, 2, "needs one --kind");
}

}  // namespace
