// VPN bring-up: secrets, virtual interface, IKE daemon, and one tunnel after the other.
//
// Reads:  time_daylight time_zone
// Writes: /etc/ipsec.secrets /proc/sys/net/ipv4/conf/all/rp_filter /var/run/mybuf.in /proc/br_trigger
//         /var/tmp/vpn.conf
// Runs:   echo ipsec ifconfig keepalive
// Needs:  the WAN address, the NAT chains VPN and BYPASS_TMSS; /var/run/pluto/pluto.pid /tmp/vpn_debug
//
// What was brought up is recorded in /var/tmp/vpn.conf, and the stop takes exactly that down.

#include "rc/vpn/internal.h"

#include <netdb.h>
#include <netinet/in.h>

#include <cstring>
#include <string>
#include <string_view>

#include "rc/bytes.h"
#include "rc/files.h"
#include "rc/nvram.h"
#include "rc/rc.h"
#include "rc/text.h"

namespace {

// Texts of at most these lengths are a keep-alive command without an entry, and no address.
constexpr size_t kNoEntry = 20;
constexpr size_t kNoAddress = 6;
constexpr int kKeptAlive = 2;

constexpr const char *kCiphers[] = {"3des", "des"};
constexpr const char *kIkeHashes[] = {"auto", "md5", "sha"};
// Deliberate: the same algorithm is spelled "sha" for IKE and "sha1" for ESP.
constexpr const char *kEspHashes[] = {"auto", "md5", "sha1"};
constexpr const char *kDhGroups[] = {"0", "modp768", "modp1024", "3", "4", "modp1536"};

// The entry of a table, an empty word for a number outside it.
template <size_t N>
const char *entry(const char *const (&table)[N], int index)
{
    return index >= 0 && static_cast<size_t>(index) < N ? table[index] : "";
}

struct Range {
    uint32_t low;
    uint32_t high;
};

void write_secrets(const VpnTable &table)
{
    const File secrets = open_file("/etc/ipsec.secrets", "w");
    if (!secrets) {
        return;
    }
    for (const VpnPolicy &policy : table.policies) {
        if (policy.enabled != 0 && policy.keying == kKeyingAutomatic) {
            (void)fprintf(secrets.get(), "%s %s: PSK \"%s\"\n",
                          no_id(policy.local_id) ? policy.wan_ip : policy.local_id,
                          no_id(policy.remote_id) ? policy.remote_gw : policy.remote_id, policy.psk);
        }
    }
}

void attach_interface(const VpnPolicy &first)
{
    run("/bin/echo 0 > /proc/sys/net/ipv4/conf/all/rp_filter");
    run_filled("/usr/sbin/ipsec tncfg --attach --virtual ipsec0 --physical %s", wan_ifname(first));
    if (strncmp(wan_ifname(first), "ppp", 3) == 0) {
        run_filled("/sbin/ifconfig ipsec0 inet %s pointopoint %s netmask 255.255.255.255", first.wan_ip,
                   first.wan_gateway);
    } else {
        run_filled("/sbin/ifconfig ipsec0 inet %s broadcast %s netmask %s", first.wan_ip, first.wan_broadcast,
                   first.wan_netmask);
    }
}

void start_daemon()
{
    const int daylight = nvram_int("time_daylight");
    const std::string zone = nvram_get("time_zone").value_or("GMT+0");
    const char *debug = file_exists("/tmp/vpn_debug") ? "--debug-all" : "";
    if (daylight == 0) {
        // Deliberate: in this form there is no space before ">", so the debug word, or the zone, touches it.
        run_filled(
            "/usr/sbin/ipsec pluto --secretsfile /etc/ipsec.secrets --uniqueids "
            "--adns /usr/local/libexec/ipsec/_pluto_adns --stderrlog "
            "--timezone %s %s> /var/run/mybuf.in 2>&1",
            zone.c_str(), debug);
    } else {
        run_filled(
            "/usr/sbin/ipsec pluto --secretsfile /etc/ipsec.secrets --uniqueids "
            "--adns /usr/local/libexec/ipsec/_pluto_adns --stderrlog "
            "--daylight --timezone %s %s > /var/run/mybuf.in 2>&1",
            zone.c_str(), debug);
    }
}

std::string id_argument(const char *id)
{
    std::string argument;
    if (!no_id(id)) {
        append_format(argument, "--id \"%s\"", id);
    }
    return argument;
}

std::string ike_proposal(const VpnPolicy &policy)
{
    std::string proposal = entry(kCiphers, policy.enc_alg);
    if (policy.auth_alg != 0 && policy.dh_group != 0) {
        append_format(proposal, "-%s-%s", entry(kIkeHashes, policy.auth_alg),
                      entry(kDhGroups, policy.dh_group));
    }
    return proposal;
}

std::string esp_proposal(const VpnPolicy &policy)
{
    std::string proposal = entry(kCiphers, policy.enc_alg);
    if (policy.auth_alg != 0 && policy.dh_group != 0) {
        append_format(proposal, "-%s", entry(kEspHashes, policy.auth_alg));
    }
    return proposal;
}

void add_tunnel(const VpnPolicy &policy)
{
    const int lifetime = lifetime_of(policy);
    run_filled(
        "/usr/sbin/ipsec whack --name %s --encrypt --ike %s --esp %s --tunnel %s %s "
        "--disablearrivalcheck --dpddelay 10 --dpdtimeout 30 --dpdaction clear --psk "
        "--host %s %s --nexthop %s %s --to --host %s %s --nexthop %%direct %s "
        "--ipseclifetime %d --ikelifetime %d --keyingtries 1 --rekeywindow 0 --rekeyfuzz 0 "
        "--dontrekey ",
        policy.name, ike_proposal(policy).c_str(), esp_proposal(policy).c_str(),
        policy.pfs != 0 ? "--pfs" : "", policy.exchange_mode == 1 ? "--aggrmode" : "", policy.wan_ip,
        policy.local_net, policy.wan_gateway, id_argument(policy.local_id).c_str(), policy.remote_gw,
        policy.remote_net, id_argument(policy.remote_id).c_str(), lifetime, lifetime);
    run("/usr/sbin/ipsec whack --listen");
}

// Adds the policy to the keep-alive command, its name between quotes that the shell leaves alone.
void add_keepalive(std::string &command, const VpnPolicy &policy)
{
    if (policy.keepalive_on == 0 || strlen(policy.keepalive_addr) <= kNoAddress) {
        return;
    }
    std::string name;
    for (const char *c = policy.name; *c != '\0'; ++c) {
        if (*c == '"') {
            name += '\\';
        }
        name += *c;
    }
    if (command.empty()) {
        command = "/usr/sbin/keepalive";
    }
    append_format(command, " \\\"%s\\\" %s", name.c_str(), policy.keepalive_addr);
}

// The number of the first address of a host name, 0 when it has none.
uint32_t resolve(const char *host)
{
    const hostent *found = gethostbyname(host);
    if (found == nullptr || found->h_addrtype != AF_INET || found->h_addr_list[0] == nullptr) {
        return 0;
    }
    return get_big_endian(reinterpret_cast<const unsigned char *>(found->h_addr_list[0]));
}

Range range_of(const char *address, const char *mask)
{
    const uint32_t low = address_number(address);
    return {low, low | ~address_number(mask)};
}

Range remote_range(const VpnPolicy &policy)
{
    if (policy.remote_type != kNetworkPeer) {
        return range_of(policy.remote_addr, policy.remote_mask);
    }
    const uint32_t peer =
        policy.remote_gw_type == 2 ? resolve(policy.remote_gw) : address_number(policy.remote_gw);
    return {peer, peer};
}

// Tells the kernel which traffic wakes the tunnel.
void write_trigger(const VpnPolicy &policy)
{
    const File trigger = open_file("/proc/br_trigger", "w");
    if (!trigger) {
        return;
    }
    const Range local = range_of(policy.local_addr, policy.local_mask);
    const Range remote = remote_range(policy);
    if (remote.low != 0 || policy.remote_type == kNetworkAny) {
        (void)fprintf(trigger.get(), "%u %u %u %u %s", local.low, local.high, remote.low, remote.high,
                      policy.name);
    }
}

void save_table(const VpnTable &table)
{
    if (const File conf = open_file(kVpnConfPath, "w")) {
        // A full disk shortens the record; the stop takes what is missing for disabled.
        (void)fwrite(&table, sizeof table, 1, conf.get());
    }
}

}  // namespace

