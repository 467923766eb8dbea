// Remote management from the WAN side, and web access to the router from the LAN.
//
// Reads:  wan_ifname lan_if lan_ipaddr fw_nat fw_remote fw_remote_type fw_remote_port fw_remote_single
//         fw_remote_range_start fw_remote_range_end fw_remote_list1_ip%d fw_acc_lan fw_acc_port
// Needs:  lan wan
//
// Mark 0x2643 is set outside of this rule set, on web traffic redirected to the router's own port 80.

#include "rc/firewall/internal.h"

#include "rc/firewall/rules.h"
#include "rc/nvram.h"

namespace {

constexpr int kListEntries = 10;

// The router's two sides, as every line here names them.
struct Sides {
    // Deliberate: longer names and addresses are cut, in this section alone.
    char wan_if[7 + 1];
    char lan_if[7 + 1];
    char lan_address[31 + 1];
    std::string wan_address;
};

void redirect_single(const Sides &sides)
{
    const int port = nvram_int("fw_remote_port");
    const std::string single = nvram_text("fw_remote_single");
    fw_rule("-t nat -A PRE_BASIC -i %s -p tcp --dport %d -s %s -d %s -j DNAT --to %s:80", sides.wan_if, port,
            single.c_str(), sides.wan_address.c_str(), sides.lan_address);
}

void redirect_range(const Sides &sides)
{
    const int port = nvram_int("fw_remote_port");
    const std::string start = nvram_text("fw_remote_range_start");
    const std::string end = nvram_text("fw_remote_range_end");
    fw_rule(
        "-t nat -A PRE_BASIC -i %s -p tcp --dport %d -m iprange --src-range %s-%s -d %s -j DNAT --to %s:80",
        sides.wan_if, port, start.c_str(), end.c_str(), sides.wan_address.c_str(), sides.lan_address);
}

void redirect_everyone(const Sides &sides)
{
    const int port = nvram_int("fw_remote_port");
    fw_rule("-t nat -A PRE_BASIC -i %s -p tcp --dport %d -d %s -j DNAT --to %s:80", sides.wan_if, port,
            sides.wan_address.c_str(), sides.lan_address);
}

// Entries that begin with a digit; the others are no addresses.
void redirect_list(const Sides &sides)
{
    const int port = nvram_int("fw_remote_port");
    for (int i = 1; i <= kListEntries; ++i) {
        char key[32];
        (void)snprintf(key, sizeof key, "fw_remote_list1_ip%d", i);
        const std::string entry = nvram_text(key);
        if (entry.empty() || entry[0] < '0' || entry[0] > '9') {
            continue;
        }
        fw_rule("-t nat -A PRE_BASIC -i %s -p tcp --dport %d -s %s/32 -d %s -j DNAT --to %s:80", sides.wan_if,
                port, entry.c_str(), sides.wan_address.c_str(), sides.lan_address);
    }
}

void redirect_remote(const Sides &sides)
{
    switch (nvram_int("fw_remote_type")) {
        case 1:
            redirect_single(sides);
            break;
        case 2:
            redirect_range(sides);
            break;
        case 3:
            redirect_everyone(sides);
            break;
        case 4:
            redirect_list(sides);
            break;
        default:
            break;
    }
}

void accept_marked_web(const Sides &sides)
{
    fw_rule("-A LOCAL_SERVICE -m mark --mark 0x2643 -d %s -p tcp --dport 80 -j ACCEPT", sides.lan_address);
}

}  // namespace

void fw_remote_access()
{
    Sides sides;
    my_nvram_get("wan_ifname", sides.wan_if);
    my_nvram_get("lan_if", sides.lan_if);
    my_nvram_get("lan_ipaddr", sides.lan_address);
    sides.wan_address = fw_wan_address();
    fw_rule("-I MINIUPNPD -t nat -i ! %s -j RETURN", sides.wan_if);
    const int translation = nvram_int("fw_nat");
    if (translation == 1) {
        fw_rule("-A PRE_BASIC -t nat -i %s -d ! %s -j DROP", sides.wan_if, sides.wan_address.c_str());
    }
    if (nvram_int("fw_remote") == 1) {
        redirect_remote(sides);
        accept_marked_web(sides);
    }
    const bool from_wan = translation == 0 && nvram_int("fw_acc_lan") == 1;
    fw_rule("-t nat -A PRE_BASIC -i %s -p tcp --dport %d -d %s -j DNAT --to %s:80",
            from_wan ? sides.wan_if : sides.lan_if, nvram_int("fw_acc_port"), sides.lan_address,
            sides.lan_address);
    // Deliberate: with remote management on, this line is written twice.
    accept_marked_web(sides);
}
