// The shells' completion, as the shells use it.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "rc/frame.h"
#include "tests/programs.h"
#include "tests/running.h"

namespace {

using Lines = std::vector<std::string>;

std::string rcbench(const std::string &words)
{
    return (program_folder() / "rcbench").string() + " " + words;
}

std::set<std::string> words_of(const std::string &text)
{
    std::set<std::string> words;
    std::istringstream from(text);
    for (std::string word; from >> word;) {
        words.insert(word);
    }
    return words;
}

// zsh takes the space behind a whole word back when the cursor moves.
std::string without_spaces(std::string text)
{
    for (size_t at = 0; (at = text.find(" \n", at)) != std::string::npos;) {
        text.erase(at, 1);
    }
    return text;
}

struct Case {
    std::string typed;  // the words of a line; the last one is being typed
    std::string offered;
};

const std::vector<Case> kCases = {
    {"rcbench --sho", "--short --show"},
    {"rcbench rules --sh", "--short"},
    {"rcbench reach --id", "--idle"},
    {"rcbench --wat", "--watch"},
    {"rcbench --set fw_dmz", "fw_dmz_enable= fw_dmz="},
    {"rcbench --unset fw_dmz", "fw_dmz_enable fw_dmz"},
    {"rcbench --set=fw_dmz", "--set=fw_dmz_enable= --set=fw_dmz="},
    {"rcbench --set wan_mode=p", "wan_mode=pppoe wan_mode=pppoa"},
    {"rcbench --set fw_dmz_enable=", "fw_dmz_enable=0 fw_dmz_enable=1"},
    {"rcbench --set lan_ipaddr=1", ""},
    {"rcbench --reply ipse", "ipsec"},
    {"rcbench reach --from wa", "wan"},
    {"rcbench ru", "run rules"},
    {"rcbench firew", "firewall"},
    {"rcbench --set fw_dmz_enable=1 firew", "firewall"},
    {"rcbench --short firewall re", "restart"},
    {"rcbench run --short wan st", "start stop"},
    {"rcbench wan start , firew", "firewall"},
    {"rcbench wan start , wan_mode=ip firewall cr", "create"},
    {"rcbench live schedu", "schedule"},
    {"rcbench compare old new firew", "firewall"},
    {"rcbench compare old new firewall cr", "create"},
    {"rcbench explain fw_dmz_e", "fw_dmz_enable="},
    {"rcbench shell fw_dmz_e", "fw_dmz_enable"},
    {"rcbench completion ", "bash zsh"},
    {"rcbench rules firew", ""},
};

// The last word may be empty.
std::string array_of(const std::string &typed)
{
    std::string words = "(";
    for (const std::string &word : [&] {
             Lines all(1);
             for (const char c : typed) {
                 if (c == ' ') {
                     all.emplace_back();
                 } else {
                     all.back() += c;
                 }
             }
             return all;
         }()) {
        words += "\"" + word + "\" ";
    }
    return words + ")";
}

class Completion : public testing::Test {
  protected:
    std::string script(const std::string &shell) const
    {
        const Ran ran = folder_.run(rcbench("completion " + shell));
        EXPECT_EQ(ran.status, 0);
        EXPECT_EQ(ran.errors, "");
        return folder_.file(shell, ran.output);
    }

    // As _rcbench, in a folder where zsh looks for functions.
    std::string installed_script() const
    {
        return folder_.file("_rcbench", folder_.run(rcbench("completion zsh")).output);
    }

    // Lines after TAB.
    std::string completed(const std::string &shell, const Lines &lines) const
    {
        std::string text;
        for (const std::string &line : lines) {
            text += line + "\n";
        }
        const std::string path = shell == "installed" ? installed_script() : script(shell);
        const Ran ran = folder_.run(SOURCE_FOLDER "/tests/bench/completed " + shell + " " + path + " <" +
                                    folder_.file("lines", text));
        EXPECT_EQ(ran.status, 0) << ran.errors;
        return ran.output;
    }

