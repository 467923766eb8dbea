// The nvram tool: text form, damage reports, and the program itself on files of its own.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "forms/escapes.h"
#include "forms/settings.h"
#include "forms/store.h"
#include "rc/nvram.h"

namespace {

using std::string_literals::operator""s;

// ---- text form -------------------------------------------------------------------------------------------

std::string unescaped(const std::string &text)
{
    std::string out;
    std::string why;
    EXPECT_TRUE(forms::unescape(text, out, why)) << why;
    return out;
}

std::string refused_escape(const std::string &text)
{
    std::string out;
    std::string why;
    EXPECT_FALSE(forms::unescape(text, out, why)) << out;
    return why;
}

std::string store_of(const std::string &text)
{
    std::vector<forms::Setting> settings;
    forms::Fault fault;
    EXPECT_TRUE(forms::read_settings(text, settings, fault)) << fault.in("text");
    return forms::store_bytes(settings);
}

std::string text_of(const std::string &store)
{
    return forms::settings_text(forms::store_settings(store));
}

// "FILE:LINE: WHY"
std::string refused_text(const std::string &text)
{
    std::vector<forms::Setting> settings;
    forms::Fault fault;
    EXPECT_FALSE(forms::read_settings(text, settings, fault));
    return fault.in("t");
}

TEST(TextForm, EscapesWhatATerminalDoesNotShow)
{
    EXPECT_EQ(forms::escape("a\nb\tc\\d\x01\x7f\xff"), "a\\nb\\tc\\\\d\\x01\\x7f\\xff");
    EXPECT_EQ(forms::escape("two  blanks"), "two  blanks");
    EXPECT_EQ(forms::escape("blank at the end "), "blank at the end\\x20");
    EXPECT_EQ(forms::escape(" "), "\\x20");
    EXPECT_EQ(forms::escape(""), "");
}

TEST(TextForm, EveryByteComesBack)
{
    for (int byte = 1; byte < 256; ++byte) {
        const std::string value(3, static_cast<char>(byte));
        const std::string escaped = forms::escape(value);
        EXPECT_EQ(unescaped(escaped), value) << byte;
        for (const char c : escaped) {
            EXPECT_TRUE(c >= ' ' && c <= '~') << byte;
        }
    }
}

TEST(TextForm, HexadecimalDigitsOfBothCases)
{
    EXPECT_EQ(unescaped("\\xaF\\xAf"), "\xaf\xaf");
}

TEST(TextForm, WrongEscapesAreRefused)
{
    const std::string why = "a backslash begins \\n, \\t, \\\\ or \\xHH";
    for (const char *text : {"\\", "\\q", "\\N", "\\x", "\\x1", "\\xg1", "\\x1g", "a\\", "\\ n"}) {
        EXPECT_EQ(refused_escape(text), why) << text;
    }
    EXPECT_EQ(refused_escape("a\rb"), "a control byte is written \\n, \\t or \\xHH");
    EXPECT_EQ(refused_escape("a\0b"s), "a control byte is written \\n, \\t or \\xHH");
}

TEST(TextForm, TextBecomesAStore)
{
    EXPECT_EQ(store_of("lan_if=br0\nlist=a\\x01b\\x01\nempty=\n"), "lan_if=br0\0list=a\1b\1\0empty=\0\0"s);
    EXPECT_EQ(store_of("last=without line end"), "last=without line end\0\0"s);
    EXPECT_EQ(store_of("equals=a=b=\n"), "equals=a=b=\0\0"s);
    EXPECT_EQ(store_of(""), "\0"s);
}

TEST(TextForm, CommentsAndBlankLinesArePassedOver)
{
    EXPECT_EQ(store_of("# a=1\n\n \t \na=2\n## text: b=3\n"), "a=2\0\0"s);
    EXPECT_EQ(store_of(" #a=1\n"), " #a=1\0\0"s);
}

TEST(TextForm, WrongLinesAreRefusedByNumber)
{
    EXPECT_EQ(refused_text("a=1\n\nabc\n"), "t:3: no \"=\" in entry");
    EXPECT_EQ(refused_text("=1\n"), "t:1: no key before \"=\"");
    EXPECT_EQ(refused_text("a=1\nb=2\na=3\n"), "t:3: key a is on line 1 already");
    EXPECT_EQ(refused_text("a=1\r\nb=2\n"), "t:1: a carriage return at the end of a line is written \\x0d");
    EXPECT_EQ(refused_text("a=1\r2\n"), "t:1: a control byte is written \\n, \\t or \\xHH");
    EXPECT_EQ(refused_text("a=\\x00\n"), "t:1: an entry cannot hold the byte 0");
    EXPECT_EQ(refused_text("a\\x3db=1\n"), "t:1: a key cannot hold \"=\"");
    EXPECT_EQ(refused_text("\\q=1\n"), "t:1: a backslash begins \\n, \\t, \\\\ or \\xHH");
}

TEST(TextForm, FilesOfOtherKindsAreNamed)
{
    EXPECT_EQ(refused_text("a=1\0b=2\0\0"s), "t: this is a store, not text; use nvram -f FILE export");
    EXPECT_EQ(refused_text("\0NOR\0\0\0\5"s),
              "t: this is a flash image, not text; use nvram --flash FILE export");
    EXPECT_EQ(refused_text("\xff\xfe"
                           "a\0=\0"
                           "1\0"s),
              "t: this is text in UTF-16; save it as UTF-8");
}

TEST(TextForm, TextOfOtherSystemsIsUnderstood)
{
    EXPECT_EQ(store_of("\xef\xbb\xbf"
                       "a=1\r\n\r\nb=2\r\nc=3"),
              "a=1\0b=2\0c=3\0\0"s);
}

TEST(TextForm, AKeyLikeACommentSurvives)
{
    const std::string store = "#key=1\0\t=2\0 =3\0\0"s;
    EXPECT_EQ(text_of(store), "\\x23key=1\n\\t=2\n\\x20=3\n");
    EXPECT_EQ(store_of(text_of(store)), store);
}

TEST(TextForm, StoresSurviveTheWayToTextAndBack)
{
    std::mt19937 random(20);
    const auto text = [&random](size_t most, const char *without) {
        std::string out(random() % (most + 1), ' ');
        for (char &c : out) {
            do {
                c = static_cast<char>(1 + random() % 255);
            } while (strchr(without, c) != nullptr);
        }
        return out;
    };
    for (int round = 0; round < 300; ++round) {
        std::string store = "\0"s;
        for (size_t left = random() % 20; left > 0; --left) {
            store = store_replace(store, "k" + text(8, "="), text(60, ""));
        }
        EXPECT_EQ(store_of(text_of(store)), store);
    }
}

// ---- damage ----------------------------------------------------------------------------------------------

std::string report(const std::vector<forms::Damage> &found)
{
    std::string text;
    for (const forms::Damage &damage : found) {
        text +=
            std::to_string(damage.offset) + (damage.is_lost ? " lost: " : " kept: ") + damage.reason + "\n";
    }
    return text;
}

TEST(StoreCheck, SoundStores)
{
    EXPECT_EQ(report(forms::check_store("\0"s)), "");
    EXPECT_EQ(report(forms::check_store("a=1\0\0"s)), "");
    EXPECT_EQ(report(forms::check_store("a=\0b==\0ab=1\0\0"s)), "");
}

TEST(StoreCheck, DamagedStores)
{
    EXPECT_EQ(report(forms::check_store("")), "0 lost: the final NUL is missing\n");
    EXPECT_EQ(report(forms::check_store("a=1\0"s)), "4 lost: the final NUL is missing\n");
    EXPECT_EQ(report(forms::check_store("a=1\0b=2"s)), "4 lost: truncated entry: no NUL ends it\n");
    EXPECT_EQ(report(forms::check_store("a=1\0word\0b=2\0\0"s)), "4 lost: entry without \"=\"\n");
    EXPECT_EQ(report(forms::check_store("=1\0\0"s)), "0 lost: entry without a key\n");
    EXPECT_EQ(report(forms::check_store("a=1\0\0b=2\0\0"s)), "5 lost: 5 bytes behind the final NUL\n");
    EXPECT_EQ(report(forms::check_store("a=1\0b=2\0a=1\0a=3\0\0"s)),
              "8 kept: duplicate key a, first at byte 0\n12 kept: duplicate key a, first at byte 0\n");
}

TEST(StoreCheck, AllDamageIsReportedWithItsPlaceInTheFile)
{
    EXPECT_EQ(report(forms::check_store("a=1\0x\0a=2\0cut"s, 40)),
              "44 lost: entry without \"=\"\n46 kept: duplicate key a, first at byte 40\n"
              "50 lost: truncated entry: no NUL ends it\n");
}

// An image as the router writes it: header and store by their stated bytes.
std::string image_of(const std::string &store, const std::string &header)
{
    return header + std::string(24, '\xff') + store;
}

// The CRC-32 of "a=1", NUL, NUL was computed with another program.
const std::string kStore = "a=1\0\0"s;
const std::string kHeader = "\0NOR\0\0\0\5\x45\x98\x06\x3b\0\0\0\0"s;

TEST(FlashCheck, SoundImage)
{
    EXPECT_EQ(report(forms::check_flash(image_of(kStore, kHeader))), "");
    EXPECT_EQ(report(forms::check_flash(image_of(kStore, kHeader) + "rest of the partition")), "");
    EXPECT_EQ(forms::flash_store(image_of(kStore, kHeader) + "rest"), kStore);
}

TEST(FlashCheck, DamagedImages)
{
    EXPECT_EQ(report(forms::check_flash("")), "0 lost: truncated header\n");
    EXPECT_EQ(report(forms::check_flash(kHeader.substr(0, 15))), "15 lost: truncated header\n");
    EXPECT_EQ(report(forms::check_flash(std::string(100, '\xff'))),
              "0 lost: bad magic 0xffffffff, not 0x004e4f52\n");
    EXPECT_EQ(report(forms::check_flash(kHeader)),
              "4 lost: the length is 5, but only 0 bytes of data are there\n"
              "40 lost: the final NUL is missing\n");
    EXPECT_EQ(report(forms::check_flash(image_of("a=1\0"s, kHeader))),
              "4 lost: the length is 5, but only 4 bytes of data are there\n"
              "44 lost: the final NUL is missing\n");
    EXPECT_EQ(report(forms::check_flash(image_of("a=2\0\0"s, kHeader))),
              "8 lost: checksum 0x4598063b, but the data has 0x47deb862\n");
}

TEST(FlashCheck, ALengthBeyondEverythingIsNoOverrun)
{
    EXPECT_EQ(report(forms::check_flash(image_of("a=1\0\0"s, "\0NOR\xff\xff\xff\xff\0\0\0\0\0\0\0\0"s))),
              "4 lost: the length is 4294967295, but only 5 bytes of data are there\n");
}

// ---- the program ------------------------------------------------------------------------------------

struct Result {
    int status;
    std::string output;
    std::string errors;
};

std::string file_bytes(const std::string &path)
{
    std::ostringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return bytes.str();
}

class NvramTool : public testing::Test {
  protected:
    void SetUp() override
    {
        char name[] = "/tmp/nvram-test-XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        directory_ = name;
    }

