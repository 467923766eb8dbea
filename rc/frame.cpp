// The command frame: words, verbs, the three service tables and their dispatch.
//
// Writes: /tmp/wan_ipaddr
// Runs:   wlctl
//
// One run does one thing and exits. Rows are scanned in table order, which is the order of `rc start`.

#include "rc/frame.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string_view>

#include "rc/aux/aux.h"
#include "rc/boot.h"
#include "rc/files.h"
#include "rc/firewall/firewall.h"
#include "rc/lan/lan.h"
#include "rc/nvram.h"
#include "rc/process.h"
#include "rc/rc.h"
#include "rc/vpn/vpn.h"
#include "rc/wan/wan.h"
#include "rc/wireless/wireless.h"

// clang-format off

// The general table: what the router always runs. Also the first table a name is looked up in.
constexpr Service kGeneral[] = {
    // name        start               stop              create
    {"lan",        start_lan,          nullptr,          nullptr},
    {"printk",     start_printk,       stop_printk,      nullptr},
    {"adsl",       start_adsl,         nullptr,          nullptr},
    {"timezone",   start_timezone,     nullptr,          nullptr},
    {"syslogd",    start_syslog,       stop_syslog,      create_syslog},
    {"httpd",      start_httpd,        stop_httpd,       create_httpd_cfg},
    {"dhcpd",      start_dhcp_server,  stop_dhcp_server, create_dhcp_server_cfg},
    {"ntp",        start_ntp,          stop_ntp,         nullptr},
    {"route",      start_static_route, stop_static_route, nullptr},
    {"ripd",       start_rip_daemon,   stop_rip_daemon,  create_rip_daemon_cfg},
    {"upnp",       start_upnp,         stop_upnp,        nullptr},
    {"dnrd",       start_dnrd,         stop_dnrd,        nullptr},
    {"potcounter", start_pot,          stop_pot,         nullptr},
    {"wlan",       start_wifi,         stop_wifi,        save_wifi},
    {nullptr,      nullptr,            nullptr,          nullptr},
};

// The group that follows a new WAN address: `rc service ACTION`, and the second table for a name.
constexpr Service kWanGroup[] = {
    // name        start               stop              create
    {"wan_basic",  start_wan_basic,    stop_wan_basic,   nullptr},
    {"firewall",   start_firewall,     stop_firewall,    create_firewall_cfg},
    {"schedule",   start_schedule,     nullptr,          create_crontab},
    {"vpn",        start_vpn,          stop_vpn,         create_vpn},
    {"check_conn", start_check_conn,   nullptr,          nullptr},
    {"ddns",       start_ddns_update,  nullptr,          nullptr},
    {nullptr,      nullptr,            nullptr,          nullptr},
};

// The third table for a name.
constexpr Service kLastTable[] = {
    // name        start               stop              create
    {"dnshj",      start_dnshj,        stop_dnshj,       nullptr},
    {nullptr,      nullptr,            nullptr,          nullptr},
};

// clang-format on

