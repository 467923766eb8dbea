// Routers that are set up well: what belongs together is chosen together.
#include <algorithm>

#include "tests/settings/stores.h"

namespace settings_test {

namespace {

using Store = std::vector<forms::Setting>;
using Texts = std::vector<std::string>;

std::string one_of(Random &random, const Texts &texts)
{
    return texts[below(random, texts.size())];
}

bool maybe(Random &random)
{
    return below(random, 2) == 0;
}

std::string number(Random &random, size_t least, size_t most)
{
    return std::to_string(least + below(random, most - least + 1));
}

void shuffle(Random &random, Texts &texts)
{
    for (size_t i = texts.size(); i > 1; --i) {
        std::swap(texts[i - 1], texts[below(random, i)]);
    }
}

// A house: its net, and what is in it. Addresses end in another number each.
class House {
  public:
    House(Random &random, Store &store)
        : random_(random),
          store_(store),
          net_(one_of(random, {"192.168.0.", "192.168.1.", "10.0.0.", "172.16.5.", "192.168.178."})),
          own_(maybe(random) ? 1 : 254)
    {
    }

    void furnish()
    {
        put_lan();
        put_reservations();
        put_routes();
        put_wan();
        put_filter();
        put_schedule();
        put_servers();
        put_remote();
        put_radio();
        put_tunnels();
        put_followers();
        put_rest();
    }

  private:
    std::string host() { return net_ + std::to_string(30 + 10 * below(random_, 10)); }
    void set(const char *key, const std::string &value) { put(store_, key, value); }

    void put_lan();
    void put_reservations();
    void put_routes();
    void put_wan();
    void put_ppp(const std::string &mode);
    void put_filter();
    void put_schedule();
    void put_servers();
    void put_remote();
    void put_radio();
    void put_tunnels();
    void put_followers();
    void put_rest();
    std::string peers()
    {
        return one_of(random_, {"0.0.0.0/0", "0.0.0.0/0", "198.51.100.7", "198.51.100.0/24",
                                "198.51.100.1-198.51.100.9"});
    }

