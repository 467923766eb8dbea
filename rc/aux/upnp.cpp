// UPnP: lets LAN hosts open ports, through a daemon that listens on the LAN side.
//
// Reads:  upnp_adv_time upnp_enable wan_mode lan_if wan_ifname lan_ipaddr upnp_ttl
// Runs:   route miniupnpd killall
// Needs:  lan wan firewall /proc/nvram/BaseMacAddr
//
// The daemon has no configuration file. It fills chains that the packet filter keeps for it.

#include "rc/aux/aux.h"

#include <unistd.h>

#include "rc/files.h"
#include "rc/nvram.h"
#include "rc/rc.h"
#include "rc/text.h"

namespace {

// A developer's switch: where it exists, a daemon placed in /tmp runs instead of the installed one.
constexpr const char *kDebugSwitch = "/tmp/debugtest";

// The device's identifier ends in the router's base MAC address. A number that is missing counts as 0, one
// of more than two digits is written whole.
std::string device_identifier()
{
    const File address = open_file("/proc/nvram/BaseMacAddr", "r");
    if (!address) {
        return "824ff22b-8c7d-41c5-a131-44f534e12555";
    }
    unsigned long long bytes[6] = {};
    (void)!fscanf(address.get(), "%llx %llx %llx %llx %llx %llx", &bytes[0], &bytes[1], &bytes[2], &bytes[3],
                  &bytes[4], &bytes[5]);
    std::string identifier = "824ff22b-8c7d-41c5-a131-";
    for (const unsigned long long byte : bytes) {
        append_format(identifier, "%02x", static_cast<unsigned>(byte));
    }
    return identifier;
}

void start_daemon(int interval, const std::string &identifier)
{
    const bool debug = file_exists(kDebugSwitch);
    const std::string wan = nvram_text("wan_ifname");
    const std::string lan = nvram_text("lan_ipaddr");
    const std::string ttl = nvram_text("upnp_ttl");
    if (debug) {
        SYSTEM("/tmp/miniupnpd -i %s -a %s -p 5000 -U -t %d -T %s -u %s", wan.c_str(), lan.c_str(), interval,
               ttl.c_str(), identifier.c_str());
    } else {
        SYSTEM("/usr/sbin/miniupnpd -i %s -a %s -p 5000 -U -t %d -T %s -u %s", wan.c_str(), lan.c_str(),
               interval, ttl.c_str(), identifier.c_str());
    }
}

}  // namespace

int start_upnp()
{
    const int interval = minutes_as_seconds(nvram_int("upnp_adv_time"));
    (void)stop_upnp();
    if (!nvram_on("upnp_enable") || nvram_first("wan_mode") == 'b') {
        return 0;
    }
    const std::string identifier = device_identifier();
    // Discovery goes to a multicast address and must leave through the LAN.
    SYSTEM("route add -net 239.0.0.0 netmask 255.0.0.0 %s", nvram_text("lan_if").c_str());
    start_daemon(interval, identifier);
    return 0;
}

int stop_upnp()
{
    run("/usr/bin/killall miniupnpd");
    (void)sleep(1);
    return 0;
}
