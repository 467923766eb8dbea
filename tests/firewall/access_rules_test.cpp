// Access rules against a slow, plain restatement of what they mean, over thousands of random lists, whole
// and broken; and the few properties that a comparison of lines cannot show.

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "rc/firewall/internal.h"
#include "rc/firewall/rules.h"
#include "rc/text.h"

namespace {

using Strings = std::vector<std::string>;

// ---- the restatement ------------------------------------------------------------------------------------

// The texts between the separators; a separator at the very end ends the last record, it begins no new one.
Strings records_of(const std::string &list)
{
    Strings records;
    std::string current;
    for (const char c : list) {
        if (c == '\x01') {
            records.push_back(current);
            current.clear();
        } else {
            current += c;
        }
    }
    if (!current.empty()) {
        records.push_back(current);
    }
    return records;
}

struct ModelService {
    std::string name;
    std::string protocol;
    int first = 0;
    int last = 0;
};

struct ModelRule {
    int enable = 0;
    std::string service;
    int action = 0;
    std::string lan;
    std::string wan;
    int log = 0;
};

// Room for any field of any record of these tests.
struct Field {
    std::vector<char> room = std::vector<char>(5000);
    char *data() { return room.data(); }
    std::string cut(size_t width) const { return std::string(room.data()).substr(0, width); }
};

void parse(const std::string &record, ModelService &service)
{
    Field name;
    Field protocol;
    int first = 0;
    int last = 0;
    const int count =
        sscanf(record.c_str(), "%[^:]:%[^:]:%d-%d", name.data(), protocol.data(), &first, &last);
    if (count >= 1) {
        service.name = name.cut(14);
    }
    if (count >= 2) {
        service.protocol = protocol.cut(4);
    }
    if (count >= 3) {
        service.first = first;
    }
    if (count >= 4) {
        service.last = last;
    }
}

void parse(const std::string &record, ModelRule &rule)
{
    Field service;
    Field lan;
    Field wan;
    int enable = 0;
    int action = 0;
    int log = 0;
    const int count = sscanf(record.c_str(), "%d:%[^:]:%d:%[^:]:%[^:]:%d", &enable, service.data(), &action,
                             lan.data(), wan.data(), &log);
    if (count >= 1) {
        rule.enable = enable;
    }
    if (count >= 2) {
        rule.service = service.cut(14);
    }
    if (count >= 3) {
        rule.action = action;
    }
    if (count >= 4) {
        rule.lan = lan.cut(63);
    }
    if (count >= 5) {
        rule.wan = wan.cut(63);
    }
    if (count >= 6) {
        rule.log = log;
    }
}

struct Model {
    std::string user;
    std::string built_in;
    std::string router;
    std::string lines;
    bool needs_built_in = false;

    void line(const char *format, ...) __attribute__((format(printf, 2, 3)))
    {
        char text[1024];
        va_list arguments;
        va_start(arguments, format);
        vsnprintf(text, sizeof text, format, arguments);
        va_end(arguments);
        lines += std::string("iptables ") + text + "\n";
    }

    static bool search(const std::string &list, ModelService &service, const std::string &name)
    {
        for (const std::string &record : records_of(list)) {
            parse(record, service);
            if (service.name == name) {
                return true;
            }
        }
        return false;
    }

    static int form(const std::string &address)
    {
        if (address.find('/') != std::string::npos) {
            return 3;
        }
        return address.find('-') != std::string::npos ? 2 : 1;
    }

    static std::string address_match(int source_form, int destination_form, char mark, const std::string &s,
                                     const std::string &d)
    {
        const std::string m(1, mark);
        if (source_form == 2) {
            if (destination_form == 1) {
                return "-m iprange " + m + " --src-range " + s + " -d " + d + " ";
            }
            if (destination_form == 2) {
                return "-m iprange " + m + " --src-range " + s + " --dst-range " + d + " ";
            }
            return "-m iprange " + m + " --src-range " + s;
        }
        if (destination_form == 1) {
            return "-s " + m + " " + s + " -d " + d;
        }
        if (destination_form == 2) {
            return "-s " + m + " " + s + " -m iprange --dst-range " + d + " ";
        }
        return "-s " + m + " " + s + " ";
    }

