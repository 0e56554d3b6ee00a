// zqm: the integrator's command-line tool.
#include <signal.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <exception>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zqm/Backend.h"
#include "tools/zqm/Console.h"
#include "tools/zqm/Demo.h"
#include "tools/zqm/FileAccess.h"
#include "tools/zqm/Sandbox.h"
#include "zqm/base/Version.h"
#include "zqm/model/RecordFile.h"
#include "zqm/queue/JournalForm.h"
#include "zqm/queue/QueueJournal.h"

namespace zqm::tools {
namespace {

namespace fs = std::filesystem;
using Arguments = std::vector<std::string>;

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kMisused = 2;
constexpr std::string_view kDefaultPort = "8750";
constexpr std::size_t kTextWidth = 60;

// The arguments do not fit; the text says how.
struct Misuse {
  std::string text;
};

// Takes "NAME VALUE" out of the arguments.
std::optional<std::string> takeOption(Arguments& arguments, std::string_view name) {
  const auto found = std::ranges::find(arguments, name);
  if (found == arguments.end()) return std::nullopt;
  if (found + 1 == arguments.end()) throw Misuse{std::string(name) + " needs a value"};
  const std::string value = *(found + 1);
  arguments.erase(found, found + 2);
  return value;
}

bool takeFlag(Arguments& arguments, std::string_view name) {
  return std::erase(arguments, name) > 0;
}

fs::path onlyPath(const Arguments& arguments, std::string_view what) {
  if (arguments.size() == 1 && !arguments.front().starts_with("-")) return arguments.front();
  throw Misuse{"expected " + std::string(what) + " and nothing else"};
}

std::uint16_t portFrom(std::string_view text) {
  std::uint16_t port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  if (error == std::errc() && end == text.data() + text.size() && port != 0) return port;
  throw Misuse{"\"" + std::string(text) + "\" is no port"};
}

// The port of the address under which the settings look for the start service.
std::uint16_t portOf(const Sandbox& sandbox) {
  const std::string address = sandbox.environments()["START_ENVIRONMENT_URI"].textForm();
  const std::string prefix = "http://127.0.0.1:";
  const auto end = address.find('/', prefix.size());
  if (!address.starts_with(prefix) || end == std::string::npos) {
    throw std::runtime_error("the settings' START_ENVIRONMENT_URI is no address of this machine");
  }
  return portFrom(std::string_view(address).substr(prefix.size(), end - prefix.size()));
}

int makeSandbox(Arguments& arguments) {
  const std::string port = takeOption(arguments, "--port").value_or(std::string(kDefaultPort));
  const fs::path directory = onlyPath(arguments, "a directory");
  std::string url = "http://127.0.0.1:";
  url.append(std::to_string(portFrom(port))).append("/");
  const SandboxOptions options{.backendUrl = url};
  const Sandbox sandbox = Sandbox::create(directory, makeIntegratorKey(), options);
  Console console;
  console.line("Made a sandbox for the application \"" + options.applicationId + "\":");
  console.field("identifier", sandbox.applicationIdFile().string());
  console.field("certificate", sandbox.certificateFile().string());
  console.field("host package", sandbox.hostPackage().string());
  console.field("settings", (sandbox.corePackage() / "Info.plist").string());
  console.field("backend", options.backendUrl + " (zqm backend " + directory.string() + ")");
  return kDone;
}

void show(Console& console, const BackendRequest& request) {
  console.heading(request.request.method + " " + request.request.target + "  " + request.service +
                  ", answered " + std::to_string(request.reply.status));
  for (const char* name : {"apid", "euid"}) {
    if (const auto value = request.request.header(name)) console.field(name, *value);
  }
  if (request.request.body.empty()) return;
  console.line(indented(prettyBody(request.request.body, kTextWidth), 3));
}

int serve(Arguments& arguments) {
  const auto answerName = takeOption(arguments, "--start");
  const auto answer = startAnswerNamed(answerName.value_or("accepted"));
  if (!answer) throw Misuse{"no such answer to a start: " + *answerName};
  const Sandbox sandbox = Sandbox::open(onlyPath(arguments, "a directory"));

  // Before any thread is made, so that all of them leave the signals to sigwait.
  sigset_t signals;
  ::sigemptyset(&signals);
  ::sigaddset(&signals, SIGINT);
  ::sigaddset(&signals, SIGTERM);
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  Console console;
  Mutex mutex;
  Backend backend(sandbox.certificate(), portOf(sandbox));
  backend.answerStartWith(*answer);
  backend.onRequest([&](const BackendRequest& request) {
    const MutexLock lock(mutex);
    show(console, request);
  });
  console.line("Serving " + backend.url() + " until interrupted.");
  int received = 0;
  ::sigwait(&signals, &received);
  return kDone;
}

int protectText(Arguments& arguments) {
  const fs::path path = onlyPath(arguments, "a sandbox directory or a certificate");
  const Bytes certificate =
      fs::is_directory(path) ? Sandbox::open(path).certificate() : readCertificate(path);
  std::string text{std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};
  if (text.ends_with('\n')) text.pop_back();
  if (text.empty()) throw std::runtime_error("there is no text on standard input");
  Console().line(protect(certificate, text));
  return kDone;
}

// Settings are property lists too, and hold a password.
bool isRecordFile(std::string_view name) {
  return (name.starts_with("ZQM") && name.ends_with("Model.plist")) || isQueueFileName(name);
}

// A record's file, or a journal of the queue.
Value storedRecord(const fs::path& file) {
  const Bytes content = readFile(file);
  const JournalContent journal = readJournal(asText(content));
  if (journal.state != JournalContent::State::sound)
    return readRecordFile(content).value_or(Value());
  List items;
  for (const JournalItem& each : journal.items) {
    Coder coder;
    each.item->encodeWithCoder(coder);
    items.emplace_back(coder.entries());
  }
  return Dictionary{{"data", std::move(items)}};
}

int printStore(Arguments& arguments) {
  const fs::path directory = onlyPath(arguments, "a container directory");
  std::error_code error;
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(directory, error)) {
    if (isRecordFile(entry.path().filename().string())) files.push_back(entry.path());
  }
  if (error) throw std::runtime_error(directory.string() + ": " + error.message());
  if (files.empty()) throw std::runtime_error(directory.string() + " holds no stored records");
  std::ranges::sort(files);
  Dictionary records;
  bool damaged = false;
  for (const fs::path& file : files) {
    const Value record = storedRecord(file);
    if (record.isPresent()) records.set(file.stem().string(), record);
    if (record.isPresent()) continue;
    std::fprintf(stderr, "zqm: %s is damaged\n", file.c_str());
    damaged = true;
  }
  Console().line(prettyJson(records, std::string::npos));
  return damaged ? kFailed : kDone;
}

int demonstrate(Arguments& arguments) {
  DemoOptions options;
  options.keep = takeFlag(arguments, "--keep");
  options.real = takeFlag(arguments, "--real");
  options.hostProgram = onlyPath(arguments, "the host program");
  return runDemo(options) ? kDone : kFailed;
}

struct Command {
  std::string_view name;
  std::string_view arguments;
  std::string_view summary;
  std::string_view details;
  int (*run)(Arguments&);
};

constexpr std::array<Command, 5> kCommands = {{
    {"sandbox", "DIR [--port PORT]", "makes an integrator's material for trying the library out",
     "DIR must be empty or missing. It gets a key, a certificate, a protected\n"
     "application identifier, and a host package with the library's settings in it,\n"
     "which point to a backend on this machine (port 8750 unless told otherwise).\n",
     makeSandbox},
    {"backend", "DIR [--start ANSWER]", "serves what the settings of a sandbox point to",
     "Prints each request as it arrives, and ends when it is interrupted.\n"
     "ANSWER to start requests: accepted (the default), unauthorized (401),\n"
     "forbidden (403), failed (500), garbage, without-euid, without-endpoints.\n",
     serve},
    {"protect", "DIR|CERTIFICATE < TEXT", "protects an identifier or an address",
     "Encrypts the text on standard input, without its last line break, for the\n"
     "owner of the sandbox or certificate (DER or PEM), and prints it in Base64.\n",
     protectText},
    {"store", "DIR", "prints the records that the library stored, as JSON",
     "DIR is the container of the host's group: the directory that has the name of\n"
     "the host's NSGroupIdentifier, in XDG_DATA_HOME or ~/.local/share.\n",
     printStore},
    {"demo", "HOST [--real] [--keep]", "launches a host application and shows what happens",
     "HOST is the example host of this project. Its clock runs hours ahead and its\n"
     "network is of a chosen kind, unless --real leaves both as they are. Everything\n"
     "happens in a temporary directory, which --keep leaves behind. Ends with 0 only\n"
     "if all that should happen was observed.\n",
     demonstrate},
}};

std::string usage() {
  std::string text =
      "Usage: zqm COMMAND ARGUMENTS...\n"
      "       zqm COMMAND --help\n"
      "       zqm --version\n\n"
      "Commands:\n";
  for (const Command& each : kCommands) {
    std::string name(each.name);
    name.resize(10, ' ');
    text.append("  ").append(name).append(each.summary).append("\n");
  }
  return text + "\nEnds with 0 when it is done, 1 when something failed, 2 when it was misused.\n";
}

std::string usage(const Command& command) {
  std::string text = "Usage: zqm ";
  text.append(command.name).append(" ").append(command.arguments).append("\n\n");
  std::string summary(command.summary);
  summary.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(summary.front())));
  return text.append(summary).append(".\n\n").append(command.details);
}

