// Frames: which changes of a file the reader detects, and which it attributes to a power loss.
#include "zqm/model/Frame.h"

#include <gtest/gtest.h>

namespace zqm {
namespace {

std::string framed(const std::string& payload, std::uint64_t id) {
  std::string file;
  FrameWriter writer(file);
  file += payload;
  EXPECT_TRUE(writer.finish(id));
  return file;
}

TEST(FrameTest, FlippedBitAndMissingEndAreFoundAndAnotherFilesFrameIsNone) {
  const std::string first = framed("payload", 7);
  const std::string file = first + framed("", 7);
  ASSERT_EQ(frameAt(file, 0, 7).value().payload, "payload");
  EXPECT_EQ(frameAt(file, first.size(), std::nullopt).value().payload, "");
  EXPECT_EQ(frameAt(file, 0, std::nullopt).value().size(), first.size());
  EXPECT_FALSE(frameAt(file, 0, 8) || frameAt(file, 1, 7) || frameAt(file, file.size(), 7));
  for (std::size_t bit = 0; bit < first.size() * 8; ++bit) {
    std::string flipped = first;
    flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
    EXPECT_FALSE(frameAt(flipped, 0, std::nullopt)) << bit;
  }
  for (std::size_t size = 0; size < first.size(); ++size) {
    EXPECT_FALSE(frameAt(first.substr(0, size), 0, 7)) << size;
  }
  EXPECT_NE(makeFileId(), makeFileId());
}

TEST(FrameTest, MissingEndOrPageIsTornAndAllElseIsDamage) {
  // The second frame spans pages: it begins in the first and ends in the third.
  const std::string before(4000, '.');
  const std::string file = before + framed(std::string(6000, 'x'), 7);
  for (std::size_t size = before.size(); size < file.size(); ++size) {
    ASSERT_TRUE(isTornAt(file.substr(0, size), before.size())) << size;
  }
  const std::size_t pages[] = {before.size(), 4096, 8192, file.size()};
  for (std::size_t page = 0; page < 3; ++page) {
    std::string holed = file;
    std::fill(holed.begin() + static_cast<std::ptrdiff_t>(pages[page]),
              holed.begin() + static_cast<std::ptrdiff_t>(pages[page + 1]), '\0');
    EXPECT_TRUE(isTornAt(holed, before.size())) << page;
    holed[pages[page]] = 'y';
    EXPECT_FALSE(isTornAt(holed, before.size())) << page;
  }
  for (std::size_t at = before.size(); at < file.size(); at += at < 4100 ? 1 : 97) {
    std::string flipped = file;
    flipped[at] = static_cast<char>(flipped[at] ^ 8);
    ASSERT_FALSE(isTornAt(flipped, before.size())) << at;
  }
  EXPECT_TRUE(isTornAt(std::string(100, '\0'), 0));
  EXPECT_FALSE(isTornAt("other", 0));
}

}  // namespace
}  // namespace zqm