    void rule_lines(const ModelRule &rule, const ModelService &service, bool outbound)
    {
        std::string k;
        if (rule.action == 1) {
            k = outbound ? "-m condition --condition schedule " : "-m condition ! --condition schedule ";
        }
        if (rule.action == 3) {
            k = "-m condition --condition schedule ";
        }
        const std::string c = outbound ? "-A OUT_FILTER " : "-t nat -A NAPT ";
        const std::string source = outbound ? rule.lan : rule.wan;
        const std::string destination = outbound ? rule.wan : router;
        const int source_form = form(source);
        const int destination_form = form(outbound ? rule.wan : rule.lan);
        const std::string m = address_match(source_form, destination_form, ' ', source, destination);
        const std::string n = address_match(source_form, destination_form, '!', source, destination);

        std::string t;
        const std::string forward = service.protocol == "any"
                                        ? "-j DNAT --to " + rule.lan
                                        : "-j DNAT --to " + rule.lan + ":" + std::to_string(service.first) +
                                              "-" + std::to_string(service.last);
        const char *const outbound_targets[] = {"-j DROP", "-j DROP", "-j ACCEPT", "-j ACCEPT"};
        if (rule.action >= 0 && rule.action <= 3) {
            t = outbound ? outbound_targets[rule.action] : rule.action == 0 ? "-j DROP" : forward;
        }

        const std::string lm = "-j LOG --log-prefix \"[" + service.name + " rule match]\" ";
        const std::string ln = "-j LOG --log-prefix \"[" + service.name + " rule not match]\" ";
        const char *const outside = "-m condition ! --condition schedule ";

        if (service.protocol == "any") {
            if (rule.log == 1 || rule.log == 3) {
                line("%s %s %s %s", c.c_str(), k.c_str(), n.c_str(), ln.c_str());
            }
            if (rule.log == 1 || rule.log == 2) {
                line("%s %s %s %s", c.c_str(), k.c_str(), m.c_str(), lm.c_str());
            }
            line("%s %s %s %s", c.c_str(), k.c_str(), m.c_str(), t.c_str());
            if (outbound && rule.action == 1) {
                line("%s %s %s -j ACCEPT", c.c_str(), outside, m.c_str());
            }
            if (outbound && rule.action == 3) {
                line("%s %s %s -j DROP", c.c_str(), outside, m.c_str());
            }
            if (!outbound && rule.action != 0) {
                if (m.find("-d") != std::string::npos) {
                    line("%s -d %s %s", "-A IN_FILTER ", rule.lan.c_str(), "-j ACCEPT");
                } else {
                    line("%s -d %s %s %s", "-A IN_FILTER ", rule.lan.c_str(), m.c_str(), "-j ACCEPT");
                }
            }
        }
        for (const std::string word : {"tcp", "udp"}) {
            if (service.protocol != word && service.protocol != "both") {
                continue;
            }
            const std::string p = "-p " + word + " --dport " + std::to_string(service.first) + ":" +
                                  std::to_string(service.last) + " ";
            if (rule.log == 1 || rule.log == 3) {
                line("%s %s %s %s %s", c.c_str(), k.c_str(), n.c_str(), p.c_str(), ln.c_str());
            }
            if (rule.log == 1 || rule.log == 2) {
                line("%s %s %s %s %s", c.c_str(), k.c_str(), m.c_str(), p.c_str(), lm.c_str());
            }
            line("%s %s %s %s %s", c.c_str(), k.c_str(), m.c_str(), p.c_str(), t.c_str());
            if (outbound && rule.action == 1) {
                line("%s %s %s %s -j ACCEPT", c.c_str(), outside, m.c_str(), p.c_str());
            }
            if (outbound && rule.action == 3) {
                line("%s %s %s %s -j DROP", c.c_str(), outside, m.c_str(), p.c_str());
            }
            if (!outbound && rule.action != 0) {
                line("%s -d %s %s %s", "-A IN_FILTER ", rule.lan.c_str(), p.c_str(), "-j ACCEPT");
            }
        }

        const std::map<std::string, int> tunnels = {{"VPN-IPSEC", 50}, {"VPN-L2TP", 115}, {"VPN-PPTP", 47}};
        const auto tunnel = tunnels.find(rule.service);
        if (tunnel != tunnels.end()) {
            const std::string bare = t.substr(0, t.find(':'));
            line("%s %s %s -p %d %s ", c.c_str(), k.c_str(), m.c_str(), tunnel->second, bare.c_str());
            if (rule.action != 0) {
                line("%s -p %d -d %s %s", "-A IN_FILTER ", tunnel->second, rule.lan.c_str(), "-j ACCEPT");
            }
        }
    }

