// IP over ATM: finds out once which form the provider speaks, routed or classical, and brings the WAN up.
//
// Reads:  ipoa_ipaddr wan_mtu ipoa_netmask wan_encap wan_vpi wan_vci ipoa_gateway ipoa_mode wan_ifname
// Sets:   ipoa_mode wan_ifname
// Writes: /tmp/ipoa_server /tmp/wan_uptime
// Runs:   atmarpd atmarp ifconfig killall rt2684d cp route rc
// Needs:  adsl
//
// The ATM ARP daemon writes the address of a server that answers to /tmp/ipoa_server. An answer from the
// own network means the classical form (RFC 1577, interface atm1), anything else the routed one (RFC 1483).

#include "rc/wan/internal.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <cstring>

#include "rc/files.h"
#include "rc/nvram.h"
#include "rc/rc.h"
#include "rc/text.h"

namespace {

constexpr size_t kServerLength = 128;
constexpr size_t kGatewaySize = 16;

// The shortest text taken for a gateway.
constexpr size_t kShortestGateway = 4;

// The last parts of the addresses under which a server is looked for, in this order.
constexpr int kCandidates[] = {2, 1, 0};

// The address in the server file, without the line end behind it; none when the file cannot be opened.
std::optional<std::string> read_server()
{
    const File file = open_file("/tmp/ipoa_server", "r");
    if (!file) {
        return std::nullopt;
    }
    char text[kServerLength + 1];
    text[fread(text, 1, kServerLength, file.get())] = '\0';
    text[strcspn(text, "\r\n")] = '\0';
    return text;
}

void start_probe(const std::string &address)
{
    run("/usr/sbin/atmarpd -b");
    (void)usleep(10);
    run("/usr/sbin/atmarp -c 1");
    (void)usleep(10);
    // Deliberate: no pause after this one.
    run("/sbin/ifconfig atm0 up");
    SYSTEM("/sbin/ifconfig atm1 %s up", address.c_str());
    (void)usleep(10);
    SYSTEM("/sbin/ifconfig atm1 mtu %s", nvram_text("wan_mtu").c_str());
    (void)usleep(10);
}

void try_candidates(const std::string &prefix, int vpi, int vci)
{
    for (const int last : kCandidates) {
        if (file_exists("/tmp/ipoa_server")) {
            return;
        }
        char command[kCommandSize];
        (void)snprintf(command, sizeof command, "/usr/sbin/atmarp -s %s.%d 0.%d.%d", prefix.c_str(), last,
                       vpi, vci);
        (void)printf("--->%s\n", command);
        SYSTEM("%s", command);
        (void)sleep(1);
    }
}

// Routed form; its gateway is a setting.
void start_routed(char (&gateway)[kGatewaySize])
{
    const char *multiplexing = nvram_on("wan_encap") ? "-e" : "";
    const std::string vpi = nvram_text("wan_vpi");
    const std::string vci = nvram_text("wan_vci");
    SYSTEM("/usr/sbin/rt2684d -i 0 %s -a 0.%s.%s &", multiplexing, vpi.c_str(), vci.c_str());
    my_nvram_get("ipoa_gateway", gateway);
}

// Classical form; its gateway is the server that has answered.
void start_classical(const char *gateway)
{
    run("/usr/sbin/atmarpd -b");
    run("/usr/sbin/atmarp -c 1");
    run("/sbin/ifconfig atm0 up");
    const std::string address = nvram_text("ipoa_ipaddr");
    const std::string netmask = nvram_text("ipoa_netmask");
    SYSTEM("/sbin/ifconfig atm1 %s netmask %s  up", address.c_str(), netmask.c_str());
    (void)usleep(10);
    const std::string vpi = nvram_text("wan_vpi");
    const std::string vci = nvram_text("wan_vci");
    SYSTEM("/usr/sbin/atmarp -s %s 0.%s.%s", gateway, vpi.c_str(), vci.c_str());
    nvram_set("wan_ifname", "atm1");
}

// Deliberate: the services that follow start in the background, and after the uptime file was written.
void set_address(const char *gateway)
{
    run("/bin/cp /proc/uptime /tmp/wan_uptime");
    const std::string interface = nvram_text("wan_ifname");
    const std::string address = nvram_text("ipoa_ipaddr");
    const std::string netmask = nvram_text("ipoa_netmask");
    SYSTEM("/sbin/ifconfig %s %s netmask %s", interface.c_str(), address.c_str(), netmask.c_str());
    run("/sbin/route del default");
    run("/usr/sbin/rc service restart&");
    if (strlen(gateway) >= kShortestGateway) {
        SYSTEM("/sbin/route add default gw %s", gateway);
    }
}

}  // namespace

std::string network_prefix(const std::string &address)
{
    return address.substr(0, address.rfind('.'));
}

bool same_network(const char *one, const char *other, const char *mask)
{
    const in_addr_t bits = inet_network(mask);
    return (inet_network(one) & bits) == (inet_network(other) & bits);
}

void ipoa_test(int vpi, int vci)
{
    const std::string address = nvram_text("ipoa_ipaddr");
    remove_file("/tmp/ipoa_server");
    start_probe(address);
    try_candidates(network_prefix(address), vpi, vci);
    run("/sbin/ifconfig atm1 0.0.0.0 down");
    run("/usr/bin/killall atmarpd");
    if (file_exists("/tmp/ipoa_server")) {
        const auto server = read_server();
        if (!server) {
            return;
        }
        const std::string netmask = nvram_text("ipoa_netmask");
        if (same_network(server->c_str(), address.c_str(), netmask.c_str())) {
            nvram_set("ipoa_mode", "1577");
            return;
        }
    }
    nvram_set("ipoa_mode", "1483");
}

int start_ipoa()
{
    const int vpi = nvram_int("wan_vpi");
    const int vci = nvram_int("wan_vci");
    if (vpi == 0 && vci == 0) {
        return 0;
    }
    if (nvram_text("ipoa_mode").empty()) {
        ipoa_test(vpi, vci);
    }
    char gateway[kGatewaySize];
    if (nvram_text("ipoa_mode") == "1577") {
        // Deliberate: probed at every start in this form, so an answer just found is asked for again; what
        // the second probe makes of `ipoa_mode` counts only at the next start.
        ipoa_test(vpi, vci);
        const auto server = read_server();
        if (!server || !contains(*server, ".")) {
            return 0;
        }
        copy_text(gateway, *server);
        start_classical(gateway);
    } else {
        start_routed(gateway);
    }
    set_address(gateway);
    return 0;
}
