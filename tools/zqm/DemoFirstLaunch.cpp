// The scenes around the first launch.
#include <array>
#include <filesystem>

#include "tools/zqm/DemoScenes.h"
#include "tools/zqm/LockerKey.h"
#include "zqm/base/Version.h"
#include "zqm/config/ZQMConfigModel.h"
#include "zqm/core/user/ZQMUserModel.h"
#include "zqm/device/ZQMDeviceModel.h"
#include "zqm/endpoints/ZQMEndpointModels.h"
#include "zqm/model/ZQMOptInModel.h"
#include "zqm/queue/ZQMQueueModel.h"

namespace zqm::tools {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kShownService = "device/behavior";
constexpr std::array<std::pair<std::string_view, std::string_view>, 6> kMaterial = {{
    {"application-id", "the protected identifier"},
    {"certificate.der", "the public key"},
    {"host/Info.plist", "the host's package"},
    {"host/ZQMCore.bundle/Info.plist", "the library's settings"},
    {"host/ZQMCore.bundle/integrator.p12", "the private key"},
    {"host/ZQMCore.bundle/Devices.plist", "names of devices"},
}};

}  // namespace

void showMaterial(DemoStage& stage) {
  Console& console = stage.console();
  console.heading("1. What an integrator prepares");
  console.field("in", stage.directory().string() + "/sandbox");
  bool isPrivate = true;
  for (const auto& [name, role] : kMaterial) {
    const fs::path file = stage.directory() / "sandbox" / name;
    std::string line(name);
    line.resize(36, ' ');
    console.line(indented(line.append(role), 5));
    isPrivate = isPrivate && isForOwnerOnly(file);
  }
  console.field("identifier", "\"" + stage.options().applicationId + "\", protected it reads");
  console.field("", shortened(stage.sandbox().applicationId(), kShownWidth));
  stage.check(isPrivate, "no right for anybody but the files' owner");
  stage.checkEqual("the key file opens with the settings' password and decrypts it",
                   stage.options().applicationId, stage.decrypted(stage.sandbox().applicationId()));
}

Launch showFirstLaunch(DemoStage& stage) {
  stage.console().heading("2. The host application is launched for the first time");
  stage.installHost();
  Launch first = stage.launch({});
  stage.checkEqual("it was not started before", "false", first.run.value("isStarted-before"));
  stage.checkEqual("its kit module was started", "true", first.run.value("kit-started"));
  stage.checkEqual("it is started now", "true", first.run.value("isStarted-after"));
  for (const char* service : {"start", "config/config", "device/initialize", "device/behavior"}) {
    stage.checkEqual(std::string("one request to ").append(service), 1, first.to(service).size());
  }
  stage.checkEqual("and none else", 4, first.received.size());
  return first;
}

void showRegistration(DemoStage& stage, const Launch& first) {
  if (first.to("start").empty()) return;
  const BackendRequest start = first.to("start").front();
  Console& console = stage.console();
  console.heading("3. The registration, as the backend received it");
  stage.show(start);
  const Dictionary sent = dictionaryOf(start.request.body);
  stage.checkEqual("the application identifier was decrypted", stage.options().applicationId,
                   sent["appId"]);
  stage.checkEqual("it carries no installation identifier yet", {}, start.request.header("euid"));
  const Dictionary answer = dictionaryOf(start.reply.body);
  const Dictionary* const table = answer["endpoints"].dictionary();
  if (table == nullptr) return stage.check(false, "the answer holds a table of addresses");
  console.line();
  console.line(indented("It answered with an installation identifier and a table of", 3));
  console.line(indented("addresses, each protected with the integrator's key:", 3));
  console.field("euid", answer["euid"].textForm());
  const Value shown = (*(*table)["device"].dictionary())["behavior"];
  console.field(kShownService, shortened(shown.textForm(), kShownWidth));
  const Text address = stage.decrypted(shown);
  stage.checkEqual("which decrypts to " + address.textForm(),
                   stage.backend().tableAddress(kShownService), address);

  console.line();
  const auto user = stage.stored<ZQMUserModel>().value_or(ZQMUserModel());
  stage.checkFile("ZQMUserModel");
  stage.show(user.toDictionary());
  stage.checkEqual("it holds the backend's installation identifier", stage.backend().euid(),
                   user.euid);
  stage.check(user.started && user.startedSdkVersion == Text(versionString),
              "and the acceptance of this version of the library");
  stage.checkFile("ZQMEndpointsModel");
  stage.check(
      stage.stored<ZQMEndpointsModel>().value_or(ZQMEndpointsModel()).toDictionary() == *table,
      "it is the table as it was received");
}

