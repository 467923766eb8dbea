// The validator in C against the checks of the host programs, on both processors.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "forms/check.h"
#include "tests/programs.h"
#include "tests/settings/values.h"

namespace {

constexpr size_t kValues = 100000;

struct Judged {
    std::string input;  // KEY NUL VALUE NUL
    std::vector<std::string> expected;
    size_t refused = 0;
};

Judged random_values()
{
    settings_test::Random random(15);
    const std::vector<const forms::Description *> settings = forms::all_descriptions();
    Judged judged;
    for (size_t i = 0; i < kValues; ++i) {
        const forms::Description &setting = *settings[settings_test::below(random, settings.size())];
        const std::string value = settings_test::any_value(random, setting);
        judged.input.append(setting.key).push_back('\0');
        judged.input.append(value).push_back('\0');
        judged.expected.push_back(forms::refusal_text(setting, value));
        judged.refused += judged.expected.back().empty() ? 0 : 1;
    }
    return judged;
}

std::vector<std::string> lines_of(const std::string &command)
{
    std::vector<std::string> lines;
    FILE *output = popen(command.c_str(), "r");
    char line[1024];
    while (output != nullptr && fgets(line, sizeof line, output) != nullptr) {
        lines.emplace_back(line);
        lines.back().pop_back();
    }
    EXPECT_TRUE(output != nullptr && pclose(output) == 0) << command;
    return lines;
}

void expect_agreement(const std::string &judge)
{
    const Judged judged = random_values();
    EXPECT_GT(judged.refused, kValues / 4);
    EXPECT_LT(judged.refused, kValues - kValues / 8);
    const std::filesystem::path file =
        std::filesystem::temp_directory_path() / ("settings-check." + std::to_string(getpid()));
    std::ofstream(file, std::ios::binary) << judged.input;
    const std::vector<std::string> actual = lines_of(judge + " < " + file.string());
    std::filesystem::remove(file);
    ASSERT_EQ(actual.size(), kValues);
    size_t shown = 0;
    for (size_t i = 0; i < kValues && shown < 10; ++i) {
        if (actual[i] != judged.expected[i]) {
            ADD_FAILURE() << "value " << i << ": \"" << actual[i] << "\", not \"" << judged.expected[i]
                          << "\"";
            ++shown;
        }
    }
}

TEST(SettingsCheckInC, SaysTheSameOnThisProcessor)
{
    expect_agreement(SETTINGS_JUDGE_TOOL);
}

TEST(SettingsCheckInC, SaysTheSameOnTheTarget)
{
    const std::string judge = std::string(SETTINGS_JUDGE_MIPS);
    if (!std::filesystem::exists(judge)) {
        GTEST_SKIP() << kNeedsTarget;
    }
    expect_agreement("qemu-mips-static -L /usr/mips-linux-gnu " + judge);
}

TEST(SettingsCheckInC, KnowsNoOtherSettings)
{
    const std::string input = "printf 'wan_mtuu\\0001\\000'";
    EXPECT_EQ(lines_of(input + " | " SETTINGS_JUDGE_TOOL),
              (std::vector<std::string>{"there is no such setting"}));
}

}  // namespace
