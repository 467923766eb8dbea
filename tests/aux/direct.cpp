// Operations of the UPnP, connection check and update services that no command reaches.

#include <cinttypes>
#include <cstdio>

#include "rc/aux/aux.h"
#include "rc/aux/internal.h"
#include "tests/direct.h"

namespace {

int direct_stop_update(int, char **)
{
    return stop_update();
}

int direct_restart_provisioning(int, char **)
{
    return restart_provisioning();
}

// get_rx_packets INTERFACE: prints the counter.
int direct_get_rx_packets(int argc, char **argv)
{
    if (argc != 1) {
        return 2;
    }
    printf("%" PRIu64 "\n", get_rx_packets(argv[0]));
    return 0;
}

// start_check_conn: prints the result.
int direct_start_check_conn(int, char **)
{
    printf("%d\n", start_check_conn());
    return 0;
}

}  // namespace

const DirectOperation kAuxOperations[] = {
    {"stop_update", direct_stop_update},
    {"restart_provisioning", direct_restart_provisioning},
    {"get_rx_packets", direct_get_rx_packets},
    {"start_check_conn", direct_start_check_conn},
    {nullptr, nullptr},
};
