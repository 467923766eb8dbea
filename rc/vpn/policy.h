// One tunnel policy, and the table of eight that is both the VPN's working memory and the file
// /var/tmp/vpn.conf.
//
// The record is its own file format: it is made of bytes only, its words are big-endian on every host, and
// every offset is fixed. Texts end with a NUL byte within their field.
#pragma once

#include <cstddef>
#include <cstdint>

#include "rc/bytes.h"
#include "rc/vpn/vpn.h"

// A 32-bit word of the record, most significant byte first.
struct VpnWord {
    uint8_t bytes[4];
};

constexpr uint32_t get_word(const VpnWord &word)
{
    return get_big_endian(word.bytes);
}

constexpr void set_word(VpnWord &word, uint32_t value)
{
    put_big_endian(word.bytes, value);
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

// Choice: a text put over a longer one leaves what was behind its NUL byte, also in `/var/tmp/vpn.conf`.
// Choice: one-byte numbers are signed; type 255 prints as -1. An ID counts as none by its first byte,
// 0x03.
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

// How a field is written, in the record and in the setting.
enum class VpnKind : uint8_t {
    kNumber,   // one signed byte; decimal in the setting
    kHex,      // a word; hexadecimal in the setting
    kDecimal,  // a signed word; decimal in the setting
    kText,     // ends with a NUL byte within its width
    kReserved,
};

// Every field of the record, in its order.
struct VpnField {
    const char *name;
    uint16_t offset;
    uint8_t width;
    VpnKind kind;
    uint8_t source;  // its number in the setting; 0: derived
    bool as_declared;
};

#define VPN_FIELD(member, offset, width, kind, source)                                      \
    {                                                                                       \
#member, offset, width, VpnKind::kind, source,                                      \
            offsetof(VpnPolicy, member) == (offset) && sizeof(VpnPolicy::member) == (width) \
    }

// clang-format off
constexpr VpnField kVpnFields[] = {
    // name            at  width  kind       source
    VPN_FIELD(enabled,           0,   1, kNumber,    1),
    VPN_FIELD(name,              1,  19, kText,      2),
    VPN_FIELD(psk,              20, 130, kText,     12),
    VPN_FIELD(wan_ip,          150,  33, kText,      0),
    VPN_FIELD(wan_gateway,     183,  18, kText,      0),
    VPN_FIELD(wan_netmask,     201,  18, kText,      0),
    VPN_FIELD(wan_broadcast,   219,  18, kText,      0),
    VPN_FIELD(local_type,      237,   1, kNumber,    6),
    VPN_FIELD(local_net,       238,  34, kText,      7),
    VPN_FIELD(local_mask,      272,  18, kText,      0),
    VPN_FIELD(local_addr,      290,  18, kText,      0),
    VPN_FIELD(local_id_type,   308,   1, kNumber,   17),
    VPN_FIELD(local_id,        309,  33, kText,     18),
    VPN_FIELD(remote_gw_type,  342,   1, kNumber,    8),
    VPN_FIELD(remote_gw,       343,  87, kText,      9),
    VPN_FIELD(remote_type,     430,   1, kNumber,   10),
    VPN_FIELD(remote_net,      431,  34, kText,     11),
    VPN_FIELD(remote_mask,     465,  18, kText,      0),
    VPN_FIELD(remote_addr,     483,  18, kText,      0),
    VPN_FIELD(remote_id_type,  501,   1, kNumber,   19),
    VPN_FIELD(remote_id,       502,  33, kText,     20),
    VPN_FIELD(keying,          535,   1, kNumber,    3),
    VPN_FIELD(enc_alg,         536,   1, kNumber,    4),
    VPN_FIELD(auth_alg,        537,   1, kNumber,    5),
    VPN_FIELD(reserved_538,    538,   2, kReserved,  0),
    VPN_FIELD(spi_in,          540,   4, kHex,      13),
    VPN_FIELD(spi_out,         544,   4, kHex,      14),
    VPN_FIELD(enc_key,         548,  57, kText,      0),
    VPN_FIELD(auth_key,        605,  48, kText,      0),
    VPN_FIELD(exchange_mode,   653,   1, kNumber,   21),
    VPN_FIELD(connect_mode,    654,   1, kNumber,   22),
    VPN_FIELD(dh_group,        655,   1, kNumber,   23),
    VPN_FIELD(pfs,             656,   1, kNumber,   24),
    VPN_FIELD(option25,        657,   1, kNumber,   25),
    VPN_FIELD(reserved_658,    658,   2, kReserved,  0),
    VPN_FIELD(lifetime,        660,   4, kDecimal,  26),
    VPN_FIELD(keepalive_addr,  664,  16, kText,     27),
    VPN_FIELD(keepalive_on,    680,   1, kNumber,   28),
    VPN_FIELD(reserved_681,    681,   3, kReserved,  0),
};
// clang-format on

#undef VPN_FIELD

constexpr size_t kVpnRecordSize = 684;

// Every field where it is declared, each behind the one before, up to the end.
consteval bool vpn_fields_fill_the_record()
{
    size_t end = 0;
    for (const VpnField &field : kVpnFields) {
        if (!field.as_declared || field.offset != end) {
            return false;
        }
        end += field.width;
    }
    return end == kVpnRecordSize;
}

static_assert(vpn_fields_fill_the_record());
static_assert(sizeof(VpnPolicy) == kVpnRecordSize && alignof(VpnPolicy) == 1);

constexpr size_t kWanIfnameOffset = 14;
constexpr size_t kWanIfnameSize = 6;
static_assert(offsetof(VpnPolicy, name) + sizeof(VpnPolicy::name) == kWanIfnameOffset + kWanIfnameSize);

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

constexpr int kVpnPolicies = 8;

// The eight policies: what vpn.conf holds, byte for byte.
struct VpnTable {
    VpnPolicy policies[kVpnPolicies];
};

static_assert(sizeof(VpnTable) == 5472);

// Makes a table that was read from a file safe to use: every text ends within its field.
void terminate_texts(VpnTable &table);
