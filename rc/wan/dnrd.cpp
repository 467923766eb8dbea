// DNS relay: answers the LAN's name queries from the provider's servers, or all of them with the router's
// own address while the router is not set up yet.
//
// Reads:  blank_state lan_ipaddr
// Writes: /tmp/blank_state.out
// Runs:   killall dnrd echo iptables
// Needs:  lan /etc/resolv.conf
//
// /tmp/blank_state.out tells other programs that the relay answers for a router that is not set up.

#include "rc/wan/wan.h"

#include <cstring>

#include "rc/files.h"
#include "rc/nvram.h"
#include "rc/product.h"
#include "rc/rc.h"
#include "rc/record.h"
#include "rc/text.h"
#include "rc/wan/internal.h"

namespace {

constexpr size_t kServerListLength = 512;
constexpr size_t kLineSize = 128;

// The server that a line of /etc/resolv.conf names, as an option of the relay; empty when it names none.
// Deliberate: the word counts wherever it is, so a comment that contains it gives a server too.
std::string server_option(const char *line)
{
    constexpr char kWord[] = "nameserver";
    std::string option;
    const char *found = strstr(line, kWord);
    if (found == nullptr) {
        return option;
    }
    Scan scan = {found + sizeof kWord - 1};
    char server[kLineSize];
    if (scan_word(scan, server)) {
        append_format(option, " -s %s ", server);
    }
    return option;
}

// The relay's options for its upstream servers, one after the other. The first that does not fit whole ends
// the list: a cut address may be another host's.
std::string upstream_servers()
{
    std::string servers;
    const File resolver = open_file("/etc/resolv.conf", "r");
    char line[kLineSize];
    while (resolver && fgets(line, sizeof line, resolver.get()) != nullptr) {
        const std::string option = server_option(line);
        if (servers.size() + option.size() > kServerListLength) {
            break;
        }
        servers += option;
    }
    return servers;
}

// Deliberate: the redirect of a router that is not set up stays in the packet filter until that is flushed.
void start_normal(const char *address)
{
    remove_file("/tmp/blank_state.out");
    const std::string servers = upstream_servers();
    char command[kCommandSize];
    (void)snprintf(command, sizeof command, "dnrd -a %s -m hosts -c off --timeout=0 -b %s", address,
                   servers.c_str());
    SYSTEM("%s", command);
    (void)puts(command);
}

void start_blank(const char *address)
{
    run("echo > /tmp/blank_state.out");
    // Deleting first keeps a single copy of the rule across restarts.
    SYSTEM("iptables -t nat -D PREROUTING -i br0 -p udp --dport 53 -j DNAT --to %s", address);
    SYSTEM("iptables -t nat -I PREROUTING -i br0 -p udp --dport 53 -j DNAT --to %s", address);
    SYSTEM("dnrd -a %s -m hosts -c off -g " LOGIN_DOMAIN_1 " -b", address);
}

}  // namespace

int start_dnrd()
{
    const bool blank = nvram_int("blank_state") == 1;
    const std::string address = nvram_text("lan_ipaddr");
    (void)stop_dnrd();
    write_login_names(address.c_str());
    if (blank) {
        start_blank(address.c_str());
    } else {
        start_normal(address.c_str());
    }
    return 0;
}

int stop_dnrd()
{
    run("killall -9 dnrd");
    return 0;
}
