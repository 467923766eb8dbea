// The row scans, on tables of their own: order, columns, results.
#include <gtest/gtest.h>

#include "rc/frame.h"
#include "rc/rc.h"

namespace {

std::string calls;

int call(char name, int result)
{
    calls += name;
    return result;
}

int start_a()
{
    return call('a', 0);
}

int start_b()
{
    return call('b', 7);
}

int stop_b()
{
    return call('B', 0);
}

int fail_c()
{
    return call('c', -3);
}

int start_d()
{
    return call('d', 0);
}

int create_d()
{
    return call('D', 1);
}

constexpr Service kWell[] = {
    {"a", start_a, nullptr, nullptr}, {"b", start_b, stop_b, nullptr},      {"d", start_d, nullptr, create_d},
    {"b", start_a, nullptr, nullptr}, {nullptr, nullptr, nullptr, nullptr},
};

constexpr Service kFailing[] = {
    {"a", start_a, nullptr, nullptr},
    {"c", fail_c, fail_c, nullptr},
    {"d", start_d, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr},
};

constexpr Service kNone[] = {{nullptr, nullptr, nullptr, nullptr}};

class Rows : public testing::Test {
  protected:
    void SetUp() override { calls.clear(); }
};

TEST_F(Rows, WithoutANameRunAllInOrder)
{
    EXPECT_EQ(rc_start(kWell, nullptr), 0);
    EXPECT_EQ(calls, "abda");
}

TEST_F(Rows, WithoutTheOperationArePassedOver)
{
    EXPECT_EQ(rc_stop(kWell, nullptr), 0);
    EXPECT_EQ(rc_create(kWell, nullptr), 0);
    EXPECT_EQ(calls, "BD");
}

TEST_F(Rows, EndAtTheFirstNegativeResult)
{
    EXPECT_EQ(rc_start(kFailing, nullptr), -1);
    EXPECT_EQ(calls, "ac");
}

TEST_F(Rows, WithANameRunTheFirstThatMatches)
{
    EXPECT_EQ(rc_start(kWell, "b"), 0);
    EXPECT_EQ(calls, "b");
}

TEST_F(Rows, WithANameGiveANegativeResultAsMinusOne)
{
    EXPECT_EQ(rc_start(kFailing, "c"), -1);
    EXPECT_EQ(calls, "c");
}

TEST_F(Rows, WithAnUnknownNameGiveOne)
{
    EXPECT_EQ(rc_start(kWell, "B"), 1);
    EXPECT_EQ(rc_start(kWell, ""), 1);
    EXPECT_EQ(rc_stop(kWell, "a"), 1);
    EXPECT_EQ(rc_start(kNone, "a"), 1);
    EXPECT_EQ(calls, "");
}

TEST_F(Rows, OfAnEmptyTableAreDone)
{
    EXPECT_EQ(rc_start(kNone, nullptr), 0);
    EXPECT_EQ(rc_stop(kNone, nullptr), 0);
    EXPECT_EQ(rc_create(kNone, nullptr), 0);
}

TEST_F(Rows, RestartStopsAllAndThenStartsAll)
{
    EXPECT_EQ(rc_action(kWell, nullptr, "restart"), 0);
    EXPECT_EQ(calls, "Babda");
}

TEST_F(Rows, RestartGivesTheBitsBothScansGave)
{
    EXPECT_EQ(rc_action(kFailing, nullptr, "restart"), -1);
    EXPECT_EQ(calls, "cac");
}

TEST_F(Rows, RestartStartsWhatStopRefused)
{
    constexpr Service table[] = {{"x", start_a, fail_c, nullptr}, {nullptr, nullptr, nullptr, nullptr}};
    EXPECT_EQ(rc_action(table, nullptr, "restart"), 0);
    EXPECT_EQ(calls, "ca");
}

TEST_F(Rows, EachActionHasItsColumn)
{
    EXPECT_EQ(rc_action(kWell, nullptr, "create"), 0);
    EXPECT_EQ(rc_action(kWell, nullptr, "stop"), 0);
    EXPECT_EQ(calls, "DB");
}

TEST_F(Rows, UnknownActionEndsWithTheUsage)
{
    EXPECT_EXIT((void)rc_action(kWell, nullptr, "reload"), testing::ExitedWithCode(0), "");
}

}  // namespace
