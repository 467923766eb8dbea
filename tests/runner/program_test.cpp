// The runner as a program: what it says of scenarios that pass, fail or are wrong, and its exit status.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/running.h"

namespace {

class RunnerProgram : public testing::Test {
  protected:
    std::string file(const std::string &name, const std::string &text) const
    {
        return folder_.file(name, text);
    }

    // What it says of files that are wrong follows its output.
    Ran run(const std::string &words) const
    {
        Ran ran = folder_.run(SCENARIO_TOOL " " + words);
        ran.output += ran.errors;
        return ran;
    }

    Folder folder_;
};

const char *const kPassing = "# messages off\nrun printk start\ntrace\n| frame printk start\n| klog 6\n";
const char *const kFailing =
    "# messages off, badly\nset a=1\nrun printk start\ntrace\n| frame printk start\n| klog 7\nexit 3\n"
    "expect /etc/none\nsetting a=2\nunset a\ngone /tmp/nvram\n";

TEST_F(RunnerProgram, PassesWhatIsAsExpected)
{
    const Ran result = run(file("good.scenario", kPassing));
    EXPECT_EQ(result.output, "1 passed, 0 failed\n");
    EXPECT_EQ(result.status, 0);
}

TEST_F(RunnerProgram, ShowsEveryDifferenceAndHowToRunItAgain)
{
    const std::string path = file("bad.scenario", kFailing);
    const Ran result = run(path);
    EXPECT_EQ(result.output, "FAILED " + path + "\n# messages off, badly\n" + path +
                                 ":3: run printk start\n" + path +
                                 ":7: exit: expected 3, actual 0\n"
                                 "--- expected trace\n+++ actual trace\n@@ " +
                                 path + ":6 @@\n frame printk start\n-klog 7\n+klog 6\n" + path +
                                 ":8: /etc/none: not there\n" + path + ":11: /tmp/nvram: still there\n" +
                                 path + ":9: setting a: expected a=2, actual a=1\n" + path +
                                 ":10: setting a: expected none, actual a=1\nagain: " SCENARIO_TOOL " " +
                                 path + "\n0 passed, 1 failed\n");
    EXPECT_EQ(result.status, 1);
}

TEST_F(RunnerProgram, RepeatsOptionsInTheCommandToRunAgain)
{
    const std::string path = file("it is bad.scenario", kFailing);
    const Ran result = run("-j 1 '" + path + "'");
    EXPECT_NE(result.output.find("again: " SCENARIO_TOOL " -j 1 '" + path + "'\n"), std::string::npos)
        << result.output;
}

TEST_F(RunnerProgram, RunsManyAndReportsInTheirOrder)
{
    const std::string good = file("good.scenario", kPassing);
    const std::string bad = file("bad.scenario", kFailing);
    const std::string worse = file("worse.scenario", kFailing);
    const Ran result = run(bad + " " + good + " " + worse + " " + good);
    EXPECT_LT(result.output.find("FAILED " + bad), result.output.find("FAILED " + worse));
    EXPECT_NE(result.output.find("\n2 passed, 2 failed\n"), std::string::npos) << result.output;
    EXPECT_EQ(result.status, 1);
}

TEST_F(RunnerProgram, StopsAtTheFirstFailure)
{
    const std::string good = file("good.scenario", kPassing);
    const std::string bad = file("bad.scenario", kFailing);
    const Ran result = run("-j 1 --stop " + good + " " + bad + " " + good + " " + bad);
    EXPECT_NE(result.output.find("again: " SCENARIO_TOOL " -j 1 --stop " + bad + "\n1 passed, 1 failed\n"),
              std::string::npos)
        << result.output;
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(run("--stop " + good + " " + good).output, "2 passed, 0 failed\n");
}

TEST_F(RunnerProgram, ComparesWholeFiles)
{
    const std::string path = file("x.scenario",
                                  "# the zone\nset fw_time_zone=-8\nset time_daylight=1\nrun timezone start\n"
                                  "expect-bytes /etc/TZ PST8PDT\nexpect /etc/TZ\n| PST8PDT\n|\n");
    const Ran result = run(path);
    EXPECT_NE(result.output.find("-PST8PDT  (no line end)\n+PST8PDT\n"), std::string::npos) << result.output;
    EXPECT_NE(result.output.find(" PST8PDT\n-\n"), std::string::npos) << result.output;
    EXPECT_EQ(result.status, 1);
}

TEST_F(RunnerProgram, RefusesWrongScenariosBeforeItRunsAny)
{
    const std::string good = file("good.scenario", kPassing);
    const std::string unknown = file("unknown.scenario", "# t\nrunn lan\n");
    const std::string idle = file("idle.scenario", "# t\nrun lan start\n");
    const Ran result = run(good + " " + unknown + " " + idle);
    EXPECT_EQ(result.output, "scenario: " + unknown + ":2: unknown directive \"runn\"\nscenario: " + idle +
                                 ":2: nothing is expected of this run\n");
    EXPECT_EQ(result.status, 2);
}

TEST_F(RunnerProgram, RefusesWrongWords)
{
    EXPECT_EQ(run("").output, "scenario: no scenario file is given; see scenario --help\n");
    EXPECT_EQ(run("").status, 2);
    EXPECT_EQ(run(folder_.path() + "/none.scenario").output,
              "scenario: cannot read " + folder_.path() + "/none.scenario: No such file or directory\n");
    EXPECT_EQ(run("--program /no/rc " + file("x.scenario", kPassing)).output,
              "scenario: cannot read /no/rc: No such file or directory\n");
    EXPECT_EQ(
        run("--program /bin/sh " + file("x.scenario", kPassing)).output,
        "scenario: cannot read /lib/libbench_preload.so: No such file or directory; build bench_preload "
        "where /bin/sh was built, or name it with --preload\n");
    EXPECT_EQ(run("-j 0 x").output, "scenario: -j takes a number from 1 to 1024, not \"0\"\n");
    EXPECT_EQ(run("--nonsense x").status, 2);
}

TEST_F(RunnerProgram, PrintsWhatHappensAsAScenario)
{
    const std::string path = file("x.scenario",
                                  "# the zone\nset fw_time_zone=-8\nset time_daylight=1\n"
                                  "default time_zone=X\nrun timezone start\nrun wan\n");
    const Ran result = run("--print " + path);
    EXPECT_EQ(result.output,
              "run timezone start\ntrace\n| frame timezone start\n| SYSTEM /bin/echo PST8PDT > /etc/TZ\n"
              "| out /bin/echo PST8PDT > /etc/TZ\nexpect /etc/TZ\n| PST8PDT\n\nrun wan\ntrace\nexit 255\n");
    EXPECT_EQ(result.status, 0);
}

TEST_F(RunnerProgram, WhatItPrintsPasses)
{
    const std::string path = file("x.scenario",
                                  "# all\nset a=\\x01 b\\x20\nbytes /tmp/q x\nrun foo start\n"
                                  "run \"\" \"a b\"\ndirect nvram_set k \"v w\\n\"\n");
    const std::string setup = "# again\nset a=\\x01 b\\x20\nbytes /tmp/q x\n";
    const std::string again = file("again.scenario", setup + run("--print " + path).output);
    const Ran result = run(again);
    EXPECT_EQ(result.output, "1 passed, 0 failed\n");
}

const char *const kThree =
    "# messages\nrun printk start\ntrace\n| frame printk start\n| klog 6\n\n"
    "case on\nunchanged\n\ncases name | level\n| seven | 7\n| eight | 8\nset a=$level\n"
    "change trace\n|- klog 6\n|+ klog $level\n";

TEST_F(RunnerProgram, GivesAResultForEveryCase)
{
    const std::string path = file("x.scenario", kThree);
    const Ran result = run("-j 1 " + path);
    EXPECT_NE(result.output.find("FAILED " + path + " --case seven\n# messages\n"), std::string::npos)
        << result.output;
    EXPECT_NE(
        result.output.find("@@ " + path +
                           ":16 @@\n frame printk start\n-klog 8\n+klog 6\nagain: " SCENARIO_TOOL " -j 1 " +
                           path + " --case eight\n1 passed, 2 failed\n"),
        std::string::npos)
        << result.output;
    EXPECT_EQ(result.status, 1);
}

TEST_F(RunnerProgram, NamesTheLineOfTheBase)
{
    const std::string base = file("base.scenario", kFailing);
    const std::string path = file("x.scenario", "# t\nlike base\nset b=2\nunchanged\n");
    EXPECT_NE(run(path).output.find("@@ " + base + ":6 @@\n frame printk start\n-klog 7\n"),
              std::string::npos);
}

TEST_F(RunnerProgram, RunsOneCaseAgain)
{
    const std::string path = file("x.scenario", kThree);
    EXPECT_EQ(run(path + " --case on").output, "1 passed, 0 failed\n");
    const Ran again = run("--case eight " + path);
    EXPECT_NE(again.output.find("again: " SCENARIO_TOOL " " + path + " --case eight\n0 passed, 1 failed\n"),
              std::string::npos)
        << again.output;
    EXPECT_EQ(run(path + " --case none").output, "scenario: no case is named none\n");
    EXPECT_EQ(run(path + " --case none").status, 2);
}

TEST_F(RunnerProgram, ShowsEveryCaseInFull)
{
    const std::string path = file("x.scenario", kThree);
    const Ran result = run("--expand " + path);
    const std::string start = "run printk start\ntrace\n| frame printk start\n| klog ";
    EXPECT_EQ(result.output, "# messages\n# " + path + " --case on\n" + start + "6\n\n# messages\n# " + path +
                                 " --case seven\nset a=7\n" + start + "7\n\n# messages\n# " + path +
                                 " --case eight\nset a=8\n" + start + "8\n");
    EXPECT_EQ(result.status, 0);
}

TEST_F(RunnerProgram, TakesTheScenariosOfADirectory)
{
    std::filesystem::create_directory(folder_.path() + "/more");
    file("more/b.scenario", kFailing);
    file("more/a.scenario", kPassing);
    file("more/text", "not a scenario");
    file("c.scenario", kPassing);
    const Ran result = run(folder_.path());
    EXPECT_NE(result.output.find("\n2 passed, 1 failed\n"), std::string::npos) << result.output;
    std::filesystem::create_directory(folder_.path() + "/none");
    EXPECT_EQ(run(folder_.path() + "/none").output,
              "scenario: no *.scenario in " + folder_.path() + "/none\n");
}

}  // namespace
