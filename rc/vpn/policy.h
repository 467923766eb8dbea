// One tunnel policy, and the table of eight that is both the VPN's working memory and the file
// /var/tmp/vpn.conf.
//
// The record is its own file format: it is made of bytes only, its words are big-endian on every host, and
// every offset is fixed. Texts end with a NUL byte within their field.
#pragma once

#include <cstddef>
#include <cstdint>

#include "rc/vpn/vpn.h"

// A 32-bit word of the record, most significant byte first.
struct VpnWord {
    uint8_t bytes[4];
};

constexpr uint32_t get_word(const VpnWord &word)
{
    return (uint32_t{word.bytes[0]} << 24) | (uint32_t{word.bytes[1]} << 16) |
           (uint32_t{word.bytes[2]} << 8) | uint32_t{word.bytes[3]};
}

constexpr void set_word(VpnWord &word, uint32_t value)
{
    for (int i = 0; i < 4; i++) {
        word.bytes[i] = static_cast<uint8_t>(value >> (24 - 8 * i));
    }
}

// Values of `local_type` and `remote_type`.
enum VpnNetworkType {
    kNetworkPeer = 1,  // remote side only: the peer gateway itself
    kNetworkSingle = 2,
    kNetworkRange = 3,
    kNetworkSubnet = 4,
    kNetworkAny = 5,
};

// Values of `keying`.
enum VpnKeying {
    kKeyingAutomatic = 1,
    kKeyingManual = 2,
};

// First byte of an ID text that means "no ID is given".
constexpr char kNoId = '\x03';

struct VpnPolicy {
    int8_t enabled;
    // Deliberate: in record 0 the last six bytes of `name` are the WAN interface's name (wan_ifname()), so a
    // name of more than 12 characters there overwrites it.
    char name[19];
    char psk[130];
    char wan_ip[33];
    char wan_gateway[18];
    char wan_netmask[18];    // record 0 only
    char wan_broadcast[18];  // record 0 only
    int8_t local_type;
    char local_net[34];  // as typed, then the client argument for the IKE daemon
    char local_mask[18];
    char local_addr[18];
    int8_t local_id_type;
    char local_id[33];
    int8_t remote_gw_type;  // 0 any peer, 2 host name, else address
    char remote_gw[87];
    int8_t remote_type;
    char remote_net[34];
    char remote_mask[18];
    char remote_addr[18];
    int8_t remote_id_type;
    char remote_id[33];
    int8_t keying;
    int8_t enc_alg;   // 0 3DES, 1 DES
    int8_t auth_alg;  // 0 none or automatic, 1 MD5, 2 SHA-1
    uint8_t reserved_538[2];
    VpnWord spi_in;
    VpnWord spi_out;
    char enc_key[57];
    char auth_key[48];
    int8_t exchange_mode;  // 1 aggressive
    int8_t connect_mode;   // 2 kept alive and triggered by traffic
    int8_t dh_group;       // 0 not set, 1, 2 or 5
    int8_t pfs;
    int8_t option25;  // stored, used by nothing
    uint8_t reserved_658[2];
    VpnWord lifetime;  // seconds, signed
    char keepalive_addr[16];
    int8_t keepalive_on;
    uint8_t reserved_681[3];
};

constexpr size_t kWanIfnameOffset = 14;
constexpr size_t kWanIfnameSize = 6;

