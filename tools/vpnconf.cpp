// Shows the router's record of its IPsec tunnels as a table: vpnconf show FILE
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "forms/escapes.h"
#include "forms/files.h"
#include "forms/program.h"
#include "forms/vpn.h"

namespace {

using Row = std::vector<std::string>;

// Prints rows in columns as wide as their widest entry; the last column is not padded.
void print_rows(const std::vector<Row> &rows)
{
    std::vector<size_t> widths(rows[0].size());
    for (const Row &row : rows) {
        for (size_t i = 0; i < row.size(); i++) {
            widths[i] = std::max(widths[i], row[i].size());
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

void show_wan(const VpnPolicy &first)
{
    using forms::escape;
    (void)printf("WAN interface %s, address %s, netmask %s, broadcast %s, gateway %s\n",
                 escape(wan_ifname(first)).c_str(), escape(first.wan_ip).c_str(),
                 escape(first.wan_netmask).c_str(), escape(first.wan_broadcast).c_str(),
                 escape(first.wan_gateway).c_str());
}

void show_table(const VpnTable &table)
{
    std::vector<Row> rows = {{"no.", "name", "state", "keying", "local network", "peer", "remote network",
                              "algorithms", "lifetime"}};
    for (const forms::VpnTunnel &tunnel : forms::vpn_tunnels(table)) {
        rows.push_back({std::to_string(tunnel.number), tunnel.name, tunnel.is_on ? "on" : "off",
                        tunnel.keying, tunnel.local, tunnel.peer, tunnel.remote, tunnel.algorithms,
                        std::to_string(tunnel.lifetime) + " s"});
    }
    show_wan(table.policies[0]);
    if (rows.size() > 1) {
        print_rows(rows);
    } else {
        (void)puts("no tunnels");
    }
}

// Every field, led by its offset in the record.
void show_fields(const VpnTable &table)
{
    bool is_first = true;
    for (int i = 0; i < kVpnPolicies; i++) {
        std::vector<Row> rows;
        for (const forms::VpnField &field : forms::vpn_fields(table, i)) {
            rows.push_back({std::to_string(field.offset), field.name, field.value});
        }
        if (!rows.empty()) {
            (void)printf("%spolicy %d\n", is_first ? "" : "\n", i);
            print_rows(rows);
            is_first = false;
        }
    }
    if (is_first) {
        (void)puts("no tunnels");
    }
}

VpnTable read_table(const std::string &path)
{
    VpnTable table;
    std::string why;
    if (!forms::read_vpn_table(forms::read_input(path, forms::kVpnLimit), table, why)) {
        throw forms::Failure(forms::kUnusable,
                             "cannot read " + forms::shown(forms::input_name(path)) + ": " + why);
    }
    return table;
}

int work(const std::vector<std::string> &arguments)
{
    bool has_fields = false;
    const forms::Program program = {
        .name = "vpnconf",
        .usage = {"show [--fields] FILE"},
        .about =
            "Shows a vpn.conf of the router, the tunnels that the last start of its VPN brought up, one "
            "a line. \"-\" is standard input.",
        .options = {{'\0', "fields", nullptr, "every field of every tunnel instead, pre-shared keys included",
                     [&](const std::string &) { has_fields = true; }}},
    };
    const std::vector<std::string> words = forms::read_options(program, arguments);
    if (words.size() != 2 || words[0] != "show") {
        throw forms::usage_error("say \"vpnconf show FILE\"");
    }
    const VpnTable table = read_table(words[1]);
    if (has_fields) {
        show_fields(table);
    } else {
        show_table(table);
    }
    return forms::kDone;
}

}  // namespace

int main(int argc, char **argv)
{
    return forms::run_program("vpnconf", argc, argv, work);
}
