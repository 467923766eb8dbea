// What separate runs of rc know about each other: running markers, and the WAN address last seen.
#pragma once

#include <optional>
#include <string>

// Marks a service as running. 1: there is a marker at most 10 seconds old, another run is at work;
// 0: go ahead (always for a null name, which is never marked).
// Choice: where `/var` is not under `/tmp`, the copy of the uptime is written to the marker's own path,
// without a command.
// Choice: a marker or an uptime without a number counts as 0.
[[nodiscard]] int rc_add_running(const char *name);

// Removes the service's marker; nothing for a null name. Always 0.
int rc_del_running(const char *name);

// The interface's IPv4 address in dotted form, or none when it has none.
std::optional<std::string> getIPAddress(const char *ifname);

// Compares the address of `wan_ifname` with /tmp/wan_ipaddr and records it there.
// 1: changed (and recorded), 0: unchanged, -1: the record could not be opened.
[[nodiscard]] int check_wanIp();
