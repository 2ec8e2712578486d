#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "analytics/HttpSender.h"

namespace mavo {

// Posts with libcurl's multi interface on one worker thread, so that any number of requests are
// in flight at once and none ever blocks the caller. Destroying the sender abandons whatever is
// still in flight.
class CurlHttpSender final : public HttpSender {
  public:
    CurlHttpSender();
    ~CurlHttpSender() override;
    CurlHttpSender(const CurlHttpSender&) = delete;
    CurlHttpSender& operator=(const CurlHttpSender&) = delete;

    void post(const std::string& url, const std::vector<HttpHeader>& headers, std::string body,
              double timeoutSeconds) override;
    bool waitForInFlight(double seconds) override;

  private:
    struct Request {
        std::string url;
        std::vector<HttpHeader> headers;
        std::string body;
        double timeoutSeconds;
    };

    void run();

    void* multi_ = nullptr;  // CURLM*, kept out of the header
    std::mutex mutex_;
    std::condition_variable idle_;
    std::deque<Request> incoming_;
    int inFlight_ = 0;  // posted and not yet finished, incoming ones included
    bool stopping_ = false;
    std::thread worker_;
};

}  // namespace mavo
