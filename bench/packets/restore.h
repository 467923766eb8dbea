// A rule set in the words of today's filter tool, as a file for iptables-restore. What today's kernels lack
// is decided by circumstances (schedule flag, rate limits, scan detection, triggered ports) or done in
// another way; each is noted.
#pragma once

#include <string>
#include <vector>

#include "bench/packets/network.h"
#include "bench/packets/packet.h"
#include "bench/packets/rules.h"

namespace packets {

enum class Foreign {
    kScan,       // match psd: never or always, as asked
    kSchedule,   // match condition: never or always, as asked
    kLimit,      // match limit: never or always, as asked
    kPnat,       // target PNAT: marks the ports of the network's triggers, or nothing
    kHttpBlock,  // reject type http-block: a reset
    kNatDrop,    // DROP in table nat: marked there and dropped in table filter
};

const char *foreign_name(Foreign foreign);  // "match psd"...

struct ForeignLine {
    size_t line = 0;
    Foreign foreign = Foreign::kScan;
    bool operator==(const ForeignLine &) const = default;
};

struct Restore {
    std::string text;
    std::vector<ForeignLine> foreign;
};

// `web_mark` of the circumstances adds what the platform does: web traffic that nat sent to the router is
// marked.
Restore restore_file(const RuleSet &rules, const Network &network, const Circumstances &now);

}  // namespace packets
