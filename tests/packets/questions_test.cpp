// rcbench packet and rcbench reach as people use them: whole answers, for people and for machines, and what
// they say to questions that cannot be answered.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <string>
#include <vector>

#include "forms/settings.h"
#include "tests/packets/agreement.h"
#include "tests/programs.h"
#include "tests/running.h"

namespace {

using Json = nlohmann::json;

class PacketQuestions : public testing::Test {
  protected:
    // The words as a shell reads them.
    Ran ask(const std::string &words) const { return folder_.run(RCBENCH_TOOL " " + words); }

    std::string file(const std::string &text) const { return folder_.file("file", text); }

    static std::string promises()
    {
        return "--promises " + (built_rc().image / "samples/router.promises").string();
    }

  private:
    Folder folder_;
};

// Errors stand before output.
void expect(const Ran &ran, int status, const std::string &text)
{
    EXPECT_EQ(ran.errors + ran.output, text);
    EXPECT_EQ(ran.status, status);
}

// ---- packets --------------------------------------------------------------------------------------------

constexpr const char *kPing = R"(wan: icmp 198.51.100.7 -> 203.0.113.10 type=8 schedule=on
dropped in INPUT
  PREROUTING  PREROUTING    -t nat -A PREROUTING -j PT  [framework]
  PREROUTING  PT            -t nat -A PT -d ! 192.168.0.1 -j PNAT --set-mark 0x2511  [framework]
  INPUT       INPUT         -A INPUT -p icmp --icmp-type echo-request -j DOS  [framework]
  INPUT       DOS           -A DOS -p icmp --icmp-type echo-request -m limit --limit 5/s --limit-burst 60 -j RETURN  [framework]
  decided by  policy of INPUT  [framework]
  taken       within the limit
  taken       no scan seen
  filled in   from 198.51.100.7, a host outside
  filled in   to 203.0.113.10, the router's own address
)";

constexpr const char *kName = R"(lan: udp 192.168.0.100:40000 -> 192.168.0.1:53 schedule=on
accepted, to 192.168.0.1:53, the router itself
  PREROUTING  PREROUTING    -t nat -A PREROUTING -j MINIUPNPD  [framework]
  PREROUTING  MINIUPNPD     -I MINIUPNPD -t nat -i ! ppp0 -j RETURN  [framework]
  INPUT       INPUT         -I INPUT -i br0 -j ACCEPT  [framework]
  decided by  -I INPUT -i br0 -j ACCEPT  [framework]
  filled in   from 192.168.0.100, a host of the LAN
  filled in   to 192.168.0.1, the router's own address
)";

TEST_F(PacketQuestions, SayTheVerdictFirstAndThenTheWay)
{
    expect(ask("packet --quick 'icmp ->'"), 1, kPing);
    expect(ask("packet --quick --from lan 'udp -> :53'"), 0, kName);
}

// What an answer takes of the schedule; nothing where no rule asked for it.
std::string schedule_in(const Ran &answer)
{
    const std::string label = "  taken       the schedule ";
    const size_t at = answer.output.find(label);
    return at == std::string::npos
               ? ""
               : answer.output.substr(at + label.size(), answer.output.find('\n', at) - at - label.size());
}

TEST_F(PacketQuestions, AreAskedForMondayNoonUnlessAnotherTimeIsNamed)
{
    const std::string another = "; --clock or schedule=on, schedule=off asks for another time";
    Ran answer = ask("packet --quick 'udp -> :3074'");
    EXPECT_EQ(answer.status, 0);
    EXPECT_EQ(schedule_in(answer), "is active on Monday 2026-03-02 12:00 UTC" + another);
    answer = ask("packet --quick --clock '2026-03-01 12:00:07' 'udp -> :3074'");
    EXPECT_EQ(answer.status, 1);
    EXPECT_EQ(schedule_in(answer), "is not active on Sunday 2026-03-01 12:00:07 UTC" + another);
    answer = ask("packet --quick 'udp -> :3074 schedule=off'");
    EXPECT_EQ(answer.status, 1);
    EXPECT_EQ(schedule_in(answer), "is not active, as asked");
    EXPECT_EQ(schedule_in(ask("packet --quick 'tcp -> :22'")), "");
}

