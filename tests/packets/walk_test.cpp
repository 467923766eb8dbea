// One packet through small rule sets: each match and target, and the order in which the kernel asks.

#include <gtest/gtest.h>

#include "tests/packets/rules_for_tests.h"

namespace {

using filter_tests::fate;
using filter_tests::network;
using filter_tests::packet;
using filter_tests::rules;
using filter_tests::walk;
using packets::Hook;
using packets::Side;
using packets::Verdict;

using Lines = std::vector<std::string>;

// Whether a rule with these words in INPUT takes the packet.
bool takes(const std::string &words, const std::string &text, Side from = Side::kWan)
{
    return walk(rules({"-P INPUT DROP", "-A INPUT " + words + " -j ACCEPT"}), text, from).verdict ==
           Verdict::kAccept;
}

const std::string kWeb = "tcp 198.51.100.7:1000 -> 203.0.113.10:80";

TEST(PacketWalk, MatchesInterfaces)
{
    EXPECT_TRUE(takes("-i ppp0", kWeb));
    EXPECT_FALSE(takes("-i ! ppp0", kWeb));
    EXPECT_TRUE(takes("-i ppp+", kWeb));
    EXPECT_TRUE(takes("-i br0", "tcp 192.168.0.5 -> 192.168.0.1:80", Side::kLan));
    EXPECT_TRUE(takes("-i ipsec0", "tcp 10.1.0.5 -> 192.168.0.1:80", Side::kTunnel));
    EXPECT_TRUE(takes("-i lo", "tcp 192.168.0.1 -> 192.168.0.1:80", Side::kRouter));
}

TEST(PacketWalk, MatchesAddressesAndRanges)
{
    EXPECT_TRUE(takes("-s 198.51.100.0/24", kWeb));
    EXPECT_FALSE(takes("-s ! 198.51.100.7", kWeb));
    EXPECT_TRUE(takes("-d 203.0.113.10", kWeb));
    EXPECT_TRUE(takes("-m iprange --src-range 198.51.100.1-198.51.100.7", kWeb));
    EXPECT_FALSE(takes("-m iprange --src-range 198.51.100.8-198.51.100.9", kWeb));
    EXPECT_FALSE(takes("-m iprange --src-range 198.51.100.9-198.51.100.1", kWeb));
    EXPECT_TRUE(takes("-m iprange ! --dst-range 198.51.100.1-198.51.100.7", kWeb));
}

TEST(PacketWalk, MatchesProtocolsPortsAndTypes)
{
    EXPECT_TRUE(takes("-p tcp --dport 79:80", kWeb));
    EXPECT_FALSE(takes("-p udp", kWeb));
    EXPECT_FALSE(takes("-p tcp --dport ! 80", kWeb));
    EXPECT_TRUE(takes("-p tcp --sport 1000", kWeb));
    EXPECT_TRUE(takes("-p 47", "gre 198.51.100.7 -> 203.0.113.10"));
    EXPECT_TRUE(takes("-p icmp --icmp-type echo-request", "icmp 198.51.100.7 -> 203.0.113.10"));
    EXPECT_FALSE(takes("-p icmp --icmp-type echo-request", "icmp 198.51.100.7 -> 203.0.113.10 type=0"));
    EXPECT_FALSE(takes("-p icmp --icmp-type 3/4", "icmp 198.51.100.7 -> 203.0.113.10 type=3 code=1"));
}

TEST(PacketWalk, MatchesFlagsStatesAndTexts)
{
    EXPECT_TRUE(takes("-p tcp --syn", kWeb));
    EXPECT_FALSE(takes("-p tcp --syn", kWeb + " ack"));
    EXPECT_TRUE(takes("-p tcp --tcp-flags ALL PSH,ACK", kWeb + " psh ack established"));
    EXPECT_TRUE(takes("-m state --state ESTABLISHED,RELATED", kWeb + " established"));
    EXPECT_TRUE(takes("-m state --state ESTABLISHED,RELATED", kWeb + " related"));
    EXPECT_FALSE(takes("-m state --state ESTABLISHED,RELATED", kWeb));
    EXPECT_FALSE(takes("-m state --state NEW", kWeb + " invalid"));
    EXPECT_TRUE(takes("-m string --string casino", kWeb + " payload=GET /casino.html"));
    EXPECT_FALSE(takes("-m string --string casino", kWeb + " payload=GET /Casino.html"));
    EXPECT_TRUE(takes("-m string ! --string casino", kWeb));
}

TEST(PacketWalk, TakesWhatRunTimeKnowsAsAsked)
{
    EXPECT_TRUE(takes("-m limit --limit 5/s", kWeb));
    EXPECT_FALSE(takes("-m limit --limit 5/s", kWeb + " over"));
    EXPECT_FALSE(takes("-m psd", kWeb));
    EXPECT_TRUE(takes("-m psd", kWeb + " scan"));
    EXPECT_FALSE(takes("-m condition --condition schedule", kWeb));
    EXPECT_TRUE(takes("-m condition --condition schedule", kWeb + " schedule=on"));
    EXPECT_TRUE(takes("-m condition ! --condition schedule", kWeb + " schedule=off"));
}

TEST(PacketWalk, NamesWhatTheAnswerRestsOn)
{
    const packets::RuleSet set =
        rules({"-P INPUT DROP", "-A INPUT -p udp -m limit --limit 5/s -j ACCEPT",
               "-A INPUT -p tcp -m psd -j DROP", "-A INPUT -m condition --condition schedule -j ACCEPT"});
    EXPECT_EQ(walk(set, kWeb).asked, (packets::Asked{true, false, true, false, false}));
    EXPECT_EQ(walk(set, "udp -> :53").asked, (packets::Asked{false, true, false, false, false}));
}

TEST(PacketWalk, ReturnsToTheCallerAndToThePolicy)
{
    const Lines calls = {"-P INPUT DROP", "-N A", "-A A -p tcp -j RETURN", "-A A -j DROP", "-A INPUT -j A"};
    EXPECT_EQ(fate(calls, kWeb), "drop");
    Lines accepts = calls;
    accepts.push_back("-A INPUT -j ACCEPT");
    EXPECT_EQ(fate(accepts, kWeb), "accept 203.0.113.10:80");
    EXPECT_EQ(fate({"-P INPUT DROP", "-A INPUT -j RETURN", "-A INPUT -j ACCEPT"}, kWeb), "drop");
    EXPECT_EQ(fate({"-A INPUT -p udp -j DROP"}, kWeb), "accept 203.0.113.10:80");
}

TEST(PacketWalk, GoesOnBehindLinesThatOnlyLogOrMark)
{
    EXPECT_EQ(fate({"-A INPUT -j LOG", "-A INPUT -p tcp --syn -j TCPMSS --clamp-mss-to-pmtu",
                    "-A INPUT -p tcp", "-t nat -A PREROUTING -j PNAT --set-mark 0x2511",
                    "-A INPUT -p tcp -j REJECT --reject-with http-block"},
                   kWeb),
              "reject");
}

TEST(PacketWalk, TranslatesBeforeItRoutes)
{
    const Lines forward = {"-P FORWARD DROP",
                           "-t nat -A PREROUTING -p tcp --dport 80 -j DNAT --to 192.168.0.20:8080",
                           "-A FORWARD -d 192.168.0.20 -p tcp --dport 8080 -j ACCEPT"};
    EXPECT_EQ(fate(forward, kWeb), "accept 192.168.0.20:8080");
    EXPECT_EQ(fate({"-P FORWARD DROP", "-t nat -A PREROUTING -j DNAT --to 192.168.0.20",
                    "-A FORWARD -d 203.0.113.10 -j ACCEPT"},
                   kWeb),
              "drop");
    EXPECT_EQ(fate({"-t nat -A PREROUTING -p tcp --dport 80 -j REDIRECT --to-ports 8000"}, kWeb),
              "accept 203.0.113.10:8000");
}

TEST(PacketWalk, KeepsAPortThatIsInTheRange)
{
    const Lines range = {"-t nat -A PREROUTING -p tcp -j DNAT --to 192.168.0.20:79-81"};
    EXPECT_EQ(fate(range, kWeb), "accept 192.168.0.20:80");
    EXPECT_EQ(fate(range, "tcp 198.51.100.7 -> 203.0.113.10:443"), "accept 192.168.0.20:79");
}

TEST(PacketWalk, AsksTheFirstRuleThatTranslatesAlone)
{
    EXPECT_EQ(fate({"-t nat -N A", "-t nat -A PREROUTING -j A",
                    "-t nat -A PREROUTING -j DNAT --to 192.168.0.9", "-t nat -A A -j DNAT --to 192.168.0.8"},
                   kWeb),
              "accept 192.168.0.8:80");
    EXPECT_EQ(fate({"-t nat -A PREROUTING -j ACCEPT", "-t nat -A PREROUTING -j DROP"}, kWeb),
              "accept 203.0.113.10:80");
}

// Only a connection's first packet meets table nat; the others are translated as it was.
TEST(PacketWalk, DropsInNatOnlyFirstPackets)
{
    const Lines drop = {"-t nat -A PREROUTING -p tcp --dport 80 -j DROP"};
    EXPECT_EQ(fate(drop, kWeb), "drop");
    EXPECT_EQ(walk(rules(drop), kWeb).hook, std::nullopt);
    EXPECT_EQ(fate(drop, kWeb + " established"), "accept 203.0.113.10:80");
    const Lines forward = {"-t nat -A PREROUTING -p tcp --dport 80 -j DNAT --to 192.168.0.20"};
    EXPECT_EQ(fate(forward, kWeb + " established"), "accept 192.168.0.20:80");
    EXPECT_EQ(fate(forward, kWeb + " invalid"), "accept 203.0.113.10:80");
    EXPECT_EQ(fate(forward, kWeb + " reply for=192.168.0.5:3000"), "accept 192.168.0.5:3000");
}

TEST(PacketWalk, TranslatesTheSourceLast)
{
    const packets::RuleSet set = rules({"-P FORWARD DROP", "-A FORWARD -s 192.168.0.5 -j ACCEPT",
                                        "-t nat -A POSTROUTING -o ppp0 -j MASQUERADE"});
    const packets::Walk way = walk(set, "udp 192.168.0.5:53 -> 198.51.100.7:53", Side::kLan);
    EXPECT_EQ(way.verdict, Verdict::kAccept);
    EXPECT_EQ(packets::address_text(way.from.address), "203.0.113.10");
    const packets::RuleSet snat = rules({"-t nat -A POSTROUTING -j SNAT --to-source 192.168.0.1"});
    EXPECT_EQ(
        packets::address_text(walk(snat, "udp 192.168.0.5 -> 198.51.100.7:53", Side::kLan).from.address),
        "192.168.0.1");
}

TEST(PacketWalk, MarksTriggeredPorts)
{
    packets::Network triggered = network();
    triggered.triggers = packets::parse_triggers(
        "0\nbr0 udp 6970 ppp0 udp 6971-6999\nbr0 tcp 1 ppp0 both 7000\nbr0 x y ppp0 icmp 1\n");
    ASSERT_EQ(triggered.triggers.size(), 2U);
    const packets::RuleSet set =
        rules({"-P INPUT DROP", "-t nat -A PREROUTING -d ! 192.168.0.1 -j PNAT --set-mark 0x2511",
               "-A INPUT -m mark --mark 0x2511 -j ACCEPT"});
    const auto verdict = [&](const std::string &text, Side from) {
        return packets::walk(set, triggered, packet(text, from)).verdict;
    };
    EXPECT_EQ(verdict("udp -> :6971", Side::kWan), Verdict::kDrop);
    EXPECT_EQ(verdict("udp -> :6971 triggered", Side::kWan), Verdict::kAccept);
    EXPECT_EQ(verdict("udp -> :6970 triggered", Side::kWan), Verdict::kDrop);
    EXPECT_EQ(verdict("tcp -> :7000 triggered", Side::kWan), Verdict::kAccept);
    EXPECT_EQ(verdict("udp 192.168.0.5 -> 203.0.113.10:6971 triggered", Side::kLan), Verdict::kDrop);
}

TEST(PacketWalk, HasThePlatformMarkWebTrafficThatWasRedirected)
{
    const packets::RuleSet set =
        rules({"-P INPUT DROP", "-t nat -A PREROUTING -p tcp --dport 8443 -j DNAT --to 192.168.0.1:80",
               "-A INPUT -m mark --mark 0x2643 -d 192.168.0.1 -p tcp --dport 80 -j ACCEPT"});
    EXPECT_EQ(walk(set, "tcp -> :8443").verdict, Verdict::kAccept);
    EXPECT_TRUE(walk(set, "tcp -> :8443").asked.web_mark);
    EXPECT_EQ(walk(set, "tcp -> :8443 mark=none").verdict, Verdict::kDrop);
    EXPECT_EQ(walk(set, "tcp -> 192.168.0.1:80").verdict, Verdict::kDrop);
}

TEST(PacketWalk, RoutesAsTheKernelDoes)
{
    const packets::RuleSet none = rules({});
    EXPECT_EQ(walk(none, "udp 198.51.100.7 -> 192.168.0.5:1").out, Side::kLan);
    EXPECT_EQ(walk(none, "udp 192.168.0.5 -> 198.51.100.7:1", Side::kLan).out, Side::kWan);
    EXPECT_EQ(walk(none, "udp 0.0.0.0:68 -> 255.255.255.255:67", Side::kLan).out, Side::kRouter);
    EXPECT_EQ(walk(none, "udp 192.168.0.5 -> 192.168.0.255:137", Side::kLan).out, Side::kRouter);
    EXPECT_EQ(walk(none, "udp 192.168.0.5 -> 239.255.255.250:1900", Side::kLan).out, Side::kRouter);
    EXPECT_EQ(walk(none, "udp 203.0.113.10 -> 192.168.0.5:1").reason,
              "routing: the source is an address of the router");
    EXPECT_EQ(walk(none, "udp 127.0.0.1 -> 203.0.113.10:1").reason,
              "routing: the source is a loopback address");
    EXPECT_EQ(walk(none, "udp 198.51.100.7 -> 127.0.0.1:1").reason,
              "routing: the destination is a loopback address");
    packets::Network off = network();
    off.forwards = false;
    EXPECT_EQ(packets::walk(none, off, packet("udp 192.168.0.5 -> 198.51.100.7:1", Side::kLan)).reason,
              "routing: forwarding is switched off");
    packets::Network tunnels = network();
    tunnels.routes = {{packets::net_of(0x0a010000, 16), Side::kTunnel}};
    EXPECT_EQ(packets::walk(none, tunnels, packet("udp 192.168.0.5 -> 10.1.2.3:1", Side::kLan)).out,
              Side::kTunnel);
}

TEST(PacketWalk, BeginsWithOutputAtTheRouter)
{
    const packets::RuleSet set = rules({"-P OUTPUT DROP", "-A OUTPUT -o ppp0 -j ACCEPT"});
    EXPECT_EQ(walk(set, "udp -> 198.51.100.7:53", Side::kRouter).hook, Hook::kOutput);
    EXPECT_EQ(walk(set, "udp -> 198.51.100.7:53", Side::kRouter).verdict, Verdict::kAccept);
    EXPECT_EQ(walk(set, "udp -> 192.168.0.5:53", Side::kRouter).verdict, Verdict::kDrop);
}

// A host of the LAN that asks for the forwarded port of the router is sent to a neighbour.
TEST(PacketWalk, SaysWhenNoAnswerFindsItsWay)
{
    const packets::RuleSet set =
        rules({"-t nat -A PREROUTING -d 203.0.113.10 -p tcp --dport 80 -j DNAT --to 192.168.0.20"});
    EXPECT_EQ(walk(set, "tcp 192.168.0.5 -> 203.0.113.10:80", Side::kLan).notes.size(), 1U);
    EXPECT_TRUE(walk(set, kWeb).notes.empty());
}

TEST(PacketWalk, GivesTheOriginOfTheNearestRuleThatHasOne)
{
    packets::RuleSet set = rules({"-N A", "-N B", "-A INPUT -j A", "-A A -j B", "-A B -j DROP"});
    packets::set_origins(set, {{}, {}, {}, {"fw_block_keyword", 2}, {}});
    EXPECT_EQ(walk(set, kWeb).origin, (packets::Origin{"fw_block_keyword", 2}));
    EXPECT_EQ(walk(set, kWeb).decided->text, "-A B -j DROP");
}

// ---- the text of packets --------------------------------------------------------------------------------

std::string mistake(const std::string &text)
{
    try {
        (void)packets::parse_packet(text, network(), std::nullopt);
        return "";
    } catch (const packets::Error &error) {
        const std::string what = error.what();
        return what.substr(0, what.find(';'));
    }
}

TEST(PacketText, ReadsBackWhatItWrites)
{
    for (const std::string text :
         {"tcp 198.51.100.7:1 -> 203.0.113.10:80 schedule=off",
          "tcp 1.2.3.4:5 -> 6.7.8.9:10 psh ack reply for=192.168.0.5:7 schedule=on",
          "icmp 1.2.3.4 -> 6.7.8.9 type=3 code=4 related schedule=off",
          "99 1.2.3.4 -> 6.7.8.9 invalid schedule=off over scan",
          "udp 1.2.3.4:5 -> 6.7.8.9:10 schedule=off triggered mark=none payload=two words\\n"}) {
        const packets::Packet read = packet(text);
        EXPECT_EQ(packets::packet_text(read), text);
        EXPECT_EQ(packet(packets::packet_text(read)), read);
    }
}

TEST(PacketText, FillsInWhatIsLeftOut)
{
    const packets::PacketText filled = packets::parse_packet("tcp -> :443", network(), std::nullopt);
    EXPECT_EQ(packets::packet_text(filled.packet), "tcp 198.51.100.7:40000 -> 203.0.113.10:443 schedule=off");
    EXPECT_EQ(filled.filled,
              (Lines{"from 198.51.100.7, a host outside", "to 203.0.113.10, the router's own address"}));
    EXPECT_EQ(packets::packet_text(packet("udp -> :53", Side::kLan)),
              "udp 192.168.0.100:40000 -> 192.168.0.1:53 schedule=off");
    EXPECT_EQ(packets::packet_text(packet("udp -> 8.8.8.8:53", Side::kRouter)),
              "udp 203.0.113.10:40000 -> 8.8.8.8:53 schedule=off");
    EXPECT_EQ(packets::parse_packet("udp 192.168.0.9 -> router:53", network(), std::nullopt).packet.from,
              Side::kLan);
}

TEST(PacketText, RefusesWhatIsNoPacket)
{
    EXPECT_EQ(mistake(""), "packet \"\": empty");
    EXPECT_EQ(mistake("tcq -> :1"), "packet \"tcq -> :1\": no protocol \"tcq\"");
    EXPECT_EQ(mistake("tcp 1.2.3.4"), "packet \"tcp 1.2.3.4\": no \"->\" behind one source");
    EXPECT_EQ(mistake("tcp 1.2.3 -> :1"), "packet \"tcp 1.2.3 -> :1\": \"1.2.3\" is no address");
    EXPECT_EQ(mistake("tcp -> :70000"), "packet \"tcp -> :70000\": \"70000\" is no port of tcp");
    EXPECT_EQ(mistake("gre -> :1"), "packet \"gre -> :1\": \"1\" is no port of gre");
    EXPECT_EQ(mistake("tcp -> 1.2.3.4"), "packet \"tcp -> 1.2.3.4\": no port to go to");
    EXPECT_EQ(
        mistake("tcp -> :1 quickly"),
        "packet \"tcp -> :1 quickly\": no word \"quickly\": there are syn, ack, fin, rst, psh, urg, new, "
        "established, related, invalid, reply, for=ADDRESS:PORT, type=N and code=N (of icmp), payload=TEXT, "
        "schedule=on, schedule=off, over, scan, triggered and mark=none");
    EXPECT_TRUE(mistake("udp -> schedule")
                    .starts_with("packet \"udp -> schedule\": no word \"schedule\": there are "));
    EXPECT_EQ(mistake("udp -> :1 syn"), "packet \"udp -> :1 syn\": TCP flags for udp");
    EXPECT_TRUE(mistake("udp -> :1 type=8").starts_with("packet \"udp -> :1 type=8\": no word \"type=8\": "));
}

}  // namespace