void showConfiguration(DemoStage& stage, const Launch& first) {
  if (first.to("config/config").empty()) return;
  const BackendRequest fetch = first.to("config/config").front();
  stage.console().heading("4. The configuration: fetched, merged and saved");
  stage.show(fetch);
  stage.console().line(indented("The answer names some of the 21 values:", 3));
  const Dictionary sent = dictionaryOf(fetch.reply.body);
  stage.show(sent);
  stage.check(fetch.fromTable, "it went to the address of the table");
  stage.checkEqual("the identifier is on it", stage.backend().euid(), fetch.request.header("euid"));
  stage.checkFile("ZQMConfigModel");
  const auto config = stage.stored<ZQMConfigModel>().value_or(ZQMConfigModel());
  const Dictionary stored = config.toDictionary();
  bool merged = !sent.empty();
  for (const auto& [key, value] : sent) merged = merged && stored[key] == value;
  stage.check(merged, "it holds every value that was sent");
  stage.checkEqual("and the defaults of the others, such as negativePermissionAppBehavior",
                   ZQMConfigModel().negativePermissionAppBehavior,
                   config.negativePermissionAppBehavior);
  stage.check(config.lastUpdateDate.has_value(), "and when that was");
}

void showDevice(DemoStage& stage, const Launch& first) {
  if (first.to("device/initialize").empty() || first.to("device/behavior").empty()) return;
  const BackendRequest init = first.to("device/initialize").front();
  const BackendRequest profile = first.to("device/behavior").front();
  stage.console().heading("5. The device: registered, and its first profile");
  stage.check(init.request.method == "POST" && init.request.body.empty(),
              "the registration was a POST without a body");
  stage.show(profile);
  stage.checkFile("ZQMDeviceModel");
  const auto device = stage.stored<ZQMDeviceModel>().value_or(ZQMDeviceModel());
  stage.check(device.isStarted && device.dateStart.has_value(), "the device counts as registered");
  stage.check(!device.updated, "and its profile as sent");
  stage.checkEqual("the profile's zone is the host's", device.timezone,
                   dictionaryOf(profile.request.body)["timezone"]);
}

void showQueue(DemoStage& stage) {
  stage.console().heading("6. What the kit module left for later");
  stage.checkFile("ZQMOptInModel");
  const auto consent = stage.stored<ZQMOptInModel>();
  if (!consent) return stage.check(false, "it stored a consent");
  stage.show(consent->toDictionary());
  stage.checkFile("ZQMQueueModel");
  const auto queue = stage.stored<ZQMQueueModel>().value_or(ZQMQueueModel());
  showItems(stage, queue);
  stage.checkEqual("three requests wait", 3, queue.count());
  if (queue.count() != 3) return;
  stage.check(queue.data->at(0)->priority, "the consent, handed over last, stands first");
  const Dictionary visit = dictionaryOf(asText(*queue.data->at(1)->data.bytes()));
  const auto opened = openLockerPayload(visit["visit"].textForm());
  if (!opened)
    return stage.console().line(
        wrapped("The visits are locked with the key of this "
                "build's operator.",
                3));
  stage.console().field("visit", shortened(visit["visit"].textForm(), kShownWidth));
  stage.console().field("unlocked", asText(*opened));
  stage.checkEqual("a visit is locked, and opens with the backend's private key",
                   R"({"place":"station"})", std::string(asText(*opened)));
}

}  // namespace zqm::tools
