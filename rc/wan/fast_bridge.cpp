// Fast bridge: the kernel module that couples the wired with the wireless port.
//
// Reads:  wifi_if_on wifi_wds
// Runs:   lsmod insmod rmmod
// Needs:  /lib/modules/fast_br.ko
//
// Kept only while the WAN is not bridged and wireless distribution is off.

#include "rc/wan/internal.h"

#include "rc/nvram.h"
#include "rc/rc.h"
#include "rc/text.h"

int check_fast_br_exist()
{
    std::string modules;
    (void)myPipe("/sbin/lsmod", modules);
    return contains(modules, "fast_br") ? 0 : 1;
}

int add_fast_br()
{
    if (check_fast_br_exist() == 0 || !nvram_on("wifi_if_on") || nvram_first("wifi_wds") != '0') {
        return 0;
    }
    run("/sbin/insmod /lib/modules/fast_br.ko if1=eth0 if2=wl0");
    return 0;
}

int remove_fast_br()
{
    if (check_fast_br_exist() == 1) {
        return 0;
    }
    // Deliberate: the modules are listed a second time.
    std::string modules;
    (void)myPipe("/sbin/lsmod", modules);
    if (contains(modules, "fast_br")) {
        run("/sbin/rmmod fast_br");
    }
    return 0;
}
