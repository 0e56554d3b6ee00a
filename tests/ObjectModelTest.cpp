// Records: the four conversions and their JSON.
#include "zqm/model/ZQMObjectModel.h"

#include "tests/support/FakePlatform.h"
#include "zqm/config/ZQMConfigModel.h"
#include "zqm/endpoints/ZQMEndpointModels.h"
#include "zqm/model/ZQMOptInModel.h"

namespace zqm::testing {
namespace {

class ObjectModelTest : public Fixture {
 protected:
  // What a coder then holds.
  template <class R>
  static Dictionary expectToReadBack(const R& record) {
    const Dictionary dictionary = record.toDictionary();
    EXPECT_EQ(R::initWithDictionary(dictionary).value().toDictionary(), dictionary);
    Coder coder;
    record.encodeWithCoder(coder);
    EXPECT_EQ(R::initWithCoder(Coder(coder.entries())).toDictionary(), dictionary);
    return coder.entries();
  }
};

TEST_F(ObjectModelTest, FieldsSurviveTheDictionaryAndTheCoder) {
  expectToReadBack(ZQMConfigModel());
  const auto consent = ZQMOptInModel::initWitType("geo", false, "2", kNow);
  EXPECT_EQ(expectToReadBack(consent)["date"], Value(kNow));
  EXPECT_EQ(
      consent.toStringJson(),
      R"({"type":"geo","permission":"false","level":"2","date":"2024-03-05T15:10:00-03:00"})");
  ZQMEndpointsModel table;
  table.config.config = "inside";
  EXPECT_EQ(expectToReadBack(table)["config"], Value(Dictionary{{"config", "inside"}}));
}

TEST_F(ObjectModelTest, ForeignKindsAreTakenAsTheConventionSays) {
  const auto consent = ZQMOptInModel::initWithDictionary(
      Dictionary{{"type", 5}, {"permission", "TRUE"}, {"date", 1709662200}});
  EXPECT_EQ(consent->type, Text(5));
  EXPECT_FALSE(consent->permission || consent->date);
  const Dictionary number = {{"daysToUpdateConfig", "12 items"}};
  EXPECT_EQ(ZQMConfigModel::initWithDictionary(number)->daysToUpdateConfig, 12);
  const auto table = ZQMEndpointsModel::initWithDictionary(Dictionary{{"config", "x"}});
  EXPECT_TRUE(table->config.config.isAbsent());
  EXPECT_FALSE(ZQMConfigModel::initWithDictionary(Value()).has_value());
}

TEST_F(ObjectModelTest, EmptyAndUnwritableRecordsAreToldApartAndOnlyDataIsReported) {
  ZQMConfigEndpointModel inner;
  EXPECT_EQ(inner.toStringJson(), "ERROR");
  inner.config = Value(kNow);
  EXPECT_EQ(inner.toStringJson(), "");
  EXPECT_TRUE(reports().empty());
  EXPECT_EQ(toData(inner.toDictionary()), std::nullopt);
  EXPECT_EQ(reports().size(), 1U);
}

}  // namespace
}  // namespace zqm::testing
