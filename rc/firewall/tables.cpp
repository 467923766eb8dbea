// The fixed part of the rule set: chains, base policy, flood and scan protection, web request matches.
//
// Reads:  -
// Writes: -
// Runs:   -
// Needs:  -

#include "rc/firewall/tables.h"

#include <cstddef>
#include <string_view>

namespace {

template <size_t N>
constexpr bool has_no_conversion(const char *const (&formats)[N])
{
    for (const char *format : formats) {
        if (format != nullptr && std::string_view(format).find('%') != std::string_view::npos) {
            return false;
        }
    }
    return true;
}

}  // namespace

// clang-format off

// DNS, PRE_PROXY and PROXY stay empty, for other programs; MINIUPNPD belongs to the UPnP daemon, VPN to the
// tunnels.
constexpr FwChain kChains[] = {
    {"nat",    "PRE_BASIC"},
    {"nat",    "DNS"},
    {"nat",    "PRE_PROXY"},
    {"nat",    "MINIUPNPD"},
    {"nat",    "PT"},
    {"nat",    "NAPT"},
    {"nat",    "VS"},
    {"nat",    "DMZ"},
    {"nat",    "VPN"},
    {"filter", "DOS"},
    {"filter", "SCAN"},
    {"filter", "PROXY"},
    {"filter", "LOCAL_SERVICE"},
    {"filter", "OUT_FILTER"},
    {"filter", "CFILTER"},
    {"filter", "HTTP"},
    {"filter", "BLOCK"},
    {"filter", "IN_FILTER"},
    {"filter", "MINIUPNPD"},
    {"filter", "FW_BASIC"},
    {nullptr,  nullptr},
};
static_assert(sizeof kChains / sizeof kChains[0] == 20 + 1);

constexpr const char *const kBaseRules[] = {
    "-t nat -A PREROUTING -j PRE_BASIC",
    "-t nat -A PREROUTING -j PRE_PROXY",
    "-t nat -A PREROUTING -j MINIUPNPD",
    "-t nat -A PREROUTING -j PT",
    "-t nat -A PREROUTING -j NAPT",
    "-t nat -A PREROUTING -j VS",
    "-t nat -A PREROUTING -j DMZ",
    "-P INPUT DROP",
    "-A INPUT -i lo -j ACCEPT",
    "-A INPUT -i ipsec0 -j ACCEPT",
    "-A INPUT -m state --state ESTABLISHED,RELATED -j ACCEPT",
    "-A INPUT -p tcp --syn -j DOS",
    "-A INPUT -p udp -j DOS",
    "-A INPUT -p icmp --icmp-type echo-request -j DOS",
    "-A INPUT -j PROXY",
    "-A INPUT -j LOCAL_SERVICE",
    "-P FORWARD DROP",
    "-A FORWARD -j OUT_FILTER",
    "-A FORWARD -j CFILTER",
    "-A FORWARD -p tcp --syn -j DOS",
    "-A FORWARD -p udp -j DOS",
    "-A FORWARD -p icmp --icmp-type echo-request -j DOS",
    "-A FORWARD -j FW_BASIC",
    "-A FORWARD -j IN_FILTER",
    "-A FORWARD -j MINIUPNPD",
    "-A FW_BASIC -i lo -j ACCEPT",
    "-A FW_BASIC -i ipsec0 -j ACCEPT",
    "-A FW_BASIC -p tcp --tcp-flags SYN,RST SYN -j TCPMSS --clamp-mss-to-pmtu",
    "-A FW_BASIC -m state --state ESTABLISHED,RELATED -j ACCEPT",
    "-A FW_BASIC -m mark --mark 0x2511 -j ACCEPT",
    "-A LOCAL_SERVICE -m mark --mark 0x2511 -j ACCEPT",
    "-t nat -A POSTROUTING -j VPN",
    nullptr,
};
static_assert(sizeof kBaseRules / sizeof kBaseRules[0] == 32 + 1);
static_assert(has_no_conversion(kBaseRules));

// The first is inserted, not appended: what the LAN sends to the router is accepted before anything else.
constexpr const char *const kLanRules[] = {
    "-I INPUT -i %s -j ACCEPT",
    "-A FW_BASIC -i %s -j ACCEPT",
    nullptr,
};
static_assert(sizeof kLanRules / sizeof kLanRules[0] == 2 + 1);

constexpr const char *const kFloodRules[] = {
    "-A DOS -i ! %s -j RETURN",
    "-A DOS -m psd -j SCAN",
    "-A SCAN -m limit --limit 10/s -j LOG --log-level 4 --log-prefix \"[PORT SCAN]\"",
    "-A SCAN -j DROP",
    "-A DOS -p tcp --syn -m limit --limit 5/s --limit-burst 10 -j RETURN",
    "-A DOS -p udp -m limit --limit 5/s --limit-burst 10 -j RETURN",
    "-A DOS -p icmp --icmp-type echo-request -m limit --limit 5/s --limit-burst 60 -j RETURN",
    "-A DOS -m limit --limit 10/s -j LOG --log-level 4 --log-prefix \"[DOS] \"",
    "-A DOS -j DROP",
    nullptr,
};
static_assert(sizeof kFloodRules / sizeof kFloodRules[0] == 9 + 1);

constexpr const char *const kLanRequestRules[] = {
    "-A CFILTER -i %s -m string --string GET -p tcp --dport 80 --tcp-flags ALL PSH,ACK -j HTTP",
    "-A CFILTER -i %s -m string --string POST -p tcp --dport 80 --tcp-flags ALL PSH,ACK -j HTTP",
    "-A CFILTER -i %s -m string --string HEAD -p tcp --dport 80 --tcp-flags ALL PSH,ACK -j HTTP",
    nullptr,
};
static_assert(sizeof kLanRequestRules / sizeof kLanRequestRules[0] == 3 + 1);

// clang-format on
