// The shape of PML file names.
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "pmonb/PMONBcomDeletePml.h"

namespace {

// The same rule, said another way, for names that end in ".pml".
bool ModelAccepts(const std::string& name) {
  static const std::regex shape("[0-9]{8}[^#]+#[0-9]{3}_[0-9]{3}\\.pml");
  return name.size() >= 21 && name.size() <= 52 && std::regex_match(name, shape);
}

TEST(PmlName, AcceptsTheShape) {
  for (const char* name : {
           "20110101x#001_002.pml",                                 // 21 characters
           "20110101abcdefghijklmnopqrstuvwxyzabcde#001_002.pml",   // 51
           "20110101abcdefghijklmnopqrstuvwxyzabcdef#001_002.pml",  // 52
           "99999999x#999_999.pml", "00000000x#000_000.pml",
           "20110101a_b.c d#001_002.pml",  // marks before "#" do not matter
           "20110101x#001_002.xyz",        // the suffix does not matter
           "20110101array#001_002",        // nor its absence, when long enough
       }) {
    EXPECT_EQ(check_pml_filename(name), 0) << name;
  }
}

TEST(PmlName, RefusesEverythingElse) {
  for (const char* name : {
           "",
           "abc.pml",
           "20110101x#01_002.pml",                                   // 20 characters
           "20110101abcdefghijklmnopqrstuvwxyzabcdefg#001_002.pml",  // 53 characters
           "2011010ax#001_002.pml",                                  // seven digits
           "20110101x#001_002.pm",                                   // 20, else right
           "20110101#001_002.suffix",                                // nothing before "#"
           "20110101#001_002x.pml",                                  // nothing before "#"
           "20110101#x#001_002.pml",
           "20110101xyz001_002.pml",   // no "#"
           "20110101x#0011_002.pml",   // "_" too far right
           "20110101xx#01_002.pml",    // "_" too far left
           "20110101x#0a1_002.pml",    // no digit
           "20110101xyz#001002.pml",   // no "_" behind "#"
           "20110101a_b#001002.pml",   // "_" before "#" only
           "20110101x#001_0021.pml",   // "." too far right
           "20110101xx#001_02.pml",    // too far left
           "20110101x#001_002.x.pml",  // the last "." counts
           "20110101x#001_0b2.pml",
           "20110101x#001_002_003.pml",
           "20110101xyzxyzxyzxyz#",  // the text ends behind the mark
           "20110101xyzxyzxyz#001_",
           "20110101xyzxyzxyz#001_02",
       }) {
    EXPECT_EQ(check_pml_filename(name), -1) << name;
  }
}

TEST(PmlName, NullNameHasItsOwnResult) { EXPECT_EQ(check_pml_filename(nullptr), -2); }

// Every single-byte change, removal and insertion of good names.
TEST(PmlName, AgreesWithTheModelOnAllNeighboursOfGoodNames) {
  int accepted = 0;
  for (const std::string good : {"20110101x#001_002.pml", "20110101a_b#17.#001_002.pml",
                                 "20110101abcdefghijklmnopqrstuvwxyzabcdef#001_002.pml"}) {
    const size_t body = good.size() - 4;
    for (size_t i = 0; i <= body; ++i) {
      std::vector<std::string> neighbours;
      if (i < body) neighbours.push_back(std::string(good).erase(i, 1));
      for (int c = 1; c < 256; ++c) {
        neighbours.push_back(std::string(good).insert(i, 1, static_cast<char>(c)));
        if (i < body)
          neighbours.push_back(std::string(good).replace(i, 1, 1, static_cast<char>(c)));
      }
      for (const std::string& name : neighbours) {
        const bool expected = ModelAccepts(name);
        ASSERT_EQ(check_pml_filename(name.c_str()), expected ? 0 : -1) << name;
        accepted += expected ? 1 : 0;
      }
    }
  }
  EXPECT_GT(accepted, 1000);
}

}  // namespace
