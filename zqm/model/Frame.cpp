// Frame heads, checksums, and the detection of power losses.
#include "zqm/model/Frame.h"

#include <zlib.h>

#include <algorithm>
#include <random>

namespace zqm {
namespace {

// "zqm2"
constexpr std::uint32_t kMagic = 0x326D717A;
constexpr std::size_t kHeadChecked = 16;
constexpr std::size_t kPage = 4096;

template <class Number>
void putNumber(char* out, Number number) {
  for (std::size_t byte = 0; byte < sizeof(number); ++byte, number >>= 8) {
    out[byte] = static_cast<char>(number & 0xFF);
  }
}

template <class Number>
Number numberAt(std::string_view bytes, std::size_t at) {
  Number number = 0;
  for (std::size_t byte = sizeof(Number); byte-- > 0;) {
    number = static_cast<Number>(number << 8) | static_cast<unsigned char>(bytes[at + byte]);
  }
  return number;
}

std::uint32_t checksum(std::string_view bytes) {
  return static_cast<std::uint32_t>(
      crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
}

// Returns the length of the payload, or std::nullopt if the head is not valid.
std::optional<std::size_t> lengthAt(std::string_view file, std::size_t at) {
  if (file.size() - at < kFrameHead) return std::nullopt;
  const bool isSound =
      numberAt<std::uint32_t>(file, at) == kMagic &&
      numberAt<std::uint32_t>(file, at + kHeadChecked) == checksum(file.substr(at, kHeadChecked));
  return isSound ? std::optional<std::size_t>(numberAt<std::uint32_t>(file, at + 4)) : std::nullopt;
}

// Returns whether a page of the frame from `begin` to `end` was never written: all zeros up to the
// end of the page or of the file.
bool hasZeroPage(std::string_view file, std::size_t begin, std::size_t end) {
  for (std::size_t at = begin; at < end; at = (at / kPage + 1) * kPage) {
    if (isZero(file.substr(at, kPage - at % kPage))) return true;
  }
  return false;
}

void putHead(char* head, std::uint32_t length, std::uint64_t id) {
  putNumber(head, kMagic);
  putNumber(head + 4, length);
  putNumber(head + 8, id);
  putNumber(head + kHeadChecked, checksum({head, kHeadChecked}));
}

}  // namespace

bool isZero(std::string_view bytes) {
  return std::ranges::all_of(bytes, [](char byte) { return byte == 0; });
}

std::uint64_t makeFileId() {
  std::random_device random;
  return (std::uint64_t{random()} << 32 | random()) >> 1;
}

FrameWriter::FrameWriter(std::string& out) : out_(out), begin_(out.size()) {
  out_.append(kFrameHead, '\0');
}

bool FrameWriter::finish(std::uint64_t id) {
  const std::string_view payload = std::string_view(out_).substr(begin_ + kFrameHead);
  if (payload.size() > UINT32_MAX) {
    out_.resize(begin_);
    return false;
  }
  char* const head = out_.data() + begin_;
  putHead(head, static_cast<std::uint32_t>(payload.size()), id);
  putNumber(head + kHeadChecked + 4, checksum(payload));
  return true;
}

std::optional<Frame> frameAt(std::string_view file, std::size_t at,
                             std::optional<std::uint64_t> id) {
  const auto length = lengthAt(file, at);
  if (!length || *length > file.size() - at - kFrameHead) return std::nullopt;
  const Frame frame{numberAt<std::uint64_t>(file, at + 8), file.substr(at + kFrameHead, *length)};
  const bool isSound =
      numberAt<std::uint32_t>(file, at + kHeadChecked + 4) == checksum(frame.payload);
  return isSound && frame.id == id.value_or(frame.id) ? std::optional(frame) : std::nullopt;
}

void setFrameIds(std::string& frames, std::uint64_t id) {
  for (std::size_t at = 0; at < frames.size();) {
    const auto length = numberAt<std::uint32_t>(frames, at + 4);
    putHead(frames.data() + at, length, id);
    at += kFrameHead + length;
  }
}

bool isTornAt(std::string_view file, std::size_t at) {
  const std::size_t left = file.size() - at;
  if (const auto length = lengthAt(file, at)) {
    const std::size_t size = kFrameHead + *length;
    return size > left || hasZeroPage(file, at, at + size);
  }
  if (left >= kFrameHead) return hasZeroPage(file, at, at + kFrameHead);
  // Too short for a head: torn if it is the start of the magic number, or all zeros.
  char magic[4];
  putNumber(magic, kMagic);
  const std::string_view begin = file.substr(at, std::min<std::size_t>(left, sizeof(magic)));
  return begin == std::string_view(magic, begin.size()) || isZero(file.substr(at));
}

}  // namespace zqm
