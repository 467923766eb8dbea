// SIP helper: loads or unloads the kernel modules that translate SIP calls.
//
// Reads:  dis_sip_alg
// Runs:   lsmod rmmod insmod
//
// Address translation builds on connection tracking: tracking is loaded first and unloaded last, a second
// apart.

#include "rc/wan/internal.h"

#include <unistd.h>

#include "rc/nvram.h"
#include "rc/rc.h"
#include "rc/text.h"

namespace {

void unload_helpers(const std::string &modules)
{
    // The module names keep their file ending here, as rmmod is given them.
    if (contains(modules, "ip_nat_sip")) {
        run("/sbin/rmmod ip_nat_sip.ko");
        (void)sleep(1);
        run("/sbin/rmmod ip_conntrack_sip.ko");
    } else if (contains(modules, "ip_conntrack_sip")) {
        run("/sbin/rmmod ip_conntrack_sip.ko");
    }
}

void load_helpers(const std::string &modules)
{
    if (!contains(modules, "ip_conntrack_sip")) {
        run("/sbin/insmod /lib/modules/ip_conntrack_sip.ko");
        (void)sleep(1);
        run("/sbin/insmod /lib/modules/ip_nat_sip.ko");
    } else if (!contains(modules, "ip_nat_sip")) {
        run("/sbin/insmod /lib/modules/ip_nat_sip.ko");
    }
}

}  // namespace

int start_stop_dis_sip_alg()
{
    std::string modules;
    (void)myPipe("/sbin/lsmod", modules);
    if (nvram_on("dis_sip_alg")) {
        unload_helpers(modules);
    } else {
        load_helpers(modules);
    }
    return 0;
}
