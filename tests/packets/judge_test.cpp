// The workstation's kernel agrees with the model: rules that rc writes from random settings, translated,
// loaded, and packets really sent.

#include <gtest/gtest.h>

#include "bench/packets/restore.h"
#include "tests/packets/judging.h"
#include "tests/packets/kernel.h"
#include "tests/packets/rules_for_tests.h"

namespace {

using filter_tests::network;
using filter_tests::packet;
using filter_tests::rules;

class Judge : public testing::Test {
  protected:
    void SetUp() override
    {
        const kernel::Judgement judgement =
            kernel::judge("*filter\nCOMMIT\n*nat\nCOMMIT\n*mangle\nCOMMIT\n", network(), {});
        if (!judgement.error.empty()) {
            GTEST_SKIP() << "no kernel to ask here: " << judgement.error;
        }
    }
};

TEST_F(Judge, AgreesWithWalksThroughRulesOfRandomSettings)
{
    agreement::Dice dice(815);
    agreement::Router router;
    agreement::Judged judged;
    for (int i = 0; i < 6; ++i) {
        const bench::RouterFilter filter = router.filter(agreement::judged_settings(dice));
        agreement::ask_kernel(filter, 150, dice, judged);
        ASSERT_EQ(judged.error, "");
    }
    EXPECT_EQ(judged.disagreements, std::vector<std::string>());
    EXPECT_EQ(judged.packets, 900U);
    EXPECT_GT(judged.local, 90U);
    EXPECT_GT(judged.forwarded, 90U);
    EXPECT_LT(judged.local + judged.forwarded, 810U);
}

// What a rule set makes of a packet, by the kernel.
kernel::Arrival asked(const std::vector<std::string> &lines, const std::string &text)
{
    packets::Packet sent = packet(text);
    sent.from = sent.source.address >> 8 == 0xc0a800 ? packets::Side::kLan : packets::Side::kWan;
    const packets::Restore restore = packets::restore_file(rules(lines), network(), sent.circumstances);
    const kernel::Judgement judgement = kernel::judge(restore.text, network(), {sent});
    EXPECT_EQ(judgement.error, "") << restore.text;
    return judgement.arrivals.empty() ? kernel::Arrival() : judgement.arrivals[0];
}

TEST_F(Judge, SeesWhereAPacketEnds)
{
    const std::string forward =
        "-t nat -A PREROUTING -d 203.0.113.10 -p tcp --dport 80 -j DNAT --to 192.168.0.20:8080";
    const kernel::Arrival arrival = asked({forward}, "tcp 198.51.100.7:1 -> 203.0.113.10:80");
    EXPECT_EQ(arrival.where, kernel::Where::kLan);
    EXPECT_EQ(packets::endpoint_text(arrival.destination, packets::kTcp), "192.168.0.20:8080");
    EXPECT_EQ(asked({}, "tcp 198.51.100.7:1 -> 203.0.113.10:80").where, kernel::Where::kRouter);
    EXPECT_EQ(asked({"-P INPUT DROP"}, "tcp 198.51.100.7:1 -> 203.0.113.10:80").where,
              kernel::Where::kNowhere);
    EXPECT_EQ(asked({}, "udp 192.168.0.5:1 -> 198.51.100.7:53").where, kernel::Where::kWan);
}

TEST_F(Judge, KnowsADropInNatAndAMark)
{
    EXPECT_EQ(asked({"-t nat -A PREROUTING -p udp -j DROP"}, "udp 198.51.100.7:1 -> 203.0.113.10:53").where,
              kernel::Where::kNowhere);
    const std::vector<std::string> web = {
        "-P INPUT DROP", "-t nat -A PREROUTING -p tcp --dport 8443 -j DNAT --to 192.168.0.1:80",
        "-A INPUT -m mark --mark 0x2643 -j ACCEPT"};
    EXPECT_EQ(asked(web, "tcp 198.51.100.7:1 -> 203.0.113.10:8443").where, kernel::Where::kRouter);
    EXPECT_EQ(asked(web, "tcp 198.51.100.7:1 -> 203.0.113.10:8443 mark=none").where, kernel::Where::kNowhere);
}

// ---- today's words --------------------------------------------------------------------------------------

std::string restored(const std::vector<std::string> &lines, const packets::Circumstances &now = {})
{
    packets::Circumstances unmarked = now;
    unmarked.web_mark = false;
    return packets::restore_file(rules(lines), network(), unmarked).text;
}

TEST(Restore, WritesEachMatchInTodaysWords)
{
    EXPECT_EQ(
        restored({"-A INPUT -i ! ppp0 -s ! 10.0.0.0/8 -p tcp --dport 80 --tcp-flags ALL PSH,ACK -m string "
                  "--string GET -m iprange ! "
                  "--dst-range 1.1.1.1-1.1.1.9 -m state --state NEW -m mark --mark 0x1 -j LOG --log-level 4 "
                  "--log-prefix \"[x] \""}),
        "*nat\n:PREROUTING ACCEPT [0:0]\n:POSTROUTING ACCEPT [0:0]\n:OUTPUT ACCEPT [0:0]\nCOMMIT\n*filter\n"
        ":INPUT ACCEPT [0:0]\n:FORWARD ACCEPT [0:0]\n:OUTPUT ACCEPT [0:0]\n"
        "-A INPUT ! -i ppp0 ! -s 10.0.0.0/255.0.0.0 -p 6 --dport 80:80 --tcp-flags FIN,SYN,RST,PSH,ACK,URG "
        "PSH,ACK"
        " -m string --algo bm --string \"GET\" -m iprange ! --dst-range 1.1.1.1-1.1.1.9 -m state --state NEW"
        " -m mark --mark 0x1/0xffffffff -j LOG --log-level 4 --log-prefix \"[x] \"\nCOMMIT\n");
}

TEST(Restore, DecidesWhatTodaysKernelLacksAndNotesIt)
{
    const std::vector<std::string> lines = {"-A INPUT -m psd -j DROP",
                                            "-A INPUT -m condition --condition schedule -j DROP",
                                            "-A INPUT -m limit --limit 1/s -j DROP",
                                            "-t nat -A PREROUTING -j PNAT --set-mark 0x2511",
                                            "-A INPUT -p tcp -j REJECT --reject-with http-block",
                                            "-t nat -A PREROUTING -j DROP"};
    packets::Circumstances now;
    now.web_mark = false;
    const packets::Restore restore = packets::restore_file(rules(lines), network(), now);
    std::vector<std::string> names;
    for (const packets::ForeignLine &line : restore.foreign) {
        names.push_back(std::to_string(line.line) + " " + packets::foreign_name(line.foreign));
    }
    EXPECT_EQ(names,
              (std::vector<std::string>{"4 target PNAT", "6 drop in nat", "1 match psd", "2 match condition",
                                        "3 match limit", "5 reject type http-block"}));
    EXPECT_NE(restore.text.find("-A INPUT -m mark --mark 0x1/0x0 -j DROP\n-A INPUT -m mark --mark 0x1/0x0 -j "
                                "DROP\n-A INPUT -j DROP\n"),
              std::string::npos)
        << restore.text;
    EXPECT_NE(restore.text.find("-A INPUT -m mark --mark 0x44524f50 -j DROP\n"), std::string::npos);
}

}  // namespace
