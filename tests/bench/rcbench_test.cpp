// rcbench as people use it: what it prints, what each option changes, and what it says to wrong words.
#include <gtest/gtest.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "forms/words.h"
#include "tests/running.h"

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
    bool complete = true;
    return forms::split_lines(text, complete);
}

class Rcbench : public testing::Test {
  protected:
    // The words as a shell reads them.
    Ran run(const std::string &words) const { return folder_.run(RCBENCH_TOOL " " + words); }

    std::string file(const std::string &name, const std::string &text) const
    {
        return folder_.file(name, text);
    }

    Folder folder_;
};

// ---- words ----------------------------------------------------------------------------------------------

// The options named in a text; \- is a dash of a manual page.
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

// The subcommands as the program's help lists them.
Lines subcommands(const std::string &help)
{
    Lines names;
    const Lines lines = lines_of(help);
    const std::string first = "  run  ";
    auto line = std::find_if(lines.begin(), lines.end(),
                             [&](const std::string &text) { return text.starts_with(first); });
    for (; line != lines.end() && !line->empty(); ++line) {
        if (line->compare(0, 2, "  ") == 0 && line->at(2) != ' ') {
            names.push_back(line->substr(2, line->find(' ', 2) - 2));
        }
    }
    return names;
}

TEST_F(Rcbench, TheManualNamesAllOptionsOfAllSubcommands)
{
    const Ran whole = run("--help");
    EXPECT_EQ(whole.status, 0);
    EXPECT_EQ(whole.errors, "");
    EXPECT_TRUE(whole.output.starts_with("usage: rcbench [OPTIONS] WORDS..."));
    std::set<std::string> options = options_in(whole.output);
    EXPECT_GT(options.size(), 20U);
    const Lines names = subcommands(whole.output);
    EXPECT_GE(names.size(), 2U);
    for (const std::string &name : names) {
        const Ran one = run(name + " --help");
        EXPECT_EQ(one.status, 0) << name;
        EXPECT_TRUE(one.output.starts_with("usage: rcbench " + name + " ")) << name;
        options.merge(options_in(one.output));
    }
    const fs::path manual = fs::path(RCBENCH_TOOL).parent_path() / "../../../man/rcbench.1";
    if (fs::exists(manual)) {
        EXPECT_EQ(options_in(whole_file(manual)), options);
    }
}

TEST_F(Rcbench, HelpFitsIntoEightyColumns)
{
    for (const std::string &words : {std::string("--help"), std::string("rules --help"),
                                     std::string("compare --help"), std::string("completion --help")}) {
        for (const std::string &line : lines_of(run(words).output)) {
            EXPECT_LE(line.size(), 80U) << line;
        }
    }
}

