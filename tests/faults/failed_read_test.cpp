// What rc stores because of another setting (a channel that the region does not allow, a default that is
// missing) must not come from a read that failed once; nor do defaults take the place of settings that the
// flash has because a file could not be opened once.
#include <gtest/gtest.h>

#include <cerrno>

#include "tests/faults/faults.h"
#include "tests/faults/verbs.h"
#include "tests/programs.h"

namespace {

TEST(FailedRead, OnceReplacesNoSetting)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "needs a build without sanitizers, which bring an allocation of their own";
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

TEST(FailedOpen, OnceAtBootRestoresTheFlashAllTheSame)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "needs a build without sanitizers, which bring an allocation of their own";
#endif
    const bench::Target target = built_rc();
    const Verb verb = {"init", ""};
    const std::vector<bench::Setting> settings = rich_settings(target, verb);
    const std::string store = bench::store_bytes(settings);
    bench::Setup setup = rich_setup();
    setup.files.push_back({"/dev/mtdblock/3", flash_with(store)});
    bench::Root root(target, setup);
    bench::Run run;
    run.words = words_of(verb);
    std::vector<Fault> faults;
    for (long at = 1; at <= 10; ++at) {
        faults.push_back({"open", at, "once", EMFILE});
    }
    const std::vector<Outcome> outcomes = run_faults(root, target, run, faults);
    for (const Outcome &outcome : outcomes) {
        Values left = values_of(outcome.store.value_or(""));
        Values kept = values_of(store);
        left.erase("wifi_present");
        kept.erase("wifi_present");
        EXPECT_EQ(left, kept) << outcome.fault.text() << " at " << outcome.path;
    }
    EXPECT_EQ(outcomes[2].path, "/tmp/nvram");
}

}  // namespace
