// rcbench as people use it: what it prints, what each option changes, and what it says to wrong words.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

std::string whole_file(const fs::path &path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

Lines lines_of(const std::string &text)
{
    Lines lines;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size());
        lines.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return lines;
}

struct Result {
    int status = -1;
    std::string output;
    std::string errors;

    bool has(const std::string &line) const
    {
        const Lines all = lines_of(output);
        return std::find(all.begin(), all.end(), line) != all.end();
    }
    // The output with "N ms" for every time.
    std::string timeless() const
    {
        std::string text;
        for (std::string line : lines_of(output)) {
            if (line.ends_with(" ms")) {
                const size_t blank = line.rfind(' ', line.size() - 4);
                line.replace(blank + 1, std::string::npos, "N ms");
            }
            text += line + "\n";
        }
        return text;
    }
};

class Rcbench : public testing::Test {
  protected:
    Rcbench() { folder_ = mkdtemp(name_); }
    ~Rcbench() override { fs::remove_all(folder_); }

    // The words as a shell reads them.
    Result run(const std::string &words) const
    {
        const std::string errors = folder_ + "/errors";
        FILE *pipe = popen((RCBENCH_TOOL " " + words + " 2>" + errors).c_str(), "r");
        Result result;
        if (pipe == nullptr) {
            return result;
        }
        char piece[4096];
        size_t got = 0;
        while ((got = fread(piece, 1, sizeof piece, pipe)) > 0) {
            result.output.append(piece, got);
        }
        const int status = pclose(pipe);
        result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        result.errors = whole_file(errors);
        return result;
    }

    std::string file(const std::string &name, const std::string &text) const
    {
        std::ofstream(folder_ + "/" + name, std::ios::binary) << text;
        return folder_ + "/" + name;
    }

    char name_[40] = "/tmp/rcbench_test.XXXXXX";
    std::string folder_;
};

// ---- words ----------------------------------------------------------------------------------------------

std::set<std::string> options_in(std::string text)
{
    for (size_t at = 0; (at = text.find("\\-", at)) != std::string::npos;) {
        text.erase(at, 1);
    }
    std::set<std::string> options;
    for (size_t at = 0; (at = text.find("--", at)) != std::string::npos;) {
        const size_t end = text.find_first_not_of("abcdefghijklmnopqrstuvwxyz", at + 2);
        if (end > at + 2) {
            options.insert(text.substr(at, end - at));
        }
        at = end;
    }
    return options;
}

TEST_F(Rcbench, HelpNamesWhatTheManualNames)
{
    const Result result = run("--help");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_TRUE(result.output.starts_with("usage: rcbench [OPTIONS] WORDS..."));
    std::set<std::string> options = options_in(result.output);
    EXPECT_EQ(options.erase("--help"), 1U);
    EXPECT_GT(options.size(), 20U);
    const fs::path manual = fs::path(RCBENCH_TOOL).parent_path() / "../../../man/rcbench.1";
    if (fs::exists(manual)) {
        EXPECT_EQ(options_in(whole_file(manual)), options);
    }
}