static_assert(sizeof(VpnPolicy) == 684 && alignof(VpnPolicy) == 1);
static_assert(offsetof(VpnPolicy, name) == 1);
static_assert(offsetof(VpnPolicy, name) + sizeof(VpnPolicy::name) == kWanIfnameOffset + kWanIfnameSize);
static_assert(offsetof(VpnPolicy, psk) == 20);
static_assert(offsetof(VpnPolicy, wan_ip) == 150);
static_assert(offsetof(VpnPolicy, wan_gateway) == 183);
static_assert(offsetof(VpnPolicy, wan_netmask) == 201);
static_assert(offsetof(VpnPolicy, wan_broadcast) == 219);
static_assert(offsetof(VpnPolicy, local_type) == 237);
static_assert(offsetof(VpnPolicy, local_net) == 238);
static_assert(offsetof(VpnPolicy, local_mask) == 272);
static_assert(offsetof(VpnPolicy, local_addr) == 290);
static_assert(offsetof(VpnPolicy, local_id_type) == 308);
static_assert(offsetof(VpnPolicy, local_id) == 309);
static_assert(offsetof(VpnPolicy, remote_gw_type) == 342);
static_assert(offsetof(VpnPolicy, remote_gw) == 343);
static_assert(offsetof(VpnPolicy, remote_type) == 430);
static_assert(offsetof(VpnPolicy, remote_net) == 431);
static_assert(offsetof(VpnPolicy, remote_mask) == 465);
static_assert(offsetof(VpnPolicy, remote_addr) == 483);
static_assert(offsetof(VpnPolicy, remote_id_type) == 501);
static_assert(offsetof(VpnPolicy, remote_id) == 502);
static_assert(offsetof(VpnPolicy, keying) == 535);
static_assert(offsetof(VpnPolicy, enc_alg) == 536);
static_assert(offsetof(VpnPolicy, auth_alg) == 537);
static_assert(offsetof(VpnPolicy, spi_in) == 540);
static_assert(offsetof(VpnPolicy, spi_out) == 544);
static_assert(offsetof(VpnPolicy, enc_key) == 548);
static_assert(offsetof(VpnPolicy, auth_key) == 605);
static_assert(offsetof(VpnPolicy, exchange_mode) == 653);
static_assert(offsetof(VpnPolicy, connect_mode) == 654);
static_assert(offsetof(VpnPolicy, dh_group) == 655);
static_assert(offsetof(VpnPolicy, pfs) == 656);
static_assert(offsetof(VpnPolicy, option25) == 657);
static_assert(offsetof(VpnPolicy, lifetime) == 660);
static_assert(offsetof(VpnPolicy, keepalive_addr) == 664);
static_assert(offsetof(VpnPolicy, keepalive_on) == 680);

// The WAN interface's name in record 0: at most five characters.
inline char *wan_ifname(VpnPolicy &policy)
{
    return policy.name + (kWanIfnameOffset - offsetof(VpnPolicy, name));
}

inline const char *wan_ifname(const VpnPolicy &policy)
{
    return policy.name + (kWanIfnameOffset - offsetof(VpnPolicy, name));
}

inline bool no_id(const char *id)
{
    return id[0] == kNoId;
}

inline int32_t lifetime_of(const VpnPolicy &policy)
{
    return static_cast<int32_t>(get_word(policy.lifetime));
}

// The eight policies: what vpn.conf holds, byte for byte.
struct VpnTable {
    VpnPolicy policies[kVpnPolicies];
};

static_assert(sizeof(VpnTable) == 5472);

// Makes a table that was read from a file safe to use: every text ends within its field.
inline void terminate_texts(VpnTable &table)
{
    const auto terminate = []<size_t N>(char(&text)[N]) { text[N - 1] = '\0'; };
    for (VpnPolicy &policy : table.policies) {
        terminate(policy.name);
        terminate(policy.psk);
        terminate(policy.wan_ip);
        terminate(policy.wan_gateway);
        terminate(policy.wan_netmask);
        terminate(policy.wan_broadcast);
        terminate(policy.local_net);
        terminate(policy.local_mask);
        terminate(policy.local_addr);
        terminate(policy.local_id);
        terminate(policy.remote_gw);
        terminate(policy.remote_net);
        terminate(policy.remote_mask);
        terminate(policy.remote_addr);
        terminate(policy.remote_id);
        terminate(policy.enc_key);
        terminate(policy.auth_key);
        terminate(policy.keepalive_addr);
    }
}
