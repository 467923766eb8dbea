// rcbench shell: words that it refuses. What it measures is compared with the kept table in
// tests/settings/shell.
#include <gtest/gtest.h>

#include "tests/running.h"

namespace {

TEST(Shell, WordsThatAreNoSetting)
{
    const Ran ran = Folder().run(RCBENCH_TOOL " shell wan_mod");
    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.output, "");
    EXPECT_EQ(ran.errors,
              "rcbench: wan_mod is no setting (did you mean wan_mode?); see rcbench shell --help\n");
}

}  // namespace
