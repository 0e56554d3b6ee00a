// A random identifier that is kept, and one derived from the machine's.
#include "zqm/platform/linux/device/LinuxIdentity.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <thread>

#include "zqm/base/Exception.h"
#include "zqm/crypto/openssl/OpenSsl.h"
#include "zqm/platform/posix/Descriptor.h"
#include "zqm/platform/posix/Paths.h"
#include "zqm/util/Encoding.h"
#include "zqm/util/Strings.h"

namespace zqm {
namespace {

constexpr const char* kFileName = "advertising-identifier";

// Where the dashes of a UUID stand.
constexpr std::array<std::size_t, 4> kDashes{8, 13, 18, 23};

bool isHexadecimal(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

std::string upperCase(std::string text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return text;
}

bool isUuid(std::string_view text) {
  if (text.size() != 36) return false;
  for (std::size_t place = 0; place < text.size(); ++place) {
    const bool isDash = std::ranges::find(kDashes, place) != kDashes.end();
    if (isDash ? text[place] != '-' : !isHexadecimal(text[place])) return false;
  }
  return true;
}

std::optional<std::string> readUuid(const std::string& path) {
  auto text = readLine(path);
  return text && isUuid(*text) ? std::optional(upperCase(std::move(*text))) : std::nullopt;
}

// Held while the identifier is created, so that two processes agree on one. Gives up after a
// second, so that a process stopped while holding it does not block the others.
Descriptor lockDirectory(const std::string& directory) {
  Descriptor lock = openFile(directory, O_RDONLY | O_DIRECTORY);
  for (int attempt = 0; lock && attempt < 200; ++attempt) {
    if (tryLock(lock.get()) || errno != EWOULDBLOCK) return lock;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return Descriptor();
}

std::optional<std::string> machineIdentifier(const std::string& root) {
  for (const char* path : {"/etc/machine-id", "/var/lib/dbus/machine-id"}) {
    auto text = readLine(root + path);
    // On a machine's first start the file contains "uninitialized".
    if (text && text->size() == 32 && std::ranges::all_of(*text, isHexadecimal)) return text;
  }
  return std::nullopt;
}

// Makes a UUID of version 8 (RFC 9562: custom contents) from the first 16 bytes.
std::string uuidOf(Bytes digest) {
  digest.resize(16);
  digest[6] = static_cast<std::uint8_t>((digest[6] & 0x0F) | 0x80);
  digest[8] = static_cast<std::uint8_t>((digest[8] & 0x3F) | 0x80);
  std::string text = toHexUpper(digest);
  for (const std::size_t place : kDashes) text.insert(place, 1, '-');
  return text;
}

}  // namespace

std::string LinuxIdentity::keptIdentifier() {
  const auto directory = sources_.directory();
  if (!directory) return {};
  const std::string path = joinPath(*directory, kFileName);
  if (auto kept = readUuid(path)) return *kept;
  const Descriptor lock = lockDirectory(*directory);
  if (!lock) return {};
  if (auto meanwhile = readUuid(path)) return *meanwhile;
  const std::string made = makeUuid();
  return files_->writeAtomically(path, toBytes(made + "\n")) ? made : std::string();
}

std::string LinuxIdentity::advertisingIdentifier() {
  std::string identifier;
  guarded([&] {
    identifier =
        sources_.advertisingIdentifier ? sources_.advertisingIdentifier() : keptIdentifier();
  });
  return isValidUtf8(identifier) ? identifier : std::string();
}

std::optional<std::string> LinuxIdentity::vendorIdentifier() {
  const auto machine = machineIdentifier(sources_.root);
  const auto bundle = sources_.bundleIdentifier();
  if (!machine || !bundle || bundle->empty()) return std::nullopt;
  // The first two parts have fixed lengths, so different pairs give different strings.
  Bytes digested = digest("SHA256", std::string("zqm vendor identifier ") + *machine + *bundle);
  return digested.size() >= 16 ? std::optional(uuidOf(std::move(digested))) : std::nullopt;
}

}  // namespace zqm
