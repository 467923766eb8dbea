#include "bench/packets/values.h"

#include <cstdlib>

#include "bench/packets/words.h"

namespace packets {

namespace {

// False: none, or not between the two.
bool to_number(const std::string &text, long long least, long long most, long long &number)
{
    char *end = nullptr;
    number = strtoll(text.c_str(), &end, 0);
    return !text.empty() && text[0] >= '0' && text[0] <= '9' && *end == '\0' && number >= least &&
           number <= most;
}

constexpr int kLastPort = 65535;

void check_order(const Numbers &ports, const std::string &text)
{
    if (ports.first > ports.last) {
        refuse("the ports ", text, " run backwards");
    }
}

}  // namespace

const Named *find(std::span<const Named> names, std::string_view name)
{
    for (const Named &row : names) {
        if (name == row.name) {
            return &row;
        }
    }
    return nullptr;
}

uint8_t bits_of(std::span<const Named> names, const std::string &list, const char *what)
{
    int bits = 0;
    for (const std::string &name : split_at(list, ',')) {
        const Named *row = find(names, name);
        if (row == nullptr) {
            refuse_value(name, what);
        }
        bits |= row->number;
    }
    return static_cast<uint8_t>(bits);
}

bool has(std::span<const char *const> names, std::string_view name)
{
    for (const char *each : names) {
        if (name == each) {
            return true;
        }
    }
    return false;
}

bool has(const std::vector<std::string> &names, std::string_view name)
{
    for (const std::string &each : names) {
        if (name == each) {
            return true;
        }
    }
    return false;
}

int number_of(const std::string &text, long long least, long long most, const char *what)
{
    long long number = 0;
    if (!to_number(text, least, most, number)) {
        refuse_value(text, what);
    }
    return static_cast<int>(number);
}

uint32_t mark_of(const std::string &text)
{
    long long number = 0;
    if (!to_number(text, 0, 0xffffffff, number)) {
        refuse_value(text, "mark");
    }
    return static_cast<uint32_t>(number);
}

Address address_of(const std::string &text)
{
    Address address = 0;
    if (!parse_address(text, address)) {
        const bool is_name = !text.empty() && (text[0] | 0x20) >= 'a';
        refuse_value(text, is_name ? "address (host names are not looked up)" : "address");
    }
    return address;
}

Net network_of(const std::string &text)
{
    const size_t slash = text.find('/');
    const Address address = address_of(text.substr(0, slash));
    if (slash == std::string::npos) {
        return {address, 0xffffffff};
    }
    const std::string bits = text.substr(slash + 1);
    Address mask = 0;
    if (parse_address(bits, mask)) {
        return {address & mask, mask};
    }
    return net_of(address, number_of(bits, 0, 32, "network mask"));
}

Numbers ports_of(const std::string &text)
{
    const size_t colon = text.find(':');
    const std::string first = text.substr(0, colon);
    if (colon == std::string::npos) {
        const int port = number_of(first, 0, kLastPort, "port");
        return {port, port};
    }
    const std::string last = text.substr(colon + 1);
    const Numbers ports = {first.empty() ? 0 : number_of(first, 0, kLastPort, "port"),
                           last.empty() ? kLastPort : number_of(last, 0, kLastPort, "port")};
    check_order(ports, text);
    return ports;
}

Numbers new_ports_of(const std::string &text)
{
    const size_t dash = text.find('-');
    const int first = number_of(text.substr(0, dash), 1, kLastPort, "port to translate to");
    if (dash == std::string::npos) {
        return {first, first};
    }
    const Numbers ports = {first, number_of(text.substr(dash + 1), 1, kLastPort, "port to translate to")};
    check_order(ports, text);
    return ports;
}

Addresses range_of(const std::string &text)
{
    const size_t dash = text.find('-');
    const Address first = address_of(text.substr(0, dash));
    return {first, dash == std::string::npos ? first : address_of(text.substr(dash + 1))};
}

}  // namespace packets
