#pragma once

#include <string>

namespace qv::can_bus::flr {

/// Whether the version text `a` is newer than `b`.
///
/// Compared is what stands from the first digit on, segment by segment as package managers do it; a text with
/// a digit is newer than one without. When these tails are the same text, the whole texts decide.
bool newer(const std::string& a, const std::string& b);

} // namespace qv::can_bus::flr
