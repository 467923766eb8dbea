// rcbench explain: settings, values, rc's messages, files of the router; and the same files where a run shows
// them.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>

#include "forms/settings.h"
#include "forms/store.h"
#include "rc/lan/leases.h"
#include "tests/running.h"
#include "tests/settings/stores.h"

namespace {

namespace fs = std::filesystem;

using std::string_literals::operator""s;

Ran explain(const std::string &words)
{
    return Folder().run(RCBENCH_TOOL " explain " + words);
}

TEST(Explain, ASetting)
{
    const Ran ran = explain("wan_encap");
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.output,
              "wan_encap: encapsulation on the circuit\n"
              "  type        choice\n"
              "  default     0\n"
              "  value       0: LLC\n"
              "  value       1: VC multiplexing\n"
              "  empty       not allowed\n"
              "  else        the router will give the number N to the bridging daemon, N being what it reads "
              "at the front of the value\n"
              "  read        IP over ATM (rc/wan/ipoa.cpp)\n"
              "    writes    /tmp/ipoa_server /tmp/wan_uptime\n"
              "    runs      atmarp atmarpd cp ifconfig killall rc route rt2684d\n"
              "  read        PPP (rc/wan/ppp.cpp)\n"
              "    writes    /etc/ppp/ip-up /proc/led /proc/sys/net/ipv4/ip_forward\n"
              "    runs      cp echo killall pppd\n"
              "  read        WAN bring-up (rc/wan/wan.cpp)\n"
              "    writes    /proc/led /tmp/dsl_change /tmp/wan_uptime /var/run/my_pid\n"
              "    runs      br2684ctl brctl cp echo ifconfig killall pppoe-relay ps rc route udhcpc\n"
              "  first run   echo > /tmp/dsl_change\n"
              "  apply with  rc wan restart\n"
              "  see also    wan_vpi wan_vci\n");
}

TEST(Explain, AValueIsJudgedAndAListTakenApart)
{
    EXPECT_EQ(explain("wan_vci=0").output, "wan_vci is no number from 1 to 65535\n");
    EXPECT_EQ(explain("wan_vci=0").status, 1);
    const Ran list = explain("'dhcp_reserved=tv;192.168.0.9;024b51001001\\x01'");
    EXPECT_EQ(list.status, 0);
    EXPECT_EQ(list.output,
              "record 1\n"
              "  name                 tv                         what the client is called\n"
              "  address              192.168.0.9                the address kept for it, inside the pool\n"
              "  hardware             024b51001001               twelve hexadecimal digits, with or without "
              "\":\" between the pairs\n"
              "dhcp_reserved is fine by itself; nvram lint FILE says whether it goes with the other "
              "settings\n");
    EXPECT_EQ(explain("wan_vci=35").output, "wan_vci is fine\n");
    const Ran escaped = explain("'wan_vci=\\q'");
    EXPECT_EQ(escaped.status, 2);
    EXPECT_EQ(escaped.errors, "rcbench: wan_vci: a backslash begins \\n, \\t, \\\\ or \\xHH\n");
}

TEST(Explain, NumbersAndMessagesOfRc)
{
    EXPECT_EQ(explain("-3 -11 'nvram error!!'").output,
              "-3: VPN: there are no policies, or their format is neither 1 nor 2\n"
              "  look at: vpn\n"
              "-11: VPN: a manual authentication key has the wrong length\n"
              "  look at: vpn, authentication_key\n"
              "nvram error!!: the settings could not be made ready\n"
              "  look at: /tmp/nvram, the flash, /etc/default\n");
}

// The literals behind this call in all sources of rc, with something in place of what is filled in.
std::set<std::string> printed_by(const std::string &call)
{
    const std::regex text(call + R"re(\(((?:\s*"(?:[^"\\]|\\.)*")+))re");
    std::set<std::string> texts;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(SOURCE_FOLDER "/rc")) {
        if (entry.path().extension() != ".cpp") {
            continue;
        }
        std::ifstream in(entry.path());
        const std::string source{std::istreambuf_iterator<char>(in), {}};
        for (std::sregex_iterator at(source.begin(), source.end(), text), end; at != end; ++at) {
            std::string literal = (*at)[1].str();
            literal = std::regex_replace(literal, std::regex(R"re("\s*")re"), "");
            literal = literal.substr(literal.find('"') + 1, literal.rfind('"') - literal.find('"') - 1);
            literal = std::regex_replace(literal, std::regex("%[dux]"), "7");
            literal = std::regex_replace(literal, std::regex("%[0-9]*[sc]"), "word");
            for (size_t begin = 0; begin < literal.size();) {
                const size_t cut = std::min(literal.find("\\n", begin), literal.size());
                texts.insert(
                    std::regex_replace(literal.substr(begin, cut - begin), std::regex(R"re(\\(.))re"), "$1"));
                begin = cut + 2;
            }
        }
    }
    texts.erase("");
    return texts;
}

