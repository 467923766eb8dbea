// Every finding of the linter: settings that cause it, where it points, how grave it is.
#include "forms/lint/lint.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <set>
#include <sstream>

#include "tests/settings/stores.h"

namespace {

using forms::Finding;
using forms::Grade;
using settings_test::policy;
using Settings = std::vector<forms::Setting>;

struct Case {
    const char *code;
    Settings changes;  // of the defaults
    const char *line;  // what begins the finding's line
};

Settings with(const Settings &changes)
{
    Settings store = settings_test::default_store();
    for (const forms::Setting &change : changes) {
        settings_test::put(store, change.key, change.value);
    }
    return store;
}

std::string tunnels(const std::string &first, const std::string &second = "")
{
    std::string text = "1";
    return text.append(first).append(second).append("\x01");
}

const char *const kRule = "1:HTTPS:2:192.168.0.20:0.0.0.0/0:0\x01";

std::vector<Case> general_cases()
{
    return {
        {"unknown-key",
         {{"wan_mtuu", "1492"}},
         "wan_mtuu: warning: rc knows no setting of this name; did you mean"},
        {"value",
         {{"upnp_enable", "yes"}},
         "upnp_enable: error: \"yes\" is neither 0 nor 1; the router will take it"},
        {"value",
         {{"wan_mode", "pppox"}},
         "wan_mode: error: \"pppox\" is none of pppoe, pppoa, ipoa, dhcpc, ip, br"},
        {"empty", {{"lan_ipaddr", ""}}, "lan_ipaddr: error: is empty"},
        {"too-long",
         {{"wifi_ssid", std::string(40, 'a')}},
         "wifi_ssid: error: \"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa"},
        {"too-long",
         {{"pppoe_username", std::string(120, 'a') + "bcdefghijk"}},
         "pppoe_username: error: \"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa...\" is longer than 127 "
         "characters; "
         "its first 127 end in \"aaaaaaaaabcdefgh\"; the router will put"},
        {"fields",
         {{"fw_in_rules", "1:SSH:2\x01"}},
         "fw_in_rules: record 1: error: \"1:SSH:2\" has 3 of 6 fields"},
        {"character", {{"pppoe_password", "a\nb"}}, "pppoe_password: error: holds a control character"},
        {"character",
         {{"wan_account", "my router\x02"}},
         "wan_account: error: \"my router\\x02\" holds a control"},
        {"fields",
         {{"fw_services", "1:Buero:tcp:80-81\x01"}},
         "fw_services: record 1: error: \"1:Buero:tcp:80-81\" has 5 fields, not 4: \":\" ends a field, so no "
         "name can hold it; rc reads the fields that fit"},
        {"fields",
         {{"rt_static_route", "1:Buero:10.20.0.0:255.255.0.0:192.168.0.30:2:1:1\x01"}},
         "rt_static_route: record 1: error: \"1:Buero:10.20.0.0:255.255.0.0:192.168.0....\" has 8 fields, "
         "not "
         "7: \":\" ends a field"},
        {"value",
         {{"fw_in_rules", "1:SSH:2:192.168.0.20:any:0\x01"}},
         "fw_in_rules: record 1: wan: error: \"any\" is"},
    };
}

std::vector<Case> lan_cases()
{
    return {
        {"lan-size", {{"lan_netmask", "255.255.255.255"}}, "lan_netmask: warning: leaves no room"},
        {"lan-address",
         {{"lan_ipaddr", "192.168.0.0"}},
         "lan_ipaddr: error: 192.168.0.0 is the number of its own"},
        {"lan-address",
         {{"lan_ipaddr", "192.168.0.255"}},
         "lan_ipaddr: error: 192.168.0.255 is the broadcast address of its own net; the router will give it"},
        {"value",
         {{"lan_ipaddr", "127.0.0.1"}},
         "lan_ipaddr: error: \"127.0.0.1\" is no address that a host can have; the router will give this "
         "text to the LAN interface"},
        {"value",
         {{"lan_ipaddr", "224.0.0.1"}},
         "lan_ipaddr: error: \"224.0.0.1\" is no address that a host"},
        {"value", {{"lan_ipaddr", "0.0.0.0"}}, "lan_ipaddr: error: \"0.0.0.0\" is no address that a host"},
        {"value",
         {{"lan_ipaddr", "255.255.255.255"}},
         "lan_ipaddr: error: \"255.255.255.255\" is no address"},
        {"value", {{"lan_ipaddr", "192.168.010.1"}}, "lan_ipaddr: error: \"192.168.010.1\" is no address;"},
        {"value",
         {{"wan_fix_dns", "1"}, {"wan_dns1", "192.0.2.53"}, {"wan_dns2", "0.0.0.0"}},
         "wan_dns2: error: \"0.0.0.0\" is no address that a host can have; the router will write this text "
         "down as a name server"},
        {"value",
         {{"ntp_server", "198.51.100.999"}},
         "ntp_server: error: \"198.51.100.999\" is no host name"},
        {"lan-size", {{"lan_netmask", "0.0.0.0"}}, "lan_netmask: error: 0.0.0.0 takes much of the Internet"},
        {"lan-broadcast",
         {{"lan_bipaddr", "192.168.1.255"}},
         "lan_bipaddr: warning: the broadcast address of this"},
        {"dhcp-outside-lan",
         {{"dhcp_end_ip", "192.168.1.9"}},
         "dhcp_end_ip: error: 192.168.1.9 is not on the LAN"},
        {"dhcp-upside-down",
         {{"dhcp_start_ip", "192.168.0.99"}, {"dhcp_end_ip", "192.168.0.9"}},
         "dhcp_start_ip: error: the pool begins above its end"},
        {"dhcp-own-address",
         {{"dhcp_start_ip", "192.168.0.1"}},
         "dhcp_start_ip: warning: the router's own address"},
        {"reserved-twice",
         {{"dhcp_reserved",
           "a;192.168.0.9;024b51001001\x01"
           "b;192.168.0.9;024b51001002\x01"}},
         "dhcp_reserved: record 2: address: warning: 192.168.0.9 is reserved by record 1 too"},
        {"reserved-twice",
         {{"dhcp_reserved",
           "a;192.168.0.9;024b51001001\x01"
           "b;192.168.0.8;02:4B:51:00:10:01\x01"}},
         "dhcp_reserved: record 2: hardware: warning: record 1 is for the same client"},
        {"reserved-outside-pool",
         {{"dhcp_reserved", "a;192.168.9.9;024b51001001\x01"}},
         "dhcp_reserved: record 1: address: warning: 192.168.9.9 is not in the DHCP pool; the router will "
         "not"},
        {"reserved-outside-lan",
         {{"dhcp_reserved", "a;192.168.9.9;024b51001001\x01"}, {"dhcp_end_ip", "192.168.99.9"}},
         "dhcp_reserved: record 1: address: error: 192.168.9.9 is not on the LAN"},
        {"dhcp-net-address",
         {{"dhcp_end_ip", "192.168.0.255"}},
         "dhcp_end_ip: warning: 192.168.0.255 is in the pool"},
        {"reserved-own-address",
         {{"dhcp_reserved", "a;192.168.0.1;024b51001001\x01"}},
         "dhcp_reserved: record 1: address: error: 192.168.0.1 is the router's own"},
        {"route-network",
         {{"rt_static_route", "a:10.1.0.0:255.0.0.0:192.168.0.30:2:0:1\x01"}},
         "rt_static_route: record 1: destination: warning: the net of 10.1.0.0 and 255.0.0.0 is 10.0.0.0; "
         "the router"},
        {"reserved-no-host",
         {{"dhcp_reserved", "a;192.168.0.255;024b51001001\x01"}, {"dhcp_end_ip", "192.168.0.255"}},
         "dhcp_reserved: record 1: address: error: 192.168.0.255 is the LAN's broadcast address"},
        {"no-device",
         {{"dhcp_reserved", "a;192.168.0.9;000000000000\x01"}},
         "dhcp_reserved: record 1: hardware: warning: 000000000000 is the hardware address of no single "
         "device"},
        {"route-to-itself",
         {{"rt_static_route", "a:10.1.0.0:255.255.0.0:192.168.0.1:2:0:1\x01"}},
         "rt_static_route: record 1: gateway: error: 192.168.0.1 is the router itself"},
        {"route-to-lan",
         {{"rt_static_route", "a:192.168.0.0:255.255.255.0:192.168.0.30:2:0:1\x01"}},
         "rt_static_route: record 1: destination: error: this is the LAN"},
        {"route-twice",
         {{"rt_static_route",
           "a:10.1.2.0:255.255.255.0:192.168.0.30:2:0:1\x01"
           "b:10.1.2.0:255.255.255.0:192.168.0.31:2:0:1\x01"}},
         "rt_static_route: record 2: destination: warning: record 1 leads to this net too"},
        {"route-gateway",
         {{"rt_static_route", "a:10.0.0.0:255.0.0.0:172.16.0.1:2:0:1\x01"}},
         "rt_static_route: record 1: gateway: note: 172.16.0.1 is not on the LAN"},
        {"route-exported",
         {{"rt_static_route", "a:10.1.2.3:255.255.255.255:192.168.0.30:2:1:1\x01"}},
         "rt_static_route: record 1: export: warning: the router will list this host"},
    };
}

std::vector<Case> wan_cases()
{
    return {
        {"password-missing",
         {{"pppoe_password", ""}},
         "pppoe_password: error: there is a login name and no password"},
        {"mode-lacks", {{"wan_mode", "ip"}}, "fix_ipaddr: error: mode ip needs an address"},
        {"mode-lacks", {{"wan_iptype", "Fixed"}}, "pppoe_ipaddr: error: a fixed PPP address is chosen"},
        {"gateway-outside-net",
         {{"wan_mode", "ip"},
          {"fix_ipaddr", "203.0.113.9"},
          {"fix_netmask", "255.255.255.0"},
          {"fix_gateway", "198.51.100.1"}},
         "fix_gateway: warning: 198.51.100.1 is not in the net of the WAN address"},
        {"wan-no-host",
         {{"wan_mode", "ip"},
          {"fix_ipaddr", "203.0.113.0"},
          {"fix_netmask", "255.255.255.0"},
          {"fix_gateway", "203.0.113.1"}},
         "fix_ipaddr: error: 203.0.113.0 is the number of its own net"},
        {"gateway-is-router",
         {{"wan_mode", "ip"},
          {"fix_ipaddr", "203.0.113.1"},
          {"fix_netmask", "255.255.255.0"},
          {"fix_gateway", "203.0.113.1"}},
         "fix_gateway: error: 203.0.113.1 is the router's own address"},
        {"nets-meet",
         {{"wan_mode", "ip"},
          {"fix_ipaddr", "192.168.1.9"},
          {"fix_netmask", "255.255.0.0"},
          {"fix_gateway", "192.168.1.1"}},
         "fix_ipaddr: error: its net and the LAN's have addresses in common"},
        {"dns-is-router",
         {{"wan_fix_dns", "1"}, {"wan_dns1", "192.168.0.1"}},
         "wan_dns1: error: 192.168.0.1 is the router itself, whose relay would ask itself"},
        {"octal", {{"wan_mtu", "01400"}}, "wan_mtu: warning: 01400 begins with 0"},
        {"no-device", {{"wan_macaddr", "01:00:5e:00:00:01"}}, "wan_macaddr: error: 01:00:5e:00:00:01 is the"},
        {"recipient", {{"mail_recipient", "me"}}, "mail_recipient: warning: \"me\" is no mail address"},
        {"space", {{"pppoe_username", " me@isp"}}, "pppoe_username: note: begins or ends with a space"},
        {"circuit-zero",
         {{"wan_mode", "ipoa"}, {"wan_vpi", "0"}, {"wan_vci", "0"}},
         "wan_vci: error: mode ipoa needs"},
        {"mode-lacks", {{"wan_mode", "ipoa"}}, "ipoa_ipaddr: error: mode ipoa needs it"},
        {"gateway-missing",
         {{"wan_mode", "ipoa"},
          {"ipoa_mode", "1483"},
          {"ipoa_ipaddr", "203.0.113.9"},
          {"ipoa_netmask", "255.255.255.0"}},
         "ipoa_gateway: warning: mode ipoa has no gateway; the router will set no default route"},
        {"empty", {{"pppoe_username", ""}}, "pppoe_username: error: is empty; the router will put"},
        {"mtu", {{"wan_mtu", "1500"}}, "wan_mtu: warning: PPPoE takes 8 bytes"},
        {"dns-missing",
         {{"wan_fix_dns", "1"}},
         "wan_dns1: error: fixed name servers are chosen and none is given"},
        {"dns-first-missing",
         {{"wan_fix_dns", "1"}, {"wan_dns2", "192.0.2.54"}},
         "wan_dns1: warning: there is a second name server and no first"},
        {"dial-without-idle", {{"wan_dod", "1"}}, "pppoe_idle: warning: dial on demand needs an idle time"},
        {"server-missing", {{"ntp_custom", "1"}}, "ntp_server: error: a time server of one's own"},
        {"ddns-lacks", {{"ddns_enable", "1"}}, "ddns_user_name: error: dynamic DNS is on and this is empty"},
        {"mail-lacks", {{"mail_server", ""}}, "mail_server: warning: mails are on and this is empty"},
    };
}

std::vector<Case> filter_cases()
{
    const std::string rule = kRule;
    return {
        {"service-unknown",
         {{"fw_in_rules", "1:HTPS:2:192.168.0.20:0.0.0.0/0:0\x01"}},
         "fw_in_rules: record 1: service: error: no service is called \"HTPS\"; the router will make the "
         "rule for tcp "
         "5222-5222, the ports of XMPP"},
        {"ports-upside-down",
         {{"fw_services", "Odd:tcp:20-10\x01"}, {"fw_in_rules", "1:Odd:2:192.168.0.20:0.0.0.0/0:0\x01"}},
         "fw_in_rules: record 1: service: error: the ports of Odd end below"},
        {"server-outside-lan",
         {{"fw_in_rules", "1:SSH:2:10.0.0.9:0.0.0.0/0:0\x01"}},
         "fw_in_rules: record 1: lan: error: 10.0.0.9 is not on the LAN"},
        {"server-is-router",
         {{"fw_in_rules", "1:SSH:2:192.168.0.1:0.0.0.0/0:0\x01"}},
         "fw_in_rules: record 1: lan: error: 192.168.0.1 is the router itself"},
        {"server-no-host",
         {{"fw_in_rules", "1:SSH:2:192.168.0.255:0.0.0.0/0:0\x01"}},
         "fw_in_rules: record 1: lan: error: 192.168.0.255 is the LAN's broadcast address, which no host "
         "has; the "
         "router will forward to it all the same"},
        {"dmz-no-host",
         {{"fw_dmz_enable", "1"}, {"fw_dmz", "192.168.0.0"}},
         "fw_dmz: error: 192.168.0.0 is the number of the LAN, which no host has; the router will send "
         "everything"},
        {"nobody",
         {{"fw_in_rules", "1:SSH:2:192.168.0.20:0.0.0.0:0\x01"}},
         "fw_in_rules: record 1: wan: error: 0.0.0.0 is one address, which nobody has; 0.0.0.0/0 is "
         "everybody"},
        {"nobody",
         {{"fw_out_rules", "1:SSH:0:0.0.0.0:0.0.0.0/0:0\x01"}},
         "fw_out_rules: record 1: lan: error: 0.0.0.0 is one address, which nobody has"},
        {"sender-on-lan",
         {{"fw_in_rules", "1:SSH:2:192.168.0.20:192.168.0.30:0\x01"}},
         "fw_in_rules: record 1: wan: warning: 192.168.0.30 is on the LAN"},
        {"sender-on-lan",
         {{"fw_remote", "1"}, {"fw_remote_single", "192.168.0.7"}},
         "fw_remote_single: warning: 192.168.0.7 is on the LAN"},
        {"users-outside-lan",
         {{"fw_out_rules", "1:SSH:0:10.0.0.9:0.0.0.0/0:0\x01"}},
         "fw_out_rules: record 1: lan: warning: 10.0.0.9 is not on the LAN, so the rule never matches"},
        {"users-are-router",
         {{"fw_out_rules", "1:SSH:0:192.168.0.1:0.0.0.0/0:0\x01"}},
         "fw_out_rules: record 1: lan: warning: 192.168.0.1 is the router itself, so the rule never matches"},
        {"server-missing",
         {{"fw_vs_enableA", "1"}, {"fw_vs_serverA", ""}},
         "fw_vs_serverA: warning: servers are on in fw_vs_enableA and none has an address; the router will"},
        {"keyword-address",
         {{"fw_block_keyword", "http://www.example.com\x01"}},
         "fw_block_keyword: record 1: keyword: warning: a request names its host and its path apart"},
        {"keyword-star",
         {{"fw_block_keyword", "*.example.com\x01"}},
         "fw_block_keyword: record 1: keyword: warning: a * stands for itself"},
        {"repeated-record",
         {{"fw_block_keyword",
           "casino\x01"
           "casino\x01"}},
         "fw_block_keyword: record 2: keyword: note: repeats record 1"},
        {"repeated-record",
         {{"fw_spapp",
           "1:1:Game:tcp:100:udp:5\x01"
           "2:1:Game 2:tcp:100:udp:5\x01"}},
         "fw_spapp: record 2: note: repeats record 1"},
        {"users-outside-lan",
         {{"fw_out_rules", "1:SSH:2:10.0.0.9:0.0.0.0/0:0\x01"}},
         "fw_out_rules: record 1: lan: warning: 10.0.0.9 is not on the LAN, so the rule never matches"},
        {"destination-net",
         {{"fw_out_rules", "1:SSH:0:192.168.0.9:192.0.2.0/24:0\x01"}},
         "fw_out_rules: record 1: wan: error: a net cannot be a destination; give a range; the router will "
         "make"},
        {"rule-repeated", {{"fw_in_rules", rule + rule}}, "fw_in_rules: record 2: warning: repeats record 1"},
        {"rule-never-matches",
         {{"fw_in_rules", rule + "1:HTTPS:0:192.168.0.20:198.51.100.7:0\x01"}},
         "fw_in_rules: record 2: warning: never matches: record 1"},
        {"forwarded-twice",
         {{"fw_in_rules",
           "1:HTTPS:2:192.168.0.20:198.51.100.7:0\x01"
           "1:HTTPS:2:192.168.0.30:0.0.0.0/0:0\x01"}},
         "fw_in_rules: record 2: service: warning: some of its ports are forwarded by record 1"},
        {"server-not-let-in",
         {{"fw_vs_enableA", "1"}, {"fw_vs_serverA", "192.168.0.77:0:0:0:0:0"}},
         "fw_vs_serverA: record 1: web: error: the router will forward to 192.168.0.77 and write no line"},
        {"server-not-let-in",
         {{"fw_vs_enableA", "1"}},
         "fw_vs_serverA: record 1: web: error: the router will forward to 192.168.0.20 and write no line "
         "that "
         "lets port 80 in"},
        {"forwarded-twice",
         {{"fw_vs_enableA", "1"}, {"fw_vs_serverA", "192.168.0.77:0:0:0:0:0"}},
         "fw_vs_serverA: record 1: web: warning: port 443 is forwarded to 192.168.0.20 by record 1 of "
         "fw_in_rules"},
        {"remote-port-forwarded",
         {{"fw_remote", "1"},
          {"fw_remote_port", "23"},
          {"fw_vs_enableA", "32"},
          {"fw_vs_serverA", "0:0:0:0:0:192.168.0.9"}},
         "fw_remote_port: warning: port 23 is forwarded by a virtual server"},
        {"trusted-outside-lan",
         {{"fw_block_trust_enable", "1"}, {"fw_block_trust", "10.0.0.9"}},
         "fw_block_trust: warning: 10.0.0.9 is not on the LAN"},
        {"empty", {{"fw_dmz_enable", "1"}, {"fw_dmz", ""}}, "fw_dmz: error: is empty; the router will write"},
        {"service-unknown",
         {{"fw_in_rules", "1:HTPS:2:192.168.0.20:0.0.0.0/0:0\x01"}, {"fw_services", "bad\x01"}},
         "fw_in_rules: record 1: service: error: no service is called \"HTPS\" ["},
        {"ports-upside-down",
         {{"fw_services", "Odd:tcp:20-10\x01"}},
         "fw_services: record 1: last: error: the ports of Odd end below"},
        {"service-twice",
         {{"fw_services",
           "Console:udp:30-30\x01"
           "Console:udp:40-40\x01"}},
         "fw_services: record 2: name: warning: record 1 has this name too"},
        {"rule-repeated",
         {{"fw_in_rules",
           "1:HTTPS:3:192.168.0.20:0.0.0.0/0:0\x01"
           "1:HTTPS:3:192.168.0.20:0.0.0.0/0:0\x01"}},
         "fw_in_rules: record 2: warning: repeats record 1"},
        {"rule-never-matches",
         {{"fw_out_rules",
           "1:HTTP:1:0.0.0.0/0:0.0.0.0/0:0\x01"
           "1:HTTP:0:192.168.0.30:0.0.0.0/0:0\x01"}},
         "fw_out_rules: record 2: warning: never matches: record 1"},
        {"server-missing",
         {{"fw_vs_enableA", "4"}},
         "fw_vs_serverA: record 1: pop: warning: this server is on"},
        {"dmz-outside-lan",
         {{"fw_dmz_enable", "1"}, {"fw_dmz", "10.0.0.9"}},
         "fw_dmz: error: 10.0.0.9 is not on"},
        {"dmz-is-router",
         {{"fw_dmz_enable", "1"}, {"fw_dmz", "192.168.0.1"}},
         "fw_dmz: error: 192.168.0.1 is the ro"},
        {"remote-everyone",
         {{"fw_remote", "1"}, {"fw_remote_type", "3"}},
         "fw_remote_type: warning: the router will let everyone on the Internet reach its pages"},
        {"remote-nobody",
         {{"fw_remote", "1"},
          {"fw_remote_type", "4"},
          {"fw_remote_list1_ip1", ""},
          {"fw_remote_list1_ip2", ""}},
         "fw_remote_type: warning: the list has no entry"},
        {"range-upside-down",
         {{"fw_remote", "1"}, {"fw_remote_type", "2"}, {"fw_remote_range_start", "198.51.100.99"}},
         "fw_remote_range_start: error: the range begins above its end"},
        {"remote-port-forwarded",
         {{"fw_remote", "1"}, {"fw_remote_port", "443"}},
         "fw_remote_port: warning: port 443 is forwarded by record 1 of fw_in_rules too"},
        {"remote-without-login",
         {{"fw_remote", "1"}, {"http_password", ""}},
         "http_password: error: remote management is on and there is no password"},
        {"no-keywords",
         {{"fw_block", "1"}, {"fw_block_keyword", ""}},
         "fw_block_keyword: note: blocking is on"},
        {"schedule-missing",
         {{"fw_schedule", ""}},
         "fw_schedule: warning: rules go by the schedule and it is empty"},
        {"schedule-no-day",
         {{"fw_schedule", "0000000:8:0-9:0\x01"}},
         "fw_schedule: record 1: days: error: names no"},
        {"schedule-empty",
         {{"fw_schedule", "1111111:8:0-8:0\x01"}},
         "fw_schedule: record 1: warning: ends when it"},
        {"schedule-midnight",
         {{"fw_schedule", "0111110:22:0-6:5\x01"}},
         "fw_schedule: record 1: end_hour: warning: ends after midnight, and Saturday is none of its days; "
         "the "
         "router will look at 6:05 on its own days alone, so what opens on Friday at 22:00 stays open until "
         "Monday 6:05 or until rc is run ["},
        {"schedule-midnight",
         {{"fw_schedule", "0000001:22:0-6:0\x01"}},
         "fw_schedule: record 1: end_hour: warning: ends after midnight, and Sunday is none of its days; the "
         "router will look at 6:00 on its own days alone, so what opens on Saturday at 22:00 stays open "
         "until "
         "Saturday 6:00 or"},
        {"schedule-second",
         {{"fw_schedule",
           "1111111:8:0-9:0\x01"
           "1111111:8:0-9:0"}},
         "fw_schedule: record 2: warning: only the first record decides"},
        {"fields",
         {{"fw_schedule",
           "1111111:8:0-9:0\x01"
           "0:0:1\x01"}},
         "fw_schedule: record 2: error: \"0:0:1\" has 3 of 5 fields"},
        {"too-long",
         {{"fw_schedule",
           "1111111:8:0-9:0\x01"
           "1111111:8:0-9:0\x01"}},
         "fw_schedule: error: \"1111111:8:0-9:0\\x011111111:8:0-9:0\\x01\" is longer than 31 characters"},
        {"schedule-empty",
         {{"fw_schedule", "1111111:0:0-0:0\x01"}},
         "fw_schedule: record 1: warning: ends when it"},
        {"schedule-24",
         {{"fw_schedule", "1111111:8:0-24:0\x01"}},
         "fw_schedule: record 1: end_hour: warning: the router will write a line for the hour 24"},
    };
}

std::vector<Case> radio_cases()
{
    return {
        {"wep", {{"wifi_wep_on", "1"}}, "wifi_wep_on: warning: anybody in reach finds out"},
        {"open-network", {{"wifi_wep_on", "0"}}, "wifi_wep_on: warning: everybody in reach can join"},
        {"wep-key-length",
         {{"wifi_wep_on", "1"}, {"wifi_key_len", "128"}},
         "wifi_key1: error: a key of 128 bits has 26 digits and this one 10; the router will install it"},
        {"wep-key-length",
         {{"wifi_wep_on", "1"}, {"wifi_key2", "0123456789abcdef0123456789"}},
         "wifi_key2: warning: a key of 64 bits has 10 digits and this one 26; the router will not install "
         "it"},
        {"radius-missing",
         {{"wifi_wep_on", "6"}},
         "wifi_radius_server: error: this security needs a RADIUS server"},
        {"psk-digits",
         {{"wifi_psk_pwd", std::string(64, 'z')}},
         "wifi_psk_pwd: error: a key of 64 characters"},
        {"channel-region",
         {{"wifi_region", "Israel"}, {"wifi_channel", "11"}},
         "wifi_channel: warning: Israel allows"},
        {"channel-region",
         {{"wifi_region", "Canada"}, {"wifi_channel", "13"}},
         "wifi_channel: warning: Canada allows"},
        {"nobody-may-join",
         {{"wifi_access_control", "1"}},
         "wifi_access_list: error: only listed stations may join"},
        {"station-joined",
         {{"wifi_access_control", "1"}, {"wifi_access_list", "00:11:22:33:44:55,00:11:22:33:44:66\x01"}},
         "wifi_access_list: record 1: station: error: one record holds several addresses; the router will "
         "list the "
         "first, 00:11:22:33:44:55, alone"},
        {"no-device",
         {{"wifi_access_list", "01:11:22:33:44:55\x01"}},
         "wifi_access_list: record 1: station: warning: 01:11:22:33:44:55 is the hardware address of no "
         "single"},
        {"no-device",
         {{"wifi_wds", "1"}, {"wifi_wds_apmode", "point"}, {"wifi_wds_bridge0mac", "ff:ff:ff:ff:ff:ff"}},
         "wifi_wds_bridge0mac: warning: ff:ff:ff:ff:ff:ff is the hardware address of no single device"},
        {"repeated-record",
         {{"wifi_access_list",
           "00:11:22:33:44:55\x01"
           "00:11:22:33:44:55\x01"}},
         "wifi_access_list: record 2: station: note: repeats record 1"},
        {"psk-letters",
         {{"wifi_psk_pwd", "p\xc3\xa4ssw\xc3\xb6rter"}},
         "wifi_psk_pwd: warning: holds letters beyond"},
        {"links-without-peer", {{"wifi_wds", "1"}}, "wifi_wds: error: links are on and no peer is given"},
        {"links-with-wpa", {{"wifi_wds", "1"}}, "wifi_wds: warning: links between access points know no WPA"},
    };
}

std::vector<Case> tunnel_cases()
{
    const auto one = [](const char *field, const char *value) { return tunnels(policy({{field, value}})); };
    return {
        {"vpn-error",
         {{"vpn", one("local_net", "1.2.3")}},
         "vpn: record 1: local_net: error: \"1.2.3\" is no"},
        {"value",
         {{"vpn", one("local_type", "9")}},
         "vpn: record 1: local_type: error: \"9\" is none of 2, 3, 4, 5 (error -7); the router will end its "
         "reading here, with error number -7"},
        {"value",
         {{"vpn", one("remote_type", "9")}},
         "vpn: record 1: remote_type: error: \"9\" is none of 1, 2, 3, 4, 5 (error -9)"},
        {"value",
         {{"vpn", "3\x01"}},
         "vpn: error: \"3\\x01\" does not begin with the format 1 or 2 (error -3)"},
        {"spi-missing",
         {{"vpn", tunnels(policy({{"keying", "2"},
                                  {"encryption_key", std::string(48, 'a')},
                                  {"authentication_key", std::string(40, 'a')}}))}},
         "vpn: record 1: spi_in: error: manual keying needs"},
        {"vpn-error",
         {{"vpn", tunnels(policy({{"keying", "2"}}))}},
         "vpn: record 1: encryption_key: error: the key"},
        {"value",
         {{"vpn", one("lifetime", "1h")}},
         "vpn: record 1: lifetime: error: \"1h\" is no number from 0 to"},
        {"too-long",
         {{"vpn", one("name", "a-name-of-twenty-four-le")}},
         "vpn: record 1: name: error: \"a-name-of-twenty-four-le\" is longer than 19 characters; its first "
         "19 are"},
        {"vpn-name",
         {{"vpn", one("name", "the-head-office")}},
         "vpn: record 1: name: error: the first policy's name"},
        {"vpn-name-twice",
         {{"vpn", tunnels(policy({}), policy({{"remote_net", "10.9.0.0...255.255.0.0"}}))}},
         "vpn: record 2: name: error: record 1 has this name too"},
        {"tunnels-meet",
         {{"vpn", tunnels(policy({}), policy({{"name", "b"}, {"remote_net", "10.1.2.0...255.255.255.0"}}))}},
         "vpn: record 2: remote_net: warning: joins nets that record 1 joins too"},
        {"vpn-gateway",
         {{"vpn", one("gateway", "198.51.100.999")}},
         "vpn: record 1: gateway: error: \"198.51.100.999\" is no address; the router will name it to the "
         "IPsec "
         "daemon as the peer"},
        {"vpn-gateway",
         {{"vpn", one("gateway", "office.example.net")}},
         "vpn: record 1: gateway: error: \"office.example.net\" is no address; a host name needs "
         "gateway_type 2"},
        {"vpn-gateway",
         {{"vpn", tunnels(policy({{"gateway_type", "2"}, {"gateway", "-office"}}))}},
         "vpn: record 1: gateway: error: \"-office\" is no host name or address"},
        {"vpn-net",
         {{"vpn", tunnels(policy({{"remote_type", "2"}, {"remote_net", "10.1.2.999"}}))}},
         "vpn: record 1: remote_net: error: \"10.1.2.999\" is no address"},
        {"vpn-net",
         {{"vpn", one("local_net", "192.168.0.0...255.0.255.0")}},
         "vpn: record 1: local_net: error: \"192.168.0.0...255.0.255.0\" is no net address...netmask"},
        {"vpn-local",
         {{"vpn", one("local_net", "192.168.1.0...255.255.255.0")}},
         "vpn: record 1: local_net: warning: no host of the LAN and of its routes is in"},
        {"vpn-remote",
         {{"vpn", one("remote_net", "192.168.0.0...255.255.0.0")}},
         "vpn: record 1: remote_net: error: the other side has addresses of the LAN"},
        {"psk-missing", {{"vpn", one("psk", "0")}}, "vpn: record 1: psk: error: automatic keying needs"},
        {"des", {{"vpn", one("encryption", "1")}}, "vpn: record 1: encryption: warning: DES is broken"},
        {"aggressive", {{"vpn", one("exchange", "1")}}, "vpn: record 1: exchange: note: aggressive mode"},
    };
}

void expect_found(const std::vector<Case> &cases)
{
    for (const Case &one : cases) {
        std::string lines;
        bool is_found = false;
        for (const Finding &finding : forms::lint(with(one.changes))) {
            const std::string line = forms::finding_line(finding);
            is_found = is_found || line.rfind(one.line, 0) == 0;
            lines += "\n  " + line;
        }
        EXPECT_TRUE(is_found) << one.code << ": \"" << one.line << "\" is not in" << lines;
    }
}

TEST(Lint, FindsWhatIsWrongWithAValue)
{
    expect_found(general_cases());
}

TEST(Lint, FindsMistakesOfTheLan)
{
    expect_found(lan_cases());
}

TEST(Lint, FindsMistakesOfTheInternetSide)
{
    expect_found(wan_cases());
}

TEST(Lint, FindsMistakesOfThePacketFilter)
{
    expect_found(filter_cases());
}

TEST(Lint, FindsMistakesOfTheRadio)
{
    expect_found(radio_cases());
}

TEST(Lint, FindsMistakesOfTunnels)
{
    expect_found(tunnel_cases());
}

std::string lines_of(const Settings &store)
{
    std::string lines;
    for (const Finding &finding : forms::lint(store)) {
        lines += forms::finding_line(finding) + "\n";
    }
    return lines;
}

TEST(Lint, DefaultsAreClean)
{
    EXPECT_EQ(lines_of(settings_test::default_store()), "");
}

// What is not used may be empty, and what is near a mistake is none.
TEST(Lint, RoutersThatAreFine)
{
    const Settings kNoNames = {{"pppoe_username", ""}, {"pppoe_password", ""}, {"wan_ifname", "nas0"}};
    const std::vector<Settings> all = {
        {{"wan_mode", "dhcpc"}},
        {{"wan_mode", "bridge"},
         {"dhcp_server_enable", "0"},
         {"dhcp_start_ip", ""},
         {"dhcp_end_ip", ""},
         {"dhcp_reserved", ""}},
        {{"wan_mode", "ip"},
         {"fix_ipaddr", "203.0.113.9"},
         {"fix_netmask", "255.255.255.0"},
         {"fix_gateway", "203.0.113.1"}},
        {{"wan_mode", "pppoa"}, {"pppoa_username", "me"}, {"pppoa_password", "secret"}, {"wan_mtu", "1500"}},
        {{"wan_mode", "ipoa"},
         {"ipoa_ipaddr", "203.0.113.9"},
         {"ipoa_netmask", "255.255.255.0"},
         {"ipoa_mode", "1483"},
         {"ipoa_gateway", "203.0.113.1"}},
        {{"wan_mode", "dhcpc"}, {"wifi_if_on", "0"}, {"wifi_psk_pwd", ""}, {"wifi_ssid", ""}},
        {{"wan_mode", "dhcpc"},
         {"fw_dmz", ""},
         {"fw_block_trust", ""},
         {"fw_remote_single", ""},
         {"fw_remote_port", ""},
         {"log_remote_ip", ""},
         {"upnp_enable", "0"},
         {"upnp_ttl", ""},
         {"mail_sendlog", "0"},
         {"mail_sh_hour", ""},
         {"http_password", ""},
         {"http_username", ""}},
        {{"wan_mode", "dhcpc"},
         {"fw_vs_enableA", "2"},
         {"fw_in_rules", "1:FTP:2:192.168.0.20:0.0.0.0/0:0\x01"}},
        {{"wan_mode", "dhcpc"}, {"fw_schedule", "1111111:0:0-24:0\x01"}},
        {{"wan_mode", "dhcpc"},
         {"wifi_ssid", "Bob\"s `net`"},
         {"ddns_password", "a$b"},
         {"mail_password", "$(it) is; fine"}},
        {{"wan_mode", "dhcpc"},
         {"wifi_wep_on", "6"},
         {"wifi_psk_pwd", ""},
         {"wifi_radius_server", "192.168.0.9"},
         {"wifi_radius_login_key", "shared"}},
        {{"wan_mode", "dhcpc"}, {"fw_schedule", "1111111:22:0-6:0\x01"}},
        {{"wan_mode", "dhcpc"}, {"vpn", tunnels(policy({}))}},
        {{"wan_mode", "dhcpc"},
         {"vpn", tunnels(policy({{"gateway_type", "2"}, {"gateway", "office.example.net"}}))}},
        {{"wan_mode", "dhcpc"}, {"vpn", tunnels(policy({{"gateway_type", "0"}, {"gateway", "0"}}))}},
        {{"wan_mode", "dhcpc"}, {"vpn", tunnels(policy({{"local_net", "10.20.0.0...255.255.255.0"}}))}},
    };
    for (const Settings &changes : all) {
        Settings whole = kNoNames;
        whole.insert(whole.end(), changes.begin(), changes.end());
        std::string lines = lines_of(with(whole));
        EXPECT_EQ(lines, "") << changes[0].key << "=" << changes[0].value << " " << changes.back().key;
    }
}

// LINT_STORES=2000 in the environment takes as many.
TEST(Lint, RandomRoutersThatAreFine)
{
    constexpr size_t kShare = 100;
    const char *wanted = getenv("LINT_STORES");
    const size_t count = wanted == nullptr ? kShare : strtoul(wanted, nullptr, 10);
    for (size_t i = 0; i < count; ++i) {
        settings_test::Random random(static_cast<unsigned>(i));
        for (const Finding &finding : forms::lint(settings_test::fine_store(random))) {
            EXPECT_EQ(finding.grade, Grade::kNote) << "store " << i << ": " << forms::finding_line(finding);
        }
    }
}

// The second record of a schedule opens and closes nothing, whatever is in it.
TEST(Lint, OnlyTheFirstRecordOfAScheduleIsJudged)
{
    EXPECT_EQ(lines_of(with({{"fw_schedule",
                              "1111100:8:0-9:0\x01"
                              "0000011:9:0-1:0"}})),
              "fw_schedule: record 2: warning: only the first record decides whether the schedule is open "
              "[schedule-second]\n");
}

TEST(Lint, TwoEntriesOfOneKey)
{
    Settings store = settings_test::default_store();
    store.push_back({"wan_mtu", "9000"});
    const std::vector<Finding> findings = forms::lint(store);
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(forms::finding_line(findings[0]), "wan_mtu: warning: is there more than once [repeated-key]");
}

TEST(Lint, SecretsAreNotShown)
{
    for (const Finding &finding : forms::lint(with({{"pppoe_password", "hush\nhush"}}))) {
        EXPECT_EQ(finding.message.find("hush"), std::string::npos) << finding.message;
    }
}

TEST(Lint, JsonSaysTheSame)
{
    const std::string json =
        forms::findings_json(forms::lint(with({{"fw_in_rules", "1:SSH:2:192.168.0.20:any:0\x01"}})));
    EXPECT_EQ(json,
              "[\n  {\n    \"key\": \"fw_in_rules\",\n    \"record\": 1,\n    \"field\": 5,\n    "
              "\"field_name\": \"wan\",\n"
              "    \"grade\": \"error\",\n    \"code\": \"value\",\n"
              "    \"message\": \"\\\"any\\\" is no address, range or net; rc reads the fields that fit and "
              "takes the "
              "others from the rule before it\"\n  }\n]\n");
    EXPECT_EQ(forms::findings_json({}), "[]\n");
}

}  // namespace