TEST_F(Rcbench, WrongWordsGiveOneLineThatHelpWouldCure)
{
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
        {"lan start, firewall restart",
         "start,: the comma between two runs is a word of its own, with a space on either side"},
        {"lan start ,firewall restart",
         ",firewall: the comma between two runs is a word of its own, with a space on either side"},
        {"--bogus start", "unknown option \"--bogus\""},
        {"--brief=1 start", "option --brief takes no argument"},
        {"--set", "option --set needs an argument, KEY=VALUE"},
        {"--set start", "--set start: no \"=\" in it"},
        {"--set =x start", "--set =x: nothing before the \"=\""},
        {"--file etc/x=/dev/null start", "--file etc/x: a path of the router begins with \"/\""},
        {"--remove etc/x start", "--remove etc/x: a path of the router begins with \"/\""},
        {"--remove / start", "--remove /: that is the router's root itself, not a file"},
        {"--remove /etc/.. start", "--remove /etc/..: that is the router's root itself, not a file"},
        {"--show etc/x start", "--show etc/x: a path of the router begins with \"/\""},
        {"--reply ps start", "--reply ps: no \"=\" in it"},
        {"--interface eth9 start", "--interface eth9: no \"=\" in it"},
        {"--interface eth9=1.2.3 start", "--interface eth9=1.2.3: no IPv4 address of an interface"},
        {"--interface eth9=224.0.0.1 start", "--interface eth9=224.0.0.1: no IPv4 address of an interface"},
        {"--interface eth9=1.2.3.4/33 start",
         "--interface eth9=1.2.3.4/33: the network bits are a number from 0 to 32"},
        {"--interface eth9=1.2.3.4/4294967297 start",
         "--interface eth9=1.2.3.4/4294967297: the network bits are a number from 0 to 32"},
        {"--interface 'eth 9=1.2.3.4' start",
         "--interface eth 9=1.2.3.4: a name has 1 to 15 characters, no space, \"/\", \":\", \"%\" or \";\", "
         "and is not "
         "\"lo\""},
        {"--clock noon start", "--clock noon: not a time like '2026-03-06 08:29:00'"},
        {"--diff start", "--diff needs a --set or --unset to compare with"},
        {"--diff --json --set a=1 start", "--json cannot be combined with --diff or --show"},
        {"--json --show /etc/TZ start", "--json cannot be combined with --diff or --show"},
        {"--diff --set a=1 --keep /tmp/x start", "--diff cannot be combined with --keep or --show"},
        {"--keep '' start", "--keep needs the name of a directory"},
        {"--limit 0 start", "--limit 0: a number from 1 to 86400 is needed"},
        {"--pauses x start", "--pauses x: a number from 1 to 1000000 is needed"},
    };
    for (const auto &c : cases) {
        const Ran result = run(c.words);
        EXPECT_EQ(result.status, 2) << c.words;
        EXPECT_EQ(result.output, "") << c.words;
        EXPECT_EQ(result.errors, "rcbench: " + c.why + "; see rcbench --help\n") << c.words;
    }
}

// What the router's kernel would refuse, too, is no reason not to show what rc does with it.
TEST_F(Rcbench, NamesAndAddressesThatNoInterfaceCanHaveAreTakenAsSettings)
{
    for (const std::string value : {"", "lo", ".", "..", "a b", "a/b", "a:b", "a%d", "a%", "x;y", "peer1",
                                    "\\x08;:", "\\xA0", "sixteen_letters_"}) {
        const Ran ran =
            run("--brief --set 'wan_ifname=" + value + "' --set 'lan_if=" + value + "' printk start");
        EXPECT_EQ(ran.status, 0) << value;
        EXPECT_EQ(ran.errors, "") << value;
    }
    for (const std::string value :
         {"", "0.0.0.0", "127.0.0.1", "224.0.0.1", "240.0.0.1", "255.255.255.255", "1.2.3"}) {
        const Ran ran = run("--brief --set lan_ipaddr=" + value + " printk start");
        EXPECT_EQ(ran.status, 0) << value;
        EXPECT_EQ(ran.errors, "") << value;
    }
}

TEST_F(Rcbench, OptionsComeBeforeTheWordsForRcAndAnywhereElseWhereThereAreNone)
{
    Ran result = run("wan start --short");
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(
        result.errors,
        "rcbench: --short comes after the words for rc; options come before them; see rcbench --help\n");
    result = run("run wan start , wan stop --set=wan_mode=ip");
    EXPECT_EQ(result.errors,
              "rcbench: --set=wan_mode=ip comes after the words for rc; options come before them; "
              "see rcbench run --help\n");
    EXPECT_TRUE(run("--brief foo --bogus").has("$ rc foo --bogus"));
    result = run("rules fw_nat=1");
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.errors,
              "rcbench: rules takes no words, only options: fw_nat=1; see rcbench rules --help\n");
}

