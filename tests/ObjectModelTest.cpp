// Records: the four conversions and their JSON.
#include "zqm/model/ZQMObjectModel.h"

#include "tests/support/FakePlatform.h"
#include "zqm/model/Record.h"

namespace zqm::testing {
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
  std::optional<Date> date = kNow;
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

class ObjectModelTest : public Fixture {};

TEST_F(ObjectModelTest, FieldsSurviveTheDictionaryAndTheCoder) {
  Sample sample;
  sample.inner.address = "inside";
  const Dictionary dictionary = sample.toDictionary();
  EXPECT_EQ(dictionary["flag"], Value("true"));
  EXPECT_EQ(dictionary["date"], Value("2024-03-05T15:10:00-03:00"));
  EXPECT_EQ(dictionary["inner"], Value(Dictionary{{"address", "inside"}}));
  EXPECT_EQ(Sample::initWithDictionary(dictionary).value().toDictionary(), dictionary);
  Coder coder;
  sample.encodeWithCoder(coder);
  EXPECT_EQ(coder.entries()["date"], Value(kNow));
  EXPECT_EQ(Sample::initWithCoder(Coder(coder.entries())).toDictionary(), dictionary);
}

TEST_F(ObjectModelTest, ReadingNeverAppliesADefault) {
  for (const Sample& read :
       {Sample::initWithDictionary(Dictionary()).value(), Sample::initWithCoder(Coder())}) {
    EXPECT_TRUE(read.text.isAbsent());
    EXPECT_EQ(read.number, 0);
    EXPECT_FALSE(read.flag || read.date);
  }
  EXPECT_FALSE(Sample::initWithDictionary(Value()).has_value());
}

TEST_F(ObjectModelTest, ForeignKindsAreTakenAsTheConventionSays) {
  const Dictionary foreign = {
      {"text", 5}, {"number", "12 items"}, {"flag", "TRUE"}, {"date", 1709662200}, {"inner", "x"}};
  const Sample read = Sample::initWithDictionary(foreign).value();
  EXPECT_EQ(read.text, Text(5));
  EXPECT_EQ(read.number, 12);
  EXPECT_FALSE(read.flag || read.date);
  EXPECT_TRUE(read.inner.address.isAbsent());
}

TEST_F(ObjectModelTest, EmptyAndUnwritableRecordsAreToldApartAndOnlyDataIsReported) {
  Inner inner;
  EXPECT_EQ(inner.toStringJson(), "ERROR");
  inner.address = Value(kNow);
  EXPECT_EQ(inner.toStringJson(), "");
  EXPECT_TRUE(reports().empty());
  EXPECT_EQ(toData(inner.toDictionary()), std::nullopt);
  EXPECT_EQ(reports().size(), 1U);
}

}  // namespace
}  // namespace zqm::testing
