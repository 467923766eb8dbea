// Questions about all packets at once, on small rule sets.

#include "bench/packets/reach.h"

#include <gtest/gtest.h>

#include "tests/packets/rules_for_tests.h"

namespace {

using filter_tests::network;
using filter_tests::packet;
using filter_tests::rules;
using packets::RuleSet;
using packets::Side;
using packets::Space;

using Lines = std::vector<std::string>;

std::string text(const packets::Row &row)
{
    std::string line =
        row.protocol + " | " + row.ports + " | " + row.from + " | " + row.asked + " | " + row.to;
    for (const std::string &when : row.when) {
        line += " | when " + when;
    }
    for (const std::string &unless : row.unless) {
        line += " | unless " + unless;
    }
    return line;
}

// What is let in from a side.
Lines let_in(const RuleSet &set, Side side = Side::kWan)
{
    const Space space(packets::texts_of({&set}));
    const auto pieces = packets::flow(space, set, network(), packets::new_connections(space, side));
    Lines lines;
    for (const packets::Row &row : packets::rows_of(space, network(), pieces)) {
        if (row.verdict == packets::Verdict::kAccept) {
            lines.push_back(text(row));
        }
    }
    return lines;
}

const Lines kClosed = {"-P INPUT DROP", "-P FORWARD DROP"};

Lines closed_and(const Lines &more)
{
    Lines lines = kClosed;
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

TEST(Reach, FindsNothingWhereAllIsDropped)
{
    EXPECT_EQ(let_in(rules(kClosed)), Lines());
}

TEST(Reach, ListsPortsAndSources)
{
    EXPECT_EQ(
        let_in(rules(closed_and({"-A INPUT -p tcp --dport 22 -s 198.51.100.0/24 -d 203.0.113.10 -j ACCEPT",
                                 "-A INPUT -p udp --dport 1000:2000 -d 203.0.113.10 -j ACCEPT"}))),
        (Lines{"tcp | 22 | 198.51.100.0/24 | 203.0.113.10 | the router",
               "udp | 1000-2000 | any | 203.0.113.10 | the router"}));
}

TEST(Reach, ListsTypesOfIcmp)
{
    EXPECT_EQ(
        let_in(rules(closed_and({"-A INPUT -p icmp --icmp-type echo-request -d 203.0.113.10 -j ACCEPT"}))),
        (Lines{"icmp | type 8 | any | 203.0.113.10 | the router"}));
}

TEST(Reach, FollowsTranslations)
{
    EXPECT_EQ(let_in(rules(closed_and(
                  {"-t nat -A PREROUTING -d 203.0.113.10 -p tcp --dport 80 -j DNAT --to 192.168.0.20:8080",
                   "-A FORWARD -d 192.168.0.20 -p tcp --dport 8080 -i ppp0 -j ACCEPT"}))),
              (Lines{"tcp | 80 | any | 203.0.113.10 | 192.168.0.20:8080",
                     "tcp | 8080 | any | 192.168.0.20 | the LAN"}));
}

TEST(Reach, NamesCircumstances)
{
    EXPECT_EQ(let_in(rules(closed_and({"-A INPUT -m psd -j DROP",
                                       "-A INPUT -p tcp --dport 22 -d 203.0.113.10 -m limit --limit 1/s -m "
                                       "condition --condition schedule -j ACCEPT"}))),
              (Lines{"tcp | 22 | any | 203.0.113.10 | the router | when schedule | unless over the limit | "
                     "unless scan seen"}));
}

TEST(Reach, SaysWhatIsLeftOutWhereThatIsShorter)
{
    EXPECT_EQ(
        let_in(rules(closed_and({"-A INPUT -s 198.51.100.7 -j DROP", "-A INPUT -p tcp --dport 80 -j DROP",
                                 "-A INPUT -p tcp -d 203.0.113.10 -j ACCEPT"}))),
        (Lines{"tcp | all but 80 | all but 198.51.100.7 | 203.0.113.10 | the router"}));
}

// ---- differences ----------------------------------------------------------------------------------------

struct Changed {
    Lines opened, closed, moved;
};

Changed changed(const Lines &before, const Lines &after)
{
    const RuleSet old = rules(before);
    const RuleSet now = rules(after);
    const Space space(packets::texts_of({&old, &now}));
    const packets::Set asked = packets::new_connections(space, Side::kWan);
    const packets::Difference difference =
        packets::difference(space, network(), packets::flow(space, old, network(), asked),
                            packets::flow(space, now, network(), asked));
    Changed lines;
    for (const packets::Row &row : difference.opened) {
        lines.opened.push_back(text(row));
    }
    for (const packets::Row &row : difference.closed) {
        lines.closed.push_back(text(row));
    }
    for (const packets::Row &row : difference.moved) {
        lines.moved.push_back(text(row));
    }
    return lines;
}

const std::string kForward = "-t nat -A PREROUTING -d 203.0.113.10 -p tcp --dport 80 -j DNAT --to ";

TEST(ReachDifference, IsEmptyForTheSameFilterWrittenOtherwise)
{
    const Changed lines = changed(
        {"-P INPUT DROP", "-A INPUT -p tcp --dport 80:81 -j ACCEPT"},
        {"-P INPUT DROP", "-A INPUT -p tcp --dport 81 -j ACCEPT", "-A INPUT -p tcp --dport 80 -j ACCEPT"});
    EXPECT_TRUE(lines.opened.empty() && lines.closed.empty() && lines.moved.empty());
}

TEST(ReachDifference, HasWhatOpensAndCloses)
{
    const Changed lines = changed({"-P INPUT DROP", "-A INPUT -p tcp --dport 80 -d 203.0.113.10 -j ACCEPT"},
                                  {"-P INPUT DROP", "-A INPUT -p tcp --dport 81 -d 203.0.113.10 -j ACCEPT"});
    EXPECT_EQ(lines.opened, (Lines{"tcp | 81 | any | 203.0.113.10 | the router"}));
    EXPECT_EQ(lines.closed, (Lines{"tcp | 80 | any | 203.0.113.10 | "}));
}

TEST(ReachDifference, HasWhatGoesElsewhere)
{
    const Changed lines = changed({kForward + "192.168.0.20"}, {kForward + "192.168.0.21"});
    EXPECT_EQ(lines.moved, (Lines{"tcp | 80 | any | 203.0.113.10 | 192.168.0.21:80"}));
    EXPECT_TRUE(lines.opened.empty() && lines.closed.empty());
}

TEST(ReachDifference, KnowsATranslationToTheSamePlace)
{
    EXPECT_TRUE(changed({}, {kForward + "203.0.113.10:80"}).moved.empty());
}

// ---- sentences ------------------------------------------------------------------------------------------

// "" holds, else the packet that breaks it.
std::string broken(const std::string &sentence, const Lines &lines, const packets::Origin &origin = {})
{
    RuleSet set = rules(lines);
    packets::set_origins(set, std::vector<packets::Origin>(lines.size(), origin));
    const Space space(packets::texts_of({&set}));
    const packets::Sentence read = packets::parse_sentence(sentence);
    const auto pieces = packets::flow(space, set, network(), packets::new_connections(space, read.from));
    const packets::Set breaking = packets::broken_by(read, space, network(), pieces);
    return breaking.empty() ? "" : packets::packet_text(space.example(breaking, network()));
}

TEST(ReachSentence, NeverIsAboutWherePacketsEnd)
{
    const Lines forward = {kForward + "192.168.0.20"};
    EXPECT_EQ(broken("never wan -> router:80", {"-P FORWARD DROP", "-P INPUT DROP", forward[0]}), "");
    EXPECT_EQ(broken("never wan -> 192.168.0.20", forward),
              "tcp 198.51.100.7:40000 -> 203.0.113.10:80 schedule=off");
    EXPECT_EQ(broken("never wan -> lan:80 udp", {"-P FORWARD DROP", "-A FORWARD -p tcp -j ACCEPT"}), "");
    EXPECT_NE(broken("never wan -> lan:79-80 tcp", {"-P FORWARD DROP", "-A FORWARD -p tcp -j ACCEPT"}), "");
}

TEST(ReachSentence, TakesNetsAndConditions)
{
    const Lines open = {"-P FORWARD DROP", "-A FORWARD -s 10.0.0.0/8 -j ACCEPT"};
    EXPECT_EQ(broken("never wan 192.168.0.0/16 198.51.100.1-198.51.100.9 -> lan", open), "");
    EXPECT_NE(broken("never wan 10.0.0.0/8 -> lan", open), "");
    EXPECT_EQ(broken("never wan -> lan unless by fw_dmz_enable, by fw_in_rules", open, {"fw_in_rules", 1}),
              "");
    EXPECT_NE(broken("never wan -> lan unless by fw_dmz_enable", open, {"fw_in_rules", 1}), "");
    EXPECT_EQ(packets::parse_sentence("never wan -> lan unless fw_disable=1, by fw_dmz").unless.size(), 2U);
}

TEST(ReachSentence, AlwaysIsAboutWherePacketsAreSent)
{
    EXPECT_EQ(broken("always lan -> router:53 udp", {"-P INPUT DROP", "-A INPUT -i br0 -j ACCEPT"}), "");
    EXPECT_EQ(broken("always lan -> router:53 udp", {"-A INPUT -s 192.168.0.77 -j DROP"}),
              "udp 192.168.0.77:40000 -> 192.168.0.1:53 schedule=off");
    EXPECT_EQ(broken("always lan 0.0.0.0 -> 255.255.255.255:67 udp",
                     {"-P INPUT DROP", "-A INPUT -i br0 -j ACCEPT"}),
              "");
}

TEST(ReachSentence, LeavesOutWhatOnlyRunTimeKnows)
{
    const Lines lines = {"-P INPUT DROP", "-A INPUT -m psd -j DROP",
                         "-A INPUT -p tcp -m limit --limit 1/s -m condition --condition schedule -j ACCEPT"};
    const std::string sentence = "always wan -> 203.0.113.10:80 tcp";  // of sources that the kernel takes
    EXPECT_NE(broken("always wan 127.0.0.1 -> 203.0.113.10:80 tcp unless over, scan, schedule=off", lines),
              "");
    EXPECT_NE(broken(sentence, lines), "");
    EXPECT_NE(broken(sentence + " unless over, scan", lines), "");
    EXPECT_EQ(broken(sentence + " unless over, scan, schedule=off", lines), "");
    EXPECT_EQ(broken(sentence + " unless over the limit or scan seen, schedule=off", lines), "");
    EXPECT_NE(broken("never wan -> router:80", lines), "");
    EXPECT_EQ(broken("never wan -> router:80 unless schedule=on", lines), "");
}

std::string mistake(const std::string &sentence)
{
    try {
        (void)packets::parse_sentence(sentence);
        return "";
    } catch (const packets::Error &error) {
        const std::string what = error.what();
        const size_t start = what.find("\": ") + 3;
        return what.substr(start, what.find(';') - start);
    }
}

TEST(ReachSentence, RefusesWhatIsNone)
{
    EXPECT_EQ(mistake("wan -> lan"), "\"never\" or \"always\" comes first");
    EXPECT_EQ(mistake("never dmz -> lan"), "\"dmz\" is no side");
    EXPECT_EQ(mistake("never wan"), "\"->\" is missing");
    EXPECT_EQ(mistake("never wan ->"), "a place is missing");
    EXPECT_EQ(mistake("never wan 10.0.0.0/33 -> lan"), "\"10.0.0.0/33\" is no address, subnet or range");
    EXPECT_EQ(mistake("never wan -> lan:99999"), "\"99999\" is no port or range of ports");
    EXPECT_EQ(mistake("never wan -> lan tcq"), "\"tcq\" is no protocol");
    EXPECT_EQ(mistake("never wan -> lan unless"), "conditions come behind \"unless\"");
    EXPECT_EQ(
        mistake("never wan -> lan unless fw_dmz"),
        "\"fw_dmz\" is no condition: there are by KEY, KEY=VALUE, over, scan, triggered, schedule=on and "
        "schedule=off");
    EXPECT_EQ(mistake("never wan -> lan unless over the moon"),
              "\"the\" is no condition: there are by KEY, KEY=VALUE, over, scan, triggered, schedule=on and "
              "schedule=off");
}

// ---- lines that nothing needs ---------------------------------------------------------------------------

Lines idle(const Lines &lines)
{
    const RuleSet set = rules(lines);
    const Space space(packets::texts_of({&set}));
    const char *const kinds[] = {"never", "shadowed", "no traffic", "redundant"};
    Lines found;
    for (const packets::IdleLine &line : packets::idle_lines(space, set, network())) {
        std::string whole = std::string(kinds[static_cast<size_t>(line.kind)]) + ": " + line.rule->text;
        for (const packets::Rule *rule : line.covered_by) {
            whole += " < " + rule->text;
        }
        found.push_back(whole + (line.policy.empty() ? "" : " < " + line.policy));
    }
    return found;
}

TEST(IdleLines, AreShadowedByThoseBefore)
{
    EXPECT_EQ(
        idle({"-P INPUT DROP", "-A INPUT -p tcp --dport 1:100 -j ACCEPT",
              "-A INPUT -p tcp --dport 80 -j ACCEPT"}),
        (Lines{"shadowed: -A INPUT -p tcp --dport 80 -j ACCEPT < -A INPUT -p tcp --dport 1:100 -j ACCEPT"}));
}

TEST(IdleLines, NeverMatchOrGetNoTraffic)
{
    EXPECT_EQ(idle({"-A INPUT -s ! 0.0.0.0/0 -j DROP", "-N A", "-A A -p tcp -j DROP"}),
              (Lines{"never: -A INPUT -s ! 0.0.0.0/0 -j DROP", "no traffic: -A A -p tcp -j DROP"}));
}

TEST(IdleLines, AreRedundantWhereTheNextDoesTheSame)
{
    EXPECT_EQ(idle({"-P INPUT DROP", "-A INPUT -p tcp --dport 80 -j ACCEPT", "-A INPUT -p tcp -j ACCEPT"}),
              (Lines{"redundant: -A INPUT -p tcp --dport 80 -j ACCEPT < -A INPUT -p tcp -j ACCEPT"}));
    EXPECT_EQ(idle({"-P INPUT DROP", "-A INPUT -p tcp -j DROP"}),
              (Lines{"redundant: -A INPUT -p tcp -j DROP < policy of INPUT"}));
    EXPECT_EQ(idle({"-P INPUT DROP", "-A INPUT -p tcp -j ACCEPT", "-A INPUT -j LOG"}), Lines());
}

TEST(IdleLines, OfNatAreShadowed)
{
    EXPECT_EQ(idle({kForward + "192.168.0.20", kForward + "192.168.0.21"}),
              (Lines{"shadowed: " + kForward + "192.168.0.21 < " + kForward + "192.168.0.20"}));
}

}  // namespace
