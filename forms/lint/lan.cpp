// The LAN: its addresses, the DHCP server's pool and reservations, static routes.
#include <algorithm>
#include <utility>

#include "forms/lint/internal.h"

namespace forms {

namespace {

constexpr const char *kPoolFile = "/etc/udhcpd.conf";
constexpr const char *kLeases = "/var/udhcpd.leases";

void lint_own_address(const Store &store, const Net &lan, Findings &findings)
{
    const std::string &text = store.get("lan_ipaddr");
    const int bits = read_netmask(store.get("lan_netmask")).value_or(0);
    constexpr int kFewest = 8;
    constexpr int kMost = 30;
    if (bits < kFewest) {
        findings.add(Grade::kError, "lan-size", "lan_netmask",
                     store.get("lan_netmask") +
                         " takes much of the Internet for the LAN, which nobody on the "
                         "LAN can reach then");
    } else if (bits > kMost) {
        findings.add(Grade::kWarning, "lan-size", "lan_netmask", "leaves no room for hosts on the LAN");
    } else if (lan.address == lan.first() || lan.address == lan.last()) {
        findings
            .add(Grade::kError, "lan-address", "lan_ipaddr",
                 text + " is the " + (lan.address == lan.first() ? "number" : "broadcast address") +
                     " of its own net; the router will give it to the LAN interface all the same")
            .claims = {runs("lan start", "/sbin/ifconfig " + store.get("lan_if") + " " + text + " netmask ")};
    }
    const auto broadcast = store.address("lan_bipaddr");
    if (broadcast && *broadcast != lan.last()) {
        findings
            .add(Grade::kWarning, "lan-broadcast", "lan_bipaddr",
                 "the broadcast address of this LAN is " + address_text(lan.last()) +
                     "; the router will set " + store.get("lan_bipaddr"))
            .claims = {runs("lan start", " broadcast " + store.get("lan_bipaddr"))};
    }
}

void lint_pool_end(const Store &store, const Net &lan, const char *key, const char *line, Findings &findings)
{
    const auto address = store.address(key);
    if (address && !lan.holds(*address)) {
        findings
            .add(Grade::kError, "dhcp-outside-lan", key,
                 store.get(key) + " is not on the LAN; the router will write it into the DHCP server's file")
            .claims = {has("dhcpd create", kPoolFile, line + store.get(key) + "\n")};
    }
}

void lint_pool(const Store &store, const Net &lan, Findings &findings)
{
    lint_pool_end(store, lan, "dhcp_start_ip", "start\t\t", findings);
    lint_pool_end(store, lan, "dhcp_end_ip", "end\t\t", findings);
    const auto first = store.address("dhcp_start_ip");
    const auto last = store.address("dhcp_end_ip");
    if (!first || !last) {
        return;
    }
    if (*first > *last) {
        findings
            .add(Grade::kError, "dhcp-upside-down", "dhcp_start_ip",
                 "the pool begins above its end; the router will write it so and reserve nothing in it")
            .claims = {
            has("dhcpd create", kPoolFile,
                "start\t\t" + store.get("dhcp_start_ip") + "\nend\t\t" + store.get("dhcp_end_ip") + "\n")};
        return;
    }
    const Span pool = {*first, *last};
    if (pool.covers({lan.address, lan.address})) {
        findings.add(Grade::kWarning, "dhcp-own-address", "dhcp_start_ip",
                     "the router's own address " + store.get("lan_ipaddr") + " is in the pool");
    }
    for (const uint32_t end : {lan.first(), lan.last()}) {
        if (pool.covers({end, end}) && end != lan.address) {
            findings.add(Grade::kWarning, "dhcp-net-address",
                         end == lan.first() ? "dhcp_start_ip" : "dhcp_end_ip",
                         address_text(end) + " is in the pool, and no host can have it");
        }
    }
}

// ---- reservations -----------------------------------------------------------------------------------------

std::string address_bytes(uint32_t address)
{
    std::string bytes;
    for (unsigned shift = 32; shift > 0; shift -= 8) {
        bytes += static_cast<char>(address >> (shift - 8) & 255U);
    }
    return bytes;
}

std::string plain_digits(const std::string &hardware)
{
    std::string digits;
    for (const char c : hardware) {
        digits += c == ':' ? "" : std::string(1, static_cast<char>(c | 0x20));
    }
    return digits;
}

void lint_twice(const std::vector<Record> &records, const Record &record, Findings &findings)
{
    for (const Record &earlier : records) {
        if (earlier.number >= record.number) {
            return;
        }
        const bool same_address = earlier["address"] == record["address"];
        const bool same_client = plain_digits(earlier["hardware"]) == plain_digits(record["hardware"]);
        if (same_address && same_client) {
            findings.add(Grade::kNote, "reserved-twice", "dhcp_reserved", record, "",
                         "repeats record " + std::to_string(earlier.number));
        } else if (same_address) {
            findings.add(Grade::kWarning, "reserved-twice", "dhcp_reserved", record, "address",
                         record["address"] + " is reserved by record " + std::to_string(earlier.number) +
                             " too, which loses it");
        } else if (same_client) {
            findings.add(Grade::kWarning, "reserved-twice", "dhcp_reserved", record, "hardware",
                         "record " + std::to_string(earlier.number) +
                             " is for the same client, and loses its address");
        }
    }
}

void lint_reservations(const Store &store, const Net &lan, Findings &findings)
{
    const auto first = store.address("dhcp_start_ip");
    const auto last = store.address("dhcp_end_ip");
    const std::vector<Record> records = fine_records(store, "dhcp_reserved");
    for (const Record &record : records) {
        const uint32_t address = *read_address(record["address"]);
        lint_twice(records, record, findings);
        if (address == lan.address) {
            findings.add(Grade::kError, "reserved-own-address", "dhcp_reserved", record, "address",
                         record["address"] + " is the router's own address");
        } else if (first && last && (address < *first || address > *last)) {
            findings
                .add(Grade::kWarning, "reserved-outside-pool", "dhcp_reserved", record, "address",
                     record["address"] + " is not in the DHCP pool; the router will not reserve it")
                .claims = {
                lacks("dhcpd create", kLeases, address_bytes(address) + std::string("\x01\xe1\x33\x80"))};
        } else if (const NoHost none = no_host(lan, address, "reserved"); !none.code.empty()) {
            findings.add(Grade::kError, none.code.c_str(), "dhcp_reserved", record, "address",
                         record["address"] + " " + none.why);
        }
        if (!is_one_device(record["hardware"])) {
            findings.add(Grade::kWarning, "no-device", "dhcp_reserved", record, "hardware",
                         record["hardware"] + " is the hardware address of no single device");
        }
    }
}

// ---- routes -----------------------------------------------------------------------------------------------

// The network that rc makes of a destination: it understands whole octets alone.
std::string network_of_rc(const std::string &destination, uint32_t mask, uint32_t address)
{
    const auto octet = [](uint32_t number, unsigned index) { return number >> (24 - 8 * index) & 255U; };
    uint32_t seen = mask;
    std::string network = destination;
    const auto front = [&](int octets) {
        const uint32_t kept = octets == 1 ? 0xff000000U : octets == 2 ? 0xffff0000U : 0xffffff00U;
        return address_text(address & kept);
    };
    if (octet(seen, 1) == 0 && octet(seen, 2) == 0 && octet(seen, 3) == 0) {
        seen = address;
        network = front(1);
    }
    if (!(octet(seen, 1) == 0 && octet(seen, 2) != 0) && octet(seen, 2) == 0 && octet(seen, 3) == 0) {
        seen = address;
        network = front(2);
    }
    if (octet(seen, 3) == 0) {
        network = front(3);
    }
    return network;
}

void lint_route(const Record &route, const Net &lan, Findings &findings)
{
    const uint32_t address = *read_address(route["destination"]);
    const uint32_t mask = *read_address(route["netmask"]);
    const std::string network = network_of_rc(route["destination"], mask, address);
    const auto made = read_address(network);
    if (made && *made != (address & mask)) {
        findings
            .add(Grade::kWarning, "route-network", "rt_static_route", route, "destination",
                 "the net of " + route["destination"] + " and " + route["netmask"] + " is " +
                     address_text(address & mask) + "; the router will ask for a route to " + network)
            .claims = {
            runs("route start", "/sbin/route add -net " + network + " netmask " + route["netmask"] + " gw ")};
    }
    const uint32_t gateway = *read_address(route["gateway"]);
    if (gateway == lan.address) {
        findings.add(Grade::kError, "route-to-itself", "rt_static_route", route, "gateway",
                     route["gateway"] + " is the router itself, which is no way to another net");
    } else if (!lan.holds(gateway)) {
        findings.add(Grade::kNote, "route-gateway", "rt_static_route", route, "gateway",
                     route["gateway"] + " is not on the LAN");
    }
    if ((address & mask) == lan.first() && mask == lan.mask) {
        findings.add(Grade::kError, "route-to-lan", "rt_static_route", route, "destination",
                     "this is the LAN, which the router reaches without a route");
    }
    if (mask == 0xffffffffU && route["export"] == "1") {
        findings
            .add(Grade::kWarning, "route-exported", "rt_static_route", route, "export",
                 "the router will list this host in /tmp/sroute with the prefix length 0")
            .claims = {has("route start", "/tmp/sroute", network + " 0 " + route["gateway"] + "\n")};
    }
}

// Two ways to one net: the kernel takes the one with the smaller metric.
void lint_same_net(const std::vector<Record> &routes, const Record &route, Findings &findings)
{
    const auto net_of = [](const Record &one) {
        return std::pair(*read_address(one["destination"]) & *read_address(one["netmask"]), one["netmask"]);
    };
    for (const Record &earlier : routes) {
        if (earlier.number < route.number && earlier["active"] == "1" && net_of(earlier) == net_of(route)) {
            findings.add(Grade::kWarning, "route-twice", "rt_static_route", route, "destination",
                         "record " + std::to_string(earlier.number) + " leads to this net too");
            return;
        }
    }
}

}  // namespace

void lint_lan(const Store &store, Findings &findings)
{
    const auto lan = lan_net(store);
    if (!lan) {
        return;
    }
    lint_own_address(store, *lan, findings);
    lint_pool(store, *lan, findings);
    lint_reservations(store, *lan, findings);
    const std::vector<Record> routes = fine_records(store, "rt_static_route");
    for (const Record &route : routes) {
        if (route["active"] == "1") {
            lint_route(route, *lan, findings);
            lint_same_net(routes, route, findings);
        }
    }
}

}  // namespace forms