    void TearDown() override { std::filesystem::remove_all(directory_); }

    std::string path(const std::string &name) const { return directory_ + "/" + name; }

    void put(const std::string &name, const std::string &bytes) const
    {
        std::ofstream(path(name), std::ios::binary) << bytes;
    }

    std::string bytes(const std::string &name) const { return file_bytes(path(name)); }

    // Runs the tool in the test's directory, with words as the shell reads them.
    Result run(const std::string &words) const
    {
        const std::string command =
            "cd " + directory_ + " && " + NVRAM_TOOL + " " + words + " > .out 2> .err";
        const int status = system(command.c_str());
        EXPECT_TRUE(WIFEXITED(status)) << command;
        return {WEXITSTATUS(status), bytes(".out"), bytes(".err")};
    }

    // Runs it expecting this status, nothing on standard output and this one line on standard error.
    void refuses(const std::string &words, int status, const std::string &line) const
    {
        const Result result = run(words);
        EXPECT_EQ(result.status, status) << words;
        EXPECT_EQ(result.output, "") << words;
        EXPECT_EQ(result.errors, "nvram: " + line + "\n") << words;
    }

    // Notes about keys that the router does not know are looked at in a test of their own.
    void does(const std::string &words, const std::string &output = "") const
    {
        const Result result = run(words);
        EXPECT_EQ(result.status, 0) << words;
        EXPECT_EQ(result.output, output) << words;
        EXPECT_EQ(without_notes(result.errors), "") << words;
    }

