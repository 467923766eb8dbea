// Time client: starts it with the user's server or its own, and tells it when it may ask.
//
// Reads:  ntp_custom time_zone ntp_server
// Writes: /tmp/ntp_start
// Runs:   veltrax_ntp killall echo
//
// The client itself waits for /tmp/ntp_start, which exists while the WAN is up.

#include "rc/wan/wan.h"

#include "rc/files.h"
#include "rc/nvram.h"
#include "rc/rc.h"

int start_ntp()
{
    // Deliberate: an empty or missing choice counts as the user's own server, even an empty one.
    const bool custom = nvram_first("ntp_custom") != '0';
    const std::string zone = nvram_text("time_zone");
    if (custom) {
        SYSTEM("/usr/sbin/veltrax_ntp -z %s -h %s& ", zone.c_str(), nvram_text("ntp_server").c_str());
    } else {
        SYSTEM("/usr/sbin/veltrax_ntp -z %s& ", zone.c_str());
    }
    if (file_exists("/tmp/wan_uptime")) {
        run("/bin/echo > /tmp/ntp_start");
    }
    return 0;
}

int stop_ntp()
{
    run("/usr/bin/killall veltrax_ntp");
    remove_file("/tmp/ntp_start");
    return 0;
}
