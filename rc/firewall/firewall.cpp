// Packet filter: writes the whole rule set into one file, from scratch, and loads it in one batch.
//
// Reads:  fw_disable fw_acc_lan fw_nat fw_import fw_spi lan_if wan_ifname
// Writes: /tmp/rules /proc/sys/net/ipv4/ip_forward
// Runs:   iptables echo
// Needs:  lan wan /proc/net/ipt_condition/schedule
//
// The tool takes a file of its own command lines; that is the only point at which the kernel's rules change.
// A line that it rejects is reported by it alone, and the lines after it still load.

#include "rc/firewall/firewall.h"

#include "rc/files.h"
#include "rc/firewall/internal.h"
#include "rc/firewall/rules.h"
#include "rc/firewall/tables.h"
#include "rc/nvram.h"
#include "rc/rc.h"
#include "rc/vpn/vpn.h"

namespace {

void fw_init()
{
    fw_rule("-t nat -F");
    fw_rule("-t filter -F");
    for (const FwChain *chain = kChains; chain->table != nullptr; ++chain) {
        fw_rule("-t %s -X %s", chain->table, chain->name);
        fw_rule("-t %s -N %s", chain->table, chain->name);
    }
    fw_rule_list(kBaseRules, "");
    // Deliberate: this default is only here; elsewhere a missing name is empty.
    fw_rule_list(kLanRules, nvram_get("lan_if").value_or("br0").c_str());
}

}  // namespace

std::string fw_wan_address()
{
    return getIPAddress(nvram_text("wan_ifname").c_str()).value_or(std::string());
}

int create_firewall_cfg()
{
    const int disabled = nvram_int("fw_disable");
    const int lan_access = nvram_int("fw_acc_lan");
    const int translation = nvram_int("fw_nat");
    const int messengers_blocked = nvram_int("fw_import");
    const int flood_protection = nvram_int("fw_spi");
    // Without a file the lines are dropped and everything else is done.
    const File rules = open_file("/tmp/rules", "w");
    fw_rules_to(rules.get());
    fw_init();
    if (flood_protection == 1) {
        fw_rule_list(kFloodRules, nvram_text("wan_ifname").c_str());
    }
    fw_remote_access();
    fw_port_triggering();
    fw_access_sections();
    fw_virtual_servers();
    fw_dmz();
    fw_ping_response();
    fw_content_blocking();
    fw_masquerading(translation);
    fw_messenger_blocking(messengers_blocked);
    if (disabled == 1 || (translation == 0 && lan_access == 1)) {
        // Deliberate: switched off, the filter keeps every rule and drops what is sent to the router itself;
        // only forwarding is opened.
        fw_rule("-P FORWARD ACCEPT");
    }
    (void)create_crontab();
    fw_rules_to(nullptr);
    return 0;
}

int start_firewall()
{
    (void)create_firewall_cfg();
    run("iptables  -C /tmp/rules");
    (void)start_schedule();
    run("echo 1 > /proc/sys/net/ipv4/ip_forward");
    (void)start_vpn_fw(nullptr);
    return 0;
}

int stop_firewall()
{
    // Deliberate: nothing is unloaded; the kernel just stops forwarding.
    run("echo 0 > /proc/sys/net/ipv4/ip_forward");
    return 0;
}
