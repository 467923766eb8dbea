// RIP: exchanges routes with other routers on the LAN.
//
// Reads:  rt_rip_version rt_rip_direction
// Runs:   routed killall
// Needs:  lan

#include "rc/lan/lan.h"

#include "rc/nvram.h"
#include "rc/rc.h"
#include "rc/text.h"

namespace {

// The daemon's words for the version: 2, 2 with broadcast, or the setting as it is.
const char *version_words(const char *version)
{
    if (version[0] != '2') {
        return version;
    }
    return version[1] == 'B' ? "2 -b" : "2";
}

const char *direction_options(char direction)
{
    switch (direction) {
        case 'o':
            return " -r -s";
        case 'i':
            return " -q";
        default:
            return " -s";
    }
}

}  // namespace

// The daemon takes everything from its command line.
int create_rip_daemon_cfg()
{
    return 0;
}

int start_rip_daemon()
{
    char version[8];
    copy_text(version, nvram_text("rt_rip_version"));
    const char direction = nvram_first("rt_rip_direction");
    if (direction == '0') {
        return 0;
    }
    const char *words = version_words(version);
    const char *options = direction_options(direction);
    (void)printf("/usr/sbin/routed -v %s%s\n", words, options);
    SYSTEM("/usr/sbin/routed -v %s%s", words, options);
    return 0;
}

int stop_rip_daemon()
{
    run("killall routed");
    return 0;
}
