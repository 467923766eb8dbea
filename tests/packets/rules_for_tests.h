// Small rule sets for the tests of the packet filter.
#pragma once

#include <string>
#include <vector>

#include "bench/packets/load.h"
#include "bench/packets/walk.h"

namespace filter_tests {

// The default network: LAN br0 192.168.0.1/24, Internet ppp0 203.0.113.10.
inline packets::Network network()
{
    return {};
}

// Rules without the tool's name, one after the other.
inline packets::RuleSet rules(const std::vector<std::string> &lines)
{
    std::string file;
    for (const std::string &line : lines) {
        file += "iptables " + line + "\n";
    }
    return packets::load_rules(file);
}

inline packets::Packet packet(const std::string &text, packets::Side from = packets::Side::kWan)
{
    return packets::parse_packet(text, network(), from).packet;
}

inline packets::Walk walk(const packets::RuleSet &rules, const std::string &text,
                          packets::Side from = packets::Side::kWan)
{
    return packets::walk(rules, network(), packet(text, from));
}

// "accept 192.168.0.20:443", "drop", "reject"
inline std::string fate(const std::vector<std::string> &lines, const std::string &text,
                        packets::Side from = packets::Side::kWan)
{
    const packets::RuleSet set = rules(lines);
    const packets::Packet asked = packet(text, from);
    const packets::Walk way = packets::walk(set, network(), asked);
    const std::string verdict = packets::verdict_name(way.verdict);
    return way.verdict == packets::Verdict::kAccept
               ? verdict + " " + packets::endpoint_text(way.to, asked.protocol)
               : verdict;
}

}  // namespace filter_tests
