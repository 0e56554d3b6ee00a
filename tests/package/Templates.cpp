// Uses each template of the installed headers, as kit modules do, to be linked with the library.
#include <zqm/base/HandlerList.h>
#include <zqm/base/OptionalText.h>
#include <zqm/base/Snapshot.h>
#include <zqm/config/ZQMConfigRule.h>
#include <zqm/core/ZQMStartResponse.h>
#include <zqm/core/user/ZQMUserModel.h>
#include <zqm/device/ZQMDeviceModel.h>
#include <zqm/log/ZQMLogHandler.h>
#include <zqm/model/ZQMDatabase.h>
#include <zqm/model/ZQMOptInModel.h>
#include <zqm/platform/Process.h>
#include <zqm/queue/ZQMQueueRule.h>

namespace {

struct Visit : zqm::Record<Visit> {
  static constexpr std::string_view kClassName = "Visit";

  std::optional<zqm::Date> date;
  zqm::ZQMOptInModel consent;
  std::optional<zqm::ZQMOptInModel> earlierConsent;

  static constexpr auto kFields = std::tuple{
      member("date", &Self::date),
      member("consent", &Self::consent),
      member("earlierConsent", &Self::earlierConsent),
  };
};

}  // namespace

template class zqm::BasicMutex<std::mutex>;
template class zqm::HandlerList<int>;
template class zqm::Lazy<int>;
template class zqm::PerProcess<zqm::HandlerList<int>>;
template class zqm::Snapshot<int>;

namespace {

const zqm::PerProcess<int> number;

template <class R>
bool copy() {
  zqm::Coder coder;
  R().encodeWithCoder(coder);
  return R::initWithDictionary(R::initWithCoder(coder).toDictionary()).has_value();
}

template <class R>
bool store(const R& record) {
  using zqm::ZQMDatabase;
  const bool isSaved = ZQMDatabase::saveObject<R>(record) &&
                       ZQMDatabase::saveObject<R>(std::optional<R>(record)) &&
                       ZQMDatabase::saveObject<R>(std::vector<R>{record}) &&
                       ZQMDatabase::saveObject<R>(zqm::Value("plain"));
  const bool isFound = ZQMDatabase::readRecord<R>().has_value();
  ZQMDatabase::remove<R>();
  return isSaved && isFound;
}

}  // namespace

int main() {
  using namespace zqm;
  const bool areCopied = copy<ZQMConfigModel>() && copy<ZQMDeviceModel>() &&
                         copy<ZQMQueueModel>() && copy<Visit>() && copy<ZQMStartResponse>() &&
                         copy<ZQMUserModel>();
  store(Visit());
  store(ZQMQueueModel());
  static_cast<void>(ZQMDatabase::findRecord<Visit>());
  HandlerList<int>().join([](int) {}, [] {});
  std::size_t count = 0;
  ZQMQueueItems().forEach([&](const ZQMQueueDataModel&) { ++count; });

  Mutex mutex;
  const MutexLock lock(mutex);
  Condition().waitFor(mutex, std::chrono::seconds(0));
  const int made = Lazy<int>().get([] { return 1; });
  const Value values[] = {made, true, std::optional<std::string>("text"),
                          OptionalText(std::string("text"))};
  guarded(Process::current().bind([] {}), reportAs(kCoreModule, 4));
  guarded([] {});
  return areCopied && values[0].intValue() == 1 && count == 0 && *number == 0 ? 0 : 1;
}
