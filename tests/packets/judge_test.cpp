// The workstation's kernel agrees with the model: rules that rc writes from random settings, translated,
// loaded, and packets really sent.

#include <gtest/gtest.h>

#include "bench/packets/reach.h"
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
            GTEST_SKIP() << "needs a kernel to ask, with network namespaces and iptables (legacy): "
                         << judgement.error;
        }
    }
};

TEST_F(Judge, AgreesWithWalksThroughRulesOfRandomSettings)
{
    agreement::Dice dice(815);
    agreement::Router router;
    agreement::Judged judged;
    for (int i = 0; i < 20; ++i) {
        const bench::RouterFilter filter = router.filter(agreement::judged_settings(dice));
        agreement::ask_kernel(filter, 100, dice, judged);
        ASSERT_EQ(judged.error, "");
    }
    EXPECT_EQ(judged.disagreements, std::vector<std::string>());
    EXPECT_EQ(judged.packets, 2000U);
    EXPECT_GT(judged.local, 200U);
    EXPECT_GT(judged.forwarded, 200U);
    EXPECT_LT(judged.local + judged.forwarded, 1800U);
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

// Where a packet ends that a difference shows, by the model and by the kernel.
kernel::Arrival arrival_of(const bench::RouterFilter &filter, const packets::Packet &sent)
{
    const packets::Restore restore = packets::restore_file(filter.rules, filter.network, sent.circumstances);
    const kernel::Judgement judgement = kernel::judge(restore.text, filter.network, {sent});
    EXPECT_EQ(judgement.error, "") << restore.text;
    return judgement.arrivals.empty() ? kernel::Arrival() : judgement.arrivals[0];
}

bool can_be_sent(const packets::Packet &packet)
{
    return packets::has_ports(packet.protocol) ||
           (packet.protocol == packets::kIcmp && packet.icmp_type == 8);
}

TEST_F(Judge, AgreesWithWhatRandomChangesOpenAndClose)
{
    agreement::Dice dice(817);
    agreement::Router router;
    agreement::Judged judged;
    for (int i = 0; i < 4; ++i) {
        const std::vector<bench::Setting> settings = agreement::judged_settings(dice);
        const std::vector<bench::Setting> changed = agreement::changed_settings(settings, dice);
        agreement::ask_kernel_about_change(router.filter(settings), router.filter(changed), 3, judged);
        ASSERT_EQ(judged.error, "");
    }
    EXPECT_EQ(judged.disagreements, std::vector<std::string>());
    EXPECT_GE(judged.packets, 5U);
    EXPECT_GT(judged.opened, 0U);
    EXPECT_GT(judged.closed, 0U);
    EXPECT_GT(judged.moved, 0U);
}

// A DMZ host, a port opened and pings: each row's packet goes through the kernel before and after.
TEST_F(Judge, SeesWhatAChangeOpensAndCloses)
{
    agreement::Dice dice(816);
    agreement::Router router;
    std::vector<bench::Setting> settings = agreement::judged_settings(dice);
    for (const bench::Setting &plain : std::vector<bench::Setting>{{"fw_in_rules", ""},
                                                                   {"fw_dmz_enable", "0"},
                                                                   {"fw_response_ping", "0"},
                                                                   {"fw_vs_enableA", "0"},
                                                                   {"fw_nat", "1"},
                                                                   {"fw_spi", "0"},
                                                                   {"fw_disable", "0"}}) {
        bench::set_entry(settings, plain);
    }
    const bench::RouterFilter before = router.filter(settings);
    bench::set_entry(settings, {"fw_dmz_enable", "1"});
    bench::set_entry(settings, {"fw_dmz", "192.168.0.9"});
    bench::set_entry(settings, {"fw_response_ping", "1"});
    bench::set_entry(settings, {"fw_in_rules", "1:HTTP:2:192.168.0.20:0.0.0.0/0:0\x01"});
    const bench::RouterFilter after = router.filter(settings);
    const packets::Space space(packets::texts_of({&before.rules, &after.rules}));
    const packets::Set asked = packets::new_connections(space, packets::Side::kWan);
    const auto pieces = [&](const bench::RouterFilter &filter) {
        return packets::flow(space, filter.rules, filter.network, asked);
    };
    const packets::Difference opening =
        packets::difference(space, after.network, pieces(before), pieces(after));
    const packets::Difference closing =
        packets::difference(space, before.network, pieces(after), pieces(before));
    size_t tried = 0;
    for (const packets::Row &row : opening.opened) {
        if (!can_be_sent(row.example)) {
            continue;
        }
        EXPECT_EQ(arrival_of(before, row.example).where, kernel::Where::kNowhere)
            << packets::packet_text(row.example);
        EXPECT_EQ(arrival_of(after, row.example).where,
                  row.out == packets::Side::kRouter ? kernel::Where::kRouter : kernel::Where::kLan)
            << packets::packet_text(row.example);
        ++tried;
    }
    for (const packets::Row &row : closing.closed) {
        if (can_be_sent(row.example)) {
            EXPECT_NE(arrival_of(after, row.example).where, kernel::Where::kNowhere);
            EXPECT_EQ(arrival_of(before, row.example).where, kernel::Where::kNowhere);
        }
    }
    EXPECT_GE(tried, 4U);
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
