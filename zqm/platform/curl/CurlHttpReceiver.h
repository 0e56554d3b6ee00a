// Receivers of a response's body and of the outcome. Private to the transport.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "zqm/platform/Http.h"
#include "zqm/platform/posix/Descriptor.h"

namespace zqm {

class CurlHttpReceiver {
 public:
  virtual ~CurlHttpReceiver() = default;
  // Called before each response: drops the data of an earlier one. On the I/O thread.
  virtual std::optional<Error> begin() = 0;
  virtual std::optional<Error> append(std::string_view data) = 0;
  // Called once, on a completion thread, with a response or an error. Exceptions of the callback
  // are passed on.
  virtual void complete(std::optional<HttpResponse> response, std::optional<Error> error) = 0;
};

// Keeps a body of up to `limit` bytes in memory.
class CurlBodyReceiver : public CurlHttpReceiver {
 public:
  CurlBodyReceiver(std::uint64_t limit, std::function<void(HttpExchange)> completion)
      : limit_(limit), completion_(std::move(completion)) {}

  std::optional<Error> begin() override;
  std::optional<Error> append(std::string_view data) override;
  void complete(std::optional<HttpResponse> response, std::optional<Error> error) override;

 private:
  const std::uint64_t limit_;
  const std::function<void(HttpExchange)> completion_;
  Bytes body_;
};

// Writes the body to a new file of mode 0600, which is deleted with the receiver.
class CurlFileReceiver : public CurlHttpReceiver {
 public:
  CurlFileReceiver(std::string directory, std::function<void(HttpDownload)> completion)
      : directory_(std::move(directory)), completion_(std::move(completion)) {}
  ~CurlFileReceiver() override;
  CurlFileReceiver(const CurlFileReceiver&) = delete;
  CurlFileReceiver& operator=(const CurlFileReceiver&) = delete;

  std::optional<Error> begin() override;
  std::optional<Error> append(std::string_view data) override;
  void complete(std::optional<HttpResponse> response, std::optional<Error> error) override;

 private:
  const std::string directory_;
  const std::function<void(HttpDownload)> completion_;
  // Empty until the file has been created.
  std::string path_;
  Descriptor file_;
};

}  // namespace zqm
