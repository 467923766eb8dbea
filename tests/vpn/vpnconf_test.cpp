// The vpnconf tool on files of its own.
#include <gtest/gtest.h>

#ifdef VPNCONF_TOOL

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "rc/vpn/policy.h"
#include "tests/running.h"

namespace {

// What the tool printed, standard error between standard output, and its status.
Ran call(const std::string &words)
{
    return Folder().run("{ " VPNCONF_TOOL " " + words + " 2>&1; }");
}

class Vpnconf : public testing::Test {
  protected:
    void SetUp() override
    {
        char name[] = "/tmp/vpnconf.XXXXXX";
        folder_ = mkdtemp(name);
        path_ = folder_ + "/vpn.conf";
    }

    void TearDown() override { std::filesystem::remove_all(folder_); }

    void write(const VpnTable &table, size_t size = sizeof(VpnTable), const std::string &tail = "")
    {
        std::ofstream file(path_, std::ios::binary);
        file.write(reinterpret_cast<const char *>(&table), static_cast<std::streamsize>(size));
        file << tail;
    }

    std::string folder_;
    std::string path_;
};

VpnTable two_policies()
{
    VpnTable table = {};
    VpnPolicy &first = table.policies[0];
    first.enabled = 1;
    strcpy(first.name, "office");
    strcpy(wan_ifname(first), "nas0");
    strcpy(first.wan_ip, "80.1.2.3");
    strcpy(first.wan_gateway, "80.1.2.1");
    strcpy(first.wan_netmask, "255.255.255.0");
    strcpy(first.wan_broadcast, "80.1.2.255");
    strcpy(first.local_addr, "192.168.1.0");
    strcpy(first.local_mask, "255.255.255.0");
    strcpy(first.remote_gw, "10.9.8.7");
    first.remote_type = kNetworkPeer;
    first.keying = kKeyingAutomatic;
    first.auth_alg = 2;
    set_word(first.lifetime, 3600);
    VpnPolicy &last = table.policies[7];
    strcpy(last.name, "odd\n\\");
    strcpy(last.remote_gw, "%any");
    last.keying = 9;
    last.enc_alg = 1;
    set_word(last.lifetime, 28800);
    return table;
}

TEST_F(Vpnconf, ShowsOnePolicyALine)
{
    write(two_policies());
    const Ran result = call("show " + path_);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output,
              "WAN interface nas0, address 80.1.2.3, netmask 255.255.255.0, broadcast 80.1.2.255, gateway "
              "80.1.2.1\n"
              "no.  name     state  keying     local network              peer      remote network  "
              "algorithms  lifetime\n"
              "0    office   on     automatic  192.168.1.0/255.255.255.0  10.9.8.7  the peer        "
              "3des-sha1   3600 s\n"
              "7    odd\\n\\\\  off    9          -                          %any      -               "
              "des-none    28800 s\n");
}

TEST_F(Vpnconf, ReadsStandardInput)
{
    write(two_policies());
    EXPECT_EQ(call("show - < " + path_).output, call("show " + path_).output);
}

TEST_F(Vpnconf, ShowsEveryField)
{
    VpnTable table = two_policies();
    table.policies[7] = {};
    VpnPolicy &first = table.policies[0];
    strcpy(first.local_id, "\x03");
    set_word(first.spi_in, 0x1a);
    write(table);
    const Ran result = call("show --fields " + path_);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output.find("policy 0\n0    enabled         1\n1    name            office\n14   "
                                 "wan_ifname      nas0\n"),
              0U);
    EXPECT_NE(result.output.find("309  local_id        none\n"), std::string::npos);
    EXPECT_NE(result.output.find("430  remote_type     1 peer\n"), std::string::npos);
    EXPECT_NE(result.output.find("540  spi_in          0x1a\n"), std::string::npos);
    EXPECT_NE(result.output.find("660  lifetime        3600\n"), std::string::npos);
    EXPECT_EQ(result.output.find("policy 1"), std::string::npos);
}

TEST_F(Vpnconf, EmptyTable)
{
    write({});
    EXPECT_NE(call("show " + path_).output.find("no tunnels\n"), std::string::npos);
    EXPECT_EQ(call("show --fields " + path_).output, "no tunnels\n");
}

TEST_F(Vpnconf, TextsWithoutAnEndStayInTheirFields)
{
    VpnTable table;
    memset(&table, 'x', sizeof table);
    write(table);
    const Ran result = call("show --fields " + path_);
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.output.find("20   psk             " + std::string(129, 'x') + "\n"), std::string::npos);
}

TEST_F(Vpnconf, RefusesOtherSizes)
{
    write(two_policies(), 5471);
    EXPECT_EQ(call("show " + path_).output,
              "vpnconf: cannot read " + path_ + ": no vpn.conf, it has 5471 bytes instead of 5472\n");
    write(two_policies(), 5472, "more");
    const Ran result = call("show " + path_);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.output,
              "vpnconf: cannot read " + path_ + ": no vpn.conf, it has 5476 bytes instead of 5472\n");
}

TEST_F(Vpnconf, RefusesWhatItCannotRead)
{
    Ran result = call("show " + folder_ + "/none");
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.output, "vpnconf: cannot read " + folder_ + "/none: No such file or directory\n");
    result = call("show " + folder_);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.output, "vpnconf: cannot read " + folder_ + ": it is a directory\n");
}

TEST_F(Vpnconf, RefusesOtherWords)
{
    for (const char *words : {"", "show", "look x", "show a b", "--wrong", "-x show a"}) {
        const Ran result = call(words);
        EXPECT_EQ(result.status, 2) << words;
        EXPECT_EQ(result.output.find("vpnconf: "), 0U) << words;
        EXPECT_EQ(result.output.find('\n'), result.output.size() - 1) << words;
    }
}

TEST_F(Vpnconf, Help)
{
    const Ran result = call("--help");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output.find("usage: vpnconf show [--fields] FILE\n"), 0U);
}

}  // namespace

#endif