    static std::string without_notes(const std::string &errors)
    {
        std::istringstream lines(errors);
        std::string others;
        for (std::string line; std::getline(lines, line);) {
            others += line.starts_with("nvram: note: ") ? "" : line + "\n";
        }
        return others;
    }

  private:
    std::string directory_;
};

TEST_F(NvramTool, GetPrintsTheValue)
{
    put("s", "wan_ifname=ppp0\0wan=\0list=a\1b\1\0\0"s);
    does("-f s get wan_ifname", "ppp0\n");
    does("--file=s get list", "a\1b\1\n");
    does("--defaults s get wan", "\n");
    refuses("-f s get wan_if", 1, "cannot get \"wan_if\" from s: no such key");
}

TEST_F(NvramTool, SetChangesInPlaceAndAppends)
{
    put("s", "a=1\0b=2\0\0"s);
    does("-f s set c=3 a=x=y b=");
    EXPECT_EQ(bytes("s"), "a=x=y\0b=\0c=3\0\0"s);
    does("-f s set -k=v");
    EXPECT_EQ(bytes("s"), "a=x=y\0b=\0c=3\0-k=v\0\0"s);
}

TEST_F(NvramTool, SetMakesAMissingStore)
{
    does("-f s set a=1");
    EXPECT_EQ(bytes("s"), "a=1\0\0"s);
    does("--flash i set a=1");
    EXPECT_EQ(bytes("i"), kHeader + std::string(24, '\0') + kStore);
}

TEST_F(NvramTool, SetWithOneWrongWordChangesNothing)
{
    put("s", kStore);
    refuses("-f s set a=2 word", 2, "cannot set \"word\": it is not KEY=VALUE");
    refuses("-f s set a=2 =3", 2, "cannot set \"=3\": it is not KEY=VALUE");
    EXPECT_EQ(bytes("s"), kStore);
}

TEST_F(NvramTool, UnsetRemovesAllOfAKey)
{
    put("s", "a=1\0ab=2\0a=3\0b=4\0\0"s);
    does("-f s unset a b");
    EXPECT_EQ(bytes("s"), "ab=2\0\0"s);
    refuses("-f s unset ab x", 1, "cannot unset \"x\" in s: no such key");
    EXPECT_EQ(bytes("s"), "ab=2\0\0"s);
    does("-f s unset ab");
    EXPECT_EQ(bytes("s"), "\0"s);
}

TEST_F(NvramTool, ShowOfAStore)
{
    put("s", "a=1\0b=x\ty\1\0\0"s);
    does("-f s show", "# store s\n# entries   2\na=1\nb=x\\ty\\x01\n");
}

TEST_F(NvramTool, ShowOfAFlashImagePrintsItsHeader)
{
    put("i", image_of(kStore, kHeader));
    does("--flash i show",
         "# flash image i\n# magic     0x004e4f52\n# length    5\n# checksum  0x4598063b\n# entries   "
         "1\na=1\n");
}

TEST_F(NvramTool, ShowOfADamagedImagePrintsItsHeaderAndTheDamage)
{
    put("i", image_of("a=2\0\0"s, kHeader));
    const Result result = run("--flash i show");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output,
              "# flash image i\n# magic     0x004e4f52\n# length    5\n# checksum  0x4598063b\n");
    EXPECT_EQ(result.errors,
              "nvram: cannot show i: damaged at byte 8: checksum 0x4598063b, but the data has 0x47deb862\n");
}

