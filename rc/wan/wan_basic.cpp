// WAN basics: makes the router's own services follow a new WAN address.
//
// Reads:  wan_mode wan_mtu
// Writes: /tmp/ntp_start
// Runs:   ifconfig echo rc
// Needs:  wan dnrd upnp
//
// First of the group that runs once the WAN has an address: the DNS relay must learn the name servers, the
// time client may start asking, the UPnP daemon must learn the address.

#include "rc/wan/wan.h"

#include "rc/aux/aux.h"
#include "rc/files.h"
#include "rc/nvram.h"
#include "rc/rc.h"
#include "rc/wan/internal.h"

int start_wan_basic()
{
    if (nvram_first("wan_mode") == 'p') {
        // Deliberate: the same default for both kinds of PPP, whatever unit the PPP daemon was told.
        const std::string mtu = nvram_get("wan_mtu").value_or("1492");
        SYSTEM("/sbin/ifconfig ppp0 mtu %s", mtu.c_str());
    }
    write_name_servers();
    // Deliberate: the relay is restarted twice in a row, by a run of its own and here.
    run("rc dnrd restart");
    run("/bin/echo > /tmp/ntp_start");
    (void)stop_dnrd();
    (void)start_dnrd();
    (void)stop_upnp();
    (void)start_upnp();
    (void)start_stop_dis_sip_alg();
    return 0;
}

int stop_wan_basic()
{
    remove_file("/tmp/ntp_start");
    return 0;
}
