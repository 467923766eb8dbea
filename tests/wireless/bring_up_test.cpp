// The access point under random settings: what the driver is told about security, links between access
// points, country, channel and stations is compared with these rules, stated here once more and in
// another way than the program does. Also the pure helpers of the wireless code.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "bench/router.h"
#include "rc/nvram.h"
#include "rc/rc.h"
#include "rc/wireless/internal.h"
#include "tests/programs.h"

namespace {

using Lines = std::vector<std::string>;
using Settings = std::map<std::string, std::string>;

// ---- the settings -----------------------------------------------------------------------------------

std::string value_of(const Settings &settings, const std::string &key)
{
    const auto found = settings.find(key);
    return found == settings.end() ? "" : found->second;
}

// The number as eight bits keep it; the test's values have no more than nine digits.
int byte_of(const Settings &settings, const std::string &key)
{
    return atoi(value_of(settings, key).c_str()) & 255;
}

std::string number_text(int number)
{
    return std::to_string(number);
}

// What one setting may hold in a run: the values of interest, then odd ones.
struct Choice {
    const char *key;
    Lines values;
};

const std::string kMac = "00:11:22:33:44:55";
const std::string kLong(200, 'L');
const Lines kKeys = {"0123456789", "abcdefabcdefabcdefabcdefab", "", "odd", "a \"quoted\" one", kLong};
const Lines kPeers = {kMac, "aa:bb:cc:dd:ee:ff", "", "a", "aa:bb:cc:dd:", "aa:bb:cc:dd:e", kLong};

const Choice kChoices[] = {
    {"wifi_ssid", {"Home", "a\"b", "``````````````````````", "$HOME \\", "", kLong, "%s%d%n"}},
    {"wifi_channel", {"0", "1", "5", "6", "7", "8", "13", "261", "x"}},
    {"wifi_auth_type", {"1", "2", "258", ""}},
    {"wifi_wep_on",
     {"0", "1", "1", "1", "2", "3", "4", "5", "6", "7", "8", "9", "255", "256", "260", "-1", "x"}},
    {"wifi_key_len", {"64", "128", "40", "320", "384", ""}},
    {"wifi_def_key", {"1", "2", "3", "4", "0", "5", "9", "3x", "-1", "", "x"}},
    {"wifi_key1", kKeys},
    {"wifi_key2", kKeys},
    {"wifi_key3", kKeys},
    {"wifi_key4", kKeys},
    {"wifi_access_control", {"0", "1", "2", "256"}},
    {"wifi_access_list",
     {"", kMac, kMac + "a\x01" + kMac + "\x01" + kMac, kMac.substr(1), "\x01\x01" + kMac}},
    {"wifi_broadcast_ssid", {"0", "1", "256"}},
    {"wifi_dot11_mode", {"0", "1", "2", "3", "4", "257"}},
    {"wifi_psk_pwd", {"pass phrase", std::string(64, 'f'), std::string(65, 'f'), "\"; x `", ""}},
    {"wifi_radius_login_key", {"secret", kLong, "%n", ""}},
    {"wifi_radius_port", {"1812", "181234", ""}},
    {"wifi_radius_server", {"192.168.1.20", kLong, ""}},
    {"wifi_region",
     {"Africa", "Asia", "Australia", "A", "Canada", "Europe", "France", "Israel", "Israel", "Japan", "Mexico",
      "South America", "United States", "Korea", "israel", ""}},
    {"wifi_wds", {"0", "1", "1", "1", "2", "257", "x"}},
    {"wifi_wds_apmode", {"point", "multi", "repeater", "Point", "multi ", ""}},
    {"wifi_wds_bridge0mac", kPeers},
    {"wifi_wds_bridge1mac", kPeers},
    {"wifi_wds_bridge2mac", kPeers},
    {"wifi_wds_bridge3mac", kPeers},
    {"wifi_wds_bridge4mac", kPeers},
    {"wifi_wds_repeater1mac", kPeers},
    {"wifi_wds_repeater2mac", kPeers},
    {"wifi_wds_repeater3mac", kPeers},
    {"wifi_wds_repeater4mac", kPeers},
};

Settings random_settings(std::mt19937 &random)
{
    Settings settings = {{"wifi_if_on", "1"}, {"wifi_features", "1"}};
    for (const Choice &choice : kChoices) {
        if (random() % 12 != 0) {
            settings[choice.key] = choice.values[random() % choice.values.size()];
        }
    }
    return settings;
}

// ---- the rules, stated again -----------------------------------------------------------------------------

// One word for each fact of a security mode, so that the table of numbers is not simply copied.
struct Mode {
    bool wep = false;
    bool tkip = false;
    bool aes = false;
    bool wpa1 = false;
    bool wpa2 = false;
    bool key = false;  // pre-shared
    bool radius = false;
    bool restricts = true;
    bool eap = true;
};

Mode mode_of(int security)
{
    Mode mode;
    mode.radius = security >= 5;
    mode.key = security >= 2 && security <= 4;
    mode.wep = security == 1;
    mode.restricts = security != 0;
    mode.eap = security > 1;
    if (mode.key || (security >= 5 && security <= 7)) {
        const int kind = (security - 2) % 3;  // first, second, both
        mode.tkip = mode.wpa1 = kind != 1;
        mode.aes = mode.wpa2 = kind != 0;
    }
    return mode;
}

// Cipher bits of the driver: 1 WEP, 2 TKIP, 4 AES.
int cipher_number(const Mode &mode)
{
    return (mode.wep ? 1 : 0) | (mode.tkip ? 2 : 0) | (mode.aes ? 4 : 0);
}

// Key-management bits: 2 and 4 are WPA with a server and with a key, 64 and 128 the same of WPA2.
int key_number(const Mode &mode)
{
    return (mode.wpa1 ? (mode.key ? 4 : 2) : 0) | (mode.wpa2 ? (mode.key ? 128 : 64) : 0);
}

std::string escaped_name(const std::string &name)
{
    std::string out;
    for (const char c : name) {
        const std::string piece = c == '"' || c == '`' ? std::string("\\") + c : std::string(1, c);
        if (out.size() + piece.size() > 32) {
            return out;
        }
        out += piece;
    }
    return out;
}

std::string wep_key(const Settings &settings, int number)
{
    return value_of(settings, "wifi_key" + number_text(number)).substr(0, 29);
}

std::string add_wep(int index, const std::string &key)
{
    return "/usr/sbin/wlctl addwep -C 0 " + number_text(index) + " \"" + key + "\"";
}

Lines wep_lines(const Settings &settings)
{
    Lines lines;
    const int size = byte_of(settings, "wifi_key_len");
    const int chosen = atoi(value_of(settings, "wifi_def_key").substr(0, 1).c_str());
    for (int number = 1; number <= 4; ++number) {
        const size_t length = wep_key(settings, number).size();
        const bool fits = (size == 64 && length == 10) || (size == 128 && length == 26);
        if (number != chosen && fits) {
            lines.push_back(add_wep(number - 1, wep_key(settings, number)));
        }
    }
    const bool named = chosen >= 1 && chosen <= 4;
    lines.push_back(add_wep(chosen - 1, named ? wep_key(settings, chosen) : ""));
    return lines;
}

Lines security_lines(const Settings &settings)
{
    const Mode mode = mode_of(byte_of(settings, "wifi_wep_on"));
    Lines lines = {
        "/usr/sbin/wlctl wsec -C 0 " + number_text(cipher_number(mode)),
        "/usr/sbin/wlctl wsec_restrict -C 0 " + number_text(mode.restricts ? 1 : 0),
        "/usr/sbin/wlctl wpa_auth -C 0 " + number_text(key_number(mode)),
        "/usr/sbin/wlctl eap " + number_text(mode.eap ? 1 : 0),
    };
    bool shared = false;
    if (mode.wep) {
        const Lines keys = wep_lines(settings);
        lines.insert(lines.end(), keys.begin(), keys.end());
        shared = value_of(settings, "wifi_auth_type") == "2";
    }
    lines.push_back("/usr/sbin/wlctl auth -C 0 " + number_text(shared ? 1 : 0));
    return lines;
}

// The authenticator's command, none for open and WEP networks.
Lines authenticator_lines(const Settings &settings)
{
    const Mode mode = mode_of(byte_of(settings, "wifi_wep_on"));
    const std::string name = " -s \"" + escaped_name(value_of(settings, "wifi_ssid")) + "\" -w " +
                             number_text(cipher_number(mode)) + " -g 0";
    const std::string begin =
        "/usr/sbin/nas -P /var/nas.lan0.pid -H 34954 -l br0 -i wl0 -A -m " + number_text(key_number(mode));
    if (mode.key) {
        return {begin + " -k \"" + value_of(settings, "wifi_psk_pwd").substr(0, 64) + "\"" + name +
                " -d 0 &"};
    }
    if (mode.radius) {
        return {begin + " -r \"" + value_of(settings, "wifi_radius_login_key").substr(0, 64) + "\"" + name +
                " -h \"" + value_of(settings, "wifi_radius_server").substr(0, 64) + "\" -p " +
                value_of(settings, "wifi_radius_port").substr(0, 5) + " -t 36000 &"};
    }
    return {};
}

// The peers that a link mode names, in order.
Lines peers(const Settings &settings, const std::string &mode)
{
    Lines found;
    const std::string kind = mode == "repeater" ? "repeater" : "bridge";
    const int first = mode == "point" ? 0 : 1;
    for (int number = first; number <= (mode == "point" ? 0 : 4); ++number) {
        const std::string key = "wifi_wds_" + kind + number_text(number) + "mac";
        found.push_back(value_of(settings, key).substr(0, 31));
    }
    return found;
}

bool is_link_mode(const std::string &mode)
{
    return mode == "point" || mode == "multi" || mode == "repeater";
}

Lines link_lines(const Settings &settings)
{
    const int wds = byte_of(settings, "wifi_wds");
    const std::string mode = value_of(settings, "wifi_wds_apmode");
    Lines lines = {std::string("/usr/sbin/wlctl lazywds ") + (wds == 0 ? "1" : "0")};
    if (wds == 1) {
        lines.push_back("/sbin/rmmod fast_br");
    }
    if (wds != 1 || !is_link_mode(mode)) {
        return lines;
    }
    std::string command = "/usr/sbin/wlctl wds";
    Lines bridged;
    int link = 0;
    for (const std::string &peer : peers(settings, mode)) {
        ++link;
        command += " " + peer;
        if (mode == "point" || peer.size() > 12) {
            bridged.push_back("/usr/sbin/brctl addif br0 wds0." + number_text(link));
            bridged.push_back("/sbin/ifconfig wds0." + number_text(link) + " up");
        }
    }
    lines.push_back(command);
    lines.insert(lines.end(), bridged.begin(), bridged.end());
    lines.push_back(std::string("/usr/sbin/wlctl closed ") + (mode == "repeater" ? "0" : "1"));
    return lines;
}

bool raises_network(const Settings &settings)
{
    const int wds = byte_of(settings, "wifi_wds");
    const bool repeats = wds == 1 && value_of(settings, "wifi_wds_apmode") == "repeater";
    return byte_of(settings, "wifi_wep_on") < 2 && (wds == 0 || repeats);
}

std::string country_code(const Settings &settings)
{
    static const std::map<std::string, std::string> kCodes = {
        {"Af", "ZA"}, {"As", "HK"}, {"Au", "AU"}, {"A", "AU"},  {"Ca", "CA"}, {"Eu", "GB"},
        {"Fr", "FR"}, {"Is", "IL"}, {"Ja", "JP"}, {"Me", "MX"}, {"So", "BR"}, {"Un", "US"},
    };
    const auto found = kCodes.find(value_of(settings, "wifi_region").substr(0, 2));
    return found == kCodes.end() ? "" : found->second;
}

int used_channel(const Settings &settings)
{
    const int channel = byte_of(settings, "wifi_channel");
    const bool allowed = channel == 5 || channel == 6 || channel == 7;
    return country_code(settings) == "IL" && !allowed ? 5 : channel;
}

Lines station_lines(const Settings &settings)
{
    if (byte_of(settings, "wifi_access_control") == 0) {
        return {"/usr/sbin/wlctl mac none", "/usr/sbin/wlctl macmode 0"};
    }
    Lines lines = {"/usr/sbin/wlctl macmode 2"};
    const std::string list = value_of(settings, "wifi_access_list");
    for (size_t at = 0; at + 17 <= list.size();) {
        lines.push_back("/usr/sbin/wlctl mac " + list.substr(at, 17));
        const size_t separator = list.find('\x01', at + 17);
        at = separator == std::string::npos ? list.size() : separator + 1;
    }
    return lines;
}

// ---- what happened ----------------------------------------------------------------------------------

// The commands after the first `begin` and before the next `end`.
Lines between(const Lines &commands, const std::string &begin, const std::string &end)
{
    auto from = std::find(commands.begin(), commands.end(), begin);
    if (from == commands.end()) {
        return {"no command: " + begin};
    }
    ++from;
    return {from, std::find(from, commands.end(), end)};
}

size_t count(const Lines &commands, const std::string &command)
{
    return static_cast<size_t>(std::count(commands.begin(), commands.end(), command));
}

class RandomSettings : public testing::TestWithParam<unsigned> {};

struct Happened {
    Lines commands;
    std::string output;
};

Happened bring_up(bench::Root &root, const Settings &settings)
{
    std::vector<bench::Setting> entries;
    for (const auto &[key, value] : settings) {
        entries.push_back({key, value});
    }
    root.write("/tmp/nvram", bench::store_bytes(entries));
    const bench::Trace trace = root.rc("wlan start");
    EXPECT_EQ(trace.status, 0);
    Happened happened;
    happened.output = trace.output;
    happened.commands = trace.commands();
    return happened;
}

// Everything printed but what is stated here: each command's echo, the trace line, the region's message.
std::string expected_output(const Settings &settings, const Lines &commands)
{
    std::string output = "ap_name=wlan action=start\n";
    const std::string country = "/usr/sbin/wlctl country ";
    for (size_t i = 1; i < commands.size(); ++i) {  // the first one writes the running marker
        if (commands[i] == country) {
            output += "No CoutryCode Matched.\n";
        }
        output += commands[i] + "\n";
        if (commands[i] == "/usr/sbin/wlctl pwr_percent 100") {
            output += "--" + number_text(byte_of(settings, "wifi_access_control")) + "\n";
        }
    }
    return output;
}

void compare(const Settings &settings, const Happened &happened)
{
    const Lines &commands = happened.commands;
    EXPECT_EQ(happened.output, expected_output(settings, commands));
    EXPECT_EQ(between(commands, "/usr/sbin/wlctl rmwep -C 1 3",
                      std::string("/usr/sbin/wlctl bss -C 0 ") + (raises_network(settings) ? "up" : "down")),
              security_lines(settings));
    const Lines last = between(commands, "/usr/sbin/wlctl rmwep -C 1 3", "/usr/sbin/wlctl pktcnt &");
    EXPECT_EQ(between(last, "/sbin/ifconfig wl0 up", ""), authenticator_lines(settings));
    Lines stations_and_links = station_lines(settings);
    const Lines links = link_lines(settings);
    stations_and_links.insert(stations_and_links.end(), links.begin(), links.end());
    EXPECT_EQ(between(commands, "/usr/sbin/wlctl pwr_percent 100", "/usr/sbin/wlctl up"), stations_and_links);
    EXPECT_EQ(count(commands, "/usr/sbin/wlctl country " + country_code(settings)), 1U);
    EXPECT_EQ(count(commands, "/usr/sbin/wlctl channel " + number_text(used_channel(settings))), 1U);
    EXPECT_EQ(count(commands, "/usr/sbin/wlctl autochannel 2"), used_channel(settings) == 0 ? 1U : 0U);
    EXPECT_EQ(between(commands, "/usr/sbin/wlctl bss -C 1 down", "/usr/sbin/wlctl ssid -C 1 'G''u''e''s''t'"),
              Lines{"/usr/sbin/wlctl ssid -C 0 \"" + escaped_name(value_of(settings, "wifi_ssid")) + "\""});
}

TEST_P(RandomSettings, AreBroughtUpByTheRules)
{
    std::mt19937 random(GetParam());
    bench::Setup setup;
    bench::Root root(built_rc(), setup);
    for (int round = 0; round < 20; ++round) {
        const Settings settings = random_settings(random);
        std::string shown;
        for (const auto &[key, value] : settings) {
            shown += key + "=" + bench::escape(value) + "\n";
        }
        SCOPED_TRACE(shown);
        compare(settings, bring_up(root, settings));
        Settings changed = settings;
        if (used_channel(settings) != byte_of(settings, "wifi_channel")) {
            changed["wifi_channel"] = "5";
        }
        for (const auto &[key, value] : changed) {
            EXPECT_EQ(root.setting(key), value) << key;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Wireless, RandomSettings, testing::Values(1, 2, 3, 4));

// ---- pure helpers --------------------------------------------------------------------------------------

TEST(WirelessSecurity, EveryNumberOfAByte)
{
    for (int number = 0; number < 256; ++number) {
        const Mode mode = mode_of(number);
        const Security chosen = choose_security(static_cast<uint8_t>(number));
        EXPECT_EQ(chosen.wsec, cipher_number(mode)) << number;
        EXPECT_EQ(chosen.wsec_restrict, mode.restricts ? 1 : 0) << number;
        EXPECT_EQ(chosen.wpa_auth, key_number(mode)) << number;
        EXPECT_EQ(chosen.eap, mode.eap ? 1 : 0) << number;
    }
}

std::string escaped_by_rc(const std::string &name)
{
    struct {
        char ssid[33];
        char guard[8] = "guard";
    } room;
    std::fill(std::begin(room.ssid), std::end(room.ssid), 'x');
    escape_ssid(name, room.ssid);
    EXPECT_STREQ(room.guard, "guard");
    return room.ssid;
}

TEST(WirelessName, QuotesAndBackQuotesAreEscaped)
{
    EXPECT_EQ(escaped_by_rc("a\"b"), "a\\\"b");
    EXPECT_EQ(escaped_by_rc("`"), "\\`");
    EXPECT_EQ(escaped_by_rc("\\ $ ' %s"), "\\ $ ' %s");
    EXPECT_EQ(escaped_by_rc(""), "");
}

TEST(WirelessName, NeverEndsInHalfAnEscape)
{
    for (size_t before = 0; before < 40; ++before) {
        const std::string name = std::string(before, 'a') + "\"\"\"";
        const std::string escaped = escaped_by_rc(name);
        EXPECT_EQ(escaped, escaped_name(name));
        EXPECT_LE(escaped.size(), 32U);
        EXPECT_NE(escaped.empty() ? ' ' : escaped.back(), '\\') << before;
    }
}

TEST(WirelessName, RandomNames)
{
    std::mt19937 random(33);
    for (int round = 0; round < 2000; ++round) {
        std::string name(random() % 50, ' ');
        for (char &c : name) {
            c = "ab\"`\\$"[random() % 6];
        }
        EXPECT_EQ(escaped_by_rc(name), escaped_name(name));
    }
}

}  // namespace
