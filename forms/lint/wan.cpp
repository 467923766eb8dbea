// The Internet side: what each mode needs, name servers, MTU, the services that follow.
#include "forms/lint/internal.h"

namespace forms {

namespace {

void lint_login(const Store &store, const std::string &mode, Findings &findings)
{
    const std::string name = mode + "_username";
    const std::string password = mode + "_password";
    if (store.get(name).empty() || !store.is_fine(name)) {
        return;  // said of the value itself
    }
    if (store.get(password).empty()) {
        findings
            .add(Grade::kError, "password-missing", password,
                 "there is a login name and no password; the router will dial with an empty one")
            .claims = {runs("wan start", " user \"" + store.get(name) + "\" password \"\" mru ")};
    }
}

void lint_needed(const Store &store, const char *key, const char *what, const std::string &command,
                 Findings &findings)
{
    if (store.get(key).empty()) {
        findings
            .add(Grade::kError, "mode-lacks", key,
                 std::string("mode ") + store.get("wan_mode") + " needs " + what +
                     "; the router will bring the line up without it")
            .claims = {runs("wan start", command)};
    }
}

void lint_fixed(const Store &store, Findings &findings)
{
    lint_needed(store, "fix_ipaddr", "an address", "/sbin/ifconfig nas0  netmask ", findings);
    lint_needed(store, "fix_netmask", "a netmask",
                "/sbin/ifconfig nas0 " + store.get("fix_ipaddr") + " netmask ", findings);
    lint_needed(store, "fix_gateway", "a gateway", "/sbin/route add default gw ", findings);
    const auto address = store.address("fix_ipaddr");
    const auto mask = store.address("fix_netmask");
    const auto gateway = store.address("fix_gateway");
    if (address && mask && gateway && !Net{*address, *mask}.holds(*gateway)) {
        findings
            .add(Grade::kWarning, "gateway-outside-net", "fix_gateway",
                 store.get("fix_gateway") +
                     " is not in the net of the WAN address; the router will ask for it "
                     "as the default route all the same")
            .claims = {runs("wan start", "/sbin/route add default gw " + store.get("fix_gateway"))};
    }
}

void lint_atm(const Store &store, Findings &findings)
{
    if (store.number("wan_vpi") == 0 && store.number("wan_vci") == 0) {
        findings
            .add(Grade::kError, "circuit-zero", "wan_vci",
                 "mode ipoa needs a circuit other than 0.0; the router will bring nothing up")
            .claims = {never_runs("wan start", "/usr/sbin/rt2684d -i "),
                       never_runs("wan start", "/usr/sbin/atmarpd")};
        return;
    }
    if (store.get("ipoa_mode") != "1483") {
        for (const char *key : {"ipoa_ipaddr", "ipoa_netmask"}) {
            if (store.get(key).empty()) {
                findings.add(Grade::kError, "mode-lacks", key, "mode ipoa needs it, and it is empty");
            }
        }
        return;
    }
    lint_needed(store, "ipoa_ipaddr", "an address", "/sbin/ifconfig nas0  netmask ", findings);
    lint_needed(store, "ipoa_netmask", "a netmask",
                "/sbin/ifconfig nas0 " + store.get("ipoa_ipaddr") + " netmask ", findings);
    if (store.get("ipoa_gateway").empty()) {
        findings
            .add(Grade::kWarning, "gateway-missing", "ipoa_gateway",
                 "mode ipoa has no gateway; the router will set no default route")
            .claims = {never_runs("wan start", "/sbin/route add default gw ")};
    }
}

// The WAN's net of the modes in which it is given.
struct Own {
    const char *mode;
    const char *address;
    const char *netmask;
    const char *gateway;
};

constexpr Own kOwn[] = {{"ip", "fix_ipaddr", "fix_netmask", "fix_gateway"},
                        {"ipoa", "ipoa_ipaddr", "ipoa_netmask", "ipoa_gateway"}};

void lint_own(const Store &store, const Own &own, Findings &findings)
{
    const auto address = store.address(own.address);
    const auto mask = store.address(own.netmask);
    if (!address || !mask || !store.is_fine(own.netmask)) {
        return;
    }
    const Net net = {*address, *mask};
    if (net.ends_with(*address)) {
        findings.add(Grade::kError, "wan-no-host", own.address,
                     store.get(own.address) + " is the " +
                         (*address == net.first() ? "number" : "broadcast address") +
                         " of its own net, which no host has");
    }
    if (store.address(own.gateway) == address) {
        findings.add(Grade::kError, "gateway-is-router", own.gateway,
                     store.get(own.gateway) + " is the router's own address");
    }
    const auto lan = lan_net(store);
    if (lan && Span{net.first(), net.last()}.meets({lan->first(), lan->last()})) {
        findings.add(
            Grade::kError, "nets-meet", own.address,
            "its net and the LAN's have addresses in common, and those are reached on one side alone");
    }
}

// Tools that read a number as C does take one that begins with 0 for octal.
void lint_octal(const Store &store, Findings &findings)
{
    for (const char *key : {"wan_mtu", "wan_vpi", "wan_vci", "upnp_ttl", "wifi_radius_port"}) {
        const std::string &value = store.get(key);
        if (value.size() > 1 && value[0] == '0' && store.is_fine(key)) {
            findings.add(
                Grade::kWarning, "octal", key,
                value + " begins with 0 and goes to tools as it is, some of which take it for octal");
        }
    }
}

void lint_device(const Store &store, Findings &findings)
{
    const std::string &hardware = store.get("wan_macaddr");
    if (!hardware.empty() && store.is_fine("wan_macaddr") && !is_one_device(hardware)) {
        findings.add(Grade::kError, "no-device", "wan_macaddr",
                     hardware + " is the hardware address of no single device, and the interface refuses it");
    }
}

void lint_mode(const Store &store, Findings &findings)
{
    if (store.is_mode("pppoe")) {
        lint_login(store, "pppoe", findings);
    } else if (store.is_mode("pppoa")) {
        lint_login(store, "pppoa", findings);
    } else if (store.is_mode("ip")) {
        lint_fixed(store, findings);
    } else if (store.is_mode("ipoa")) {
        lint_atm(store, findings);
    }
    constexpr long kLargest = 1492;
    if (store.is_mode("pppoe") && store.is_fine("wan_mtu") && store.number("wan_mtu") > kLargest) {
        findings.add(
            Grade::kWarning, "mtu", "wan_mtu",
            "PPPoE takes 8 bytes of each packet of 1500; with more than 1492 large packets get lost");
    }
}

void lint_names(const Store &store, Findings &findings)
{
    const std::string &first = store.get("wan_dns1");
    if (!store.begins("wan_fix_dns", '1')) {
        return;
    }
    for (const char *key : {"wan_dns1", "wan_dns2"}) {
        if (store.address(key) && store.address(key) == store.address("lan_ipaddr")) {
            findings.add(Grade::kError, "dns-is-router", key,
                         store.get(key) + " is the router itself, whose relay would ask itself");
        }
    }
    if (!first.empty()) {
        return;
    }
    if (store.get("wan_dns2").empty()) {
        findings
            .add(Grade::kError, "dns-missing", "wan_dns1",
                 "fixed name servers are chosen and none is given; the router will set none")
            .claims = {never_runs("wan_basic start", "nameserver ")};
    } else if (store.is_fine("wan_dns2")) {
        findings
            .add(Grade::kWarning, "dns-first-missing", "wan_dns1",
                 "there is a second name server and no first; the router will add the second to the list it "
                 "has")
            .claims = {runs("wan_basic start",
                            "/bin/echo \"nameserver " + store.get("wan_dns2") + "\" >> /etc/resolv.conf")};
    }
}

void lint_dialling(const Store &store, Findings &findings)
{
    const bool is_ppp = store.is_mode("pppoe") || store.is_mode("pppoa");
    const std::string idle = store.get("wan_mode") + "_idle";
    if (is_ppp && store.begins("wan_dod", '1') && store.number(idle) == 0) {
        findings
            .add(Grade::kWarning, "dial-without-idle", idle,
                 "dial on demand needs an idle time; the router will keep the line up")
            .claims = {never_runs("wan restart", " demand ")};
    }
    const std::string address = store.get("wan_mode") + "_ipaddr";
    if (is_ppp && store.begins("wan_iptype", 'F') && store.get(address).empty()) {
        findings
            .add(Grade::kError, "mode-lacks", address,
                 "a fixed PPP address is chosen and none is given; the router will dial with \":\" as the "
                 "address")
            .claims = {runs("wan start", " : nodetach ")};
    }
}

void lint_followers(const Store &store, Findings &findings)
{
    if (!store.get("ntp_custom").empty() && !store.begins("ntp_custom", '0') &&
        store.get("ntp_server").empty()) {
        findings
            .add(Grade::kError, "server-missing", "ntp_server",
                 "a time server of one's own is chosen and none is given; the router will start the time "
                 "client "
                 "with an empty one")
            .claims = {runs("ntp start", " -h & ")};
    }
    if (store.number("ddns_enable") != 0) {
        for (const char *key : {"ddns_user_name", "ddns_password", "ddns_host_name"}) {
            if (store.get(key).empty()) {
                findings.add(Grade::kError, "ddns-lacks", key, "dynamic DNS is on and this is empty");
            }
        }
    }
    if (store.get("mail_enable") == "1") {
        for (const char *key : {"mail_server", "mail_recipient"}) {
            if (store.get(key).empty()) {
                const char *line = key == std::string("mail_server") ? "mail_server=\n" : "mail_receiver=\n";
                findings
                    .add(Grade::kWarning, "mail-lacks", key,
                         "mails are on and this is empty; the router will write it so into the log "
                         "configuration")
                    .claims = {has("syslogd create", "/etc/syslog.conf", line)};
            }
        }
    }
}

}  // namespace

void lint_wan(const Store &store, Findings &findings)
{
    lint_mode(store, findings);
    for (const Own &own : kOwn) {
        if (store.is_mode(own.mode)) {
            lint_own(store, own, findings);
        }
    }
    lint_octal(store, findings);
    lint_device(store, findings);
    lint_names(store, findings);
    lint_dialling(store, findings);
    lint_followers(store, findings);
}

}  // namespace forms
