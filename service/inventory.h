#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "service/catalogue.h"
#include "service/programmable_item.h"

namespace qv::can_bus::flr {

/// Every ECU that claimed an address on the bus, and which update files fit it.
///
/// An entry stands from the first claim of its address until the list is cleared; an ECU that leaves the bus
/// stays in it, and one that claims an address in use does not enter.
///
/// Thread: any. An entry never changes: whoever holds one has a whole entry of one moment. The lock is held for
/// the copy of one entry or of the list of pointers, so that nobody holds up the bus thread.
class Inventory {
public:
    using Entry = std::shared_ptr<const Programmable_item>;

    /// `verbose` counts the wish for reports of what matches; it outlives the inventory, as the catalogue does.
    Inventory(const std::uint32_t& verbose, const Catalogue& catalogue) noexcept
        : verbose_(verbose)
        , catalogue_(catalogue)
    {}

    /// A control function has claimed an address. 0 when it is a new entry, -1 when the address is known.
    int ecu_address_claimed(std::uint32_t address, name::Name name, std::shared_ptr<node::Node> node);
    /// Takes over an ECU identification that came from `address`.
    void ecu_identified(std::uint32_t address, std::span<const std::uint8_t> bytes);
    /// Takes over a software identification that came from `address`.
    void software_identified(std::uint32_t address, std::span<const std::uint8_t> bytes);
    /// Takes over what a wireless node's gateway at `address` reports: the host of the ECUs behind it.
    void gateway_reported(std::uint32_t address, std::span<const std::uint8_t> bytes);

    /// The entry of this address, hidden or not; empty when there is none.
    Entry find_ecu_by_address(std::uint32_t address) const;
    /// The entry at `index` among those that are not hidden, or empty.
    Entry visible_ecu_at(std::int32_t index) const;
    std::vector<Entry> visible_entries() const;
    /// Entries, hidden ones too.
    std::size_t ecu_count() const;

    /// Works out which update files fit the entry, and the newest version among them.
    void match_updates(Programmable_item& entry) const;
    /// Recomputes versions and matches of all visible entries.
    void refresh_ecu_strings();
    void clear_ecu_list();

    std::atomic<std::uint32_t> ecu_list_changed{0}; ///< 1 once the list or an entry's identity changed

private:
    void set_host(const Programmable_item& sender, const std::string& host);
    template <class Change> bool change(std::uint32_t address, Change change);
    template <class Updates>
    void match(const Updates& updates, const Programmable_item& entry, Updates& matches,
               std::vector<std::string>& versions) const;
    bool replace(const Entry& before, const Entry& after);
    bool refresh(const Entry& entry);
    std::vector<Entry> entries() const;

    const std::uint32_t& verbose_;
    const Catalogue& catalogue_;

    mutable std::mutex mutex_;
    std::vector<Entry> ecu_list_; ///< guarded by `mutex_`
};

} // namespace qv::can_bus::flr
