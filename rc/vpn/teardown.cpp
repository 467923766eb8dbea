// VPN teardown: takes down exactly the tunnels that the last start recorded.
//
// Reads:  -
// Writes: /var/tmp/vpn.conf /proc/br_trigger
// Runs:   killall ifconfig ipsec
// Needs:  /var/tmp/vpn.conf; without it nothing is up
#include <algorithm>
#include <iterator>

#include "rc/rc.h"
#include "rc/vpn/internal.h"

int vpn_down(const VpnPolicy *table)
{
    for (int i = 0; table != nullptr && i < kVpnPolicies; i++) {
        if (table[i].enabled != 0 && table[i].keying == kKeyingManual) {
            manual_keying_down(table[i]);
        }
    }
    run("/sbin/ifconfig ipsec0 down");
    run("/usr/sbin/ipsec tncfg --clear");
    run("/usr/sbin/ipsec whack --shutdown");
    if (const File trigger = open_file("/proc/br_trigger", "w")) {
        (void)fputc(':', trigger.get());
    }
    return 0;
}

int stop_vpn()
{
    VpnTable table = {};
    run("/usr/bin/killall keepalive");
    {
        const File conf = open_file(kVpnConfPath, "r");
        if (!conf) {
            return -1;
        }
        // What a short file lacks stays zero, that is, disabled.
        (void)!fread(&table, 1, sizeof(table), conf.get());
    }
    terminate_texts(table);
    remove_file(kVpnConfPath);
    const auto enabled = [](const VpnPolicy &policy) { return policy.enabled == 1; };
    if (std::any_of(std::begin(table.policies), std::end(table.policies), enabled)) {
        vpn_down(table.policies);
    }
    stop_vpn_fw();
    return 0;
}
