// The truth about what the linter says: runs the router on the bench and looks.
#pragma once

#include <string>
#include <vector>

#include "bench/router.h"
#include "forms/lint/lint.h"

namespace settings_test {

// The findings' claims that are not so with these settings, one line each.
std::vector<std::string> broken_claims(const bench::Target &target, const std::vector<forms::Setting> &store,
                                       const std::vector<forms::Finding> &findings);

}  // namespace settings_test