TEST_F(PacketQuestions, TakeSeveralPacketsAlsoFromFiles)
{
    const std::string list = file("# pings\n\nicmp ->\nudp 192.168.0.100 -> 192.168.0.1:53\r\n");
    const Ran both = ask("packet --quick 'icmp ->' 'icmp ->'");
    expect(both, 1, std::string(kPing) + "\n" + kPing);
    const Ran from_file = ask("packet --quick @" + list);
    const Ran from_input = ask("packet --quick - < " + list);
    EXPECT_EQ(from_file.output, from_input.output);
    EXPECT_EQ(from_file.status, 1);
    EXPECT_EQ(from_file.output.substr(0, std::string(kPing).size() + 1), std::string(kPing) + "\n");
    EXPECT_NE(
        from_file.output.find("\nlan: udp 192.168.0.100:40000 -> 192.168.0.1:53 schedule=on\naccepted, to "
                              "192.168.0.1:53, the router itself\n"),
        std::string::npos)
        << from_file.output;
}

TEST_F(PacketQuestions, NameTheSettingAndTheRecordForMachines)
{
    const Ran answer =
        ask("packet --json 'tcp 198.51.100.7 -> 203.0.113.10:443' 'icmp ->' "
            "'tcp 224.0.0.1 -> :80'");
    EXPECT_EQ(answer.status, 1);
    const Json json = Json::parse(answer.output, nullptr, false);
    ASSERT_EQ(json.size(), 3U) << answer.output;
    const Json &let_in = json[0];
    EXPECT_EQ(let_in["verdict"], "accept");
    EXPECT_EQ(let_in["hook"], "FORWARD");
    EXPECT_EQ(let_in["to"], Json({{"address", "192.168.0.20"}, {"port", 443}}));
    EXPECT_EQ(let_in["from"], Json({{"address", "198.51.100.7"}, {"port", 40000}}));
    EXPECT_EQ(let_in["setting"], "fw_in_rules");
    EXPECT_EQ(let_in["record"], 1);
    const std::string text =
        "-t nat -A NAPT -s 0.0.0.0/0 -d 203.0.113.10 -p tcp --dport 443:443 -j DNAT --to "
        "192.168.0.20:443-443";
    const Json translation = {
        {"hook", "PREROUTING"}, {"chain", "NAPT"}, {"text", text}, {"setting", "fw_in_rules"}, {"record", 1}};
    EXPECT_NE(std::find(let_in["rules"].begin(), let_in["rules"].end(), translation), let_in["rules"].end())
        << let_in["rules"].dump(1);
    EXPECT_EQ(let_in["rules"][0], Json({{"hook", "PREROUTING"},
                                        {"chain", "PREROUTING"},
                                        {"text", "-t nat -A PREROUTING -j PRE_BASIC"},
                                        {"setting", nullptr},
                                        {"record", nullptr}}));
    EXPECT_EQ(json[1]["verdict"], "drop");
    EXPECT_EQ(json[1]["hook"], "INPUT");
    EXPECT_EQ(json[1]["to"], Json({{"address", "203.0.113.10"}, {"port", nullptr}}));
    EXPECT_EQ(json[1]["setting"], nullptr);
    EXPECT_EQ(json[2]["verdict"], "drop");
    EXPECT_EQ(json[2]["hook"], nullptr);
    EXPECT_EQ(json[2]["to"], nullptr);
    EXPECT_EQ(json[2]["from"], nullptr);
}

TEST_F(PacketQuestions, ThatAreNoneGetOneLine)
{
    const std::string form = "write PROTOCOL SOURCE[:PORT] -> DESTINATION[:PORT] WORDS\n";
    const std::string help = "; see rcbench packet --help\n";
    expect(ask("packet"), 2, "rcbench: no packet" + help);
    expect(ask("packet --quick 'tcp -> 443'"), 2,
           "rcbench: packet \"tcp -> 443\": \"443\" is no address; " + form);
    expect(ask("packet --quick 'tcp 1.2.3.4 ->'"), 2,
           "rcbench: packet \"tcp 1.2.3.4 ->\": no port to go to; " + form);
    expect(ask("packet --from moon 'icmp ->'"), 2,
           "rcbench: --from moon: no such side; take wan, lan, tunnel or router" + help);
    expect(
        ask("packet --quick 'udp -> schedule'"), 2,
        "rcbench: packet \"udp -> schedule\": no word \"schedule\": there are syn, ack, fin, rst, psh, urg, "
        "new, "
        "established, related, invalid, reply, for=ADDRESS:PORT, type=N and code=N (of icmp), payload=TEXT, "
        "schedule=on, schedule=off, over, scan, triggered and mark=none; " +
            form);
    expect(ask("packet --from lam 'icmp ->'"), 2,
           "rcbench: --from lam: no such side (did you mean lan?); take wan, lan, tunnel or router" + help);
    expect(ask("packet @/nosuch"), 2, "rcbench: cannot read /nosuch: No such file or directory\n");
}

