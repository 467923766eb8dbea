// nvram diff: stores, texts, flash images and the defaults against each other.
#include <gtest/gtest.h>

#include "forms/settings.h"
#include "forms/store.h"
#include "tests/running.h"
#include "tests/settings/stores.h"

namespace {

using std::string_literals::operator""s;
using Settings = std::vector<forms::Setting>;

const Settings kOld = {{"lan_if", "br0"}, {"wan_mode", "pppoe"}, {"gone", "x"}};
const Settings kNew = {{"lan_if", "br0"}, {"wan_mode", "ip"}, {"come", "y z "}};
const char *const kLines =
    "wan_mode: \"pppoe\" -> \"ip\"\n"
    "gone: \"x\" -> -\n"
    "come: - -> \"y z\\x20\"\n";

std::string flash_image(const Settings &settings)
{
    const std::string store = forms::store_bytes(settings);
    std::string image = forms::flash_header_bytes(store);
    image.resize(kFlashDataOffset);
    return image + store + std::string(100, '\xff');
}

class NvramDiff : public testing::Test {
  protected:
    // The same settings in the three kinds of file.
    void put(const std::string &name, const Settings &settings) const
    {
        folder_.file(name + ".store", forms::store_bytes(settings));
        folder_.file(name + ".text", forms::settings_text(settings));
        folder_.file(name + ".flash", flash_image(settings));
    }
    Ran diff(const std::string &words) const { return folder_.run(NVRAM_TOOL " diff " + words); }

    Folder folder_;
};

TEST_F(NvramDiff, EveryKindOfFileAgainstEveryKind)
{
    put("old", kOld);
    put("new", kNew);
    for (const char *before : {"old.store", "old.text", "old.flash"}) {
        for (const char *after : {"new.store", "new.text", "new.flash"}) {
            const Ran ran = diff(before + " "s + after);
            EXPECT_EQ(ran.output, kLines) << before << " " << after;
            EXPECT_EQ(ran.status, 1);
            EXPECT_EQ(ran.errors, "");
        }
        const Ran same = diff(before + " old.text"s);
        EXPECT_EQ(same.output, "");
        EXPECT_EQ(same.status, 0);
    }
}

TEST_F(NvramDiff, TheDefaultsOnEitherSide)
{
    Settings store = settings_test::default_store();
    put("same", store);
    EXPECT_EQ(diff("--defaults same.flash").status, 0);
    settings_test::put(store, "wan_mtu", "1400");
    put("mine", store);
    for (const char *mine : {"mine.store", "mine.text", "mine.flash"}) {
        EXPECT_EQ(diff("--defaults "s + mine).output, "wan_mtu: \"1492\" -> \"1400\"\n");
        EXPECT_EQ(diff(mine + " --defaults"s).output, "wan_mtu: \"1400\" -> \"1492\"\n");
    }
}

// Of a dump with a few settings, those that are not in it are no news.
TEST_F(NvramDiff, ManySettingsOfOneSideAreANumber)
{
    put("few", {{"wan_mtu", "1400"}, {"wan_mtuu", "1"}});
    const size_t others = settings_test::default_store().size() - 1;
    const std::string number = std::to_string(others);
    const Ran ran = diff("--defaults few.text");
    EXPECT_EQ(ran.output, "wan_mtu: \"1492\" -> \"1400\"\nwan_mtuu: - -> \"1\"\n" + number +
                              " settings are only in the defaults; --all lists them\n");
    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(diff("few.flash --defaults").output,
              "wan_mtu: \"1400\" -> \"1492\"\nwan_mtuu: \"1\" -> -\n" + number +
                  " settings are only in the defaults; --all lists them\n");
    const std::string all = diff("--all --defaults few.text").output;
    EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), static_cast<long>(others) + 2);
    EXPECT_NE(all.find("wan_mode: \"pppoe\" -> -\n"), std::string::npos);
    Settings ten;
    for (int i = 0; i < 11; ++i) {
        ten.push_back({"key" + std::to_string(i), "x"});
    }
    put("eleven", ten);
    ten.pop_back();
    put("ten", ten);
    folder_.file("none.text", "");
    EXPECT_EQ(diff("eleven.text none.text").output,
              "11 settings are only in eleven.text; --all lists them\n");
    EXPECT_EQ(diff("none.text eleven.text").status, 1);
    const std::string each = diff("ten.text none.text").output;
    EXPECT_EQ(std::count(each.begin(), each.end(), '\n'), 10);
    EXPECT_EQ(diff("--json none.text eleven.text").output,
              "[\n  {\n    \"only_in\": \"b\",\n    \"count\": 11,\n    \"keys\": [\n"
              "      \"key0\",\n      \"key1\",\n      \"key2\",\n      \"key3\",\n      \"key4\",\n"
              "      \"key5\",\n      \"key6\",\n      \"key7\",\n      \"key8\",\n      \"key9\",\n"
              "      \"key10\"\n    ]\n  }\n]\n");
}

