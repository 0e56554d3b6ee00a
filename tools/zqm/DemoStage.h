// What every scene of the demonstration plays on: a backend, an integrator's material, the home of
// the host's user, and what can be read back from all of them.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zqm/Backend.h"
#include "tools/zqm/Console.h"
#include "tools/zqm/IntegratorKey.h"
#include "tools/zqm/Program.h"
#include "tools/zqm/Sandbox.h"
#include "zqm/model/ZQMDatabase.h"

namespace zqm::tools {

inline constexpr std::size_t kShownWidth = 50;
inline constexpr const char* kHomeZone = "America/Sao_Paulo";

// The circumstances of a launch. Clock and network are pretended only where the stage does so.
struct Circumstances {
  int hoursLater = 0;
  std::string network = "wifi";
  std::string timeZone = kHomeZone;
};

struct Launch {
  ProgramRun run;
  // What the backend received meanwhile.
  std::vector<BackendRequest> received;

  std::vector<BackendRequest> to(std::string_view service) const;
};

class DemoStage {
 public:
  DemoStage(std::filesystem::path hostProgram, std::filesystem::path directory, bool pretends);

  Console& console() { return console_; }
  Backend& backend() { return backend_; }
  const Sandbox& sandbox() const { return sandbox_; }
  const SandboxOptions& options() const { return options_; }
  const std::filesystem::path& directory() const { return directory_; }

  // Copies the program into its package. Once, before the first launch.
  void installHost();
  // Runs the host to its end and shows what it prints and which requests arrived.
  Launch launch(const Circumstances& circumstances);
  // The library's clock in such a launch.
  Date now(const Circumstances& circumstances) const;

  // A record as the next launch will read it.
  template <class R>
  std::optional<R> stored() const {
    std::optional<R> record;
    inTheHostsPlace([&] { record = ZQMDatabase::readRecord<R>(); });
    return record;
  }
  // A check that a record's file is there, and only for its owner.
  void checkFile(const std::string& recordClass);

  // The plain text of what is protected with the integrator's key.
  std::optional<std::string> decrypted(const Text& protectedText) const;

  void check(bool held, std::string_view what);
  void checkEqual(std::string_view what, const Value& expected, const Value& seen);
  // A check of a decision, with its reason.
  void checkDecision(std::string_view what, bool expected, bool seen, std::string_view reason);
  void show(const Value& value);
  void show(const BackendRequest& request);

 private:
  void inTheHostsPlace(const std::function<void()>& body) const;

  const std::filesystem::path hostProgram_;
  const std::filesystem::path directory_;
  const bool pretends_;
  const IntegratorKey key_;
  Backend backend_;
  const SandboxOptions options_;
  const Sandbox sandbox_;
  Console console_;
};

// Empty for what is no JSON object.
Dictionary dictionaryOf(std::string_view json);

bool isForOwnerOnly(const std::filesystem::path& file);

}  // namespace zqm::tools
