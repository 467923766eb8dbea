#include "forms/known.h"

#include <algorithm>
#include <iterator>

#include "forms/escapes.h"
#include "forms/nearest.h"
#include "forms/program.h"

namespace forms {

namespace {

constexpr size_t kMostNotes = 10;

// Made from bench/image/settings, sorted.
constexpr std::string_view kKnown[] = {
#include "known_settings.inc"
};

static_assert(std::is_sorted(std::begin(kKnown), std::end(kKnown)));

}  // namespace

bool is_known_setting(std::string_view key)
{
    return std::binary_search(std::begin(kKnown), std::end(kKnown), key);
}

void note_unknown_settings(const std::vector<std::string> &keys)
{
    size_t count = 0;
    for (const std::string &key : keys) {
        if (!is_known_setting(key) && ++count <= kMostNotes) {
            note(shown(key) + " is not among the default settings" +
                 did_you_mean(key, {std::begin(kKnown), std::end(kKnown)}));
        }
    }
    if (count > kMostNotes) {
        note(std::to_string(count - kMostNotes) + " more keys are not among them");
    }
}

}  // namespace forms
