// What the LAN services share with each other and with their tests.
#pragma once

#include <cstdint>
#include <string>

#include "rc/lan/leases.h"

// ---- DHCP server -------------------------------------------------------------------------------------

// Keeps the lease file when it fits the router's LAN address, else makes it empty.
void change_lease();

// Applies one entry "name;address;hardware address" of the reservation list, if it lies in the pool.
// Always 0.
// Choice: a reservation is cut at 4095 characters, its name at 63; an empty entry between two separators
// is no reservation. A pair of digits is read as a hexadecimal number as far as it goes ("1g" is 1, "g1"
// is 0).
// Choice: trace lines print hardware bytes up to the first NUL byte.
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
// Choice: fields of a static route that a record does not reach keep the values of the record before; an
// empty record between two separators is no route. The route command holds 127 characters.
void read_route(const std::string &record, Route &route);

// The network of a destination under a netmask, by the router's own whole-octet rules.
// Choice: octets that a netmask or destination does not reach are 0 or keep what was read before.
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
