// VPN policies: turns the setting `vpn` into the table of eight records.
//
// Reads:  wan_ifname vpn
// Needs:  the WAN interface with its address and a default route
//
// The setting is a format number and then records, each between two bytes 0x01; the fields of a record are
// separated by the byte 0x02. A record is read like a scanf template: the first field that does not fit
// ends it, and what was not reached stays zero.

#include "rc/vpn/policy.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>

#include "rc/bytes.h"
#include "rc/nvram.h"
#include "rc/record.h"
#include "rc/text.h"
#include "rc/vpn/internal.h"

namespace {

constexpr char kFieldEnd = '\x02';
constexpr size_t kShortestSetting = 3;
constexpr size_t kShortestNet = 6;
constexpr int kDefaultLifetime = 28800;

enum ConfError {
    kNoWan = -1,
    kNoWanAddress = -2,
    kBadSetting = -3,
    kShortLocalAddress = -4,
    kBadRange = -5,
    kBadSubnet = -6,
    kBadLocalType = -7,
    kShortRemoteAddress = -8,
    kBadRemoteType = -9,
    kBadEncryptionKey = -10,
    kBadAuthenticationKey = -11,
};

// The keys as typed: longer than any that is accepted, so that one too long stays too long.
struct TypedKeys {
    char enc[64];
    char auth[64];
};

// One end of a tunnel, with the errors it reports.
struct Side {
    int type;
    char (&net)[34];
    char (&mask)[18];
    char (&addr)[18];
    ConfError short_address;
    ConfError bad_type;
};

// ---- reading one record ----------------------------------------------------------------------------------

// The fields of the setting in their order. Those of the typed keys have no place in the record.
constexpr int kFields = 28;
constexpr int kFieldsOfFormat1 = 26;
constexpr int kTypedEncryptionKey = 15;
constexpr int kTypedAuthenticationKey = 16;

struct Place {
    uint16_t offset;
    uint8_t width;
    VpnKind kind;
};

consteval std::array<Place, kFields + 1> places_by_source()
{
    std::array<Place, kFields + 1> places = {};
    for (const VpnField &field : kVpnFields) {
        if (field.source != 0) {
            places[field.source] = {field.offset, field.width, field.kind};
        }
    }
    return places;
}

constexpr std::array<Place, kFields + 1> kPlaces = places_by_source();

constexpr const Place &place_of(int field)
{
    return kPlaces[static_cast<size_t>(field)];
}

consteval bool every_field_has_a_place()
{
    for (int field = 1; field <= kFields; ++field) {
        const bool typed = field == kTypedEncryptionKey || field == kTypedAuthenticationKey;
        if ((place_of(field).width == 0) != typed) {
            return false;
        }
    }
    return true;
}

static_assert(every_field_has_a_place());

bool read_number_field(Scan &in, unsigned char *place, const Place &field)
{
    int number = 0;
    unsigned word = 0;
    if (field.kind == VpnKind::kHex ? !scan_hex(in, word) : !scan_int(in, number)) {
        return false;
    }
    if (field.kind == VpnKind::kNumber) {
        *place = static_cast<unsigned char>(number);
    } else {
        put_big_endian(place, field.kind == VpnKind::kHex ? word : static_cast<uint32_t>(number));
    }
    return true;
}

bool read_field(Scan &in, int number, VpnPolicy &policy, TypedKeys &keys)
{
    if (number == kTypedEncryptionKey) {
        return scan_text(in, keys.enc, kFieldEnd);
    }
    if (number == kTypedAuthenticationKey) {
        return scan_text(in, keys.auth, kFieldEnd);
    }
    const Place &field = place_of(number);
    unsigned char *place = reinterpret_cast<unsigned char *>(&policy) + field.offset;
    if (field.kind == VpnKind::kText) {
        return scan_text(in, reinterpret_cast<char *>(place), field.width, kFieldEnd);
    }
    return read_number_field(in, place, field);
}

// Whatever is not reached stays zero.
void read_record(const std::string &record, int format, VpnPolicy &policy, TypedKeys &keys)
{
    Scan in = {record.c_str()};
    const int last = format == 1 ? kFieldsOfFormat1 : kFields;
    for (int field = 1; field <= last; ++field) {
        if ((field > 1 && !scan_char(in, kFieldEnd)) || !read_field(in, field, policy, keys)) {
            return;
        }
    }
}

// ---- texts of a record --------------------------------------------------------------------------------

constexpr bool is_text(const VpnField &field)
{
    return field.kind == VpnKind::kText;
}

constexpr size_t kTexts =
    static_cast<size_t>(std::count_if(std::begin(kVpnFields), std::end(kVpnFields), is_text));

// The last byte of each. The table of fields itself, with its names, stays out of the program.
consteval std::array<uint16_t, kTexts> text_ends()
{
    std::array<uint16_t, kTexts> ends = {};
    size_t count = 0;
    for (const VpnField &field : kVpnFields) {
        if (is_text(field)) {
            ends[count++] = static_cast<uint16_t>(field.offset + field.width - 1);
        }
    }
    return ends;
}

constexpr std::array<uint16_t, kTexts> kTextEnds = text_ends();

// ---- deriving what the daemons are told -------------------------------------------------------------

// An ID with a type is told to the IKE daemon as a name.
void complete_id(char (&id)[33], int type)
{
    if (no_id(id) || type == 0) {
        return;
    }
    std::string complete;
    append_format(complete, "@%d%s", type, id);
    copy_text(id, complete);
}

void derive_single(const Side &side, const char *address)
{
    std::string client;
    append_format(client, "--client %s/32", address);
    copy_text(side.addr, address);
    copy_text(side.net, client);
    copy_text(side.mask, "255.255.255.255");
}

// Range and subnet: the common prefix of both ends. Deliberate: without a common bit the text as typed stays
// and nothing is derived.
void derive_prefix(const Side &side, int bits)
{
    if (bits == 0) {
        return;
    }
    const std::string_view typed = side.net;
    copy_text(side.addr, typed.substr(0, typed.find("...")));
    mask_ip_with_bits(side.addr, bits);
    std::string client;
    if (side.type == kNetworkRange) {
        append_format(client, "--client %s/%d:1", side.addr, bits);
    } else {
        append_format(client, "--client %s/%d", side.addr, bits);
    }
    copy_text(side.net, client);
    bits2mask(bits, side.mask);
}

int derive_network(const Side &side)
{
    int bits = 0;
    switch (side.type) {
        case kNetworkSingle:
            if (std::string_view(side.net).size() < kShortestNet) {
                return side.short_address;
            }
            derive_single(side, std::string(side.net).c_str());
            return 0;
        case kNetworkRange:
            bits = range2bits(side.net);
            if (bits < 0) {
                return kBadRange;
            }
            derive_prefix(side, bits);
            return 0;
        case kNetworkSubnet:
            bits = mask2bits(side.net);
            if (bits < 0) {
                return kBadSubnet;
            }
            derive_prefix(side, bits);
            return 0;
        case kNetworkAny:
            copy_text(side.net, "--client 0.0.0.0/0");
            copy_text(side.addr, "0.0.0.0");
            copy_text(side.mask, "0.0.0.0");
            return 0;
        default:
            return side.bad_type;
    }
}

int derive_local(VpnPolicy &policy)
{
    return derive_network({policy.local_type, policy.local_net, policy.local_mask, policy.local_addr,
                           kShortLocalAddress, kBadLocalType});
}

int derive_remote(VpnPolicy &policy)
{
    const Side side = {policy.remote_type, policy.remote_net,   policy.remote_mask,
                       policy.remote_addr, kShortRemoteAddress, kBadRemoteType};
    if (policy.remote_type != kNetworkPeer) {
        return derive_network(side);
    }
    if (policy.keying == kKeyingAutomatic) {
        copy_text(policy.remote_net, "");
    } else if (policy.keying == kKeyingManual) {
        derive_single(side, policy.remote_gw);
    }
    return 0;
}

int convert_keys(VpnPolicy &policy, const TypedKeys &keys)
{
    if (policy.keying != kKeyingManual) {
        return 0;
    }
    if (convert_key(keys.enc, policy.enc_key, policy.enc_alg == 0 ? 48 : 16) != 0) {
        return kBadEncryptionKey;
    }
    if (policy.auth_alg == 1 && convert_key(keys.auth, policy.auth_key, 32) != 0) {
        return kBadAuthenticationKey;
    }
    if (policy.auth_alg == 2 && convert_key(keys.auth, policy.auth_key, 40) != 0) {
        return kBadAuthenticationKey;
    }
    return 0;
}

int parse_record(const std::string &record, int format, VpnPolicy &policy)
{
    TypedKeys keys = {};
    read_record(record, format, policy, keys);
    complete_id(policy.remote_id, policy.remote_id_type);
    complete_id(policy.local_id, policy.local_id_type);
    if (lifetime_of(policy) == 0) {
        set_word(policy.lifetime, kDefaultLifetime);
    }
    if (policy.remote_gw_type == 0) {
        copy_text(policy.remote_gw, "%any");
    }
    if (const int error = derive_local(policy); error != 0) {
        return error;
    }
    if (const int error = derive_remote(policy); error != 0) {
        return error;
    }
    return convert_keys(policy, keys);
}

}  // namespace

