// What the LAN services share among themselves and what their tests call.
#pragma once

#include <cstdint>
#include <string>

#include "rc/lan/leases.h"

// ---- DHCP server -------------------------------------------------------------------------------------

// Keeps the lease file when it fits the router's LAN address, else makes it empty.
void change_lease();

// Applies one entry "name;address;hardware address" of the reservation list, if it lies in the pool.
// Always 0.
int dhcp_write_leases(const char *entry);

// Writes a reservation into the lease file. 0, or -1 when the file cannot be opened.
int search_leases(const char *name, const HardwareAddress &hardware, uint32_t ip);

// ---- static routes -----------------------------------------------------------------------------------

struct Route {
    char name[30];
    char destination[16];
    char netmask[16];
    char gateway[18];
    int metric;
    int exported;  // 1: listed in /tmp/sroute
    int active;    // 1: in force
};

// Reads a record into `route`; fields behind the first mismatch keep what they held.
void read_route(const std::string &record, Route &route);

// The network of a destination under a netmask, by the router's own whole-octet rules.
[[nodiscard]] std::string rt_network(const Route &route);

// The prefix length of a dotted netmask; 0 for one whose last bit is set.
[[nodiscard]] int rt_mask_convert(const char *netmask);

enum class RouteAction { kRemove, kAdd };

// 0, or -1 when /tmp/sroute cannot be created.
int handle_static_route(RouteAction action);

// Looks a route up by name. 0: found and read into `route`; 1: there is none.
[[nodiscard]] int rt_search(Route &route, const char *name);

// A named route's export flag and active flag. 0: set; 1: there is no such route.
[[nodiscard]] int rt_search_export(const char *name, int &flag);
[[nodiscard]] int rt_search_active(const char *name, int &flag);