TEST_F(Rcbench, WrongWordsGiveOneLineAndStatus2)
{
    const std::string damaged = file("damaged", "lan_if=br0\nno equals sign\n");
    const struct {
        std::string words;
        std::string why;
    } cases[] = {
        {"", "no words for rc"},
        {"--brief", "no words for rc"},
        {"lan_if=br9", "no words for rc"},
        {"start ,", "no words for rc beside a comma"},
        {", start", "no words for rc beside a comma"},
        {"start , , stop", "no words for rc beside a comma"},
        {"--bogus start", "wrong option --bogus"},
        {"--brief=1 start", "wrong option --brief=1"},
        {"--set", "no value for --set"},
        {"--set start", "no \"=\" in --set start"},
        {"--set =x start", "nothing before the \"=\" in --set =x"},
        {"--set 'a=\\q' start", "wrong escape in --set a=\\q"},
        {"--set @/no/file start", "cannot read /no/file: No such file or directory"},
        {"--settings /no/file start", "cannot read /no/file: No such file or directory"},
        {"--settings " + damaged + " start", damaged + ":2: no \"=\" in entry"},
        {"--file etc/x=/dev/null start",
         "a path of the router, beginning with \"/\", wanted in --file etc/x"},
        {"--file /etc/x=/no/file start", "cannot read /no/file for --file"},
        {"--remove etc/x start", "a path of the router, beginning with \"/\", wanted in --remove etc/x"},
        {"--show etc/x start", "a path of the router, beginning with \"/\", wanted in --show etc/x"},
        {"--reply ps start", "no \"=\" in --reply ps"},
        {"--interface eth9 start", "no \"=\" in --interface eth9"},
        {"--interface eth9=1.2.3 start", "no IPv4 address in --interface eth9=1.2.3"},
        {"--interface eth9=1.2.3.4/33 start",
         "network bits from 0 to 32 wanted in --interface eth9=1.2.3.4/33"},
        {"--interface 'eth 9=1.2.3.4' start", "no name of an interface in --interface eth 9=1.2.3.4"},
        {"--clock noon start", "a time like '2026-03-06 08:29:00' wanted in --clock noon"},
        {"--diff start", "--diff needs a --set or --unset to compare with"},
        {"--diff --json --set a=1 start", "--json cannot be had together with --diff, --rules or --show"},
        {"--json --show /etc/TZ start", "--json cannot be had together with --diff, --rules or --show"},
        {"--diff --set a=1 --keep /tmp/x start",
         "--diff and --rules cannot be had together with --keep or --show"},
        {"--rules start", "--rules takes no words"},
    };
    for (const auto &c : cases) {
        const Result result = run(c.words);
        EXPECT_EQ(result.status, 2) << c.words;
        EXPECT_EQ(result.output, "") << c.words;
        EXPECT_EQ(result.errors, "rcbench: " + c.why + "; rcbench --help lists what it takes\n") << c.words;
    }
}

TEST_F(Rcbench, WhatTheBenchCannotDoGivesStatus1)
{
    Result result = run("--program /no/rc start");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "rcbench: there is no program /no/rc\n");
    (void)file("in_the_way", "");
    result = run("--keep " + folder_ + " start");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "rcbench: not an empty directory: " + folder_ + "\n");
}

TEST_F(Rcbench, AKeyThatNobodyKnowsIsNoted)
{
    const Result result = run("--brief --set fw_dmz_enabled=1 printk start , lan_id=br9 lan start");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors,
              "rcbench: note: fw_dmz_enabled is not among the default settings\n"
              "rcbench: note: lan_id is not among the default settings\n");
}

// ---- what a run looks like ------------------------------------------------------------------------------

TEST_F(Rcbench, TellsCommandsFilesAndSettingsInTheirOrder)
{
    EXPECT_EQ(run("--set fw_time_zone=-5b timezone start").timeless(),
              "$ rc timezone start\n"
              "  out    ap_name=timezone action=start\n"
              "  run    /bin/cp /proc/uptime /tmp//var/run/rc.timezone.run\n"
              "  run    /bin/echo EST5EDT,M3.2.0,M11.1.0 > /etc/TZ\n"
              "  out    /bin/echo EST5EDT,M3.2.0,M11.1.0 > /etc/TZ\n"
              "  exit status 0, N ms\n"
              "Files\n"
              "  /etc/TZ  (created, 23 bytes)\n"
              "    | EST5EDT,M3.2.0,M11.1.0\n");
    EXPECT_EQ(run("--set wifi_region=Israel --brief wlan start").output.find("Settings"), std::string::npos);
    const Result changed = run("--set wifi_region=Israel --set wifi_channel=11 wlan start");
    EXPECT_TRUE(changed.has("Settings"));
    EXPECT_TRUE(changed.has("  wifi_channel: \"11\" -> \"5\""));
    EXPECT_EQ(changed.output.find('\033'), std::string::npos);
}

