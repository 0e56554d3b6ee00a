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

CurlFileReceiver::~CurlFileReceiver() {
  if (!path_.empty()) ::unlink(path_.c_str());
}

std::optional<Error> CurlFileReceiver::begin() {
  if (file_) {
    const bool emptied = ::ftruncate(file_.get(), 0) == 0 && ::lseek(file_.get(), 0, SEEK_SET) == 0;
    return emptied ? std::nullopt : std::optional(unwritable());
  }
  std::string path = directory_ + "/zqm-download-XXXXXX";
  file_ = Descriptor(::mkostemp(path.data(), O_CLOEXEC));
  if (!file_) return unwritable();
  path_ = std::move(path);
  return std::nullopt;
}

std::optional<Error> CurlFileReceiver::append(std::string_view data) {
  return writeAll(file_.get(), data) ? std::nullopt : std::optional(unwritable());
}

void CurlFileReceiver::complete(std::optional<HttpResponse> response, std::optional<Error> error) {
  const bool isClosed = !file_ || ::close(file_.release()) == 0;
  if (!isClosed && !error) error = unwritable();
  if (error) response.reset();
  if (!completion_) return;
  completion_({std::move(response), error ? std::string() : path_, error});
}

}  // namespace zqm
