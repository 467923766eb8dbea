// IPsec VPN: what other folders call.
#pragma once

// The eight tunnel policies (policy.h).
struct VpnTable;

// Row `vpn`: brings the enabled tunnels up and records them, takes the recorded ones down, and nothing.
// Choice: by default there is no tunnel (`vpn` is "1"): starting the firewall or the VPN then says that
// there is nothing to parse.
int start_vpn();
// Choice: a short `/var/tmp/vpn.conf` reads as if the rest were zero; texts in it without an end are ended
// within their fields.
int stop_vpn();  // -1: no tunnels are recorded
int create_vpn();

// Parses the policies into `table` (null: into a table of its own) and opens the packet filter for them,
// once per process. -1: the policies could not be parsed, the filter is as it was.
int start_vpn_fw(VpnTable *table);
