#include "platform/linux/http/CurlHttpSender.h"

#include <curl/curl.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>

namespace mavo {

namespace {

struct Transfer {
    CURL* easy = nullptr;
    curl_slist* headers = nullptr;
    std::string body;  // curl reads the body from here while the request is in flight

    ~Transfer() {
        if (easy) curl_easy_cleanup(easy);
        curl_slist_free_all(headers);
    }
};

size_t discardResponse(char*, size_t size, size_t count, void*) {
    return size * count;
}

CURLM* asMulti(void* p) {
    return static_cast<CURLM*>(p);
}

// Builds the easy handle; none when curl refuses anything, and the request is dropped.
std::unique_ptr<Transfer> makeTransfer(std::string url, const std::vector<HttpHeader>& headers,
                                       std::string body, double timeoutSeconds) {
    auto t = std::make_unique<Transfer>();
    t->body = std::move(body);
    t->easy = curl_easy_init();
    if (!t->easy) return nullptr;
    for (const auto& h : headers) {
        // A line break in a header would smuggle in headers of its own.
        if (h.name.find_first_of("\r\n:") != std::string::npos ||
            h.value.find_first_of("\r\n") != std::string::npos) {
            return nullptr;
        }
        auto* list = curl_slist_append(t->headers, (h.name + ": " + h.value).c_str());
        if (!list) return nullptr;
        t->headers = list;
    }
    // No "Expect: 100-continue" round trip: the body is small and servers differ in handling it.
    auto* list = curl_slist_append(t->headers, "Expect:");
    if (!list) return nullptr;
    t->headers = list;

    long timeoutMs = std::max(1L, static_cast<long>(timeoutSeconds * 1000.0));
    CURL* e = t->easy;
    bool ok = curl_easy_setopt(e, CURLOPT_URL, url.c_str()) == CURLE_OK &&
              curl_easy_setopt(e, CURLOPT_PROTOCOLS_STR, "http,https") == CURLE_OK &&
              curl_easy_setopt(e, CURLOPT_NOSIGNAL, 1L) == CURLE_OK &&
              curl_easy_setopt(e, CURLOPT_POST, 1L) == CURLE_OK &&
              curl_easy_setopt(e, CURLOPT_POSTFIELDS, t->body.data()) == CURLE_OK &&
              curl_easy_setopt(e, CURLOPT_POSTFIELDSIZE_LARGE,
                               static_cast<curl_off_t>(t->body.size())) == CURLE_OK &&
              curl_easy_setopt(e, CURLOPT_HTTPHEADER, t->headers) == CURLE_OK &&
              curl_easy_setopt(e, CURLOPT_TIMEOUT_MS, timeoutMs) == CURLE_OK &&
              curl_easy_setopt(e, CURLOPT_WRITEFUNCTION, discardResponse) == CURLE_OK;
    if (!ok) return nullptr;
    return t;
}

}  // namespace

CurlHttpSender::CurlHttpSender() {
    static std::once_flag globalInit;
    std::call_once(globalInit, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
    multi_ = curl_multi_init();
    worker_ = std::thread([this] { run(); });
}

CurlHttpSender::~CurlHttpSender() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    if (multi_) curl_multi_wakeup(asMulti(multi_));
    worker_.join();
    if (multi_) curl_multi_cleanup(asMulti(multi_));
}

void CurlHttpSender::post(const std::string& url, const std::vector<HttpHeader>& headers,
                          std::string body, double timeoutSeconds) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (stopping_ || !multi_) return;
        incoming_.push_back({url, headers, std::move(body), timeoutSeconds});
        ++inFlight_;
    }
    curl_multi_wakeup(asMulti(multi_));
}

bool CurlHttpSender::waitForInFlight(double seconds) {
    auto deadline = std::chrono::steady_clock::now() +
                    std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                        std::chrono::duration<double>(std::max(0.0, seconds)));
    std::unique_lock<std::mutex> lock(mutex_);
    return idle_.wait_until(lock, deadline, [this] { return inFlight_ == 0; });
}

void CurlHttpSender::run() {
    if (!multi_) return;
    CURLM* multi = asMulti(multi_);
    std::map<CURL*, std::unique_ptr<Transfer>> active;
    while (true) {
        std::deque<Request> starting;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if (stopping_) break;
            starting.swap(incoming_);
        }
        int finished = 0;
        for (auto& r : starting) {
            auto t = makeTransfer(std::move(r.url), r.headers, std::move(r.body), r.timeoutSeconds);
            if (!t || curl_multi_add_handle(multi, t->easy) != CURLM_OK) {
                ++finished;
                continue;
            }
            CURL* easy = t->easy;
            active.emplace(easy, std::move(t));
        }

        int running = 0;
        curl_multi_perform(multi, &running);
        int queued = 0;
        while (CURLMsg* msg = curl_multi_info_read(multi, &queued)) {
            if (msg->msg != CURLMSG_DONE) continue;
            // Whatever the outcome, the request is over: nothing is retried.
            CURL* easy = msg->easy_handle;
            curl_multi_remove_handle(multi, easy);
            active.erase(easy);
            ++finished;
        }
        if (finished > 0) {
            {
                std::lock_guard<std::mutex> lock(mutex_);
                inFlight_ -= finished;
            }
            idle_.notify_all();
        }
        // Returns early on socket activity, on curl's own timers and on a wakeup from post().
        curl_multi_poll(multi, nullptr, 0, 1000, nullptr);
    }

    for (auto& [easy, transfer] : active) curl_multi_remove_handle(multi, easy);
    active.clear();
    {
        std::lock_guard<std::mutex> lock(mutex_);
        inFlight_ = 0;
        incoming_.clear();
    }
    idle_.notify_all();
}

}  // namespace mavo
