// DHCP server: gives LAN hosts their addresses and keeps reservations.
//
// Reads:  dhcp_server_enable wan_mode lan_ipaddr dhcp_start_ip dhcp_end_ip lan_if lan_netmask wan_fix_dns
//         wan_dns1 wan_dns2 dhcp_reserved
// Writes: /etc/udhcpd.conf /var/udhcpd.leases
// Runs:   udhcpd killall
// Needs:  lan
//
// A reservation is a lease of a year, written into the daemon's lease file before the daemon starts and
// reads it. A reservation taken out of the settings keeps its lease until the file is emptied.

#include "rc/lan/internal.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "rc/bytes.h"
#include "rc/files.h"
#include "rc/lan/lan.h"
#include "rc/nvram.h"
#include "rc/rc.h"
#include "rc/record.h"
#include "rc/text.h"

namespace {

constexpr const char *kLeaseFile = "/var/udhcpd.leases";
constexpr int kLeaseSeconds = 259200;  // 3 days, not a setting
constexpr size_t kEntrySize = 4096;    // one reservation in the list
constexpr size_t kNameSize = 64;       // a client's name

void write_dns_servers(FILE *conf)
{
    if (!nvram_on("wan_fix_dns")) {
        (void)fprintf(conf, "option\tdns\t%s\n", nvram_text("lan_ipaddr").c_str());
        return;
    }
    const std::string first = nvram_text("wan_dns1");
    if (!first.empty()) {
        (void)fprintf(conf, "option\tdns\t%s\n", first.c_str());
    }
    const std::string second = nvram_text("wan_dns2");
    if (!second.empty()) {
        (void)fprintf(conf, "option\tdns\t%s\n", second.c_str());
    }
}

bool write_configuration()
{
    const File conf = open_file("/etc/udhcpd.conf", "w+");
    if (!conf) {
        return false;
    }
    (void)fprintf(conf.get(), "server\t\t%s\n", nvram_text("lan_ipaddr").c_str());
    (void)fprintf(conf.get(), "start\t\t%s\n", nvram_text("dhcp_start_ip").c_str());
    (void)fprintf(conf.get(), "end\t\t%s\n", nvram_text("dhcp_end_ip").c_str());
    (void)fprintf(conf.get(), "interface\t%s\n", nvram_text("lan_if").c_str());
    (void)fprintf(conf.get(), "option\tsubnet\t%s\n", nvram_text("lan_netmask").c_str());
    (void)fprintf(conf.get(), "option\trouter\t%s\n", nvram_text("lan_ipaddr").c_str());
    write_dns_servers(conf.get());
    (void)fprintf(conf.get(), "option\tlease\t%d\n", kLeaseSeconds);
    return true;
}

// The text up to the next ";", end of entry or end of text; moves past a ";".
std::string_view next_field(const char *&at)
{
    const std::string_view field(at, strcspn(at, ";\x01"));
    at += field.size();
    if (*at == ';') {
        ++at;
    }
    return field;
}

// Twelve hexadecimal digits with any ":" between them; what is no number counts as 0.
HardwareAddress hardware_address(std::string_view text)
{
    constexpr size_t kOctets = 6;
    char digits[2 * kOctets] = {};
    size_t count = 0;
    for (const char c : text) {
        if (c != ':' && count < sizeof digits) {
            digits[count++] = c;
        }
    }
    HardwareAddress address = {};
    for (size_t i = 0; i < kOctets; ++i) {
        const char pair[] = {digits[2 * i], digits[2 * i + 1], '\0'};
        address.bytes[i] = static_cast<unsigned char>(strtol(pair, nullptr, 16));
    }
    return address;
}

// The bytes as text, up to the first NUL byte, for a trace line.
std::string hardware_text(const unsigned char (&bytes)[sizeof(HardwareAddress)])
{
    const char *text = reinterpret_cast<const char *>(bytes);
    return {text, strnlen(text, sizeof bytes)};
}

// What every reservation is held against.
struct Pool {
    uint32_t start;
    uint32_t end;
    uint32_t router;  // the router's own address
};

Pool read_pool()
{
    const uint32_t start = address_number(nvram_text("dhcp_start_ip"));
    const uint32_t end = address_number(nvram_text("dhcp_end_ip"));
    return {start, end, address_number(nvram_text("lan_ipaddr"))};
}

// Writes a reservation into the lease file. 0, or -1 when the file cannot be opened.
int put_reservation(const char *name, const Reservation &reservation)
{
    const File file = open_file(kLeaseFile, "r+");
    if (!file) {
        return -1;
    }
    LeaseTable table;
    read_leases(file.get(), table);
    rewind(file.get());
    const LeaseRecord &first = table.records[0];
    (void)printf("lease in lease file %x %s %s--1\n", get_big_endian(first.address),
                 std::string(lease_name(first)).c_str(), hardware_text(first.hardware).c_str());
    const LeaseWalk walk = reserve_lease(table, reservation);
    (void)fwrite(table.records, sizeof(LeaseRecord), walk.walked, file.get());
    if (!walk.found) {
        LeaseRecord &added = table.records[walk.walked];
        fill_lease(added, name, reservation.hardware, reservation.address);
        (void)fwrite(&added, sizeof added, 1, file.get());
        (void)printf("Write to lease file %x %s %s--1\n", reservation.address, name,
                     hardware_text(reservation.hardware.bytes).c_str());
    }
    return 0;
}

// Applies one entry of the list. A lease file that cannot be opened loses it; the daemon still starts.
void apply_entry(const char *entry, const Pool &pool)
{
    char name[kNameSize];
    copy_text(name, next_field(entry));
    const std::string dotted(next_field(entry));
    const HardwareAddress hardware = hardware_address(next_field(entry));
    const uint32_t address = address_number(dotted);
    if (address <= pool.end && address >= pool.start) {
        (void)put_reservation(name, {hardware, address, pool.router});
    }
}

void write_reservations()
{
    const std::string reserved = nvram_text("dhcp_reserved");
    // Deliberate: cleared once and not between entries, and an entry is not terminated: a short entry is
    // followed by the tail of a longer one before it, up to where its last field ends.
    char entry[kEntrySize] = {};
    std::string_view list = reserved;
    std::string_view record;
    // The settings were all read for the configuration, so nothing is added to the store here.
    const Pool pool = read_pool();
    while (next_record(list, record)) {
        if (record.empty()) {
            continue;
        }
        memcpy(entry, record.data(), std::min(record.size(), sizeof entry - 1));
        apply_entry(entry, pool);
    }
}

}  // namespace

