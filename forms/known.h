// The settings that exist: what the router's default settings hold.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace forms {

[[nodiscard]] bool is_known_setting(std::string_view key);

// A note on standard error for every key that is no setting, most often a slip; of many, the first ones.
void note_unknown_settings(const std::vector<std::string> &keys);

}  // namespace forms