    std::string build(const std::string &list, bool outbound)
    {
        lines.clear();
        ModelRule rule;
        ModelService service;
        for (const std::string &record : records_of(list)) {
            parse(record, rule);
            if (rule.enable == 0) {
                continue;
            }
            if (!search(user, service, rule.service)) {
                needs_built_in = true;
                search(built_in, service, rule.service);
            }
            rule_lines(rule, service, outbound);
        }
        return lines;
    }
};

// ---- the real thing -------------------------------------------------------------------------------------

// The settings that the code under test sees, and how often it asked.
std::map<std::string, std::string> settings;
std::map<std::string, int> asked;

std::string test_setting(const char *key)
{
    ++asked[key];
    return settings[key];
}

std::string test_address()
{
    ++asked["address"];
    return settings["address"];
}

// What `write` writes through fw_rule.
template <typename Write>
std::string written(Write write)
{
    char *text = nullptr;
    size_t size = 0;
    FILE *stream = open_memstream(&text, &size);
    fw_rules_to(stream);
    write();
    fw_rules_to(nullptr);
    fclose(stream);
    std::string result(text, size);
    free(text);
    return result;
}

std::string build(const std::string &list, Direction direction)
{
    asked.clear();
    FwServices services = {test_setting, test_address};
    return written([&] { fw_access_rules(list, direction, services); });
}

// ---- random lists ---------------------------------------------------------------------------------------

class Dice {
  public:
    explicit Dice(unsigned seed) : engine_(seed) {}

    int below(int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(engine_); }
    bool one_in(int n) { return below(n) == 0; }
    std::string one_of(const Strings &words)
    {
        return words[static_cast<size_t>(below(static_cast<int>(words.size())))];
    }

    // Any bytes that a setting can hold inside a record.
    std::string noise(int longest)
    {
        std::string text;
        for (int i = below(longest + 1); i > 0; --i) {
            text += static_cast<char>(one_in(3) ? "::-/ 09\n\"%"[below(10)] : 2 + below(254));
        }
        return text;
    }

    std::string number()
    {
        return one_in(20) ? one_of({"", " 7", "-3", "+2", "99999999999", "4294967296", "x", "1x", "\t2"})
                          : std::to_string(below(70000));
    }

    std::string name()
    {
        if (one_in(25)) {
            return one_of({"", "EXACTLY-14-CHR", "FIFTEEN-CHARACT", "MORE-THAN-FOURTEEN-CHARACTERS", "A B"});
        }
        return one_of({"FTP", "HTTP", "DNS", "ANY", "GAME", "VPN-IPSEC", "VPN-L2TP", "VPN-PPTP", "NOBODY"});
    }

    std::string protocol()
    {
        return one_in(12) ? one_of({"", "icmp", "anyone", "bothways", "TCP", "t"})
                          : one_of({"tcp", "udp", "both", "any"});
    }

    std::string address()
    {
        switch (below(16)) {
            case 0:
                return one_of({"", "-", "/", "1-d2", "10.0.0.1-10.0.0.9/24"});
            case 1:
                return std::string(static_cast<size_t>(50 + below(30)), 'a') + one_of({"", "-b", "/c"});
            default:
                return one_of({"192.168.0.2", "10.1.2.3", "192.168.0.2-192.168.0.9", "10.0.0.1-10.0.0.200",
                               "0.0.0.0/0", "192.168.0.0/24"});
        }
    }

    // The record as it is, or cut short, or with something in it that does not belong.
    std::string damaged(std::string record)
    {
        switch (below(10)) {
            case 0:
                return record.substr(0, static_cast<size_t>(below(static_cast<int>(record.size()) + 1)));
            case 1:
                return record.insert(static_cast<size_t>(below(static_cast<int>(record.size()) + 1)),
                                     noise(4));
            case 2:
                return one_in(2) ? "" : noise(30);
            default:
                return record;
        }
    }

