// IP over ATM: the prefix of an address, and addresses compared under a mask.
#include <gtest/gtest.h>

#include "rc/wan/internal.h"

namespace {

TEST(NetworkPrefix, IsCutAtTheLastDot)
{
    EXPECT_EQ(network_prefix("10.1.2.3"), "10.1.2");
    EXPECT_EQ(network_prefix("10.1"), "10");
    EXPECT_EQ(network_prefix("10.1.2."), "10.1.2");
    EXPECT_EQ(network_prefix(".1"), "");
    EXPECT_EQ(network_prefix("."), "");
    EXPECT_EQ(network_prefix("a..b"), "a.");
}

TEST(NetworkPrefix, IsWholeWithoutADot)
{
    EXPECT_EQ(network_prefix(""), "");
    EXPECT_EQ(network_prefix("router"), "router");
}

TEST(SameNetwork, ComparesUnderTheMask)
{
    EXPECT_TRUE(same_network("10.1.2.254", "10.1.2.3", "255.255.255.0"));
    EXPECT_FALSE(same_network("10.1.3.254", "10.1.2.3", "255.255.255.0"));
    EXPECT_TRUE(same_network("10.1.3.254", "10.1.2.3", "255.255.0.0"));
    EXPECT_TRUE(same_network("10.1.2.254", "10.1.2.129", "255.255.255.128"));
    EXPECT_FALSE(same_network("10.1.2.254", "10.1.2.3", "255.255.255.128"));
    EXPECT_TRUE(same_network("203.0.113.1", "10.1.2.3", "0.0.0.0"));
    EXPECT_TRUE(same_network("203.0.113.1", "203.0.113.1", "255.255.255.255"));
    EXPECT_FALSE(same_network("203.0.113.1", "203.0.113.2", "255.255.255.255"));
}

// The C library's reading of network numbers: parts fill up from the right, octal and hexadecimal count.
TEST(SameNetwork, ReadsShortAndOctalAndHexadecimalForms)
{
    EXPECT_TRUE(same_network("10.1", "0.0.10.1", "255.255.255.255"));
    EXPECT_TRUE(same_network("010.0.0.1", "8.0.0.1", "255.255.255.255"));
    EXPECT_TRUE(same_network("0x0a.1.2.3", "10.1.2.3", "255.255.255.255"));
    EXPECT_TRUE(same_network("10.1.2.254", "10.1.9.3", "0xff.0xff.0.0"));
}

TEST(SameNetwork, TextThatIsNoAddressIsAllOnes)
{
    EXPECT_TRUE(same_network("", "255.255.255.255", "255.255.255.255"));
    EXPECT_TRUE(same_network("router", "", "255.255.255.0"));
    EXPECT_FALSE(same_network("", "10.1.2.3", "255.255.255.0"));
    EXPECT_TRUE(same_network("10.1.2.3", "10.1.2.3", ""));
    EXPECT_FALSE(same_network("10.1.2.3", "10.1.2.4", ""));
    EXPECT_FALSE(same_network("10.1.2.3", "10.1.2.4", "mask"));
    EXPECT_TRUE(same_network("256.1.1.1", "255.255.255.255", "255.255.255.255"));
}

}  // namespace
