// LAN operations that no command reaches by themselves, and results that no command shows.
//
// Each prints its result as a line.
#include "tests/direct.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "rc/lan/internal.h"
#include "rc/lan/lan.h"
#include "rc/text.h"

namespace {

int print_result(int result)
{
    (void)printf("%d\n", result);
    return 0;
}

// rt_search NAME: the result; the record too when there is one.
int direct_rt_search(int count, char **words)
{
    if (count != 1) {
        return 2;
    }
    Route route = {};
    const int result = rt_search(route, words[0]);
    (void)print_result(result);
    if (result == 0) {
        (void)printf("%s|%s|%s|%s|%d|%d|%d\n", route.name, route.destination, route.netmask, route.gateway,
                     route.metric, route.exported, route.active);
    }
    return 0;
}

// The result and the flag, which is -7 before.
int print_flag(int (*look_up)(const char *, int &), const char *name)
{
    int flag = -7;
    (void)print_result(look_up(name, flag));
    return print_result(flag);
}

// rt_search_export NAME
int direct_rt_search_export(int count, char **words)
{
    return count == 1 ? print_flag(rt_search_export, words[0]) : 2;
}

// rt_search_active NAME
int direct_rt_search_active(int count, char **words)
{
    return count == 1 ? print_flag(rt_search_active, words[0]) : 2;
}

// handle_static_route ADD
int direct_handle_static_route(int count, char **words)
{
    return count == 1 ? print_result(handle_static_route(static_cast<RouteAction>(atoi(words[0])))) : 2;
}

// change_lease
int direct_change_lease(int count, char **)
{
    change_lease();
    return count == 0 ? 0 : 2;
}

// dhcp_write_leases ENTRY
int direct_dhcp_write_leases(int count, char **words)
{
    return count == 1 ? print_result(dhcp_write_leases(words[0])) : 2;
}

// search_leases NAME HARDWARE ADDRESS: 32 hexadecimal digits, a dotted address.
int direct_search_leases(int count, char **words)
{
    if (count != 3 || strlen(words[1]) != 2 * sizeof(HardwareAddress)) {
        return 2;
    }
    HardwareAddress hardware = {};
    for (size_t i = 0; i < sizeof hardware; ++i) {
        const char pair[] = {words[1][2 * i], words[1][2 * i + 1], '\0'};
        hardware.bytes[i] = static_cast<unsigned char>(strtol(pair, nullptr, 16));
    }
    return print_result(search_leases(words[0], hardware, address_number(words[2])));
}

int direct_create_syslog(int count, char **)
{
    return count == 0 ? print_result(create_syslog()) : 2;
}

int direct_create_dhcp_server_cfg(int count, char **)
{
    return count == 0 ? print_result(create_dhcp_server_cfg()) : 2;
}

int direct_create_httpd_cfg(int count, char **)
{
    return count == 0 ? print_result(create_httpd_cfg()) : 2;
}

// router_times SECONDS...: the zone of the settings, then the local time at each of these moments.
int direct_router_times(int count, char **words)
{
    (void)start_timezone();
    for (int i = 0; i < count; ++i) {
        const tm local = router_time(static_cast<time_t>(atoll(words[i])));
        char text[32] = "";
        (void)strftime(text, sizeof text, "%Y-%m-%d %H:%M %w", &local);
        (void)puts(text);
    }
    return getenv("TZ") == nullptr ? 0 : 1;
}

}  // namespace

const DirectOperation kLanOperations[] = {
    {"rt_search", direct_rt_search},
    {"rt_search_export", direct_rt_search_export},
    {"rt_search_active", direct_rt_search_active},
    {"handle_static_route", direct_handle_static_route},
    {"change_lease", direct_change_lease},
    {"dhcp_write_leases", direct_dhcp_write_leases},
    {"search_leases", direct_search_leases},
    {"router_times", direct_router_times},
    {"create_syslog", direct_create_syslog},
    {"create_dhcp_server_cfg", direct_create_dhcp_server_cfg},
    {"create_httpd_cfg", direct_create_httpd_cfg},
    {nullptr, nullptr},
};