void change_lease()
{
    constexpr uint32_t kCompared = 0x00FFFFFF;
    const uint32_t router = address_number(nvram_text("lan_ipaddr"));
    if (const File leases = open_file(kLeaseFile, "r+")) {
        LeaseRecord first = {};
        if (fread(&first, sizeof first, 1, leases.get()) != 1) {
            return;
        }
        const uint32_t address = get_big_endian(first.address);
        // Deliberate: compares the last three octets of two hosts, not their networks: the file is kept while
        // its first lease is, say, 192.168.0.9 and the router is at any x.168.0.9.
        if (address == 0 || (address & kCompared) == (router & kCompared)) {
            return;
        }
    }
    (void)open_file(kLeaseFile, "w");
}

int search_leases(const char *name, const HardwareAddress &hardware, uint32_t ip)
{
    return put_reservation(name, {hardware, ip, address_number(nvram_text("lan_ipaddr"))});
}

int dhcp_write_leases(const char *entry)
{
    apply_entry(entry, read_pool());
    return 0;
}

int create_dhcp_server_cfg()
{
    if (!write_configuration()) {
        return -1;
    }
    change_lease();
    write_reservations();
    return 0;
}

int stop_dhcp_server()
{
    run("killall udhcpd");
    return 0;
}

int start_dhcp_server()
{
    (void)stop_dhcp_server();
    if (!nvram_on("dhcp_server_enable")) {
        return 0;
    }
    // In bridge mode the LAN gets its addresses from beyond the router.
    if (nvram_first("wan_mode") == 'b') {
        return 0;
    }
    (void)create_dhcp_server_cfg();
    run("/usr/sbin/udhcpd /etc/udhcpd.conf&");
    return 0;
}
