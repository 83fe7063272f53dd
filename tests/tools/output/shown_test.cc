// Texts of others on their way to a terminal: no control character gets there.
#include "tools/output/shown.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/tools/health_fixture.h"
#include "tests/support/tools/plan_fixture.h"

using namespace psltool;

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

TEST(ShownText, WhatCanBeReadStays) {
  const std::string text = "20240304array01.psl \xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80 ~\\";
  EXPECT_EQ(ShownText(text), text);
}

TEST(ShownText, ControlsAndBrokenBytesAreTold) {
  EXPECT_EQ(ShownText("a\x1b[2Jb\n\x7f"), "a\\x1B[2Jb\\x0A\\x7F");
  EXPECT_EQ(ShownText(std::string("a\0b", 3)), "a\\x00b");
  EXPECT_EQ(ShownText("\xC2\x9B"
                      "31m"),
            "\\xC2\\x9B31m")
      << "a control of eight bits";
  EXPECT_EQ(ShownText("\x9B\xFF\xC3"), "\\x9B\\xFF\\xC3");
  EXPECT_EQ(ShownText("\xC0\x9B\xE0\x82\x9B\xED\xA0\x80\xF4\x90\x80\x80"),
            "\\xC0\\x9B\\xE0\\x82\\x9B\\xED\\xA0\\x80\\xF4\\x90\\x80\\x80");
}

class ShownHealth : public PsltoolHealth {};

TEST_F(ShownHealth, LinesOfTheLogAndNames) {
  OperationLog("2024-03-05T00:30:00+00:00 08320 Qelprfarc 4 1 Failed \x1b]0;x\x07\n");
  AddLog("20240302a\x1b[1m");
  const ProgramResult result = Health();
  EXPECT_THAT(result.out, HasSubstr("08320 Failed \\x1B]0;x\\x07\n"));
  EXPECT_THAT(result.out, HasSubstr("20240302a\\x1B[1m.psl is not archived\n"));
  EXPECT_THAT(result.out, Not(HasSubstr("\x1b")));
}

class ShownPlan : public PsltoolPlan {};

TEST_F(ShownPlan, NamesOfFiles) {
  directory.Write("arc/a\x1b[1m\n.txt");
  std::filesystem::create_directories(directory.Path("pml/00"));
  directory.Write("pml/00/a\x1b[1m.pml");
  EXPECT_THAT(Plan({}).out, HasSubstr("  skip     a\\x1B[1m\\x0A.txt"));
  const std::string pruning = Plan({"--auto2", "0", "7", "0"}).out;
  EXPECT_THAT(pruning, HasSubstr("pml/00/a\\x1B[1m.pml"));
  EXPECT_THAT(pruning, Not(HasSubstr("\x1b")));
}

}  // namespace
