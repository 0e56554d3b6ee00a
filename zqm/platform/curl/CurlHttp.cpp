// The entry of the transport: makes each request a transfer of the loop.
#include "zqm/platform/curl/CurlHttp.h"

#include "zqm/base/Exception.h"
#include "zqm/platform/curl/CurlHttpLoop.h"
#include "zqm/platform/curl/CurlHttpReceiver.h"
#include "zqm/platform/curl/CurlHttpTransfer.h"

namespace zqm {

CurlHttp::CurlHttp(CurlHttpOptions options)
    : options_(std::make_shared<const CurlHttpOptions>(std::move(options))),
      loop_(std::make_shared<CurlHttpLoop>(options_->idleTime)) {}

CurlHttp::~CurlHttp() { loop_->close(); }

void CurlHttp::send(HttpRequest request, std::function<void(HttpExchange)> completion) {
  submit<CurlBodyReceiver>(std::move(request), options_->bodyLimit, std::move(completion),
                           {options_->exchangeLimit, CurlHttpDeadline::Renewal::never});
}

void CurlHttp::download(HttpRequest request, std::function<void(HttpDownload)> completion) {
  submit<CurlFileReceiver>(std::move(request), options_->downloadDirectory, std::move(completion),
                           {options_->stallLimit, CurlHttpDeadline::Renewal::withProgress});
}

// Without memory for the transfer, the completion is destroyed uncalled.
template <class Receiver, class Place, class Completion>
void CurlHttp::submit(HttpRequest request, const Place& place, Completion completion,
                      CurlHttpDeadline deadline) {
  guarded([&] {
    loop_->submit(std::make_unique<CurlHttpTransfer>(
        std::move(request), std::make_unique<Receiver>(place, std::move(completion)), options_,
        deadline));
  });
}

}  // namespace zqm