// ---- everything that gets through -----------------------------------------------------------------------

Json row(const Json &whole)
{
    Json part;
    for (const char *key : {"protocol", "ports", "from", "to", "when", "unless", "setting", "record"}) {
        part[key] = whole.value(key, Json("missing"));
    }
    return part;
}

TEST_F(PacketQuestions, ListWhatIsLetIn)
{
    expect(ask("reach --quick --from wan --set fw_spapp="), 0, R"(Let in from the Internet
  PROTOCOL  PORTS      FROM  SENT TO       GETS TO           WHEN                                      BY
  tcp       443        any   203.0.113.10  192.168.0.20:443  unless over the limit or scan seen        framework
  udp       3074-3075  any   203.0.113.10  192.168.0.30      when schedule, unless over the limit or scan seen  framework
)");
    const Json rows = Json::parse(ask("reach --json --from wan").output, nullptr, false);
    ASSERT_EQ(rows.size(), 3U);
    const Json limits = {"over the limit", "scan seen"};
    EXPECT_EQ(row(rows[0]), Json({{"protocol", "tcp"},
                                  {"ports", "443"},
                                  {"from", "any"},
                                  {"to", "192.168.0.20:443"},
                                  {"when", Json::array()},
                                  {"unless", limits},
                                  {"setting", "fw_in_rules"},
                                  {"record", 1}}));
    EXPECT_EQ(row(rows[1]), Json({{"protocol", "udp"},
                                  {"ports", "3074-3075"},
                                  {"from", "any"},
                                  {"to", "192.168.0.30"},
                                  {"when", {"schedule"}},
                                  {"unless", limits},
                                  {"setting", "fw_in_rules"},
                                  {"record", 2}}));
    EXPECT_EQ(row(rows[2])["when"], Json({"triggered port"}));
    EXPECT_EQ(row(rows[2])["setting"], "fw_spapp");
    EXPECT_EQ(row(rows[2])["record"], nullptr);
}

TEST_F(PacketQuestions, CompareBeforeAndAfter)
{
    expect(ask("reach --quick --diff --from wan --set fw_in_rules="), 1, R"(Closed from wan
  PROTOCOL  PORTS      FROM  SENT TO       GETS TO  WHEN                                      BY
  tcp       443        any   203.0.113.10  dropped  unless over the limit or scan seen        framework
  udp       3074-3075  any   203.0.113.10  dropped  when schedule, unless over the limit or scan seen  framework
  example: tcp 198.51.100.7:40000 -> 203.0.113.10:443 schedule=on
    before: accept, to 192.168.0.20:443; after: drop
  example: udp 198.51.100.7:40000 -> 203.0.113.10:3074 schedule=on
    before: accept, to 192.168.0.30:3074; after: drop
)");
    expect(ask("reach --quick --diff --set log_type=1"), 0,
           "Nothing changes: the same connections get through to the same ends.\n");
    EXPECT_EQ(ask("reach --quick --json --diff --set log_type=1").output, "[]\n");
}

TEST_F(PacketQuestions, TellAForwardingThatLeadsBackToTheInternetFromOneToAHost)
{
    const std::string dmz =
        "--quick --set fw_in_rules= --set fw_spapp= --set fw_dmz_enable=1 --set fw_dmz=10.9.9.9 ";
    const Ran packet = ask("packet " + dmz + "'tcp -> :80'");
    EXPECT_EQ(packet.status, 0);
    EXPECT_TRUE(
        packet.has("accepted, to 10.9.9.9:80, back to the Internet, as coming from 203.0.113.10:40000"))
        << packet.output;
    EXPECT_TRUE(packet.has(
        "  note        10.9.9.9 is not on the LAN: the packet goes out by ppp0, where it came in"));
    const Ran reach = ask("reach --from wan " + dmz);
    EXPECT_TRUE(
        reach.output.starts_with("Let in from the Internet\n  nothing\n\nSent back to the Internet, to no "
                                 "host of the LAN\n"))
        << reach.output;
    EXPECT_NE(reach.output.find("  10.9.9.9, on the Internet  "), std::string::npos) << reach.output;
    EXPECT_EQ(Json::parse(ask("reach --json --from wan " + dmz).output, nullptr, false)[0]["out"], "wan");
    EXPECT_EQ(ask("reach --from wan --quick").output.find("Sent back"), std::string::npos);
    expect(ask("reach --quick --never 'wan -> lan' " + dmz), 0, "holds   never wan -> lan\n");
}

