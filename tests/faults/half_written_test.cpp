// A working copy that another process is just writing: it is read again, for a bounded time.
#include <gtest/gtest.h>

#include "tests/faults/injection.h"
#include "tests/programs.h"

namespace {

using namespace std::string_literals;

constexpr size_t kPolls = kCalls.size() - 1;

// Runs a direct operation on a working copy of these bytes, on both processors; before its N-th call of a
// kind another process completes it.
void expect_filled(const std::string &bytes, const std::vector<std::string> &words, const Fault &fill,
                   const std::string &store, long waits)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "needs a build without sanitizers, which bring an allocation of their own";
#endif
    std::vector<bench::Target> targets = {built_rc()};
    if (const auto target = built_rc_of_target()) {
        targets.push_back(*target);
    }
    for (const bench::Target &target : targets) {
        bench::Setup setup;
        setup.defaults = {{"mode", "default"}};
        setup.files = {{"/tmp/nvram", bytes}, {"/.bench/fill", "mode=mine\0other=1\0\0"s}};
        bench::Root root(target, setup);
        bench::Run run;
        run.words = words;
        run.words.insert(run.words.begin(), "rc-direct");
        run.program = target.program.parent_path() / "rc-direct";
        const Outcome outcome = run_faults(root, target, run, {fill}).back();
        EXPECT_EQ(outcome.store.value_or("(missing)"), store);
        EXPECT_EQ(outcome.counts[kPolls], waits);
    }
}

void expect_outcome(const std::string &bytes, const std::vector<std::string> &words, long filled_at,
                    const std::string &store, long waits)
{
    expect_filled(bytes, words, {"poll", filled_at, "fill", 0}, store, waits);
}

TEST(HalfWritten, StoreIsReadAgainUntilItIsWhole)
{
    expect_outcome("", {"nvram_get", "mode"}, 1, "mode=mine\0other=1\0\0"s, 1);
    expect_outcome("mode=mi", {"nvram_get", "mode"}, 3, "mode=mine\0other=1\0\0"s, 3);
    expect_outcome("mode=mine\0"s, {"nvram_set", "other", "2"}, 9, "mode=mine\0other=2\0\0"s, 9);
}

TEST(HalfWritten, StoreIsTakenAsItIsAfterNineWaits)
{
    expect_outcome("", {"nvram_get", "mode"}, 0, "mode=default\0\0"s, 9);
    expect_outcome("other=3", {"nvram_get", "mode"}, 0, "other=3\0mode=default\0\0"s, 9);
}

// The lock that a change needs is had before the store is read for it: a writer that was waited for in vain
// and ends now is not overwritten. A look asks for two locks, a look before a change for one; there are ten
// of each, and one more takes the store as it is.
TEST(HalfWritten, StoreIsReadUnderTheLockOfItsChange)
{
    expect_filled("", {"nvram_get", "mode"}, {"lock", 22, "fill", 0}, "mode=mine\0other=1\0\0"s, 9);
    expect_filled("", {"nvram_set", "other", "2"}, {"lock", 11, "fill", 0}, "mode=mine\0other=2\0\0"s, 9);
}

TEST(HalfWritten, StoreWithTheEndOfALongerOneBehindItIsWhole)
{
    expect_outcome("mode=a\0\0onger=1\0\0"s, {"nvram_get", "mode"}, 0, "mode=a\0\0onger=1\0\0"s, 0);
    expect_outcome("mode=a\0\0onger=1"s, {"nvram_get", "mode"}, 0, "mode=a\0\0onger=1"s, 0);
    expect_outcome("\0"s, {"nvram_get", "none"}, 0, "\0"s, 0);
}

}  // namespace