TEST_F(Rcbench, InputThatCannotBeUsedGivesItsCauseAndStatus2)
{
    const std::string damaged = file("damaged", "lan_if=br0\nno equals sign\n");
    const struct {
        std::string words;
        std::string why;
    } cases[] = {
        {"--set 'a=\\q' start", "--set \\\\q: a backslash begins \\n, \\t, \\\\ or \\xHH"},
        {"--set @/no/file start", "cannot read /no/file: No such file or directory"},
        {"--settings /no/file start", "cannot read /no/file: No such file or directory"},
        {"--settings /dev/zero start", "cannot read /dev/zero: it is a device"},
        {"--settings /tmp start", "cannot read /tmp: it is a directory"},
        {"--file /etc/x=/tmp start", "cannot read /tmp: it is a directory"},
        {"--file /etc/x=/no/file start", "cannot read /no/file: No such file or directory"},
        {"--clock '2026-02-30 01:00:00' start",
         "--clock 2026-02-30 01:00:00: there is no such day or second"},
        {"--clock '2026-03-06 08:29:60' start",
         "--clock 2026-03-06 08:29:60: there is no such day or second"},
        {"--program /no/rc start", "there is no program /no/rc"},
        {"--program /tmp start", "cannot read /tmp: it is a directory"},
        {"--program " + damaged + " start", "cannot run " + damaged + ": it is no program"},
    };
    for (const auto &c : cases) {
        const Ran result = run(c.words);
        EXPECT_EQ(result.status, 2) << c.words;
        EXPECT_EQ(result.output, "") << c.words;
        EXPECT_EQ(result.errors, "rcbench: " + c.why + "\n") << c.words;
    }
    const Ran result = run("--settings " + damaged + " start");
    EXPECT_EQ(result.status, 2);
    EXPECT_TRUE(result.errors.starts_with("rcbench: cannot read " + damaged + ":2: ")) << result.errors;
}

TEST_F(Rcbench, SettingsInFilesOfOtherKindsAreRefusedOrReadWhereThatIsCertain)
{
    using std::string_literals::operator""s;
    const std::string store = file("store", "lan_ipaddr=10.0.0.1\0lan_if=br0\0\0"s);
    const std::string image = file("image", "\0NOR\0\0\0\5"s);
    const std::string wide = file("wide", "\xff\xfel\0a\0n\0=\0"s);
    for (const std::string option : {"--settings ", "--set @"}) {
        EXPECT_EQ(
            run(option + store + " start").errors,
            "rcbench: cannot read " + store + ": this is a store, not text; use nvram -f FILE export\n");
        EXPECT_EQ(run(option + image + " start").errors,
                  "rcbench: cannot read " + image +
                      ": this is a flash image, not text; use nvram --flash FILE export\n");
        EXPECT_EQ(run(option + wide + " start").errors,
                  "rcbench: cannot read " + wide + ": this is text in UTF-16; save it as UTF-8\n");
        EXPECT_EQ(run(option + wide + " start").status, 2);
        // A byte-order mark and line ends of another system hide no key.
        const std::string text = file("text", "\xef\xbb\xbflan_ipaddr=10.0.0.1\r\nlan_netmask=255.0.0.0\r\n");
        const Ran result = run("--brief " + option + text + " lan start");
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.errors, "");
        EXPECT_NE(result.output.find("ifconfig br0 10.0.0.1 netmask 255.0.0.0 "), std::string::npos)
            << result.output;
    }
}

TEST_F(Rcbench, JunkInMessagesIsEscapedAndCut)
{
    const Ran result = run("--$(printf 'a\\033[31m\\007%0500d' 0) start");
    EXPECT_EQ(result.status, 2);
    EXPECT_TRUE(result.errors.starts_with("rcbench: unknown option \"--a\\x1b[31m\\x07000")) << result.errors;
    EXPECT_TRUE(result.errors.ends_with("0...\"; see rcbench --help\n")) << result.errors;
    EXPECT_LT(result.errors.size(), 280U);
}

TEST_F(Rcbench, WhatTheBenchCannotDoGivesStatus3)
{
    (void)file("in_the_way", "");
    file("something", "");
    const Ran result = run("--keep " + folder_.path() + " start");
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.errors, "rcbench: cannot keep the router in " + folder_.path() + ": it is not empty\n");
    EXPECT_EQ(run("--keep /proc/no/directory start").errors,
              "rcbench: cannot keep the router in /proc/no/directory: No such file or directory\n");
}