namespace {

template <size_t N>
consteval size_t rows_named(const Service (&table)[N], std::string_view name)
{
    size_t rows = 0;
    for (size_t i = 0; i + 1 < N; ++i) {
        rows += table[i].name == name ? 1 : 0;
    }
    return rows;
}

// Whether each name of the table means one row, whichever table it is looked up in, and the table is ended.
template <size_t N>
consteval bool names_are_unique(const Service (&table)[N])
{
    for (size_t i = 0; i + 1 < N; ++i) {
        const std::string_view name = table[i].name;
        if (rows_named(kGeneral, name) + rows_named(kWanGroup, name) + rows_named(kLastTable, name) != 1) {
            return false;
        }
    }
    return table[N - 1].name == nullptr;
}

static_assert(names_are_unique(kGeneral) && names_are_unique(kWanGroup) && names_are_unique(kLastTable));

bool same(const char *left, const char *right)
{
    return strcmp(left, right) == 0;
}

// The word after the first that contains "rc"; null when there is none. A wrapper may put other words
// before the program's own name.
char **find_verb(int word_count, char **words)
{
    for (int i = 0; i + 1 < word_count; ++i) {
        if (strstr(words[i], "rc") != nullptr) {
            return words + i + 1;
        }
    }
    return nullptr;
}

// One column of a table, top to bottom.
int scan_rows(const Service *table, const char *name, Operation Service::*column)
{
    for (const Service *row = table; row->name != nullptr; ++row) {
        const Operation operation = row->*column;
        if (operation == nullptr || (name != nullptr && !same(name, row->name))) {
            continue;
        }
        if (operation() < 0) {
            return -1;
        }
        if (name != nullptr) {
            return 0;
        }
        // Deliberate: yields to the daemons just started.
        (void)usleep(1);
    }
    return name != nullptr ? 1 : 0;
}

// `rc wan ACTION`: the result is the exit status.
int wan_command(const char *action)
{
    if (action == nullptr) {
        return -1;
    }
    // The next `rc service` then sees a changed address.
    remove_file("/tmp/wan_ipaddr");
    if (same(action, "start")) {
        return start_wan(Start::kFirst);
    }
    if (same(action, "stop")) {
        return stop_wan();
    }
    if (same(action, "restart")) {
        const int stopped = stop_wan();
        const int started = start_wan(Start::kAgain);
        return stopped & started;
    }
    rc_usage();
}

// `rc list`: the MAC addresses of the associated stations, one a line.
int list_stations()
{
    constexpr size_t kLead = sizeof "assoclist " - 1;
    constexpr size_t kAddress = sizeof "00:00:00:00:00:00" - 1;
    std::string output;
    (void)myPipe("/usr/sbin/wlctl assoclist", output);
    for (size_t place = output.find("assoclist"); place != std::string::npos;
         place = output.find("assoclist", place)) {
        place = place + kLead < output.size() ? place + kLead : output.size();
        const size_t left = output.size() - place;
        (void)fwrite(output.data() + place, 1, left < kAddress ? left : kAddress, stdout);
        (void)putchar('\n');
    }
    return 0;
}

bool is_action(const char *word)
{
    return same(word, "start") || same(word, "stop") || same(word, "restart") || same(word, "create");
}

// Runs the action on the named row of the first table that has it, or on every row of `table`.
void act(const Service *table, const char *name, const char *action)
{
    (void)printf("ap_name=%s action=%s\n", name == nullptr ? "(null)" : name, action);
    if (rc_action(table, name, action) != 1) {
        return;
    }
    if (rc_action(kWanGroup, name, action) != 1) {
        return;
    }
    // Deliberate: said once before the last table is tried, so a name found only there is reported
    // as missing once, an unknown name twice.
    (void)puts("can't find this application");
    if (rc_action(kLastTable, name, action) == 1) {
        (void)puts("can't find this application");
    }
}

// The verbs that work on service tables. `rest` are the words after the verb, ended by a null.
int service_command(const char *verb, char **rest)
{
    if (is_action(verb)) {
        if (rest[0] != nullptr) {
            rc_usage();
        }
        act(kGeneral, nullptr, verb);
        return 0;
    }
    const bool group = same(verb, "service");
    if (group && check_wanIp() == 0) {
        return 0;
    }
    if (rest[0] == nullptr || rest[1] != nullptr) {
        rc_usage();
    }
    act(group ? kWanGroup : kGeneral, group ? nullptr : verb, rest[0]);
    return 0;
}

}  // namespace

int rc_start(const Service *table, const char *name)
{
    return scan_rows(table, name, &Service::start);
}

int rc_stop(const Service *table, const char *name)
{
    return scan_rows(table, name, &Service::stop);
}

int rc_create(const Service *table, const char *name)
{
    return scan_rows(table, name, &Service::create);
}

int rc_action(const Service *table, const char *name, const char *action)
{
    if (rc_add_running(name) != 0) {
        return 0;
    }
    int result = 0;
    if (same(action, "start")) {
        result = rc_start(table, name);
    } else if (same(action, "stop")) {
        result = rc_stop(table, name);
    } else if (same(action, "create")) {
        result = rc_create(table, name);
    } else if (same(action, "restart")) {
        // Deliberate: not found only when neither scan found the name, so a service without a stop restarts
        // by starting.
        const int stopped = rc_stop(table, name);
        const int started = rc_start(table, name);
        result = stopped & started;
    } else {
        (void)rc_del_running(name);
        rc_usage();
    }
    (void)rc_del_running(name);
    return result;
}

void rc_usage()
{
    (void)puts("\nUsage: rc [wan|service|ap name] [start|stop|restart|create]\n");
    // Deliberate: a usage error is no failure to the caller.
    exit(0);
}

int rc_main(int word_count, char **words)
{
    prepare_process();
    // What rc prints and what its commands print appear in the order in which they happened.
    (void)setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    char **verb = find_verb(word_count, words);
    if (verb == nullptr) {
        rc_usage();
    }
    if (same(*verb, "start")) {
        write_version_records();
    }
    (void)setenv("PATH", "/bin:/sbin:/usr/sbin:/usr/bin", 1);
    const bool init = same(*verb, "init");
    // The initialisation never fails; the message is the product's, for the day one does.
    if ((init || file_missing(kStorePath)) && rc_init() < 0) {
        (void)puts("nvram error!!\n");
        return 1;
    }
    if (init) {
        return 0;
    }
    if (same(*verb, "wan")) {
        return wan_command(verb[1]);
    }
    if (same(*verb, "list")) {
        return list_stations();
    }
    return service_command(*verb, verb + 1);
}
