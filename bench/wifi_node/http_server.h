#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include <microhttpd.h>

#include "bench/simulated_ecu/timer.h"
#include "bench/wifi_node/answer.h"
#include "bench/wifi_node/installer.h"

namespace bench::wifi {

using simulated::never;
using simulated::Time;

struct Exchange;

/// The node's HTTP server: POST /upload (a form with the file "sendfile"), POST /update (a form with the field
/// "softwarereleaseid") and GET /update/status_json, all behind basic authentication [RFC 9110, 7578, 7617]. It
/// answers when it has all of a request, or at once to a client that asks first whether it may go on.
///
/// Round of the caller's loop: `poll` on `descriptor()` until `next(now)`, then `run`.
///
/// Thread: any one; there is none inside.
class Http_server {
public:
    using Report = std::function<void(const std::string&)>;
    struct Settings {
        std::uint16_t port = 0; ///< on 127.0.0.1; 0 takes a free one
        std::string user = "flr";
        std::string password = "Vx7Qm2LpR9tKd";
        std::string package_path; ///< what an upload is written to; empty: nothing
        Answers upload, install, status;
        Time answer_delay{0};
        std::uint64_t read_rate = 0;             ///< bytes a second of an upload; 0: as fast as it goes
        std::uint64_t stop_reading = UINT64_MAX; ///< bytes of an upload, of which not one more is read
        std::uint64_t break_off = UINT64_MAX;    ///< bytes of an upload, at which the connection ends
    };

    /// `installer` outlives this.
    Http_server(Settings settings, Installer& installer, Report report);
    ~Http_server();
    Http_server(const Http_server&) = delete;
    Http_server& operator=(const Http_server&) = delete;

    /// Listens, after a `stop` on the same port as before. False when the port is taken.
    [[nodiscard]] bool start();
    void stop(); ///< ends all connections
    [[nodiscard]] std::uint16_t port() const noexcept { return settings_.port; }

    /// -1 while it is stopped; poll() ignores such an entry.
    [[nodiscard]] int descriptor() const;
    /// When `run` wants to be called though no event came; `never` when not at all.
    [[nodiscard]] Time next(Time now) const;
    void run(Time now);

    /// A client has the answer that tells of the end of the installation.
    [[nodiscard]] bool told_the_end() const noexcept { return told_the_end_; }

private:
    static MHD_Result on_call(void* self, MHD_Connection* connection, const char* url, const char* method,
                              const char* version, const char* data, std::size_t* size, void** context);
    static void on_completed(void* self, MHD_Connection* connection, void** context,
                             MHD_RequestTerminationCode reason);

    std::unique_ptr<Exchange> begin(MHD_Connection* connection, const std::string& what);
    [[nodiscard]] bool authorised(MHD_Connection* connection) const;
    MHD_Result read(Exchange& exchange, const char* data, std::size_t& size);
    MHD_Result answer(Exchange& exchange);
    Reply usual_reply(Exchange& exchange);
    MHD_Result send(const Exchange& exchange, const Reply& reply) const;
    void pause(MHD_Connection* connection, Time until);

    Settings settings_;
    Installer& installer_;
    Report report_;
    Time now_{0};
    bool told_the_end_ = false;
    MHD_Daemon* daemon_ = nullptr;
    std::map<MHD_Connection*, Time> paused_; ///< and until when
};

} // namespace bench::wifi