    Folder folder_;
};

TEST_F(Completion, InBashOffersWhatFits)
{
    const std::string path = script("bash");
    for (const Case &c : kCases) {
        const std::string driver = folder_.file(
            "driver", ". " + path + "\nCOMP_WORDBREAKS=' '\nCOMP_WORDS=" + array_of(c.typed) +
                          "\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_rcbench\necho \"${COMPREPLY[@]}\"\n");
        EXPECT_EQ(words_of(folder_.run("bash " + driver).output), words_of(c.offered)) << c.typed;
    }
}

TEST_F(Completion, InZshOffersTheSame)
{
    const std::string path = script("zsh");
    for (const Case &c : kCases) {
        const std::string driver =
            folder_.file("driver",
                         "compdef() { :; }\n"
                         "compadd() { local ending=''; [ $1 = -a ] || ending=$2\n"
                         "  print -r -- ${^${(M)replies:#$words[CURRENT]*}}$ending; }\n. " +
                             path + "\nwords=" + array_of(c.typed) + "\nCURRENT=$#words\n_rcbench\n");
        EXPECT_EQ(words_of(folder_.run("zsh -f " + driver).output), words_of(c.offered)) << c.typed;
    }
}

// With "=" among the characters that end a word, as bash has it unless told otherwise.
TEST_F(Completion, FillsInTheOnlyWordThatFitsAtATab)
{
    const Lines typed = {"rcbench firew",
                         "rcbench --set fw_dmz_en",
                         "rcbench --set=fw_dmz_en",
                         "rcbench --set wan_mode=bri",
                         "rcbench --set fw_dmz_enable=1 firewall rest",
                         "rcbench wan start , wan_mode=ip firewall cr",
                         "rcbench --reply ipse",
                         "rcbench --fil"};
    const std::string filled =
        "rcbench firewall \n"
        "rcbench --set fw_dmz_enable=\n"
        "rcbench --set=fw_dmz_enable=\n"
        "rcbench --set wan_mode=bridge \n"
        "rcbench --set fw_dmz_enable=1 firewall restart \n"
        "rcbench wan start , wan_mode=ip firewall create \n"
        "rcbench --reply ipsec \n"
        "rcbench --file \n";
    EXPECT_EQ(completed("bash", typed), filled);
    EXPECT_EQ(completed("zsh", typed), without_spaces(filled));
    EXPECT_EQ(completed("installed", typed), without_spaces(filled));
}

TEST_F(Completion, OffersFilesWhereOneIsNamed)
{
    (void)folder_.file("my.settings", "");
    const Lines typed = {"rcbench --settings my.set", "rcbench compare my.set",
                         "rcbench --file /etc/x=my.set", "rcbench --settings=my.set"};
    const std::string filled =
        "rcbench --settings my.settings \nrcbench compare my.settings \nrcbench --file /etc/x=my.settings \n"
        "rcbench --settings=my.settings \n";
    EXPECT_EQ(completed("bash", typed), filled);
    EXPECT_EQ(completed("zsh", typed), without_spaces(filled));
}

TEST_F(Completion, HasEveryServiceOfTheTables)
{
    std::string bash = folder_.run(rcbench("completion bash")).output;
    std::replace(bash.begin(), bash.end(), '\'', ' ');
    const std::set<std::string> words = words_of(bash);
    for (const Service *table : {kGeneral, kWanGroup, kLastTable}) {
        for (const Service *row = table; row->name != nullptr; ++row) {
            EXPECT_TRUE(words.contains(row->name)) << row->name;
        }
    }
}

TEST_F(Completion, IsForTheseTwoShells)
{
    EXPECT_EQ(folder_.run(rcbench("completion fish")).status, 2);
    EXPECT_EQ(folder_.run(rcbench("completion")).status, 2);
}

}  // namespace
