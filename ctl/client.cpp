#include "ctl/client.h"

#include <algorithm>
#include <cstring>
#include <sstream>

#include <FlintrowThrift.h>
#include <thrift/TOutput.h>
#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TSocket.h>

#include "ctl/exit_code.h"
#include "ctl/text.h"

namespace ctl {

namespace {

using apache::thrift::TApplicationException;
using apache::thrift::TException;
using apache::thrift::protocol::TBinaryProtocol;
using apache::thrift::transport::TBufferedTransport;
using apache::thrift::transport::TSocket;
using apache::thrift::transport::TTransportException;

/// Far above what a service tells, far below what would exhaust a terminal's memory.
constexpr std::int32_t string_limit = 1 << 20;
constexpr std::int32_t list_limit = 1 << 16;

/// The generated enumeration has no value for every number that can come, so it must not be read as one.
State state_of(const flintrow::stInfo& info)
{
    std::int32_t number = 0;
    static_assert(sizeof number == sizeof info.state);
    std::memcpy(&number, &info.state, sizeof number);
    return static_cast<State>(number);
}

Ecu ecu_of(const flintrow::ecuInfo& info)
{
    return {static_cast<std::uint64_t>(info.CANName),
            info.CANAddress,
            info.sECUName,
            info.sCurrentVersion,
            info.sUpdateVersion,
            info.stUpdateVersions};
}

/// The library would write to standard error on its own account.
void silence_library()
{
    apache::thrift::GlobalOutput.setOutputFunction([](const char*) {});
}

std::string seconds_text(std::chrono::milliseconds time)
{
    std::ostringstream text;
    text << std::chrono::duration<double>(time).count() << " s";
    return text.str();
}

} // namespace

Client::Client(const Peer& peer)
    : peer_(peer)
    , place_(concat("the service at ", printable(peer.host), " port ", std::to_string(peer.port)))
    , socket_(std::make_shared<TSocket>(peer.host, peer.port))
{
    silence_library();
    socket_->setConnTimeout(static_cast<int>(peer.timeout.count()));
    socket_->setSendTimeout(static_cast<int>(peer.timeout.count()));
    set_wait(peer.timeout);
    const auto transport = std::make_shared<TBufferedTransport>(socket_);
    client_ = std::make_unique<flintrow::FlintrowThriftClient>(
        std::make_shared<TBinaryProtocol>(transport, string_limit, list_limit, true, true));
    try {
        transport->open();
    } catch (const TTransportException& error) {
        throw Error(Exit::unreachable, place_ + " cannot be reached: " + printable(error.what()) +
                                           "\nIs it running, and is its update function enabled?");
    }
}

Client::~Client() = default;

void Client::set_wait(std::chrono::milliseconds wait)
{
    wait_ = wait;
    socket_->setRecvTimeout(static_cast<int>(wait.count()));
}

/// One call, with all that can go wrong told in one way.
template <class Call> auto Client::ask(Call call)
{
    try {
        return call(*client_);
    } catch (const TTransportException& error) {
        if (error.getType() == TTransportException::TIMED_OUT) {
            throw Error(Exit::timeout, place_ + " did not answer within " + seconds_text(wait_));
        }
        throw Error(Exit::lost, place_ + " ended the connection");
    } catch (const TApplicationException& error) {
        throw Error(Exit::failed, place_ + " could not do this: " + printable(error.what()));
    } catch (const TException& error) {
        throw Error(Exit::failed, concat("what answers is not ", place_, ": ", printable(error.what())));
    }
}

template <class Call> Answer Client::order(Call call)
{
    const std::int32_t number = ask(call);
    if (number > 0 || number < static_cast<std::int32_t>(Answer::unknown)) {
        throw Error(Exit::failed, place_ + " answered with the unknown code " + std::to_string(number));
    }
    return static_cast<Answer>(number);
}

template <class Call> Answer Client::order_with_files(Call call)
{
    set_wait(peer_.file_timeout);
    const auto answer = order(call);
    set_wait(peer_.timeout);
    return answer;
}

Status Client::status()
{
    return ask([](auto& client) {
        flintrow::stInfo info;
        client.GetStatus(info);
        return Status{state_of(info), info.__isset.progress ? info.progress : 0,
                      info.__isset.error ? std::optional(info.error) : std::nullopt};
    });
}

std::vector<Ecu> Client::ecus()
{
    return ask([](auto& client) {
        std::vector<flintrow::ecuInfo> list;
        client.GetECUList(list);
        std::vector<Ecu> ecus(list.size());
        std::transform(list.begin(), list.end(), ecus.begin(), ecu_of);
        return ecus;
    });
}

Identification Client::identification(std::uint64_t name)
{
    return ask([name](auto& client) {
        flintrow::ecuID id;
        client.GetECUID(id, static_cast<std::int64_t>(name));
        return Identification{id.PN, id.Rev, id.SN, id.Location, id.Type, id.Manuf};
    });
}

std::vector<Software> Client::software(std::uint64_t name)
{
    return ask([name](auto& client) {
        std::vector<flintrow::ecuSoftwareID> list;
        client.GetECUSoftwareIDs(list, static_cast<std::int64_t>(name));
        std::vector<Software> software(list.size());
        std::transform(list.begin(), list.end(), software.begin(), [](const flintrow::ecuSoftwareID& id) {
            return Software{id.SSL, id.SPN, id.SV};
        });
        return software;
    });
}

std::vector<std::string> Client::directories()
{
    return ask([](auto& client) {
        std::vector<std::string> list;
        client.ListDirectories(list);
        return list;
    });
}

Answer Client::update(std::uint64_t name)
{
    return order_with_files([name](auto& client) { return client.UpdateECU(static_cast<std::int64_t>(name)); });
}

Answer Client::update(std::uint64_t name, const std::string& version)
{
    return order_with_files(
        [&](auto& client) { return client.UpdateECUVersion(static_cast<std::int64_t>(name), version); });
}

Answer Client::acknowledge()
{
    return order([](auto& client) { return client.UpdateComplete(); });
}

Answer Client::scan(const std::string& directory)
{
    return order_with_files([&](auto& client) { return client.ScanDirectory(directory); });
}

Answer Client::clear()
{
    return order([](auto& client) { return client.ClearECUList(); });
}

Answer Client::shutdown()
{
    try {
        return order([](auto& client) { return client.Shutdown(); });
    } catch (const Error& error) {
        if (error.exit() != Exit::lost) {
            throw;
        }
        return Answer::done;
    }
}

} // namespace ctl