TEST_F(Rcbench, ADirectoryToKeepTheRouterInThatCannotBeWrittenToIsNamed)
{
    // Root may write everywhere.
    const std::string as_other = geteuid() == 0
                                     ? "setpriv --reuid=65534 --regid=65534 --clear-groups " RCBENCH_TOOL " "
                                     : RCBENCH_TOOL " ";
    fs::create_directory(folder_.path() + "/locked");
    fs::permissions(folder_.path(), fs::perms(0755));
    fs::permissions(folder_.path() + "/locked", fs::perms(0555));
    if (folder_.run(as_other + "--version").status != 0) {
        GTEST_SKIP() << "needs a place that other users can run the program from";
    }
    for (const std::string &place : {folder_.path() + "/locked", folder_.path() + "/locked/deeper"}) {
        const Ran result = folder_.run(as_other + "--keep " + place + " lan start");
        EXPECT_EQ(result.status, 3);
        EXPECT_EQ(result.errors, "rcbench: cannot keep the router in " + place + ": Permission denied\n");
    }
}

TEST_F(Rcbench, OutputThatCannotBeWrittenIsAnError)
{
    for (const std::string &words : {std::string("timezone start"), std::string("--json timezone start"),
                                     std::string("rules"), std::string("--help")}) {
        const Ran result = run(words + " >/dev/full");
        EXPECT_EQ(result.status, 3) << words;
        EXPECT_EQ(result.errors, "rcbench: cannot write standard output: No space left on device\n") << words;
        EXPECT_EQ(run(words + " >&-").status, 3) << words;
    }
}

// No session comes up: rc tries again without end.
const std::string kEndless =
    "--brief --set wan_mode=pppoe --reply 'pppd plugin=' --pauses 40 --limit 3600 wan start";

TEST_F(Rcbench, ARunThatTheBenchCutsOffSaysSoFirstAndGivesStatus3)
{
    const Ran result = run(kEndless);
    EXPECT_EQ(result.status, 3);
    EXPECT_TRUE(
        result.output.starts_with("$ rc wan start\n"
                                  "  cut off at the limit of pauses; --pauses sets it\n"))
        << result.output.substr(0, 200);
    EXPECT_TRUE(result.output.ends_with("  cut off at the limit of pauses; --pauses sets it\n"));
    const Ran json = run("--json " + kEndless);
    EXPECT_EQ(json.status, 3);
    EXPECT_EQ(nlohmann::json::parse(json.output, nullptr, false)[0]["limit"], "pauses");
    EXPECT_EQ(run("--diff --unset fw_nat " + kEndless).status, 3);
}

TEST_F(Rcbench, EveryLimitSaysWhichItIs)
{
    const std::string loud = file("loud", "#!/bin/sh\nwhile :; do echo and on; done\n");
    const std::string busy = file("busy", "#!/bin/sh\nwhile :; do :; done\n");
    const struct {
        std::string words;
        std::string why;
    } cases[] = {
        {"--output 1 --file /sbin/ifconfig=" + loud, "cut off at the limit of output; --output sets it"},
        {"--limit 1 --file /sbin/ifconfig=" + busy, "cut off at the time limit; --limit sets it"},
    };
    for (const auto &c : cases) {
        const Ran result = run("--brief " + c.words + " lan start");
        EXPECT_EQ(result.status, 3) << c.words;
        EXPECT_TRUE(result.output.starts_with("$ rc lan start\n  " + c.why + "\n"))
            << result.output.substr(0, 200);
        EXPECT_LT(lines_of(result.output).size(), 20U);
    }
}

TEST_F(Rcbench, WhatRepeatsIsFoldedUnlessAllIsWanted)
{
    const Ran result = run(kEndless);
    EXPECT_TRUE(result.has("  ... these 4 lines 38 times"));
    EXPECT_LT(lines_of(result.output).size(), 40U);
    EXPECT_GT(lines_of(run("--full " + kEndless).output).size(), 160U);
}

