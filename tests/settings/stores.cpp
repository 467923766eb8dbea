#include "tests/settings/stores.h"

#include <array>
#include <utility>

namespace settings_test {

namespace {

using forms::Setting;
using Store = std::vector<Setting>;
using Texts = std::vector<const char *>;

std::string one_of(Random &random, const Texts &texts)
{
    return texts[below(random, texts.size())];
}

const Texts kHosts = {"192.168.0.20", "192.168.0.30", "192.168.0.1",  "10.9.8.7",
                      "192.168.0.99", "172.16.0.3",   "192.168.0.255"};

std::string rule(Random &random, bool is_inbound)
{
    std::string text = one_of(random, {"1", "1", "1", "0"}) + ":";
    text += one_of(random, {"HTTPS", "SSH", "HTTP", "DNS", "Console", "Hamster", "ANY", "Backup"}) + ":";
    text += one_of(random, {"0", "1", "2", "3"}) + ":";
    text += is_inbound
                ? one_of(random, kHosts)
                : one_of(random, {"192.168.0.30", "0.0.0.0/0", "192.168.0.4-192.168.0.9", "10.0.0.0/8"});
    text +=
        ":" + one_of(random, {"0.0.0.0/0", "198.51.100.7", "198.51.100.0/24", "198.51.100.1-198.51.100.9"});
    return text + ":" + one_of(random, {"0", "1", "2", "3"}) + "\x01";
}

void put_rules(Random &random, Store &store)
{
    for (const bool is_inbound : {true, false}) {
        std::string text;
        for (size_t count = below(random, 5); count > 0; --count) {
            text += rule(random, is_inbound);
        }
        put(store, is_inbound ? "fw_in_rules" : "fw_out_rules", text);
    }
}

void put_forwarding(Random &random, Store &store)
{
    std::string servers;
    for (int i = 0; i < 6; ++i) {
        servers += (i == 0 ? "" : ":") + (below(random, 4) == 0 ? "0" : one_of(random, kHosts));
    }
    put(store, "fw_vs_enableA", std::to_string(below(random, 64)));
    put(store, "fw_vs_serverA", servers);
    put(store, "fw_dmz_enable", one_of(random, {"0", "1", "1"}));
    put(store, "fw_dmz", one_of(random, kHosts));
    put(store, "fw_disable", one_of(random, {"0", "0", "1"}));
}

void put_remote(Random &random, Store &store)
{
    put(store, "fw_remote", "1");
    put(store, "fw_remote_type", one_of(random, {"1", "2", "3", "4", "5", "x"}));
    put(store, "fw_remote_port", one_of(random, {"8443", "443", "22", "0", "high"}));
    put(store, "fw_remote_range_start", one_of(random, {"198.51.100.10", "198.51.100.99"}));
    if (below(random, 2) == 0) {
        put(store, "fw_remote_list1_ip1", one_of(random, {"", "anywhere"}));
        put(store, "fw_remote_list1_ip2", "");
    }
    put(store, "http_password", one_of(random, {"", "secret"}));
    put(store, "fw_nat", one_of(random, {"1", "2", "0", "7"}));
}

void put_schedule(Random &random, Store &store)
{
    const std::string first =
        one_of(random, {"0000000:8:0-9:0", "1111111:22:0-6:0", "0111110:8:30-8:30", "1111111:0:0-24:0",
                        "1000001:1:5-2:5", "11111:1:0-2:0", "1111111:0:0-0:0", "0111110:8:0-24:0"});
    const std::string second = one_of(random, {"", "", "1:2", "0000000:1:0-2:0\x01"});
    put(store, "fw_schedule", below(random, 4) == 0 ? "" : first + "\x01" + second);
    put(store, "fw_block", one_of(random, {"0", "1", "2", "3"}));
    put(store, "fw_block_keyword", one_of(random, {"", "casino\x01", "a \"b\x01"}));
}

void put_lan(Random &random, Store &store)
{
    put(store, "lan_ipaddr", one_of(random, {"192.168.0.1", "192.168.7.1", "10.0.0.1", "192.168.0.0"}));
    put(store, "lan_netmask",
        one_of(random, {"255.255.255.0", "255.255.0.0", "255.255.255.255", "255.0.255.0"}));
    put(store, "dhcp_start_ip", one_of(random, {"192.168.0.2", "192.168.0.100", "192.168.1.2"}));
    put(store, "dhcp_end_ip", one_of(random, {"192.168.0.254", "192.168.0.50", "192.168.1.99"}));
}

void put_reservations(Random &random, Store &store)
{
    std::string text;
    for (size_t count = 1 + below(random, 4); count > 0; --count) {
        text += one_of(random, {"disk", "printer", ""}) + ";" + one_of(random, kHosts) + ";" +
                one_of(random, {"02:4b:51:00:10:01", "024b51001001", "024b51001002", "024B51001003"}) +
                "\x01";
    }
    put(store, "dhcp_reserved", text);
}

void put_routes(Random &random, Store &store)
{
    std::string text;
    for (size_t count = 1 + below(random, 3); count > 0; --count) {
        text += "r:" + one_of(random, {"10.20.0.0", "10.20.30.40", "172.16.5.0", "172.16.5.7"}) + ":" +
                one_of(random,
                       {"255.255.0.0", "255.0.0.0", "255.255.255.0", "255.255.255.255", "255.255.254.0"}) +
                ":" + one_of(random, {"192.168.0.30", "10.1.1.1", "gateway"}) + ":" +
                one_of(random, {"1", "16", "300", "x"}) + ":" + one_of(random, {"0", "1"}) + ":" +
                one_of(random, {"0", "1", "1", "1"}) + "\x01";
    }
    put(store, "rt_static_route", text);
}

void put_wan(Random &random, Store &store)
{
    const std::string mode =
        one_of(random, {"pppoe", "pppoa", "ipoa", "dhcpc", "ip", "bridge", "pppox", "x", "static", ""});
    put(store, "wan_mode", mode);
    put(store, "wan_ifname", mode[0] == 'p' ? "ppp0" : "nas0");
    for (const char *key : {"fix_ipaddr", "fix_netmask", "fix_gateway", "ipoa_ipaddr", "ipoa_netmask"}) {
        const bool is_mask = std::string(key).find("mask") != std::string::npos;
        put(store, key,
            is_mask ? one_of(random, {"", "255.255.255.0", "24"})
                    : one_of(random, {"", "203.0.113.10", "198.51.100.1", "none"}));
    }
    put(store, "ipoa_mode", one_of(random, {"1483", "1483", "", "bridged"}));
    put(store, "wan_iptype", one_of(random, {"Dynamic", "Fixed", "static"}));
    put(store, "pppoe_ipaddr", one_of(random, {"", "203.0.113.77", "here"}));
    put(store, "wan_dod", one_of(random, {"0", "1"}));
    put(store, "pppoe_idle", one_of(random, {"0", "5", "-3", "x"}));
    put(store, "pppoe_password", one_of(random, {"", "secret", "it\"s"}));
    put(store, "wan_fix_dns", one_of(random, {"0", "1"}));
    put(store, "wan_dns1", one_of(random, {"", "192.0.2.53", "name.server"}));
    put(store, "wan_dns2", one_of(random, {"", "192.0.2.54"}));
    put(store, "wan_vpi", one_of(random, {"8", "0", "x"}));
    put(store, "wan_vci", one_of(random, {"35", "0", "x"}));
    put(store, "wan_mtu", one_of(random, {"1492", "1500", "9000"}));
}

void put_followers(Random &random, Store &store)
{
    put(store, "ntp_custom", one_of(random, {"0", "1", "yes"}));
    put(store, "ntp_server", one_of(random, {"", "time.example.net", "a b"}));
    put(store, "ddns_enable", one_of(random, {"0", "1", "yes"}));
    put(store, "ddns_host_name", one_of(random, {"", "me.example.net", "-me"}));
    put(store, "ddns_user_name", one_of(random, {"", "me", "o'me"}));
    put(store, "mail_server", one_of(random, {"", "mail.example.net", "mail server"}));
    put(store, "mail_recipient", one_of(random, {"", "me@example.net"}));
}

void put_radio(Random &random, Store &store)
{
    put(store, "wifi_wep_on", one_of(random, {"0", "1", "1", "1", "2", "3", "5", "7", "8", "x"}));
    put(store, "wifi_key_len", one_of(random, {"64", "128"}));
    put(store, "wifi_def_key", one_of(random, {"1", "2", "3"}));
    put(store, "wifi_key2", one_of(random, {"", "0123456789", "0123456789abcdef0123456789"}));
    put(store, "wifi_radius_server", one_of(random, {"", "192.168.0.9"}));
    put(store, "wifi_region", one_of(random, {"Europe", "Israel", "United States", "Korea", "Mexico"}));
    put(store, "wifi_channel", one_of(random, {"6", "13", "0", "1", "14", "99"}));
    put(store, "wifi_access_control", one_of(random, {"0", "1"}));
    put(store, "wifi_access_list",
        one_of(random, {"", "00:11:22:33:44:55\x01", "the laptop of mine\x01",
                        "00:11:22:33:44:55,00:11:22:33:44:66\x01"}));
    put(store, "wifi_wds", one_of(random, {"0", "0", "1"}));
    put(store, "wifi_wds_apmode", one_of(random, {"point", "multi", "repeater", "Point"}));
    put(store, "wifi_wds_bridge0mac", one_of(random, {"", "00:11:22:33:44:55", "peer"}));
    put(store, "wifi_psk_pwd", one_of(random, {"correct horse battery", "short", "a $(reboot) in it"}));
}

void put_tunnels(Random &random, Store &store)
{
    std::string text = "1";
    for (size_t count = 1 + below(random, 3); count > 0; --count) {
        text += policy(
            {{"enabled", one_of(random, {"1", "1", "0"})},
             {"name", one_of(random, {"office", "branch", "headquarters-in-town", "the-head-office"})},
             {"keying", one_of(random, {"1", "1", "2"})},
             {"encryption", one_of(random, {"0", "1"})},
             {"authentication", one_of(random, {"0", "1", "2"})},
             {"local_type", one_of(random, {"2", "3", "4", "5", "4", "9"})},
             {"local_net", one_of(random, {"192.168.0.0...255.255.255.0", "192.168.0.1...192.168.0.9",
                                           "192.168.0.9...192.168.0.1", "1.2.3", "192.168.0.5"})},
             {"remote_type", one_of(random, {"1", "2", "3", "4", "5"})},
             {"remote_net", one_of(random, {"10.1.0.0...255.255.0.0", "10.1.2.3...10.1.2.9", "10.1", "0"})},
             {"psk", one_of(random, {"secret", "0"})},
             {"encryption_key", one_of(random, {"0", "0123456789abcdef", "eightchr"})},
             {"authentication_key", one_of(random, {"0", "sixteencharacter", "twentycharacterslong"})},
             {"lifetime", one_of(random, {"3600", "3600", "1h"})}});
    }
    put(store, "vpn", text + "\x01");
    put(store, "wan_ifname", one_of(random, {"ppp0", "nas0"}));
}

using Spoil = void (*)(Random &random, Store &store);

constexpr std::array<Spoil, 11> kSpoils = {put_rules,     put_forwarding,   put_remote, put_schedule,
                                           put_lan,       put_reservations, put_routes, put_wan,
                                           put_followers, put_radio,        put_tunnels};

}  // namespace

std::vector<Setting> default_store()
{
    Store store;
    for (const forms::Description *one : forms::all_descriptions()) {
        store.push_back({one->key, one->value});
    }
    return store;
}

void put(Store &store, const std::string &key, const std::string &value)
{
    for (Setting &one : store) {
        if (one.key == key) {
            one.value = value;
            return;
        }
    }
    store.push_back({key, value});
}

std::string policy(const std::vector<std::pair<std::string, std::string>> &changes)
{
    std::vector<std::pair<std::string, std::string>> fields = {{"enabled", "1"},
                                                               {"name", "office"},
                                                               {"keying", "1"},
                                                               {"encryption", "0"},
                                                               {"authentication", "2"},
                                                               {"local_type", "4"},
                                                               {"local_net", "192.168.0.0...255.255.255.0"},
                                                               {"gateway_type", "1"},
                                                               {"gateway", "198.51.100.99"},
                                                               {"remote_type", "4"},
                                                               {"remote_net", "10.1.0.0...255.255.0.0"},
                                                               {"psk", "secret"},
                                                               {"spi_in", "0"},
                                                               {"spi_out", "0"},
                                                               {"encryption_key", "0"},
                                                               {"authentication_key", "0"},
                                                               {"local_id_type", "0"},
                                                               {"local_id", "\x03"},
                                                               {"remote_id_type", "0"},
                                                               {"remote_id", "\x03"},
                                                               {"exchange", "0"},
                                                               {"connect", "1"},
                                                               {"dh_group", "2"},
                                                               {"pfs", "0"},
                                                               {"option25", "0"},
                                                               {"lifetime", "3600"}};
    std::string text = "\x01";
    for (auto &[name, value] : fields) {
        for (const auto &[changed, other] : changes) {
            value = changed == name ? other : value;
        }
        text += value + (name == "lifetime" ? "" : "\x02");
    }
    return text;
}

std::vector<Setting> random_store(Random &random)
{
    Store store = default_store();
    for (size_t count = 1 + below(random, 4); count > 0; --count) {
        kSpoils[below(random, kSpoils.size())](random, store);
    }
    for (size_t count = 1 + below(random, 6); count > 0; --count) {
        const std::vector<const forms::Description *> all = forms::all_descriptions();
        const forms::Description &one = *all[below(random, all.size())];
        put(store, one.key, any_value(random, one));
    }
    return store;
}

}  // namespace settings_test
