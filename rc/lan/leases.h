// The DHCP daemon's lease file: its record format, and how a reservation is put into it.
//
// The file is a plain array of records without header. Numbers are big-endian on every processor.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>

constexpr size_t kLeaseRecordSize = 104;

// A client's hardware address: 6 bytes of an Ethernet address, then zero bytes.
struct HardwareAddress {
    unsigned char bytes[16];
};

// One record, byte for byte as in the file.
struct LeaseRecord {
    unsigned char hardware[16];
    unsigned char address[4];         // 0.0.0.0: unused record, the end of the list
    unsigned char seconds[4];         // lease time; 0: expired
    unsigned char name[64];           // client name, NUL-terminated
    unsigned char hardware_copy[16];  // set only in records that a reservation made
};

static_assert(sizeof(LeaseRecord) == kLeaseRecordSize);
static_assert(offsetof(LeaseRecord, address) == 16);
static_assert(offsetof(LeaseRecord, seconds) == 20);
static_assert(offsetof(LeaseRecord, name) == 24);
static_assert(offsetof(LeaseRecord, hardware_copy) == 88);
static_assert(sizeof(HardwareAddress) == sizeof(LeaseRecord::hardware));

constexpr uint32_t kReservationSeconds = 31536000;  // 365 days

// The client's name: from its place to the first NUL byte, at most to the record's end.
[[nodiscard]] std::string_view lease_name(const LeaseRecord &record);

// ---- the table in memory -------------------------------------------------------------------------------

constexpr size_t kLeasesRead = 254;    // records taken from the file
constexpr size_t kLeasesWalked = 255;  // most records looked at

// Unused from the first record whose address is 0; one record more than a walk can look at.
struct LeaseTable {
    LeaseRecord records[kLeasesWalked + 1];
};

// Reads up to kLeasesRead records from the current place in the file; all others, and one that the file's end
// cuts short, are unused.
// Choice: if the first lease record is cut short, the file is kept. Records beyond 254 are not read, and a
// new reservation then takes the place of the 255th.
void read_leases(FILE *file, LeaseTable &table);

// What a walk over the table looks for.
struct Reservation {
    HardwareAddress hardware;
    uint32_t address;
    uint32_t router;  // the router's own LAN address
};

struct LeaseWalk {
    size_t walked;  // used records before the first unused one
    bool found;     // the client was among them
};

// Gives the reservation's client its address in every record it has, and takes that address and the
// router's own from whoever held them. A client that has no record gets none here.
LeaseWalk reserve_lease(LeaseTable &table, const Reservation &reservation);

// Makes an unused record a client's for a year.
void fill_lease(LeaseRecord &record, const char *name, const HardwareAddress &hardware, uint32_t address);
