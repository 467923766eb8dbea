// Base, change and cases: the scenarios they stand for, and every rule that a file can break.
#include "tests/runner/cases.h"

#include <gtest/gtest.h>

namespace {

const char *const kBase =
    "# the base\n"
    "set lan_ip=1.2.3.4\n"
    "set lan_mask=255.0.0.0\n"
    "file /etc/list\n"
    "| one\n"
    "| two\n"
    "run lan start\n"
    "trace\n"
    "| sh a\n"
    "| sh b\n"
    "| sh c\n"
    "| sh b\n"
    "expect /tmp/out\n"
    "| x\n"
    "|\n"
    "| z\n"
    "gone /tmp/none\n";

const char *const kTwoRuns = "# two\nset k=v\nrun a\ntrace\n| sh same\n| sh first\nrun b\ntrace\n| sh same\n";

bool read_beside(const std::string &path, std::string &text, std::string &why)
{
    if (path == "dir/base.scenario") {
        text = kBase;
    } else if (path == "dir/two.scenario") {
        text = kTwoRuns;
    } else if (path == "dir/steps.scenario") {
        text = "# t\nsteps two\n| sh 1\n| sh 2\nsteps three\n| sh 3\n";
    } else if (path == "dir/based.scenario") {
        text = "# t\nlike base\nset a=b\nunchanged\n";
    } else {
        why = "cannot read " + path;
        return false;
    }
    return true;
}

CaseFile read(const std::string &text)
{
    CaseFile file;
    std::string why;
    EXPECT_TRUE(read_cases("dir/x.scenario", text, read_beside, file, why)) << why;
    return file;
}

std::string refusal(const std::string &text)
{
    CaseFile file;
    std::string why;
    EXPECT_FALSE(read_cases("dir/x.scenario", text, read_beside, file, why));
    return why;
}

// A case of the file in full, without its title.
std::string expanded(const std::string &text, size_t number = 0)
{
    const CaseFile file = read(text);
    if (file.cases.size() <= number) {
        return "no such case";
    }
    std::string all;
    for (const Directive &directive : file.cases[number].directives) {
        all += directive_text(directive);
    }
    return all;
}

std::string with(std::string text, const std::string &from, const std::string &to)
{
    return text.replace(text.find(from), from.size(), to);
}

// The base in full, with one text of it replaced.
std::string base_with(const std::string &from, const std::string &to)
{
    return with(with(kBase, "# the base\n", ""), from, to);
}

std::string changed(const std::string &lines)
{
    return expanded("# t\nlike base\nchange trace\n" + lines);
}

std::string change_refusal(const std::string &lines)
{
    return refusal("# t\nlike base\nchange trace\n" + lines);
}

// ---- without a base -------------------------------------------------------------------------------------

TEST(Cases, AFileWithoutAnyIsOne)
{
    const CaseFile file = read("# t\nset a=b\nrun\nexit 0\n");
    ASSERT_EQ(file.cases.size(), 1U);
    EXPECT_EQ(file.cases[0].name, "");
    EXPECT_EQ(expanded_case(file, file.cases[0]), "# t\n# dir/x.scenario\nset a=b\nrun\nexit 0\n");
}

TEST(Cases, OfAFileAreItsCommonPartAndWhatTheyAdd)
{
    const std::string text =
        "# t\nset a=b\nrun\nexit 0\n\ncase one: the first\nset c=d\nexit 1\n\ncase two\nunchanged\n";
    const CaseFile file = read(text);
    ASSERT_EQ(file.cases.size(), 2U);
    EXPECT_EQ(expanded_case(file, file.cases[0]),
              "# the first\n# dir/x.scenario --case one\nset a=b\nset c=d\nrun\nexit 1\n");
    EXPECT_EQ(expanded_case(file, file.cases[1]), "# t\n# dir/x.scenario --case two\nset a=b\nrun\nexit 0\n");
}

// ---- like -----------------------------------------------------------------------------------------------

TEST(Like, WhatIsSaidReplacesWhatTheBaseSays)
{
    EXPECT_EQ(expanded("# t\nlike base\nset lan_ip=9\ngone /tmp/out\n"),
              with(base_with("expect /tmp/out\n| x\n|\n| z\n", "gone /tmp/out\n"), "1.2.3.4", "9"));
}

TEST(Like, WhatTheBaseDoesNotSayComesAfterIt)
{
    EXPECT_EQ(expanded("# t\nlike base\nset more=9\nexit 3\n"),
              with(base_with("file /etc", "file /etc"), "| two\n", "| two\nset more=9\n") + "exit 3\n");
}

TEST(Like, SeveralRepliesToACallReplaceThoseOfTheBase)
{
    const std::string text =
        "# t\nreply wlctl a\n| 1\nreply wlctl a\n| 2\nset z=1\nrun\nexit 0\n"
        "case as_it_is\nunchanged\n"
        "case one\nreply wlctl a\n| 3\nstatus-reply 1 wlctl a\nexit 1\n";
    EXPECT_EQ(expanded(text, 1), "reply wlctl a\n| 3\nstatus-reply 1 wlctl a\nset z=1\nrun\nexit 1\n");
}

TEST(Like, ARunOfItsOwnReplacesTheRunsAndTheirExpectations)
{
    EXPECT_EQ(expanded("# t\nlike two\nrun c\nexit 1\nrun d\nexit 2\n"),
              "set k=v\nrun c\nexit 1\nrun d\nexit 2\n");
}

TEST(Like, OtherWordsKeepTheExpectations)
{
    EXPECT_EQ(expanded("# t\nlike base\ninstead run lan restart\n"), base_with("lan start", "lan restart"));
    EXPECT_EQ(expanded("# t\nlike two\nin run 2\ninstead direct c \"d e\"\n"),
              "set k=v\nrun a\ntrace\n| sh same\n| sh first\ndirect c \"d e\"\ntrace\n| sh same\n");
}

TEST(Like, FurtherRunsFollowThoseOfTheBase)
{
    EXPECT_EQ(expanded("# t\nlike two\nthen run c\ntrace\n| sh d\nexit 1\n"),
              std::string(kTwoRuns).substr(6) + "run c\ntrace\n| sh d\nexit 1\n");
}

TEST(Like, ARunIsRepeatedWithItsExpectations)
{
    EXPECT_EQ(expanded("# t\nlike two\nagain\nchange trace\n|- sh same\n|+ sh other\n"),
              std::string(kTwoRuns).substr(6) + "run b\ntrace\n| sh other\n");
}

TEST(Like, WhatIsNotWantedGoes)
{
    EXPECT_EQ(
        expanded("# t\nlike base\nwithout set lan_ip lan_mask\nwithout file /etc/list\nwithout gone\n"),
        with(base_with("set lan_ip=1.2.3.4\nset lan_mask=255.0.0.0\nfile /etc/list\n| one\n| two\n", ""),
             "gone /tmp/none\n", ""));
    EXPECT_EQ(expanded("# t\nfile /a\n| x\nfile /b\nfile /c\nrun\ncase one\nexit 1\ncase two\n"
                       "without file /a /c\nexit 2\n",
                       1),
              "file /b\nrun\nexit 2\n");
    EXPECT_EQ(expanded("# t\nlike base\nwithout set\nunchanged\n"),
              base_with("set lan_ip=1.2.3.4\nset lan_mask=255.0.0.0\n", ""));
}

TEST(Like, KeepsThePlaceOfEveryLine)
{
    const CaseFile file = read("# t\nlike base\nchange trace\n|- sh a\n|+ sh A\n");
    const Directive &trace = file.cases[0].directives[4];
    EXPECT_EQ(file.where(trace.body[0].place), "dir/x.scenario:5");
    EXPECT_EQ(file.where(trace.body[1].place), "dir/base.scenario:10");
}

TEST(Like, IsFirstAndOnce)
{
    EXPECT_EQ(refusal("# t\nset a=b\nlike base\n"),
              "dir/x.scenario:3: like is the first directive of a file");
    EXPECT_EQ(refusal("# t\nlike base\nlike base\n"),
              "dir/x.scenario:3: like is the first directive of a file");
}

TEST(Like, NamesAScenarioBesideIt)
{
    EXPECT_EQ(refusal("# t\nlike none\n"), "dir/x.scenario:2: cannot read dir/none.scenario");
    EXPECT_EQ(refusal("# t\nlike ../base\n"),
              "dir/x.scenario:2: like NAME expected, the name of a scenario beside this one");
}

TEST(Like, ABaseHasNoBase)
{
    EXPECT_EQ(refusal("# t\nlike based\nset c=d\nunchanged\n"),
              "dir/based.scenario:2: a base has no base of its own");
}

TEST(Like, WhatIsSoAlreadyIsRefused)
{
    EXPECT_EQ(refusal("# t\nlike base\nset lan_ip=1.2.3.4\n"),
              "dir/x.scenario:3: it is so already: set lan_ip");
    EXPECT_EQ(refusal("# t\nlike base\nset a=b\ngone /tmp/none\n"),
              "dir/x.scenario:4: it is so already: gone /tmp/none");
}

TEST(Like, WhatIsNotThereCannotGo)
{
    EXPECT_EQ(refusal("# t\nlike base\nwithout set lan_ip wan_ip\n"),
              "dir/x.scenario:3: there is no \"set wan_ip\" to do without");
    EXPECT_EQ(refusal("# t\nlike base\nwithout file /etc/list /etc/none\n"),
              "dir/x.scenario:3: there is no \"file /etc/none\" to do without");
    EXPECT_EQ(refusal("# t\nlike base\nwithout trace x\n"),
              "dir/x.scenario:3: there is no \"trace x\" to do without");
}

TEST(Like, SeveralRunsNeedANumber)
{
    EXPECT_EQ(refusal("# t\nlike two\nexit 1\n"),
              "dir/x.scenario:3: there are several runs; \"in run N\" says which one exit follows");
    EXPECT_EQ(refusal("# t\nlike two\nin run 3\nexit 1\n"),
              "dir/x.scenario:3: in run N expected, N at most 2");
    EXPECT_EQ(expanded("# t\nlike two\nin run 1\nexit 1\n"),
              with(std::string(kTwoRuns).substr(6), "| sh first\n", "| sh first\nexit 1\n"));
    EXPECT_EQ(refusal("# t\nlike two\nrun c\nexit 0\nin run 1\nexit 1\n"),
              "dir/x.scenario:5: \"in run N\" speaks of the runs above, not of new ones");
}

TEST(Like, RunsAreNamedByADirective)
{
    EXPECT_EQ(refusal("# t\nlike base\ninstead lan restart\n"),
              "dir/x.scenario:3: instead run WORDS expected");
    EXPECT_EQ(refusal("# t\nlike base\nthen exit 1\n"), "dir/x.scenario:3: then run WORDS expected");
    EXPECT_EQ(refusal("# t\nlike base\nagain 2\n"), "dir/x.scenario:3: nothing follows again");
    EXPECT_EQ(refusal("# t\nset a=b\nagain\n"), "dir/x.scenario:3: there is no run to repeat");
}

// ---- change ---------------------------------------------------------------------------------------------

TEST(Change, ReplacesALine)
{
    EXPECT_EQ(changed("|- sh a\n|+ sh A\n|+ sh AA\n"), base_with("| sh a\n", "| sh A\n| sh AA\n"));
}

TEST(Change, TakesALineAway)
{
    EXPECT_EQ(changed("|- sh c\n"), base_with("| sh c\n", ""));
}

TEST(Change, AddsBesideALineThatStays)
{
    EXPECT_EQ(changed("|+ sh 0\n|  sh a\n"), base_with("| sh a\n", "| sh 0\n| sh a\n"));
    EXPECT_EQ(changed("|  sh c\n|+ sh d\n"), base_with("| sh c\n", "| sh c\n| sh d\n"));
}

TEST(Change, LinesBesideItMakeALineOne)
{
    EXPECT_EQ(changed("|  sh c\n|- sh b\n|+ sh B\n"), base_with("| sh c\n| sh b\n", "| sh c\n| sh B\n"));
    EXPECT_EQ(changed("|- sh b\n|  sh c\n"), base_with("| sh b\n| sh c\n", "| sh c\n"));
}

TEST(Change, SeveralFollowEachOther)
{
    EXPECT_EQ(changed("|- sh a\n|+ sh A\n|- sh c\n|+ sh C\n"),
              with(base_with("| sh a\n", "| sh A\n"), "| sh c\n", "| sh C\n"));
    EXPECT_EQ(changed("|- sh a\n|...\n|- sh c\n"), with(base_with("| sh a\n", ""), "| sh c\n", ""));
}

TEST(Change, IsOfAnyDirectiveWithLines)
{
    EXPECT_EQ(expanded("# t\nlike base\nchange file /etc/list\n|- one\n|+ 1\nunchanged\n"),
              base_with("| one\n", "| 1\n"));
    EXPECT_EQ(expanded("# t\nlike base\nchange expect /tmp/out\n|  x\n|-\n|+\n|+ y\n"),
              base_with("| x\n|\n", "| x\n|\n| y\n"));
    EXPECT_EQ(expanded("# t\nlike base\nchange expect /tmp/out\n|+ y\n|\n"), base_with("|\n", "| y\n|\n"));
    EXPECT_EQ(refusal("# t\nlike base\nchange expect /tmp/other\n|- one\n"),
              "dir/x.scenario:3: there is no \"expect /tmp/other\" to change");
}

TEST(Change, OfSeveralRunsIsWhereItFits)
{
    EXPECT_EQ(expanded("# t\nlike two\nchange trace\n|- sh first\n"),
              with(std::string(kTwoRuns).substr(6), "| sh first\n", ""));
    EXPECT_EQ(
        refusal("# t\nlike two\nchange trace\n|- sh same\n"),
        "dir/x.scenario:4: \"trace\" has this line 2 times; a line beside it makes it one: \"sh same\"");
    EXPECT_EQ(expanded("# t\nlike two\nin run 2\nchange trace\n|- sh same\n|+ sh other\n"),
              std::string(kTwoRuns).substr(6, 41) + "run b\ntrace\n| sh other\n");
}

TEST(Change, ALineIsThereExactlyOnce)
{
    EXPECT_EQ(change_refusal("|- sh x\n"), "dir/x.scenario:4: \"trace\" does not have this line: \"sh x\"");
    EXPECT_EQ(change_refusal("|- sh b\n"),
              "dir/x.scenario:4: \"trace\" has this line 2 times; a line beside it makes it one: \"sh b\"");
    EXPECT_EQ(change_refusal("|- sh a\n|  sh c\n"),
              "dir/x.scenario:4: \"trace\" does not have these lines together: \"sh a\"");
}

TEST(Change, FollowsTheChangeAboveIt)
{
    EXPECT_EQ(change_refusal("|- sh c\n|...\n|- sh a\n"),
              "dir/x.scenario:6: a change follows the change above it");
}

TEST(Change, ChangesSomethingSomewhere)
{
    EXPECT_EQ(change_refusal("|  sh a\n"), "dir/x.scenario:4: a change has a |- or a |+ line");
    EXPECT_EQ(change_refusal(""), "dir/x.scenario:3: a change has a |- or a |+ line");
    EXPECT_EQ(change_refusal("|+ sh a\n"),
              "dir/x.scenario:4: a |+ line needs a line beside it that tells its place");
}

TEST(Change, HasLinesOfItsOwnForm)
{
    const std::string form =
        R"(dir/x.scenario:4: a line of a change begins with "|- ", "|+ " or "|  ", or is "|...")";
    EXPECT_EQ(change_refusal("|x\n"), form);
    EXPECT_EQ(change_refusal("| x\n"), form);
    EXPECT_EQ(change_refusal("|-x\n"), form);
    EXPECT_EQ(refusal("# t\nrun\ntrace\n|- x\n"), "dir/x.scenario:4: a | line begins with \"| \"");
}

// ---- cases ----------------------------------------------------------------------------------------------

TEST(Table, ItsRowsAreCases)
{
    const std::string text =
        "# t\nlike base\nset lan_ip=$ip\nchange trace\n|- sh a\n|+ sh ${ip}$ip\n"
        "cases name | ip | shows\n| one | 1 | the first\n| two | 2 |\n";
    const CaseFile file = read(text);
    ASSERT_EQ(file.cases.size(), 2U);
    EXPECT_EQ(file.cases[0].name, "one");
    EXPECT_EQ(file.cases[0].title, "the first");
    EXPECT_EQ(file.cases[1].title, "t");
    EXPECT_EQ(expanded(text, 1), with(base_with("1.2.3.4", "2"), "| sh a\n", "| sh 22\n"));
}

TEST(Table, IsFollowedByWhatItsRowsAdd)
{
    const std::string text =
        "# t\nrun\nexit 0\n\ncases name | x\n| a | 1\n| b |\nset k=$x\nexit 3\n\n"
        "cases name | y\n| c | 5\nset l=$y$$y$1\nunchanged\n";
    EXPECT_EQ(expanded(text, 0), "set k=1\nrun\nexit 3\n");
    EXPECT_EQ(expanded(text, 1), "set k=\nrun\nexit 3\n");
    EXPECT_EQ(expanded(text, 2), "set l=5$y$1\nrun\nexit 0\n");
}

TEST(Table, ARowMayAgreeWithTheBase)
{
    EXPECT_EQ(expanded("# t\nlike base\nset more=$x\nchange trace\n|- sh a\n|+ sh $x\n"
                       "cases name | x\n| one | a\n| two | b\n"),
              with(base_with("x", "x"), "| two\n", "| two\nset more=a\n"));
}

TEST(Table, ColumnsAreKnownAndUsed)
{
    EXPECT_EQ(refusal("# t\nrun\nexit $x\ncases name | y\n| a | 1\n"),
              "dir/x.scenario:3: no column \"x\"; a dollar sign is written $$");
    EXPECT_EQ(refusal("# t\nrun\nexit $x\ncases name | x | y\n| a | 1 | 2\n"),
              "dir/x.scenario:4: no line uses the column \"y\"");
    EXPECT_EQ(refusal("# t\nrun\nexit $x\ncases name | x | x\n| a | 1 | 2\n"),
              "dir/x.scenario:4: two columns \"x\"");
    EXPECT_EQ(refusal("# t\nrun\nexit $x\ncases x\n| a\n"), "dir/x.scenario:4: the first column is \"name\"");
    EXPECT_EQ(refusal("# t\nrun\nexit $x\ncases name | X\n| a | 1\n"),
              "dir/x.scenario:4: not a column's name: \"X\"");
    EXPECT_EQ(refusal("# t\nrun\nexit $x\ncases name | x\n| a | 1\n\ncase b\nset c=d\n"),
              "dir/x.scenario:3: no column \"x\"; a dollar sign is written $$");
}

TEST(Table, RowsAreWhole)
{
    EXPECT_EQ(refusal("# t\nrun\nexit $x\ncases name | x\n| a\n"),
              "dir/x.scenario:5: the table has 2 columns, this row 1");
    EXPECT_EQ(refusal("# t\nrun\nexit $x\ncases name | x\n"), "dir/x.scenario:4: a table of cases has rows");
}

TEST(CaseNames, AreUniqueWords)
{
    EXPECT_EQ(refusal("# t\nrun\nexit 0\ncase a\nset b=1\nunchanged\ncase a\nset b=2\nunchanged\n"),
              "dir/x.scenario:7: two cases \"a\"");
    EXPECT_EQ(refusal("# t\nrun\nexit 0\ncase a b\n"),
              "dir/x.scenario:4: case NAME or case NAME: TITLE expected");
    EXPECT_EQ(refusal("# t\nrun\nexit $x\ncases name | x\n| A | 1\n"),
              "dir/x.scenario:5: not a case's name: \"A\"");
}

// ---- steps ----------------------------------------------------------------------------------------------

TEST(Steps, AreTheirLinesWhereTheyAreUsed)
{
    EXPECT_EQ(expanded("# t\nsteps pair\n| sh a {1} {2}\n| sh b {2}{1}\nrun\ntrace\n| sh x\n| @pair 1 22\n| "
                       "@pair 3 4\n"),
              "run\ntrace\n| sh x\n| sh a 1 22\n| sh b 221\n| sh a 3 4\n| sh b 43\n");
    EXPECT_EQ(changed("|  sh a\n|+ @two\n|- sh b\n|- sh c\nsteps two\n| sh 1\n| sh 2\n"),
              base_with("| sh a\n| sh b\n| sh c\n", "| sh a\n| sh 1\n| sh 2\n"));
    EXPECT_EQ(changed("|  sh a\n|- @two\n|+ sh x\nsteps two\n| sh b\n| sh c\n"),
              base_with("| sh b\n| sh c\n", "| sh x\n"));
}

TEST(Steps, TakeWordsThatHoldSpacesInQuotes)
{
    const std::string pair = "# t\nsteps pair\n| sh a {1}, {2}\nrun\ntrace\n";
    EXPECT_EQ(expanded(pair + "| @pair \"b c\" \"\"\n"), "run\ntrace\n| sh a b c,\\x20\n");
    EXPECT_EQ(expanded(pair + "| @pair b \"c d\"\n"), "run\ntrace\n| sh a b, c d\n");
    EXPECT_EQ(expanded(pair + "| @pair \"b c\n"), "run\ntrace\n| sh a \"b, c\n");
    EXPECT_EQ(expanded(pair + "| @pair \"b\"c d\"\n"), "run\ntrace\n| sh a \"b\"c, d\"\n");
}

TEST(Steps, MayBeAnotherFiles)
{
    EXPECT_EQ(expanded("# t\nsteps from steps\nrun\ntrace\n| @two\n"), "run\ntrace\n| sh 1\n| sh 2\n");
    EXPECT_EQ(changed("|- sh c\n|+ @two\nsteps from steps\n"), base_with("| sh c\n", "| sh 1\n| sh 2\n"));
}

TEST(Steps, OfAnotherFileAreRefusedWhereItIsNamed)
{
    EXPECT_EQ(refusal("# t\nsteps from none\nrun\n"), "dir/x.scenario:2: cannot read dir/none.scenario");
    EXPECT_EQ(refusal("# t\nsteps from base\nrun\n"), "dir/x.scenario:2: dir/base.scenario has no steps");
    EXPECT_EQ(refusal("# t\nsteps from ../x\nrun\n"),
              "dir/x.scenario:2: steps from NAME expected, the name of a scenario beside this one");
    EXPECT_EQ(refusal("# t\nsteps from steps\n| sh a\nrun\n"),
              "dir/x.scenario:2: steps from NAME expected, the name of a scenario beside this one");
    EXPECT_EQ(refusal("# t\nsteps two\n| sh a\nsteps from steps\nrun\ntrace\n| @two\n"),
              "dir/x.scenario:2: two steps \"two\"");
    EXPECT_EQ(refusal("# t\nsteps from steps\nsteps from steps\nrun\n"),
              "dir/x.scenario:3: two steps \"three\"");
    EXPECT_EQ(refusal("# t\nlike base\nsteps from steps\nexit 1\n"),
              "dir/x.scenario:3: no line uses any of these steps");
}

TEST(Steps, CountAsWrittenWhereTheyAreUsed)
{
    const CaseFile file = read("# t\nsteps pair\n| sh a\n| sh b\nrun\ntrace\n| @pair\n");
    const Directive &trace = file.cases[0].directives[1];
    EXPECT_EQ(trace.body[0].place.line, 7);
    EXPECT_EQ(trace.body[1].place.line, 7);
}

TEST(Columns, ThatAreEmptyLeaveASpaceAtTheEnd)
{
    EXPECT_EQ(expanded("# t\nset a=x $v\nrun\ntrace\n| sh a $v\ncases name | v\n| b |\n"),
              "set a=x\\x20\nrun\ntrace\n| sh a\\x20\n");
}

TEST(Steps, HoldColumns)
{
    EXPECT_EQ(expanded("# t\nsteps one\n| sh $x {1}\nrun\ntrace\n| @one 1\ncases name | x\n| a | 5\n"),
              "run\ntrace\n| sh 5 1\n");
}

TEST(Steps, AreOfExpectedFilesToo)
{
    EXPECT_EQ(expanded("# t\nsteps two\n| a {1}\n| b\nrun\nexpect /x\n| @two 7\n"),
              "run\nexpect /x\n| a 7\n| b\n");
    EXPECT_EQ(expanded("# t\nlike base\nsteps two\n| x\n|\nchange expect /tmp/out\n|- @two\n|+ y\n"),
              base_with("| x\n|\n", "| y\n"));
}

TEST(Steps, ThatNobodyNamedSoAreLinesOfTheFile)
{
    EXPECT_EQ(expanded("# t\nrun\nexpect /x\n| @home\n"), "run\nexpect /x\n| @home\n");
    EXPECT_EQ(expanded("# t\nsteps two\n| a\nfile /x\n| @two\nrun\ntrace\n| @two\n"),
              "file /x\n| @two\nrun\ntrace\n| a\n");
}

TEST(Steps, DoNotUseSteps)
{
    EXPECT_EQ(expanded("# t\nsteps a\n| @b\nsteps b\n| sh x\nrun\ntrace\n| @a\n| @b\n"),
              "run\ntrace\n| \\x40b\n| sh x\n");
}

TEST(Steps, FaultsAreNamed)
{
    EXPECT_EQ(refusal("# t\nlike base\nsteps a\n| sh a\nexit 1\n"),
              "dir/x.scenario:3: no line uses the steps \"a\"");
    EXPECT_EQ(refusal("# t\nrun\ntrace\n| @a\n"), "dir/x.scenario:4: no steps are named \"a\"");
    EXPECT_EQ(refusal("# t\nsteps a\n| sh {2}\nrun\ntrace\n| @a 1\n"),
              "dir/x.scenario:6: the steps \"a\" take 2 words");
    EXPECT_EQ(refusal("# t\nsteps a\nrun\ntrace\n| @a\n"),
              "dir/x.scenario:2: steps NAME expected, and its | lines");
    EXPECT_EQ(refusal("# t\nsteps a\n| x\nsteps a\n| y\nrun\ntrace\n| @a\n"),
              "dir/x.scenario:4: two steps \"a\"");
}

TEST(Case, WhoseExpectationIsTheBasesSaysSo)
{
    EXPECT_EQ(refusal("# t\nlike base\nset more=1\n"),
              "dir/x.scenario:2: it expects what its base expects, and does not say unchanged");
    EXPECT_EQ(refusal("# t\nlike base\ncase one\nset more=1\n"),
              "dir/x.scenario:3: it expects what its base expects, and does not say unchanged");
    EXPECT_EQ(refusal("# t\nlike base\nset more=$x\ncases name | x\n| a | 1\n| b | 2\n"),
              "dir/x.scenario:2: it expects what its base expects, and does not say unchanged");
    EXPECT_EQ(expanded("# t\nlike base\nset more=$x\nunchanged\ncases name | x\n| a | 1\n| b | 2\n"),
              with(base_with("x", "x"), "| two\n", "| two\nset more=1\n"));
}

TEST(Case, ThatSaysUnchangedExpectsNothingElse)
{
    EXPECT_EQ(refusal("# t\nlike base\nexit 1\nunchanged\n"),
              "dir/x.scenario:2: it says unchanged, and its expectations differ");
    EXPECT_EQ(refusal("# t\nlike base\nset a=b\nunchanged now\n"),
              "dir/x.scenario:4: nothing follows unchanged");
}

TEST(Case, IsNotAnotherOneOnceMore)
{
    EXPECT_EQ(refusal("# t\nlike base\nunchanged\n"), "dir/x.scenario:2: it is the base once more");
    EXPECT_EQ(refusal("# t\nrun\nexit 0\ncase a\nset b=1\nunchanged\ncase c\nset b=1\nunchanged\n"),
              "dir/x.scenario:7: it is \"a\" once more");
}

TEST(Case, EveryLineOfTheCommonPartIsUsed)
{
    EXPECT_EQ(refusal("# t\nset b=0\nrun\nexit 0\ncase a\nset b=1\nunchanged\ncase c\nset b=2\nunchanged\n"),
              "dir/x.scenario:2: no case is left that uses this line");
}

}  // namespace
