#pragma once

#include <string>
#include <vector>

namespace mavo {

struct HttpHeader {
    std::string name;
    std::string value;
};

// Fire-and-forget HTTP POST. Implementations must be safe to call from any thread.
class HttpSender {
  public:
    virtual ~HttpSender() = default;
    // Starts the request and returns at once; the response, its status and any error are
    // ignored, and a failed request is never retried.
    virtual void post(const std::string& url, const std::vector<HttpHeader>& headers,
                      std::string body, double timeoutSeconds) = 0;
    // Blocks until every request started so far has finished or `seconds` have passed. Returns
    // true when nothing is left in flight.
    virtual bool waitForInFlight(double seconds) = 0;
};

}  // namespace mavo