TEST_F(NvramDiff, AFileMayBeNamedByAnOption)
{
    put("old", kOld);
    put("new", kNew);
    EXPECT_EQ(diff("--defaults old.store new.text").output, kLines);
    EXPECT_EQ(diff("-f old.store --flash new.flash").output, kLines);
    EXPECT_EQ(folder_.run(NVRAM_TOOL " -f old.store diff new.text").output, kLines);
    EXPECT_EQ(folder_.run(NVRAM_TOOL " --flash old.flash diff new.text").output, kLines);
}

TEST_F(NvramDiff, ListsRecordByRecordAndFieldByField)
{
    put("a", {{"fw_in_rules",
               "1:HTTPS:2:192.168.0.20:0.0.0.0/0:2\x01"
               "1:SSH:2:192.168.0.20:0.0.0.0/0:0\x01"}});
    put("b", {{"fw_in_rules",
               "1:HTTPS:2:192.168.0.30:0.0.0.0/0:0\x01"
               "1:SSH:2:192.168.0.20:0.0.0.0/0:0\x01"
               "1:DNS:2:192.168.0.20:0.0.0.0/0:0\x01"}});
    put("c", {{"fw_in_rules", "1:HTTPS:2\x01"}});
    EXPECT_EQ(diff("a.store b.text").output,
              "fw_in_rules: record 1: lan: \"192.168.0.20\" -> \"192.168.0.30\"\n"
              "fw_in_rules: record 1: log: \"2\" -> \"0\"\n"
              "fw_in_rules: record 3: - -> \"1:DNS:2:192.168.0.20:0.0.0.0/0:0\"\n");
    EXPECT_EQ(diff("a.store c.text").output,
              "fw_in_rules: record 1: \"1:HTTPS:2:192.168.0.20:0.0.0.0/0:2\" -> \"1:HTTPS:2\"\n"
              "fw_in_rules: record 2: \"1:SSH:2:192.168.0.20:0.0.0.0/0:0\" -> -\n");
    // A line end at the end of the last record alone is no other record.
    put("d", {{"fw_schedule", "1111111:8:0-9:0"}});
    put("e", {{"fw_schedule", "1111111:8:0-9:0\x01"}});
    EXPECT_EQ(diff("d.text e.text").output, "fw_schedule: \"1111111:8:0-9:0\" -> \"1111111:8:0-9:0\\x01\"\n");
}

