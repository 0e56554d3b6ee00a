// Backend: the services that the library talks to, on an ephemeral loopback port or a chosen one,
// for trying the library out and for its tests. It records every request.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zqm/HttpServer.h"
#include "zqm/base/Mutex.h"
#include "zqm/base/Value.h"

namespace zqm::tools {

// What a start request gets.
enum class StartAnswer {
  // An installation identifier and the endpoint table.
  accepted,
  // 401 and 403.
  unauthorized,
  forbidden,
  // 500.
  failed,
  // 200 with a body that is not JSON.
  garbage,
  // 200 with the table, but without the installation identifier.
  withoutEuid,
  // Accepted, but without the table.
  withoutEndpoints,
};

// "accepted", "unauthorized" and so on; none for another text.
std::optional<StartAnswer> startAnswerNamed(std::string_view name);

struct BackendRequest {
  // "start", a group and key of the endpoint table ("device/behavior"), "queue" or "unknown".
  std::string service;
  // The address was one of the endpoint table, not one made from the settings.
  bool fromTable = false;
  ServerRequest request;
  ServerReply reply;
};

// Thread-safe.
class Backend {
 public:
  // `certificate` (DER) holds the key with which the endpoint table is protected; port 0 is an
  // ephemeral one. Throws when the port is taken.
  explicit Backend(Bytes certificate, std::uint16_t port = 0);
  // Over TLS, on an ephemeral port.
  Backend(Bytes certificate, const TlsFiles& tls);

  // "http://127.0.0.1:PORT/", or with https: what the settings' base addresses begin with.
  std::string url() const;
  // The installation identifier of every accepted start.
  const std::string& euid() const { return euid_; }

  void answerStartWith(StartAnswer answer);
  // Answers a service with this, instead of what it would say, until none is set.
  void answerWith(std::string_view service, std::optional<ServerReply> reply);
  // Called after each request is recorded, on the server's thread for that request.
  void onRequest(std::function<void(const BackendRequest&)> observer);

  // In the order of arrival.
  std::vector<BackendRequest> requests() const;
  std::vector<BackendRequest> requests(std::string_view service) const;
  // The same, once there are `count` of that service or the time is up.
  std::vector<BackendRequest> waitForRequests(std::string_view service, std::size_t count,
                                              std::chrono::milliseconds timeout) const;

  // For one that lives long.
  void forgetRequests();

  // The table that an accepted start sends; each value is protected afresh.
  Dictionary endpointTable() const;
  // Where that table says a service is: the plain address of "device/behavior".
  std::string tableAddress(std::string_view service) const;

 private:
  ServerReply handle(const ServerRequest& request);
  ServerReply replyTo(const BackendRequest& request) const;
  ServerReply startReply(const ServerRequest& request) const;
  std::vector<BackendRequest> recorded(std::string_view service) const ZQM_REQUIRES(mutex_);

  const Bytes certificate_;
  const std::string euid_;
  mutable Mutex mutex_;
  mutable Condition changed_;
  StartAnswer startAnswer_ ZQM_GUARDED_BY(mutex_) = StartAnswer::accepted;
  std::vector<std::pair<std::string, ServerReply>> replies_ ZQM_GUARDED_BY(mutex_);
  std::function<void(const BackendRequest&)> observer_ ZQM_GUARDED_BY(mutex_);
  std::vector<BackendRequest> requests_ ZQM_GUARDED_BY(mutex_);
  // Last, so that no request is under way when the rest goes.
  std::unique_ptr<HttpServer> server_;
};

}  // namespace zqm::tools
