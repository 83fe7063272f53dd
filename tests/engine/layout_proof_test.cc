// The proofs of engine/layout/check.cc: the real compiler takes the layout as it is and refuses
// copies of it in which a mistake has been planted.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/tempdir.h"

namespace {

namespace fs = std::filesystem;

const fs::path kSource = fs::path(TEST_SOURCE_DIR).parent_path();

struct Change {
  const char* file;
  const char* from;  // stands there once
  const char* to;
};

struct Planted {
  const char* name;
  const char* refusal;  // of the compiler; empty: it builds
  std::vector<Change> changes;
};
void PrintTo(const Planted& planted, std::ostream* out) { *out << planted.name; }

const char* const kTwice = "a section stands twice, on another or outside";
const char* const kLost = "a revision lacks what the one before it carries";
const char* const kListTwice = "a list stands twice, on another or outside";
const char* const kBitmapTwice = "a bitmap stands twice, on another or outside";
const char* const kItems = "an item stands twice, or its fields overlap or leave it";
const char* const kFields = "fields of a form overlap, leave it or stand twice";

const Change kRevision0x22 = {"revisions.h", "kLastRevision = 0x21", "kLastRevision = 0x22"};

const std::vector<Planted> kPlanted = {
    {"NothingChanged", "", {}},
    {"RevisionLikeTheOneBefore", "", {kRevision0x22}},
    {"RevisionWithoutARow",
     "a revision has no row or several",
     {kRevision0x22, {"revisions.h", "{{0x1D, kOn}, ", "{{0x1D, 0x21}, "}}},
    {"RevisionWithTwoRows",
     "a revision has no row or several",
     {{"revisions.h", "{{0x1C, 0x1C}, ", "{{0x1C, 0x1D}, "}}},
    {"HalfMadeRevisionWithoutASection",
     kLost,
     {kRevision0x22,
      {"forms.h", "{kCache,   72, kCacheSta_0x21,  {0x21, kOn}}",
       "{kCache,   72, kCacheSta_0x21,  {0x21, 0x21}}"},
      {"lists.h", "{kCache,    72,                  32, {0x19, kOn}}",
       "{kCache,    72,                  32, {0x19, 0x21}}"}}},
    {"HalfMadeRevisionWithoutAList",
     "a section lacks its list or bitmap, or a list its section",
     {kRevision0x22,
      {"lists.h", "{kLd,       88,                  64, {0x19, kOn}",
       "{kLd,       88,                  64, {0x19, 0x21}"}}},
    {"HalfMadeRevisionWithoutABitmap",
     "a section lacks its list or bitmap, or a list its section",
     {kRevision0x22, {"lists.h", "68, 0xFFC00000, {0x19, kOn}", "68, 0xFFC00000, {0x19, 0x21}"}}},
    {"HalfMadeRevisionWithoutAnItem",
     kLost,
     {kRevision0x22, {"items.h", "kBasicCab,    {0x1D, kOn}", "kBasicCab,    {0x1D, 0x21}"}}},
    {"HalfMadeRevisionWithoutOptionalItems",
     kLost,
     {kRevision0x22, {"items.h", "kItemsSpan = {0x14, kOn}", "kItemsSpan = {0x14, 0x21}"}}},
    {"HalfMadeRevisionWithoutTheTrailingSection",
     kLost,
     {kRevision0x22,
      {"revisions.h", "    {{0x1D, kOn},   256,    256, QuadRule::kCurrent,      248, ",
       "    {{0x22, kOn}, 256, 256, QuadRule::kCurrent, 0, true, true, true, true, true, true},\n"
       "    {{0x1D, 0x21}, 256, 256, QuadRule::kCurrent, 248, "}}},
    {"HalfMadeRevisionWithoutAListThatIsCarried",
     kLost,
     {kRevision0x22,
      {"lists.h", "{kNoKind,  128,                   4, {0x1A, kOn}}",
       "{kNoKind,  128,                   4, {0x1A, 0x21}}"}}},
    {"HalfMadeRevisionWithoutTheReservedBitmap",
     kLost,
     {kRevision0x22,
      {"lists.h", "{kReservedItems, 56, 0,          {0x19, kOn}}",
       "{kReservedItems, 56, 0,          {0x19, 0x21}}"}}},
    {"HalfMadeRevisionWithFewerExtremes",
     kLost,
     {kRevision0x22,
      {"lists.h", "{kMp,            84, 0xFFC00000, {0x1D, kOn}}",
       "{kMp, 84, 0xFFC00000, {0x1D, 0x21}}, {kMp, 84, 0xFF800000, {0x22, kOn}}"}}},
    {"HalfMadeRevisionWithoutFieldsOfASection",
     kLost,
     {kRevision0x22,
      {"forms.h", "{kCache,   72, kCacheSta_0x21,  {0x21, kOn}}",
       "{kCache, 72, kCacheSta_0x21, {0x21, 0x21}}, {kCache, 72, kCacheSta_0x1F, {0x22, kOn}}"}}},
    {"RevisionThatGivesUpFieldsAndSaysSo",
     "",
     {kRevision0x22,
      {"forms.h", "{kCache,   72, kCacheSta_0x21,  {0x21, kOn}}",
       "{kCache, 72, kCacheSta_0x21, {0x21, 0x21}}, {kCache, 72, kCacheSta_0x1F, {0x22, kOn}}"},
      {"lists.h", "GoneRow, 0> kGoneRows = {}", "GoneRow, 1> kGoneRows = {{{kCache, 0x22}}}"}}},
    {"RevisionThatGivesUpAnItemAndSaysSo",
     "",
     {kRevision0x22,
      {"items.h", "kBasicCab,    {0x1D, kOn}", "kBasicCab,    {0x1D, 0x21}"},
      {"lists.h", "GoneRow, 0> kGoneRows = {}", "GoneRow, 1> kGoneRows = {{{kCab, 0x22}}}"}}},
    {"RowThatStandsTwice",
     kTwice,
     {{"forms.h", "{kRd,      32, kRdSta_0x1A,     {0x1A, kOn}},",
       "{kRd, 32, kRdSta_0x1A, {0x1A, kOn}}, {kRd, 32, kRdSta_0x1A, {0x1A, 0x1A}},"}}},
    {"SectionInThePlaceOfAnother", kTwice, {{"forms.h", "{kMp,     136,", "{kMp,     128,"}}},
    {"SectionBesideTheHead", kTwice, {{"forms.h", "{kMp,     136,", "{kMp,     250,"}}},
    {"SectionOnTheOptionalItems", kTwice, {{"forms.h", "{kMp,     136,", "{kMp,     16,"}}},
    {"ListInThePlaceOfAnother", kListTwice, {{"lists.h", "{kMp,      136,", "{kMp,      128,"}}},
    {"ListOnTheTrailingSection", kListTwice, {{"lists.h", "{kMp,      136,", "{kMp,      244,"}}},
    {"BitmapBesideTheHeader", kBitmapTwice, {{"lists.h", "84, 0xFFC00000", "254, 0xFFC00000"}}},
    {"BitmapOnTheDate", kBitmapTwice, {{"lists.h", "84, 0xFFC00000", "130, 0xFFC00000"}}},
    {"BitmapOverAnother", kBitmapTwice, {{"lists.h", "84, 0xFFC00000", "82, 0xFFC00000"}}},
    {"BitmapOfWordsThatTheFormLacks",
     "a section lacks its list or bitmap, or a list its section",
     {{"lists.h", "84, 0xFFC00000", "84, 0xFFE00000"}}},
    {"KeyBehindItsListEntry",
     "a section lacks its list or bitmap, or a list its section",
     {{"lists.h", "{kMp,      136,                   8,", "{kMp,      136,                   1,"}}},
    {"FieldOnAnother",
     kFields,
     {{"forms.h", "{12, kCarried}, {32, kGroups, 2}", "{14, kCarried}, {32, kGroups, 2}"}}},
    {"BitThatIsTaken", kFields, {{"forms.h", "{13, kSticky, 0x02}", "{13, kSticky, 0x01}"}}},
    // Nobody would look at where it begins: it would be read in every revision.
    {"FieldOfALaterRevision",
     kFields,
     {{"forms.h", "{12, kCarried}, {32, kGroups, 2}",
       "{12, kCarried, 0, 0x1F}, {32, kGroups, 2}"}}},
    {"FieldBesideItsForm", kFields, {{"forms.h", "{28, kCacheRate2}", "{126, kCacheRate2}"}}},
    {"GroupsBeyondTheEntry", kFields, {{"forms.h", "{16, kGroups, 3}", "{16, kGroups, 4}"}}},
    {"OneOfTwoShapesOf0x10",
     "a period of 0x10 is gathered in a form of another shape",
     {{"forms.h", "{\"PdSta_0x10\",     48, 16, 2,", "{\"PdSta_0x10\",     48, 16, 1,"}}},
    {"FieldBesideItsElement", kItems, {{"items.h", "{8, kValue}", "{14, kValue}"}}},
    {"ItemOfATypeThatIsTaken", kItems, {{"items.h", "{kCab,    64, 16,", "{kCab,    33, 16,"}}},
    {"ItemBeforeThereAreAny",
     kItems,
     {{"items.h", "kBasicConc,   {0x18, kOn}", "kBasicConc,   {0x13, kOn}"}}},
};

ProgramResult Compile(const fs::path& source, std::vector<std::string> options) {
  options.insert(options.end(),
                 {"-std=c++20", "-fsyntax-only", "-I", kSource.string(), source.string()});
  return RunProgram(CXX_COMPILER, options);
}

class LayoutProof : public ::testing::TestWithParam<Planted> {};

TEST_P(LayoutProof, ByTheCompiler) {
  TempDir directory;
  const fs::path copy = fs::path(directory.Path()) / "engine";
  fs::create_directories(copy);
  fs::copy(kSource / "engine/layout", copy / "layout");
  for (const Change& change : GetParam().changes) {
    const std::string file = std::string("engine/layout/") + change.file;
    std::string text = directory.Read(file);
    const size_t at = text.find(change.from);
    ASSERT_NE(at, std::string::npos) << change.from;
    ASSERT_EQ(text.find(change.from, at + 1), std::string::npos) << change.from;
    text.replace(at, std::string(change.from).size(), change.to);
    directory.Write(file, text);
  }
  const ProgramResult result = Compile(copy / "layout/check.cc", {"-I", directory.Path()});
  if (*GetParam().refusal == '\0') {
    EXPECT_EQ(result.status, 0) << result.err;
  } else {
    EXPECT_NE(result.status, 0);
    EXPECT_NE(result.err.find(GetParam().refusal), std::string::npos) << result.err;
  }
}

INSTANTIATE_TEST_SUITE_P(Planted, LayoutProof, ::testing::ValuesIn(kPlanted),
                         [](const auto& test) { return std::string(test.param.name); });

// For a day the sanitize build did not build: with these options g++ takes no comparison of the
// address of a table's row with null for a constant, and the proofs compared such addresses.
TEST(LayoutProofUnderSanitizers, IsAConstant) {
  const ProgramResult result =
      Compile(kSource / "engine/layout/check.cc", {"-fsanitize=address,undefined"});
  EXPECT_EQ(result.status, 0) << result.err;
}

}  // namespace
