#include "bench/packets/network.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

namespace packets {

namespace {

constexpr Net kEverything = {0, 0};
constexpr Net kMulticast = {0xe0000000, 0xf0000000};
constexpr Net kLocalMulticast = {0xe0000000, 0xffffff00};
constexpr Net kReserved = {0xf0000000, 0xf0000000};
constexpr Net kLoopback = {0x7f000000, 0xff000000};
constexpr Net kThisNet = {0, 0xff000000};
constexpr Net kNobody = {0, 0xffffffff};
constexpr Net kEverybody = {0xffffffff, 0xffffffff};

Net host(Address address)
{
    return {address, 0xffffffff};
}

// The first and the last address of a network, where it has room for more than two hosts.
std::vector<Address> broadcasts(Address address, int bits)
{
    if (bits >= 31) {
        return {};
    }
    const Net net = net_of(address, bits);
    return {net.address, net.address | ~net.mask};
}

std::vector<Address> all_broadcasts(const Network &network)
{
    std::vector<Address> all = broadcasts(network.lan_address, network.lan_bits);
    if (network.wan_address) {
        const std::vector<Address> wan = broadcasts(*network.wan_address, network.wan_bits);
        all.insert(all.end(), wan.begin(), wan.end());
    }
    return all;
}

// Longest prefix first, the way out last.
std::vector<Route> sorted_routes(const Network &network)
{
    std::vector<Route> routes = network.routes;
    routes.push_back({net_of(network.lan_address, network.lan_bits), Side::kLan});
    if (network.wan_address) {
        routes.push_back({net_of(*network.wan_address, network.wan_bits), Side::kWan});
    }
    std::stable_sort(routes.begin(), routes.end(),
                     [](const Route &a, const Route &b) { return a.net.mask > b.net.mask; });
    if (network.wan_address) {
        routes.push_back({kEverything, Side::kWan});
    }
    return routes;
}

bool parse_ports(const std::string &text, Trigger &trigger)
{
    char rest = 0;
    const int fields = sscanf(text.c_str(), "%d-%d%c", &trigger.first_port, &trigger.last_port, &rest);
    if (fields == 1) {
        trigger.last_port = trigger.first_port;
    }
    return (fields == 1 || fields == 2) && trigger.first_port >= 0 &&
           trigger.first_port <= trigger.last_port && trigger.last_port <= 65535;
}

}  // namespace

const char *side_name(Side side)
{
    switch (side) {
        case Side::kLan:
            return "lan";
        case Side::kWan:
            return "wan";
        case Side::kTunnel:
            return "tunnel";
        case Side::kRouter:
            return "router";
    }
    return "";
}

const std::string &Network::interface(Side side) const
{
    static const std::string loopback = "lo";
    switch (side) {
        case Side::kLan:
            return lan_if;
        case Side::kWan:
            return wan_if;
        case Side::kTunnel:
            return tunnel_if;
        default:
            return loopback;
    }
}

std::vector<Address> Network::own_addresses() const
{
    std::vector<Address> own = {lan_address};
    if (wan_address) {
        own.push_back(*wan_address);
    }
    return own;
}

bool Network::is_own(Address address) const
{
    return address == lan_address || wan_address == address;
}

std::vector<RouteStep> route_steps(const Network &network)
{
    using enum Way;
    std::vector<RouteStep> steps = {
        {kMulticast, kEverything, kNowhere, Side::kWan, "the source is a multicast address"},
        {kReserved, kEverything, kNowhere, Side::kWan, "the source is a reserved address"},
        {kLoopback, kEverything, kNowhere, Side::kWan, "the source is a loopback address"},
    };
    for (const Address own : network.own_addresses()) {
        steps.push_back(
            {host(own), kEverything, kNowhere, Side::kWan, "the source is an address of the router"});
    }
    const std::vector<Address> broadcast = all_broadcasts(network);
    for (const Address address : broadcast) {
        steps.push_back(
            {host(address), kEverything, kNowhere, Side::kWan, "the source is a broadcast address"});
    }
    const std::vector<RouteStep> unusual = {
        {kEverything, kEverybody, kLocal},
        {kNobody, kNobody, kLocal},
        {kThisNet, kLocalMulticast, kLocal},
        {kThisNet, kEverything, kNowhere, Side::kWan, "the source is no host's address"},
        {kEverything, kReserved, kNowhere, Side::kWan, "the destination is a reserved address"},
        {kEverything, kThisNet, kNowhere, Side::kWan, "the destination is no host's address"},
        {kEverything, kLoopback, kNowhere, Side::kWan, "the destination is a loopback address"},
    };
    steps.insert(steps.end(), unusual.begin(), unusual.end());
    steps.push_back({kEverything, kMulticast, kLocal});
    for (const Address own : network.own_addresses()) {
        steps.push_back({kEverything, host(own), kLocal});
    }
    for (const Address address : broadcast) {
        steps.push_back({kEverything, host(address), kLocal});
    }
    if (!network.forwards) {
        steps.push_back({kEverything, kEverything, kNowhere, Side::kWan, "forwarding is switched off"});
    }
    for (const Route &route : sorted_routes(network)) {
        steps.push_back({kEverything, route.net, kForward, route.side});
    }
    steps.push_back({kEverything, kEverything, kNowhere, Side::kWan, "no route leads there"});
    return steps;
}

Side side_of(const Network &network, Address destination)
{
    if (network.is_own(destination) || kLoopback.has(destination)) {
        return Side::kRouter;
    }
    for (const Route &route : sorted_routes(network)) {
        if (route.net.has(destination)) {
            return route.side;
        }
    }
    return Side::kWan;
}

std::vector<Trigger> parse_triggers(const std::string &text)
{
    std::vector<Trigger> triggers;
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        std::string lan;
        std::string skipped;
        std::string protocol;
        std::string ports;
        words >> lan;
        if (lan == "0") {
            triggers.clear();
            continue;
        }
        words >> skipped >> skipped >> skipped >> protocol >> ports;
        Trigger trigger;
        trigger.tcp = protocol == "tcp" || protocol == "both";
        trigger.udp = protocol == "udp" || protocol == "both";
        if ((trigger.tcp || trigger.udp) && parse_ports(ports, trigger)) {
            triggers.push_back(trigger);
        }
    }
    return triggers;
}

}  // namespace packets