TEST_F(NvramDiff, SecretsAreMasked)
{
    using settings_test::policy;
    put("a", {{"pppoe_password", "hush"}, {"vpn", "1" + policy({{"psk", "hush"}}) + "\x01"}});
    put("b",
        {{"pppoe_password", ""},
         {"vpn", "1" + policy({{"psk", "whisper"}, {"name", "b"}}) + policy({{"psk", "hush"}}) + "\x01"}});
    const std::string masked =
        "pppoe_password: \"********\" -> \"\"\n"
        "vpn: record 1: name: \"office\" -> \"b\"\n"
        "vpn: record 1: psk: \"********\" -> \"********\"\n"
        "vpn: record 2: - -> \"********\"\n";
    EXPECT_EQ(diff("a.flash b.store").output, masked);
    const std::string json = diff("--json a.flash b.store").output;
    EXPECT_EQ(json.find("hush"), std::string::npos) << json;
    EXPECT_EQ(json.find("whisper"), std::string::npos) << json;
    const std::string shown = diff("--secrets a.flash b.store").output;
    EXPECT_NE(shown.find("pppoe_password: \"hush\" -> \"\"\n"), std::string::npos) << shown;
    EXPECT_NE(shown.find("vpn: record 1: psk: \"hush\" -> \"whisper\"\n"), std::string::npos) << shown;
}

TEST_F(NvramDiff, ForMachines)
{
    put("a", {{"lan_if", "br0"}, {"fw_in_rules", "1:HTTPS:2:192.168.0.20:0.0.0.0/0:2\x01"}});
    put("b", {{"fw_in_rules", "1:HTTPS:2:192.168.0.20:0.0.0.0/0:0\x01"}});
    const Ran ran = diff("--json a.text b.text");
    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(ran.output,
              "[\n"
              "  {\n"
              "    \"key\": \"lan_if\",\n"
              "    \"before\": \"br0\",\n"
              "    \"after\": null\n"
              "  },\n"
              "  {\n"
              "    \"key\": \"fw_in_rules\",\n"
              "    \"record\": 1,\n"
              "    \"field\": 6,\n"
              "    \"field_name\": \"log\",\n"
              "    \"before\": \"2\",\n"
              "    \"after\": \"0\"\n"
              "  }\n"
              "]\n");
    EXPECT_EQ(diff("a.text a.store --json").output, "[]\n");
}

TEST_F(NvramDiff, WhatCannotBeCompared)
{
    put("a", kOld);
    folder_.file("damaged", "lan_if=br0\0nonsense"s);
    folder_.file("words", "no settings here\n");
    const std::string more = "nvram: diff needs two files, or --defaults in place of one; see nvram --help\n";
    EXPECT_EQ(diff("a.text").errors, more);
    EXPECT_EQ(diff("a.text a.store a.flash").errors, more);
    EXPECT_EQ(diff("a.text a.store a.flash").status, 2);
    EXPECT_EQ(diff("--jsno a.text a.store").errors,
              "nvram: diff knows no option \"--jsno\" (did you mean --json?); see nvram --help\n");
    EXPECT_EQ(diff("a.text missing").errors, "nvram: cannot read missing: No such file or directory\n");
    for (const char *other : {"missing", "damaged", "words", "."}) {
        const Ran ran = diff("a.text "s + other);
        EXPECT_EQ(ran.status, 2) << other;
        EXPECT_EQ(ran.output, "") << other;
        EXPECT_EQ(std::count(ran.errors.begin(), ran.errors.end(), '\n'), 1) << ran.errors;
    }
}

