#include "forms/leases.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "rc/bytes.h"
#include "rc/lan/leases.h"

namespace forms {

namespace {

constexpr size_t kEthernetBytes = 6;

std::string hardware_text(const unsigned char (&bytes)[16])
{
    const bool is_ethernet =
        std::all_of(bytes + kEthernetBytes, std::end(bytes), [](int byte) { return byte == 0; });
    std::string text;
    for (size_t i = 0; i < (is_ethernet ? kEthernetBytes : sizeof bytes); i++) {
        char byte[4];
        (void)snprintf(byte, sizeof byte, i == 0 ? "%02x" : ":%02x", bytes[i]);
        text += byte;
    }
    return text;
}

std::string address_text(const unsigned char (&octets)[4])
{
    std::string text;
    for (const unsigned char octet : octets) {
        text += (text.empty() ? "" : ".") + std::to_string(octet);
    }
    return text;
}

LeaseState state_of(const LeaseRecord &record)
{
    if (get_big_endian(record.address) == 0) {
        return LeaseState::kUnused;
    }
    const uint32_t seconds = get_big_endian(record.seconds);
    return seconds == 0                     ? LeaseState::kExpired
           : seconds == kReservationSeconds ? LeaseState::kReservation
                                            : LeaseState::kHeld;
}

}  // namespace

LeaseFile read_lease_file(std::string_view bytes)
{
    LeaseFile file;
    for (; bytes.size() >= sizeof(LeaseRecord); bytes.remove_prefix(sizeof(LeaseRecord))) {
        LeaseRecord record;
        memcpy(&record, bytes.data(), sizeof record);
        file.leases.push_back({state_of(record), address_text(record.address), hardware_text(record.hardware),
                               get_big_endian(record.seconds), std::string(lease_name(record))});
    }
    file.rest = bytes.size();
    return file;
}

const char *state_name(LeaseState state)
{
    switch (state) {
        case LeaseState::kExpired:
            return "expired";
        case LeaseState::kReservation:
            return "reservation";
        case LeaseState::kHeld:
            return "held";
        case LeaseState::kUnused:
            break;
    }
    return "unused";
}

}  // namespace forms
