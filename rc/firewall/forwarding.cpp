// Port triggering, virtual servers, the DMZ host and the answer to pings.
//
// Reads:  lan_ipaddr fw_spapp lan_if wan_ifname fw_vs_enableA fw_vs_serverA fw_dmz_enable fw_dmz
//         fw_response_ping
// Writes: /proc/special/pnat
// Needs:  lan wan
//
// Port triggering is the kernel's: what leaves for a trigger port opens the incoming ports for the host that
// sent it. The kernel takes one command with each write.

#include "rc/firewall/internal.h"

#include <iterator>

#include "rc/files.h"
#include "rc/firewall/rules.h"
#include "rc/nvram.h"
#include "rc/record.h"
#include "rc/text.h"

namespace {

// One port-triggering record; its name is a label of the web pages.
struct Trigger {
    int enable;
    char name[10 + 1];
    char protocol[5 + 1];
    char ports[15 + 1];
    char incoming_protocol[5 + 1];
    char incoming_ports[15 + 1];
};

constexpr size_t kServers = 6;
constexpr size_t kShortestAddress = 6;

using ServerAddress = char[19 + 1];

struct VirtualServer {
    int bit;  // of fw_vs_enableA
    const char *ports[3];
};

// The row's place is the server's place in fw_vs_serverA.
// clang-format off
constexpr VirtualServer kVirtualServers[] = {
    {0x01, {"80", "443"}},
    {0x02, {"20:21"}},
    {0x04, {"109", "110"}},
    {0x08, {"25", "143", "220"}},
    {0x10, {"53", "42"}},
    {0x20, {"23"}},
};
// clang-format on

consteval bool bits_follow_places()
{
    for (size_t i = 0; i < kServers; ++i) {
        if (kVirtualServers[i].bit != 1 << i) {
            return false;
        }
    }
    return std::size(kVirtualServers) == kServers;
}

static_assert(bits_follow_places());

// Fields that the record does not reach keep what the record before left.
void parse_trigger(const char *record, Trigger &trigger)
{
    Scan scan = {record};
    int index = 0;
    const int fields = scan_fields(scan, ':', index, trigger.enable, trigger.name, trigger.protocol,
                                   trigger.ports, trigger.incoming_protocol);
    // The last field takes the rest of the record.
    (void)(fields == 6 && scan_char(scan, ':') && scan_text(scan, trigger.incoming_ports, '\x01'));
}

void write_triggers(FILE *pnat)
{
    (void)fputs("0\n", pnat);
    const std::string records = nvram_text("fw_spapp");
    const std::string lan_if = nvram_text("lan_if");
    const std::string wan_if = nvram_text("wan_ifname");
    Trigger trigger = {};
    std::string_view list = records;
    std::string_view record;
    while (next_record(list, record)) {
        // One write for each command.
        (void)fflush(pnat);
        parse_trigger(std::string(record).c_str(), trigger);
        if (trigger.enable != 0) {
            (void)fprintf(pnat, "%s %s %s %s %s %s\n", lan_if.c_str(), trigger.protocol, trigger.ports,
                          wan_if.c_str(), trigger.incoming_protocol, trigger.incoming_ports);
        }
    }
}

// Six addresses between ":"; an empty one ends the reading, and those after it stay empty.
void parse_servers(const std::string &text, ServerAddress (&servers)[kServers])
{
    Scan scan = {text.c_str()};
    for (size_t i = 0; i + 1 < kServers; ++i) {
        if (!scan_text(scan, servers[i], ':') || !scan_char(scan, ':')) {
            return;
        }
    }
    (void)scan_word(scan, servers[kServers - 1]);
}

// Deliberate: no line of the filter table lets this traffic in.
void forward_ports(const VirtualServer &row, const char *server, const std::string &wan_address)
{
    for (const char *port : row.ports) {
        if (port == nullptr) {
            break;
        }
        fw_rule("-t nat -A VS -d %s -p tcp --dport %s -j DNAT --to %s", wan_address.c_str(), port, server);
        fw_rule("-t nat -A VS -d %s -p udp --dport %s -j DNAT --to %s", wan_address.c_str(), port, server);
    }
}

}  // namespace

void fw_port_triggering()
{
    (void)puts("*********** start of fw_pt ***********");
    fw_rule("-t nat -F PT");
    fw_rule("-t nat -A PT -d ! %s  -j PNAT --set-mark 0x2511", nvram_text("lan_ipaddr").c_str());
    if (const File pnat = open_file("/proc/special/pnat", "w")) {
        write_triggers(pnat.get());
    }
}

void fw_virtual_servers()
{
    const std::string enabled = nvram_text("fw_vs_enableA");
    const std::string texts = nvram_text("fw_vs_serverA");
    if (enabled.empty() || texts.empty()) {
        return;
    }
    const int mask = to_int(enabled);
    ServerAddress servers[kServers] = {};
    parse_servers(texts, servers);
    const std::string wan_address = fw_wan_address();
    for (size_t i = 0; i < kServers; ++i) {
        const std::string_view server = servers[i];
        if ((mask & kVirtualServers[i].bit) != 0 && server.size() >= kShortestAddress) {
            forward_ports(kVirtualServers[i], servers[i], wan_address);
        }
    }
}

void fw_dmz()
{
    if (!nvram_on("fw_dmz_enable")) {
        return;
    }
    const std::string host = nvram_text("fw_dmz");
    // Pings to the WAN address stay with the router.
    fw_rule("-t nat -I DMZ -d %s -p ! icmp -j DNAT --to %s", fw_wan_address().c_str(), host.c_str());
    fw_rule("-A IN_FILTER -d %s -j ACCEPT", host.c_str());
}

void fw_ping_response()
{
    if (nvram_int("fw_response_ping") == 1) {
        fw_rule("-A LOCAL_SERVICE  -p icmp -i %s -j ACCEPT", nvram_text("wan_ifname").c_str());
    }
}