    Random &random_;
    Store &store_;
    std::string net_;
    size_t own_;
};

void House::put_lan()
{
    set("lan_ipaddr", net_ + std::to_string(own_));
    set("lan_netmask", "255.255.255.0");
    set("lan_bipaddr", net_ + "255");
    set("dhcp_server_enable", one_of(random_, {"0", "1", "1"}));
    set("dhcp_start_ip", net_ + number(random_, 2, 20));
    set("dhcp_end_ip", net_ + number(random_, 150, 253));
    set("log_remote_ip", host());
    set("fw_block_trust", host());
    set("fw_dmz", host());
}

void House::put_reservations()
{
    std::string text;
    for (size_t i = below(random_, 5); i > 0; --i) {
        const std::string digit = std::to_string(i);
        text += one_of(random_, {"TV", "Tom's laptop",
                                 "K\xc3\xbc"
                                 "che",
                                 "printer 2", "a:b", ""}) +
                ";" + net_ + std::to_string(30 + 10 * i) + ";" +
                (maybe(random_) ? "02:4B:51:00:10:0" + digit : "024b5100100" + digit) + "\x01";
    }
    set("dhcp_reserved", text);
}

void House::put_routes()
{
    std::string text;
    for (size_t i = below(random_, 4); i > 0; --i) {
        text += one_of(random_, {"office", "lab 2", "x"}) + ":10.99." + std::to_string(i) +
                ".0:255.255.255.0:" + host() + ":" + number(random_, 0, 16) + ":" +
                (maybe(random_) ? "1:" : "0:") + (maybe(random_) ? "1" : "0") + "\x01";
    }
    set("rt_static_route", text);
    set("rt_rip_direction", one_of(random_, {"0", "i", "o", "b", ""}));
    set("rt_rip_version", one_of(random_, {"1", "2", "2B"}));
}

void House::put_ppp(const std::string &mode)
{
    set((mode + "_username").c_str(),
        one_of(random_, {"customer@provider.example", "me", "a b#c", "01234-5#6@isp"}));
    set((mode + "_password").c_str(), one_of(random_, {"secret", "p&ss w(rd)!", "';|<>*?"}));
    const bool is_on_demand = maybe(random_);
    set("wan_dod", is_on_demand ? "1" : "0");
    set((mode + "_idle").c_str(), is_on_demand ? number(random_, 1, 60) : one_of(random_, {"0", "5", ""}));
    const bool is_fixed = maybe(random_);
    set("wan_iptype", is_fixed ? "Fixed" : "Dynamic");
    set((mode + "_ipaddr").c_str(), is_fixed ? "203.0.113.77" : "");
}

void House::put_wan()
{
    const std::string mode = one_of(random_, {"pppoe", "pppoe", "pppoa", "ipoa", "dhcpc", "ip", "bridge"});
    set("wan_mode", mode);
    set("wan_ifname", mode[0] == 'p' ? "ppp0" : "nas0");
    set("wan_mtu", number(random_, 1000, mode == "pppoe" ? 1492 : 1500));
    if (mode[0] == 'p') {
        put_ppp(mode);
    }
    const std::string front = mode == "ip" ? "fix" : "ipoa";
    if (mode == "ip" || mode == "ipoa") {
        set((front + "_ipaddr").c_str(), "203.0.113." + number(random_, 2, 254));
        set((front + "_netmask").c_str(), one_of(random_, {"255.255.255.0", "255.255.0.0", "255.255.254.0"}));
        set((front + "_gateway").c_str(), "203.0.113.1");
    }
    set("ipoa_mode", one_of(random_, {"", "1483", "1577"}));
    set("wan_vpi", number(random_, 0, 255));
    set("wan_vci", number(random_, 32, 65535));
    set("wan_encap", one_of(random_, {"0", "1"}));
    set("wan_macaddr", one_of(random_, {"", "02:4b:51:AA:bb:01"}));
    const bool is_fixed = maybe(random_);
    set("wan_fix_dns", is_fixed ? "1" : "0");
    set("wan_dns1", is_fixed || maybe(random_) ? "192.0.2.53" : "");
    set("wan_dns2", maybe(random_) ? "192.0.2.54" : "");
}

// Each service once, so that no rule is behind another.
void House::put_filter()
{
    set("fw_services", "Console:udp:3074-3075\x01My game 2:both:27015-27030\x01");
    Texts services = {"HTTPS",     "SSH", "SMTP",     "Console", "IMAPS",
                      "My game 2", "RDP", "VPN-PPTP", "NTP",     "DNS"};
    for (const bool is_inbound : {true, false}) {
        shuffle(random_, services);
        std::string text;
        for (size_t i = below(random_, 5); i > 0; --i) {
            const std::string users = one_of(random_, {"0.0.0.0/0", host(), net_ + "30-" + net_ + "60"});
            std::string wan = peers();
            while (!is_inbound && wan == "198.51.100.0/24") {
                wan = peers();
            }
            text += one_of(random_, {"0:", "1:", "1:"}) + services[i] + ":" + number(random_, 0, 3) + ":" +
                    (is_inbound ? host() : users) + ":" + wan + ":" + number(random_, 0, 3) + "\x01";
        }
        set(is_inbound ? "fw_in_rules" : "fw_out_rules", text);
    }
    set("fw_nat", one_of(random_, {"0", "1", "2"}));
    set("fw_block", number(random_, 0, 2));
    set("fw_block_keyword",
        "casino\x01"
        "bad.example.com\x01");
    set("fw_dmz_enable", one_of(random_, {"0", "1"}));
    set("fw_spapp", maybe(random_) ? ""
                                   : "1:1:Voice:udp:6970:udp:6971-6999\x01"
                                     "2:1:Game:tcp:2300:both:2301-2400\x01");
}

void House::put_schedule()
{
    const std::string minute = number(random_, 0, 59);
    const std::string start = number(random_, 0, 11);
    const std::string end = number(random_, 12, 23);
    std::string days = std::to_string(10000000 + below(random_, 1)).substr(1);
    for (char &day : days) {
        day = maybe(random_) ? '1' : '0';
    }
    days[below(random_, 7)] = '1';
    set("fw_schedule",
        one_of(random_, {days + ":" + start + ":" + minute + "-" + end + ":" + minute + "\x01",
                         days + ":0:0-24:0\x01", "1111111:" + end + ":" + minute + "-" + start + ":0\x01"}));
}

// The rules that let their traffic in come with them.
void House::put_servers()
{
    if (maybe(random_)) {
        set("fw_vs_enableA", "0");
        return;
    }
    const std::string at = host();
    set("fw_vs_enableA", "35");
    set("fw_vs_serverA", at + ":" + at + ":0:0:0:" + at);
    std::string rules;
    for (const char *service : {"HTTP", "HTTPS", "FTP", "TELNET"}) {
        rules += std::string("1:") + service + ":2:" + at + ":0.0.0.0/0:0\x01";
    }
    set("fw_in_rules", rules);
}

void House::put_remote()
{
    set("fw_remote", one_of(random_, {"0", "1"}));
    set("fw_remote_type", one_of(random_, {"1", "2", "4"}));
    set("fw_remote_port", number(random_, 40000, 65535));
    set("http_username", one_of(random_, {"admin", "Tom M\xc3\xbcller"}));
    set("http_password", one_of(random_, {"password", "a:b c\"d$e"}));
    set("http_timeout", number(random_, 1, 60));
}

void House::put_radio()
{
    set("wifi_if_on", one_of(random_, {"0", "1", "1"}));
    set("wifi_ssid", one_of(random_, {"home", "Caf\xc3\xa9 2", "Bob\"s `net`", "a b & c"}));
    set("wifi_wep_on", one_of(random_, {"2", "3", "4", "6"}));
    set("wifi_psk_pwd", one_of(random_, {"correct horse battery", "12345678", std::string(64, 'a'),
                                         "x!%&/()=?+*#-_.:,;<>|"}));
    set("wifi_radius_server", net_ + "200");
    set("wifi_radius_login_key", "shared secret");
    set("wifi_region", one_of(random_, {"Europe", "United States", "Canada", "Japan"}));
    set("wifi_channel", number(random_, 0, 11));
    set("wifi_access_control", one_of(random_, {"0", "1"}));
    set("wifi_access_list",
        "00:11:22:33:44:55 Tom's laptop\x01"
        "02:11:22:33:44:66\x01");
}

void House::put_tunnels()
{
    std::string text;
    for (size_t i = below(random_, 4); i > 0; --i) {
        const std::string digit = std::to_string(i);
        const bool is_manual = maybe(random_);
        text += policy({{"enabled", one_of(random_, {"0", "1", "1"})},
                        {"name", one_of(random_, {"office", "branch", "home"}) + digit},
                        {"keying", is_manual ? "2" : "1"},
                        {"authentication", "2"},
                        {"local_type", one_of(random_, {"4", "4", "5"})},
                        {"local_net", net_ + "0...255.255.255.0"},
                        {"gateway_type", "1"},
                        {"gateway", "198.51.100." + digit},
                        {"remote_net", "10.5" + digit + ".0.0...255.255.0.0"},
                        {"psk", one_of(random_, {"secret", "a b'c"})},
                        {"spi_in", is_manual ? "1a" + digit : "0"},
                        {"spi_out", is_manual ? "2b" + digit : "0"},
                        {"encryption_key", is_manual ? std::string(48, 'a') : "0"},
                        {"authentication_key", is_manual ? std::string(40, 'b') : "0"},
                        {"local_id", one_of(random_, {"\x03", "me@home.example"})},
                        {"dh_group", one_of(random_, {"0", "1", "2", "5"})},
                        {"pfs", one_of(random_, {"0", "1"})},
                        {"lifetime", number(random_, 600, 86400)}});
    }
    set("vpn", text.empty() ? one_of(random_, {"", "1"}) : "1" + text + "\x01");
}

void House::put_followers()
{
    set("ntp_custom", one_of(random_, {"0", "1"}));
    set("ntp_server", one_of(random_, {"time.example.net", "192.0.2.123", "0.pool.example.net"}));
    set("ddns_enable", one_of(random_, {"0", "1"}));
    set("ddns_user_name", "me@example.net");
    set("ddns_password", "a$b \"c\"");
    set("ddns_host_name", "my-house.dyn.example.net");
    set("mail_server", one_of(random_, {"mail.example.net", "192.0.2.25"}));
    set("mail_recipient", "tom.mueller@example.net");
    set("log_type", one_of(random_, {"0", "1", "2"}));
}

// Flags and choices that stand by themselves.
void House::put_rest()
{
    for (const char *key : {"blank_state",      "wan_account",
                            "fw_time_zone",     "time_daylight",
                            "wiz_language",     "log_login",
                            "log_gateway",      "log_dos",
                            "log_block",        "mail_enable",
                            "mail_enable_auth", "mail_logfull",
                            "mail_dos",         "mail_portscan",
                            "mail_block",       "mail_sendlog",
                            "mail_sh_hour",     "mail_sh_day",
                            "wan_dslmode",      "wan_pppoe_relay",
                            "dis_sip_alg",      "ddns_use_wildcards",
                            "upnp_enable",      "upnp_adv_time",
                            "upnp_ttl",         "fw_spi",
                            "fw_import",        "fw_acc_lan",
                            "fw_acc_port",      "fw_block_trust_enable",
                            "fw_response_ping", "wifi_broadcast_ssid",
                            "wifi_dot11_iso",   "wifi_dot11_mode",
                            "wifi_auth_type"}) {
        if (maybe(random_)) {
            set(key, fine_value(random_, *forms::find_description(key)));
        }
    }
}

}  // namespace

std::vector<forms::Setting> fine_store(Random &random)
{
    Store store = default_store();
    House(random, store).furnish();
    return store;
}

}  // namespace settings_test