TEST(NvramHelp, EachCommandHasItsOwn)
{
    const Folder folder;
    for (const char *name :
         {"get", "set", "unset", "show", "export", "import", "check", "lint", "diff", "commit", "load"}) {
        for (const char *word : {" --help", " -h"}) {
            const Ran ran = folder.run(NVRAM_TOOL " "s + name + word);
            EXPECT_EQ(ran.status, 0) << name << ran.errors;
            EXPECT_EQ(ran.output.rfind("usage: nvram ", 0), 0U) << ran.output;
            EXPECT_NE(ran.output.find(" "s + name), std::string::npos) << ran.output;
            EXPECT_NE(ran.output.find("Exit status: 0 done; "), std::string::npos) << ran.output;
            EXPECT_EQ(ran.errors, "") << name;
        }
    }
    const Ran lint = folder.run(NVRAM_TOOL " lint --help");
    EXPECT_EQ(lint.output,
              "usage: nvram [-f STORE | --defaults FILE | --flash IMAGE] lint [--json] [FILE]\n"
              "Says what is wrong with settings, one line a finding: key, record and field,\n"
              "grade (error, warning, note), what is wrong, what the router will do with it\n"
              "where a run of rc shows that, and in brackets the finding's name. FILE is a\n"
              "text, a store or a flash image; without it the store of the options is read.\n"
              "Settings that are not there count with their defaults.\n"
              "\n"
              "  --json   an array of objects: key, grade, code, message, and where they apply\n"
              "           record, field, field_name\n"
              "\n"
              "  --help                 this text\n"
              "  --version              the version\n"
              "\n"
              "Exit status: 0 done; 1 there are findings above a note; 2 wrong options or\n"
              "unusable input; 3 it could not be done, was cut off, or its output could not be\n"
              "written.\n");
    EXPECT_EQ(folder.run(NVRAM_TOOL " diff --defaults x --help").status, 0);
    // A key may begin with "-".
    folder.file("store", forms::store_bytes({{"--help", "x"}, {"a", "y"}}));
    EXPECT_EQ(folder.run(NVRAM_TOOL " -f store unset --help a").status, 0);
    EXPECT_EQ(folder.run(NVRAM_TOOL " lint --jsn").errors,
              "nvram: lint knows no option \"--jsn\" (did you mean --json?); see nvram --help\n");
}

TEST(NvramLint, StatusesAndKindsOfFile)
{
    const Folder folder;
    const std::string line =
        "wan_mtu: error: \"9000\" is no number from 576 to 1500; the interface and the PPP daemon refuse "
        "what "
        "they cannot use [value]\n";
    const Settings bad = {{"wan_mtu", "9000"}};
    folder.file("bad.text", forms::settings_text(bad));
    folder.file("bad.store", forms::store_bytes(bad));
    folder.file("bad.flash", flash_image(bad));
    for (const char *words : {"lint bad.text", "lint bad.store", "lint bad.flash", "-f bad.store lint",
                              "--flash bad.flash lint", "--defaults bad.store lint"}) {
        const Ran ran = folder.run(NVRAM_TOOL " "s + words);
        EXPECT_EQ(ran.output, line) << words;
        EXPECT_EQ(ran.status, 1) << words;
    }
    // A note alone is no finding that counts.
    folder.file("note.text", "rt_static_route=a:10.0.0.0:255.0.0.0:172.16.0.1:2:0:1\\x01\n");
    const Ran note = folder.run(NVRAM_TOOL " lint --json note.text");
    EXPECT_EQ(note.status, 0);
    EXPECT_EQ(note.output,
              "[\n"
              "  {\n"
              "    \"key\": \"rt_static_route\",\n"
              "    \"record\": 1,\n"
              "    \"field\": 4,\n"
              "    \"field_name\": \"gateway\",\n"
              "    \"grade\": \"note\",\n"
              "    \"code\": \"route-gateway\",\n"
              "    \"message\": \"172.16.0.1 is not on the LAN\"\n"
              "  }\n"
              "]\n");
    folder.file("fine.text", "wan_mtu=1400\n");
    const Ran fine = folder.run(NVRAM_TOOL " lint fine.text --json");
    EXPECT_EQ(fine.status, 0);
    EXPECT_EQ(fine.output, "[]\n");
    folder.file("words", "no settings here\n");
    folder.file("damaged", "lan_if=br0\0nonsense"s);
    for (const char *words : {"lint words", "lint missing", "lint damaged", "-f damaged lint", "lint a b"}) {
        const Ran ran = folder.run(NVRAM_TOOL " "s + words);
        EXPECT_EQ(ran.status, 2) << words;
        EXPECT_EQ(ran.output, "") << words;
        EXPECT_EQ(std::count(ran.errors.begin(), ran.errors.end(), '\n'), 1) << ran.errors;
    }
}

}  // namespace
