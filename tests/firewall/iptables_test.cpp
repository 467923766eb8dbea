// The generated rules in a real iptables: translated from the router tool's dialect and loaded in a network
// namespace of their own, line by line accounted for.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "bench/iptables_dialect.h"
#include "bench/router.h"
#include "tests/programs.h"

namespace {

namespace fs = std::filesystem;

using Settings = std::vector<bench::Setting>;
using Names = std::set<std::string>;

// ---- rules by rc, and a kernel to load them into ---------------------------------------------------------

std::string rules_of(const Settings &settings, bool image_defaults = false)
{
    bench::Setup setup;
    setup.image_defaults = image_defaults;
    setup.settings = settings;
    setup.interfaces = {{"ppp0", "203.0.113.9", 32, ""}};
    bench::Root root(built_rc(), setup);
    (void)root.rc("firewall create");
    return root.read("/tmp/rules").value_or("");
}

Settings with(Settings settings, const Settings &more)
{
    settings.insert(settings.end(), more.begin(), more.end());
    return settings;
}

Settings router()
{
    return {{"lan_if", "br0"}, {"lan_ipaddr", "192.168.0.1"}, {"wan_ifname", "ppp0"}, {"fw_acc_port", "80"}};
}

// A directory that goes away with it.
struct Scratch {
    fs::path path;
    Scratch()
    {
        std::string name = (fs::temp_directory_path() / "rules-XXXXXX").string();
        path = mkdtemp(name.data());
    }
    Scratch(const Scratch &) = delete;
    Scratch &operator=(const Scratch &) = delete;
    ~Scratch() { fs::remove_all(path); }

    std::string read(const std::string &name) const
    {
        std::stringstream text;
        text << std::ifstream(path / name).rdbuf();
        return text.str();
    }
};

struct Loaded {
    int status = -1;
    std::string errors;
    std::string saved;  // what the kernel then holds
};

// Checks the rules without loading them, loads them, and asks the kernel back. Everything happens in a
// network namespace that ends with the command; an ordinary user has it in a user namespace, where the
// kernel's list of tables cannot be read, so they are asked for by name.
Loaded load(const std::string &restore)
{
    const Scratch scratch;
    std::ofstream(scratch.path / "restore") << restore;
    const std::string unshare = geteuid() == 0 ? "unshare -n" : "unshare -rn";
    const std::string command =
        "cd " + scratch.path.string() + " && PATH=$PATH:/usr/sbin:/sbin XTABLES_LOCKFILE=./lock " + unshare +
        " sh -c 'iptables-legacy-restore --test < restore && iptables-legacy-restore "
        "< restore && iptables-legacy-save -t filter && iptables-legacy-save -t nat && "
        "iptables-legacy-save -t mangle' > saved 2> errors";
    const int status = system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, scratch.read("errors"), scratch.read("saved")};
}

// Whether this machine lets us have such a namespace and tables in it at all.
bool can_load()
{
    return load("*nat\nCOMMIT\n*filter\nCOMMIT\n").status == 0;
}

long lines_with(const std::string &text, const std::string &start)
{
    std::istringstream lines(text);
    std::string line;
    long count = 0;
    while (std::getline(lines, line)) {
        count += line.rfind(start, 0) == 0 ? 1 : 0;
    }
    return count;
}

long left_out_rules(const bench::Dialect &dialect)
{
    return std::count_if(dialect.notes.begin(), dialect.notes.end(), [](const bench::DialectNote &note) {
        return note.left_out && note.difference != bench::Difference::kMissingChain;
    });
}

Names names_of(const bench::Dialect &dialect)
{
    Names names;
    for (const bench::DialectNote &note : dialect.notes) {
        names.insert(bench::difference_name(note.difference));
    }
    return names;
}

// Every rule of the file is either in the kernel afterwards or was left out by name.
void expect_loads(const std::string &rules, const Names &names, long left_out = 0)
{
    ASSERT_NE(rules, "");
    for (const bool schedule_active : {false, true}) {
        const bench::Dialect dialect = bench::translate_rules(rules, schedule_active);
        EXPECT_EQ(names_of(dialect), names);
        EXPECT_EQ(left_out_rules(dialect), left_out);
        const long given = lines_with(rules, "iptables -A") + lines_with(rules, "iptables -I") +
                           lines_with(rules, "iptables -t nat -A") + lines_with(rules, "iptables -t nat -I");
        const long helpers = names.count("drop in nat") != 0 ? 4 : 0;
        const Loaded loaded = load(dialect.restore);
        ASSERT_EQ(loaded.status, 0) << loaded.errors << dialect.restore;
        EXPECT_EQ(lines_with(loaded.saved, "-A "), given - left_out + helpers);
        EXPECT_NE(loaded.saved.find(":INPUT DROP"), std::string::npos);
    }
}

