// VPN teardown: takes down exactly the tunnels that the last start recorded.
//
// Writes: /var/tmp/vpn.conf /proc/br_trigger
// Runs:   killall ifconfig ipsec
// Needs:  /var/tmp/vpn.conf; without it nothing is up

#include "rc/vpn/internal.h"

#include "rc/files.h"
#include "rc/rc.h"

namespace {

void stop_manual_tunnels(const VpnTable &table)
{
    for (const VpnPolicy &policy : table.policies) {
        if (policy.enabled != 0 && policy.keying == kKeyingManual) {
            (void)manual_keying_down(policy);
        }
    }
}

}  // namespace

int vpn_down(const VpnTable *table)
{
    if (table != nullptr) {
        stop_manual_tunnels(*table);
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
        (void)!fread(&table, 1, sizeof table, conf.get());
    }
    terminate_texts(table);
    remove_file(kVpnConfPath);
    if (any_enabled(table)) {
        (void)vpn_down(&table);
    }
    (void)stop_vpn_fw();
    return 0;
}
