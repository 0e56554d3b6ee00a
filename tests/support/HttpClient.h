// A transport asked for something, and waited for; and the servers that it asks.
#pragma once

#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <utility>

#include "tools/zqm/HttpServer.h"
#include "zqm/platform/curl/CurlHttp.h"

namespace zqm::testing {

using tools::HttpServer;
using tools::Misbehaviour;
using tools::ServerReply;
using tools::ServerRequest;

template <class Outcome>
Outcome waited(const std::function<void(std::function<void(Outcome)>)>& ask) {
  // The callback may come after this has given up.
  auto promise = std::make_shared<std::promise<Outcome>>();
  auto future = promise->get_future();
  ask([promise](Outcome outcome) { promise->set_value(std::move(outcome)); });
  if (future.wait_for(std::chrono::seconds(60)) != std::future_status::ready) {
    throw std::runtime_error("the transport has not answered");
  }
  return future.get();
}

inline HttpExchange exchange(Http& http, HttpRequest request) {
  return waited<HttpExchange>([&](std::function<void(HttpExchange)> completion) {
    http.send(std::move(request), std::move(completion));
  });
}

inline HttpRequest getRequest(const std::string& url) { return {url, "GET", {}, std::nullopt}; }
inline HttpExchange get(Http& http, const std::string& url) {
  return exchange(http, getRequest(url));
}

// The error's code, or 0 for an answer.
template <class Outcome>
std::int64_t errorCode(const Outcome& outcome) {
  return outcome.error ? outcome.error->code : 0;
}

}  // namespace zqm::testing
