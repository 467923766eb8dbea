// Update helpers: end and restart the agents that fetch firmware and provision the router.
//
// Reads:  nvram_need_post
// Runs:   killall provisioning_ap

#include "rc/aux/internal.h"

#include <unistd.h>

#include "rc/files.h"
#include "rc/nvram.h"
#include "rc/rc.h"

int stop_update()
{
    // An upgrade at work must not be interrupted.
    if (file_exists("/tmp/upgrading")) {
        return 0;
    }
    run("/usr/bin/killall update&");
    run("/usr/bin/killall provisioning_ap&");
    return 0;
}

int restart_provisioning()
{
    (void)stop_update();
    (void)sleep(3);
    if (nvram_int("nvram_need_post") > 0) {
        run("/usr/sbin/provisioning_ap P&");
    }
    (void)sleep(1);
    run("/usr/sbin/provisioning_ap h&");
    return 0;
}