TEST_F(Rcbench, ShortLeavesEchoesOutAndFoldsTools)
{
    EXPECT_EQ(run("--short timezone start").timeless(),
              "$ rc timezone start\n"
              "  out    ap_name=timezone action=start\n"
              "  run    /bin/cp /proc/uptime /tmp//var/run/rc.timezone.run\n"
              "  run    /bin/echo CET-1CEST-2,M3.5.0/02:00:00,M10.5.0/03:00:00 > /etc/TZ\n"
              "  exit status 0, N ms\n"
              "  files written: /etc/TZ\n");
    const Result radio = run("--short --set wifi_wep_on=3 wlan start");
    EXPECT_TRUE(radio.has("  run    /usr/sbin/wlctl wds none   ... and 6 more of wlctl"));
    EXPECT_TRUE(radio.has("  run    /usr/sbin/wlctl pktcnt &"));
    for (const std::string &line : lines_of(radio.output)) {
        EXPECT_LE(line.size(), 96U) << line;
    }
    EXPECT_TRUE(run("--short --set wan_mode=dhcpc wan stop").has("  run    /usr/bin/killall pppd"));
}

TEST_F(Rcbench, AllShowsYieldsAndTools)
{
    EXPECT_EQ(run("--all --brief potcounter start").timeless(),
              "$ rc potcounter start\n"
              "  out    ap_name=potcounter action=start\n"
              "  run    /bin/cp /proc/uptime /tmp//var/run/rc.potcounter.run\n"
              "  wait   1 us\n"
              "  run    /usr/sbin/potcounter&\n"
              "  tool   /usr/sbin/potcounter\n"
              "  exit status 0, N ms\n");
}

TEST_F(Rcbench, LongFilesAreWholeOnlyWhenAskedFor)
{
    const Result part = run("firewall create");
    const Result whole = run("--full firewall create");
    const std::string last = "    | iptables -t nat -A POSTROUTING -o ppp0 -j MASQUERADE";
    EXPECT_FALSE(part.has(last));
    EXPECT_NE(part.output.find(" more lines; --full shows them\n"), std::string::npos);
    EXPECT_TRUE(whole.has(last));
    EXPECT_EQ(whole.output.find("--full shows"), std::string::npos);
}

TEST_F(Rcbench, ShowsFilesAfterTheLastRun)
{
    const Result result = run("--brief --show /etc/TZ --show /no/file timezone start");
    EXPECT_TRUE(
        result.output.ends_with(" ms\n  /etc/TZ\n    | CET-1CEST-2,M3.5.0/02:00:00,M10.5.0/03:00:00\n"
                                "  /no/file  (not there)\n"));
}

TEST_F(Rcbench, SeveralRunsWorkOnOneRouter)
{
    EXPECT_EQ(run("--short printk start , fw_time_zone=-5b time_daylight=1 timezone start").timeless(),
              "$ rc printk start\n"
              "  out    ap_name=printk action=start\n"
              "  run    /bin/cp /proc/uptime /tmp//var/run/rc.printk.run\n"
              "  klog   action 6\n"
              "  exit status 0, N ms\n"
              "\n"
              "# fw_time_zone=-5b\n"
              "# time_daylight=1\n"
              "$ rc timezone start\n"
              "  out    ap_name=timezone action=start\n"
              "  run    /bin/cp /proc/uptime /tmp//var/run/rc.timezone.run\n"
              "  run    /bin/echo EST5EDT,M3.2.0,M11.1.0 > /etc/TZ\n"
              "  exit status 0, N ms\n"
              "  files written: /etc/TZ\n");
    const Result last = run("--last --brief --nested wan start , wan stop");
    EXPECT_TRUE(last.output.starts_with("$ rc wan stop\n"));
    EXPECT_TRUE(last.has("  run    /usr/sbin/atmctl operate vcc --delete 0.8.35"));
    // A word with "=" behind the first one is rc's.
    EXPECT_TRUE(run("--brief a b=c").has("$ rc a b=c"));
}

TEST_F(Rcbench, RunsStartedByRcAreShownIndentedOrOnlyNamed)
{
    const Result named = run("--brief wan start");
    EXPECT_TRUE(named.has("  script /usr/sbin/rc service restart"));
    EXPECT_EQ(named.output.find("\n      "), std::string::npos);
    const Result nested = run("--brief --nested wan start");
    EXPECT_TRUE(nested.has("  script /usr/sbin/rc service restart"));
    EXPECT_TRUE(nested.has("      out    ap_name=(null) action=restart"));
    EXPECT_TRUE(nested.has("      run    rc dnrd restart"));
    EXPECT_TRUE(nested.has("          out    ap_name=dnrd action=restart"));
    EXPECT_FALSE(nested.has("      script rc dnrd restart"));
}

