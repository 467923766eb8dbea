// VPN policies: the errors with which their reading would end, and tunnels that meet.
#include <algorithm>

#include "forms/lint/internal.h"

namespace forms {

namespace {

// What ends the reading of a policy, with the number that rc prints.
struct Fault {
    int number;
    const char *field;
    std::string why;
};

using MaybeFault = std::optional<Fault>;

uint32_t leading_ones(uint32_t mask)
{
    uint32_t bits = 0;
    while ((mask & 0x80000000U) != 0) {
        ++bits;
        mask <<= 1U;
    }
    return bits;
}

struct Ends {
    std::string first;
    std::string last;
};

// "FIRST...LAST" as rc cuts it: what is before the fourth dot and behind the sixth.
std::optional<Ends> read_ends(const std::string &text)
{
    size_t at = 0;
    size_t fourth = 0;
    for (int dot = 1; dot <= 6; ++dot) {
        at = text.find('.', at);
        if (at == std::string::npos) {
            return std::nullopt;
        }
        fourth = dot == 4 ? at : fourth;
        ++at;
    }
    constexpr size_t kShortest = 17;
    return text.size() < kShortest ? std::nullopt
                                   : std::optional<Ends>({text.substr(0, fourth), text.substr(at)});
}

// An interface of which the WAN address can be found.
bool has_wan(const Store &store)
{
    return store.get("wan_ifname") == "ppp0" || store.get("wan_ifname") == "nas0";
}

struct Side {
    const char *type;
    const char *net;
    int short_address;
    int bad_type;
};

constexpr Side kLocal = {"local_type", "local_net", -4, -7};
constexpr Side kRemote = {"remote_type", "remote_net", -8, -9};

MaybeFault net_fault(const Record &policy, const Side &side)
{
    const long type = policy.value(side.type);
    const std::string &net = policy[side.net];
    constexpr size_t kShortAddress = 6;
    if (type == 2 && net.size() < kShortAddress) {
        return Fault{side.short_address, side.net, "\"" + net + "\" is no address"};
    }
    if (type == 3 || type == 4) {
        const auto ends = read_ends(net);
        const int number = type == 3 ? -5 : -6;
        if (!ends) {
            return Fault{number, side.net,
                         "\"" + net + "\" is no " + (type == 3 ? "first...last" : "address...netmask")};
        }
        const auto first = read_address(ends->first);
        const auto last = read_address(ends->last);
        if (type == 3 && first && last && *last < *first) {
            return Fault{number, side.net, "the range \"" + net + "\" begins above its end"};
        }
    }
    return std::nullopt;
}

MaybeFault key_fault(const Record &policy)
{
    const size_t enc = policy["encryption"] == "0" ? 48 : 16;
    const size_t auth = policy["authentication"] == "1" ? 32 : 40;
    const auto fits = [](const std::string &key, size_t digits) {
        return key.size() == digits || key.size() == digits / 2;
    };
    if (!fits(policy["encryption_key"], enc)) {
        return Fault{-10, "encryption_key",
                     "the key must have " + std::to_string(enc) + " digits or " + std::to_string(enc / 2) +
                         " characters"};
    }
    if (policy["authentication"] != "0" && !fits(policy["authentication_key"], auth)) {
        return Fault{-11, "authentication_key",
                     "the key must have " + std::to_string(auth) + " digits or " + std::to_string(auth / 2) +
                         " characters"};
    }
    return std::nullopt;
}

MaybeFault policy_fault(const Record &policy)
{
    if (MaybeFault fault = net_fault(policy, kLocal)) {
        return fault;
    }
    if (policy["remote_type"] != "1") {
        if (MaybeFault fault = net_fault(policy, kRemote)) {
            return fault;
        }
    }
    return policy["keying"] == "2" ? key_fault(policy) : std::nullopt;
}

// ---- the other end ----------------------------------------------------------------------------------------

bool is_host_value(const char *key, const std::string &text)
{
    return refusals(*find_description(key), text).empty();
}

void lint_gateway(const Record &policy, bool has_wan, Findings &findings)
{
    const std::string &gateway = policy["gateway"];
    const bool is_address = is_host_value("fix_gateway", gateway);
    const bool is_name = is_host_value("ntp_server", gateway) && !read_address(gateway);
    const std::string &type = policy["gateway_type"];
    if (type == "0" || is_address || (type == "2" && is_name)) {
        return;
    }
    Finding &finding =
        findings.add(Grade::kError, "vpn-gateway", "vpn", policy, "gateway",
                     "\"" + gateway + "\" is no " + (type == "1" ? "address" : "host name or address") +
                         (type == "1" && is_name ? "; a host name needs gateway_type 2" : ""));
    if (has_wan && policy["keying"] == "1") {
        finding.message += "; the router will name it to the IPsec daemon as the peer";
        finding.claims = {runs("vpn start", " --to --host " + gateway + " ")};
    }
}

// ---- what a tunnel joins ----------------------------------------------------------------------------------

Span span_of(const Record &policy, const Side &side)
{
    constexpr Span kEverywhere = {0, 0xffffffffU};
    const std::string &net = policy[side.net];
    const long type = policy.value(side.type);
    if (type == 1) {
        return read_span(policy["gateway"]).value_or(Span{1, 0});
    }
    if (type == 2) {
        return read_span(net).value_or(Span{1, 0});
    }
    const auto ends = type == 5 ? std::nullopt : read_ends(net);
    const auto first = ends ? read_address(ends->first) : std::nullopt;
    const auto last = ends ? read_address(ends->last) : std::nullopt;
    if (!first || !last) {
        return type == 5 ? kEverywhere : Span{1, 0};
    }
    const uint32_t bits = leading_ones(type == 4 ? *last : ~(*first ^ *last));
    const uint32_t mask = bits == 0 ? 0 : ~uint32_t{0} << (32U - bits);
    return {*first & mask, *first | ~mask};
}

void lint_meeting(const std::vector<Record> &policies, const Record &policy, Findings &findings)
{
    for (const Record &earlier : policies) {
        if (earlier.number >= policy.number) {
            return;
        }
        if (earlier["enabled"] == "1" && span_of(earlier, kRemote).meets(span_of(policy, kRemote)) &&
            span_of(earlier, kLocal).meets(span_of(policy, kLocal))) {
            findings.add(Grade::kWarning, "tunnels-meet", "vpn", policy, "remote_net",
                         "joins nets that record " + std::to_string(earlier.number) + " joins too");
            return;
        }
    }
}

void lint_names(const std::vector<Record> &policies, const Record &policy, Findings &findings)
{
    constexpr size_t kFirstMost = 12;
    const std::string &name = policy["name"];
    if (policy.number == 1 && name.size() > kFirstMost) {
        findings
            .add(Grade::kError, "vpn-name", "vpn", policy, "name",
                 "the first policy's name has more than 12 characters; the router will take its end for the "
                 "interface")
            .claims = {runs("vpn start", "tncfg --attach --virtual ipsec0 --physical " + name.substr(13))};
    }
    for (const Record &earlier : policies) {
        if (earlier.number < policy.number && earlier["name"] == name && earlier["enabled"] == "1") {
            findings.add(Grade::kError, "vpn-name-twice", "vpn", policy, "name",
                         "record " + std::to_string(earlier.number) + " has this name too");
        }
    }
}

// Its reading does not end there, and yet it is no net: rc makes other addresses of it.
bool lint_net(const Record &policy, const Side &side, Findings &findings)
{
    const long type = policy.value(side.type);
    const std::string &net = policy[side.net];
    const auto ends = read_ends(net);
    const char *why = nullptr;
    if (type == 2 && !read_address(net)) {
        why = "is no address";
    } else if (type == 3 && !(ends && read_address(ends->first) && read_address(ends->last))) {
        why = "is no range first...last";
    } else if (type == 4 && !(ends && read_address(ends->first) && read_netmask(ends->last))) {
        why = "is no net address...netmask";
    }
    if (why != nullptr) {
        findings.add(Grade::kError, "vpn-net", "vpn", policy, side.net,
                     "\"" + net + "\" " + why + ", so the tunnel is for other hosts or for none");
    }
    return why == nullptr;
}

// The nets behind the router: the LAN, and what its active routes lead to.
std::vector<Span> own_nets(const Store &store, const Net &lan)
{
    std::vector<Span> nets = {{lan.first(), lan.last()}};
    for (const Record &route : fine_records(store, "rt_static_route")) {
        if (route["active"] == "1") {
            const Net net = {*read_address(route["destination"]), *read_address(route["netmask"])};
            nets.push_back({net.first(), net.last()});
        }
    }
    return nets;
}

void lint_sides(const Store &store, const Record &policy, Findings &findings)
{
    const bool is_local = lint_net(policy, kLocal, findings);
    const bool is_remote = lint_net(policy, kRemote, findings);
    const auto lan = lan_net(store);
    if (!lan) {
        return;
    }
    const std::vector<Span> nets = own_nets(store, *lan);
    const Span local = span_of(policy, kLocal);
    const bool is_own =
        std::any_of(nets.begin(), nets.end(), [&](const Span &net) { return net.meets(local); });
    if (is_local && !is_own) {
        findings.add(Grade::kWarning, "vpn-local", "vpn", policy, "local_net",
                     "no host of the LAN and of its routes is in \"" + policy["local_net"] +
                         "\", so nobody uses the tunnel");
    }
    if (is_remote && policy["remote_type"] != "5" &&
        span_of(policy, kRemote).meets({lan->first(), lan->last()})) {
        findings.add(Grade::kError, "vpn-remote", "vpn", policy,
                     policy["remote_type"] == "1" ? "gateway" : "remote_net",
                     "the other side has addresses of the LAN, and no host can reach both");
    }
}

void lint_policy(const Store &store, const std::vector<Record> &policies, const Record &policy,
                 Findings &findings)
{
    lint_names(policies, policy, findings);
    lint_gateway(policy, has_wan(store), findings);
    lint_sides(store, policy, findings);
    lint_meeting(policies, policy, findings);
    if (policy["keying"] == "1" && policy["psk"] == "0") {
        findings.add(Grade::kError, "psk-missing", "vpn", policy, "psk",
                     "automatic keying needs a pre-shared key, and 0 is one that everybody guesses");
    }
    for (const char *field : {"spi_in", "spi_out"}) {
        if (policy["keying"] == "2" && policy[field].find_first_not_of('0') == std::string::npos) {
            findings.add(Grade::kError, "spi-missing", "vpn", policy, field,
                         "manual keying needs a security parameter index other than 0");
        }
    }
    if (policy["encryption"] == "1") {
        findings.add(Grade::kWarning, "des", "vpn", policy, "encryption", "DES is broken; choose 0 (3DES)");
    }
    if (policy["exchange"] == "1") {
        findings.add(Grade::kNote, "aggressive", "vpn", policy, "exchange",
                     "aggressive mode shows the identities and lets the key be guessed off line");
    }
}

}  // namespace

void lint_vpn(const Store &store, Findings &findings)
{
    const std::vector<Record> policies = fine_records(store, "vpn");
    for (const Record &policy : policies) {
        if (const MaybeFault fault = policy_fault(policy)) {
            const std::string number = std::to_string(fault->number);
            Finding &finding = findings.add(Grade::kError, "vpn-error", "vpn", policy, fault->field,
                                            fault->why + " (error " + number + "); reading ends here");
            if (has_wan(store)) {
                finding.message =
                    fault->why + "; the router will end its reading here, with error number " + number;
                finding.claims = {prints("vpn start", "Error Number=" + number)};
            }
            return;
        }
        if (policy["enabled"] == "1") {
            lint_policy(store, policies, policy, findings);
        }
    }
}

}  // namespace forms
