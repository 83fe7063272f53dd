// Outputs that a plan foretells: which inputs go together, and which archives get their names.
#include "tools/running/plan_outputs.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "tests/support/run_state.h"

namespace {

using psltool::InputFate;
using psltool::OutputPlan;
using psltool::PlannedInput;
using psltool::PlannedOutput;
using psltool::PlanOutputs;

constexpr int64_t kFirstOfMarch = 1709251200;  // 2024-03-01 00:00:00 UTC
constexpr int64_t kDay = 86400;

PlannedInput Input(const char* name, int day, uint8_t revision, bool broken = false) {
  const int64_t header = kFirstOfMarch + (day - 1) * kDay;
  return {name, revision, 'H', header, header + kDay - 1, broken};
}

class PlannedOutputs : public ::testing::Test {
 protected:
  OutputPlan Plan(char level, const std::vector<PlannedInput>& inputs) {
    const TimeZone zone("UTC");
    return PlanOutputs(
        level, inputs,
        {[this](const std::string& name) { return standing_.contains(name); },
         [](const std::string&) { return false; }, [](const std::string&) { return false; }});
  }

  // Names, those that stay temporary with "_tmp".
  static std::vector<std::string> Names(const OutputPlan& plan) {
    std::vector<std::string> names;
    for (const PlannedOutput& output : plan.outputs) {
      names.push_back(output.name + (output.temporary ? "_tmp" : ""));
    }
    return names;
  }

  std::set<std::string> standing_;
};

using Texts = std::vector<std::string>;

TEST_F(PlannedOutputs, OneArchiveForEachDayAndMonth) {
  const std::vector<PlannedInput> inputs = {Input("20240301a.psl", 1, 0x1D),
                                            Input("20240301a#002.psl", 1, 0x1D),
                                            Input("20240302a.psl", 2, 0x1D)};
  EXPECT_EQ(Names(Plan('H', inputs)), (Texts{"20240301a.psa", "20240302a.psa"}));
  EXPECT_EQ(Names(Plan('D', inputs)), (Texts{"202403a.psa"}));
}

TEST_F(PlannedOutputs, AnArchiveAndItsSequelsGetTheirNamesTogether) {
  const std::vector<PlannedInput> sound = {Input("20240301a.psl", 1, 0x1C),
                                           Input("20240302a.psl", 2, 0x1D)};
  EXPECT_EQ(Names(Plan('D', sound)), (Texts{"202403a.psa", "202403a#002.psa"}));
  const std::vector<PlannedInput> broken = {Input("20240301a.psl", 1, 0x1C),
                                            Input("20240302a.psl", 2, 0x1D, true)};
  const OutputPlan plan = Plan('D', broken);
  // Only the sequel's input is broken; but its base alone would stand for the whole month.
  EXPECT_EQ(Names(plan), (Texts{"202403a.psa_tmp", "202403a#002.psa_tmp"}));
  EXPECT_EQ(plan.fates, (std::vector<InputFate>{InputFate::kArchived, InputFate::kAbandoned}));
}

TEST_F(PlannedOutputs, ANameThatIsTakenKeepsItsSequelsTemporary) {
  standing_ = {"202403a#002.psa"};
  const OutputPlan plan =
      Plan('D', {Input("20240301a.psl", 1, 0x1C), Input("20240302a.psl", 2, 0x1D),
                 Input("20240301b.psl", 1, 0x1D)});
  EXPECT_EQ(Names(plan), (Texts{"202403a.psa_tmp", "202403a#002.psa_tmp", "202403b.psa"}));
  EXPECT_NE(plan.outputs[1].trouble.find("message 111"), std::string::npos);
  EXPECT_EQ(plan.outputs[0].trouble.find("message 111"), std::string::npos);
}

TEST_F(PlannedOutputs, ABrokenLogEmptiesTheArchiveOfItsDay) {
  const OutputPlan plan =
      Plan('H', {Input("20240301a.psl", 1, 0x1D, true), Input("20240301a#002.psl", 1, 0x1D),
                 Input("20240302a.psl", 2, 0x1D)});
  EXPECT_EQ(Names(plan), (Texts{"20240301a.psa", "20240302a.psa"}));
  EXPECT_EQ(plan.fates, (std::vector<InputFate>{InputFate::kAbandoned, InputFate::kAfterBroken,
                                                InputFate::kArchived}));
}

TEST_F(PlannedOutputs, AnInputOfAnEarlierMonthIsPassedOver) {
  const OutputPlan plan =
      Plan('D', {Input("20240301a.psl", 1, 0x1D), Input("20240302a.psl", -5, 0x1D),
                 Input("20240303a.psl", 3, 0x1D)});
  EXPECT_EQ(plan.fates, (std::vector<InputFate>{InputFate::kArchived, InputFate::kBackward,
                                                InputFate::kArchived}));
  EXPECT_EQ(Names(plan), (Texts{"202403a.psa"}));
}

}  // namespace
