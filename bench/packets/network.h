// The router's place in the world: its interfaces and addresses, and where its kernel sends a packet.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "bench/packets/rules.h"

namespace packets {

enum class Side { kLan, kWan, kTunnel, kRouter };

constexpr Side kSides[] = {Side::kLan, Side::kWan, Side::kTunnel, Side::kRouter};

const char *side_name(Side side);  // "lan", "wan", "tunnel", "router"

struct Route {
    Net net;
    Side side = Side::kWan;
};

// Ports that port triggering can open, as the platform's facility was told.
struct Trigger {
    bool tcp = false;
    bool udp = false;
    int first_port = 0;
    int last_port = 0;
    Origin origin = {};
};

// The mark that the platform puts on web traffic redirected to the router's own pages.
constexpr uint32_t kWebMark = 0x2643;
constexpr int kWebPort = 80;

struct Network {
    std::string lan_if = "br0";
    std::string wan_if = "ppp0";
    std::string tunnel_if = "ipsec0";
    Address lan_address = 0xc0a80001;
    int lan_bits = 24;
    std::optional<Address> wan_address = 0xcb00710a;
    int wan_bits = 32;
    std::vector<Route> routes = {};  // beside the LAN and the way out
    bool forwards = true;            // the kernel's ip_forward
    bool schedule_active = false;    // the kernel's flag "schedule"
    std::vector<Trigger> triggers = {};

    const std::string &interface(Side side) const;
    // The LAN address, the WAN address.
    std::vector<Address> own_addresses() const;
    bool is_own(Address address) const;
};

enum class Way { kLocal, kForward, kNowhere };

// The routing decision as a list: the first step whose nets have the packet's addresses decides.
struct RouteStep {
    Net source;
    Net destination;
    Way way = Way::kNowhere;
    Side out = Side::kWan;    // kForward
    const char *reason = "";  // kNowhere: why the kernel drops it
};

// For packets that arrive at an interface. Every packet fits a step.
std::vector<RouteStep> route_steps(const Network &network);

// Where the router's own packets go, and what is behind an interface.
Side side_of(const Network &network, Address destination);

// "0 tcp 6970 ..." lines written for the platform's facility: LAN interface, protocol, ports, WAN interface,
// incoming protocol, incoming ports. A line it cannot use opens nothing.
std::vector<Trigger> parse_triggers(const std::string &text);

}  // namespace packets
