// The values of the filter tool's options: numbers, addresses, names. What is none is refused with the tool's
// reason.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "bench/packets/refusal.h"
#include "bench/packets/rules.h"

namespace packets {

struct Named {
    const char *name;
    int number;
};

// Null: no such name.
const Named *find(std::span<const Named> names, std::string_view name);
// The bits of a list of names with commas between them.
uint8_t bits_of(std::span<const Named> names, const std::string &list, const char *what);
bool has(std::span<const char *const> names, std::string_view name);
bool has(const std::vector<std::string> &names, std::string_view name);

// A whole number as the tool reads it: "0x" and leading "0" count.
int number_of(const std::string &text, long long least, long long most, const char *what);
struct Numbers {
    int first = 0;
    int last = 0;
};

struct Addresses {
    Address first = 0;
    Address last = 0;
};

// "PORT", "PORT:PORT", ":PORT", "PORT:"
Numbers ports_of(const std::string &text);
// To translate to: "PORT" or "PORT-PORT"
Numbers new_ports_of(const std::string &text);
// "ADDRESS" or "ADDRESS-ADDRESS", in whichever order
Addresses range_of(const std::string &text);

uint32_t mark_of(const std::string &text);
Address address_of(const std::string &text);
// An address, with "/" and the number of bits or a mask.
Net network_of(const std::string &text);

}  // namespace packets
