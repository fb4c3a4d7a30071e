#include "service/chunk_transfer.h"

#include <utility>

#include "can/network/ecu/ecu.h"
#include "can/network/tp/data_supplier.h"
#include "service/memory_access.h"

namespace qv::can_bus::flr {

/// One sending of a chunk. The transport holds it until it is done.
class Chunk_transfer::Sending final : public data_supplier::Data_supplier {
public:
    Sending(std::shared_ptr<node::Node> node, bool is_one_frame) noexcept
        : receiver(std::move(node))
        , is_through(is_one_frame)
    {}

    bool get(std::span<std::uint8_t> view, const Byte_array& payload, std::uint32_t offset) override
    {
        is_through = is_through || offset + view.size() == payload.size();
        return Data_supplier::get(view, payload, offset);
    }

    const std::shared_ptr<node::Node> receiver;
    bool is_through; ///< its last byte has been sent
};

void Chunk_transfer::announce() noexcept
{
    transfer_step_ = Transfer_step::announced;
    holder_.reset();
}

void Chunk_transfer::send(std::span<const std::uint8_t> chunk, const std::shared_ptr<node::Node>& node,
                          const std::shared_ptr<node::Node>& target, bool is_repeated)
{
    note_holder();
    auto data = memory_access::chunk_data(chunk);
    const bool is_one_frame = data != nullptr && data->size() <= ecu::ECU::frame_size_maximum;
    const bool is_under_way = sending_.use_count() > 1 || (sending_ != nullptr && is_one_frame && is_repeated);
    const bool is_for_stranger = node != target;
    if ((is_under_way && (sending_->receiver == node || is_for_stranger)) ||
        (is_for_stranger && holder_ != nullptr && holder_ == target) || !own_ecu_.is_claimed()) {
        return;
    }
    withdraw();
    sending_ = std::make_shared<Sending>(node, is_one_frame);
    own_ecu_.send_with_transport(node, pdu::pgn::memory_access_data, std::move(data), sending_);
}

bool Chunk_transfer::has_reached(const std::shared_ptr<node::Node>& node)
{
    note_holder();
    return holder_ != nullptr && holder_ == node;
}

/// A repetition would reach the ECU as the data of the next chunk.
void Chunk_transfer::complete()
{
    withdraw();
    transfer_step_ = Transfer_step::completed;
}

void Chunk_transfer::stop()
{
    withdraw();
    transfer_step_ = Transfer_step::none;
}

/// The transport repeats it no more.
void Chunk_transfer::withdraw()
{
    if (sending_ != nullptr) {
        own_ecu_.withdraw(*sending_);
        sending_.reset();
    }
}

void Chunk_transfer::note_holder()
{
    if (sending_ != nullptr && sending_->is_through) {
        holder_ = sending_->receiver;
    }
}

} // namespace qv::can_bus::flr