TEST_F(NvramTool, WhatShowPrintsCanBeImported)
{
    put("i", image_of(kStore, kHeader));
    EXPECT_EQ(run("--flash i show | " NVRAM_TOOL " -f s import -").status, 0);
    EXPECT_EQ(bytes("s"), kStore);
}

TEST_F(NvramTool, ImportReplacesTheWholeStore)
{
    put("s", "old=1\0\0"s);
    put("t", "# settings\n\nb=2\na=\\x01\n");
    does("-f s import t");
    EXPECT_EQ(bytes("s"), "b=2\0a=\1\0\0"s);
    does("-f s export", "b=2\na=\\x01\n");
}

TEST_F(NvramTool, ImportOfABadTextChangesNothing)
{
    put("s", kStore);
    put("t", "b=2\n# c\nword\n");
    refuses("-f s import t", 2, "cannot read t:3: no \"=\" in entry");
    refuses("-f s import missing", 2, "cannot read missing: No such file or directory");
    refuses("-f s import .", 2, "cannot read .: it is a directory");
    refuses("-f missing import t", 2, "cannot read t:3: no \"=\" in entry");
    EXPECT_EQ(bytes("s"), kStore);
    EXPECT_FALSE(std::filesystem::exists(path("missing")));
}

TEST_F(NvramTool, ImportFillsABlankImageAndKeepsItsOtherBytes)
{
    put("i", std::string(60, '\xff'));
    put("t", "a=1\n");
    does("--flash i import t");
    EXPECT_EQ(bytes("i"), image_of(kStore, kHeader) + std::string(15, '\xff'));
}