// ---- promises -------------------------------------------------------------------------------------------

TEST_F(PacketQuestions, CheckPromises)
{
    expect(ask("reach --never 'wan -> router:80' --quick"), 0, "holds   never wan -> router:80\n");
    const std::string broken =
        "broken  never wan -> lan:443\n"
        "        wan: tcp 198.51.100.7:40000 -> 203.0.113.10:443 schedule=on\n"
        "        accepted, to 192.168.0.20:443 by -A IN_FILTER -d 192.168.0.20 -p tcp "
        "--dport 443:443 -j ACCEPT [framework]\n";
    expect(ask("reach --quick --never 'wan -> lan:443'"), 1, broken);
    expect(ask("reach --quick --promises " +
               file("# two\nalways lan -> router:53 udp\n\nnever wan -> lan:443\n")),
           1, "holds   always lan -> router:53 udp\n" + broken);
    const Json json =
        Json::parse(ask("reach --quick --json --never 'wan -> lan:443'").output, nullptr, false);
    ASSERT_EQ(json.size(), 1U);
    EXPECT_EQ(json[0]["holds"], false);
    EXPECT_EQ(json[0]["packet"], "tcp 198.51.100.7:40000 -> 203.0.113.10:443 schedule=on");
}

// Each line begins with "holds" or "exempt".
void expect_kept(const Ran &answer, const std::string &settings)
{
    EXPECT_EQ(answer.status, 0) << answer.output << settings;
    EXPECT_EQ(answer.output.find("broken"), std::string::npos);
    EXPECT_NE(answer.output.find("holds   never wan 127.0.0.0/8 224.0.0.0/3 -> lan\n"), std::string::npos);
}

TEST_F(PacketQuestions, AreKeptByTheDefaultsAndByRandomSettings)
{
    expect_kept(ask("reach " + promises()), "the defaults");
    agreement::Dice dice(1601);
    for (int i = 0; i < 2; ++i) {
        const std::string settings = forms::settings_text(agreement::random_settings(dice));
        expect_kept(ask("reach --settings " + file(settings) + " " + promises()), settings);
    }
}

TEST_F(PacketQuestions, AboutEverythingThatAreNoneGetOneLine)
{
    const std::string help = "; see rcbench reach --help\n";
    expect(ask("reach x"), 2, "rcbench: reach takes no words, only options: x" + help);
    expect(ask("reach --diff"), 2, "rcbench: --diff needs a --set or --unset to compare with" + help);
    expect(ask("reach --diff --idle --set a=b"), 2,
           "rcbench: --diff, --idle and promises are questions of their own: one at a time" + help);
    expect(ask("reach --never 'wan lan'"), 2,
           "rcbench: sentence \"never wan lan\": \"lan\" is no address, subnet or range; write never|always "
           "SIDE "
           "[NET...] -> PLACE[:PORTS] [PROTOCOL] [unless CONDITION...]\n");
}

// ---- rules that nothing needs ---------------------------------------------------------------------------

TEST_F(PacketQuestions, FindRulesThatNothingNeeds)
{
    const Json before = Json::parse(ask("reach --quick --idle --json").output, nullptr, false);
    const std::string twice =
        "1:HTTPS:2:192.168.0.20:0.0.0.0/0:0\\x011:HTTPS:2:192.168.0.21:0.0.0.0/0:0\\x01";
    const Json after = Json::parse(
        ask("reach --quick --idle --json --set 'fw_in_rules=" + twice + "'").output, nullptr, false);
    const std::string line =
        "-t nat -A NAPT -s 0.0.0.0/0 -d 203.0.113.10 -p tcp --dport 443:443 -j DNAT --to ";
    const Json shadowed = {{"kind", "shadowed"},
                           {"table", "nat"},
                           {"chain", "NAPT"},
                           {"text", line + "192.168.0.21:443-443"},
                           {"setting", nullptr},
                           {"record", nullptr},
                           {"covered_by", {line + "192.168.0.20:443-443"}},
                           {"policy", nullptr}};
    EXPECT_EQ(std::count(before.begin(), before.end(), shadowed), 0);
    EXPECT_EQ(std::count(after.begin(), after.end(), shadowed), 1) << after.dump(1);
}

}  // namespace
