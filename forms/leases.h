// A lease file of the router's DHCP server as records that people read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace forms {

enum class LeaseState {
    kUnused,       // address 0.0.0.0: the first one ends the list
    kExpired,      // lease time 0: given back, or taken from the client
    kReservation,  // as rc writes reservations
    kHeld,
};

struct Lease {
    LeaseState state = LeaseState::kUnused;
    std::string address;   // dotted
    std::string hardware;  // "00:11:22:33:44:55"; all sixteen bytes where the last ten are not zero
    uint32_t seconds = 0;
    std::string name;  // any bytes but NUL
};

struct LeaseFile {
    std::vector<Lease> leases;
    size_t rest = 0;  // bytes of a last record that is cut short
};

LeaseFile read_lease_file(std::string_view bytes);

const char *state_name(LeaseState state);

// A table of the records, one a line, and their number below it.
std::vector<std::string> lease_lines(const std::vector<Lease> &leases);

}  // namespace forms
