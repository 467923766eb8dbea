// Escapes and words of the scenario format, and the difference that a failure shows.
#include "forms/words.h"

#include "forms/escapes.h"

#include <gtest/gtest.h>

#include "bench/difference.h"

namespace {

using Lines = std::vector<std::string>;

TEST(Escapes, WriteEveryByteVisibly)
{
    EXPECT_EQ(forms::escape("a\n\t\\\x01\x7f\xff b "), "a\\n\\t\\\\\\x01\\x7f\\xff b\\x20");
    EXPECT_EQ(forms::escape(std::string_view("\0", 1)), "\\x00");
}

TEST(Escapes, AreReadBack)
{
    std::string every;
    for (int byte = 0; byte < 256; ++byte) {
        every += static_cast<char>(byte);
    }
    every += ' ';
    std::string again;
    std::string why;
    ASSERT_TRUE(forms::unescape(forms::escape(every), again, why)) << why;
    EXPECT_EQ(again, every);
}

TEST(Escapes, CutShortAreRefused)
{
    std::string out;
    std::string why;
    EXPECT_FALSE(forms::unescape("\\", out, why));
    EXPECT_FALSE(forms::unescape("\\x1", out, why));
    EXPECT_FALSE(forms::unescape("\\x1g", out, why));
}

TEST(Words, AreReadBack)
{
    const Lines words = {"a", "", "b c", "d\"e", "\n", " "};
    Lines again;
    std::string why;
    ASSERT_TRUE(forms::split_words(forms::join_words(words), again, why)) << why;
    EXPECT_EQ(again, words);
}

TEST(LinesOfText, TellWhetherTheLastIsComplete)
{
    bool complete = true;
    EXPECT_EQ(forms::split_lines("a\n\nb", complete), (Lines{"a", "", "b"}));
    EXPECT_FALSE(complete);
    EXPECT_EQ(forms::split_lines("a\n", complete), (Lines{"a"}));
    EXPECT_TRUE(complete);
    EXPECT_TRUE(forms::split_lines("", complete).empty());
}

TEST(Difference, OfEqualListsIsEmpty)
{
    EXPECT_EQ(bench::unified_difference({"a", "b"}, {"a", "b"}), "");
    EXPECT_EQ(bench::unified_difference({}, {}), "");
}

TEST(Difference, ShowsWhatIsMissingAndWhatIsNew)
{
    EXPECT_EQ(bench::unified_difference({"a", "b", "c"}, {"a", "x", "c"}),
              "@@ -1,3 +1,3 @@\n a\n-b\n+x\n c\n");
    EXPECT_EQ(bench::unified_difference({"a"}, {}), "@@ -1,1 +1,0 @@\n-a\n");
    EXPECT_EQ(bench::unified_difference({}, {"a"}), "@@ -1,0 +1,1 @@\n+a\n");
}

TEST(Difference, KeepsDistantChangesApart)
{
    Lines expected;
    for (int i = 0; i < 20; ++i) {
        expected.push_back(std::to_string(i));
    }
    Lines actual = expected;
    actual[1] = "x";
    actual[18] = "y";
    EXPECT_EQ(bench::unified_difference(expected, actual),
              "@@ -1,5 +1,5 @@\n 0\n-1\n+x\n 2\n 3\n 4\n"
              "@@ -16,5 +16,5 @@\n 15\n 16\n 17\n-18\n+y\n 19\n");
}

}  // namespace