// ---- the router -----------------------------------------------------------------------------------------

TEST_F(Rcbench, SettingsComeFromDefaultsFilesAndOptions)
{
    const std::string ifconfig = "  run    /sbin/ifconfig ";
    EXPECT_TRUE(
        run("lan start").has(ifconfig + "br0 192.168.0.1 netmask 255.255.255.0 broadcast 192.168.0.255"));
    EXPECT_TRUE(run("--set lan_if=br9 --set 'lan_netmask=\\x41' lan start")
                    .has(ifconfig + "br9 192.168.0.1 netmask A broadcast 192.168.0.255"));
    const std::string settings = file("settings", "# the LAN\nlan_if=br7\nlan_ipaddr=10.0.0.1\n");
    EXPECT_TRUE(run("--settings " + settings + " --set lan_ipaddr=10.0.0.2 lan start")
                    .has(ifconfig + "br7 10.0.0.2 netmask 255.255.255.0 broadcast 192.168.0.255"));
    EXPECT_TRUE(run("--set @" + settings + " --set lan_if=br8 lan start")
                    .has(ifconfig + "br8 10.0.0.1 netmask 255.255.255.0 broadcast 192.168.0.255"));
    EXPECT_TRUE(run("--unset lan_bipaddr lan start")
                    .has(ifconfig + "br0 192.168.0.1 netmask 255.255.255.0 broadcast\\x20"));
}

TEST_F(Rcbench, ABlankRouterTakesItsSettingsFromTheDefaults)
{
    const Result result = run("--blank --set lan_if=br9 --unset lan_bipaddr init , lan start");
    EXPECT_TRUE(result.has("  run    /bin/cp /etc/default /tmp/nvram\\n"));
    EXPECT_TRUE(result.has("  run    /sbin/ifconfig br9 192.168.0.1 netmask 255.255.255.0 broadcast\\x20"));
    EXPECT_FALSE(run("lan start").has("  run    /bin/cp /etc/default /tmp/nvram\\n"));
}

TEST_F(Rcbench, FilesAreReplacedAndRemoved)
{
    const std::string servers = file("servers", "nameserver 192.0.2.99\n");
    EXPECT_TRUE(run("--file /etc/resolv.conf=" + servers + " --short dnrd start")
                    .has("  run    dnrd -a 192.168.0.1 -m hosts -c off --timeout=0 -b  -s 192.0.2.99"));
    EXPECT_TRUE(run("--remove /etc/resolv.conf --short dnrd start")
                    .has("  run    dnrd -a 192.168.0.1 -m hosts -c off --timeout=0 -b"));
}

TEST_F(Rcbench, RepliesTakeTheUsualAnswersPlace)
{
    const std::string add =
        "  run    /usr/sbin/atmctl operate vcc --add 0.8.35 aal5 1 unknown --addq 0.8.35 64 0";
    EXPECT_TRUE(run("wan start").has(add));
    EXPECT_FALSE(run("--reply 'adslctl info=Idle\\n' wan start").has(add));
    const Result turns =
        run("--reply 'adslctl info=Idle\\n' --reply 'adslctl info=Showtime\\n' --last wan start , wan start");
    EXPECT_TRUE(turns.has(add));
    EXPECT_TRUE(turns.output.starts_with("$ rc wan start\n"));
    // What runs already is found in the list of processes and ended first, unless the list is given.
    EXPECT_TRUE(run("--last wan start , wan start").has("  run    /usr/bin/killall wizard"));
    EXPECT_FALSE(
        run("--reply 'ps=init\\n' --last wan start , wan start").has("  run    /usr/bin/killall wizard"));
}

TEST_F(Rcbench, InterfacesHaveTheAddressesGiven)
{
    EXPECT_TRUE(run("--brief --show /tmp/wan_ipaddr service stop").has("    | 203.0.113.10   (no line end)"));
    EXPECT_TRUE(run("--brief --interface ppp0=198.51.100.7/24 --show /tmp/wan_ipaddr service stop")
                    .has("    | 198.51.100.7   (no line end)"));
    EXPECT_TRUE(
        run("--brief --set wan_ifname=dsl0 --interface dsl0=198.51.100.8 --show /tmp/wan_ipaddr service stop")
            .has("    | 198.51.100.8   (no line end)"));
}

