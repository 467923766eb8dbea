// Values of settings for tests: fine ones, almost fine ones, and what people and attackers type.
#pragma once

#include <random>
#include <string>

#include "forms/descriptions.h"

namespace settings_test {

using Random = std::mt19937;

size_t below(Random &random, size_t limit);

// A value for this setting, more often wrong than right.
std::string any_value(Random &random, const forms::Description &setting);

// A value that is fine by itself.
std::string fine_value(Random &random, const forms::Description &setting);

}  // namespace settings_test
