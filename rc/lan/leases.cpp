// Lease file of the DHCP server: its records, and how a reservation is put among them.
//
// Only the table in memory is handled here, so that host tools share the format; the file itself is the DHCP
// server's.

#include "rc/lan/leases.h"

#include <cstring>

#include "rc/bytes.h"

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
    for (; walk.walked < kLeasesWalked; ++walk.walked) {
        LeaseRecord &record = table.records[walk.walked];
        const uint32_t address = get_big_endian(record.address);
        if (address == 0) {
            break;
        }
        if (address == reservation.address || address == reservation.router) {
            put_big_endian(record.seconds, 0);
        }
        if (memcmp(record.hardware, reservation.hardware.bytes, sizeof record.hardware) == 0) {
            put_big_endian(record.address, reservation.address);
            put_big_endian(record.seconds, kReservationSeconds);
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
    put_big_endian(record.address, address);
    put_big_endian(record.seconds, kReservationSeconds);
}
