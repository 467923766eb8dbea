// The packet filter of a router on the desk, as data: what its runs of rc gave the filter tool, and where its
// kernel sends packets.
#pragma once

#include <string>
#include <vector>

#include "bench/packets/network.h"
#include "bench/packets/rules.h"
#include "bench/router.h"

namespace bench {

struct RouterFilter {
    packets::RuleSet rules;
    packets::Network network;
    std::string batch;      // the last file given to the tool
    size_t batch_line = 1;  // the number of its first line in `rules`
};

// `traces`: the runs in the root, in order; `interfaces`: those the root has. Throws packets::Error for a
// line that the model does not know.
RouterFilter router_filter(const Root &root, const std::vector<Interface> &interfaces,
                           const std::vector<Trace> &traces);

}  // namespace bench
