#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "can/network/pdu/name.h"

namespace qv::can_bus::working_set {

/// What a node has announced as the master of a working set [ISO 11783-7, working set messages]. It never ages.
///
/// Thread: the bus thread. Lifetime: the node owns it.
class Handler {
public:
    /// A count is one byte and counts the master.
    static constexpr std::size_t members_maximum = 254;

    /// The node is a master, and its announcement begins anew: `count` members, the master among them. A count of
    /// 0 says the same as 1.
    void begin(std::uint8_t count)
    {
        master_ = true;
        expected_members_ = count == 0 ? 0U : count - 1U;
        members_.clear();
    }

    /// The next member. Whether the announcement is complete now, which it becomes once: a NAME counts the first
    /// time, and further ones are too many. More of those than any count allows are forgotten.
    [[nodiscard]] bool add(name::Name member)
    {
        if (has_member(member) || members_.size() > members_maximum) {
            return false;
        }
        members_.push_back(member);
        return members_.size() == expected_members_;
    }

    bool is_master() const noexcept { return master_; }
    bool has_member(name::Name member) const noexcept
    {
        return std::ranges::find(members_, member) != members_.end();
    }
    const std::vector<name::Name>& members() const noexcept { return members_; }

private:
    bool master_ = false;                ///< the node has sent Working Set Master
    std::uint32_t expected_members_ = 0; ///< without the master
    std::vector<name::Name> members_;    ///< in the order in which they came, each once
};

} // namespace qv::can_bus::working_set
