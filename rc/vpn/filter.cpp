// VPN packet filter: lets key exchange, ESP and tunnel traffic through and fills the NAT chain VPN.
//
// Runs:   iptables
// Needs:  the NAT chains VPN (firewall) and BYPASS_TMSS (the platform's; never created or emptied here)
//
// Opened and closed at most once per process: a start that stops what ran before neither deletes the rules
// it is about to insert nor inserts them twice.

#include "rc/vpn/internal.h"

#include <cstdio>

#include "rc/rc.h"

namespace {

bool filter_opened = false;
bool filter_closed = false;

bool is_remote_network(int type)
{
    return type == kNetworkSingle || type == kNetworkRange || type == kNetworkSubnet;
}

void open_for(const VpnPolicy &policy)
{
    // What the router itself sends into the tunnel leaves with the LAN-side network address, so that it
    // belongs to the tunnel's local client.
    run_filled("/usr/sbin/iptables -t nat -I VPN -s %s -o ipsec0 -j SNAT --to-source %s", policy.wan_ip,
               policy.local_addr);
    if (is_remote_network(policy.remote_type)) {
        run_filled("/usr/sbin/iptables -t nat -A BYPASS_TMSS -d %s/%d -j ACCEPT", policy.remote_addr,
                   tmss_mask2bits(policy.remote_mask));
    }
}

}  // namespace

int stop_vpn_fw()
{
    if (filter_closed) {
        return 1;
    }
    filter_closed = true;
    run("/usr/sbin/iptables -D INPUT -p udp --dport 500 -j ACCEPT");
    run("/usr/sbin/iptables -D INPUT -p esp -j ACCEPT");
    run("/usr/sbin/iptables -D INPUT -i ipsec0 -j ACCEPT");
    run("/usr/sbin/iptables -D FORWARD -i ipsec0 -j ACCEPT");
    // Deliberate: the entries in BYPASS_TMSS stay.
    return run("/usr/sbin/iptables -t nat -F VPN");
}

bool any_enabled(const VpnTable &table)
{
    for (const VpnPolicy &policy : table.policies) {
        if (policy.enabled == 1) {
            return true;
        }
    }
    return false;
}

int start_vpn_fw(VpnTable *table)
{
    VpnTable own;
    if (table == nullptr) {
        table = &own;
    }
    *table = {};
    if (const int error = parse_conf(*table); error < 0) {
        (void)printf("parse_conf Error!!\nError Number=%d\n", error);
        return -1;
    }
    if (filter_opened) {
        return 0;
    }
    (void)stop_vpn_fw();
    run("/usr/sbin/iptables -I INPUT -p udp --dport 500 -j ACCEPT");
    run("/usr/sbin/iptables -I INPUT -p esp -j ACCEPT");
    run("/usr/sbin/iptables -I INPUT -i ipsec0 -j ACCEPT");
    run("/usr/sbin/iptables -I FORWARD -i ipsec0 -j ACCEPT");
    for (const VpnPolicy &policy : table->policies) {
        if (policy.enabled != 0) {
            open_for(policy);
        }
    }
    filter_opened = true;
    return 0;
}