TEST_F(Rcbench, SaysWhatWasNamedAndMetNothing)
{
    const Ran result =
        run("--brief --reply 'wlctl  up=x\\n' --reply 'wlclt up=x' --reply 'nosuchtool=x' --reply 'wlctl "
            "pktcnt=' --remove "
            "/etc/no_such "
            "--remove /etc/resolv.conf --show /etc/no_file --show /etc/TZ wlan start");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors,
              "rcbench: note: --show /etc/no_file: the router has no such file after the last run\n"
              "rcbench: note: --show /etc/TZ: the router has no such file after the last run\n"
              "rcbench: note: --reply wlclt up: no tool was called so (did you mean wlctl?)\n"
              "rcbench: note: --reply nosuchtool: no tool was called so\n"
              "rcbench: note: --remove /etc/no_such: the router has no such file\n");
}

TEST_F(Rcbench, SlipsInNamesGetAGuess)
{
    EXPECT_EQ(run("--shrot wan start").errors,
              "rcbench: unknown option \"--shrot\" (did you mean --short?); see rcbench --help\n");
    EXPECT_EQ(run("--brief firewal create").errors,
              "rcbench: note: firewal is no service or verb of rc (did you mean firewall?)\n");
    EXPECT_EQ(run("--brief rulse").errors,
              "rcbench: note: rulse is no service or verb of rc (did you mean rules?)\n");
    EXPECT_EQ(
        run("--brief --set fw_dmz_enabel=1 printk start").errors,
        "rcbench: note: fw_dmz_enabel is not among the default settings (did you mean fw_dmz_enable?)\n");
    EXPECT_EQ(run("--brief --set zzzzzzzz=1 printk start").errors,
              "rcbench: note: zzzzzzzz is not among the default settings\n");
    EXPECT_EQ(run("--brief printk strat").errors,
              "rcbench: note: strat is no verb of rc (did you mean start?)\n");
    EXPECT_EQ(run("--brief printk reload").errors, "");
    EXPECT_EQ(
        run("shell fw_dmz_enabel").errors,
        "rcbench: fw_dmz_enabel is no setting (did you mean fw_dmz_enable?); see rcbench shell --help\n");
    const std::string settings = file("slip", "lan_ip=192.168.0.1\n");
    EXPECT_EQ(run("--brief --settings " + settings + " printk start").errors,
              "rcbench: note: lan_ip is not among the default settings (did you mean lan_if?)\n");
}

TEST_F(Rcbench, WhatARunDoesDoesNotDependOnTheHour)
{
    const std::string flag = "--show /proc/net/ipt_condition/schedule schedule start";
    EXPECT_TRUE(run(flag).has("  run    echo 1 > /proc/net/ipt_condition/schedule\\x20"));
    EXPECT_TRUE(run("--clock '2026-03-02 03:00:00' " + flag)
                    .has("  run    echo 0 > /proc/net/ipt_condition/schedule\\x20"));
    EXPECT_NE(run("--scenario schedule start").output.find("\nclock 2026-03-02 12:00:00\n"),
              std::string::npos);
}

TEST_F(Rcbench, AScenarioOfARunIsOneThatTheRunnerTakes)
{
    for (const std::string &words :
         {std::string("--set fw_time_zone=-5b timezone start"), std::string("--nested wan start"),
          std::string("--clock '2026-03-06 07:29:00' schedule start"),
          std::string("--blank init , printk start"), std::string("--unset lan_bipaddr lan start"),
          std::string("lan start , lan_ipaddr=192.168.7.1 lan restart"),
          std::string("--set 'wifi_psk_pwd=a\\n b' --remove /etc/hosts wlan start")}) {
        const Ran written = run("--scenario " + words);
        EXPECT_EQ(written.status, 0) << words;
        const std::string name = file("made.scenario", written.output);
        const Ran report = folder_.run(SCENARIO_TOOL " " + name);
        EXPECT_EQ(report.status, 0) << words << "\n" << report.output << report.errors;
    }
}

