// Everything that a packet filter lets through, and what it keeps from LAN hosts, table by table.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "bench/packets/reach.h"
#include "bench/router_filter.h"

namespace rcbench {

struct PassingTable {
    std::string heading;
    packets::Side side;
    std::vector<packets::Row> rows;
};

// Those of what comes `from` there, or of the Internet, tunnels and the LAN. `examples`: each row with a
// packet.
std::vector<PassingTable> passing_tables(const packets::Space &space, const bench::RouterFilter &filter,
                                         std::optional<packets::Side> from, bool examples);

}  // namespace rcbench
