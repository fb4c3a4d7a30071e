#pragma once

#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>

#include <curl/curl.h>

#include "service/wifi/url_data.h"

namespace qv::can_bus::flr {

/// One HTTP request to a node, with what all requests to it share: basic authentication, 15 seconds to connect, an
/// end to a node's silence and to its reply. There is no limit to the time that a transfer takes.
///
/// Thread: the worker that makes it.
class Request {
public:
    /// To "http://HOST:80PATH". `silence`: how long the node may neither take nor send more than a trickle.
    Request(const std::string& host, const std::string& path, std::chrono::seconds silence);
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;

    const std::string& url() const noexcept { return url_; }
    /// Null when libcurl has none to give.
    CURL* handle() const noexcept { return handle_.get(); }

    /// Sets an option. A failure is told, and the request goes ahead without it.
    template <class Value> void set(const char* name, CURLoption option, Value value)
    {
        const CURLcode code = curl_easy_setopt(handle(), option, value);
        if (code != CURLE_OK) {
            std::printf("Error setting %s %d\n", name, static_cast<int>(code));
        }
    }

    /// Lets `perform` end within a second or so once the flag is set; it outlives the request.
    void cancel_by(const std::atomic<bool>& cancelled);
    [[nodiscard]] CURLcode perform();

    /// The HTTP status of the reply, 0 without one.
    long status() const;
    /// Tells a status other than 200.
    [[nodiscard]] bool succeeded() const;
    /// The reply's body; empty after a failure, null when there was no memory for it.
    const char* reply() const noexcept { return reply_.data.get(); }

private:
    void set_common_options();

    struct End {
        void operator()(CURL* handle) const noexcept { curl_easy_cleanup(handle); }
        void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
    };

    std::string url_;
    bool host_is_name_;
    std::chrono::seconds silence_;
    url_data reply_;
    std::unique_ptr<curl_slist, End> detours_; ///< "HOST:PORT:OTHER:PORT", each
    std::unique_ptr<CURL, End> handle_;
};

/// Replaces the silence that a request allows, for tests that take no time; 0 restores what it was made with.
void set_allowed_silence(std::chrono::seconds silence) noexcept;

} // namespace qv::can_bus::flr
