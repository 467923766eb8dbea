// The reader of the settings' descriptions and the checks of single values.
#include "forms/descriptions.h"

#include <gtest/gtest.h>

#include "forms/check.h"
#include "forms/exposure.h"

namespace {

using forms::all_descriptions;
using forms::Area;
using forms::Condition;
using forms::Description;
using forms::Fault;
using forms::find_description;

Area read(const std::string &text, std::vector<Fault> &faults)
{
    return forms::read_descriptions("x.settings", text, faults);
}

std::string only_fault(const std::string &text)
{
    std::vector<Fault> faults;
    (void)read(text, faults);
    return faults.size() == 1 ? faults[0].in("x") : std::to_string(faults.size()) + " faults";
}

std::string why(const char *key, const std::string &value)
{
    const Description *setting = find_description(key);
    return setting == nullptr ? "no such key" : forms::refusal_text(*setting, value);
}

TEST(SettingDescriptions, AreReadWithAllTheirParts)
{
    std::vector<Fault> faults;
    const Area area = read(
        "# The test.\n\n## number 1 to 9: how many\n#   empty: none\n#   wrong: run x\n"
        "#   seen: rc lan start: never runs \"say \\\"{value}\\\" \\t\"\n"
        "#   when: a is 1 or 2, b does not begin with p\n#   apply: rc lan start\n#   related: a "
        "b\ncount=3\n",
        faults);
    ASSERT_TRUE(faults.empty()) << faults[0].in("x");
    ASSERT_EQ(area.settings.size(), 1U);
    const Description &one = area.settings[0];
    EXPECT_EQ(area.title, "The test");
    EXPECT_EQ(one.key, "count");
    EXPECT_EQ(one.value, "3");
    EXPECT_EQ(one.type.form, forms::Form::kNumber);
    EXPECT_EQ(one.type.least, 1);
    EXPECT_EQ(one.type.most, 9);
    EXPECT_EQ(one.empty, "none");
    EXPECT_EQ(one.wrong.phrase, "run x");
    ASSERT_EQ(one.wrong.seen.size(), 1U);
    EXPECT_EQ(one.wrong.seen[0].words, "lan start");
    EXPECT_EQ(one.wrong.seen[0].text, "say \"{value}\" \t");
    EXPECT_FALSE(one.wrong.seen[0].is_there);
    ASSERT_EQ(one.wrong.when.size(), 2U);
    EXPECT_EQ(one.wrong.when[0].words, (std::vector<std::string>{"1", "2"}));
    EXPECT_EQ(one.wrong.when[1].test, Condition::Test::kDoesNotBegin);
    EXPECT_EQ(one.related, (std::vector<std::string>{"a", "b"}));
}

TEST(SettingDescriptions, FaultsAreNamedWithTheirLine)
{
    EXPECT_EQ(only_fault("## colour: x\n#   apply: rc lan start\na=1\n"),
              "x:1: \"## TYPE: MEANING\" expected, with a known type");
    EXPECT_EQ(only_fault("## flag: x\n#   color: red\n#   apply: rc lan start\na=1\n"),
              "x:2: \"color: red\" is not understood");
    EXPECT_EQ(only_fault("## flag: x\n#   apply: rc lan start\n#   wrong: y\na=1\n"),
              "x:4: \"a\" has one of \"wrong:\" and \"seen:\" without the other");
    EXPECT_EQ(only_fault("## list: x\n#   record: p:q\n#   field p: flag: y\n#   apply: rc lan start\na=\n"),
              "x:5: \"a\" does not describe its field \"q\"");
    EXPECT_EQ(only_fault("## flag: x\n#   on: rc x: does \"y\"\n#   apply: rc lan start\na=1\n"),
              "x:2: \"on: rc x: does \"y\"\" is not understood");
    EXPECT_EQ(only_fault("a=1\n"), "x:1: a setting without its description");
    EXPECT_EQ(only_fault("## flag: x\n"), "x:1: a description without its key=value");
}

TEST(SettingDescriptions, RelatedSettingsExist)
{
    for (const Description *one : all_descriptions()) {
        for (const std::string &key : one->related) {
            EXPECT_NE(find_description(key), nullptr) << one->key << " is related to " << key;
            EXPECT_NE(key, one->key);
        }
    }
}

TEST(SettingDescriptions, DefaultsAreFine)
{
    for (const Description *one : all_descriptions()) {
        EXPECT_EQ(forms::refusal_text(*one, one->value), "");
    }
}

// A setting that is added must be measured: scripts/settings-reference --measure.
TEST(SettingDescriptions, AllSettingsAreMeasuredForTheShell)
{
    std::vector<std::string> keys;
    for (const Description *one : all_descriptions()) {
        keys.push_back(one->key);
    }
    EXPECT_EQ(forms::measured_settings(), keys);
}

TEST(SettingDescriptions, TemplatesAreFilled)
{
    const forms::Lookup lookup = [](std::string_view name) {
        return std::string(name == "it" ? "90 minutes" : name == "lan_if" ? "br0" : "?");
    };
    EXPECT_EQ(forms::fill_template("-t {number*60} {value} {lan_if}", lookup, 0), "-t 5400 90 minutes br0");
    EXPECT_EQ(forms::fill_template("{cut}|{cut:2}|{number%256}", lookup, 4), "90 m|90|90");
    EXPECT_EQ(forms::fill_template("plain", lookup, 4), "plain");
}

TEST(SettingDescriptions, NumbersAreReadAsRcReadsThem)
{
    EXPECT_EQ(forms::read_number("42"), 42);
    EXPECT_EQ(forms::read_number(" \t-7x"), -7);
    EXPECT_EQ(forms::read_number("+5"), 5);
    EXPECT_EQ(forms::read_number("x5"), 0);
    EXPECT_EQ(forms::read_number(""), 0);
}

TEST(SettingCheck, EveryTypeSaysWhatIsWrong)
{
    EXPECT_EQ(why("upnp_enable", "yes"), "upnp_enable is neither 0 nor 1");
    EXPECT_EQ(why("upnp_enable", ""), "upnp_enable is empty");
    EXPECT_EQ(why("wan_mtu", "575"), "wan_mtu is no number from 576 to 1500");
    EXPECT_EQ(why("wan_mtu", "1e3"), "wan_mtu is no number from 576 to 1500");
    EXPECT_EQ(why("wan_mode", "ppoe"), "wan_mode is none of pppoe, pppoa, ipoa, dhcpc, ip, bridge");
    EXPECT_EQ(why("fw_time_zone", "x"), "fw_time_zone is none of -12, -11, -10, -9, -8, -7a, -7b, -6a ...");
    EXPECT_EQ(why("lan_ipaddr", "192.168.0.256"), "lan_ipaddr is no address");
    EXPECT_EQ(why("lan_netmask", "255.0.255.0"), "lan_netmask is no netmask");
    EXPECT_EQ(why("wan_macaddr", "00:11:22:33:44"), "wan_macaddr is no hardware address");
    EXPECT_EQ(why("lan_if", "br 0"), "lan_if is no interface name");
    EXPECT_EQ(why("lan_if", "br012345"), "lan_if is longer than 7 characters");
    EXPECT_EQ(why("mail_server", "-x"), "mail_server is no host name or address");
    EXPECT_EQ(why("fw_remote_port", "0"), "fw_remote_port is no port from 1 to 65535");
    EXPECT_EQ(why("wifi_key1", "123"), "wifi_key1 is not 10 or 26 hexadecimal digits");
    EXPECT_EQ(why("wifi_psk_pwd", "short"), "wifi_psk_pwd is shorter than 8 characters");
    EXPECT_EQ(why("http_password", "a\nb"), "http_password holds a control character");
    EXPECT_EQ(why("pppoe_service", "a b"), "pppoe_service holds a space");
    EXPECT_EQ(why("http_username", "a:b"), "http_username holds :, which ends it too early");
}

TEST(SettingCheck, RecordsAndFieldsAreNamed)
{
    EXPECT_EQ(why("fw_in_rules",
                  "1:SSH:2:192.168.0.2:0.0.0.0/0:0\x01"
                  "1:SSH:2:192.168.0.2:any:0\x01"),
              "fw_in_rules: record 2: wan is no address, range or net");
    EXPECT_EQ(why("fw_in_rules", "1:SSH:2\x01"), "fw_in_rules: record 1 has 3 of 6 fields");
    EXPECT_EQ(why("fw_schedule", "0111110:8:30-17:60\x01"),
              "fw_schedule: record 1: end_minute is no number from 0 to 59");
    EXPECT_EQ(why("fw_schedule", std::string(42, '1')), "fw_schedule is longer than 31 characters");
    EXPECT_EQ(why("dhcp_reserved", "a;192.168.0.9;02:4b:51:00:10\x01"),
              "dhcp_reserved: record 1: hardware is no hardware address");
    EXPECT_EQ(why("vpn", "3\x01x"), "vpn does not begin with the format 1 or 2");
    EXPECT_EQ(why("vpn", "1"), "");
}

TEST(SettingCheck, RangesOfAddressesAndPorts)
{
    const auto rule = [](const char *lan) {
        std::string text = "1:SSH:0:";
        return text.append(lan).append(":0.0.0.0/0:0\x01");
    };
    EXPECT_EQ(why("fw_out_rules", rule("192.168.0.2-192.168.0.9")), "");
    EXPECT_EQ(why("fw_out_rules", rule("192.168.0.0/24")), "");
    EXPECT_EQ(why("fw_out_rules", rule("192.168.0.0/255.255.255.0")), "");
    EXPECT_NE(why("fw_out_rules", rule("192.168.0.9-192.168.0.2")), "");
    EXPECT_NE(why("fw_out_rules", rule("192.168.0.0/33")), "");
    EXPECT_EQ(why("fw_spapp", "1:1:x:udp:6970:udp:6971-6999\x01"), "");
    EXPECT_NE(why("fw_spapp", "1:1:x:udp:6970:udp:6999-6971\x01"), "");
}

}  // namespace
