#include "forms/leases.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "forms/escapes.h"
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
    for (size_t i = 0; i < (is_ethernet ? kEthernetBytes : sizeof bytes); ++i) {
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

std::string duration_text(uint32_t seconds)
{
    char text[32];
    const uint32_t days = seconds / 86400;
    const uint32_t hours = seconds / 3600 % 24;
    const uint32_t minutes = seconds / 60 % 60;
    if (days != 0) {
        (void)snprintf(text, sizeof text, "%ud %02u:%02u", days, hours, minutes);
    } else {
        (void)snprintf(text, sizeof text, "%02u:%02u:%02u", hours, minutes, seconds % 60);
    }
    return text;
}

// The columns of the table; the last one is as long as it is.
std::string row_text(const std::string &number, const std::string &address, const std::string &hardware,
                     const std::string &time, const std::string &state, const std::string &name)
{
    char text[160];
    (void)snprintf(text, sizeof text, "%4s  %-15s  %-17s  %11s  %-11s  ", number.c_str(), address.c_str(),
                   hardware.c_str(), time.c_str(), state.c_str());
    return text + name;
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

std::vector<std::string> lease_lines(const std::vector<Lease> &leases)
{
    std::vector<std::string> lines = {
        row_text("no.", "address", "hardware address", "lease time", "state", "name")};
    size_t number = 0;
    bool has_ended = false;
    for (const Lease &lease : leases) {
        if (!has_ended && lease.state == LeaseState::kUnused) {
            has_ended = true;
            lines.emplace_back("      end of the list; what follows is not looked at");
        }
        lines.push_back(row_text(std::to_string(number++), lease.address, lease.hardware,
                                 duration_text(lease.seconds), state_name(lease.state), escape(lease.name)));
    }
    lines.push_back(std::to_string(leases.size()) + (leases.size() == 1 ? " record" : " records"));
    return lines;
}

}  // namespace forms
