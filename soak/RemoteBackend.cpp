// The other process, and how it misbehaves.
#include "soak/RemoteBackend.h"

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <random>
#include <stdexcept>

#include "tools/zqm/Backend.h"

namespace zqm::soak {
namespace {

using namespace std::chrono_literals;
using tools::Misbehaviour;

constexpr const char* kServices[] = {"start",           "config/config", "device/initialize",
                                     "device/behavior", "queue",         "graylog/gelf"};
constexpr int kStatuses[] = {200, 204, 302, 400, 401, 403, 404, 418, 500, 503};
constexpr Misbehaviour kMisbehaviours[] = {
    Misbehaviour::closeBeforeReply, Misbehaviour::resetBeforeReply, Misbehaviour::resetWithinReply,
    Misbehaviour::resetAfterReply,  Misbehaviour::garbage,          Misbehaviour::tooLong,
    Misbehaviour::badChunking,      Misbehaviour::hugeHeader};
constexpr const char* kBodies[] = {
    "", "{}", "not JSON", "{\"euid\":7,\"endpoints\":[]}",
    "{\"daysToUpdateConfig\":-1,\"hoursBeforeSendQueueNonWifi\":{}}"};
constexpr int kTickMs = 200;

template <class List>
auto oneOf(const List& list, std::minstd_rand& random) {
  return list[random() % std::size(list)];
}

tools::ServerReply fault(std::minstd_rand& random) {
  tools::ServerReply reply{.status = oneOf(kStatuses, random), .body = oneOf(kBodies, random)};
  if (random() % 2 == 0) reply.misbehaviour = oneOf(kMisbehaviours, random);
  if (random() % 4 == 0) reply.delay = std::chrono::milliseconds(random() % 300);
  // It takes a minute until the client gives up.
  if (random() % 3000 == 0) reply.misbehaviour = Misbehaviour::stall;
  return reply;
}

void serve(const tools::IntegratorKey& key, int commands, int answers) {
  tools::Backend backend(key.certificate);
  const std::string url = backend.url() + "\n";
  std::minstd_rand random(11);
  bool isWild = false;
  if (write(answers, url.data(), url.size()) < 0) return;
  for (;;) {
    pollfd waiting{commands, POLLIN, 0};
    char command = 0;
    const bool isTold = poll(&waiting, 1, kTickMs) > 0;
    if (isTold && read(commands, &command, 1) != 1) return;
    if (isTold) isWild = command == 'w';
    for (const char* service : kServices) {
      const bool fails = isWild && random() % 3 == 0;
      backend.answerWith(service, fails ? std::optional(fault(random)) : std::nullopt);
    }
    backend.forgetRequests();
    if (isTold && write(answers, &command, 1) != 1) return;
  }
}

}  // namespace

RemoteBackend::RemoteBackend(const tools::IntegratorKey& key) {
  int commands[2];
  int answers[2];
  if (pipe(commands) != 0 || pipe(answers) != 0) throw std::runtime_error("no pipe");
  process_ = fork();
  if (process_ == 0) {
    close(commands[1]);
    close(answers[0]);
    serve(key, commands[0], answers[1]);
    _exit(0);
  }
  close(commands[0]);
  close(answers[1]);
  commands_ = commands[1];
  answers_ = answers[0];
  for (char letter = 0; read(answers_, &letter, 1) == 1 && letter != '\n';) url_ += letter;
}

RemoteBackend::~RemoteBackend() {
  close(commands_);
  close(answers_);
  waitpid(process_, nullptr, 0);
}

void RemoteBackend::setWild(bool isWild) {
  char command = isWild ? 'w' : 'c';
  if (write(commands_, &command, 1) != 1 || read(answers_, &command, 1) != 1) {
    throw std::runtime_error("the backend is gone");
  }
}

}  // namespace zqm::soak
