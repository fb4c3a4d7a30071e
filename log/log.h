#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "comm/master.h"
#include "framework/log/hook.h"
#include "framework/thread/handle.h"
#include "framework/thread/mutex.h"
#include "log/item.h"
#include "log/log_file.h"
#include "log/version.h"

namespace qv::log {

/// The log of one run: takes lines from all threads, and keeps them until `flush` writes them.
///
/// Nobody who logs waits for the disk: `mutex_` guards short sections in memory alone, the lowest lock of the
/// system, and `file_mutex_` is for those who write. The last owner writes what is left, and the list of clients.
///
/// Thread: any, save for what is said below.
class Log final : public Sink, public std::enable_shared_from_this<Log> {
public:
    /// How many lines may wait, and how many bytes their texts may have: some 250 times what two busy buses log
    /// between two flushes. What comes beyond that, when the disk hangs or a component floods, is counted, and the
    /// next flush tells how many lines were lost. Lines of level 0 have some room beyond, so that the end of a run
    /// is told in any case.
    static constexpr std::size_t waiting_lines_maximum = 1U << 18;
    static constexpr std::size_t waiting_bytes_maximum = 32U << 20;
    static constexpr std::size_t reserved_lines = 1024;
    static constexpr std::size_t reserved_bytes = 1U << 20;

    /// `directory` gets `separator` at its end unless it is empty. `highest_level` is the highest that is logged.
    Log(const std::string& application_name, const qv::Version& version, std::string directory, char separator,
        Level highest_level);
    ~Log() override;

    /// Starts the log thread, which shares this. False without a comm core, when another log of that name is
    /// there, and when the system has no thread to give.
    [[nodiscard]] bool start();
    /// Ends the log thread and waits for its last flush. Not called on that thread.
    void stop();

    /// These cost no lock.
    bool accepts(Level level) const override;
    /// Takes a line. Drops it when too much waits.
    void write(Level level, Client client, string::Utf_8_string text) override;
    /// Gives out the next client number and registers it.
    Client register_client(std::string_view name) override;
    /// Registers, or renames, the client of that number, and logs it.
    void register_client(Client number, const std::string& name);

    /// Writes the lines that wait, and delivers each as an `item::Message` to the log's dispatcher. For the log
    /// thread.
    void flush();
    /// Writes what waits and the list of clients; what comes later is dropped. For a process that ends while other
    /// threads run: gives up when one of them keeps the file for half a second, and delivers no messages, since
    /// those who observe may have failed themselves.
    void close_at_exit();

    /// The log's own, which its thread drains; empty before `start`.
    const std::shared_ptr<comm::Dispatcher>& dispatcher() const noexcept { return dispatcher_; }
    const std::string& directory() const noexcept { return file_.directory(); }

private:
    using Items = std::deque<Item>; // grows without moving what it holds

    class Lock;

    bool has_room(Level level, std::size_t size) const noexcept;
    bool append(Item item) noexcept;
    Client next_client();
    std::string store_client(Client number, std::string name);
    Items write_items();
    Items write_locked();
    Items take_items();
    bool has_file();
    void write_clients();
    void close() noexcept;
    std::map<Client, std::string> copy_of_clients() const;
    void deliver(Items items);

    const Level level_; ///< constant: a line that is refused needs no lock
    const std::string application_name_;
    std::shared_ptr<comm::Dispatcher> dispatcher_; ///< set by `start`
    std::shared_ptr<qv::thread::Handle> thread_;   ///< set by `start`

    mutable qv::thread::Mutex mutex_; ///< guards the following
    Items items_;
    std::size_t waiting_bytes_ = 0; ///< of the texts of `items_`
    std::uint32_t lost_ = 0;        ///< lines dropped since the last flush
    Client client_last_ = 0;        ///< the highest number given out
    std::map<Client, std::string> clients_;

    std::mutex file_mutex_; ///< guards the following; taken before `mutex_`
    Log_file file_;
    bool closed_ = false; ///< the list of clients is written
};

} // namespace qv::log
