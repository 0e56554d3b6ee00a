// Frames: pieces of a file that tell whether they are as they were written.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "zqm/base/Export.h"

namespace zqm {

// A head of 24 bytes before the payload, numbers little-endian: magic (4), length of the payload
// (4), id of the file (8), CRC-32 of these 16 bytes (4), CRC-32 of the payload (4). The id, fresh
// for each file, keeps what an earlier file left on the disk from being taken for a frame of this.
inline constexpr std::size_t kFrameHead = 24;

struct Frame {
  std::uint64_t id = 0;
  std::string_view payload;

  std::size_t size() const { return kFrameHead + payload.size(); }
};

// A number that no other file has, of 63 bits.
std::uint64_t makeFileId();

// Makes a frame in place: puts room for a head, to which the payload is then appended.
class FrameWriter {
 public:
  explicit FrameWriter(std::string& out);
  // Writes the head of what was appended since. False, and `out` is as it was, where that is more
  // than a frame can hold (4 GiB).
  bool finish(std::uint64_t id);

 private:
  std::string& out_;
  const std::size_t begin_;
};

// The frame that begins there, if it is sound; of any id for nullopt.
std::optional<Frame> frameAt(std::string_view file, std::size_t at,
                             std::optional<std::uint64_t> id);

// Makes sound frames those of another file.
void setFrameIds(std::string& frames, std::uint64_t id);

// Where no sound frame begins: whether a power cut may have left this. The end of the file is
// missing, or pages of the frame were never written and read as zeros, though later ones were.
// Anything else is damage.
bool isTornAt(std::string_view file, std::size_t at);

}  // namespace zqm
