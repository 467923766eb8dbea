#include "forms/vpn.h"

#include <algorithm>
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

std::string hex_text(uint32_t number)
{
    char text[16];
    (void)snprintf(text, sizeof text, "0x%x", static_cast<unsigned>(number));
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

struct Known {
    const char *field;
    const Meanings *meanings;
};

const Known kKnown[] = {
    {"local_type", &kTypes},        {"remote_type", &kTypes},     {"remote_gw_type", &kPeers},
    {"keying", &kKeyings},          {"enc_alg", &kCiphers},       {"auth_alg", &kHashes},
    {"exchange_mode", &kExchanges}, {"connect_mode", &kConnects},
};

std::string number_text(std::string_view field, int number)
{
    for (const Known &known : kKnown) {
        if (field == known.field) {
            return both(number, *known.meanings);
        }
    }
    return std::to_string(number);
}

using Row = std::vector<std::string>;

// Rows in columns as wide as their widest entry; the last column is not padded.
void add_rows(const std::vector<Row> &rows, std::vector<std::string> &lines)
{
    std::vector<size_t> widths(rows[0].size());
    for (const Row &row : rows) {
        for (size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    for (const Row &row : rows) {
        std::string line;
        for (size_t i = 0; i < row.size(); ++i) {
            line += row[i];
            line.append(i + 1 < row.size() ? widths[i] - row[i].size() + 2 : 0, ' ');
        }
        lines.push_back(line);
    }
}

bool is_secret(std::string_view field)
{
    return field == "psk" || field == "enc_key" || field == "auth_key";
}

// The value of one field of the record.
std::string value_text(const VpnPolicy &policy, const ::VpnField &field)
{
    const unsigned char *bytes = reinterpret_cast<const unsigned char *>(&policy) + field.offset;
    const std::string_view name = field.name;
    switch (field.kind) {
        case VpnKind::kText: {
            const char *text = reinterpret_cast<const char *>(bytes);
            return name == "local_id" || name == "remote_id" ? id_text(text) : escape(text);
        }
        case VpnKind::kNumber:
            return number_text(name, static_cast<int8_t>(*bytes));
        case VpnKind::kHex:
            return hex_text(get_big_endian(bytes));
        default:
            return std::to_string(static_cast<int32_t>(get_big_endian(bytes)));
    }
}

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
    for (int i = 0; i < kVpnPolicies; ++i) {
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
    for (const ::VpnField &field : kVpnFields) {
        if (field.kind != VpnKind::kReserved) {
            fields.push_back({field.offset, field.name, value_text(policy, field), is_secret(field.name)});
        }
        // Record 0 has the WAN interface's name within its own.
        if (number == 0 && field.offset == offsetof(VpnPolicy, name)) {
            fields.push_back({kWanIfnameOffset, "wan_ifname", escape(wan_ifname(policy)), false});
        }
    }
    return fields;
}

std::vector<std::string> vpn_table_lines(const VpnTable &table)
{
    const VpnPolicy &first = table.policies[0];
    std::vector<std::string> lines = {"WAN interface " + escape(wan_ifname(first)) + ", address " +
                                      escape(first.wan_ip) + ", netmask " + escape(first.wan_netmask) +
                                      ", broadcast " + escape(first.wan_broadcast) + ", gateway " +
                                      escape(first.wan_gateway)};
    std::vector<Row> rows = {{"no.", "name", "state", "keying", "local network", "peer", "remote network",
                              "algorithms", "lifetime"}};
    for (const VpnTunnel &tunnel : vpn_tunnels(table)) {
        rows.push_back({std::to_string(tunnel.number), tunnel.name, tunnel.is_on ? "on" : "off",
                        tunnel.keying, tunnel.local, tunnel.peer, tunnel.remote, tunnel.algorithms,
                        std::to_string(tunnel.lifetime) + " s"});
    }
    if (rows.size() > 1) {
        add_rows(rows, lines);
    } else {
        lines.emplace_back("no tunnels");
    }
    return lines;
}

std::vector<std::string> vpn_field_lines(const VpnTable &table, Secrets secrets)
{
    std::vector<std::string> lines;
    for (int i = 0; i < kVpnPolicies; ++i) {
        std::vector<Row> rows;
        for (const VpnField &field : vpn_fields(table, i)) {
            const bool is_masked = secrets == Secrets::kMasked && field.is_secret && !field.value.empty();
            rows.push_back({std::to_string(field.offset), field.name, is_masked ? "********" : field.value});
        }
        if (!rows.empty()) {
            lines.insert(lines.end(), lines.empty() ? 0 : 1, "");
            lines.push_back("policy " + std::to_string(i));
            add_rows(rows, lines);
        }
    }
    if (lines.empty()) {
        lines.emplace_back("no tunnels");
    }
    return lines;
}

}  // namespace forms
