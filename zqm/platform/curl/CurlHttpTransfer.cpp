// The steps of one exchange.
#include "zqm/platform/curl/CurlHttpTransfer.h"

#include <algorithm>

#include "zqm/platform/curl/CurlHttpError.h"
#include "zqm/platform/curl/CurlHttpFileName.h"
#include "zqm/platform/curl/CurlHttpSetup.h"

namespace zqm {
namespace {

using namespace std::string_view_literals;

constexpr int kRedirectLimit = 16;
// In bytes, of one response with its interim responses.
constexpr std::size_t kHeaderLimit = 256u << 10;

bool breaksLine(std::string_view text) {
  return text.find_first_of("\r\n\0"sv) != std::string_view::npos;
}

// RFC 9110: the characters of a method or a header name.
bool isToken(std::string_view text) {
  return !text.empty() && std::ranges::all_of(text, [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           "!#$%&'*+-.^_`|~"sv.find(c) != std::string_view::npos;
  });
}

bool breaksLine(const HttpRequest& request) {
  return breaksLine(request.url) || !isToken(request.method) ||
         std::ranges::any_of(request.headers, [](const HttpHeader& header) {
           return !isToken(header.name) || breaksLine(header.value);
         });
}

bool describesBody(const HttpHeader& header) {
  constexpr std::string_view prefix = "Content-";
  return curl_strnequal(header.name.c_str(), prefix.data(), prefix.size()) != 0;
}

bool isRedirect(long status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

// Whether a redirect turns the request into a GET instead of repeating it.
bool becomesGet(long status, const std::string& method) {
  if (status == 303) return method != "HEAD";
  return (status == 301 || status == 302) && method == "POST";
}

}  // namespace

CurlHttpTransfer::CurlHttpTransfer(HttpRequest request, std::unique_ptr<CurlHttpReceiver> receiver,
                                   std::shared_ptr<const CurlHttpOptions> options,
                                   CurlHttpDeadline deadline)
    : request_(std::move(request)),
      receiver_(std::move(receiver)),
      options_(std::move(options)),
      deadline_(deadline) {}

bool CurlHttpTransfer::fail(std::optional<Error> error) {
  easy_.reset();
  response_.reset();
  error_ = std::move(error);
  return false;
}

bool CurlHttpTransfer::start() {
  if (breaksLine(request_)) {
    return fail(transportError(httpError::kBrokenLine,
                               "The url, the method or a header does not fit into a request."));
  }
  auto url = CurlHttpUrl::parse(request_.url);
  if (!url) return fail(curlError(CURLE_URL_MALFORMAT));
  if (!url->isHttp()) return fail(curlError(CURLE_UNSUPPORTED_PROTOCOL));
  url_ = std::move(*url);
  return begin();
}

bool CurlHttpTransfer::begin() {
  headers_.clear();
  headersComplete_ = false;
  headerBytes_ = 0;
  errorText_.front() = '\0';
  if (auto error = receiver_->begin()) return fail(std::move(*error));
  return setUpHandle();
}

bool CurlHttpTransfer::setUpHandle() {
  easy_.reset(curl_easy_init());
  if (!easy_ || !setUpHeaders()) return fail(curlError(CURLE_OUT_OF_MEMORY));
  CurlHttpSetup setup(easy_.get());
  setup.set(CURLOPT_URL, url_.text.c_str());
  setup.setTransport(*options_);
  setup.setMethod(request_);
  setup.set(CURLOPT_HTTPHEADER, headerList_.get());
  setup.set(CURLOPT_ERRORBUFFER, errorText_.data());
  setup.set(CURLOPT_HEADERFUNCTION, &onHeader);
  setup.set(CURLOPT_HEADERDATA, this);
  setup.set(CURLOPT_WRITEFUNCTION, &onBody);
  setup.set(CURLOPT_WRITEDATA, this);
  if (setup.result() != CURLE_OK) return fail(curlError(setup.result()));
  return true;
}

bool CurlHttpTransfer::setUpHeaders() {
  headerList_.reset();
  const auto append = [this](const std::string& line) {
    curl_slist* longer = curl_slist_append(headerList_.get(), line.c_str());
    if (!longer) return false;
    static_cast<void>(headerList_.release());
    headerList_.reset(longer);
    return true;
  };
  // A header without a value keeps libcurl from adding its own.
  bool complete = append("Expect:");
  const auto isContentType = [](const HttpHeader& header) {
    return curl_strequal(header.name.c_str(), "Content-Type") != 0;
  };
  if (std::ranges::none_of(request_.headers, isContentType)) {
    complete = complete && append("Content-Type:");
  }
  for (const HttpHeader& header : request_.headers) {
    // libcurl leaves a header out if nothing follows the colon; a semicolon sends it empty.
    const bool blank = trimmed(header.value).empty();
    complete = complete && append(header.name + (blank ? ";" : ": " + header.value));
  }
  return complete;
}

bool CurlHttpTransfer::proceed(CURLcode result) {
  if (error_) return fail(std::move(*error_));
  if (result != CURLE_OK) return fail(curlError(result, errorText_.data()));
  long status = 0;
  curl_easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &status);
  if (status <= 0) return fail(curlError(CURLE_WEIRD_SERVER_REPLY));
  const char* target = nullptr;
  curl_easy_getinfo(easy_.get(), CURLINFO_REDIRECT_URL, &target);
  if (isRedirect(status) && target) return redirect(status, target);
  succeed(status);
  return false;
}

bool CurlHttpTransfer::redirect(long status, const char* target) {
  if (++redirects_ > kRedirectLimit) return fail(curlError(CURLE_TOO_MANY_REDIRECTS));
  auto url = CurlHttpUrl::parseRedirect(target);
  if (!url) return fail(curlError(CURLE_URL_MALFORMAT));
  if (!url->isHttp()) return fail(curlError(CURLE_UNSUPPORTED_PROTOCOL));
  if (url_.scheme == "https" && url->scheme != "https") {
    return fail(transportError(httpError::kInsecureRedirect,
                               "The server redirects to an address without encryption."));
  }
  if (!url->hasOriginOf(url_)) std::erase_if(request_.headers, &HttpHeader::identity);
  if (becomesGet(status, request_.method)) {
    request_.method = "GET";
    request_.body.reset();
    std::erase_if(request_.headers, describesBody);
  }
  url_ = std::move(*url);
  return begin();
}

void CurlHttpTransfer::succeed(long status) {
  HttpResponse response;
  response.status = static_cast<std::int32_t>(status);
  response.suggestedFileName = suggestedFileName(headers_, url_.path);
  response.headers = std::move(headers_);
  response.url = toUtf8(url_.text);
  response_ = std::move(response);
  easy_.reset();
}

void CurlHttpTransfer::complete() {
  if (!response_ && !error_) error_ = curlError(CURLE_OUT_OF_MEMORY);
  receiver_->complete(std::move(response_), std::move(error_));
}

std::size_t CurlHttpTransfer::onHeader(char* data, std::size_t, std::size_t count,
                                       void* self) noexcept try {
  auto& transfer = *static_cast<CurlHttpTransfer*>(self);
  transfer.deadline_.noteProgress();
  transfer.headerBytes_ += count;
  if (transfer.headerBytes_ > kHeaderLimit) {
    transfer.error_ =
        transportError(httpError::kTooLarge, "The headers of the answer are too large.");
    return 0;
  }
  transfer.takeHeader({data, count});
  return count;
} catch (...) {
  return 0;
}

std::size_t CurlHttpTransfer::onBody(char* data, std::size_t, std::size_t count,
                                     void* self) noexcept try {
  auto& transfer = *static_cast<CurlHttpTransfer*>(self);
  transfer.deadline_.noteProgress();
  transfer.error_ = transfer.receiver_->append({data, count});
  return transfer.error_ ? 0 : count;
} catch (...) {
  return 0;
}

void CurlHttpTransfer::takeHeader(std::string_view line) {
  const std::string_view text = trimmed(line);
  if (line.starts_with("HTTP/")) {
    // The headers so far are those of an interim response.
    headers_.clear();
    headersComplete_ = false;
  } else if (text.empty()) {
    headersComplete_ = true;
  } else if (const auto colon = text.find(':');
             colon != std::string_view::npos && !headersComplete_) {
    headers_.push_back(
        {toUtf8(trimmed(text.substr(0, colon))), toUtf8(trimmed(text.substr(colon + 1))), false});
  }
}

}  // namespace zqm