TEST(Explain, EverythingThatRcPrints)
{
    std::set<std::string> texts = printed_by("\\bprintf");
    texts.merge(printed_by("\\bputs"));
    texts.merge(printed_by("\\bperror"));
    EXPECT_GT(texts.size(), 15U);
    std::set<std::string> commands = printed_by("\\bMY_SYSTEM");
    EXPECT_GT(commands.size(), 20U);
    texts.merge(commands);
    std::string words;
    for (const std::string &text : texts) {
        words += " '" + std::regex_replace(text, std::regex("'"), "'\\''") + "'";
    }
    const Ran ran = explain("--" + words);
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.errors, "");
    EXPECT_TRUE(explain("'Error Number=-3'").output.starts_with("Error Number=-3: "));
}

TEST(Explain, WhatItDoesNotKnow)
{
    const Ran slip = explain("wan_mod");
    EXPECT_EQ(slip.status, 1);
    EXPECT_EQ(slip.output, "");
    EXPECT_EQ(slip.errors,
              "rcbench: wan_mod is no setting, no file and nothing that rc says (did you mean wan_mode?)\n");
    EXPECT_EQ(explain("zzzzzzzzzz").errors,
              "rcbench: zzzzzzzzzz is no setting, no file and nothing that rc says\n");
    EXPECT_EQ(explain("").status, 2);
}

std::string tunnel()
{
    return "1" + settings_test::policy({{"name", "office"}, {"psk", "hush"}}) + "\x01";
}

TEST(Explain, SecretsOfAValueAreMasked)
{
    const Folder folder;
    forms::Setting vpn = {"vpn", tunnel()};
    std::string text = forms::settings_text({vpn});
    text.pop_back();
    const Ran masked = folder.run(RCBENCH_TOOL " explain '" + text + "'");
    EXPECT_EQ(masked.output.find("hush"), std::string::npos) << masked.output;
    EXPECT_NE(masked.output.find("  psk                  ********  "), std::string::npos) << masked.output;
    const Ran shown = folder.run(RCBENCH_TOOL " explain --secrets '" + text + "'");
    EXPECT_NE(shown.output.find("  psk                  hush  "), std::string::npos) << shown.output;
}

TEST(Explain, AStoreAndAFlashImage)
{
    const Folder folder;
    const std::string store =
        forms::store_bytes({{"lan_if", "br0"}, {"pppoe_password", "hush"}, {"dhcp_reserved", ""}});
    const std::string entries = "lan_if=br0\npppoe_password=********\ndhcp_reserved=\n";
    folder.file("nvram", store);
    EXPECT_EQ(folder.run(RCBENCH_TOOL " explain nvram").output, entries);
    EXPECT_EQ(folder.run(RCBENCH_TOOL " explain --secrets nvram").output,
              "lan_if=br0\npppoe_password=hush\ndhcp_reserved=\n");
    std::string image = forms::flash_header_bytes(store);
    image.resize(kFlashDataOffset);
    folder.file("mtd3", image + store);
    const Ran ran = folder.run(RCBENCH_TOOL " explain mtd3");
    EXPECT_EQ(ran.output.substr(ran.output.find('\n') + 1), entries);
    EXPECT_TRUE(ran.output.starts_with("flash image, a store of " + std::to_string(store.size()) +
                                       " bytes, checksum 0x"))
        << ran.output;
    image[8] = static_cast<char>(image[8] ^ 1);
    folder.file("mtd3", image + store);
    const Ran damaged = folder.run(RCBENCH_TOOL " explain mtd3");
    EXPECT_NE(damaged.output.find("\ndamaged at byte 8: "), std::string::npos) << damaged.output;
}

TEST(Explain, PoliciesOfAStoreAreTakenApart)
{
    const Folder folder;
    folder.file("nvram", forms::store_bytes({{"vpn", tunnel()}, {"lan_if", "br0"}}));
    const Ran ran = folder.run(RCBENCH_TOOL " explain nvram");
    EXPECT_TRUE(
        ran.output.starts_with("vpn: 1 record\n"
                               "  record 1\n"
                               "    enabled              1                          1 = the policy is "
                               "in use\n"
                               "    name                 office  "))
        << ran.output;
    EXPECT_TRUE(ran.output.ends_with("\nlan_if=br0\n"));
    EXPECT_EQ(ran.output.find("hush"), std::string::npos);
}

