// Connection check: shows on the LEDs whether the WAN link carries traffic.
//
// Reads:  wan_mode wan_ifname
// Writes: /proc/led
// Runs:   route ping echo
// Needs:  wan /proc/net/dev
//
// Cron runs it every minute. PPP has a link state of its own and is left alone.

#include "rc/aux/aux.h"

#include <cstdlib>
#include <cstring>

#include "rc/aux/internal.h"
#include "rc/files.h"
#include "rc/nvram.h"
#include "rc/rc.h"
#include "rc/record.h"

namespace {

struct Gateway {
    char text[15 + 1];
};

// The gateway of the first line that begins as the default route does; none without such a line.
std::optional<Gateway> default_gateway(std::string_view table)
{
    while (!table.empty()) {
        const size_t end = table.find('\n');
        const std::string line(table.substr(0, end));
        if (line.starts_with("0.0.0.0")) {
            Gateway gateway = {};
            char network[sizeof gateway.text];
            Scan scan = {line.c_str()};
            // A line that ends too early leaves the gateway empty, the check goes on.
            (void)(scan_word(scan, network) && scan_word(scan, gateway.text));
            return gateway;
        }
        table.remove_prefix(end == std::string_view::npos ? table.size() : end + 1);
    }
    return std::nullopt;
}

// Deliberate: any traffic counts, not only the echo replies; a gateway that drops pings on a busy line is
// still alive.
bool traffic_flows(const char *interface, const char *gateway)
{
    const uint64_t before = get_rx_packets(interface);
    SYSTEM("/bin/ping -c 3 %s", gateway);
    return get_rx_packets(interface) != before;
}

}  // namespace

uint64_t get_rx_packets(const char *name)
{
    const File counters = open_file("/proc/net/dev", "r");
    char line[255 + 1];
    while (counters && fgets(line, sizeof line, counters.get()) != nullptr) {
        if (strstr(line, name) == nullptr) {
            continue;
        }
        // Deliberate: the name counts anywhere in the line, so eth0 also finds eth01 where that comes first.
        Scan scan = {line};
        char interface[sizeof line];
        const bool found = scan_text(scan, interface, ':') && scan_char(scan, ':');
        return found ? strtoull(scan.at, nullptr, 10) : 0;
    }
    return 0;
}

int start_check_conn()
{
    const std::string mode = nvram_text("wan_mode");
    if (mode.empty() || mode.starts_with("ppp")) {
        return 0;
    }
    std::string table;
    if (myPipe("/sbin/route -n", table) != 0) {
        return 0;
    }
    const std::optional<Gateway> gateway = default_gateway(table);
    if (!gateway) {
        (void)puts("no default gateway");
        return 0;
    }
    // The uneven spaces of these commands belong to them.
    if (traffic_flows(nvram_text("wan_ifname").c_str(), gateway->text)) {
        run("/bin/echo g7 off  > /proc/led");
        run("/bin/echo g3 on > /proc/led");
    } else {
        run("/bin/echo g3 off >/proc/led");
        run("/bin/echo g7 on > /proc/led");
    }
    return 0;
}