TEST_F(Rcbench, TheClockStandsWhereItIsSet)
{
    // Friday 8:29 and 17:00 in the router's zone.
    EXPECT_TRUE(run("--clock '2026-03-06 07:29:00' schedule start")
                    .has("  run    echo 1 > /proc/net/ipt_condition/schedule\\x20"));
    EXPECT_TRUE(run("--clock '2026-03-06 16:00:00' schedule start")
                    .has("  run    echo 0 > /proc/net/ipt_condition/schedule\\x20"));
}

TEST_F(Rcbench, TheRoutersDirectoryIsKeptWhereAsked)
{
    const fs::path kept = folder_ + "/router";
    EXPECT_EQ(run("--keep " + kept.string() + " timezone start").status, 0);
    EXPECT_EQ(whole_file(kept / "etc/TZ"), "CET-1CEST-2,M3.5.0/02:00:00,M10.5.0/03:00:00\n");
    EXPECT_TRUE(fs::exists(kept / "tmp/nvram"));
}

TEST_F(Rcbench, TheTargetsProgramDoesTheSame)
{
    const fs::path target = fs::path(RCBENCH_TOOL).parent_path() / "../../mips/bin/rc";
    const Result result = run("--emulate timezone start");
    if (!fs::exists(target)) {
        EXPECT_EQ(result.status, 1);
        EXPECT_NE(result.errors.find("build the target's with cmake --preset mips"), std::string::npos);
        return;
    }
    EXPECT_EQ(result.timeless(), run("timezone start").timeless());
}

// ---- differences and rules ------------------------------------------------------------------------------

TEST_F(Rcbench, DiffShowsWhatASettingChanges)
{
    EXPECT_EQ(run("--diff --set fw_time_zone=-5b timezone start").timeless(),
              "$ rc timezone start\n"
              "Commands\n"
              "  @@ -1,4 +1,4 @@\n"
              "     out    ap_name=timezone action=start\n"
              "     run    /bin/cp /proc/uptime /tmp//var/run/rc.timezone.run\n"
              "  -  run    /bin/echo CET-1CEST-2,M3.5.0/02:00:00,M10.5.0/03:00:00 > /etc/TZ\n"
              "  -  out    /bin/echo CET-1CEST-2,M3.5.0/02:00:00,M10.5.0/03:00:00 > /etc/TZ\n"
              "  +  run    /bin/echo EST5EDT,M3.2.0,M11.1.0 > /etc/TZ\n"
              "  +  out    /bin/echo EST5EDT,M3.2.0,M11.1.0 > /etc/TZ\n"
              "/etc/TZ\n"
              "  @@ -1,1 +1,1 @@\n"
              "  -CET-1CEST-2,M3.5.0/02:00:00,M10.5.0/03:00:00\n"
              "  +EST5EDT,M3.2.0,M11.1.0\n");
    EXPECT_EQ(run("--diff --set fw_time_zone=-5b printk start").output,
              "$ rc printk start\nNo difference.\n");
    // A file that one run leaves alone is compared as it was.
    const Result off = run("--diff --set dhcp_server_enable=0 --file /etc/udhcpd.conf=/dev/null dhcpd start");
    EXPECT_TRUE(off.has("  -server\t\t192.168.0.1"));
    const Result brief = run("--diff --brief --unset fw_time_zone timezone start");
    EXPECT_TRUE(brief.has("Commands"));
    EXPECT_FALSE(brief.has("/etc/TZ"));
    // No text: byte by byte.
    EXPECT_TRUE(run("--diff --set wan_ifname=nas0 vpn start")
                    .has("  +000000  00 00 00 00 00 00 00 00 00 00 00 00 00 00 6e 61"));
}

