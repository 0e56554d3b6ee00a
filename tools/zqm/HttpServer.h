// HttpServer: a real HTTP/1.1 server on the loopback interface that also misbehaves on demand.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zqm::tools {

using ServerHeaders = std::vector<std::pair<std::string, std::string>>;

struct ServerRequest {
  std::string method;
  std::string target;
  ServerHeaders headers;
  std::string body;
  // Counts the server's connections from 1.
  std::uint64_t connection = 0;

  // The first header of that name, whatever its case.
  std::optional<std::string> header(std::string_view name) const;
};

// What happens to a reply on its way; after any of these the connection is closed.
enum class Misbehaviour {
  none,
  closeBeforeReply,
  resetBeforeReply,
  // After the headers and half of the body.
  resetWithinReply,
  resetAfterReply,
  // Nothing is sent until the client leaves or the server stops.
  stall,
  // The same after the headers and half of the body.
  stallWithinReply,
  // The body byte by byte, each after the reply's delay.
  slowDrip,
  // Bytes that are no HTTP.
  garbage,
  // A content length of one byte more than is sent.
  tooLong,
  // The body in one chunk, then a chunk without a valid size.
  badChunking,
  // A header of one megabyte.
  hugeHeader,
  // The body as a chunk, again and again until the client leaves.
  endless,
};

struct ServerReply {
  int status = 200;
  // A Content-Length is added unless one or a Transfer-Encoding stands here.
  ServerHeaders headers = {};
  std::string body = {};
  Misbehaviour misbehaviour = Misbehaviour::none;
  // Before the reply, or between the bytes of a slow one; a stopping server does not wait for it.
  std::chrono::milliseconds delay{0};
};

// PEM files; the certificate may be followed by its chain.
struct TlsFiles {
  std::string certificatePath;
  std::string privateKeyPath;
};

// Listens on a port of 127.0.0.1 (0: an ephemeral one) from construction to destruction. Each
// connection has a thread of its own, so a handler may block and must be thread-safe; one that
// throws answers 500. The destructor waits for handlers under way. The constructors throw when
// there is no port or a file cannot be used.
class HttpServer {
 public:
  using Handler = std::function<ServerReply(const ServerRequest&)>;

  explicit HttpServer(Handler handler, std::uint16_t port = 0);
  HttpServer(Handler handler, const TlsFiles& files);
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  std::uint16_t port() const;
  // "http://127.0.0.1:PORT/path", or https with TLS; `path` begins with a slash.
  std::string url(std::string_view path) const;

  // Every request so far, in the order in which they were complete.
  std::vector<ServerRequest> requests() const;
  // The same, once there are `count` of them or the time is up.
  std::vector<ServerRequest> waitForRequests(std::size_t count,
                                             std::chrono::milliseconds timeout) const;
  // For a server that lives long.
  void forgetRequests();

 private:
  struct Impl;
  const std::unique_ptr<Impl> impl_;
};

}  // namespace zqm::tools
