// The network around the router:
//
//     lan1 --eth0--+
//                  br0 [router] dsl0 ---- dsl [provider] inet ---- eth0 [internet]
//     lan2 --wl0---+            ppp-line- ppp
//                               atm-line- atm
//
// The interfaces towards the provider get the names the router knows (nas0, ppp0, atm1) from its tools when a
// circuit is up.
#pragma once

#include "bench/live/namespaces.h"

namespace live {

struct Network {
    Place lan1, lan2, router, provider, internet;
};

// The places and their links; `router_init` is process 1 of the router. Takes a fraction of a second.
Network make_network(const std::function<void()> &router_init);

// By its name: lan1, lan2, router, provider or internet; null: none of them.
const Place *find_place(const Network &network, const std::string &name);

// Takes the cables between router and provider away, or brings them back.
void plug_cables(bool in);

// The workstation's daemons outside: the provider's DHCP and name servers, a web server on the Internet.
void start_outside_services(const Network &network, const std::string &tool);

// ---- addresses that everybody knows -----------------------------------------------------------------------

constexpr const char *kWebServer = "198.51.100.80";
constexpr const char *kInternetHost = "198.51.100.10";
constexpr const char *kNameServer = "198.51.100.53";
constexpr const char *kLan1Address = "192.168.0.10";
constexpr const char *kLan2Address = "192.168.0.20";

}  // namespace live