const char *const kTwoLeases =
    " no.  address          hardware address    lease time  state        name\n"
    "   0  192.168.0.20     02:4b:51:00:10:01   365d 00:00  reservation  storage\n"
    "   1  192.168.0.21     02:4b:51:00:10:02   365d 00:00  reservation  printer\n"
    "2 records\n";

TEST(Explain, FilesThatARunWrites)
{
    const Folder folder;
    const std::string set = folder.file("set", forms::settings_text({{"vpn", tunnel()}}));
    EXPECT_EQ(folder.run(RCBENCH_TOOL " --keep router --set @set dhcpd create , vpn start >all").status, 0);
    EXPECT_EQ(folder.run(RCBENCH_TOOL " explain router/tmp/var/udhcpd.leases").output, kTwoLeases);
    const Ran masked = folder.run(RCBENCH_TOOL " explain router/tmp/var/tmp/vpn.conf");
    EXPECT_TRUE(masked.output.starts_with("WAN interface ppp0, address 203.0.113.10, netmask "))
        << masked.output;
    EXPECT_NE(masked.output.find("\n20   psk             ********\n"), std::string::npos) << masked.output;
    EXPECT_EQ(masked.output.find("hush"), std::string::npos);
    const Ran shown = folder.run(RCBENCH_TOOL " explain --secrets router/tmp/var/tmp/vpn.conf");
    EXPECT_NE(shown.output.find("\n20   psk             hush\n"), std::string::npos) << shown.output;
    const Ran text = folder.run(RCBENCH_TOOL " explain router/etc/udhcpd.conf");
    EXPECT_EQ(text.status, 2);
    EXPECT_EQ(text.errors,
              "rcbench: router/etc/udhcpd.conf is no lease file, vpn.conf, flash image or store\n");
}

// What a run shows of a file: lines behind "    | ".
std::string shown_file(const std::string &output, const std::string &path)
{
    const size_t at = output.rfind("  " + path + "\n");
    std::string text;
    for (size_t line = output.find('\n', at) + 1; line < output.size();) {
        const size_t end = output.find('\n', line);
        text += output.substr(line + 6, end - line - 6) + "\n";
        line = end + 1;
    }
    return at == std::string::npos ? "" : text;
}

TEST(ShownFiles, LeasesAreReadable)
{
    const Folder folder;
    const std::string path = "/var/udhcpd.leases";
    EXPECT_EQ(shown_file(folder.run(RCBENCH_TOOL " --brief --show " + path + " dhcpd create").output, path),
              kTwoLeases);
    const std::string raw =
        shown_file(folder.run(RCBENCH_TOOL " --raw --brief --show " + path + " dhcpd create").output, path);
    EXPECT_TRUE(
        raw.starts_with("000000  02 4b 51 00 10 01 00 00 00 00 00 00 00 00 00 00\n"
                        "000010  c0 a8 00 14 01 e1 33 80 73 74 6f 72 61 67 65 00\n"))
        << raw;
    EXPECT_EQ(std::count(raw.begin(), raw.end(), '\n'), 2 * 104 / 16);
}

TEST(ShownFiles, ADifferenceIsOneOfRecords)
{
    const Ran ran = Folder().run(
        RCBENCH_TOOL " --diff --set 'dhcp_reserved=tv;192.168.0.9;024b51001001\\x01' dhcpd create");
    EXPECT_NE(
        ran.output.find("/var/udhcpd.leases\n"
                        "  @@ -1,4 +1,3 @@\n"
                        "    no.  address          hardware address    lease time  state        name\n"
                        "  -   0  192.168.0.20     02:4b:51:00:10:01   365d 00:00  reservation  storage\n"
                        "  -   1  192.168.0.21     02:4b:51:00:10:02   365d 00:00  reservation  printer\n"
                        "  -2 records\n"
                        "  +   0  192.168.0.9      02:4b:51:00:10:01   365d 00:00  reservation  tv\n"
                        "  +1 record\n"),
        std::string::npos)
        << ran.output;
}

TEST(ShownFiles, FlashIsReadable)
{
    const Folder folder;
    const std::string path = "/dev/mtdblock/3";
    const std::string shown =
        shown_file(folder.run(RCBENCH_TOOL " --brief --full --show " + path + " init").output, path);
    EXPECT_TRUE(shown.starts_with("flash image, a store of ")) << shown.substr(0, 100);
    EXPECT_NE(shown.find("\nlan_ipaddr=192.168.0.1\n"), std::string::npos);
}

}  // namespace
