// The router's filter tool, line by line: what it takes, what it refuses, what the model does not know.

#include "bench/packets/dialect.h"

#include <gtest/gtest.h>

#include "bench/packets/words.h"
#include "tests/packets/rules_for_tests.h"

namespace {

using filter_tests::rules;
using packets::Action;
using packets::Error;
using packets::Why;

packets::Parsed parsed(const std::string &line)
{
    return packets::parse_command(packets::split_line(line));
}

// The only match of a rule.
template <typename M>
M match(const std::string &words)
{
    const packets::Parsed result = parsed("-A FORWARD " + words);
    EXPECT_TRUE(result.command) << result.reason;
    M found;
    if (result.command) {
        for (const packets::Match &each : result.command->rule.matches) {
            if (const M *wanted = std::get_if<M>(&each)) {
                found = *wanted;
            }
        }
    }
    return found;
}

packets::Target target(const std::string &line)
{
    const packets::Parsed result = parsed(line);
    EXPECT_TRUE(result.command) << result.reason;
    return result.command ? result.command->rule.target : packets::Target();
}

std::string reason(const std::string &line)
{
    const packets::Parsed result = parsed(line);
    return result.command ? "taken" : result.reason;
}

TEST(FilterDialect, ReadsInterfaces)
{
    EXPECT_EQ(match<packets::InterfaceMatch>("-i br0"), (packets::InterfaceMatch{false, "br0", false}));
    EXPECT_EQ(match<packets::InterfaceMatch>("-o ppp0"), (packets::InterfaceMatch{true, "ppp0", false}));
    EXPECT_EQ(match<packets::InterfaceMatch>("-i ! ppp0"), (packets::InterfaceMatch{false, "ppp0", true}));
    EXPECT_EQ(match<packets::InterfaceMatch>("! -i ppp+"), (packets::InterfaceMatch{false, "ppp+", true}));
}

TEST(FilterDialect, ReadsAddresses)
{
    EXPECT_EQ(match<packets::AddressMatch>("-s 192.168.0.2"),
              (packets::AddressMatch{false, {0xc0a80002, ~0U}, false}));
    EXPECT_EQ(match<packets::AddressMatch>("-d ! 192.168.0.0/24"),
              (packets::AddressMatch{true, {0xc0a80000, 0xffffff00}, true}));
    EXPECT_EQ(match<packets::AddressMatch>("-s 10.1.2.3/255.255.0.0"),
              (packets::AddressMatch{false, {0x0a010000, 0xffff0000}, false}));
    EXPECT_EQ(match<packets::AddressMatch>("-s   0.0.0.0/0"), (packets::AddressMatch{false, {0, 0}, false}));
    EXPECT_EQ(match<packets::AddressMatch>("-s 010.0x10.0.1").net.address, 0x08100001U);
    EXPECT_EQ(match<packets::RangeMatch>("-m iprange ! --src-range 10.0.0.1-10.0.0.9"),
              (packets::RangeMatch{false, 0x0a000001, 0x0a000009, true}));
    EXPECT_EQ(match<packets::RangeMatch>("-m iprange --dst-range 10.0.0.1"),
              (packets::RangeMatch{true, 0x0a000001, 0x0a000001, false}));
}

TEST(FilterDialect, ReadsProtocolsAndPorts)
{
    EXPECT_EQ(match<packets::ProtocolMatch>("-p ! icmp"), (packets::ProtocolMatch{1, true}));
    EXPECT_EQ(match<packets::ProtocolMatch>("-p esp"), (packets::ProtocolMatch{50, false}));
    EXPECT_EQ(match<packets::ProtocolMatch>("-p 47"), (packets::ProtocolMatch{47, false}));
    EXPECT_EQ(match<packets::PortMatch>("-p tcp --dport 20:21"), (packets::PortMatch{true, 20, 21, false}));
    EXPECT_EQ(match<packets::PortMatch>("-p udp --sport ! 53"), (packets::PortMatch{false, 53, 53, true}));
    EXPECT_EQ(match<packets::PortMatch>("-p tcp --dport :1023"), (packets::PortMatch{true, 0, 1023, false}));
    EXPECT_EQ(match<packets::PortMatch>("-p tcp --dport 1024:"),
              (packets::PortMatch{true, 1024, 65535, false}));
    EXPECT_EQ(match<packets::IcmpMatch>("-p icmp --icmp-type echo-request"),
              (packets::IcmpMatch{8, 0, 255, false}));
    EXPECT_EQ(match<packets::IcmpMatch>("-p icmp --icmp-type 3/4"), (packets::IcmpMatch{3, 4, 4, false}));
}

TEST(FilterDialect, ReadsTcpFlags)
{
    using packets::kAck, packets::kFin, packets::kPsh, packets::kRst, packets::kSyn, packets::kAllFlags;
    EXPECT_EQ(match<packets::FlagMatch>("-p tcp --syn"),
              (packets::FlagMatch{kSyn | kRst | kAck | kFin, kSyn, false}));
    EXPECT_EQ(match<packets::FlagMatch>("-p tcp --tcp-flags SYN,RST SYN"),
              (packets::FlagMatch{kSyn | kRst, kSyn, false}));
    EXPECT_EQ(match<packets::FlagMatch>("-p tcp --tcp-flags ALL PSH,ACK"),
              (packets::FlagMatch{kAllFlags, kPsh | kAck, false}));
}

TEST(FilterDialect, ReadsTheOtherMatches)
{
    EXPECT_EQ(match<packets::StateMatch>("-m state --state ESTABLISHED,RELATED"),
              (packets::StateMatch{packets::kEstablished | packets::kRelated, false}));
    EXPECT_EQ(match<packets::LimitMatch>("-m limit --limit 5/s --limit-burst 60"),
              (packets::LimitMatch{"5/s", 60}));
    EXPECT_EQ(match<packets::StringMatch>("-m string --string GET"), (packets::StringMatch{"GET", false}));
    EXPECT_EQ(match<packets::MarkMatch>("-m mark --mark 0x2511"), (packets::MarkMatch{0x2511, ~0U, false}));
    EXPECT_EQ(match<packets::MarkMatch>("-m mark --mark 0x1/0x3"), (packets::MarkMatch{1, 3, false}));
    EXPECT_EQ(match<packets::ScheduleMatch>("-m condition ! --condition schedule"),
              (packets::ScheduleMatch{true}));
    EXPECT_EQ(match<packets::ScheduleMatch>("-m condition --condition schedule"),
              (packets::ScheduleMatch{false}));
    EXPECT_EQ(parsed("-A DOS -m psd -j DROP").command->rule.matches,
              (std::vector<packets::Match>{packets::ScanMatch{}}));
}

TEST(FilterDialect, ReadsTargets)
{
    EXPECT_EQ(target("-A X -j ACCEPT").action, Action::kAccept);
    EXPECT_EQ(target("-A X -j DROP").action, Action::kDrop);
    EXPECT_EQ(target("-A X -j RETURN").action, Action::kReturn);
    EXPECT_EQ(target("-A X -p tcp -j REJECT --reject-with http-block").reject, "http-block");
    EXPECT_EQ(target("-A X -j LOG --log-level 4 --log-prefix \"[DOS] \"").prefix, "[DOS] ");
    EXPECT_EQ(target("-A X -p tcp -j TCPMSS --clamp-mss-to-pmtu").action, Action::kTcpmss);
    EXPECT_EQ(target("-t nat -A X -j PNAT --set-mark 0x2511").mark, 0x2511U);
    EXPECT_EQ(target("-t nat -A X -j MASQUERADE").action, Action::kMasquerade);
    EXPECT_EQ(target("-t nat -A X -p tcp -j REDIRECT --to-ports 80").first_port, 80);
    EXPECT_EQ(target("-t nat -A X -j SNAT --to-source 10.0.0.1").first, 0x0a000001U);
    EXPECT_EQ(target("-A X -j OTHER").chain, "OTHER");
    EXPECT_EQ(target("-A X").action, Action::kNothing);
    const packets::Target dnat = target("-t nat -A X -p tcp -j DNAT --to 192.168.0.2-192.168.0.9:20-21");
    EXPECT_EQ(dnat.first, 0xc0a80002U);
    EXPECT_EQ(dnat.last, 0xc0a80009U);
    EXPECT_EQ(dnat.first_port, 20);
    EXPECT_EQ(dnat.last_port, 21);
    EXPECT_FALSE(target("-t nat -A X -p tcp -j DNAT --to :80").maps_address);
}

// An empty field makes the tool take the next option for the value.
TEST(FilterDialect, RefusesEmptyFields)
{
    EXPECT_EQ(reason("-I MINIUPNPD -t nat -i !  -j RETURN"), "\"RETURN\" is a word too many");
    EXPECT_EQ(reason("-A PRE_BASIC -t nat -i  -d !  -j DROP"), "\"!\" before -j");
    EXPECT_EQ(reason("-A LOCAL_SERVICE -m mark --mark 0x2643 -d  -p tcp --dport 80 -j ACCEPT"),
              "\"-p\" is no address");
    EXPECT_EQ(reason("-t nat -A POSTROUTING -o  -j MASQUERADE"), "\"MASQUERADE\" is a word too many");
    EXPECT_EQ(reason("-t nat -A VS -p tcp -j DNAT --to"), "the last option has no value");
    EXPECT_EQ(reason("-A HTTP -m string --string  -j BLOCK"), "\"BLOCK\" is a word too many");
}

TEST(FilterDialect, RefusesWhatIsNoValue)
{
    EXPECT_EQ(reason("-A X -s router.example"),
              "\"router.example\" is no address (host names are not looked up)");
    EXPECT_EQ(reason("-A X -s 1.2.3.4-1.2.3.9"), "\"1.2.3.4-1.2.3.9\" is no address");
    EXPECT_EQ(reason("-A X -s 1.2.3.256"), "\"1.2.3.256\" is no address");
    EXPECT_EQ(reason("-A X -s 1.2.3.4/33"), "\"33\" is no network mask");
    EXPECT_EQ(reason("-A X -p tcp --dport 70000"), "\"70000\" is no port");
    EXPECT_EQ(reason("-A X -p tcp --dport 21:20"), "the ports 21:20 run backwards");
    EXPECT_EQ(reason("-A X -p tcp --dport -1:5"), "\"-1\" is no port");
    EXPECT_EQ(reason("-t nat -A X -p tcp -j DNAT --to 10.0.0.1:0-0"), "\"0\" is no port to translate to");
    EXPECT_EQ(reason("-t nat -A X -j DNAT --to 10.0.0.1:80"), "a port without -p tcp or -p udp");
    EXPECT_EQ(reason("-t nat -A X -j DNAT --to 192.168.0.0/24"), "\"192.168.0.0/24\" is no address");
    EXPECT_EQ(reason("-A X -m limit --limit 5/fortnight"), "\"5/fortnight\" is no rate");
    EXPECT_EQ(reason("-A X -m string --string two words -j DROP"), "\"words\" is a word too many");
    EXPECT_EQ(reason("-A X -i an-interface-name"), "\"an-interface-name\" is no interface name");
}

TEST(FilterDialect, RefusesWordsOutOfPlace)
{
    EXPECT_EQ(reason("-A X --dport 80"), "--dport without its match or target");
    EXPECT_EQ(reason("-A X -p ! tcp --dport 80"), "--dport without its match or target");
    EXPECT_EQ(reason("-A X -j ACCEPT -j DROP"), "-j is given twice");
    EXPECT_EQ(reason("-A X -s 1.1.1.1 -s 2.2.2.2"), "-s is given twice");
    EXPECT_EQ(reason("-A X -m state -j ACCEPT"), "-m state without its option");
    EXPECT_EQ(reason("-A X ! ! -i br0"), "two \"!\" for one option");
    EXPECT_EQ(reason("-A PREROUTING -o br0"), "-o in chain PREROUTING");
    EXPECT_EQ(reason("-A POSTROUTING -i br0"), "-i in chain POSTROUTING");
    EXPECT_EQ(reason("-A INPUT -j DNAT --to 10.0.0.1"), "DNAT outside table nat");
    EXPECT_EQ(reason("-t nat -A PREROUTING -j MASQUERADE"), "MASQUERADE in chain PREROUTING");
    EXPECT_EQ(reason("-t nat -A X -j REJECT"), "REJECT outside table filter");
    EXPECT_EQ(reason("-t nat -A X -j DNAT"), "DNAT without --to");
    EXPECT_EQ(reason("-i br0"), "no command");
    EXPECT_EQ(reason("-P INPUT RETURN"), "\"RETURN\" is no policy");
}

TEST(FilterDialect, RefusesLongLogPrefixes)
{
    EXPECT_EQ(parsed("-A X -j LOG --log-prefix \"[ABCDEFGHIJKLM rule not match] \"").why, Why::kLongPrefix);
    EXPECT_TRUE(parsed("-A X -j LOG --log-prefix \"[ABCDEFGHIJKL rule not match]\"").command);
}

TEST(FilterDialect, StopsAtWhatItDoesNotKnow)
{
    EXPECT_THROW(parsed("-A X -m nosuchmatch"), Error);
    EXPECT_THROW(parsed("-A X --nosuchoption"), Error);
    EXPECT_THROW(parsed("-A X -m condition --condition weekend"), Error);
    EXPECT_THROW(parsed("-t raw -A PREROUTING -j DROP"), Error);
    try {
        (void)packets::load_rules("iptables -N X\niptables -A X -j NOSUCH\n");
        ADD_FAILURE() << "taken";
    } catch (const Error &error) {
        EXPECT_STREQ(
            error.what(),
            "rules:2: target NOSUCH is not known here, and no chain of table filter: -A X -j NOSUCH");
    }
    EXPECT_THROW(packets::load_rules("reboot\n"), Error);
}

TEST(FilterDialect, KeepsQuotedTextTogether)
{
    EXPECT_EQ(packets::split_line("-A  X\t\"[a  b] \" c"),
              (std::vector<std::string>{"-A", "X", "[a  b] ", "c"}));
    EXPECT_EQ(packets::squeezed("  -A  X   --log-prefix \"[a  b] \"  "), "-A X --log-prefix \"[a  b] \"");
}

// Lines can only come to table mangle by what stands in a setting, and then name a chain of another table.
TEST(FilterDialect, KnowsTheChainsOfTableMangleAlone)
{
    const packets::RuleSet set =
        rules({"-t nat -N DMZ", "-t nat -A DMZ -j DNAT --to 10.0.0.1", "-t nat -A DMZ -p tcp -t mangle",
               "-t mangle -F", "-t mangle -F INPUT", "-t mangle -X", "-t mangle -X DMZ",
               "-A INPUT -t broken -j DROP"});
    std::vector<std::string> refused;
    for (const packets::Refusal &refusal : set.refused) {
        refused.push_back(std::to_string(refusal.line) + " " + refusal.reason);
    }
    EXPECT_EQ(refused,
              (std::vector<std::string>{"3 no chain DMZ in table mangle", "7 no chain DMZ in table mangle",
                                        "8 there is no table broken"}));
    EXPECT_EQ(set.nat.find("DMZ")->rules.size(), 1U);
    EXPECT_THROW(rules({"-t mangle -A FORWARD -j DROP"}), Error);
    EXPECT_THROW(rules({"-t mangle -N DMZ"}), Error);
}

// ---- lines one after the other --------------------------------------------------------------------------

std::vector<std::string> texts(const packets::RuleSet &set, const std::string &chain)
{
    std::vector<std::string> found;
    for (const packets::Rule &rule : set.filter.find(chain)->rules) {
        found.push_back(rule.text);
    }
    return found;
}

TEST(FilterLines, AppendInsertAndDelete)
{
    const packets::RuleSet set =
        rules({"-A INPUT -i lo -j ACCEPT", "-I INPUT -i br0 -j ACCEPT", "-I INPUT 2 -p esp -j ACCEPT",
               "-D INPUT -i lo -j ACCEPT", "-D INPUT 1"});
    EXPECT_EQ(texts(set, "INPUT"), (std::vector<std::string>{"-I INPUT 2 -p esp -j ACCEPT"}));
    EXPECT_TRUE(set.refused.empty());
}

TEST(FilterLines, RefusedOnesTakeNoPartAndTheOthersStand)
{
    const packets::RuleSet set =
        rules({"-A NOSUCH -j ACCEPT", "-X NOSUCH", "-N INPUT", "-D INPUT -i lo", "-A INPUT -s x", "-N A",
               "-A INPUT -j A", "-X A", "-A A -j A", "-P A DROP", "-A INPUT -j ACCEPT"});
    std::vector<size_t> lines;
    for (const packets::Refusal &refusal : set.refused) {
        lines.push_back(refusal.line);
    }
    EXPECT_EQ(lines, (std::vector<size_t>{1, 2, 3, 4, 5, 8, 9, 10}));
    EXPECT_EQ(set.refused[0].why, Why::kMissingChain);
    EXPECT_EQ(set.refused[2].why, Why::kChainInUse);
    EXPECT_EQ(set.refused[3].why, Why::kNoSuchRule);
    EXPECT_EQ(texts(set, "INPUT"), (std::vector<std::string>{"-A INPUT -j A", "-A INPUT -j ACCEPT"}));
}

TEST(FilterLines, FlushKeepsPolicies)
{
    const packets::RuleSet set = rules({"-P INPUT DROP", "-A INPUT -i lo -j ACCEPT", "-F"});
    EXPECT_TRUE(set.filter.find("INPUT")->drops);
    EXPECT_TRUE(texts(set, "INPUT").empty());
}

TEST(FilterLines, ComeFromFilesAndCalls)
{
    packets::Loader loader;
    loader.file("iptables -A INPUT -i lo -j ACCEPT\n");
    loader.call({"/usr/sbin/iptables", "-I", "INPUT", "-p", "esp", "-j", "ACCEPT"});
    EXPECT_THROW(loader.call({"reboot"}), Error);
    const packets::RuleSet set = loader.finish();
    EXPECT_EQ(texts(set, "INPUT"),
              (std::vector<std::string>{"-I INPUT -p esp -j ACCEPT", "-A INPUT -i lo -j ACCEPT"}));
    EXPECT_EQ(set.filter.find("INPUT")->rules[0].line, 2U);
}

}  // namespace
