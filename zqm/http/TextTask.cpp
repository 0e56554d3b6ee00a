// Converts the outcome of a request to a text or an error.
#include "zqm/http/TextTask.h"

#include "zqm/http/ZQMHttpRequest.h"
#include "zqm/util/Strings.h"

namespace zqm {

void sendForText(std::string_view url, std::string_view method, const std::optional<Bytes>& data,
                 const std::function<void(const std::optional<std::string>&,
                                          const std::optional<Error>&)>& completion) {
  const auto answered = [completion](const ZQMHttpResult& result) {
    if (result.statusCode == 200) {
      return completion(utf8Text(result.data), std::nullopt);
    }
    completion(std::nullopt, ZQMHttpRequest::errorWithRequest(result));
  };
  const auto failed = [completion](const Error& error) { completion(std::nullopt, error); };
  ZQMHttpRequest::dataTaskWithUrl(url, method, data, answered, failed);
}

}  // namespace zqm