TEST_F(NvramTool, EveryByteSurvivesExportAndImport)
{
    std::string value;
    for (int byte = 1; byte < 256; ++byte) {
        value += static_cast<char>(byte);
    }
    put("s", "all=" + value + "\0\0"s);
    EXPECT_EQ(run("-f s export | " NVRAM_TOOL " -f s2 import -").status, 0);
    EXPECT_EQ(bytes("s2"), bytes("s"));
}

TEST_F(NvramTool, CheckReportsAllDamage)
{
    put("s", "a=1\0word\0a=2\0\0"s);
    Result result = run("-f s check");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "s: byte 4: entry without \"=\"\ns: byte 9: duplicate key a, first at byte 0\n");
    put("i", image_of("a=2\0\0"s, kHeader));
    result = run("--flash i check");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "i: byte 8: checksum 0x4598063b, but the data has 0x47deb862\n");
    put("i", image_of(kStore, kHeader));
    does("--flash i check", "i: sound, 1 entries, 5 bytes\n");
}

TEST_F(NvramTool, ADamagedStoreIsNotChanged)
{
    const std::string damaged = "a=1\0b=2"s;
    put("s", damaged);
    refuses("-f s set a=2", 1, "cannot change s: damaged at byte 4: truncated entry: no NUL ends it");
    refuses("-f s unset a", 1, "cannot change s: damaged at byte 4: truncated entry: no NUL ends it");
    refuses("-f s export", 1, "cannot export s: damaged at byte 4: truncated entry: no NUL ends it");
    refuses("-f s --flash i commit", 1,
            "cannot commit s: damaged at byte 4: truncated entry: no NUL ends it");
    EXPECT_EQ(bytes("s"), damaged);
    EXPECT_FALSE(std::filesystem::exists(path("i")));
    does("-f s get a", "1\n");
}

TEST_F(NvramTool, DuplicateKeysCanBeRepaired)
{
    put("s", "a=1\0a=2\0\0"s);
    does("-f s set a=3");
    EXPECT_EQ(bytes("s"), "a=3\0a=3\0\0"s);
    does("-f s unset a");
    EXPECT_EQ(bytes("s"), "\0"s);
}

TEST_F(NvramTool, CommitWritesHeaderAndStoreAndKeepsTheRest)
{
    put("s", kStore);
    put("i", std::string(60, 'x'));
    does("-f s --flash i commit");
    EXPECT_EQ(bytes("i"), kHeader + std::string(24, 'x') + kStore + std::string(15, 'x'));
}

TEST_F(NvramTool, LoadBringsTheStoreBack)
{
    put("i", image_of(kStore, kHeader) + "rest");
    put("s", "old=1\0\0"s);
    does("-f s --flash i load");
    EXPECT_EQ(bytes("s"), kStore);
}

TEST_F(NvramTool, LoadOfADamagedImageLeavesTheStore)
{
    put("s", kStore);
    put("i", "no image at all...");
    refuses("-f s --flash i load", 1,
            "cannot load i: damaged at byte 0: bad magic 0x6e6f2069, not 0x004e4f52");
    put("i", image_of("a=2\0\0"s, kHeader));
    refuses("--flash i -f s load", 1,
            "cannot load i: damaged at byte 8: checksum 0x4598063b, but the data has 0x47deb862");
    refuses("--flash none -f s load", 2, "cannot read none: No such file or directory");
    EXPECT_EQ(bytes("s"), kStore);
}