    std::string service() { return damaged(name() + ":" + protocol() + ":" + number() + "-" + number()); }

    std::string rule()
    {
        const std::string action = one_in(15) ? number() : std::to_string(below(4));
        const std::string log = one_in(15) ? number() : std::to_string(below(4));
        return damaged(one_of({"1", "1", "1", "0", "2"}) + ":" + name() + ":" + action + ":" + address() +
                       ":" + address() + ":" + log);
    }

    template <typename Record>
    std::string list(int longest, Record record)
    {
        std::string text;
        for (int i = below(longest + 1); i > 0; --i) {
            text += record() + "\x01";
        }
        if (one_in(6)) {
            text += record();  // the last record without its separator
        }
        return text;
    }

  private:
    std::mt19937 engine_;
};

// One random case of either direction: the lists, and both results.
void compare(unsigned seed)
{
    Dice dice(seed);
    settings.clear();
    settings["fw_services"] = dice.list(4, [&] { return dice.service(); });
    settings["fw_services_def"] = dice.list(8, [&] { return dice.service(); });
    settings["address"] = dice.one_of({"203.0.113.9", "203.0.113.9", ""});
    const std::string list = dice.list(8, [&] { return dice.rule(); });
    const bool outbound = dice.one_in(2);
    Model model = {settings["fw_services"], settings["fw_services_def"], settings["address"], ""};
    const std::string expected = model.build(list, outbound);
    ASSERT_EQ(build(list, outbound ? Direction::kOutbound : Direction::kInbound), expected)
        << "seed " << seed << (outbound ? ", outbound" : ", inbound")
        << "\nfw_services=" << settings["fw_services"] << "\nfw_services_def=" << settings["fw_services_def"]
        << "\nrules=" << list;
    for (const auto &[what, count] : asked) {
        ASSERT_EQ(count, 1) << what << " was asked for again, seed " << seed;
    }
    ASSERT_EQ(asked.contains("fw_services_def"), model.needs_built_in) << "seed " << seed;
}

TEST(AccessRules, RandomListsAreBuiltAsTheyAreMeant)
{
    for (unsigned seed = 1; seed <= 6000 && !HasFatalFailure(); ++seed) {
        compare(seed);
    }
}

// Long lists of few and of many names, whole and broken, so that an index by name has work to do.
TEST(AccessRules, LongListsAreBuiltAsTheyAreMeant)
{
    for (unsigned seed = 1; seed <= 40; ++seed) {
        Dice dice(seed);
        const int names = dice.one_in(3) ? 3 : 300;
        const auto name = [&] { return "S" + std::to_string(dice.below(names)); };
        settings.clear();
        settings["fw_services"] = dice.list(
            300, [&] { return dice.damaged(name() + ":" + dice.protocol() + ":" + dice.number() + "-9"); });
        settings["fw_services_def"] =
            dice.list(300, [&] { return dice.damaged(name() + ":tcp:" + dice.number() + "-9"); });
        const std::string rules =
            dice.list(200, [&] { return "1:" + name() + ":2:192.168.0.2:192.168.0.9:2"; });
        Model model = {settings["fw_services"], settings["fw_services_def"], "", ""};
        ASSERT_EQ(build(rules, Direction::kOutbound), model.build(rules, true)) << "seed " << seed;
    }
}

// Every meaningful combination once: direction, action, log, both address forms, protocol, tunnel.
TEST(AccessRules, EveryCombinationIsBuiltAsItIsMeant)
{
    settings = {
        {"fw_services",
         "T:tcp:1-2\x01U:udp:3-4\x01"
         "B:both:5-6\x01"
         "A:any:7-8\x01X:icmp:9-9\x01"},
        {"fw_services_def", "VPN-IPSEC:udp:500-500\x01VPN-L2TP:any:0-0\x01VPN-PPTP:tcp:1723-1723\x01"},
        {"address", "203.0.113.9"}};
    const Strings addresses = {"192.168.0.2", "192.168.0.2-192.168.0.9", "0.0.0.0/0"};
    int cases = 0;
    for (const std::string service :
         {"T", "U", "B", "A", "X", "VPN-IPSEC", "VPN-L2TP", "VPN-PPTP", "NOBODY"}) {
        for (int i = 0; i < 5 * 5 * 9; ++i) {
            const std::string rule = "1:" + service + ":" + std::to_string(i % 5) + ":" +
                                     addresses[static_cast<size_t>(i / 25 % 3)] + ":" +
                                     addresses[static_cast<size_t>(i / 75)] + ":" +
                                     std::to_string(i / 5 % 5) + "\x01";
            Model model = {settings["fw_services"], settings["fw_services_def"], settings["address"], ""};
            ASSERT_EQ(build(rule, Direction::kOutbound), model.build(rule, true)) << "outbound " << rule;
            ASSERT_EQ(build(rule, Direction::kInbound), model.build(rule, false)) << "inbound " << rule;
            ++cases;
        }
    }
    EXPECT_EQ(cases, 9 * 225);
}

// ---- what is asked for, and when ------------------------------------------------------------------------

TEST(AccessRules, NothingIsAskedForWithoutAnEnabledRule)
{
    settings = {{"fw_services_def", "FTP:tcp:20-21\x01"}};
    EXPECT_EQ(build("0:FTP:2:192.168.0.2:0.0.0.0/0:0\x01", Direction::kInbound), "");
    EXPECT_TRUE(asked.empty());
}

TEST(AccessRules, OutboundRulesNeverAskForTheRoutersAddress)
{
    settings = {{"fw_services_def", "FTP:tcp:20-21\x01"}};
    (void)build("1:FTP:2:192.168.0.2:0.0.0.0/0:0\x01", Direction::kOutbound);
    EXPECT_EQ(asked.count("address"), 0U);
    EXPECT_EQ(asked["fw_services"], 1);
    EXPECT_EQ(asked["fw_services_def"], 1);
}

TEST(AccessRules, TheUsersServicesAreAskedForAtTheFirstEnabledRule)
{
    settings = {{"fw_services", "FTP:tcp:20-21\x01"}};
    (void)build("0:FTP:2:192.168.0.2:0.0.0.0/0:0\x01", Direction::kOutbound);
    EXPECT_EQ(asked.count("fw_services"), 0U);
    (void)build("1:FTP:2:192.168.0.2:0.0.0.0/0:0\x01", Direction::kOutbound);
    EXPECT_EQ(asked["fw_services"], 1);
}

TEST(AccessRules, TheBuiltInServicesAreAskedForWhenANameIsNotAmongTheUsers)
{
    settings = {{"fw_services", "FTP:tcp:20-21\x01"}};
    (void)build("1:FTP:2:192.168.0.2:0.0.0.0/0:0\x01", Direction::kOutbound);
    EXPECT_EQ(asked.count("fw_services_def"), 0U);
    (void)build("1:WEB:2:192.168.0.2:0.0.0.0/0:0\x01", Direction::kOutbound);
    EXPECT_EQ(asked["fw_services_def"], 1);
}

TEST(AccessRules, BothDirectionsShareOneReading)
{
    settings = {{"fw_services_def", "FTP:tcp:20-21\x01"}};
    asked.clear();
    FwServices services = {test_setting, test_address};
    const std::string rule = "1:FTP:2:192.168.0.2:0.0.0.0/0:0\x01";
    (void)written([&] {
        fw_access_rules(rule, Direction::kInbound, services);
        fw_access_rules(rule, Direction::kOutbound, services);
    });
    EXPECT_EQ(asked["fw_services"], 1);
    EXPECT_EQ(asked["fw_services_def"], 1);
    EXPECT_EQ(asked["address"], 1);
}

// ---- looking services up --------------------------------------------------------------------------------

int search(const char *list, FwService &service, const char *name)
{
    FwServiceList parsed;
    parse_services(list, parsed);
    return search_serv(parsed, service, name);
}

TEST(Services, TheUsersDefinitionEndsTheSearchAndCountsAsNotFound)
{
    settings = {{"fw_services", "FTP:udp:1-2\x01"},
                {"fw_services_def", "FTP:tcp:20-21\x01WEB:tcp:80-80\x01"}};
    FwServices services = {test_setting, test_address};
    FwService service = {};
    EXPECT_EQ(get_serv(services, "FTP", service), -1);
    EXPECT_STREQ(service.protocol, "udp");
    EXPECT_EQ(get_serv(services, "WEB", service), 0);
    EXPECT_EQ(service.first_port, 80);
    EXPECT_EQ(get_serv(services, "NONE", service), -1);
    EXPECT_STREQ(service.name, "WEB");
}

TEST(Services, AnEmptyListLeavesTheServiceAsItWas)
{
    FwService service = {"GAME", "udp", 1, 2};
    EXPECT_EQ(search("", service, "OTHER"), -1);
    EXPECT_STREQ(service.name, "GAME");
    EXPECT_STREQ(service.protocol, "udp");
    EXPECT_EQ(service.first_port, 1);
    EXPECT_EQ(service.last_port, 2);
}

TEST(Services, AShortDefinitionSetsOnlyTheFieldsItHas)
{
    FwService service = {"GAME", "udp", 1, 2};
    EXPECT_EQ(search("WEB:tcp:80\x01MAIL:both\x01", service, "MAIL"), 0);
    EXPECT_STREQ(service.name, "MAIL");
    EXPECT_STREQ(service.protocol, "both");
    EXPECT_EQ(service.first_port, 80);
    EXPECT_EQ(service.last_port, 2);
}

TEST(Services, AnUnreadableDefinitionStillComparesTheNameThatIsThere)
{
    FwService service = {"GAME", "udp", 1, 2};
    EXPECT_EQ(search(":tcp:5-6\x01GAME:tcp:5-6\x01", service, "GAME"), 0);
    EXPECT_STREQ(service.protocol, "udp");
}

TEST(Services, NamesAndProtocolsKeepWhatFits)
{
    FwService service = {};
    EXPECT_EQ(search("ABCDEFGHIJKLMNOP:bothways:1-2\x01", service, "ABCDEFGHIJKLMN"), 0);
    EXPECT_STREQ(service.name, "ABCDEFGHIJKLMN");
    EXPECT_STREQ(service.protocol, "both");
    EXPECT_EQ(service.last_port, 2);
}

TEST(Addresses, AreToldApartByASlashThenADash)
{
    EXPECT_EQ(ip_type("10.0.0.0/8"), AddressForm::kSubnet);
    EXPECT_EQ(ip_type("10.0.0.1-10.0.0.2/8"), AddressForm::kSubnet);
    EXPECT_EQ(ip_type("10.0.0.1-10.0.0.2"), AddressForm::kRange);
    EXPECT_EQ(ip_type("10.0.0.1"), AddressForm::kSingle);
    EXPECT_EQ(ip_type(""), AddressForm::kSingle);
}

// ---- the line writer ------------------------------------------------------------------------------------

TEST(RuleLines, AreFilledAndEnded)
{
    EXPECT_EQ(written([] { fw_rule("-A X -s %c %s --dport %d:%d", '!', "a", -5, 65535); }),
              "iptables -A X -s ! a --dport -5:65535\n");
}

TEST(RuleLines, AreCutAfter1023CharactersAndStillEnd)
{
    const std::string text(2000, 'x');
    EXPECT_EQ(written([&] { fw_rule("%s", std::string(1023, 'x').c_str()); }),
              "iptables " + std::string(1023, 'x') + "\n");
    EXPECT_EQ(written([&] { fw_rule("%s", text.c_str()); }), "iptables " + std::string(1023, 'x') + "\n");
    EXPECT_EQ(written([&] { fw_rule("-A %s -j %d", text.c_str(), 5); }),
              "iptables -A " + std::string(1020, 'x') + "\n");
}

TEST(RuleLines, TakeSettingsAsTheyAre)
{
    EXPECT_EQ(written([] { fw_rule("-s %s", "%s%n\"' \\\n`"); }), "iptables -s %s%n\"' \\\n`\n");
}

TEST(RuleLines, AreDroppedWithoutAFile)
{
    fw_rules_to(nullptr);
    const char *const list[] = {"-A X", nullptr};
    fw_rule("-A %s", "X");
    fw_rule_list(list, "");
    EXPECT_EQ(written([&] { fw_rule_list(list, "unused"); }), "iptables -A X\n");
}

}  // namespace
