// LAN interface: gives the LAN bridge its address and the router its host and domain name.
//
// Reads:  lan_if lan_ipaddr lan_netmask lan_bipaddr wan_account wan_domain
// Runs:   ifconfig

#include "rc/lan/lan.h"

#include <unistd.h>

#include "rc/nvram.h"
#include "rc/rc.h"

int start_lan()
{
    const std::string interface = nvram_text("lan_if");
    const std::string address = nvram_text("lan_ipaddr");
    const std::string netmask = nvram_text("lan_netmask");
    const std::string broadcast = nvram_text("lan_bipaddr");
    SYSTEM("/sbin/ifconfig %s %s netmask %s broadcast %s", interface.c_str(), address.c_str(),
           netmask.c_str(), broadcast.c_str());
    // A name that the kernel refuses leaves the old one, without a message.
    if (const auto host = nvram_get("wan_account")) {
        (void)!sethostname(host->c_str(), host->size());
    }
    if (const auto domain = nvram_get("wan_domain")) {
        (void)!setdomainname(domain->c_str(), domain->size());
    }
    return 0;
}
