// Static routes: installs the user's routes in the kernel and lists the exported ones.
//
// Reads:  rt_static_route
// Writes: /tmp/sroute
// Runs:   route
// Needs:  lan
//
// /tmp/sroute is for other programs: network, prefix length and gateway of each active, exported route. It
// is rewritten whole whenever routes are installed or removed.

#include "rc/lan/internal.h"

#include <cstring>

#include "rc/files.h"
#include "rc/lan/lan.h"
#include "rc/nvram.h"
#include "rc/rc.h"
#include "rc/record.h"
#include "rc/text.h"

namespace {

constexpr size_t kRouteCommandSize = 128;

// Reads four octets; those behind the first mismatch keep what they held.
void read_octets(const char *dotted, int (&octets)[4])
{
    Scan scan = {dotted};
    (void)scan_fields(scan, '.', octets[0], octets[1], octets[2], octets[3]);
}

void build_command(char (&command)[kRouteCommandSize], const Route &route, const char *network,
                   RouteAction action)
{
    if (action == RouteAction::kAdd) {
        (void)snprintf(command, sizeof command, "/sbin/route add -net %s netmask %s gw %s metric %d", network,
                       route.netmask, route.gateway, route.metric);
    } else {
        (void)snprintf(command, sizeof command, "/sbin/route del -net %s netmask %s gw %s metric %d", network,
                       route.netmask, route.gateway, route.metric);
    }
}

// One route: its command, after its line in the export list.
void apply_route(const Route &route, RouteAction action, char (&command)[kRouteCommandSize], FILE *exports)
{
    // Deliberate: an inactive route is removed too, as a precaution, but when adding it runs the previous
    // route's command once more, or an empty one when there was none.
    if (route.active == 1 || action == RouteAction::kRemove) {
        const std::string network = rt_network(route);
        build_command(command, route, network.c_str(), action);
        if (route.active == 1 && route.exported == 1) {
            (void)fprintf(exports, "%s %d %s\n", network.c_str(), rt_mask_convert(route.netmask),
                          route.gateway);
        }
    }
    SYSTEM("%s", command);
}

}  // namespace

void read_route(const std::string &record, Route &route)
{
    Scan scan = {record.c_str()};
    (void)scan_fields(scan, ':', route.name, route.destination, route.netmask, route.gateway, route.metric,
                      route.exported, route.active);
}

// Deliberate: each rule reads the destination over the netmask, so that the rules after it look at the
// destination's octets: 172.16.5.7/255.255.0.0 gives 172.16.0.0, but 172.16.5.0/255.255.0.0 gives
// 172.16.5.0. A netmask whose last octet is not 0 leaves the destination as typed.
std::string rt_network(const Route &route)
{
    int octets[4] = {};
    read_octets(route.netmask, octets);
    const int &second = octets[1];
    const int &third = octets[2];
    const int &fourth = octets[3];
    std::string network = route.destination;
    if (second == 0 && third == 0 && fourth == 0) {
        read_octets(route.destination, octets);
        network.clear();
        append_format(network, "%d.0.0.0", octets[0]);
    }
    if (third == 0 && fourth == 0) {
        read_octets(route.destination, octets);
        network.clear();
        append_format(network, "%d.%d.0.0", octets[0], octets[1]);
    }
    if (fourth == 0) {
        read_octets(route.destination, octets);
        network.clear();
        append_format(network, "%d.%d.%d.0", octets[0], octets[1], octets[2]);
    }
    return network;
}

int rt_mask_convert(const char *netmask)
{
    uint32_t mask = address_number(netmask);
    for (int shifts = 0; shifts < 32; ++shifts) {
        if (mask == 0) {
            return shifts;
        }
        mask <<= 1;
    }
    // Deliberate: the 32nd shift is not counted, a host route has prefix length 0.
    return 0;
}

int handle_static_route(RouteAction action)
{
    const std::string routes = nvram_text("rt_static_route");
    const File exports = open_file("/tmp/sroute", "w+");
    if (!exports) {
        return -1;
    }
    char command[kRouteCommandSize] = "";
    Route route = {};
    std::string_view list = routes;
    std::string_view record;
    while (next_record(list, record)) {
        if (!record.empty()) {
            read_route(std::string(record), route);
            apply_route(route, action, command, exports.get());
        }
    }
    return 0;
}

// Deliberate: splits the list on spaces, where applying the routes splits it on byte 1.
int rt_search(Route &route, const char *name)
{
    const std::string routes = nvram_text("rt_static_route");
    std::string_view list = routes;
    while (!list.empty()) {
        const std::string_view piece = list.substr(0, list.find(' '));
        list.remove_prefix(piece.size() < list.size() ? piece.size() + 1 : piece.size());
        if (piece.empty()) {
            continue;
        }
        read_route(std::string(piece), route);
        if (strcmp(route.name, name) == 0) {
            return 0;
        }
    }
    return 1;
}

int rt_search_export(const char *name, int &flag)
{
    Route route = {};
    if (rt_search(route, name) != 0) {
        return 1;
    }
    flag = route.exported;
    return 0;
}

int rt_search_active(const char *name, int &flag)
{
    Route route = {};
    if (rt_search(route, name) != 0) {
        return 1;
    }
    flag = route.active;
    return 0;
}

int start_static_route()
{
    return handle_static_route(RouteAction::kAdd);
}

int stop_static_route()
{
    return handle_static_route(RouteAction::kRemove);
}
