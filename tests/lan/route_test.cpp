// Static routes: the record's fields, the network of a route and the prefix length of a netmask.
#include <gtest/gtest.h>

#include "rc/lan/internal.h"
#include "rc/text.h"

namespace {

Route route_of(const char *record)
{
    Route route = {};
    read_route(record, route);
    return route;
}

std::string network_of(const char *destination, const char *netmask)
{
    return rt_network(route_of((std::string("r:") + destination + ":" + netmask + ":g:0:0:0").c_str()));
}

// The dotted text of a number whose top byte is the first octet.
std::string dotted(uint32_t number)
{
    return std::to_string(number >> 24) + "." + std::to_string(number >> 16 & 255U) + "." +
           std::to_string(number >> 8 & 255U) + "." + std::to_string(number & 255U);
}

TEST(AddressNumber, TopByteIsTheFirstOctet)
{
    EXPECT_EQ(address_number("192.168.0.1"), 0xC0A80001U);
    EXPECT_EQ(address_number("0.0.0.0"), 0U);
}

TEST(AddressNumber, ShortAndOctalAndHexadecimalForms)
{
    EXPECT_EQ(address_number("10.1"), 0x0A000001U);
    EXPECT_EQ(address_number("10.1.2"), 0x0A010002U);
    EXPECT_EQ(address_number("3232235777"), 0xC0A80101U);
    EXPECT_EQ(address_number("010.0.0.1"), 0x08000001U);
    EXPECT_EQ(address_number("0xC0.0xa8.0.1"), 0xC0A80001U);
}

TEST(AddressNumber, AnythingElseIsAllOnes)
{
    for (const char *text : {"", "router", "1.2.3.4.5", "256.1.1.1", "1.2.3.256", "1..2", "-1.2.3.4"}) {
        EXPECT_EQ(address_number(text), 0xFFFFFFFFU) << text;
    }
}

TEST(RouteRecord, SevenFields)
{
    const Route route = route_of("office:10.1.0.0:255.255.0.0:192.168.0.2:3:1:0");
    EXPECT_STREQ(route.name, "office");
    EXPECT_STREQ(route.destination, "10.1.0.0");
    EXPECT_STREQ(route.netmask, "255.255.0.0");
    EXPECT_STREQ(route.gateway, "192.168.0.2");
    EXPECT_EQ(route.metric, 3);
    EXPECT_EQ(route.exported, 1);
    EXPECT_EQ(route.active, 0);
}

TEST(RouteRecord, TextsAreCutAtTheirWidths)
{
    const std::string x(100, 'x');
    const Route route = route_of((x + ":" + x + ":" + x + ":" + x + ":1:2:3").c_str());
    EXPECT_EQ(route.name, x.substr(0, 29));
    EXPECT_EQ(route.destination, x.substr(0, 15));
    EXPECT_EQ(route.netmask, x.substr(0, 15));
    EXPECT_EQ(route.gateway, x.substr(0, 17));
    EXPECT_EQ(route.active, 3);
}

TEST(RouteRecord, FieldsBehindAMismatchKeepWhatTheyHeld)
{
    Route route = route_of("a:1.1.1.1:2.2.2.2:3.3.3.3:4:5:6");
    read_route("b:9.9.9.9::8.8.8.8:1:1:1", route);
    EXPECT_STREQ(route.name, "b");
    EXPECT_STREQ(route.destination, "9.9.9.9");
    EXPECT_STREQ(route.netmask, "2.2.2.2");
    EXPECT_STREQ(route.gateway, "3.3.3.3");
    EXPECT_EQ(route.metric, 4);
    EXPECT_EQ(route.active, 6);
    read_route("c:7.7.7.7:7.7.7.7:7.7.7.7:7:x:1", route);
    EXPECT_EQ(route.metric, 7);
    EXPECT_EQ(route.exported, 5);
    EXPECT_EQ(route.active, 6);
    read_route(":c", route);
    EXPECT_STREQ(route.name, "c");
}

TEST(RouteNetwork, WholeOctetNetmasks)
{
    EXPECT_EQ(network_of("192.168.7.9", "255.255.255.0"), "192.168.7.0");
    EXPECT_EQ(network_of("172.16.5.7", "255.255.0.0"), "172.16.0.0");
    EXPECT_EQ(network_of("10.1.2.3", "255.0.0.0"), "10.0.0.0");
}

TEST(RouteNetwork, LaterRulesSeeTheDestination)
{
    EXPECT_EQ(network_of("172.16.5.0", "255.255.0.0"), "172.16.5.0");
    EXPECT_EQ(network_of("10.1.0.0", "255.0.0.0"), "10.1.0.0");
    EXPECT_EQ(network_of("10.1.2.0", "255.0.0.0"), "10.1.2.0");
    EXPECT_EQ(network_of("10.0.5.0", "255.0.0.0"), "10.0.5.0");
    EXPECT_EQ(network_of("10.0.5.6", "255.0.0.0"), "10.0.0.0");
}

TEST(RouteNetwork, ANetmaskThatEndsInOneKeepsTheDestination)
{
    EXPECT_EQ(network_of("10.1.2.3", "255.255.255.255"), "10.1.2.3");
    EXPECT_EQ(network_of("10.1.2.3", "255.255.255.128"), "10.1.2.3");
    EXPECT_EQ(network_of("name", "255.255.255.128"), "name");
}

TEST(RouteNetwork, OddNetmasks)
{
    EXPECT_EQ(network_of("10.1.2.3", "255.0.255.0"), "10.1.2.0");
    EXPECT_EQ(network_of("10.1.2.3", "255.255.128.0"), "10.1.2.0");
    EXPECT_EQ(network_of("10.1.2.3", "0.0.0.0"), "10.0.0.0");
}

// Values that a reading does not reach are still there from the reading before it.
TEST(RouteNetwork, ADestinationThatCannotBeReadLeavesTheNetmask)
{
    EXPECT_EQ(network_of("name", "255.255.255.0"), "255.255.255.0");
    EXPECT_EQ(network_of("10", "255.255.0.0"), "10.255.0.0");
    EXPECT_EQ(network_of("name", "255.255.0.0"), "255.255.0.0");
    EXPECT_EQ(network_of("10.7", "255.255.255.0"), "10.7.255.0");
    EXPECT_EQ(network_of("name", "255.0.0.0"), "255.0.0.0");
}

TEST(RouteNetwork, ANetmaskThatCannotBeReadIsAllZero)
{
    EXPECT_EQ(network_of("10.1.2.3", "mask"), "10.0.0.0");
    EXPECT_EQ(network_of("10.1.2.3", "255"), "10.0.0.0");
    EXPECT_EQ(network_of("10.1.2.3", "255.255"), "10.1.0.0");
}

TEST(RouteNetwork, NumbersOfAnySizePass)
{
    EXPECT_EQ(network_of("300.-4.+5.7", "255.255.255.0"), "300.-4.5.0");
    EXPECT_EQ(network_of(" 1. 2. 3. 4", "255.255.255.0"), "1.2.3.0");
    EXPECT_EQ(network_of("4294967297.2.3", "255.255.255.0"), "1.2.3.0");
}

// Every pair of a netmask and a destination made of a few octets, against the rules written out once more
// with the octets in a text of their own.
TEST(RouteNetwork, EveryPairOfFewOctets)
{
    const int kOctets[] = {0, 7, 255};
    int index[8] = {};
    for (int n = 0; n < 6561; ++n) {
        for (int i = 0, rest = n; i < 8; ++i, rest /= 3) {
            index[i] = kOctets[rest % 3];
        }
        const int *mask = index;
        const int *host = index + 4;
        const auto text = [](const int *o) {
            return std::to_string(o[0]) + "." + std::to_string(o[1]) + "." + std::to_string(o[2]) + "." +
                   std::to_string(o[3]);
        };
        const int *seen = mask;
        int first_kept = 4;
        for (const int kept : {1, 2, 3}) {
            bool zero = seen[3] == 0;
            zero = zero && (kept > 2 || seen[2] == 0);
            zero = zero && (kept > 1 || seen[1] == 0);
            if (zero) {
                first_kept = kept;
                seen = host;
            }
        }
        int expected[4] = {};
        std::copy(host, host + first_kept, expected);
        EXPECT_EQ(network_of(text(host).c_str(), text(mask).c_str()), text(expected))
            << text(host) << "/" << text(mask);
    }
}

TEST(MaskConvert, EveryPrefix)
{
    EXPECT_EQ(rt_mask_convert("0.0.0.0"), 0);
    for (int prefix = 1; prefix < 32; ++prefix) {
        const uint32_t mask = ~(0xFFFFFFFFU >> prefix);
        EXPECT_EQ(rt_mask_convert(dotted(mask).c_str()), prefix) << prefix;
    }
    EXPECT_EQ(rt_mask_convert("255.255.255.255"), 0);
}

TEST(MaskConvert, CountsFromTheLowestBit)
{
    for (int bit = 0; bit < 32; ++bit) {
        const std::string single = dotted(1U << bit);
        EXPECT_EQ(rt_mask_convert(single.c_str()), bit == 0 ? 0 : 32 - bit) << single;
        const std::string with_top = dotted(1U << bit | 0x80000000U);
        EXPECT_EQ(rt_mask_convert(with_top.c_str()), bit == 0 ? 0 : 32 - bit) << with_top;
    }
}

TEST(MaskConvert, TextThatIsNoAddress)
{
    EXPECT_EQ(rt_mask_convert(""), 0);
    EXPECT_EQ(rt_mask_convert("255.255.255"), 0);
    EXPECT_EQ(rt_mask_convert("mask"), 0);
    EXPECT_EQ(rt_mask_convert("255.0"), 8);
}

}  // namespace
