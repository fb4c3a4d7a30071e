// Made by scripts/name_tables from data/device_classes.tsv and data/industry_groups.tsv.
#pragma once

#include "can/network/names/row.h"

namespace qv::can_bus::names::table {

// clang-format off
/// Names by industry group.
inline constexpr Row industry_groups[] = {
    {0, "global"},
    {1, "highway equipment"},
    {2, "agriculture/forestry"},
    {3, "construction equipment"},
    {4, "marine"},
    {5, "industrial"},
};

/// Names of industry group 2, by device class.
inline constexpr Row device_classes[] = {
    {0, "non-specific"},
    {1, "tractor"},
    {2, "tillage"},
    {3, "secondary tillage"},
    {4, "planter/seeder"},
    {5, "fertilizer"},
    {6, "sprayer"},
    {7, "harvester"},
    {8, "root harvester"},
    {9, "forage"},
    {10, "irrigation"},
    {11, "transport/trailer"},
    {12, "farm yard operation"},
    {13, "powered auxiliary device"},
    {14, "special crop"},
    {15, "earth work"},
    {16, "skidder"},
    {17, "sensor system"},
    {18, "reserved"},
    {19, "timber harvester"},
    {20, "forwarder"},
    {21, "timber loader"},
    {22, "timber processing machine"},
    {23, "mulcher"},
    {24, "utility vehicle"},
    {25, "slurry applicator"},
};
// clang-format on

} // namespace qv::can_bus::names::table
