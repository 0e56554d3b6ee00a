// Records: the four conversions and their JSON.
#include "zqm/model/ZQMObjectModel.h"

#include "tests/support/FakePlatform.h"
#include "zqm/config/ZQMConfigModel.h"
#include "zqm/endpoints/ZQMEndpointModels.h"
#include "zqm/model/ZQMOptInModel.h"

namespace zqm::testing {
namespace {

// As a kit module may have one.
struct Answer : Record<Answer> {
  std::optional<ZQMOptInModel> consent;
  ZQMConfigModel limits;

  static constexpr auto kFields = std::tuple{
      member("consent", &Self::consent),
      member("limits", &Self::limits),
  };
};

class ObjectModelTest : public Fixture {};

TEST_F(ObjectModelTest, FieldsSurviveTheDictionaryTheCoderAndJson) {
  const auto consent = ZQMOptInModel::initWitType("geo", false, "2", kNow);
  const Dictionary dictionary = consent.toDictionary();
  EXPECT_EQ(ZQMOptInModel::initWithDictionary(dictionary).value().toDictionary(), dictionary);
  Coder coder;
  consent.encodeWithCoder(coder);
  EXPECT_EQ(coder.entries()["date"], Value(kNow));
  EXPECT_EQ(ZQMOptInModel::initWithCoder(Coder(coder.entries())).toDictionary(), dictionary);
  EXPECT_EQ(
      consent.toStringJson(),
      R"({"type":"geo","permission":"false","level":"2","date":"2024-03-05T15:10:00-03:00"})");
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

TEST_F(ObjectModelTest, NestedRecordThatWasNotGivenStaysAbsentAndHasNoDefaults) {
  for (const Value& given : {Value(), Value(Value::Null()), Value("x"), Value(List{})}) {
    auto answer = Answer::initWithDictionary(Dictionary{{"consent", given}, {"limits", given}});
    EXPECT_FALSE(answer->toDictionary().contains("consent"));
    EXPECT_EQ(answer->limits.daysToUpdateConfig, 0);
    Coder coder;
    answer->encodeWithCoder(coder);
    EXPECT_FALSE(coder.entries().contains("consent"));
    EXPECT_EQ(Answer::initWithCoder(coder).consent, std::nullopt);
  }
  const Dictionary given = {{"consent", Dictionary{{"permission", "true"}, {"level", "2"}}}};
  const auto answer = Answer::initWithDictionary(given);
  EXPECT_EQ(answer->toDictionary()["consent"], given["consent"]);
  Coder coder;
  answer->encodeWithCoder(coder);
  EXPECT_TRUE(Answer::initWithCoder(coder).consent.value().permission);
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
