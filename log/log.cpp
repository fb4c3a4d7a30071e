#include "log/log.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <new>
#include <utility>

#include <poll.h>

#include "comm/shutdown_message.h"
#include "framework/file/path_text.h"
#include "framework/string/collector.h"
#include "framework/thread/clock.h"
#include "log/thread.h"

namespace qv::log {

namespace {

using string::formatting::Collector;

constexpr Level own_level = 0;
constexpr Client default_client = 0;
constexpr int exit_patience_ms = 500;

/// Whether this thread is within a section that a log's mutex guards.
thread_local bool holds_mutex = false;

std::string with_separator(std::string directory, char separator)
{
    file::append_character(directory, separator);
    return directory;
}

std::string thread_name(const std::string& application_name, const void* log)
{
    std::array<char, 32> address;
    std::snprintf(address.data(), address.size(), "  %p", log);
    return application_name + address.data();
}

/// Takes the mutex unless another thread keeps it for too long.
std::unique_lock<std::mutex> lock_patiently(std::mutex& mutex)
{
    std::unique_lock lock(mutex, std::try_to_lock);
    for (int waited = 0; !lock && waited < exit_patience_ms; ++waited) {
        ::poll(nullptr, 0, 1);
        static_cast<void>(lock.try_lock());
    }
    return lock;
}

} // namespace

/// Holds the log's mutex. A mutex that fails logs it: not this one.
class Log::Lock {
public:
    explicit Lock(qv::thread::Mutex& mutex)
        : mutex_(mutex)
    {
        holds_mutex = true;
        mutex_.lock();
    }
    ~Lock()
    {
        mutex_.unlock();
        holds_mutex = false;
    }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

private:
    qv::thread::Mutex& mutex_;
};

Log::Log(const std::string& application_name, const qv::Version& version, std::string directory, char separator,
         Level highest_level)
    : level_(highest_level)
    , application_name_(application_name)
    , file_(application_name, version, with_separator(std::move(directory), separator))
{}

Log::~Log()
{
    write(own_level, default_client, "closing log");
    flush();
    const std::lock_guard guard(file_mutex_);
    close();
    comm::remove_dispatcher(dispatcher_);
}

bool Log::start()
{
    dispatcher_ = comm::create_dispatcher(application_name_ + " log", true);
    if (dispatcher_ == nullptr) {
        return false;
    }
    register_client(default_client, "default client");
    thread_ = std::make_shared<qv::thread::Handle>(thread_name(application_name_, this));
    if (!qv::thread::argument::start<std::shared_ptr<Log>>(thread_, &thread::Thread::thread_static,
                                                           shared_from_this(), qv::thread::Ending::join)) {
        comm::remove_dispatcher(std::exchange(dispatcher_, nullptr)); // without it no file appears
        return false;
    }
    return true;
}

void Log::stop()
{
    if (dispatcher_ != nullptr) {
        dispatcher_->post(std::make_unique<comm::message::shutdown::Application>());
        thread_->join();
    }
}

bool Log::accepts(Level level) const { return level <= level_ && !holds_mutex; }

void Log::write(Level level, Client client, string::Utf_8_string text)
{
    if (!accepts(level)) {
        return;
    }
    const Lock lock(mutex_);
    const std::size_t size = text.size();
    if (has_room(level, size) && append({client, level, std::move(text), 0, 0})) {
        waiting_bytes_ += size;
    } else {
        ++lost_;
    }
}

bool Log::has_room(Level level, std::size_t size) const noexcept
{
    const std::size_t more_lines = level == own_level ? reserved_lines : 0;
    const std::size_t more_bytes = level == own_level ? reserved_bytes : 0;
    return items_.size() < waiting_lines_maximum + more_lines &&
           waiting_bytes_ + size <= waiting_bytes_maximum + more_bytes;
}

/// Stamps the line with the time and queues it. The mutex is held, so that the clock never falls from one line to
/// the next. False when memory ends.
bool Log::append(Item item) noexcept
try {
    item.clock = time::now_ms();
    item.time = time::adjusted_time();
    items_.push_back(std::move(item));
    return true;
} catch (const std::bad_alloc&) {
    return false;
}

Client Log::register_client(std::string_view name)
{
    const Client number = next_client();
    register_client(number, std::string(name));
    return number;
}

Client Log::next_client()
{
    const Lock lock(mutex_);
    return ++client_last_;
}

void Log::register_client(Client number, const std::string& name)
{
    const std::string former = store_client(number, name);
    if (!former.empty() && former != name) {
        write(own_level, default_client,
              Collector("client %lu '%s' was already registered")(number)(former.c_str()));
    }
    write(own_level, default_client, Collector("client %lu '%s' registered")(number)(name.c_str()));
}

/// Gives the name that the number had.
std::string Log::store_client(Client number, std::string name)
{
    const Lock lock(mutex_);
    client_last_ = std::max(client_last_, number);
    clients_[number].swap(name);
    return name;
}

/// When memory ends, lines are lost, and no more.
void Log::flush()
try {
    deliver(write_items());
} catch (const std::bad_alloc&) { // NOLINT(bugprone-empty-catch): there is no log line to tell it
}

void Log::close_at_exit()
{
    write(own_level, default_client, "closing log");
    if (const auto guard = lock_patiently(file_mutex_)) {
        close();
    }
}

/// The file's mutex is held. When memory ends, the end of the file is lost, and no more.
void Log::close() noexcept
try {
    static_cast<void>(write_locked());
    write_clients();
    closed_ = true;
} catch (const std::bad_alloc&) { // NOLINT(bugprone-empty-catch): there is no log line to tell it
}

/// Writes what waits, and gives it.
Log::Items Log::write_items()
{
    const std::lock_guard guard(file_mutex_); // taken first: whoever takes the older lines writes them first
    return write_locked();
}

/// The same, with the file's mutex held. Lines that no file takes are dropped.
Log::Items Log::write_locked()
{
    Items items = take_items();
    if (!has_file()) {
        return {};
    }
    for (const Item& item : items) {
        file_.write(item);
    }
    file_.flush();
    return items;
}

/// Takes what waits, and tells at its end what was lost.
Log::Items Log::take_items()
{
    Items items; // what may fail comes before anything changes
    const Lock lock(mutex_);
    if (lost_ != 0 && append({default_client, own_level, Collector("%u lines lost")(lost_), 0, 0})) {
        lost_ = 0;
    }
    waiting_bytes_ = 0;
    items.swap(items_);
    return items;
}

/// The file's mutex is held.
bool Log::has_file() { return dispatcher_ != nullptr && !closed_ && file_.open(); }

/// The file's mutex is held.
void Log::write_clients()
{
    if (!has_file()) {
        return;
    }
    for (const auto& [number, name] : copy_of_clients()) {
        file_.write_client(number, name);
    }
    file_.flush();
}

std::map<Client, std::string> Log::copy_of_clients() const
{
    const Lock lock(mutex_);
    return clients_;
}

/// No lock is held while observers run.
void Log::deliver(Items items)
{
    for (Item& item : items) {
        item::Message written(std::move(item));
        dispatcher_->notify(written);
        dispatcher_->forward(written);
    }
}

} // namespace qv::log
