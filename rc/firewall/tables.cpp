// The fixed part of the rule set: chains, base policy, flood and scan protection, web request matches.

#include "rc/firewall/tables.h"

#include <cstddef>
#include <string_view>

namespace {

consteval bool same_text(const char *left, const char *right)
{
    return std::string_view(left) == right;
}

consteval bool has_no_conversion(const char *const *formats)
{
    for (; *formats != nullptr; ++formats) {
        if (std::string_view(*formats).find('%') != std::string_view::npos) {
            return false;
        }
    }
    return true;
}

consteval bool are_unique(const char *const *formats)
{
    for (; *formats != nullptr; ++formats) {
        for (const char *const *other = formats + 1; *other != nullptr; ++other) {
            if (same_text(*formats, *other)) {
                return false;
            }
        }
    }
    return true;
}

consteval bool are_unique(const FwChain *chains)
{
    for (; chains->table != nullptr; ++chains) {
        for (const FwChain *other = chains + 1; other->table != nullptr; ++other) {
            if (same_text(chains->table, other->table) && same_text(chains->name, other->name)) {
                return false;
            }
        }
    }
    return true;
}

// The word behind `option` in a rule, empty when it has none.
consteval std::string_view word_behind(std::string_view rule, std::string_view option)
{
    const size_t place = rule.find(option);
    if (place == std::string_view::npos) {
        return {};
    }
    rule.remove_prefix(place + option.size());
    return rule.substr(0, rule.find(' '));
}

consteval bool is_built_in(std::string_view word)
{
    for (const std::string_view known :
         {"INPUT", "FORWARD", "PREROUTING", "POSTROUTING", "ACCEPT", "DROP", "RETURN", "LOG", "TCPMSS"}) {
        if (word == known) {
            return true;
        }
    }
    return false;
}

consteval bool exists(const FwChain *chains, std::string_view table, std::string_view name)
{
    for (; chains->table != nullptr; ++chains) {
        if (table == chains->table && name == chains->name) {
            return true;
        }
    }
    return false;
}

// Whether every chain that a rule is added to, or jumps to, is one of ours in that table, or the tool's own.
consteval bool chains_exist(const FwChain *chains, const char *const *formats)
{
    for (; *formats != nullptr; ++formats) {
        const std::string_view rule = *formats;
        const std::string_view given = word_behind(rule, "-t ");
        const std::string_view table = given.empty() ? std::string_view("filter") : given;
        for (const std::string_view option : {"-A ", "-I ", "-j "}) {
            const std::string_view word = word_behind(rule, option);
            if (!word.empty() && !is_built_in(word) && !exists(chains, table, word)) {
                return false;
            }
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

// The first is inserted, not appended: what the LAN sends to the router is accepted before anything else.
constexpr const char *const kLanRules[] = {
    "-I INPUT -i %s -j ACCEPT",
    "-A FW_BASIC -i %s -j ACCEPT",
    nullptr,
};

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

constexpr const char *const kLanRequestRules[] = {
    "-A CFILTER -i %s -m string --string GET -p tcp --dport 80 --tcp-flags ALL PSH,ACK -j HTTP",
    "-A CFILTER -i %s -m string --string POST -p tcp --dport 80 --tcp-flags ALL PSH,ACK -j HTTP",
    "-A CFILTER -i %s -m string --string HEAD -p tcp --dport 80 --tcp-flags ALL PSH,ACK -j HTTP",
    nullptr,
};

// clang-format on

static_assert(are_unique(kChains));
static_assert(are_unique(kBaseRules) && has_no_conversion(kBaseRules) && chains_exist(kChains, kBaseRules));
static_assert(are_unique(kLanRules) && chains_exist(kChains, kLanRules));
static_assert(are_unique(kFloodRules) && chains_exist(kChains, kFloodRules));
static_assert(are_unique(kLanRequestRules) && chains_exist(kChains, kLanRequestRules));
