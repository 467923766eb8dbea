// Text helpers and the readers of records, as the C library's own functions read.
#include <gtest/gtest.h>

#include "rc/record.h"
#include "rc/text.h"

namespace {

// ---- numbers --------------------------------------------------------------------------------------------

TEST(ToInt, ReadsTheNumberAtTheStart)
{
    EXPECT_EQ(to_int("12"), 12);
    EXPECT_EQ(to_int("-12abc"), -12);
    EXPECT_EQ(to_int("+7"), 7);
    EXPECT_EQ(to_int(" \t\n\v\f\r3"), 3);
    EXPECT_EQ(to_int("010"), 10);
    EXPECT_EQ(to_int("0x10"), 0);
    EXPECT_EQ(to_int("1.9"), 1);
}

TEST(ToInt, IsZeroWithoutANumber)
{
    EXPECT_EQ(to_int(""), 0);
    EXPECT_EQ(to_int("abc"), 0);
    EXPECT_EQ(to_int("- 1"), 0);
    EXPECT_EQ(to_int("+-1"), 0);
    EXPECT_EQ(to_int(std::string("\x01") + "1"), 0);
}

TEST(ToInt, IsCutToThirtyTwoBits)
{
    EXPECT_EQ(to_int("2147483647"), 2147483647);
    EXPECT_EQ(to_int("-2147483648"), -2147483647 - 1);
    EXPECT_EQ(to_int("2147483648"), -2147483647 - 1);
    EXPECT_EQ(to_int("4294967297"), 1);
    EXPECT_EQ(to_int("99999999999999999999"), -1);
    EXPECT_EQ(to_int("-99999999999999999999"), 0);
}

// ---- copies ---------------------------------------------------------------------------------------------

TEST(CopyText, IsCutAndTerminated)
{
    char four[4] = {'x', 'x', 'x', 'x'};
    copy_text(four, "ab");
    EXPECT_STREQ(four, "ab");
    copy_text(four, "abc");
    EXPECT_STREQ(four, "abc");
    copy_text(four, "abcdef");
    EXPECT_STREQ(four, "abc");
    copy_text(four, "");
    EXPECT_STREQ(four, "");
}

TEST(CopyText, IntoOneByteIsEmpty)
{
    char bytes[2] = {'x', 'y'};
    copy_text(bytes, 1, "abc");
    EXPECT_EQ(bytes[0], '\0');
    EXPECT_EQ(bytes[1], 'y');
}

TEST(Strccpy, StopsAtTheStopCharacter)
{
    char text[16];
    strccpy(text, sizeof text, "one:two", ':');
    EXPECT_STREQ(text, "one");
    strccpy(text, sizeof text, "one", ':');
    EXPECT_STREQ(text, "one");
    strccpy(text, sizeof text, ":two", ':');
    EXPECT_STREQ(text, "");
    strccpy(text, sizeof text, "a\x01z", '\x01');
    EXPECT_STREQ(text, "a");
}

TEST(Strccpy, OfNothingIsEmpty)
{
    char text[16] = "old";
    strccpy(text, sizeof text, nullptr, ':');
    EXPECT_STREQ(text, "");
    copy_text(text, "old");
    strccpy(text, sizeof text, "", ':');
    EXPECT_STREQ(text, "");
}

TEST(Strccpy, IsCutToItsDestination)
{
    char text[4];
    strccpy(text, sizeof text, "abcdef:", ':');
    EXPECT_STREQ(text, "abc");
}

TEST(AppendFormat, GrowsWithoutLimit)
{
    std::string text = "a";
    append_format(text, "%s-%d", std::string(5000, 'x').c_str(), 7);
    EXPECT_EQ(text, "a" + std::string(5000, 'x') + "-7");
    append_format(text, "%s", "");
    EXPECT_EQ(text.size(), 5003U);
}

TEST(Contains, FindsThePartAnywhere)
{
    EXPECT_TRUE(contains("abc", "bc"));
    EXPECT_TRUE(contains("abc", ""));
    EXPECT_FALSE(contains("abc", "ac"));
}

// ---- readers of records ---------------------------------------------------------------------------------

TEST(ScanText, NeedsOneCharacter)
{
    char text[8] = "old";
    Scan scan = {":rest"};
    EXPECT_FALSE(scan_text(scan, text, ':'));
    EXPECT_STREQ(text, "old");
    EXPECT_STREQ(scan.at, ":rest");
    scan.at = "";
    EXPECT_FALSE(scan_text(scan, text, ':'));
    EXPECT_STREQ(text, "old");
}

TEST(ScanText, TakesAllBeforeTheStop)
{
    char text[8];
    Scan scan = {" a b:rest"};
    EXPECT_TRUE(scan_text(scan, text, ':'));
    EXPECT_STREQ(text, " a b");
    EXPECT_STREQ(scan.at, ":rest");
    scan.at = "rest";
    EXPECT_TRUE(scan_text(scan, text, ':'));
    EXPECT_STREQ(text, "rest");
    EXPECT_STREQ(scan.at, "");
}

TEST(ScanText, SkipsWhatDoesNotFit)
{
    char text[4];
    Scan scan = {"abcdef:rest"};
    EXPECT_TRUE(scan_text(scan, text, ':'));
    EXPECT_STREQ(text, "abc");
    EXPECT_STREQ(scan.at, ":rest");
}

TEST(ScanWord, SkipsWhiteSpaceAndStopsAtIt)
{
    char text[8] = "old";
    Scan scan = {" \t\none two"};
    EXPECT_TRUE(scan_word(scan, text));
    EXPECT_STREQ(text, "one");
    EXPECT_STREQ(scan.at, " two");
    scan.at = " \n ";
    EXPECT_FALSE(scan_word(scan, text));
    EXPECT_STREQ(text, "one");
}

TEST(ScanWord, IsBounded)
{
    char text[3];
    Scan scan = {"abcdef x"};
    EXPECT_TRUE(scan_word(scan, text));
    EXPECT_STREQ(text, "ab");
    EXPECT_STREQ(scan.at, " x");
}

TEST(ScanInt, ReadsADecimalNumber)
{
    int number = 5;
    Scan scan = {"  -12:x"};
    EXPECT_TRUE(scan_int(scan, number));
    EXPECT_EQ(number, -12);
    EXPECT_STREQ(scan.at, ":x");
    scan.at = "010";
    EXPECT_TRUE(scan_int(scan, number));
    EXPECT_EQ(number, 10);
    scan.at = "4294967297";
    EXPECT_TRUE(scan_int(scan, number));
    EXPECT_EQ(number, 1);
}

TEST(ScanInt, KeepsItsDestinationWithoutANumber)
{
    int number = 5;
    for (const char *text : {"", " ", "x1", "-", "- 1"}) {
        Scan scan = {text};
        EXPECT_FALSE(scan_int(scan, number)) << text;
        EXPECT_EQ(number, 5);
    }
}

TEST(ScanHex, ReadsWithAndWithoutPrefix)
{
    unsigned number = 0;
    Scan scan = {"ff "};
    EXPECT_TRUE(scan_hex(scan, number));
    EXPECT_EQ(number, 255U);
    scan.at = " 0xFFFFFFFF";
    EXPECT_TRUE(scan_hex(scan, number));
    EXPECT_EQ(number, 0xFFFFFFFFU);
    scan.at = "g";
    EXPECT_FALSE(scan_hex(scan, number));
    EXPECT_EQ(number, 0xFFFFFFFFU);
}

// As scanf of the C library reads it, whose strtoul stops behind the 0.
TEST(ScanHex, PrefixWithoutDigitsIsZeroAndReadWhole)
{
    for (const char *text : {"0x:7", "0X:7", " -0x:7", "0xg", "00x1", "0:7", "0x", "0x-1"}) {
        unsigned expected = 5;
        int moved = 0;
        ASSERT_EQ(sscanf(text, "%x%n", &expected, &moved), 1);
        unsigned number = 5;
        Scan scan = {text};
        EXPECT_TRUE(scan_hex(scan, number)) << text;
        EXPECT_EQ(number, expected) << text;
        EXPECT_EQ(scan.at - text, moved) << text;
    }
}

TEST(ScanChar, MatchesOneLiteral)
{
    Scan scan = {":x"};
    EXPECT_TRUE(scan_char(scan, ':'));
    EXPECT_STREQ(scan.at, "x");
    EXPECT_FALSE(scan_char(scan, ':'));
    EXPECT_STREQ(scan.at, "x");
}

TEST(Scan, StopsATemplateAtItsFirstMismatch)
{
    char name[8] = "old";
    int number = 5;
    char rest[8] = "old";
    Scan scan = {"a:x:b"};
    EXPECT_FALSE(scan_text(scan, name, ':') && scan_char(scan, ':') && scan_int(scan, number) &&
                 scan_char(scan, ':') && scan_text(scan, rest, ':'));
    EXPECT_STREQ(name, "a");
    EXPECT_EQ(number, 5);
    EXPECT_STREQ(rest, "old");
}

// ---- lists ----------------------------------------------------------------------------------------------

std::vector<std::string> records_of(std::string_view list)
{
    std::vector<std::string> records;
    std::string_view record;
    while (next_record(list, record)) {
        records.emplace_back(record);
    }
    return records;
}

TEST(NextRecord, CutsAtEveryByteBelowTwo)
{
    using Records = std::vector<std::string>;
    EXPECT_EQ(records_of(""), Records{});
    EXPECT_EQ(records_of("a"), Records{"a"});
    EXPECT_EQ(records_of("a\x01"), Records{"a"});
    EXPECT_EQ(records_of("a\x01"
                         "b\x01"),
              (Records{"a", "b"}));
    EXPECT_EQ(records_of(std::string_view("a\0b", 3)), (Records{"a", "b"}));
    EXPECT_EQ(records_of("a\x02"
                         "b"),
              Records{"a\x02"
                      "b"});
    EXPECT_EQ(records_of("\xff\x01"), Records{"\xff"});
}

TEST(NextRecord, KeepsEmptyRecords)
{
    using Records = std::vector<std::string>;
    EXPECT_EQ(records_of("\x01"), Records{""});
    EXPECT_EQ(records_of("\x01\x01"
                         "a"),
              (Records{"", "", "a"}));
}

}  // namespace
