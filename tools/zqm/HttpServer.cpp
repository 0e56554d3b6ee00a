// The local server: blocking sockets, one thread for each connection.
#include "tools/zqm/HttpServer.h"

#include <sys/socket.h>

#include <boost/asio.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <list>
#include <thread>

#include "zqm/base/Mutex.h"

namespace zqm::tools {
namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using asio::ip::tcp;
using Tls = asio::ssl::stream<tcp::socket&>;

constexpr std::uint64_t kBodyLimit = 256u << 20;
constexpr std::uint32_t kHeaderLimit = 1u << 20;
constexpr std::size_t kHugeHeader = 1u << 20;
// After a failed accept, such as one for want of descriptors.
constexpr std::chrono::milliseconds kAcceptPause{20};

tcp::socket& socketOf(tcp::socket& stream) { return stream; }
tcp::socket& socketOf(Tls& stream) { return stream.next_layer(); }

void handshake(tcp::socket&) {}
void handshake(Tls& stream) { stream.handshake(Tls::server); }

void finish(tcp::socket& stream) { stream.shutdown(tcp::socket::shutdown_send); }
void finish(Tls& stream) {
  boost::system::error_code ignored;
  stream.shutdown(ignored);
}

template <class Stream>
void send(Stream& stream, std::string_view text) {
  asio::write(stream, asio::buffer(text.data(), text.size()));
}

// The close that follows sends a reset instead of an orderly end.
template <class Stream>
void reset(Stream& stream) {
  socketOf(stream).set_option(asio::socket_base::linger(true, 0));
}

// Until the client leaves or the server shuts the socket down.
template <class Stream>
void stall(Stream& stream) {
  char dropped[4096];
  boost::system::error_code error;
  while (!error) socketOf(stream).read_some(asio::buffer(dropped), error);
}

ServerRequest fromParsed(http::request<http::string_body> parsed, std::uint64_t connection) {
  ServerRequest request;
  request.method = std::string(parsed.method_string());
  request.target = std::string(parsed.target());
  for (const auto& field : parsed) {
    request.headers.emplace_back(field.name_string(), field.value());
  }
  request.body = std::move(parsed.body());
  request.connection = connection;
  return request;
}

bool equalsIgnoringCase(std::string_view left, std::string_view right) {
  return boost::beast::iequals({left.data(), left.size()}, {right.data(), right.size()});
}

bool hasHeader(const ServerReply& reply, std::string_view name) {
  for (const auto& header : reply.headers) {
    if (equalsIgnoringCase(header.first, name)) return true;
  }
  return false;
}

bool isChunked(Misbehaviour misbehaviour) {
  return misbehaviour == Misbehaviour::badChunking || misbehaviour == Misbehaviour::endless;
}

std::string headOf(const ServerReply& reply) {
  std::string head = "HTTP/1.1 ";
  head += std::to_string(reply.status) + " ";
  head += std::string(http::obsolete_reason(http::int_to_status(reply.status))) + "\r\n";
  for (const auto& [name, value] : reply.headers) head += name + ": " + value + "\r\n";
  const bool hasBody = reply.status >= 200 && reply.status != 204 && reply.status != 304;
  if (isChunked(reply.misbehaviour)) {
    head += "Transfer-Encoding: chunked\r\n";
  } else if (hasBody && !hasHeader(reply, "Content-Length") &&
             !hasHeader(reply, "Transfer-Encoding")) {
    const bool tooLong = reply.misbehaviour == Misbehaviour::tooLong;
    const std::size_t length = reply.body.size() + (tooLong ? 1 : 0);
    head.append("Content-Length: ").append(std::to_string(length)).append("\r\n");
  }
  if (reply.misbehaviour == Misbehaviour::hugeHeader) {
    head.append("X-Huge: ").append(kHugeHeader, 'h').append("\r\n");
  }
  return head + "\r\n";
}

std::string chunkOf(const std::string& body) {
  char size[32];
  std::snprintf(size, sizeof size, "%zx\r\n", body.size());
  return size + body + "\r\n";
}

}  // namespace

