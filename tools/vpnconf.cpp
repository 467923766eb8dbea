// Shows the router's record of its IPsec tunnels as a table: vpnconf show FILE
//
// Exit status: 0 shown, 2 wrong input.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "forms/escapes.h"
#include "rc/vpn/policy.h"
#include "tools/viewer.h"

namespace {

using forms::escape;

constexpr const char *kHelp =
    "usage: vpnconf show [--fields] FILE\n"
    "Shows a vpn.conf of the router, the tunnels that the last start of its VPN brought up, one a line.\n"
    "\n"
    "  --fields  every field of every tunnel instead, pre-shared keys included\n"
    "  --help    this text\n"
    "\n"
    "FILE may be \"-\" for standard input.\n";

constexpr Viewer kViewer = {"vpnconf", kHelp};

std::string id_text(const char *id)
{
    return no_id(id) ? "none" : escape(id);
}

// The number, and what it means where that is known.
std::string meaning(int value, const std::vector<const char *> &meanings)
{
    const auto index = static_cast<size_t>(value);
    if (value < 0 || index >= meanings.size() || meanings[index] == nullptr) {
        return format("%d", value);
    }
    return format("%d ", value) + meanings[index];
}

// The same for a column: the meaning alone.
std::string word(int value, const std::vector<const char *> &meanings)
{
    const std::string text = meaning(value, meanings);
    return text.substr(text.find(' ') + 1);
}

const std::vector<const char *> kKeyings = {nullptr, "automatic", "manual"};
const std::vector<const char *> kTypes = {nullptr, "peer", "single", "range", "subnet", "any"};
const std::vector<const char *> kPeers = {"any", nullptr, "host name"};
const std::vector<const char *> kCiphers = {"3des", "des"};
const std::vector<const char *> kHashes = {"none", "md5", "sha1"};

// A side's network as address/mask, or as the client argument where nothing was derived.
std::string network_text(const char *addr, const char *mask, const char *net)
{
    if (addr[0] != '\0') {
        return escape(addr) + "/" + escape(mask);
    }
    return net[0] != '\0' ? escape(net) : "-";
}

std::string remote_text(const VpnPolicy &policy)
{
    const bool peer = policy.remote_type == kNetworkPeer && policy.remote_addr[0] == '\0';
    return peer ? "the peer" : network_text(policy.remote_addr, policy.remote_mask, policy.remote_net);
}

bool is_empty(const VpnPolicy &policy)
{
    static const VpnPolicy kEmpty = {};
    return memcmp(&policy, &kEmpty, sizeof policy) == 0;
}

// A record the parser did not reach but gave the WAN interface or address.
bool is_unused(const VpnPolicy &policy)
{
    return policy.enabled == 0 && lifetime_of(policy) == 0;
}

void show_wan(const VpnPolicy &first)
{
    (void)printf("WAN interface %s, address %s, netmask %s, broadcast %s, gateway %s\n",
                 escape(wan_ifname(first)).c_str(), escape(first.wan_ip).c_str(),
                 escape(first.wan_netmask).c_str(), escape(first.wan_broadcast).c_str(),
                 escape(first.wan_gateway).c_str());
}

using Row = std::vector<std::string>;

Row table_row(int number, const VpnPolicy &policy)
{
    return {format("%d", number),
            escape(policy.name),
            policy.enabled != 0 ? "on" : "off",
            word(policy.keying, kKeyings),
            network_text(policy.local_addr, policy.local_mask, policy.local_net),
            escape(policy.remote_gw),
            remote_text(policy),
            word(policy.enc_alg, kCiphers) + "-" + word(policy.auth_alg, kHashes),
            format("%d s", lifetime_of(policy))};
}

// Prints rows in columns as wide as their widest entry; the last column is not padded.
void print_rows(const std::vector<Row> &rows)
{
    std::vector<size_t> widths(rows[0].size());
    for (const Row &row : rows) {
        for (size_t i = 0; i < row.size(); i++) {
            widths[i] = row[i].size() > widths[i] ? row[i].size() : widths[i];
        }
    }
    for (const Row &row : rows) {
        std::string line;
        for (size_t i = 0; i < row.size(); i++) {
            line += row[i];
            line.append(i + 1 < row.size() ? widths[i] - row[i].size() + 2 : 0, ' ');
        }
        (void)puts(line.c_str());
    }
}

void show_table(const VpnTable &table)
{
    std::vector<Row> rows = {{"no.", "name", "state", "keying", "local network", "peer", "remote network",
                              "algorithms", "lifetime"}};
    for (int i = 0; i < kVpnPolicies; i++) {
        if (!is_unused(table.policies[i])) {
            rows.push_back(table_row(i, table.policies[i]));
        }
    }
    show_wan(table.policies[0]);
    if (rows.size() > 1) {
        print_rows(rows);
    } else {
        (void)puts("no tunnels");
    }
}

void add_side(std::vector<Row> &rows, const VpnPolicy &policy)
{
    rows.push_back({"237", "local_type", meaning(policy.local_type, kTypes)});
    rows.push_back({"238", "local_net", escape(policy.local_net)});
    rows.push_back({"272", "local_mask", escape(policy.local_mask)});
    rows.push_back({"290", "local_addr", escape(policy.local_addr)});
    rows.push_back({"308", "local_id_type", format("%d", policy.local_id_type)});
    rows.push_back({"309", "local_id", id_text(policy.local_id)});
    rows.push_back({"342", "remote_gw_type", meaning(policy.remote_gw_type, kPeers)});
    rows.push_back({"343", "remote_gw", escape(policy.remote_gw)});
    rows.push_back({"430", "remote_type", meaning(policy.remote_type, kTypes)});
    rows.push_back({"431", "remote_net", escape(policy.remote_net)});
    rows.push_back({"465", "remote_mask", escape(policy.remote_mask)});
    rows.push_back({"483", "remote_addr", escape(policy.remote_addr)});
    rows.push_back({"501", "remote_id_type", format("%d", policy.remote_id_type)});
    rows.push_back({"502", "remote_id", id_text(policy.remote_id)});
}

void add_options(std::vector<Row> &rows, const VpnPolicy &policy)
{
    rows.push_back({"653", "exchange_mode", meaning(policy.exchange_mode, {nullptr, "aggressive"})});
    rows.push_back({"654", "connect_mode",
                    meaning(policy.connect_mode, {nullptr, nullptr, "kept alive, traffic-triggered"})});
    rows.push_back({"655", "dh_group", format("%d", policy.dh_group)});
    rows.push_back({"656", "pfs", format("%d", policy.pfs)});
    rows.push_back({"657", "option25", format("%d", policy.option25)});
    rows.push_back({"660", "lifetime", format("%d", lifetime_of(policy))});
    rows.push_back({"664", "keepalive_addr", escape(policy.keepalive_addr)});
    rows.push_back({"680", "keepalive_on", format("%d", policy.keepalive_on)});
}

// Every field, led by its offset in the record.
void show_fields(int number, const VpnPolicy &policy)
{
    std::vector<Row> rows = {
        {"0", "enabled", format("%d", policy.enabled)},
        {"1", "name", escape(policy.name)},
        {"20", "psk", escape(policy.psk)},
        {"150", "wan_ip", escape(policy.wan_ip)},
        {"183", "wan_gateway", escape(policy.wan_gateway)},
        {"201", "wan_netmask", escape(policy.wan_netmask)},
        {"219", "wan_broadcast", escape(policy.wan_broadcast)},
    };
    if (number == 0) {
        rows.insert(rows.begin() + 2, {"14", "wan_ifname", escape(wan_ifname(policy))});
    }
    add_side(rows, policy);
    rows.push_back({"535", "keying", meaning(policy.keying, kKeyings)});
    rows.push_back({"536", "enc_alg", meaning(policy.enc_alg, kCiphers)});
    rows.push_back({"537", "auth_alg", meaning(policy.auth_alg, kHashes)});
    rows.push_back({"540", "spi_in", format("0x%x", get_word(policy.spi_in))});
    rows.push_back({"544", "spi_out", format("0x%x", get_word(policy.spi_out))});
    rows.push_back({"548", "enc_key", escape(policy.enc_key)});
    rows.push_back({"605", "auth_key", escape(policy.auth_key)});
    add_options(rows, policy);
    (void)printf("policy %d\n", number);
    print_rows(rows);
}

void show_all_fields(const VpnTable &table)
{
    int shown = 0;
    for (int i = 0; i < kVpnPolicies; i++) {
        if (!is_empty(table.policies[i])) {
            (void)fputs(shown++ == 0 ? "" : "\n", stdout);
            show_fields(i, table.policies[i]);
        }
    }
    if (shown == 0) {
        (void)puts("no tunnels");
    }
}

// Reads the whole table, and one byte more than there may be.
VpnTable read_table(const Input &input)
{
    char bytes[sizeof(VpnTable) + 1];
    const size_t got = read_input(kViewer, input, bytes, sizeof bytes);
    if (got != sizeof(VpnTable)) {
        refuse(kViewer,
               input.name + format(": no vpn.conf, it has %s%zu bytes instead of %zu",
                                   got > sizeof(VpnTable) ? "at least " : "", got, sizeof(VpnTable)));
    }
    VpnTable table;
    memcpy(&table, bytes, sizeof table);
    terminate_texts(table);
    return table;
}

}  // namespace

int main(int argc, char **argv)
{
    bool has_fields = false;
    const VpnTable table = read_table(open_input(kViewer, argc, argv, &has_fields));
    if (has_fields) {
        show_all_fields(table);
    } else {
        show_table(table);
    }
    return 0;
}
