#include "bench/wifi_node/http_server.h"

#include <algorithm>
#include <cstring>

#include <arpa/inet.h>
#include <netinet/in.h>

#include "bench/wifi_node/package_file.h"

namespace bench::wifi {

/// One request and what has come of it.
struct Exchange {
    enum class Resource { upload, install, status, unknown };
    struct Destroy {
        void operator()(MHD_PostProcessor* processor) const noexcept { MHD_destroy_post_processor(processor); }
        void operator()(MHD_Response* response) const noexcept { MHD_destroy_response(response); }
    };
    using Response = std::unique_ptr<MHD_Response, Destroy>;

    Exchange(MHD_Connection* its_connection, std::string package_path)
        : connection(its_connection)
        , package(std::move(package_path))
    {}

    MHD_Connection* connection;
    Resource resource = Resource::unknown;
    std::string url;
    bool authorised = false;
    Answer answer;
    std::unique_ptr<MHD_PostProcessor, Destroy> form; ///< null when the body is no form
    Package_file package;
    bool has_package = false;
    bool bad_file = false;
    std::string release;
    std::uint64_t read = 0; ///< bytes of the body
    Time next_read{0};
    bool delayed = false;
    bool tells_the_end = false;
};

namespace {

using Resource = Exchange::Resource;

constexpr std::size_t connection_memory = 256 * 1024; // bytes; what one read takes
constexpr std::size_t form_buffer = 64 * 1024;        // bytes
constexpr std::size_t release_maximum = 1000;         // bytes
constexpr std::uint64_t reads_a_second = 20;          // of a slow upload
constexpr const char* page = "<!DOCTYPE html><html><body>{\"state\": \"complete\"}</body></html>\n";

struct Place {
    const char* what; ///< method and path
    Resource resource;
};
constexpr Place places[] = {{"POST /upload", Resource::upload},
                            {"POST /update", Resource::install},
                            {"GET /update/status_json", Resource::status}};

Resource resource_of(const std::string& what)
{
    for (const Place& place : places) {
        if (what == place.what) {
            return place.resource;
        }
    }
    return Resource::unknown;
}

/// One piece of a form's field.
MHD_Result on_field(void* context, MHD_ValueKind /*kind*/, const char* key, const char* /*file*/,
                    const char* /*type*/, const char* /*encoding*/, const char* data, std::uint64_t /*offset*/,
                    std::size_t size)
{
    auto& exchange = *static_cast<Exchange*>(context);
    if (exchange.resource == Resource::upload && std::strcmp(key, "sendfile") == 0) {
        exchange.has_package = true;
        exchange.bad_file = exchange.bad_file || !exchange.package.add({data, size});
    } else if (exchange.resource == Resource::install && std::strcmp(key, "softwarereleaseid") == 0) {
        exchange.release.append(data, std::min(size, release_maximum - exchange.release.size()));
    }
    return MHD_YES;
}

ssize_t fill(void* /*context*/, std::uint64_t /*position*/, char* buffer, std::size_t size)
{
    std::memset(buffer, ' ', size);
    return static_cast<ssize_t>(size);
}

Exchange::Response make_response(const std::string& body)
{
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): it is copied
    return Exchange::Response(
        MHD_create_response_from_buffer(body.size(), const_cast<char*>(body.data()), MHD_RESPMEM_MUST_COPY));
}

} // namespace

Http_server::Http_server(Settings settings, Installer& installer, Report report)
    : settings_(std::move(settings))
    , installer_(installer)
    , report_(std::move(report))
{}

Http_server::~Http_server() { stop(); }

bool Http_server::start()
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(settings_.port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    daemon_ = MHD_start_daemon(MHD_USE_EPOLL | MHD_ALLOW_SUSPEND_RESUME, settings_.port, nullptr, nullptr,
                               &Http_server::on_call, this, MHD_OPTION_SOCK_ADDR, &address,
                               MHD_OPTION_NOTIFY_COMPLETED, &Http_server::on_completed, this,
                               MHD_OPTION_CONNECTION_MEMORY_LIMIT, connection_memory, MHD_OPTION_END);
    if (daemon_ == nullptr) {
        return false;
    }
    settings_.port = MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_BIND_PORT)->port;
    told_the_end_ = false;
    return true;
}

