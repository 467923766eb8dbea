// rcbench compare: programs that let other packets through. The other program is rc with a rule's text
// exchanged.
#include <gtest/gtest.h>

#include "tests/programs.h"
#include "tests/running.h"

namespace {

namespace fs = std::filesystem;

std::string whole(const fs::path &path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

class Compare : public testing::Test {
  protected:
    // rc with another text of the same length in place of one that it holds once.
    std::string rc_with(const std::string &was, const std::string &is) const
    {
        std::string bytes = whole(program_folder() / "rc");
        const size_t place = bytes.find(was);
        EXPECT_NE(place, std::string::npos) << was;
        EXPECT_EQ(bytes.find(was, place + 1), std::string::npos) << was;
        EXPECT_EQ(was.size(), is.size());
        const std::string path =
            folder_.file("rc", place == std::string::npos ? bytes : bytes.replace(place, is.size(), is));
        fs::permissions(path, fs::perms::owner_all);
        return path;
    }

    // What the other program does differently on a router without settings of its own.
    Ran compare(const std::string &other, const std::string &words) const
    {
        const std::string settings =
            folder_.file("plain", "lan_if=br0\nlan_ipaddr=192.168.0.1\nwan_ifname=ppp0\n");
        return folder_.run((program_folder() / "rcbench").string() + " compare --settings " + settings + " " +
                           (program_folder() / "rc").string() + " " + other + " " + words);
    }

    std::string packets_of(const Ran &ran) const
    {
        const size_t place = ran.output.find("Reachable packets");
        return place == std::string::npos ? "" : ran.output.substr(place);
    }

    Folder folder_;
};

TEST_F(Compare, NamesThePacketsThatAnotherProgramLetsIn)
{
    const std::string other = rc_with("-A LOCAL_SERVICE -m mark --mark 0x2511 -j ACCEPT",
                                      "-A LOCAL_SERVICE -p tcp   --dport 2222 -j ACCEPT");
    const Ran ran = compare(other, "firewall start");
    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(ran.errors, "");
    // The text that makes way let the ports in that a LAN host has triggered.
    EXPECT_EQ(
        packets_of(ran),
        "Reachable packets, opened from wan\n"
        "  PROTOCOL  PORTS  FROM  SENT TO       GETS TO     WHEN\n"
        "  tcp       2222   any   203.0.113.10  the router  unless over the limit or scan seen\n"
        "  example: tcp 198.51.100.7:40000 -> 203.0.113.10:2222 schedule=on\n"
        "    before: drop; after: accept, to 203.0.113.10:2222\n"
        "Reachable packets, closed from wan\n"
        "  PROTOCOL  PORTS      FROM  SENT TO       GETS TO  WHEN\n"
        "  udp       6971-6999  any   203.0.113.10  dropped  when triggered port, unless over the limit or "
        "scan seen\n"
        "  example: udp 198.51.100.7:40000 -> 203.0.113.10:6971 schedule=on triggered\n"
        "    before: accept, to 203.0.113.10:6971; after: drop\n"
        "\n1 runs compared, 1 different\n");
}

TEST_F(Compare, SaysNothingOfPacketsWhereTheSameOnesGetThrough)
{
    const std::string other = rc_with("-A FW_BASIC -i lo -j ACCEPT", "-A FW_BASIC -i lo -j RETURN");
    const Ran ran = compare(other, "firewall start");
    EXPECT_EQ(ran.status, 1);
    EXPECT_NE(ran.output.find("+iptables -A FW_BASIC -i lo -j RETURN"), std::string::npos) << ran.output;
    EXPECT_EQ(packets_of(ran), "");
}

TEST_F(Compare, RulesThatAreOnlyWrittenLetNothingThrough)
{
    const std::string other = rc_with("-A LOCAL_SERVICE -m mark --mark 0x2511 -j ACCEPT",
                                      "-A LOCAL_SERVICE -p tcp   --dport 2222 -j ACCEPT");
    const Ran ran = compare(other, "firewall create");
    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(packets_of(ran), "");
}

TEST_F(Compare, RulesThatTheFilterToolDoesNotKnowAreNamed)
{
    const std::string other = rc_with("-A FW_BASIC -i lo -j ACCEPT", "-A FW_BASIC -i lo -j ACCEPS");
    const Ran ran = compare(other, "firewall start");
    EXPECT_EQ(ran.status, 1);
    EXPECT_NE(ran.output.find("Reachable packets cannot be compared: "), std::string::npos) << ran.output;
    EXPECT_NE(ran.output.find("ACCEPS"), std::string::npos);
}

}  // namespace