// What every rules file has.
const Names kUsual = {"old negation", "string match without algorithm", "target PNAT",
                      "reject type http-block", "missing chain"};

Names usual_and(const Names &more)
{
    Names names = kUsual;
    names.insert(more.begin(), more.end());
    return names;
}

class RealIptables : public testing::Test {
  protected:
    void SetUp() override
    {
        if (!can_load()) {
            GTEST_SKIP() << "needs a network namespace and iptables (legacy) in it";
        }
    }
};

TEST_F(RealIptables, TakesARouterWithoutAnythingSet)
{
    expect_loads(rules_of(router()), kUsual);
}

TEST_F(RealIptables, TakesTheImagesDefaults)
{
    expect_loads(rules_of({}, true), usual_and({"match psd", "match condition", "drop in nat"}));
}

TEST_F(RealIptables, TakesEverySectionAtOnce)
{
    const Settings all = {
        {"fw_nat", "1"},
        {"fw_spi", "1"},
        {"fw_disable", "1"},
        {"fw_import", "1"},
        {"fw_dmz_enable", "1"},
        {"fw_dmz", "192.168.0.40"},
        {"fw_response_ping", "1"},
        {"fw_block", "2"},
        {"fw_block_trust_enable", "1"},
        {"fw_block_trust", "192.168.0.50"},
        {"fw_block_keyword", "casino\x01lottery\x01"},
        {"fw_vs_enableA", "63"},
        {"fw_vs_serverA", "192.168.0.2:192.168.0.3:192.168.0.4:192.168.0.5:192.168.0.6:192.168.0.7"}};
    expect_loads(rules_of(with(router(), all)), usual_and({"match psd", "match condition", "drop in nat"}));
}

TEST_F(RealIptables, TakesRemoteManagementOfEveryType)
{
    for (const std::string type : {"1", "2", "3", "4"}) {
        const Settings remote = {{"fw_remote", "1"},
                                 {"fw_remote_type", type},
                                 {"fw_remote_port", "8443"},
                                 {"fw_remote_single", "198.51.100.1"},
                                 {"fw_remote_range_start", "198.51.100.10"},
                                 {"fw_remote_range_end", "198.51.100.20"},
                                 {"fw_remote_list1_ip1", "198.51.100.31"},
                                 {"fw_remote_list1_ip7", "198.51.100.37"}};
        expect_loads(rules_of(with(router(), remote)), kUsual);
    }
}

const std::vector<std::string> kForms = {"192.168.0.2", "192.168.0.2-192.168.0.9", "192.168.0.0/24"};

// Every action, log and kind of service, tunnels included, for LAN and WAN addresses of the given forms.
std::string every_access_rule(const std::vector<std::string> &lan, const std::vector<std::string> &wan)
{
    std::string rules;
    for (const std::string service : {"FTP", "GAME", "DNS", "ANY", "VPN-PPTP"}) {
        for (size_t i = 0; i < 4U * 4 * lan.size() * wan.size(); ++i) {
            rules += "1:" + service + ":" + std::to_string(i % 4) + ":" + lan[i / 16 % lan.size()] + ":" +
                     wan[i / 16 / lan.size()] + ":" + std::to_string(i / 4 % 4) + "\x01";
        }
    }
    return rules;
}

const Settings kServices = {{"fw_services", "GAME:udp:5000-5010\x01"},
                            {"fw_services_def",
                             "FTP:tcp:20-21\x01"
                             "DNS:both:53-53\x01"
                             "ANY:any:0-65535\x01VPN-PPTP:tcp:1723-1723\x01"}};

TEST_F(RealIptables, TakesEveryKindOfOutboundRule)
{
    const std::string rules =
        rules_of(with(with(router(), kServices), {{"fw_out_rules", every_access_rule(kForms, kForms)}}));
    // An "accept" for the users of a tunnel names them as a destination, which a range cannot be.
    std::string taken = rules;
    const std::string range = "iptables -A IN_FILTER  -p 47 -d 192.168.0.2-192.168.0.9 -j ACCEPT\n";
    for (size_t at = taken.find(range); at != std::string::npos; at = taken.find(range)) {
        taken.erase(at, range.size());
    }
    EXPECT_EQ(lines_with(rules, "iptables") - lines_with(taken, "iptables"), 3 * 4 * 3)
        << "actions, logs, WAN forms";
    expect_loads(taken, usual_and({"match condition"}));
}

// A LAN server is one address: today's tool takes no other destination here.
TEST_F(RealIptables, TakesEveryKindOfInboundRule)
{
    const std::string list = every_access_rule({"192.168.0.2"}, kForms);
    expect_loads(rules_of(with(with(router(), kServices), {{"fw_in_rules", list}})),
                 usual_and({"match condition", "drop in nat"}));
}