void Http_server::stop()
{
    if (daemon_ == nullptr) {
        return;
    }
    for (const auto& [connection, until] : paused_) {
        MHD_resume_connection(connection); // the library wants none suspended at the end
    }
    paused_.clear();
    MHD_stop_daemon(daemon_);
    daemon_ = nullptr;
}

int Http_server::descriptor() const
{
    return daemon_ == nullptr ? -1 : MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd;
}

Time Http_server::next(Time now) const
{
    Time due = never;
    MHD_UNSIGNED_LONG_LONG milliseconds = 0;
    if (daemon_ != nullptr && MHD_get_timeout(daemon_, &milliseconds) == MHD_YES) {
        due = now + Time(milliseconds);
    }
    for (const auto& [connection, until] : paused_) {
        due = std::min(due, until);
    }
    return due;
}

void Http_server::run(Time now)
{
    if (daemon_ == nullptr) {
        return;
    }
    now_ = now;
    for (auto each = paused_.begin(); each != paused_.end();) {
        if (now >= each->second) {
            MHD_resume_connection(each->first);
            each = paused_.erase(each);
        } else {
            ++each;
        }
    }
    (void)MHD_run(daemon_);
}

/// The library calls it once for the head of a request, then for each piece of its body, then once more.
MHD_Result Http_server::on_call(void* self, MHD_Connection* connection, const char* url, const char* method,
                                const char* /*version*/, const char* data, std::size_t* size, void** context)
{
    auto& server = *static_cast<Http_server*>(self);
    if (*context != nullptr) {
        auto& exchange = *static_cast<Exchange*>(*context);
        return *size != 0 ? server.read(exchange, data, *size) : server.answer(exchange);
    }
    auto exchange = server.begin(connection, std::string(method) + ' ' + url);
    exchange->url = url;
    const bool asks = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, "Expect") != nullptr;
    const bool refused = !exchange->authorised || exchange->answer.kind == Answer::Kind::status;
    *context = exchange.release(); // until `on_completed`
    return asks && refused ? server.answer(*static_cast<Exchange*>(*context)) : MHD_YES;
}

void Http_server::on_completed(void* self, MHD_Connection* /*connection*/, void** context,
                               MHD_RequestTerminationCode reason)
{
    const std::unique_ptr<Exchange> exchange(static_cast<Exchange*>(*context));
    *context = nullptr;
    if (exchange == nullptr) {
        return;
    }
    auto& server = *static_cast<Http_server*>(self);
    if (reason == MHD_REQUEST_TERMINATED_COMPLETED_OK) {
        server.told_the_end_ = server.told_the_end_ || exchange->tells_the_end;
    } else {
        server.report_("lost the client of " + exchange->url);
    }
}

std::unique_ptr<Exchange> Http_server::begin(MHD_Connection* connection, const std::string& what)
{
    auto exchange = std::make_unique<Exchange>(connection, settings_.package_path);
    exchange->resource = resource_of(what);
    exchange->authorised = authorised(connection);
    exchange->form.reset(MHD_create_post_processor(connection, form_buffer, &on_field, exchange.get()));
    switch (exchange->resource) {
        case Resource::upload: exchange->answer = settings_.upload.next(); break;
        case Resource::install: exchange->answer = settings_.install.next(); break;
        case Resource::status: exchange->answer = settings_.status.next(); break;
        case Resource::unknown: break;
    }
    report_(what + (exchange->authorised ? "" : " without the right password"));
    return exchange;
}

