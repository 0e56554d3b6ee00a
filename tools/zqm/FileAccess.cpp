// Reads and writes the tool's files.
#include "tools/zqm/FileAccess.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include "tools/zqm/PropertyListWriter.h"
#include "zqm/util/PropertyList.h"
#include "zqm/util/PropertyListFault.h"

namespace zqm::tools {
namespace {

[[noreturn]] void fail(const std::filesystem::path& path, int error) {
  throw std::runtime_error(path.string() + ": " + std::generic_category().message(error));
}

}  // namespace

Bytes readFile(const std::filesystem::path& file) {
  if (std::filesystem::is_directory(file)) fail(file, EISDIR);
  std::ifstream stream(file, std::ios::binary);
  if (!stream) fail(file, errno);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void writeNewFile(const std::filesystem::path& file, const Bytes& content) {
  const int descriptor = ::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (descriptor < 0) fail(file, errno);
  std::size_t done = 0;
  while (done < content.size()) {
    const ssize_t written = ::write(descriptor, content.data() + done, content.size() - done);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) {
      const int error = errno;
      ::close(descriptor);
      fail(file, error);
    }
    done += static_cast<std::size_t>(written);
  }
  if (::close(descriptor) != 0) fail(file, errno);
}

void makeEmptyDirectory(const std::filesystem::path& directory) {
  if (::mkdir(directory.c_str(), 0700) == 0) return;
  if (errno != EEXIST) fail(directory, errno);
  std::error_code error;
  const bool empty = std::filesystem::is_empty(directory, error);
  if (error || !std::filesystem::is_directory(directory)) fail(directory, ENOTDIR);
  if (!empty) fail(directory, ENOTEMPTY);
}

Dictionary readDictionary(const std::filesystem::path& file) {
  const Bytes content = readFile(file);
  const Value value = readPropertyList(content);
  if (value.dictionary() != nullptr) return *value.dictionary();
  throw std::runtime_error(file.string() + ": no property list, " + propertyListFault(content));
}

void writeNewDictionary(const std::filesystem::path& file, const Dictionary& dictionary) {
  const auto content = tools::writePropertyList(dictionary);
  if (!content) throw std::runtime_error(file.string() + ": not a property list");
  writeNewFile(file, *content);
}

}  // namespace zqm::tools
