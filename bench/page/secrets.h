// Keys and passwords do not stand in what is passed on.
//
// Choice: a secret is masked in pages and JSON wherever its value stands; one of fewer than four characters,
// or a default one, where no letter or digit is beside it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "bench/router.h"

namespace page {

// Takes the values of secret settings out of texts.
class Secrets {
  public:
    Secrets() = default;  // none: texts stay

    // Those among these settings.
    void add(const std::vector<bench::Setting> &settings);

    std::string masked(std::string_view text) const;
    bench::Trace masked(bench::Trace trace) const;

  private:
    std::vector<std::string> values_;  // masked wherever they stand; the longest first
    std::vector<std::string> words_;   // masked where no letter or digit is beside them
};

}  // namespace page