bool Http_server::authorised(MHD_Connection* connection) const
{
    struct Free {
        void operator()(char* text) const noexcept { MHD_free(text); }
    };
    char* given = nullptr;
    const std::unique_ptr<char, Free> user(MHD_basic_auth_get_username_password(connection, &given));
    const std::unique_ptr<char, Free> password(given);
    return user != nullptr && password != nullptr && user.get() == settings_.user &&
           password.get() == settings_.password;
}

/// What stays in `size` the library brings again, once the connection is not paused any more.
MHD_Result Http_server::read(Exchange& exchange, const char* data, std::size_t& size)
{
    std::uint64_t count = size;
    if (exchange.resource == Resource::upload) {
        if (exchange.read >= settings_.break_off) {
            return MHD_NO;
        }
        if (exchange.read >= settings_.stop_reading || now_ < exchange.next_read) {
            pause(exchange.connection, exchange.read >= settings_.stop_reading ? never : exchange.next_read);
            return MHD_YES;
        }
        if (settings_.read_rate != 0) {
            count =
                std::min<std::uint64_t>(count, std::max<std::uint64_t>(settings_.read_rate / reads_a_second, 1));
            exchange.next_read = now_ + Time(count * 1000 / settings_.read_rate);
        }
    }
    if (exchange.form != nullptr && exchange.authorised) {
        (void)MHD_post_process(exchange.form.get(), data, count);
    }
    exchange.read += count;
    size -= count;
    return MHD_YES;
}

MHD_Result Http_server::answer(Exchange& exchange)
{
    if (settings_.answer_delay > Time::zero() && !exchange.delayed) {
        exchange.delayed = true;
        pause(exchange.connection, now_ + settings_.answer_delay);
        return MHD_YES;
    }
    if (!exchange.authorised) {
        return send(exchange, {401, {}});
    }
    switch (exchange.answer.kind) {
        case Answer::Kind::usual: return send(exchange, usual_reply(exchange));
        case Answer::Kind::status: return send(exchange, {exchange.answer.status, {}});
        case Answer::Kind::body: return send(exchange, {200, exchange.answer.body});
        case Answer::Kind::redirect: return send(exchange, {302, {}});
        case Answer::Kind::close: return MHD_NO;
        case Answer::Kind::silent: pause(exchange.connection, never); return MHD_YES;
        case Answer::Kind::endless: {
            const Exchange::Response response(
                MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, form_buffer, &fill, nullptr, nullptr));
            return MHD_queue_response(exchange.connection, 200, response.get());
        }
        case Answer::Kind::markup: break;
    }
    auto reply = usual_reply(exchange);
    return send(exchange, {reply.status, reply.body + page});
}

Reply Http_server::usual_reply(Exchange& exchange)
{
    switch (exchange.resource) {
        case Resource::unknown: return {404, {}};
        case Resource::install: return installer_.install(exchange.release);
        case Resource::status: {
            auto reply = installer_.status();
            exchange.tells_the_end = installer_.finished();
            return reply;
        }
        case Resource::upload: break;
    }
    // The form's end is proof that nothing is missing.
    const bool whole = exchange.form != nullptr && MHD_destroy_post_processor(exchange.form.release()) == MHD_YES;
    if (!whole || !exchange.has_package) {
        report_("no package in the upload");
        return {400, "no package\n"};
    }
    if (exchange.bad_file || !exchange.package.finish()) {
        report_("cannot write " + settings_.package_path);
        return {500, "cannot keep it\n"};
    }
    return installer_.take_package(exchange.package.size());
}

MHD_Result Http_server::send(const Exchange& exchange, const Reply& reply) const
{
    const auto response = make_response(reply.body);
    if (reply.status == 401) {
        return MHD_queue_basic_auth_fail_response(exchange.connection, "wifi_node", response.get());
    }
    if (reply.status == 302) {
        (void)MHD_add_response_header(response.get(), "Location", exchange.url.c_str());
    }
    return MHD_queue_response(exchange.connection, reply.status, response.get());
}

void Http_server::pause(MHD_Connection* connection, Time until)
{
    MHD_suspend_connection(connection);
    paused_[connection] = until;
}

} // namespace bench::wifi
