// Consent records.
#include "zqm/model/ZQMOptInModel.h"

#include "tests/support/FakePlatform.h"

namespace zqm {
namespace {

using OptInModelTest = zqm::testing::Fixture;

TEST_F(OptInModelTest, DeniedConsentIsWrittenAndACopyLeavesItAlone) {
  const auto model = ZQMOptInModel::initWitType("geo", false, "2", zqm::testing::kNow);
  ZQMOptInModel copy = model;
  copy.permission = true;
  copy.sdkVersion = "1.2.3";
  EXPECT_EQ(
      model.toStringJson(),
      R"({"type":"geo","permission":"false","level":"2","date":"2024-03-05T15:10:00-03:00"})");
}

}  // namespace
}  // namespace zqm
