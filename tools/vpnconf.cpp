// Shows the router's record of its IPsec tunnels as a table: vpnconf show FILE
#include <cstdio>
#include <string>
#include <vector>

#include "forms/escapes.h"
#include "forms/files.h"
#include "forms/program.h"
#include "forms/vpn.h"

namespace {

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
    for (const std::string &line :
         has_fields ? forms::vpn_field_lines(table, forms::Secrets::kShown) : forms::vpn_table_lines(table)) {
        (void)puts(line.c_str());
    }
    return forms::kDone;
}

}  // namespace

int main(int argc, char **argv)
{
    return forms::run_program("vpnconf", argc, argv, work);
}
