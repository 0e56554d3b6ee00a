// Frames: checksummed pieces of a file, whose damage is detected when they are read.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "zqm/base/Export.h"

namespace zqm {

// A head of 24 bytes precedes the payload, numbers little-endian: magic (4), length of the payload
// (4), id of the file (8), CRC-32 of these 16 bytes (4), CRC-32 of the payload (4). Each file has a
// new id, so that remains of an earlier file on the disk are not taken for frames of this one.
inline constexpr std::size_t kFrameHead = 24;

struct Frame {
  std::uint64_t id = 0;
  std::string_view payload;

  std::size_t size() const { return kFrameHead + payload.size(); }
};

// Returns whether there are only zeros, as in pages that a power loss left unwritten, or nothing.
bool isZero(std::string_view bytes);

// Returns a random 63-bit id for a new file.
std::uint64_t makeFileId();

// Writes a frame in place: reserves room for the head, after which the payload is appended.
class FrameWriter {
 public:
  explicit FrameWriter(std::string& out);
  // Writes the head for the payload appended since construction. If that exceeds 4 GiB, restores
  // `out` and returns false.
  bool finish(std::uint64_t id);

 private:
  std::string& out_;
  const std::size_t begin_;
};

// Returns the frame that begins at `at`, or std::nullopt if it is not valid or its id is not `id`.
// An `id` of std::nullopt accepts any.
std::optional<Frame> frameAt(std::string_view file, std::size_t at,
                             std::optional<std::uint64_t> id);

// Replaces the id of every frame in a sequence of valid frames.
void setFrameIds(std::string& frames, std::uint64_t id);

// Requires that no valid frame begins at `at`. Returns whether a power loss can explain that: the
// end of the file is missing, or pages of the frame were never written and read as zeros, even if
// later ones were written. Anything else is damage.
bool isTornAt(std::string_view file, std::size_t at);

}  // namespace zqm
