#include "forms/vpn.h"

#include <cstdio>
#include <cstring>

#include "forms/escapes.h"

namespace forms {

namespace {

using Meanings = std::vector<const char *>;

const Meanings kKeyings = {nullptr, "automatic", "manual"};
const Meanings kTypes = {nullptr, "peer", "single", "range", "subnet", "any"};
const Meanings kPeers = {"any", nullptr, "host name"};
const Meanings kCiphers = {"3des", "des"};
const Meanings kHashes = {"none", "md5", "sha1"};
const Meanings kExchanges = {nullptr, "aggressive"};
const Meanings kConnects = {nullptr, nullptr, "kept alive, traffic-triggered"};

const char *meaning_of(int value, const Meanings &meanings)
{
    const auto index = static_cast<size_t>(value);
    return value >= 0 && index < meanings.size() ? meanings[index] : nullptr;
}

// The meaning alone, or else the number.
std::string word(int value, const Meanings &meanings)
{
    const char *meaning = meaning_of(value, meanings);
    return meaning == nullptr ? std::to_string(value) : meaning;
}

// The number, and what it means where that is known.
std::string both(int value, const Meanings &meanings)
{
    const char *meaning = meaning_of(value, meanings);
    return std::to_string(value) + (meaning == nullptr ? "" : std::string(" ") + meaning);
}

std::string id_text(const char *id)
{
    return no_id(id) ? "none" : escape(id);
}

std::string hex_text(const VpnWord &value)
{
    char text[16];
    (void)snprintf(text, sizeof text, "0x%x", static_cast<unsigned>(get_word(value)));
    return text;
}

std::string network_text(const char *addr, const char *mask, const char *net)
{
    if (addr[0] != '\0') {
        return escape(addr) + "/" + escape(mask);
    }
    return net[0] != '\0' ? escape(net) : "-";
}

std::string remote_text(const VpnPolicy &policy)
{
    const bool is_peer = policy.remote_type == kNetworkPeer && policy.remote_addr[0] == '\0';
    return is_peer ? "the peer" : network_text(policy.remote_addr, policy.remote_mask, policy.remote_net);
}

// A record the parser did not reach but gave the WAN interface or address.
bool is_unused(const VpnPolicy &policy)
{
    return policy.enabled == 0 && lifetime_of(policy) == 0;
}

struct FieldRow {
    const char *name;
    size_t offset;
    std::string (*value)(const VpnPolicy &policy);
    bool is_first_only = false;  // there in record 0 alone
};

// The C library's offsetof in the record.
#define AT(field) #field, offsetof(VpnPolicy, field)

const FieldRow kFields[] = {
    {AT(enabled), [](const VpnPolicy &p) { return std::to_string(p.enabled); }},
    {AT(name), [](const VpnPolicy &p) { return escape(p.name); }},
    {"wan_ifname", kWanIfnameOffset, [](const VpnPolicy &p) { return escape(wan_ifname(p)); }, true},
    {AT(psk), [](const VpnPolicy &p) { return escape(p.psk); }},
    {AT(wan_ip), [](const VpnPolicy &p) { return escape(p.wan_ip); }},
    {AT(wan_gateway), [](const VpnPolicy &p) { return escape(p.wan_gateway); }},
    {AT(wan_netmask), [](const VpnPolicy &p) { return escape(p.wan_netmask); }},
    {AT(wan_broadcast), [](const VpnPolicy &p) { return escape(p.wan_broadcast); }},
    {AT(local_type), [](const VpnPolicy &p) { return both(p.local_type, kTypes); }},
    {AT(local_net), [](const VpnPolicy &p) { return escape(p.local_net); }},
    {AT(local_mask), [](const VpnPolicy &p) { return escape(p.local_mask); }},
    {AT(local_addr), [](const VpnPolicy &p) { return escape(p.local_addr); }},
    {AT(local_id_type), [](const VpnPolicy &p) { return std::to_string(p.local_id_type); }},
    {AT(local_id), [](const VpnPolicy &p) { return id_text(p.local_id); }},
    {AT(remote_gw_type), [](const VpnPolicy &p) { return both(p.remote_gw_type, kPeers); }},
    {AT(remote_gw), [](const VpnPolicy &p) { return escape(p.remote_gw); }},
    {AT(remote_type), [](const VpnPolicy &p) { return both(p.remote_type, kTypes); }},
    {AT(remote_net), [](const VpnPolicy &p) { return escape(p.remote_net); }},
    {AT(remote_mask), [](const VpnPolicy &p) { return escape(p.remote_mask); }},
    {AT(remote_addr), [](const VpnPolicy &p) { return escape(p.remote_addr); }},
    {AT(remote_id_type), [](const VpnPolicy &p) { return std::to_string(p.remote_id_type); }},
    {AT(remote_id), [](const VpnPolicy &p) { return id_text(p.remote_id); }},
    {AT(keying), [](const VpnPolicy &p) { return both(p.keying, kKeyings); }},
    {AT(enc_alg), [](const VpnPolicy &p) { return both(p.enc_alg, kCiphers); }},
    {AT(auth_alg), [](const VpnPolicy &p) { return both(p.auth_alg, kHashes); }},
    {AT(spi_in), [](const VpnPolicy &p) { return hex_text(p.spi_in); }},
    {AT(spi_out), [](const VpnPolicy &p) { return hex_text(p.spi_out); }},
    {AT(enc_key), [](const VpnPolicy &p) { return escape(p.enc_key); }},
    {AT(auth_key), [](const VpnPolicy &p) { return escape(p.auth_key); }},
    {AT(exchange_mode), [](const VpnPolicy &p) { return both(p.exchange_mode, kExchanges); }},
    {AT(connect_mode), [](const VpnPolicy &p) { return both(p.connect_mode, kConnects); }},
    {AT(dh_group), [](const VpnPolicy &p) { return std::to_string(p.dh_group); }},
    {AT(pfs), [](const VpnPolicy &p) { return std::to_string(p.pfs); }},
    {AT(option25), [](const VpnPolicy &p) { return std::to_string(p.option25); }},
    {AT(lifetime), [](const VpnPolicy &p) { return std::to_string(lifetime_of(p)); }},
    {AT(keepalive_addr), [](const VpnPolicy &p) { return escape(p.keepalive_addr); }},
    {AT(keepalive_on), [](const VpnPolicy &p) { return std::to_string(p.keepalive_on); }},
};

#undef AT

}  // namespace

bool read_vpn_table(std::string_view bytes, VpnTable &table, std::string &why)
{
    if (bytes.size() != sizeof table) {
        why = "no vpn.conf, it has " + std::to_string(bytes.size()) + " bytes instead of " +
              std::to_string(sizeof table);
        return false;
    }
    memcpy(&table, bytes.data(), sizeof table);
    terminate_texts(table);
    return true;
}

std::vector<VpnTunnel> vpn_tunnels(const VpnTable &table)
{
    std::vector<VpnTunnel> tunnels;
    for (int i = 0; i < kVpnPolicies; i++) {
        const VpnPolicy &policy = table.policies[i];
        if (is_unused(policy)) {
            continue;
        }
        tunnels.push_back({i, escape(policy.name), policy.enabled != 0, word(policy.keying, kKeyings),
                           network_text(policy.local_addr, policy.local_mask, policy.local_net),
                           escape(policy.remote_gw), remote_text(policy),
                           word(policy.enc_alg, kCiphers) + "-" + word(policy.auth_alg, kHashes),
                           lifetime_of(policy)});
    }
    return tunnels;
}

std::vector<VpnField> vpn_fields(const VpnTable &table, int number)
{
    static const VpnPolicy kEmpty = {};
    const VpnPolicy &policy = table.policies[number];
    std::vector<VpnField> fields;
    if (memcmp(&policy, &kEmpty, sizeof policy) == 0) {
        return fields;
    }
    for (const FieldRow &row : kFields) {
        if (!row.is_first_only || number == 0) {
            fields.push_back({row.offset, row.name, row.value(policy)});
        }
    }
    return fields;
}

}  // namespace forms