TEST_F(RealIptables, TakesLongServiceNames)
{
    const Settings rule = {{"fw_services", "ABCDEFGHIJKLMN:tcp:1-2\x01"},
                           {"fw_out_rules", "1:ABCDEFGHIJKLMN:0:192.168.0.2:0.0.0.0/0:1\x01"}};
    expect_loads(rules_of(with(router(), rule)), usual_and({"long log prefix"}));
}

TEST_F(RealIptables, RefusesWhatIsNoAddress)
{
    const std::string rules =
        rules_of(with(router(), {{"fw_dmz_enable", "1"}, {"fw_dmz", "no.such.host.invalid"}}));
    EXPECT_NE(load(bench::translate_rules(rules, false).restore).status, 0);
}

TEST_F(RealIptables, RefusesWhatTheTranslatorDoesNotKnow)
{
    EXPECT_NE(
        load(bench::translate_rules("iptables -A INPUT -m nosuchmatch -j ACCEPT\n", false).restore).status,
        0);
}

TEST_F(RealIptables, NeedsTheTranslation)
{
    EXPECT_NE(load("*filter\n-A INPUT -i ! ppp0 -j ACCEPT\nCOMMIT\n").status, 0);
    EXPECT_NE(load("*filter\n-A INPUT -m string --string GET -j ACCEPT\nCOMMIT\n").status, 0);
    EXPECT_NE(load("*nat\n-A PREROUTING -p tcp --dport 5050 -j DROP\nCOMMIT\n").status, 0);
}

TEST_F(RealIptables, LeavesEmptyFieldsOutByName)
{
    const std::string rules = rules_of({{"lan_if", "br0"}, {"fw_nat", "1"}});
    const bench::Dialect dialect = bench::translate_rules(rules, false);
    std::vector<std::string> left_out;
    std::istringstream lines(rules);
    std::string line;
    for (size_t number = 1; std::getline(lines, line); ++number) {
        if (std::find(dialect.notes.begin(), dialect.notes.end(),
                      bench::DialectNote{number, bench::Difference::kEmptyField, true}) !=
            dialect.notes.end()) {
            left_out.push_back(line);
        }
    }
    const std::vector<std::string> expected = {
        "iptables -I MINIUPNPD -t nat -i !  -j RETURN",
        "iptables -A PRE_BASIC -t nat -i  -d !  -j DROP",
        "iptables -t nat -A PRE_BASIC -i br0 -p tcp --dport 0 -d  -j DNAT --to :80",
        "iptables -A LOCAL_SERVICE -m mark --mark 0x2643 -d  -p tcp --dport 80 -j ACCEPT",
        "iptables -t nat -A PT -d !   -j PNAT --set-mark 0x2511",
        "iptables -A IN_FILTER  -i !  -j RETURN",
        "iptables -t nat -A POSTROUTING -o  -j MASQUERADE",
    };
    EXPECT_EQ(left_out, expected);
    const Loaded loaded = load(dialect.restore);
    EXPECT_EQ(loaded.status, 0) << loaded.errors;
}

// ---- the translator alone -------------------------------------------------------------------------------

// The restore line of one rule in a chain T of the filter table (or N of the nat table).
std::string translated(const std::string &rule, bool schedule_active = false)
{
    const bench::Dialect dialect =
        bench::translate_rules("iptables -N T\niptables -t nat -N N\n" + rule + "\n", schedule_active);
    std::istringstream lines(dialect.restore);
    std::string line;
    while (std::getline(lines, line)) {
        if (line.rfind("-A T ", 0) == 0 || line.rfind("-A N ", 0) == 0) {
            return line;
        }
    }
    return "";
}

TEST(Dialect, TurnsNegations)
{
    EXPECT_EQ(translated("iptables -A T -i ! ppp0 -d ! 10.0.0.1 -p ! icmp -s   !   10.0.0.2 -j DROP"),
              "-A T ! -i ppp0 ! -d 10.0.0.1 ! -p icmp ! -s 10.0.0.2 -j DROP");
    EXPECT_EQ(translated("iptables -A T -m iprange ! --src-range 10.0.0.1-10.0.0.2 -j DROP"),
              "-A T -m iprange ! --src-range 10.0.0.1-10.0.0.2 -j DROP");
}

TEST(Dialect, NamesTheSearchAlgorithm)
{
    EXPECT_EQ(translated("iptables -A T -m string --string GET -j DROP"),
              "-A T -m string --algo bm --string GET -j DROP");
}

