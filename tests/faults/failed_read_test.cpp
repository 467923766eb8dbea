// What rc stores because of another setting (a channel that the region does not allow, a default that is
// missing) must not come from a read that failed once.
#include <gtest/gtest.h>

#include <cerrno>

#include "tests/faults/injection.h"
#include "tests/faults/verbs.h"
#include "tests/programs.h"

namespace {

TEST(FailedRead, OnceReplacesNoSetting)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "a program with sanitizers has its own allocation";
#endif
    const bench::Target target = built_rc();
    const Verb verb = {"wlan", "start"};
    bench::Setup setup = rich_setup();
    setup.settings = rich_settings(target, verb);
    bench::Root root(target, setup);
    bench::Run run;
    run.words = words_of(verb);
    std::vector<Fault> faults;
    for (long at = 1; at <= 30; ++at) {
        faults.push_back({"read", at, "once", EIO});
    }
    const std::string before = bench::store_bytes(*setup.settings);
    for (const Outcome &outcome : run_faults(root, target, run, faults)) {
        EXPECT_EQ(outcome.store, before) << outcome.fault.text() << " at " << outcome.path;
    }
}

}  // namespace