TEST_F(NvramTool, WrongWordsAreRefused)
{
    put("s", kStore);
    refuses("", 2, "no command is given; see nvram --help");
    refuses("erase", 2, "unknown command \"erase\"; see nvram --help");
    refuses("--what", 2, "unknown option \"--what\"; see nvram --help");
    refuses("-f", 2, "option -f needs an argument, STORE; see nvram --help");
    refuses("-f '' show", 2, "the name of the store is empty; see nvram --help");
    refuses("-f s --defaults t show", 2, "more than one store is named; see nvram --help");
    refuses("-f s get", 2, "say \"nvram get KEY\"; see nvram --help");
    refuses("-f s get a b", 2, "say \"nvram get KEY\"; see nvram --help");
    refuses("-f s set", 2, "say \"nvram set KEY=VALUE...\"; see nvram --help");
    refuses("-f s show all", 2, "say \"nvram show\"; see nvram --help");
    refuses("-f s --flash i get a", 2, "cannot get: more than one file is named; see nvram --help");
    refuses("-f s commit", 2, "cannot commit: -f STORE and --flash IMAGE are needed; see nvram --help");
    refuses("--flash i load", 2, "cannot load: -f STORE and --flash IMAGE are needed; see nvram --help");
    EXPECT_EQ(bytes("s"), kStore);
}

TEST_F(NvramTool, HelpNamesEveryCommand)
{
    const Result result = run("--help");
    EXPECT_EQ(result.status, 0);
    for (const char *name : {"get", "set", "unset", "show", "import", "export", "check", "commit", "load"}) {
        EXPECT_NE(result.output.find("\n  "s + name + " "), std::string::npos) << name;
    }
}

TEST_F(NvramTool, UnusableFilesAreNamed)
{
    refuses("-f missing get a", 2, "cannot read missing: No such file or directory");
    refuses("-f . show", 2, "cannot read .: it is a directory");
    refuses("-f missing/s set a=1", 3, "cannot write missing/s: No such file or directory");
    refuses("-f /dev/full set a=1", 2, "cannot read /dev/full: it is a device");
    refuses("--flash /dev/zero show", 2, "cannot read /dev/zero: it is a device");
    refuses("-f s import /dev/zero", 2, "cannot read /dev/zero: it is a device");
    refuses("-f s import - < /dev/zero", 2, "cannot read standard input: it is larger than 4 MiB");
    refuses("-f - show < /dev/zero", 2, "cannot read standard input: it is larger than 1 MiB");
    refuses("--flash - check < /dev/zero", 2, "cannot read standard input: it is larger than 16 MiB");
    refuses("-f - set a=1", 2, "cannot write standard input: name a file; see nvram --help");
}

TEST_F(NvramTool, FilesOfOtherKindsAreNamed)
{
    put("s", kStore);
    put("i", image_of(kStore, kHeader));
    refuses("-f t import s", 2, "cannot read s: this is a store, not text; use nvram -f FILE export");
    refuses("-f t import i", 2,
            "cannot read i: this is a flash image, not text; use nvram --flash FILE export");
    EXPECT_FALSE(std::filesystem::exists(path("t")));
}

TEST_F(NvramTool, KeysThatTheRouterDoesNotKnowAreNoted)
{
    Result result = run("-f s set lan_ipaddr=10.0.0.1 lan_ipadr=10.0.0.1");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors,
              "nvram: note: lan_ipadr is not among the default settings (did you mean lan_ipaddr?)\n");
    std::string text;
    std::string notes;
    for (int i = 10; i < 22; ++i) {
        text += "x" + std::to_string(i) + "=1\n";
        notes += i >= 20 ? "" : "nvram: note: x" + std::to_string(i) + " is not among the default settings\n";
    }
    put("t", text + "lan_if=br0\n");
    EXPECT_EQ(run("-f s import t").errors, notes + "nvram: note: 2 more keys are not among them\n");
}

TEST_F(NvramTool, AKeyWithAnEqualsSignIsNotThere)
{
    put("s", "a=b=c\0\0"s);
    refuses("-f s get a=b", 1, "cannot get \"a=b\" from s: no such key");
    refuses("-f s get ''", 1, "cannot get \"\" from s: no such key");
}

}  // namespace