TEST_F(Rcbench, CompareFindsNoDifferenceBetweenAProgramAndItself)
{
    const std::string rc = (fs::path(RCBENCH_TOOL).parent_path() / "rc").string();
    Ran result = run("compare " + rc + " " + rc + " timezone start , printk stop");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output.substr(result.output.size() - 12), "0 different\n");
    result = run("compare " + rc);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.errors, "rcbench: compare needs two rc programs; see rcbench compare --help\n");
}

TEST_F(Rcbench, CompareShowsWhatAnotherProgramDoes)
{
    const fs::path bin = fs::path(RCBENCH_TOOL).parent_path();
    const std::string settings = file("one", "lan_if=br0\n");
    const Ran result = run("compare --settings " + settings + " " + (bin / "rc").string() + " " +
                           (bin.parent_path() / "bench/inside/bench_probe").string() + " print start");
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(result.output.starts_with("$ rc print start   (" + settings + ")\nCommands\n"));
    EXPECT_TRUE(result.has("1 runs compared, 1 different"));
}

TEST_F(Rcbench, AKeyThatNobodyKnowsIsNoted)
{
    const Ran result = run("--brief --set fw_dmz_enabled=1 printk start , lan_id=br9 lan start");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(
        result.errors,
        "rcbench: note: fw_dmz_enabled is not among the default settings (did you mean fw_dmz_enable?)\n"
        "rcbench: note: lan_id is not among the default settings (did you mean lan_if?)\n");
}

// ---- what a run looks like ------------------------------------------------------------------------------

TEST_F(Rcbench, TellsCommandsFilesAndSettingsInTheirOrder)
{
    EXPECT_EQ(run("--set fw_time_zone=-5b timezone start").output,
              "$ rc timezone start\n"
              "  out    ap_name=timezone action=start\n"
              "  run    /bin/cp /proc/uptime /tmp//var/run/rc.timezone.run\n"
              "  run    /bin/echo EST5EDT,M3.2.0,M11.1.0 > /etc/TZ\n"
              "  out    /bin/echo EST5EDT,M3.2.0,M11.1.0 > /etc/TZ\n"
              "  exit status 0\n"
              "Files\n"
              "  /etc/TZ  (created, 23 bytes)\n"
              "    | EST5EDT,M3.2.0,M11.1.0\n");
    EXPECT_EQ(run("--set wifi_region=Israel --brief wlan start").output.find("Settings"), std::string::npos);
    const Ran changed = run("--set wifi_region=Israel --set wifi_channel=11 wlan start");
    EXPECT_TRUE(changed.has("Settings"));
    EXPECT_TRUE(changed.has("  wifi_channel: \"11\" -> \"5\""));
    EXPECT_EQ(changed.output.find('\033'), std::string::npos);
}

TEST_F(Rcbench, ShortLeavesEchoesOutAndFoldsTools)
{
    EXPECT_EQ(run("--short timezone start").output,
              "$ rc timezone start\n"
              "  out    ap_name=timezone action=start\n"
              "  run    /bin/cp /proc/uptime /tmp//var/run/rc.timezone.run\n"
              "  run    /bin/echo CET-1CEST-2,M3.5.0/02:00:00,M10.5.0/03:00:00 > /etc/TZ\n"
              "  exit status 0\n"
              "  files written: /etc/TZ\n");
    const Ran radio = run("--short --set wifi_wep_on=3 wlan start");
    EXPECT_TRUE(radio.has("  run    /usr/sbin/wlctl wds none   ... and 6 more of wlctl"));
    EXPECT_TRUE(radio.has("  run    /usr/sbin/wlctl pktcnt &"));
    for (const std::string &line : lines_of(radio.output)) {
        EXPECT_LE(line.size(), 96U) << line;
    }
    EXPECT_TRUE(run("--short --set wan_mode=dhcpc wan stop").has("  run    /usr/bin/killall pppd"));
}

TEST_F(Rcbench, AllShowsYieldsAndTools)
{
    EXPECT_EQ(run("--all --brief potcounter start").output,
              "$ rc potcounter start\n"
              "  out    ap_name=potcounter action=start\n"
              "  run    /bin/cp /proc/uptime /tmp//var/run/rc.potcounter.run\n"
              "  wait   1 us\n"
              "  run    /usr/sbin/potcounter&\n"
              "  tool   /usr/sbin/potcounter\n"
              "  exit status 0\n");
}

