// One accessor for each setting.
#include "zqm/core/settings/ZQMEnvironmentUtil.h"

#include "zqm/log/ZQMLogHandler.h"
#include "zqm/platform/Process.h"
#include "zqm/util/Numbers.h"

namespace zqm {
namespace {

Text setting(std::string_view key) {
  const auto settings = ZQMEnvironmentUtil::environment();
  return settings ? (*settings)[key] : Text("");
}

// Writes the setting to the debug outlet, too, if there are settings.
Text loggedSetting(std::string_view key, const char* label) {
  const auto settings = ZQMEnvironmentUtil::environment();
  if (!settings) return "";
  ZQMLogHandler::logToDebugWithText(label + (*settings)[key].textForm());
  return (*settings)[key];
}

// Reads a boolean setting as the platform does, more generously than `parseToBool`.
bool truthOf(const Value& value) {
  if (const auto flag = value.boolean()) return *flag;
  if (const auto number = value.integer()) return *number != 0;
  if (const auto number = value.real()) return *number != 0;
  if (!value.text()) return false;
  const auto first = value.text()->find_first_not_of(" \t\n\v\f\r");
  if (first == std::string::npos) return false;
  return std::string_view("YyTt123456789").find((*value.text())[first]) != std::string_view::npos;
}

}  // namespace

std::optional<Dictionary> ZQMEnvironmentUtil::environment() {
  const auto package = platform().packages->packageWithIdentifier(kLibraryIdentifier);
  const Dictionary* settings = package ? (*package)["Environments"].dictionary() : nullptr;
  return settings ? std::optional(*settings) : std::nullopt;
}

Text ZQMEnvironmentUtil::adEnvironmentUri() { return setting("AD_ENVIRONMENT_URI"); }
Text ZQMEnvironmentUtil::appEnvironmentUri() { return setting("APP_ENVIRONMENT_URI"); }
Text ZQMEnvironmentUtil::configEnvironmentUri() { return setting("CONFIG_ENVIRONMENT_URI"); }
Text ZQMEnvironmentUtil::coreEnvironmentUri() { return setting("START_ENVIRONMENT_URI"); }
Text ZQMEnvironmentUtil::dataEnvironmentUri() { return setting("DATA_ENVIRONMENT_URI"); }
Text ZQMEnvironmentUtil::deviceEnvironmentUri() { return setting("DEVICE_ENVIRONMENT_URI"); }
Text ZQMEnvironmentUtil::geoEnvironmentUri() { return setting("GEO_ENVIRONMENT_URI"); }
Text ZQMEnvironmentUtil::notificationEnvironmentUri() {
  return setting("NOTIFICATION_ENVIRONMENT_URI");
}
Text ZQMEnvironmentUtil::reportEnvironmentUri() { return setting("REPORT_ENVIRONMENT_URI"); }
// The inbox services share the report services' base address, hence their key.
Text ZQMEnvironmentUtil::reportInboxEnvironmentUri() { return setting("REPORT_ENVIRONMENT_URI"); }
Text ZQMEnvironmentUtil::graylogEnvironmentUri() { return setting("GRAYLOG_ENVIRONMENT_URI"); }

Value ZQMEnvironmentUtil::kelpoId() {
  const auto settings = environment();
  if (!settings) return 1;
  const Value& id = (*settings)["KELPO_ID"];
  return id.text() ? Value(parseDecimal(*id.text())) : Value(id.integer());
}

bool ZQMEnvironmentUtil::isDebug() {
  const auto settings = environment();
  return settings && truthOf((*settings)["IS_DEBUG"]);
}

Text ZQMEnvironmentUtil::fileNameCertsP12() {
  return loggedSetting("FILE_NAME_CERTS_P12", "ZQMCore - P12 File name: ");
}

Text ZQMEnvironmentUtil::filePasswordCertsP12() {
  // The debug outlet drops every text, so the password is not disclosed.
  return loggedSetting("FILE_PASSWORD_CERTS_P12", "ZQMCore - P12 File password: ");
}

}  // namespace zqm
