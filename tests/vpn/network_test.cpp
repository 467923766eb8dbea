// The VPN's helpers with a pure result: route table, masks, keys, words of the record, script texts.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <random>
#include <string>

#include "rc/text.h"
#include "rc/vpn/internal.h"

namespace {

using std::string_literals::operator""s;

// ---- the route table -------------------------------------------------------------------------------------

struct Found {
    DefaultRoute route;
    unsigned gateway;
    bool operator==(const Found &) const = default;
};

void PrintTo(const Found &found, std::ostream *out)
{
    *out << "route " << static_cast<int>(found.route) << ", gateway " << found.gateway;
}

Found look_up(const std::string &table)
{
    std::string bytes = table;
    FILE *file = table.empty() ? fopen("/dev/null", "r") : fmemopen(bytes.data(), bytes.size(), "r");
    EXPECT_NE(file, nullptr);
    Found found = {DefaultRoute::kNone, 0};
    found.route = find_default_route(file, found.gateway);
    (void)fclose(file);
    return found;
}

TEST(RouteTable, FirstDefaultRouteThroughAGateway)
{
    EXPECT_EQ(look_up("head\nbr0\t0001A8C0\t00000000\t0001\nnas0\t00000000\t01020150\t0003\nx 0 5 3\n"),
              (Found{DefaultRoute::kFound, 0x01020150}));
}

TEST(RouteTable, ColumnsMayBeSeparatedByBlanks)
{
    EXPECT_EQ(look_up("head\nnas0  0  0x1A  03 x\n"), (Found{DefaultRoute::kFound, 0x1a}));
}

TEST(RouteTable, HeaderIsNeverARoute)
{
    EXPECT_EQ(look_up("x 0 5 3\n"), (Found{DefaultRoute::kNone, 0}));
    EXPECT_EQ(look_up(""), (Found{DefaultRoute::kNone, 0}));
}

TEST(RouteTable, LastLineDecidesWithoutADefaultRoute)
{
    EXPECT_EQ(look_up("head\nx 5 6 3\n").route, DefaultRoute::kGateway);
    EXPECT_EQ(look_up("head\nx 5 6 3\ny 5 6 1\n").route, DefaultRoute::kNone);
    EXPECT_EQ(look_up("head\nx 5 6 1\ny 5 6 2").route, DefaultRoute::kGateway);
}

TEST(RouteTable, LineThatDoesNotReadIsNoRoute)
{
    EXPECT_EQ(look_up("head\nx 5 6 3\n\n").route, DefaultRoute::kNone);
    EXPECT_EQ(look_up("head\nx 5 6 3\nword\n").route, DefaultRoute::kNone);
    EXPECT_EQ(look_up("head\nx zz 6 3\n").route, DefaultRoute::kNone);
    EXPECT_EQ(look_up("head\nx 0 6\n").route, DefaultRoute::kNone);
    EXPECT_EQ(look_up("head\nx 0 6 none\n").route, DefaultRoute::kNone);
}

TEST(RouteTable, LongLineIsReadInPieces)
{
    // 255 characters are one line, so what follows them begins a column of its own.
    const std::string filler(255, 'f');
    EXPECT_EQ(look_up("head\n" + filler + "x 0 7 3\n"), (Found{DefaultRoute::kFound, 7}));
    EXPECT_EQ(look_up(filler + "x 0 7 3\n"), (Found{DefaultRoute::kFound, 7}));
}

// ---- addresses and masks ---------------------------------------------------------------------------------

std::string dotted(uint32_t address)
{
    return dotted_text(address);
}

TEST(Addresses, NumberAndTextAndBack)
{
    EXPECT_EQ(dotted(0), "0.0.0.0");
    EXPECT_EQ(dotted(0xffffffff), "255.255.255.255");
    EXPECT_EQ(address_number("1.2.3.4"), 0x01020304U);
    EXPECT_EQ(address_number("255.255.255.255"), 0xffffffffU);
    std::mt19937 random(1);
    for (int i = 0; i < 1000; ++i) {
        const auto address = static_cast<uint32_t>(random());
        EXPECT_EQ(address_number(dotted(address).c_str()), address);
    }
}

TEST(Addresses, NoAddressIsAllOnes)
{
    for (const char *text : {"", "x", "%any", "1.2.3.256", "1.2.3.4.5", "host.example", "1.2.3.4x"}) {
        EXPECT_EQ(address_number(text), 0xffffffffU) << text;
    }
}

// The mask of n ones, by counting.
uint32_t counted_mask(int ones)
{
    uint32_t mask = 0;
    for (int i = 0; i < ones; ++i) {
        mask = mask >> 1 | 0x80000000U;
    }
    return mask;
}

TEST(Masks, EveryLength)
{
    for (int bits = 0; bits <= 32; ++bits) {
        char text[kDottedSize];
        EXPECT_EQ(bits2mask(bits, text), text);
        EXPECT_STREQ(text, dotted(counted_mask(bits)).c_str());
        EXPECT_EQ(tmss_mask2bits(text), bits);
        EXPECT_EQ(mask2bits(("10.20.30.40..."s + text).c_str()), bits);
    }
}

TEST(Masks, LengthsBeyondTheEnds)
{
    char text[kDottedSize];
    EXPECT_STREQ(bits2mask(33, text), "255.255.255.255");
    EXPECT_STREQ(bits2mask(-1, text), "0.0.0.0");
}

TEST(Masks, ShiftCountIsTakenModulo32)
{
    for (int bits = 0; bits <= 64; ++bits) {
        char text[kDottedSize];
        strcpy(text, "203.117.91.177");
        EXPECT_EQ(mask_ip_with_bits(text, bits), text);
        const uint32_t mask = bits % 32 == 0 ? 0xffffffff : counted_mask(bits % 32);
        EXPECT_EQ(address_number(text), address_number("203.117.91.177") & mask) << bits;
    }
}

TEST(Masks, MaskedTextMayGrow)
{
    char text[kDottedSize] = "1";
    EXPECT_STREQ(mask_ip_with_bits(text, 32), "0.0.0.1");
    strcpy(text, "nothing");
    EXPECT_STREQ(mask_ip_with_bits(text, 8), "255.0.0.0");
}

TEST(Ranges, EveryCommonLength)
{
    std::mt19937 random(2);
    for (int bits = 0; bits < 32; ++bits) {
        const uint32_t first = static_cast<uint32_t>(random()) & ~(0x80000000U >> bits);
        const uint32_t last = first | 0x80000000U >> bits;
        EXPECT_EQ(range2bits((dotted(first) + "..." + dotted(last)).c_str()),
                  (dotted(first) + "..." + dotted(last)).size() < 17 ? -1 : bits);
        EXPECT_EQ(range2bits((dotted(last) + "..." + dotted(first)).c_str()), -1);
    }
}

TEST(Ranges, ShortestText)
{
    EXPECT_EQ(range2bits("1.2.3.4...1.2.3.4"), 32);
    EXPECT_EQ(range2bits("1.2.3.4...1.2.3."), -1);
    EXPECT_EQ(range2bits("10000.20000.30000.4"), -1);
    EXPECT_EQ(range2bits(nullptr), -1);
    EXPECT_EQ(mask2bits(nullptr), -1);
    EXPECT_EQ(tmss_mask2bits(nullptr), -1);
    EXPECT_EQ(tmss_mask2bits("0.0.0."), -1);
}

// ---- keys ------------------------------------------------------------------------------------------------

std::string converted(const std::string &key, int digits)
{
    char out[128];
    memset(out, 'x', sizeof out);
    const int result = convert_key(key.c_str(), out, digits);
    EXPECT_EQ(result, out[0] == 'x' ? -1 : 0);
    // Nothing behind the text and its end is touched.
    for (size_t i = result == 0 ? strlen(out) + 1 : 0; i < sizeof out; ++i) {
        EXPECT_EQ(out[i], 'x');
    }
    return result == 0 ? out : "";
}

TEST(Keys, EveryCharacterInHexadecimal)
{
    for (int c = 1; c < 256; ++c) {
        char digits[8];
        snprintf(digits, sizeof digits, "%x", c);
        EXPECT_EQ(converted(std::string(4, static_cast<char>(c)), 8),
                  "0x"s + digits + digits + digits + digits);
    }
}

TEST(Keys, OnlyTwoLengthsAreTaken)
{
    for (const int digits : {16, 32, 40, 48}) {
        for (int length = 0; length <= 60; ++length) {
            const std::string key = converted(std::string(static_cast<size_t>(length), 'a'), digits);
            EXPECT_EQ(key.empty(), length != digits && length != digits / 2) << digits << " " << length;
            if (!key.empty()) {
                EXPECT_EQ(key.size(), static_cast<size_t>(2 + digits + digits / 8 - 1));
            }
        }
    }
}

TEST(Keys, NullPointers)
{
    char out[64] = "kept";
    EXPECT_EQ(convert_key(nullptr, out, 16), -1);
    EXPECT_EQ(convert_key("0123456789abcdef", nullptr, 16), -1);
    EXPECT_STREQ(out, "kept");
}

// ---- the record ------------------------------------------------------------------------------------------

TEST(Record, WordsAreBigEndian)
{
    VpnPolicy policy = {};
    set_word(policy.spi_out, 0x01020304);
    const char *bytes = reinterpret_cast<const char *>(&policy);
    EXPECT_EQ(std::string(bytes + 544, 4), "\x01\x02\x03\x04");
    EXPECT_EQ(get_word(policy.spi_out), 0x01020304U);
    set_word(policy.lifetime, static_cast<uint32_t>(-2));
    EXPECT_EQ(lifetime_of(policy), -2);
}

TEST(Record, NameAndInterfaceShareBytes)
{
    VpnPolicy policy = {};
    strcpy(policy.name, "abcdefghijklmnas0");
    EXPECT_STREQ(wan_ifname(policy), "nas0");
    EXPECT_EQ(reinterpret_cast<const char *>(&policy) + 14, wan_ifname(policy));
}

TEST(Record, TextsAreEndedWithinTheirFields)
{
    VpnTable table;
    memset(&table, 'x', sizeof table);
    terminate_texts(table);
    const VpnPolicy &policy = table.policies[7];
    EXPECT_EQ(strlen(policy.name), 18U);
    EXPECT_EQ(strlen(policy.psk), 129U);
    EXPECT_EQ(strlen(policy.remote_gw), 86U);
    EXPECT_EQ(strlen(policy.enc_key), 56U);
    EXPECT_EQ(strlen(policy.auth_key), 47U);
    EXPECT_EQ(strlen(policy.keepalive_addr), 15U);
    EXPECT_EQ(policy.keepalive_on, 'x');
}

// ---- the environment of the scripts -----------------------------------------------------------------

TEST(ScriptEnvironment, ReplacesWhatWasThere)
{
    const VpnPolicy policy = {};
    std::string text = "what was there";
    setup_env_var(text, policy);
    EXPECT_EQ(text.find("PATH="), 0U);
    EXPECT_EQ(text.find("what was there"), std::string::npos);
    std::string again = text;
    setup_env_var(again, policy);
    EXPECT_EQ(again, text);
}

TEST(ScriptEnvironment, AnyPeerNamesNone)
{
    VpnPolicy policy = {};
    strcpy(policy.remote_gw, "1.2.3.4");
    std::string text;
    setup_env_var(text, policy);
    EXPECT_NE(text.find("PLUTO_PEER=0.0.0.0\nPLUTO_PEER_CLIENT=0.0.0.0/32\n"), std::string::npos);
    policy.remote_gw_type = 1;
    setup_env_var(text, policy);
    EXPECT_NE(text.find("PLUTO_PEER=1.2.3.4\nPLUTO_PEER_CLIENT=\n"), std::string::npos);
}

}  // namespace