std::optional<std::string> ServerRequest::header(std::string_view name) const {
  for (const auto& header : headers) {
    if (equalsIgnoringCase(header.first, name)) return header.second;
  }
  return std::nullopt;
}

struct HttpServer::Impl {
  struct Connection {
    Connection(tcp::socket accepted, std::uint64_t count)
        : socket(std::move(accepted)), number(count) {}

    tcp::socket socket;
    const std::uint64_t number;
    // Set, under the mutex, once the socket is closed.
    bool done = false;
    std::thread thread;
  };

  Impl(Handler replyHandler, std::uint16_t wantedPort)
      : handler(std::move(replyHandler)),
        acceptor(io, {asio::ip::address_v4::loopback(), wantedPort}) {}

  void start() {
    port = acceptor.local_endpoint().port();
    thread = std::thread([this] { acceptAll(); });
  }

  void acceptAll() {
    for (std::uint64_t number = 1;; ++number) {
      boost::system::error_code error;
      tcp::socket socket(io);
      acceptor.accept(socket, error);
      if (error && !pause(kAcceptPause)) return;
      if (error) continue;
      // Small replies would wait for the client's delayed acknowledgement of the TLS handshake.
      socket.set_option(tcp::no_delay(true), error);
      joinFinished();
      const MutexLock lock(mutex);
      if (stopping) return;
      Connection& made = connections.emplace_back(std::move(socket), number);
      made.thread = std::thread([this, &made] { run(made); });
    }
  }

  void joinFinished() ZQM_EXCLUDES(mutex) {
    std::list<Connection> finished;
    {
      const MutexLock lock(mutex);
      for (auto each = connections.begin(); each != connections.end();) {
        const auto current = each++;
        if (current->done) finished.splice(finished.end(), connections, current);
      }
    }
    for (Connection& each : finished) each.thread.join();
  }

  void run(Connection& connection) ZQM_EXCLUDES(mutex) {
    try {
      if (tls) {
        Tls stream(connection.socket, *tls);
        serve(stream, connection.number);
      } else {
        serve(connection.socket, connection.number);
      }
    } catch (const std::exception&) {
      // The client left.
    }
    const MutexLock lock(mutex);
    boost::system::error_code ignored;
    connection.socket.close(ignored);
    connection.done = true;
  }

  template <class Stream>
  void serve(Stream& stream, std::uint64_t connection) {
    handshake(stream);
    boost::beast::flat_buffer buffer;
    for (bool keepAlive = true; keepAlive;) {
      http::request_parser<http::string_body> parser;
      parser.body_limit(kBodyLimit);
      parser.header_limit(kHeaderLimit);
      http::read(stream, buffer, parser);
      keepAlive = parser.keep_alive();
      const ServerRequest request = fromParsed(parser.release(), connection);
      record(request);
      const ServerReply reply = answer(request);
      if (!deliver(stream, reply, request.method == "HEAD")) return;
    }
    finish(stream);
  }

  void record(const ServerRequest& request) ZQM_EXCLUDES(mutex) {
    const MutexLock lock(mutex);
    received.push_back(request);
    changed.notifyAll();
  }

  ServerReply answer(const ServerRequest& request) {
    try {
      return handler(request);
    } catch (...) {
      return {.status = 500};
    }
  }

  // False when the server is stopping.
  bool pause(std::chrono::milliseconds delay) ZQM_EXCLUDES(mutex) {
    const auto end = std::chrono::steady_clock::now() + delay;
    const MutexLock lock(mutex);
    while (!stopping) {
      const auto left = end - std::chrono::steady_clock::now();
      if (left <= left.zero()) return true;
      changed.waitFor(mutex, left);
    }
    return false;
  }

  // True when the connection can take another request.
  template <class Stream>
  bool deliver(Stream& stream, const ServerReply& reply, bool withoutBody) {
    const bool slow = reply.misbehaviour == Misbehaviour::slowDrip;
    if (!slow && reply.delay.count() > 0 && !pause(reply.delay)) return false;
    switch (reply.misbehaviour) {
      case Misbehaviour::closeBeforeReply:
        return false;
      case Misbehaviour::resetBeforeReply:
        reset(stream);
        return false;
      case Misbehaviour::stall:
        stall(stream);
        return false;
      case Misbehaviour::garbage:
        send(stream, "\x16\x03\xff neither a status line\n\r nor a header\r\r\r\n\n");
        return false;
      default:
        send(stream, headOf(reply));
        if (!withoutBody) deliverBody(stream, reply);
        return reply.misbehaviour == Misbehaviour::none;
    }
  }

