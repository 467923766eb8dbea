#include "bench/packets/rules.h"

#include <algorithm>

namespace packets {

namespace {

// A number of an address: decimal, octal behind "0", hexadecimal behind "0x", at most 255.
bool parse_byte(std::string_view text, Address &number)
{
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        base = 16;
        text.remove_prefix(2);
    } else if (text.size() > 1 && text[0] == '0') {
        base = 8;
        text.remove_prefix(1);
    }
    number = 0;
    for (const char c : text) {
        const int digit = c >= '0' && c <= '9' ? c - '0' : (c | 0x20) >= 'a' ? (c | 0x20) - 'a' + 10 : 99;
        number = number * static_cast<Address>(base) + static_cast<Address>(digit);
        if (digit >= base || number > 255) {
            return false;
        }
    }
    return !text.empty();
}

}  // namespace

std::string address_text(Address address)
{
    return std::to_string(address >> 24) + "." + std::to_string(address >> 16 & 255) + "." +
           std::to_string(address >> 8 & 255) + "." + std::to_string(address & 255);
}

bool parse_address(std::string_view text, Address &address)
{
    address = 0;
    for (int i = 0; i < 4; ++i) {
        const size_t dot = i < 3 ? text.find('.') : text.size();
        Address number = 0;
        if (dot == std::string_view::npos || !parse_byte(text.substr(0, dot), number)) {
            return false;
        }
        address = address << 8 | number;
        text.remove_prefix(std::min(dot + 1, text.size()));
    }
    return true;
}

Net net_of(Address address, int bits)
{
    const Address mask = bits == 0 ? 0 : ~Address{0} << (32 - bits);
    return {address & mask, mask};
}

bool ends_table(Action action)
{
    switch (action) {
        case Action::kAccept:
        case Action::kDrop:
        case Action::kReject:
        case Action::kDnat:
        case Action::kRedirect:
        case Action::kSnat:
        case Action::kMasquerade:
            return true;
        default:
            return false;
    }
}

const Chain *Table::find(std::string_view chain) const
{
    const auto place =
        std::find_if(chains.begin(), chains.end(), [&](const Chain &c) { return c.name == chain; });
    return place == chains.end() ? nullptr : &*place;
}

Chain *Table::find(std::string_view chain)
{
    return const_cast<Chain *>(static_cast<const Table *>(this)->find(chain));
}

}  // namespace packets
