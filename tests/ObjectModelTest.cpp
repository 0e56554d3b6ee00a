// Records: the four conversions and their JSON.
#include "zqm/model/ZQMObjectModel.h"

#include "tests/support/FakePlatform.h"
#include "zqm/base/Exception.h"
#include "zqm/model/Record.h"

namespace zqm {
namespace {

struct Inner : Record<Inner> {
  Text address;

  template <class Self, class Visit>
  static void fields(Self& self, Visit visit) {
    visit("address", self.address);
  }
};

struct Sample : Record<Sample> {
  Text text = "default";
  std::int32_t number = 60;
  bool flag = true;
  std::optional<Date> date;
  Inner inner;

  template <class Self, class Visit>
  static void fields(Self& self, Visit visit) {
    visit("text", self.text);
    visit("number", self.number);
    visit("flag", self.flag);
    visit("date", self.date);
    visit("inner", self.inner);
  }
};

class ObjectModelTest : public zqm::testing::Fixture {};

TEST_F(ObjectModelTest, FieldsSurviveTheDictionaryAndTheCoder) {
  Sample sample;
  sample.text = "Permissão";
  sample.number = -7;
  sample.date = zqm::testing::kNow;
  sample.inner.address = "inside";
  const Dictionary dictionary = sample.toDictionary();
  EXPECT_EQ(dictionary["flag"], Value("true"));
  EXPECT_EQ(dictionary["date"], Value("2024-03-05T15:10:00-03:00"));
  EXPECT_EQ(dictionary["inner"], Value(Dictionary{{"address", "inside"}}));
  EXPECT_EQ(dictionary.begin()->key, "text");
  const Sample read = Sample::initWithDictionary(dictionary).value();
  EXPECT_EQ(read.toDictionary(), dictionary);
  EXPECT_EQ(read.date, sample.date);

  Coder coder;
  sample.encodeWithCoder(coder);
  EXPECT_EQ(coder.entries()["flag"], Value(true));
  EXPECT_EQ(coder.entries()["date"], Value(zqm::testing::kNow));
  EXPECT_EQ(Sample::initWithCoder(Coder(coder.entries())).toDictionary(), dictionary);
}

TEST_F(ObjectModelTest, ReadingNeverAppliesADefault) {
  const Sample read = Sample::initWithDictionary(Dictionary()).value();
  EXPECT_TRUE(read.text.isAbsent());
  EXPECT_EQ(read.number, 0);
  EXPECT_FALSE(read.flag);
  const Sample decoded = Sample::initWithCoder(Coder());
  EXPECT_EQ(decoded.number, 0);
  EXPECT_FALSE(decoded.flag);
  EXPECT_FALSE(Sample::initWithDictionary(Value()).has_value());
}

TEST_F(ObjectModelTest, ForeignKindsAreTakenAsTheConventionSays) {
  const Sample read = Sample::initWithDictionary(Dictionary{{"text", 5},
                                                            {"number", "12 items"},
                                                            {"flag", "TRUE"},
                                                            {"date", 1709662200},
                                                            {"inner", "no dictionary"}})
                          .value();
  EXPECT_EQ(read.text, Text(5));
  EXPECT_EQ(read.number, 12);
  EXPECT_FALSE(read.flag);
  EXPECT_FALSE(read.date.has_value());
  EXPECT_TRUE(read.inner.address.isAbsent());
}

TEST_F(ObjectModelTest, EmptyAndUnwritableRecordsAreToldApart) {
  Inner inner;
  EXPECT_EQ(inner.toStringJson(), "ERROR");
  inner.address = Value(zqm::testing::kNow);
  EXPECT_EQ(inner.toStringJson(), "");
  inner.address = "x";
  EXPECT_EQ(inner.toStringJson(), R"({"address":"x"})");
}

TEST_F(ObjectModelTest, DataThatJsonCannotHoldIsReportedOnce) {
  EXPECT_EQ(toData(List{1, "a"}), toBytes(R"([1,"a"])"));
  EXPECT_EQ(toData(Dictionary{{"raw", zqm::testing::kNow}}), std::nullopt);
  process->drain();
  EXPECT_EQ(fakes.http->requestsTo("graylog").size(), 1U);
}

TEST_F(ObjectModelTest, AbstractOperationsOfTheBaseThrow) {
  struct Bare : ZQMObjectModel {};
  try {
    Bare().toDictionary();
    FAIL();
  } catch (const Exception& exception) {
    EXPECT_EQ(exception.reason(), "You must override toDictionary in a subclass");
    EXPECT_FALSE(exception.callStackSymbols().empty());
  }
  EXPECT_THROW(Bare::initWithDictionary(Dictionary()), Exception);
}

}  // namespace
}  // namespace zqm
