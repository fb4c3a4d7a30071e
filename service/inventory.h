#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "service/programmable_item.h"

namespace qv::can_bus::flr {

/// Every ECU that claimed an address on the bus, and the update files that are known.
///
/// An entry lives from the first claim of its address until the list is cleared; an ECU that leaves the bus
/// stays in it, and one that claims an address in use does not enter.
///
/// Thread: the bus thread alone, as claims change the list at any time and nothing here takes a lock.
class Inventory {
public:
    /// `verbose` counts the wish for reports of what matches.
    explicit Inventory(const std::uint32_t& verbose) noexcept
        : verbose_(verbose)
    {}

    /// A control function has claimed an address. 0 when it is a new entry, -1 when the address is known.
    int ecu_address_claimed(std::uint32_t address, name::Name name, std::shared_ptr<node::Node> node);
    /// Takes over an ECU identification that came from `address`.
    void ecu_identified(std::uint32_t address, std::span<const std::uint8_t> bytes);
    /// Takes over a software identification that came from `address`.
    void software_identified(std::uint32_t address, std::span<const std::uint8_t> bytes);
    /// Takes over what a wireless node's gateway at `address` reports: the host of the ECUs behind it.
    void gateway_reported(std::uint32_t address, std::span<const std::uint8_t> bytes);

    /// The entry of this address, hidden or not; null when there is none. Valid until the list is cleared.
    Programmable_item* find_ecu_by_address(std::uint32_t address) const;
    /// The entry at `index` among those that are not hidden, or null.
    Programmable_item* visible_ecu_at(std::int32_t index) const;

    /// Works out which update files fit the entry, and the newest version among them.
    void match_updates(Programmable_item& entry) const;
    /// Recomputes versions and matches of all visible entries.
    void refresh_ecu_strings() const;
    /// Forgets all entries; not while a session runs, which looks its target up here.
    void clear_ecu_list();

    std::unique_ptr<Programmable_item> ecu_list;         ///< head of the list
    std::int32_t ecu_count = 0;                          ///< entries, hidden ones too
    std::uint32_t ecu_list_changed = 0;                  ///< 1 once the list or an entry's identity changed
    std::vector<std::shared_ptr<HexParser>> hex_updates; ///< all images known

private:
    void set_host(const Programmable_item& sender, const std::string& host) const;

    const std::uint32_t& verbose_; ///< outlives the inventory
};

} // namespace qv::can_bus::flr
