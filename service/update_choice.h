#pragma once

#include <memory>
#include <optional>
#include <string>

#include "can/network/node/node.h"
#include "service/hex_parser.h"
#include "service/options.h"
#include "service/programmable_item.h"
#include "service/zip_parser.h"

namespace qv::can_bus::flr {

/// What a session is to do: bring an image over CAN, or a package to a wireless node.
struct Update_choice {
    std::shared_ptr<const HexParser> image;   ///< parsed in full; empty for a package
    std::shared_ptr<const ZipParser> package; ///< empty for an image
    std::shared_ptr<node::Node> target;
};

/// Chooses the matching image, or without any image the package, of this version for the entry's ECU. 0 with the
/// choice, and without one when nothing matches the entry; -1 when the image does not parse; -2 when there is no
/// update of this version, or another file has taken its place.
///
/// Thread: any.
int choose_update(const Programmable_item& entry, const std::string& version, const Options& options,
                  std::optional<Update_choice>& choice);

} // namespace qv::can_bus::flr
