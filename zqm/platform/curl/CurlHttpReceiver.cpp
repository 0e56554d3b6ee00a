// Receives bodies in memory and in files.
#include "zqm/platform/curl/CurlHttpReceiver.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "zqm/platform/curl/CurlHttpError.h"

namespace zqm {
namespace {

Error unwritable() {
  std::string text = "The download could not be written: ";
  return transportError(httpError::kUnwritable, text + std::generic_category().message(errno));
}

}  // namespace

CurlBodyReceiver::CurlBodyReceiver(std::uint64_t limit,
                                   std::function<void(HttpExchange)> completion)
    : limit_(limit), completion_(std::move(completion)) {}

std::optional<Error> CurlBodyReceiver::begin() {
  body_.clear();
  return std::nullopt;
}

std::optional<Error> CurlBodyReceiver::append(std::string_view data) {
  if (data.size() > limit_ - body_.size()) {
    return transportError(httpError::kTooLarge, "The body of the answer is too large.");
  }
  body_.insert(body_.end(), data.begin(), data.end());
  return std::nullopt;
}

void CurlBodyReceiver::complete(std::optional<HttpResponse> response, std::optional<Error> error) {
  if (!completion_) return;
  std::optional<Bytes> body;
  if (response) body = std::move(body_);
  completion_({std::move(response), std::move(body), std::move(error)});
}

CurlFileReceiver::CurlFileReceiver(std::string directory,
                                   std::function<void(HttpDownload)> completion)
    : directory_(std::move(directory)), completion_(std::move(completion)) {}

CurlFileReceiver::~CurlFileReceiver() {
  closeFile();
  if (!path_.empty()) ::unlink(path_.c_str());
}

std::optional<Error> CurlFileReceiver::begin() {
  if (descriptor_ >= 0) {
    const bool emptied = ::ftruncate(descriptor_, 0) == 0 && ::lseek(descriptor_, 0, SEEK_SET) == 0;
    return emptied ? std::nullopt : std::optional(unwritable());
  }
  std::string path = directory_ + "/zqm-download-XXXXXX";
  descriptor_ = ::mkostemp(path.data(), O_CLOEXEC);
  if (descriptor_ < 0) return unwritable();
  path_ = std::move(path);
  return std::nullopt;
}

std::optional<Error> CurlFileReceiver::append(std::string_view data) {
  while (!data.empty()) {
    const ssize_t written = ::write(descriptor_, data.data(), data.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return unwritable();
    data.remove_prefix(static_cast<std::size_t>(written));
  }
  return std::nullopt;
}

bool CurlFileReceiver::closeFile() {
  const int descriptor = std::exchange(descriptor_, -1);
  return descriptor < 0 || ::close(descriptor) == 0;
}

void CurlFileReceiver::complete(std::optional<HttpResponse> response, std::optional<Error> error) {
  if (!closeFile() && !error) error = unwritable();
  if (error) response.reset();
  if (!completion_) return;
  completion_({std::move(response), error ? std::string() : path_, error});
}

}  // namespace zqm