TEST(Dialect, DecidesTheScheduleFlag)
{
    const std::string never = "-A T -m mark --mark 0x1/0x0 -s 10.0.0.1 -j DROP";
    const std::string always = "-A T -s 10.0.0.1 -j DROP";
    EXPECT_EQ(translated("iptables -A T -m condition --condition schedule -s 10.0.0.1 -j DROP", true),
              always);
    EXPECT_EQ(translated("iptables -A T -m condition --condition schedule -s 10.0.0.1 -j DROP", false),
              never);
    EXPECT_EQ(translated("iptables -A T -m condition ! --condition schedule -s 10.0.0.1 -j DROP", true),
              never);
    EXPECT_EQ(translated("iptables -A T -m condition ! --condition schedule -s 10.0.0.1 -j DROP", false),
              always);
}

TEST(Dialect, ReplacesWhatThePlatformAloneHas)
{
    EXPECT_EQ(translated("iptables -A T -m psd -j SCAN"), "-A T -m mark --mark 0x1/0x0 -j SCAN");
    EXPECT_EQ(translated("iptables -t nat -A N -d ! 10.0.0.1  -j PNAT --set-mark 0x2511"),
              "-A N -m mark --mark 0x1/0x0 ! -d 10.0.0.1 -j MARK --set-mark 0x2511");
    EXPECT_EQ(translated("iptables -A T -p tcp -j REJECT --reject-with http-block"),
              "-A T -p tcp -j REJECT --reject-with tcp-reset");
}

TEST(Dialect, DropsInNatByAMark)
{
    const bench::Dialect dialect =
        bench::translate_rules("iptables -t nat -N N\niptables -t nat -A N -p udp -j DROP\n", false);
    EXPECT_EQ(
        dialect.restore,
        "*nat\n:PREROUTING ACCEPT [0:0]\n:OUTPUT ACCEPT [0:0]\n:POSTROUTING ACCEPT [0:0]\n:N - [0:0]\n"
        ":ROUTER_DROP - [0:0]\n-A N -p udp -j ROUTER_DROP\n-A ROUTER_DROP -j MARK --set-mark 0x44524f50\n"
        "-A ROUTER_DROP -j ACCEPT\nCOMMIT\n*filter\n:INPUT ACCEPT [0:0]\n:FORWARD ACCEPT [0:0]\n"
        ":OUTPUT ACCEPT [0:0]\n-A INPUT -m mark --mark 0x44524f50 -j DROP\n"
        "-A FORWARD -m mark --mark 0x44524f50 -j DROP\nCOMMIT\n");
}

TEST(Dialect, CutsLongLogPrefixes)
{
    EXPECT_EQ(translated("iptables -A T -j LOG --log-prefix \"[ABCDEFGHIJKLMN rule not match]\" "),
              "-A T -j LOG --log-prefix \"[ABCDEFGHIJKLMN rule not matc\"");
    EXPECT_EQ(translated("iptables -A T -j LOG --log-prefix \"[DOS] \""),
              "-A T -j LOG --log-prefix \"[DOS] \"");
}

TEST(Dialect, InsertsAtTheHead)
{
    const bench::Dialect dialect = bench::translate_rules(
        "iptables -A INPUT -i lo -j ACCEPT\niptables -I INPUT -i br0 -j ACCEPT\niptables -P INPUT DROP\n",
        false);
    EXPECT_NE(dialect.restore.find(":INPUT DROP [0:0]"), std::string::npos);
    EXPECT_NE(dialect.restore.find("-A INPUT -i br0 -j ACCEPT\n-A INPUT -i lo -j ACCEPT\n"),
              std::string::npos);
    EXPECT_TRUE(dialect.notes.empty());
}

TEST(Dialect, FlushesAndDeletesChains)
{
    const bench::Dialect dialect = bench::translate_rules(
        "iptables -t filter -X T\niptables -N T\niptables -A T -j DROP\niptables -F T\niptables -A INPUT -j "
        "T\n"
        "iptables -t filter -F\niptables -X T\n",
        false);
    EXPECT_EQ(lines_with(dialect.restore, "-A"), 0);
    EXPECT_EQ(dialect.restore.find(":T"), std::string::npos);
    EXPECT_EQ(dialect.notes, (std::vector<bench::DialectNote>{{1, bench::Difference::kMissingChain, true}}));
}

TEST(Dialect, RefusesWhatIsNoRule)
{
    EXPECT_THROW(bench::translate_rules("iptables -A NOSUCH -j DROP\n", false), bench::Error);
    EXPECT_THROW(bench::translate_rules("reboot\n", false), bench::Error);
    EXPECT_THROW(bench::translate_rules("iptables -t mangle -A X -j DROP\n", false), bench::Error);
}

TEST(Dialect, TakesNothingForNoRules)
{
    EXPECT_TRUE(bench::translate_rules("", false).notes.empty());
}

}  // namespace
