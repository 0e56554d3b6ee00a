// The entry of the transport: what is asked for becomes a transfer of the loop.
#include "zqm/platform/linux/CurlHttp.h"

#include "zqm/base/Exception.h"
#include "zqm/platform/linux/CurlHttpLoop.h"
#include "zqm/platform/linux/CurlHttpReceiver.h"
#include "zqm/platform/linux/CurlHttpTransfer.h"

namespace zqm {

CurlHttp::CurlHttp(CurlHttpOptions options)
    : options_(std::make_shared<const CurlHttpOptions>(std::move(options))),
      loop_(std::make_shared<CurlHttpLoop>(options_->idleTime)) {}

CurlHttp::~CurlHttp() { loop_->close(); }

// A request for which there is no memory goes with its completion, uncalled.
void CurlHttp::send(HttpRequest request, std::function<void(HttpExchange)> completion) {
  guarded(
      [&] {
        auto receiver =
            std::make_unique<CurlBodyReceiver>(options_->bodyLimit, std::move(completion));
        loop_->submit(std::make_unique<CurlHttpTransfer>(
            std::move(request), std::move(receiver), options_,
            CurlHttpDeadline(options_->exchangeLimit, CurlHttpDeadline::Renewal::never)));
      },
      [](const Exception&) {});
}

void CurlHttp::download(HttpRequest request, std::function<void(HttpDownload)> completion) {
  guarded(
      [&] {
        auto receiver =
            std::make_unique<CurlFileReceiver>(options_->downloadDirectory, std::move(completion));
        loop_->submit(std::make_unique<CurlHttpTransfer>(
            std::move(request), std::move(receiver), options_,
            CurlHttpDeadline(options_->stallLimit, CurlHttpDeadline::Renewal::withProgress)));
      },
      [](const Exception&) {});
}

}  // namespace zqm