int vpn_up(const VpnTable &table)
{
    std::string keepalive;
    bool daemon_started = false;
    write_secrets(table);
    attach_interface(table.policies[0]);
    for (const VpnPolicy &policy : table.policies) {
        if (policy.enabled == 0) {
            continue;
        }
        if (policy.keying == kKeyingManual) {
            (void)setup_manual_keying(policy);
            continue;
        }
        if (policy.keying != kKeyingAutomatic) {
            (void)puts("KEYING_MODE_UNKNOWN");
            continue;
        }
        if (!daemon_started) {
            daemon_started = true;
            start_daemon();
        }
        add_tunnel(policy);
        if (policy.connect_mode == kKeptAlive) {
            add_keepalive(keepalive, policy);
            write_trigger(policy);
        }
    }
    if (keepalive.size() > kNoEntry) {
        keepalive += '&';
        run(keepalive.c_str());
    }
    return 0;
}

int create_vpn()
{
    return 0;
}

int start_vpn()
{
    if (file_exists("/var/run/pluto/pluto.pid")) {
        (void)stop_vpn();
    }
    VpnTable table = {};
    // Deliberate: after a parse failure, which has been reported, the records before the failing one are
    // brought up and recorded all the same.
    (void)start_vpn_fw(&table);
    if (any_enabled(table)) {
        (void)vpn_up(table);
    }
    save_table(table);
    (void)printf("\n*** RC_VPN  Version:%s  Last Update:%s ***\n\n", "0.0.1", "Feb.14.2006");
    return 0;
}