  template <class Stream>
  void deliverBody(Stream& stream, const ServerReply& reply) {
    const std::string_view half = std::string_view(reply.body).substr(0, reply.body.size() / 2);
    switch (reply.misbehaviour) {
      case Misbehaviour::resetWithinReply:
        send(stream, half);
        return reset(stream);
      case Misbehaviour::resetAfterReply:
        send(stream, reply.body);
        return reset(stream);
      case Misbehaviour::stallWithinReply:
        send(stream, half);
        return stall(stream);
      case Misbehaviour::slowDrip:
        for (const char byte : reply.body) {
          if (!pause(reply.delay)) return;
          send(stream, {&byte, 1});
        }
        return;
      case Misbehaviour::badChunking:
        return send(stream, chunkOf(reply.body) + "not a size\r\n");
      case Misbehaviour::endless:
        while (pause(reply.delay)) send(stream, chunkOf(reply.body));
        return;
      default:
        send(stream, reply.body);
    }
  }

  void stop() ZQM_EXCLUDES(mutex) {
    {
      const MutexLock lock(mutex);
      stopping = true;
      changed.notifyAll();
      // The listening socket's accept returns as well.
      ::shutdown(acceptor.native_handle(), SHUT_RDWR);
      for (Connection& each : connections) {
        if (!each.done) ::shutdown(each.socket.native_handle(), SHUT_RDWR);
      }
    }
    thread.join();
    for (Connection& each : connections) each.thread.join();
  }

  const Handler handler;
  std::unique_ptr<asio::ssl::context> tls;
  asio::io_context io;
  tcp::acceptor acceptor;
  std::uint16_t port = 0;
  std::thread thread;
  mutable Mutex mutex;
  mutable Condition changed;
  bool stopping ZQM_GUARDED_BY(mutex) = false;
  std::vector<ServerRequest> received ZQM_GUARDED_BY(mutex);
  // Grows on the accepting thread only, which is joined before the rest is.
  std::list<Connection> connections;
};

HttpServer::HttpServer(Handler handler, std::uint16_t port)
    : impl_(std::make_unique<Impl>(std::move(handler), port)) {
  impl_->start();
}

HttpServer::HttpServer(Handler handler, const TlsFiles& files)
    : impl_(std::make_unique<Impl>(std::move(handler), 0)) {
  impl_->tls = std::make_unique<asio::ssl::context>(asio::ssl::context::tls_server);
  impl_->tls->use_certificate_chain_file(files.certificatePath);
  impl_->tls->use_private_key_file(files.privateKeyPath, asio::ssl::context::pem);
  impl_->start();
}

HttpServer::~HttpServer() { impl_->stop(); }

std::uint16_t HttpServer::port() const { return impl_->port; }

std::string HttpServer::url(std::string_view path) const {
  std::string url = impl_->tls ? "https" : "http";
  return url.append("://127.0.0.1:").append(std::to_string(impl_->port)).append(path);
}

std::vector<ServerRequest> HttpServer::requests() const {
  const MutexLock lock(impl_->mutex);
  return impl_->received;
}

void HttpServer::forgetRequests() {
  const MutexLock lock(impl_->mutex);
  impl_->received.clear();
}

std::vector<ServerRequest> HttpServer::waitForRequests(std::size_t count,
                                                       std::chrono::milliseconds timeout) const {
  const auto end = std::chrono::steady_clock::now() + timeout;
  const MutexLock lock(impl_->mutex);
  while (impl_->received.size() < count) {
    const auto left = end - std::chrono::steady_clock::now();
    if (left <= left.zero() || !impl_->changed.waitFor(impl_->mutex, left)) break;
  }
  return impl_->received;
}

}  // namespace zqm::tools