TEST_F(Rcbench, RulesAreShownByChainWithTheirSettings)
{
    const Result rules = run("--rules");
    EXPECT_EQ(rules.status, 0);
    EXPECT_TRUE(rules.output.starts_with("nat PREROUTING\n"));
    EXPECT_TRUE(rules.has("  fw_nat                 -o ppp0 -j MASQUERADE"));
    EXPECT_EQ(run("--rules --set fw_nat=0").output.find("MASQUERADE"), std::string::npos);
    const std::string one_more = "--set 'fw_dmz_enable=1'";
    EXPECT_EQ(run("--rules --diff --short " + one_more).output,
              "nat DMZ\n"
              "  +fw_dmz_enable  -d 203.0.113.10 -p ! icmp -j DNAT --to 192.168.0.40\n"
              "filter IN_FILTER\n"
              "  +fw_dmz_enable  -d 192.168.0.40 -j ACCEPT\n");
    EXPECT_EQ(run("--rules --diff --set fw_schedule=").output, "No difference.\n");
}

// ---- for machines ---------------------------------------------------------------------------------------

// Reads one JSON value; `at` ends behind it, or stays where it went wrong.
class Json {
  public:
    explicit Json(const std::string &text) : text_(text) {}

    bool whole()
    {
        const bool good = value();
        blanks();
        return good && at_ == text_.size();
    }
    size_t place() const { return at_; }
    // How often a member of this name was met.
    size_t members(const std::string &name) const { return static_cast<size_t>(names_.count(name)); }

  private:
    void blanks() { at_ = std::min(text_.find_first_not_of(" \n", at_), text_.size()); }
    bool take(char c)
    {
        blanks();
        if (at_ >= text_.size() || text_[at_] != c) {
            return false;
        }
        at_++;
        return true;
    }
    bool word(const std::string &word)
    {
        if (text_.compare(at_, word.size(), word) != 0) {
            return false;
        }
        at_ += word.size();
        return true;
    }
    bool text(std::string &out)
    {
        if (!take('"')) {
            return false;
        }
        while (at_ < text_.size() && text_[at_] != '"') {
            if (static_cast<unsigned char>(text_[at_]) < ' ') {
                return false;
            }
            if (text_[at_] == '\\') {
                at_ += text_.compare(at_, 2, "\\u") == 0 ? 4 : 1;
            }
            out += text_[at_++];
        }
        return take('"');
    }
    template <typename Item>
    bool list(char end, const Item &item)
    {
        if (take(end)) {
            return true;
        }
        do {
            if (!item()) {
                return false;
            }
        } while (take(','));
        return take(end);
    }
    bool member()
    {
        std::string name;
        if (!text(name) || !take(':')) {
            return false;
        }
        names_.insert(name);
        return value();
    }
    // NOLINTNEXTLINE(misc-no-recursion): a value holds values
    bool value()
    {
        blanks();
        if (take('{')) {
            return list('}', [this] { return member(); });
        }
        if (take('[')) {
            return list(']', [this] { return value(); });
        }
        if (text_[at_] == '"') {
            std::string ignored;
            return text(ignored);
        }
        const size_t end = text_.find_first_not_of("0123456789", at_);
        if (end != at_) {
            at_ = std::min(end, text_.size());
            return true;
        }
        return word("true") || word("false") || word("null");
    }

    const std::string &text_;
    size_t at_ = 0;
    std::multiset<std::string> names_;
};

TEST_F(Rcbench, JsonIsWholeAndHasOneObjectARun)
{
    const Result one = run(
        "--json --set 'wifi_psk_pwd=\\x01\\x7f\\xffa\\n\"b\\\\' --nested wan start , wlan start , wan foo");
    EXPECT_EQ(one.status, 0);
    Json json(one.output);
    EXPECT_TRUE(json.whole()) << one.output.substr(json.place(), 200);
    for (const char *name : {"status", "timed_out", "events", "errors"}) {
        EXPECT_EQ(json.members(name), 3U) << name;
    }
    EXPECT_GT(json.members("seconds"), 2U);
    EXPECT_NE(one.output.find("\\u0001\\u007f\\u00ffa\\u000a\\\"b\\\\"), std::string::npos);
    const Result last = run("--json --last printk start , printk stop");
    Json last_json(last.output);
    EXPECT_TRUE(last_json.whole());
    EXPECT_EQ(last_json.members("events"), 1U);
    EXPECT_NE(last.output.find("{\"kind\": \"klog\", \"depth\": 0, \"action\": 7}"), std::string::npos);
}

}  // namespace
