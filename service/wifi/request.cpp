#include "service/wifi/request.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <sstream>

namespace qv::can_bus::flr {

namespace {

constexpr const char* user = "flr";
constexpr const char* password = "Vx7Qm2LpR9tKd";
constexpr long connect_limit = 15; // seconds
constexpr long trickle = 100;      // bytes a second; less is silence
constexpr long success = 200;

std::atomic<long> silence_replacement{0}; // seconds

/// The name came over the bus; what is more than a name would lead the URL, and the password, elsewhere.
bool is_host_name(const std::string& host)
{
    const auto belongs = [](unsigned char character) {
        return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'z') ||
               (character >= 'A' && character <= 'Z') || character == '-' || character == '_' || character == '.';
    };
    return !host.empty() && std::all_of(host.begin(), host.end(), belongs);
}

/// Where names lead to that the machine can't resolve, as a test or a demonstration says it.
curl_slist* detours()
{
    curl_slist* list = nullptr;
    const char* words = std::getenv("FLINTROW_RESOLVE");
    std::istringstream input(words == nullptr ? "" : words);
    for (std::string word; std::getline(input, word, ',');) {
        if (curl_slist* longer = curl_slist_append(list, word.c_str())) {
            list = longer;
        }
    }
    return list;
}

std::size_t on_reply(char* bytes, std::size_t size, std::size_t count, void* reply)
{
    return write_data(bytes, size, count, static_cast<url_data*>(reply));
}

int on_progress(void* cancelled, curl_off_t, curl_off_t, curl_off_t, curl_off_t)
{
    return *static_cast<const std::atomic<bool>*>(cancelled) ? 1 : 0;
}

CURL* make_handle() { return curl_global_init(CURL_GLOBAL_ALL) == CURLE_OK ? curl_easy_init() : nullptr; }

} // namespace

Request::Request(const std::string& host, const std::string& path, std::chrono::seconds silence)
    : url_("http://" + host + ":80" + path)
    , host_is_name_(is_host_name(host))
    , silence_(silence)
    , detours_(detours())
    , handle_(make_handle())
{}

void Request::cancel_by(const std::atomic<bool>& cancelled)
{
    set("CURLOPT_NOPROGRESS", CURLOPT_NOPROGRESS, 0L);
    set("CURLOPT_XFERINFOFUNCTION", CURLOPT_XFERINFOFUNCTION, &on_progress);
    set("CURLOPT_XFERINFODATA", CURLOPT_XFERINFODATA, const_cast<std::atomic<bool>*>(&cancelled));
}

CURLcode Request::perform()
{
    if (!reply_.begin()) {
        return CURLE_OUT_OF_MEMORY;
    }
    if (handle_ == nullptr) {
        return CURLE_FAILED_INIT;
    }
    if (!host_is_name_) {
        return CURLE_URL_MALFORMAT;
    }
    set_common_options();
    const CURLcode code = curl_easy_perform(handle());
    if (code != CURLE_OK && reply_.data != nullptr) {
        *reply_.data = '\0';
        reply_.size = 0;
    }
    return code;
}

void Request::set_common_options()
{
    const long replacement = silence_replacement;
    set("CURLOPT_URL", CURLOPT_URL, url_.c_str());
    set("CURLOPT_USERNAME", CURLOPT_USERNAME, user);
    set("CURLOPT_PASSWORD", CURLOPT_PASSWORD, password);
    set("CURLOPT_CONNECTTIMEOUT", CURLOPT_CONNECTTIMEOUT, connect_limit);
    set("CURLOPT_QUICK_EXIT", CURLOPT_QUICK_EXIT,
        1L); // a look-up that hangs is not waited for once it is cancelled
    set("CURLOPT_LOW_SPEED_LIMIT", CURLOPT_LOW_SPEED_LIMIT, trickle);
    set("CURLOPT_LOW_SPEED_TIME", CURLOPT_LOW_SPEED_TIME,
        replacement != 0 ? replacement : static_cast<long>(silence_.count()));
    set("CURLOPT_WRITEFUNCTION", CURLOPT_WRITEFUNCTION, &on_reply);
    set("CURLOPT_WRITEDATA", CURLOPT_WRITEDATA, &reply_);
    set("CURLOPT_NOSIGNAL", CURLOPT_NOSIGNAL, 1L); // this is not the only thread
    set("CURLOPT_VERBOSE", CURLOPT_VERBOSE, 1L);
    if (detours_ != nullptr) {
        set("CURLOPT_CONNECT_TO", CURLOPT_CONNECT_TO, detours_.get());
        set("CURLOPT_PROXY", CURLOPT_PROXY, ""); // a proxy would resolve the name itself
    }
}

long Request::status() const
{
    long status = 0;
    (void)curl_easy_getinfo(handle(), CURLINFO_RESPONSE_CODE, &status);
    return status;
}

bool Request::succeeded() const
{
    if (status() == success) {
        return true;
    }
    std::printf("HTTP Response code: %d \r\n", static_cast<int>(status()));
    return false;
}

void set_allowed_silence(std::chrono::seconds silence) noexcept { silence_replacement = silence.count(); }

} // namespace qv::can_bus::flr
