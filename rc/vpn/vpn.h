// IPsec VPN: what other folders call.
#pragma once

// One tunnel policy (policy.h); the VPN works on tables of kVpnPolicies of them.
struct VpnPolicy;

constexpr int kVpnPolicies = 8;

// Row `vpn`: brings the enabled tunnels up and records them, takes the recorded ones down, and nothing.
int start_vpn();
int stop_vpn();  // -1: no tunnels are recorded
int create_vpn();

// Parses the policies into `table` (null: into a table of its own) and opens the packet filter for them,
// once per process. -1: the policies could not be parsed, the filter is as it was.
int start_vpn_fw(VpnPolicy *table);