TEST_F(Rcbench, LongFilesAreWholeOnlyWhenAskedFor)
{
    const Ran part = run("firewall create");
    const Ran whole = run("--full firewall create");
    const std::string last = "    | iptables -t nat -A POSTROUTING -o ppp0 -j MASQUERADE";
    EXPECT_FALSE(part.has(last));
    EXPECT_NE(part.output.find(" more lines; --full shows them\n"), std::string::npos);
    EXPECT_TRUE(whole.has(last));
    EXPECT_EQ(whole.output.find("--full shows"), std::string::npos);
}

TEST_F(Rcbench, ShowsFilesAfterTheLastRun)
{
    const Ran result = run("--brief --show /etc/TZ --show /no/file timezone start");
    EXPECT_TRUE(result.output.ends_with(
        "  exit status 0\n  /etc/TZ\n    | CET-1CEST-2,M3.5.0/02:00:00,M10.5.0/03:00:00\n"
        "  /no/file  (not there)\n"));
}

TEST_F(Rcbench, SeveralRunsWorkOnOneRouter)
{
    EXPECT_EQ(run("--short printk start , fw_time_zone=-5b time_daylight=1 timezone start").output,
              "$ rc printk start\n"
              "  out    ap_name=printk action=start\n"
              "  run    /bin/cp /proc/uptime /tmp//var/run/rc.printk.run\n"
              "  klog   action 6\n"
              "  exit status 0\n"
              "\n"
              "# fw_time_zone=-5b\n"
              "# time_daylight=1\n"
              "$ rc timezone start\n"
              "  out    ap_name=timezone action=start\n"
              "  run    /bin/cp /proc/uptime /tmp//var/run/rc.timezone.run\n"
              "  run    /bin/echo EST5EDT,M3.2.0,M11.1.0 > /etc/TZ\n"
              "  exit status 0\n"
              "  files written: /etc/TZ\n");
    const Ran last = run("--last --brief --nested wan start , wan stop");
    EXPECT_TRUE(last.output.starts_with("$ rc wan stop\n"));
    EXPECT_TRUE(last.has("  run    /usr/sbin/atmctl operate vcc --delete 0.8.35"));
    // A word with "=" behind the first one is rc's.
    EXPECT_TRUE(run("--brief a b=c").has("$ rc a b=c"));
}

TEST_F(Rcbench, RunsStartedByRcAreShownIndentedOrOnlyNamed)
{
    const Ran named = run("--brief wan start");
    EXPECT_TRUE(named.has("  script /usr/sbin/rc service restart"));
    EXPECT_EQ(named.output.find("\n      "), std::string::npos);
    const Ran nested = run("--brief --nested wan start");
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
    const Ran result = run("--blank --set lan_if=br9 --unset lan_bipaddr init , lan start");
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
    const Ran turns =
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
    const fs::path kept = folder_.path() + "/router";
    EXPECT_EQ(run("--keep " + kept.string() + " timezone start").status, 0);
    EXPECT_EQ(whole_file(kept / "etc/TZ"), "CET-1CEST-2,M3.5.0/02:00:00,M10.5.0/03:00:00\n");
    EXPECT_TRUE(fs::exists(kept / "tmp/nvram"));
}

TEST_F(Rcbench, TheTargetsProgramDoesTheSame)
{
    const fs::path target = fs::path(RCBENCH_TOOL).parent_path() / "../../mips/bin/rc";
    const Ran result = run("--emulate timezone start");
    if (!fs::exists(target)) {
        EXPECT_EQ(result.status, 2);
        EXPECT_NE(result.errors.find("build the target's with cmake --preset mips"), std::string::npos);
        return;
    }
    EXPECT_EQ(result.output, run("timezone start").output);
}

// ---- differences and rules ------------------------------------------------------------------------------

