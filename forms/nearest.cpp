#include "forms/nearest.h"

#include <algorithm>

namespace forms {

namespace {

constexpr size_t kLongest = 64;  // longer words are no slips

// How many letters must change to make one word of the other.
size_t distance(std::string_view left, std::string_view right)
{
    std::vector<std::vector<size_t>> least(left.size() + 1, std::vector<size_t>(right.size() + 1));
    for (size_t i = 0; i <= left.size(); ++i) {
        for (size_t j = 0; j <= right.size(); ++j) {
            if (i == 0 || j == 0) {
                least[i][j] = i + j;
                continue;
            }
            const size_t change = left[i - 1] == right[j - 1] ? 0 : 1;
            least[i][j] = std::min({least[i - 1][j] + 1, least[i][j - 1] + 1, least[i - 1][j - 1] + change});
            if (i > 1 && j > 1 && left[i - 1] == right[j - 2] && left[i - 2] == right[j - 1]) {
                least[i][j] = std::min(least[i][j], least[i - 2][j - 2] + 1);
            }
        }
    }
    return least[left.size()][right.size()];
}

}  // namespace

std::string nearest(std::string_view word, const std::vector<std::string> &names)
{
    if (word.size() > kLongest) {
        return "";
    }
    std::string best;
    size_t fewest = word.size() / 3 + 1;
    for (const std::string &name : names) {
        const size_t letters = distance(word, name);
        if (letters < fewest) {
            fewest = letters;
            best = name;
        }
    }
    return best;
}

std::string did_you_mean(std::string_view word, const std::vector<std::string> &names)
{
    const std::string name = nearest(word, names);
    return name.empty() ? "" : " (did you mean " + name + "?)";
}

}  // namespace forms
