// The frame of host programs: options, help, messages, exit statuses.
#include "forms/program.h"

#include <gtest/gtest.h>

namespace {

using Words = std::vector<std::string>;

// What a program with one option of each kind makes of its arguments.
struct Outcome {
    Words words;
    std::string file;
    bool all = false;
};

forms::Program program_of(Outcome &outcome, forms::OptionPlace place)
{
    return {
        .name = "tool",
        .usage = {"[OPTIONS] FILE", "--all"},
        .about = "Does something\nwith a file.\n\n  as it is\n",
        .options = {{.help = "The file"},
                    {'f', "file", "FILE",
                     "a file whose description is longer than what is left of one line of help",
                     [&](const std::string &value) { outcome.file = value; }},
                    {'\0', "all", nullptr, "all of it", [&](const std::string &) { outcome.all = true; }}},
        .more = "That is all.",
        .no = "it is not so",
        .place = place,
    };
}

Outcome read(const Words &arguments, forms::OptionPlace place = forms::OptionPlace::kAnywhere)
{
    Outcome outcome;
    const forms::Program program = program_of(outcome, place);
    outcome.words = forms::read_options(program, arguments);
    return outcome;
}

std::string refusal(const Words &arguments)
{
    try {
        (void)read(arguments);
    } catch (const forms::Failure &failure) {
        EXPECT_EQ(failure.status, forms::kUnusable);
        return failure.what();
    }
    return "";
}

TEST(ProgramOptions, TakeTheirArgumentInEveryForm)
{
    for (const Words &arguments :
         std::vector<Words>{{"-f", "a=b"}, {"-fa=b"}, {"--file", "a=b"}, {"--file=a=b"}}) {
        EXPECT_EQ(read(arguments).file, "a=b") << arguments[0];
    }
    EXPECT_EQ(read({"--file="}).file, "");
}

TEST(ProgramOptions, MayComeAfterWords)
{
    const Outcome outcome = read({"one", "--all", "-", "--", "--file", "x"});
    EXPECT_TRUE(outcome.all);
    EXPECT_EQ(outcome.words, (Words{"one", "-", "--file", "x"}));
}

TEST(ProgramOptions, EndAtTheFirstWordWhereTheProgramSaysSo)
{
    const Outcome outcome = read({"--all", "set", "--file", "x"}, forms::OptionPlace::kBeforeWords);
    EXPECT_TRUE(outcome.all);
    EXPECT_EQ(outcome.file, "");
    EXPECT_EQ(outcome.words, (Words{"set", "--file", "x"}));
}

TEST(ProgramOptions, WrongOnesAreRefusedInOneLine)
{
    EXPECT_EQ(refusal({"--what"}), "unknown option \"--what\"; see tool --help");
    EXPECT_EQ(refusal({"-x"}), "unknown option \"-x\"; see tool --help");
    EXPECT_EQ(refusal({"--what=a\nb"}), "unknown option \"--what\"; see tool --help");
    EXPECT_EQ(refusal({"--w\n\x1b"}), "unknown option \"--w\\n\\x1b\"; see tool --help");
    EXPECT_EQ(refusal({"--all=yes"}), "option --all takes no argument; see tool --help");
    EXPECT_EQ(refusal({"--file"}), "option --file needs an argument, FILE; see tool --help");
    EXPECT_EQ(refusal({"-f"}), "option -f needs an argument, FILE; see tool --help");
    const std::string junk(100000, '\xff');
    EXPECT_LT(refusal({"--" + junk}).size(), 300U);
}

TEST(ProgramHelp, IsMadeFromTheRows)
{
    Outcome outcome;
    EXPECT_EQ(forms::help_text(program_of(outcome, forms::OptionPlace::kAnywhere)),
              "usage: tool [OPTIONS] FILE\n"
              "       tool --all\n"
              "Does something with a file.\n"
              "\n"
              "  as it is\n"
              "\n"
              "The file\n"
              "  -f, --file FILE        a file whose description is longer than what is left\n"
              "                         of one line of help\n"
              "      --all              all of it\n"
              "      --help             this text\n"
              "      --version          the version\n"
              "\n"
              "That is all.\n"
              "\n"
              "Exit status: 0 done; 1 it is not so; 2 wrong options or unusable input; 3 it\n"
              "could not be done, was cut off, or its output could not be written.\n");
}

}  // namespace
