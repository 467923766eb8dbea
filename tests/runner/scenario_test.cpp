// The reader of scenario files: what it takes, what it refuses and where it says so.
#include "tests/runner/scenario.h"

#include <gtest/gtest.h>

namespace {

using Lines = std::vector<std::string>;

bool no_base(const std::string &path, std::string &, std::string &why)
{
    why = "cannot read " + path;
    return false;
}

// The first case of a file without a base.
bool parse(const std::string &text, CaseFile &file, Scenario &scenario, std::string &why)
{
    return read_cases("x.scenario", text, no_base, file, why) &&
           read_scenario(file, file.cases[0], scenario, why);
}

Scenario parsed(const std::string &text)
{
    CaseFile file;
    Scenario scenario;
    std::string why;
    EXPECT_TRUE(parse(text, file, scenario, why)) << why;
    return scenario;
}

std::string refusal(const std::string &text)
{
    CaseFile file;
    Scenario scenario;
    std::string why;
    EXPECT_FALSE(parse(text, file, scenario, why));
    return why;
}

Lines plain_trace(const std::string &line)
{
    Lines plain;
    std::string why;
    EXPECT_TRUE(forms::expand_trace_line(line, plain, why)) << why;
    return plain;
}

std::string bad_trace_line(const std::string &line)
{
    Lines plain;
    std::string why;
    EXPECT_FALSE(forms::expand_trace_line(line, plain, why));
    return why;
}

TEST(ScenarioFile, FirstCommentIsTheTitle)
{
    EXPECT_EQ(parsed("# shows this\n# more\nrun\nexit 0\n").title, "shows this");
}

TEST(ScenarioFile, WithoutCommentIsRefused)
{
    EXPECT_EQ(refusal("run lan start\nexit 0\n"), "x.scenario:1: no comment says what the scenario shows");
}

TEST(ScenarioFile, WithoutRunIsRefused)
{
    EXPECT_EQ(refusal("# t\nset a=b\n"), "x.scenario:2: nothing is run");
}

TEST(ScenarioFile, RunWithoutExpectationIsRefused)
{
    std::string why;
    EXPECT_TRUE(check_expectations(CaseFile{"x.scenario", "", {}}, parsed("# t\nrun a\nexit 0\n"), why));
    EXPECT_FALSE(
        check_expectations(CaseFile{"x.scenario", "", {}}, parsed("# t\nrun a\ntrace\nrun b\n"), why));
    EXPECT_EQ(why, "x.scenario:4: nothing is expected of this run");
    EXPECT_FALSE(
        check_expectations(CaseFile{"x.scenario", "", {}}, parsed("# t\nrun a\nrun b\nexit 0\n"), why));
    EXPECT_EQ(why, "x.scenario:2: nothing is expected of this run");
}

TEST(ScenarioFile, UnknownDirectiveIsRefused)
{
    EXPECT_EQ(refusal("# t\n\nsett a=b\n"), "x.scenario:3: unknown directive \"sett\"");
    EXPECT_EQ(refusal("# t\n run lan\n"), "x.scenario:2: unknown directive \"\"");
}

TEST(ScenarioFile, RawTrailingBlankIsRefused)
{
    const char *why = "x.scenario:2: a space at the end of a line is written \\x20";
    EXPECT_EQ(refusal("# t\nset a=b \nrun\nexit 0\n"), why);
    EXPECT_EQ(refusal("# t\nset a=b\t\nrun\nexit 0\n"), why);
    EXPECT_EQ(refusal("# t\n| \nrun\nexit 0\n"), why);
}

TEST(ScenarioFile, CarriageReturnIsRefused)
{
    EXPECT_EQ(refusal("# t\r\nrun\r\n"), "x.scenario:1: lines end in a line feed alone");
}

TEST(ScenarioFile, SetupAfterARunIsRefused)
{
    EXPECT_EQ(refusal("# t\nrun\nexit 0\nset a=b\n"), "x.scenario:4: set is written before the first run");
}

TEST(ScenarioFile, ExpectationBeforeTheRunIsRefused)
{
    EXPECT_EQ(refusal("# t\nexit 0\nrun\n"), "x.scenario:2: exit is written after a run");
}

TEST(ScenarioFile, BodyLinesBelongToADirective)
{
    EXPECT_EQ(refusal("# t\n| a\n"), "x.scenario:2: a | line belongs to a directive above it");
    EXPECT_EQ(refusal("# t\nset a=b\n| a\nrun\nexit 0\n"), "x.scenario:3: set takes no | lines");
}

TEST(ScenarioSetup, SettingsKeepTheirOrderAndTakeEscapes)
{
    const Scenario scenario = parsed("# t\nset b=x=1\\x01\\n\nset a=\nrun\nexit 0\n");
    ASSERT_EQ(scenario.setup.settings.size(), 2U);
    EXPECT_EQ(scenario.setup.settings[0].key, "b");
    EXPECT_EQ(scenario.setup.settings[0].value, "x=1\x01\n");
    EXPECT_EQ(scenario.setup.settings[1].key, "a");
    EXPECT_EQ(scenario.setup.settings[1].value, "");
}

TEST(ScenarioSetup, BadSettingIsRefused)
{
    EXPECT_EQ(refusal("# t\nset a\n"), "x.scenario:2: KEY=VALUE expected");
    EXPECT_EQ(refusal("# t\nset =a\n"), "x.scenario:2: KEY=VALUE expected");
    EXPECT_EQ(refusal("# t\nset a=\\x00\n"),
              "x.scenario:2: a setting holds no NUL byte; write the store with bytes");
    EXPECT_EQ(refusal("# t\nset a=\\q\n"), "x.scenario:2: a backslash begins \\n, \\t, \\\\ or \\xHH");
    EXPECT_EQ(refusal("# t\nset a=b\tc\n"), "x.scenario:2: a tab is written \\t");
}

TEST(ScenarioSetup, NoStoreAndSetExcludeEachOther)
{
    EXPECT_TRUE(parsed("# t\nno store\nrun\nexit 0\n").setup.no_store);
    EXPECT_NE(refusal("# t\nno store\nset a=b\nrun\nexit 0\n").find("exclude each other"), std::string::npos);
    EXPECT_EQ(refusal("# t\nno stores\n"), "x.scenario:2: \"no store\" expected");
}

TEST(ScenarioSetup, SettingsAndAStoreFileExcludeEachOther)
{
    EXPECT_EQ(refusal("# t\nset a=b\nbytes /tmp/nvram x\nrun\nexit 0\n"),
              "x.scenario:5: set and a /tmp/nvram of its own exclude each other");
    EXPECT_EQ(refusal("# t\ndefault a=b\nremove /etc/default\nrun\nexit 0\n"),
              "x.scenario:5: default and an /etc/default of its own exclude each other");
}

TEST(ScenarioSetup, DefaultsAreEntriesOrTheImages)
{
    EXPECT_EQ(parsed("# t\ndefault a=b\nrun\nexit 0\n").setup.defaults[0].value, "b");
    EXPECT_TRUE(parsed("# t\ndefaults image\nrun\nexit 0\n").setup.defaults_of_image);
    EXPECT_EQ(refusal("# t\ndefaults\n"), "x.scenario:2: \"defaults image\" expected");
}

TEST(ScenarioSetup, FileLinesAreWhole)
{
    const Scenario scenario =
        parsed("# t\nfile /a\n| one\n| two\n|  three\n|\n# a comment between\n| \\x20\nrun\nexit 0\n");
    ASSERT_EQ(scenario.setup.files.size(), 1U);
    EXPECT_EQ(scenario.setup.files[0].path, "/a");
    EXPECT_EQ(scenario.setup.files[0].bytes, "one\ntwo\n three\n\n \n");
}

TEST(ScenarioSetup, BytesAreExact)
{
    const Scenario scenario = parsed("# t\nbytes /a x y\\x00\nbytes /b\nrun\nexit 0\n");
    EXPECT_EQ(scenario.setup.files[0].bytes, std::string("x y\0", 4));
    EXPECT_EQ(scenario.setup.files[1].bytes, "");
}

TEST(ScenarioSetup, PathsAreAbsolute)
{
    EXPECT_EQ(refusal("# t\nfile a\n"), "x.scenario:2: a path begins with /");
    EXPECT_EQ(refusal("# t\nremove\n"), "x.scenario:2: a path begins with /");
}

TEST(ScenarioSetup, RemovedFilesAndDirectoriesKeepTheirPlace)
{
    const Scenario scenario = parsed("# t\nremove /a\ndirectory /b\nrun\nexit 0\n");
    EXPECT_EQ(scenario.setup.files[0].kind, FileKind::missing);
    EXPECT_EQ(scenario.setup.files[1].kind, FileKind::directory);
}

TEST(ScenarioSetup, InterfaceHasAnAddressWithBits)
{
    const Scenario scenario = parsed("# t\ninterface br0 192.168.0.1/24\nrun\nexit 0\n");
    EXPECT_EQ(scenario.setup.interfaces[0].name, "br0");
    EXPECT_EQ(scenario.setup.interfaces[0].address, "192.168.0.1");
    EXPECT_EQ(scenario.setup.interfaces[0].bits, 24);
    EXPECT_EQ(refusal("# t\ninterface br0 192.168.0.1\n"),
              "x.scenario:2: interface NAME ADDRESS/BITS expected");
    EXPECT_EQ(refusal("# t\ninterface br0 192.168.0.1/33\n"),
              "x.scenario:2: interface NAME ADDRESS/BITS expected");
}

TEST(ScenarioSetup, RepliesHaveWordsAndLines)
{
    const Scenario scenario =
        parsed("# t\nreply wlctl a b\\x20c\n| x\n| y\nstatus-reply 3 wlctl\nrun\nexit 0\n");
    ASSERT_EQ(scenario.setup.replies.size(), 2U);
    EXPECT_EQ(scenario.setup.replies[0].tool, "wlctl");
    EXPECT_EQ(scenario.setup.replies[0].words, "a b c");
    EXPECT_EQ(scenario.setup.replies[0].output, "x\ny\n");
    EXPECT_EQ(scenario.setup.replies[0].status, 0);
    EXPECT_EQ(scenario.setup.replies[1].status, 3);
    EXPECT_EQ(refusal("# t\nreply\n"), "x.scenario:2: the tool's name is missing");
    EXPECT_EQ(refusal("# t\nstatus-reply 256 a\n"),
              "x.scenario:2: status-reply N TOOL WORDS expected, N at most 255");
}

TEST(ScenarioSetup, EffectsRunACommand)
{
    const Scenario scenario = parsed("# t\neffect pppd call => echo 1 => 2 > /tmp/x\nrun\nexit 0\n");
    EXPECT_EQ(scenario.setup.effects[0].tool, "pppd");
    EXPECT_EQ(scenario.setup.effects[0].words, "call");
    EXPECT_EQ(scenario.setup.effects[0].command, "echo 1 => 2 > /tmp/x");
    EXPECT_EQ(refusal("# t\neffect pppd\n"), "x.scenario:2: effect TOOL WORDS => COMMAND expected");
}

TEST(ScenarioSetup, ClockHasOneForm)
{
    EXPECT_EQ(parsed("# t\nclock 2010-01-02 03:04:05\nrun\nexit 0\n").setup.clock, "2010-01-02 03:04:05");
    EXPECT_EQ(refusal("# t\nclock 2010-01-02\n"), "x.scenario:2: clock YYYY-MM-DD HH:MM:SS expected");
}

TEST(ScenarioSetup, PauseActionsCountFromOne)
{
    const Scenario scenario = parsed("# t\nat pause 2 touch /tmp/x\nrun\nexit 0\n");
    EXPECT_EQ(scenario.setup.pauses[0].number, 2);
    EXPECT_EQ(scenario.setup.pauses[0].command, "touch /tmp/x");
    EXPECT_EQ(refusal("# t\nat pause 0 x\n"), "x.scenario:2: at pause N COMMAND expected, N from 1");
}

TEST(ScenarioRun, WordsMayBeQuotedOrEmpty)
{
    const Scenario scenario = parsed("# t\nrun a \"b  c\" \"\" d\\x20e\nexit 0\n");
    EXPECT_EQ(scenario.runs[0].words, (Lines{"a", "b  c", "", "d e"}));
    EXPECT_EQ(refusal("# t\nrun \"a\n"), "x.scenario:2: a quoted word is not closed");
    EXPECT_EQ(refusal("# t\nrun a\"b\"\n"), "x.scenario:2: a \" inside a word is written \\x22");
    EXPECT_EQ(refusal("# t\nrun \"a\"b\n"), "x.scenario:2: a \" inside a word is written \\x22");
}

TEST(ScenarioRun, EachHasItsOwnExpectations)
{
    const Scenario scenario =
        parsed("# t\nrun a\ntrace\nrun b\nexit 255\nargv0 x rc y\ngone /a\ndirect z\nexit 1\n");
    ASSERT_EQ(scenario.runs.size(), 4U);
    ASSERT_TRUE(scenario.runs[0].trace);
    EXPECT_TRUE(scenario.runs[0].trace->empty());
    EXPECT_FALSE(scenario.runs[1].trace);
    EXPECT_EQ(scenario.runs[1].status, 255);
    EXPECT_EQ(scenario.runs[2].kind, RunKind::argv0);
    EXPECT_EQ(scenario.runs[2].gone[0].path, "/a");
    EXPECT_EQ(scenario.runs[3].kind, RunKind::direct);
    EXPECT_EQ(refusal("# t\nargv0\n"), "x.scenario:2: argv0 needs a word");
    EXPECT_EQ(refusal("# t\ndirect\n"), "x.scenario:2: direct needs a word");
}

TEST(ScenarioExpectation, FilesSettingsAndAbsences)
{
    const Scenario scenario =
        parsed("# t\nrun\nexpect /a\n| x\nexpect-bytes /b x\nexpect /c\nsetting k=v=w\nunset l\n");
    const auto &run = scenario.runs[0];
    ASSERT_EQ(run.files.size(), 3U);
    EXPECT_EQ(run.files[0].bytes, "x\n");
    EXPECT_EQ(run.files[1].bytes, "x");
    EXPECT_EQ(run.files[2].bytes, "");
    EXPECT_EQ(run.settings[0].entry.value, "v=w");
    EXPECT_EQ(run.unset[0].key, "l");
    EXPECT_EQ(refusal("# t\nrun\nunset a=b\n"), "x.scenario:3: unset KEY expected");
    EXPECT_EQ(refusal("# t\nrun\nexit x\n"), "x.scenario:3: exit N expected, N at most 255");
    EXPECT_EQ(refusal("# t\nrun\nexit 0\nexit 0\n"), "x.scenario:4: exit is given twice for one run");
    EXPECT_EQ(refusal("# t\nrun\ntrace\ntrace\n"), "x.scenario:4: trace is given twice for one run");
}

TEST(ScenarioExpectation, BadTraceLineIsRefusedAtItsLine)
{
    EXPECT_EQ(refusal("# t\nrun\ntrace\n| sh a\n| shh b\n"),
              "x.scenario:5: not a line of a trace: \"shh b\"");
}

TEST(TraceLine, ShortFormsStandForPlainLines)
{
    EXPECT_EQ(plain_trace("SYSTEM a b"), (Lines{"sh a b", "usleep 1"}));
    EXPECT_EQ(plain_trace("MY_SYSTEM a\\nb"), (Lines{"out a", "out b", "sh a\\nb"}));
    EXPECT_EQ(plain_trace("frame lan start"),
              (Lines{"out ap_name=lan action=start", "sh /bin/cp /proc/uptime /tmp//var/run/rc.lan.run",
                     "usleep 1"}));
    EXPECT_EQ(plain_trace("> > SYSTEM a"), (Lines{"> > sh a", "> > usleep 1"}));
}

TEST(TraceLine, TextIsKeptEscaped)
{
    EXPECT_EQ(plain_trace("sh  a\\x20"), (Lines{"sh  a\\x20"}));
    EXPECT_EQ(plain_trace("out"), (Lines{"out"}));
    EXPECT_EQ(plain_trace("out+ a\\\\\\t"), (Lines{"out+ a\\\\\\t"}));
    EXPECT_EQ(plain_trace("sh \\xC3\\xA4"), (Lines{"sh \\xc3\\xa4"}));
}

TEST(TraceLine, OutputWithLineEndsIsSeveralLines)
{
    EXPECT_EQ(plain_trace("out a \\nb"), (Lines{"out a\\x20", "out b"}));
    EXPECT_EQ(plain_trace("> out a\\n"), (Lines{"> out a", "> out"}));
}

TEST(TraceLine, NumbersAreNumbers)
{
    EXPECT_EQ(plain_trace("sleep 3"), (Lines{"sleep 3"}));
    EXPECT_EQ(plain_trace("kill 12 15"), (Lines{"kill 12 15"}));
    EXPECT_EQ(plain_trace("kill -1 9"), (Lines{"kill -1 9"}));
    EXPECT_EQ(bad_trace_line("sleep"), "not a line of a trace: \"sleep\\x20\"");
    EXPECT_EQ(bad_trace_line("usleep x"), "not a line of a trace: \"usleep x\"");
    EXPECT_EQ(bad_trace_line("kill 1"), "not a line of a trace: \"kill 1\"");
    EXPECT_EQ(bad_trace_line("frame lan"), "not a line of a trace: \"frame lan\"");
}

TEST(Trace, IsShortenedWhereItFits)
{
    Lines plain;
    std::string why;
    const Lines shorthand = {"frame lan start", "SYSTEM a", "MY_SYSTEM b", "out c", "sleep 1", "> SYSTEM d"};
    for (const std::string &line : shorthand) {
        ASSERT_TRUE(forms::expand_trace_line(line, plain, why)) << why;
    }
    EXPECT_EQ(forms::shorten_trace(plain), shorthand);
}

TEST(Trace, IsNotShortenedWithoutANameOrAnAction)
{
    const Lines plain = {
        "out ap_name= action=a", "sh /bin/cp /proc/uptime /tmp//var/run/rc..run",  "usleep 2",
        "out ap_name=b action=", "sh /bin/cp /proc/uptime /tmp//var/run/rc.b.run", "usleep 2"};
    Lines yielding = plain;
    yielding[2] = yielding[5] = "usleep 1";
    EXPECT_EQ(forms::shorten_trace(plain), plain);
    EXPECT_EQ(forms::shorten_trace(yielding).size(), 4U);
}

TEST(Trace, IsNotShortenedAcrossRuns)
{
    const Lines plain = {"sh a", "> usleep 1", "usleep 10", "out b", "> sh b"};
    EXPECT_EQ(forms::shorten_trace(plain), plain);
}

}  // namespace
