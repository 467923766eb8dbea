// Whole settings stores for tests of the linter: the image's defaults with mistakes in them.
#pragma once

#include <vector>

#include "forms/settings.h"
#include "tests/settings/values.h"

namespace settings_test {

// The image's defaults.
std::vector<forms::Setting> default_store();

void put(std::vector<forms::Setting> &store, const std::string &key, const std::string &value);

// One VPN policy of format 1 with these fields changed: name and value in turn.
std::string policy(const std::vector<std::pair<std::string, std::string>> &changes);

std::vector<forms::Setting> random_store(Random &random);

// A router that is set up as its pages would do it, with nothing wrong in it.
std::vector<forms::Setting> fine_store(Random &random);

}  // namespace settings_test