void terminate_texts(VpnTable &table)
{
    for (VpnPolicy &policy : table.policies) {
        for (const uint16_t last : kTextEnds) {
            reinterpret_cast<char *>(&policy)[last] = '\0';
        }
    }
}

int parse_conf(VpnTable &table)
{
    VpnPolicy &first = table.policies[0];
    const std::string ifname = nvram_text("wan_ifname");
    if (ifname.size() < kShortestSetting) {
        return kNoWan;
    }
    copy_text(wan_ifname(first), kWanIfnameSize, ifname);
    // A name that is cut is not asked for: another interface may have the name that is left.
    if (ifname.size() >= kWanIfnameSize) {
        return kNoWanAddress;
    }
    if (my_get_if(wan_ifname(first), first.wan_ip, first.wan_netmask, first.wan_broadcast,
                  first.wan_gateway) != 0) {
        return kNoWanAddress;
    }
    const std::string setting = nvram_text("vpn");
    if (setting.size() < kShortestSetting) {
        return kBadSetting;
    }
    const int format = to_int(setting);
    std::string_view list = setting;
    std::string_view record;
    (void)next_record(list, record);  // the format number
    for (VpnPolicy &policy : table.policies) {
        if (!next_record(list, record)) {
            break;
        }
        // Deliberate: a setting without records is not asked for its format.
        if (format != 1 && format != 2) {
            return kBadSetting;
        }
        if (const int error = parse_record(std::string(record), format, policy); error != 0) {
            policy.enabled = 0;
            return error;
        }
        copy_text(policy.wan_gateway, first.wan_gateway);
        copy_text(policy.wan_ip, first.wan_ip);
    }
    return 0;
}
