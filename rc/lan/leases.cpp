// Lease file of the DHCP server: its records, and how a reservation is put among them.
//
// Reads:  -
// Writes: -
// Runs:   -
// Needs:  -
//
// Only the table in memory is handled here, so that host tools share the format; the file itself is the DHCP
// server's.

#include "rc/lan/leases.h"

#include <cstring>

uint32_t lease_number(const unsigned char (&field)[4])
{
    return static_cast<uint32_t>(field[0]) << 24 | static_cast<uint32_t>(field[1]) << 16 |
           static_cast<uint32_t>(field[2]) << 8 | field[3];
}

void set_lease_number(unsigned char (&field)[4], uint32_t number)
{
    field[0] = static_cast<unsigned char>(number >> 24);
    field[1] = static_cast<unsigned char>(number >> 16);
    field[2] = static_cast<unsigned char>(number >> 8);
    field[3] = static_cast<unsigned char>(number);
}

namespace {

// A name may run on behind its field, to the end of the record.
constexpr size_t kNamePlace = offsetof(LeaseRecord, name);
constexpr size_t kNameRoom = kLeaseRecordSize - kNamePlace;

}  // namespace

std::string_view lease_name(const LeaseRecord &record)
{
    const char *name = reinterpret_cast<const char *>(&record) + kNamePlace;
    return {name, strnlen(name, kNameRoom)};
}

void read_leases(FILE *file, LeaseTable &table)
{
    memset(&table, 0, sizeof table);
    const size_t count = fread(table.records, kLeaseRecordSize, kLeasesRead, file);
    table.records[count] = {};
}

LeaseWalk reserve_lease(LeaseTable &table, const Reservation &reservation)
{
    LeaseWalk walk = {0, false};
    for (; walk.walked < kLeasesWalked; walk.walked++) {
        LeaseRecord &record = table.records[walk.walked];
        const uint32_t address = lease_number(record.address);
        if (address == 0) {
            break;
        }
        if (address == reservation.address || address == reservation.router) {
            set_lease_number(record.seconds, 0);
        }
        if (memcmp(record.hardware, reservation.hardware.bytes, sizeof record.hardware) == 0) {
            set_lease_number(record.address, reservation.address);
            set_lease_number(record.seconds, kReservationSeconds);
            walk.found = true;
        }
    }
    return walk;
}

void fill_lease(LeaseRecord &record, const char *name, const HardwareAddress &hardware, uint32_t address)
{
    memcpy(record.hardware, hardware.bytes, sizeof record.hardware);
    memcpy(record.hardware_copy, hardware.bytes, sizeof record.hardware_copy);
    // Deliberate: written after the second hardware address, which a name of 64 characters and more
    // overwrites; only as much of the record as the name and its NUL byte need is touched.
    char *place = reinterpret_cast<char *>(&record) + kNamePlace;
    const size_t length = strnlen(name, kNameRoom - 1);
    memcpy(place, name, length);
    place[length] = '\0';
    set_lease_number(record.address, address);
    set_lease_number(record.seconds, kReservationSeconds);
}
