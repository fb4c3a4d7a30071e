#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <random>
#include <string_view>

namespace bench::simulated {

/// The places of an update where a fault can be ordered. `data` is the middle of the transport of a chunk.
enum class Step : std::uint8_t { enter, rate, erase, write, data, checksum, reset };
inline constexpr std::size_t step_count = 7;
inline constexpr const char* step_names = "enter, rate, erase, write, data, checksum, reset";

[[nodiscard]] std::optional<Step> step_of(std::string_view name) noexcept;
[[nodiscard]] const char* name_of(Step step) noexcept;

/// A fault at the `occurrence`-th time (from 1) that a step is reached.
struct Fault_order {
    Step step = Step::enter;
    unsigned occurrence = 1;
};

/// Everything that shall go wrong, and the count of what has gone wrong already.
class Faults {
public:
    struct Orders {
        unsigned busy = 0; ///< so many requests of `busy_step` are answered with Busy
        Step busy_step = Step::erase;
        std::optional<Fault_order> refuse;
        std::optional<Fault_order> silent;
        std::optional<Fault_order> from; ///< lose, repeat and deaf begin there; at once when empty
        unsigned abort_transport = 0;    ///< so many chunk transports are aborted in the middle
        unsigned lose = 0;               ///< percent of the frames sent
        unsigned repeat = 0;             ///< percent of the frames sent
        unsigned deaf = 0;               ///< percent of the frames received
        bool transport_only = false;     ///< lose, repeat and deaf spare all other frames
        std::uint32_t random_seed = 1;
    };
    enum class Verdict { none, busy, refuse, silent };

    explicit Faults(const Orders& orders)
        : orders_(orders)
        , random_(orders.random_seed)
        , begun_(!orders.from)
    {}

    /// A request for this step is about to be served; Busy doesn't count as an occurrence.
    [[nodiscard]] Verdict on_step(Step step) noexcept;
    [[nodiscard]] bool abort_transport() noexcept;

    [[nodiscard]] bool lose(std::uint32_t pgn) { return hits(orders_.lose, pgn); }
    [[nodiscard]] bool repeat(std::uint32_t pgn) { return hits(orders_.repeat, pgn); }
    [[nodiscard]] bool deaf(std::uint32_t pgn) { return hits(orders_.deaf, pgn); }

private:
    [[nodiscard]] bool hits(unsigned percent, std::uint32_t pgn);

    Orders orders_;
    std::array<unsigned, step_count> occurrences_{};
    std::minstd_rand random_;
    bool begun_; ///< the place of the order `from` is reached
};

} // namespace bench::simulated