TEST_F(Rcbench, DiffShowsWhatASettingChanges)
{
    EXPECT_EQ(run("--diff --set fw_time_zone=-5b timezone start").output,
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
    const Ran off = run("--diff --set dhcp_server_enable=0 --file /etc/udhcpd.conf=/dev/null dhcpd start");
    EXPECT_TRUE(off.has("  -server\t\t192.168.0.1"));
    const Ran brief = run("--diff --brief --unset fw_time_zone timezone start");
    EXPECT_TRUE(brief.has("Commands"));
    EXPECT_FALSE(brief.has("/etc/TZ"));
    // Records as what they mean, or byte by byte.
    EXPECT_TRUE(run("--diff --set wan_ifname=nas0 vpn start").has("  +14   wan_ifname      nas0"));
    EXPECT_TRUE(run("--raw --diff --set wan_ifname=nas0 vpn start")
                    .has("  +000000  00 00 00 00 00 00 00 00 00 00 00 00 00 00 6e 61"));
}

TEST_F(Rcbench, RulesAreShownByChainWithTheirSettings)
{
    const Ran rules = run("rules");
    EXPECT_EQ(rules.status, 0);
    EXPECT_TRUE(rules.output.starts_with("nat PREROUTING\n"));
    EXPECT_TRUE(rules.has("  fw_nat                 -o ppp0 -j MASQUERADE"));
    EXPECT_EQ(run("rules --set fw_nat=0").output.find("MASQUERADE"), std::string::npos);
    const std::string one_more = "--set 'fw_dmz_enable=1'";
    EXPECT_EQ(run("rules --diff --short " + one_more).output,
              "nat DMZ\n"
              "  +fw_dmz_enable  -d 203.0.113.10 -p ! icmp -j DNAT --to 192.168.0.40\n"
              "filter IN_FILTER\n"
              "  +fw_dmz_enable  -d 192.168.0.40 -j ACCEPT\n");
    EXPECT_EQ(run("rules --diff --set fw_schedule=").output, "No difference.\n");
}

// ---- for machines ---------------------------------------------------------------------------------------

TEST_F(Rcbench, JsonHasOneObjectARunWithEveryByte)
{
    const Ran one =
        run("--json --secrets --set 'wifi_psk_pwd=\\x01\\x7f\\xffa\\n\"b\\\\' --nested wan start , wlan "
            "start , wan foo");
    EXPECT_EQ(one.status, 0);
    const auto runs = nlohmann::json::parse(one.output, nullptr, false);
    ASSERT_TRUE(runs.is_array() && runs.size() == 3U);
    for (const auto &run : runs) {
        EXPECT_TRUE(run["status"].is_number() && run["events"].is_array() && run["files"].is_array());
        ASSERT_TRUE(run["errors"].is_string());
#ifndef __SANITIZE_ADDRESS__  // which says on this output that it found no /proc
        EXPECT_EQ(run["errors"], "");
#endif
    }
    EXPECT_EQ(runs[1]["words"], nlohmann::json({"rc", "wlan", "start"}));
    // "\u00ff" is one byte of rc's; the setting's text is in the commands that carry it.
    EXPECT_NE(one.output.find("\\u0001\\u007f\\u00ffa\\n\\\"b\\\\"), std::string::npos);
    EXPECT_TRUE(std::all_of(one.output.begin(), one.output.end(), [](char c) { return c > 0; }));
}

TEST_F(Rcbench, JsonHasTheNumbersOfEachKindOfEvent)
{
    const Ran last = run("--json --last printk start , printk stop");
    const auto runs = nlohmann::json::parse(last.output, nullptr, false);
    ASSERT_TRUE(runs.is_array() && runs.size() == 1U);
    const nlohmann::json klog = {{"kind", "klog"}, {"depth", 0}, {"action", 7}};
    EXPECT_EQ(std::count(runs[0]["events"].begin(), runs[0]["events"].end(), klog), 1);
    EXPECT_EQ(runs[0]["timed_out"], false);
}

}  // namespace
