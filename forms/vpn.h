// The router's record of its IPsec tunnels, vpn.conf, as texts that people read.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "rc/vpn/policy.h"

namespace forms {

// Reads a whole file; every text in it then ends within its field. False when it has another size; `why`
// then says so.
[[nodiscard]] bool read_vpn_table(std::string_view bytes, VpnTable &table, std::string &why);

// Of a policy that was read, what tells it from others. Texts are escaped.
struct VpnTunnel {
    int number = 0;
    std::string name;
    bool is_on = false;
    std::string keying;
    std::string local;  // network: address/mask, or the client argument where nothing was derived; "-": none
    std::string peer;
    std::string remote;
    std::string algorithms;
    int lifetime = 0;  // seconds
};

// The policies that were read, without those that hold no more than the WAN connection.
std::vector<VpnTunnel> vpn_tunnels(const VpnTable &table);

// One field of a policy, with what its number means where that is known. Texts are escaped.
struct VpnField {
    size_t offset = 0;
    const char *name = "";
    std::string value;
    bool is_secret = false;
};

// All fields of a policy in their order; empty when all its bytes are 0.
std::vector<VpnField> vpn_fields(const VpnTable &table, int number);

// The WAN connection and a table of the tunnels.
std::vector<std::string> vpn_table_lines(const VpnTable &table);

enum class Secrets { kMasked, kShown };

// Every field of every tunnel, led by its offset in the record.
std::vector<std::string> vpn_field_lines(const VpnTable &table, Secrets secrets);

}  // namespace forms
