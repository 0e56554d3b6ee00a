// Answers as the services would, and keeps what arrived.
#include "tools/zqm/Backend.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

#include "tools/zqm/IntegratorKey.h"
#include "zqm/util/Encoding.h"
#include "zqm/util/Json.h"

namespace zqm::tools {
namespace {

constexpr std::string_view kStartPath = "/start/init";
constexpr std::string_view kTablePath = "/api/";
constexpr std::string_view kQueuePath = "/queue/";

struct Service {
  // The group and the key of the endpoint table.
  std::string_view name;
  // Below the settings' base addresses; empty where only the table has an address.
  std::string_view settingsPath;
};

// A path that two services share counts as the first one's.
constexpr std::array<Service, 25> kServices = {{
    {"ad/clusters", "/ad/clusters"},
    {"app/initialize", "/app/init"},
    {"app/installed", "/app/installed"},
    {"app/optIn", "/app/optin"},
    {"config/config", "/config/"},
    {"data/behavior", "/data/behavior"},
    {"device/initialize", "/device/init"},
    {"device/behavior", "/device/behavior"},
    {"geo/initialize", "/geo/init"},
    {"geo/live", "/geo/live"},
    {"geo/behavior", "/geo/behavior"},
    {"geo/optIn", "/geo/optin"},
    {"notification/token", "/notification/token"},
    {"notification/optIn", "/notification/optin"},
    {"notification/deliver", "/report/deliver"},
    {"notification/open", "/report/open"},
    {"notification/interaction", "/report/interaction"},
    {"notification/inBoxStatus", "/report/status"},
    {"notification/inBoxShare", "/report/share"},
    {"notification/inBoxDelete", "/report/delete"},
    {"notification/inAppSingle", ""},
    {"notification/inAppMultiple", ""},
    {"notification/inAppText", ""},
    {"notification/coupon", "/report/interaction"},
    {"graylog/gelf", "/graylog/gelf"},
}};

constexpr std::array<std::pair<std::string_view, StartAnswer>, 7> kAnswerNames = {{
    {"accepted", StartAnswer::accepted},
    {"unauthorized", StartAnswer::unauthorized},
    {"forbidden", StartAnswer::forbidden},
    {"failed", StartAnswer::failed},
    {"garbage", StartAnswer::garbage},
    {"without-euid", StartAnswer::withoutEuid},
    {"without-endpoints", StartAnswer::withoutEndpoints},
}};

BackendRequest routed(const ServerRequest& request) {
  const std::string_view target = request.target;
  const std::string_view path = target.substr(0, target.find('?'));
  BackendRequest made{"unknown", path.starts_with(kTablePath), request, {}};
  if (path == kStartPath) made.service = "start";
  if (path.starts_with(kQueuePath)) made.service = "queue";
  const auto found = std::find_if(kServices.begin(), kServices.end(), [&](const Service& each) {
    return made.fromTable ? path.substr(kTablePath.size()) == each.name : path == each.settingsPath;
  });
  if (found != kServices.end()) made.service = found->name;
  return made;
}

ServerReply jsonReply(int status, const Dictionary& body) {
  return {.status = status,
          .headers = {{"Content-Type", "application/json"}},
          .body = writeJson(body).text};
}

// What a start request must carry, each a text.
bool isStartBody(std::string_view body) {
  const JsonReading reading = readJson(body);
  const Dictionary* const fields = reading.value.dictionary();
  if (fields == nullptr) return false;
  return std::ranges::all_of(
      std::array{"advertisingId", "appId", "platform", "sdkVersion", "appVersion"},
      [&](const char* key) { return (*fields)[key].text() != nullptr; });
}

// Values unlike the library's own defaults, so that one sees which are in use.
Dictionary configuration() {
  return {{"daysToUpdateConfig", 2},
          {"attemptsToSendQueueItem", 3},
          {"hoursBeforeSendQueueNonWifi", 4},
          {"minutesBeforeRetryQueue", 30},
          {"titlePermissionAppBehavior", "Usage access"}};
}

}  // namespace

std::optional<StartAnswer> startAnswerNamed(std::string_view name) {
  for (const auto& [known, answer] : kAnswerNames) {
    if (known == name) return answer;
  }
  return std::nullopt;
}

Backend::Backend(Bytes certificate, std::uint16_t port)
    : certificate_(std::move(certificate)), euid_(makeUuid()) {
  // On a chosen port a client may already be knocking: its request waits for the lock.
  const MutexLock lock(mutex_);
  try {
    server_ = std::make_unique<HttpServer>(
        [this](const ServerRequest& request) { return handle(request); }, port);
  } catch (const std::exception& error) {
    throw std::runtime_error("port " + std::to_string(port) + ", " + error.what());
  }
}

Backend::Backend(Bytes certificate, const TlsFiles& tls)
    : certificate_(std::move(certificate)), euid_(makeUuid()) {
  const MutexLock lock(mutex_);
  server_ = std::make_unique<HttpServer>(
      [this](const ServerRequest& request) { return handle(request); }, tls);
}

std::string Backend::url() const { return server_->url("/"); }

void Backend::answerStartWith(StartAnswer answer) {
  const MutexLock lock(mutex_);
  startAnswer_ = answer;
}

void Backend::answerWith(std::string_view service, std::optional<ServerReply> reply) {
  const MutexLock lock(mutex_);
  std::erase_if(replies_, [&](const auto& each) { return each.first == service; });
  if (reply) replies_.emplace_back(service, std::move(*reply));
}

void Backend::onRequest(std::function<void(const BackendRequest&)> observer) {
  const MutexLock lock(mutex_);
  observer_ = std::move(observer);
}

std::vector<BackendRequest> Backend::requests() const {
  const MutexLock lock(mutex_);
  return requests_;
}

std::vector<BackendRequest> Backend::requests(std::string_view service) const {
  const MutexLock lock(mutex_);
  return recorded(service);
}

std::vector<BackendRequest> Backend::waitForRequests(std::string_view service, std::size_t count,
                                                     std::chrono::milliseconds timeout) const {
  const auto end = std::chrono::steady_clock::now() + timeout;
  const MutexLock lock(mutex_);
  while (recorded(service).size() < count) {
    const auto left = end - std::chrono::steady_clock::now();
    if (left <= left.zero() || !changed_.waitFor(mutex_, left)) break;
  }
  return recorded(service);
}

std::vector<BackendRequest> Backend::recorded(std::string_view service) const {
  std::vector<BackendRequest> found;
  std::ranges::copy_if(requests_, std::back_inserter(found),
                       [&](const BackendRequest& each) { return each.service == service; });
  return found;
}

void Backend::forgetRequests() {
  server_->forgetRequests();
  const MutexLock lock(mutex_);
  requests_.clear();
}

Dictionary Backend::endpointTable() const {
  Dictionary table;
  for (const Service& service : kServices) {
    const auto slash = service.name.find('/');
    const std::string_view group = service.name.substr(0, slash);
    const Dictionary* const known = table[group].dictionary();
    Dictionary entries = known == nullptr ? Dictionary() : *known;
    entries.set(service.name.substr(slash + 1), protect(certificate_, tableAddress(service.name)));
    table.set(group, std::move(entries));
  }
  return table;
}

std::string Backend::tableAddress(std::string_view service) const {
  return server_->url(std::string(kTablePath).append(service));
}

ServerReply Backend::handle(const ServerRequest& request) {
  BackendRequest made = routed(request);
  made.reply = replyTo(made);
  std::function<void(const BackendRequest&)> observer;
  {
    const MutexLock lock(mutex_);
    requests_.push_back(made);
    observer = observer_;
    changed_.notifyAll();
  }
  if (observer) observer(made);
  return made.reply;
}

ServerReply Backend::replyTo(const BackendRequest& request) const {
  {
    const MutexLock lock(mutex_);
    for (const auto& [service, reply] : replies_) {
      if (service == request.service) return reply;
    }
  }
  if (request.service == "start") return startReply(request.request);
  if (request.service == "config/config") return jsonReply(200, configuration());
  return jsonReply(request.service == "unknown" ? 404 : 200, {});
}

ServerReply Backend::startReply(const ServerRequest& request) const {
  if (request.method != "POST") return jsonReply(405, {{"message", "POST only"}});
  if (!isStartBody(request.body)) return jsonReply(400, {{"message", "not a start request"}});
  const StartAnswer answer = [&] {
    const MutexLock lock(mutex_);
    return startAnswer_;
  }();
  switch (answer) {
    case StartAnswer::unauthorized:
      return jsonReply(401, {{"message", "unauthorized"}});
    case StartAnswer::forbidden:
      return jsonReply(403, {{"message", "forbidden"}});
    case StartAnswer::failed:
      return jsonReply(500, {{"message", "out of order"}});
    case StartAnswer::garbage:
      return {.status = 200, .body = "<html>this is not the service</html>"};
    case StartAnswer::withoutEuid:
      return jsonReply(200, {{"endpoints", endpointTable()}});
    case StartAnswer::withoutEndpoints:
      return jsonReply(200, {{"euid", euid_}});
    case StartAnswer::accepted:
      break;
  }
  return jsonReply(200, {{"euid", euid_}, {"endpoints", endpointTable()}});
}

}  // namespace zqm::tools