int run(Arguments arguments) {
  if (arguments.empty()) throw Misuse{"no command; see zqm --help"};
  const std::string name = arguments.front();
  if (name == "--help" || name == "-h") return std::fputs(usage().c_str(), stdout), kDone;
  if (name == "--version") return std::printf("%s\n%s\n", versionString, buildInformation), kDone;
  const auto* const command = std::ranges::find(kCommands, std::string_view(name), &Command::name);
  if (command == kCommands.end()) throw Misuse{"no command \"" + name + "\"; see zqm --help"};
  arguments.erase(arguments.begin());
  if (takeFlag(arguments, "--help") || takeFlag(arguments, "-h")) {
    std::fputs(usage(*command).c_str(), stdout);
    return kDone;
  }
  try {
    return command->run(arguments);
  } catch (const Misuse& misuse) {
    throw Misuse{misuse.text + "; see zqm " + name + " --help"};
  }
}

}  // namespace
}  // namespace zqm::tools

int main(int argc, char** argv) {
  try {
    return zqm::tools::run({argv + 1, argv + argc});
  } catch (const zqm::tools::Misuse& misuse) {
    std::fprintf(stderr, "zqm: %s\n", misuse.text.c_str());
    return zqm::tools::kMisused;
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "zqm: %s\n", exception.what());
    return zqm::tools::kFailed;
  }
}
