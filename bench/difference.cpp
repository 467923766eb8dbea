#include "bench/difference.h"

#include <algorithm>
#include <cstddef>

namespace bench {

namespace {

using Lines = std::vector<std::string>;

constexpr size_t kContext = 3;

struct Change {
    char mark;  // ' ' common, '-' only expected, '+' only there
    const std::string *line;
    size_t expected_at;  // line numbers from 0, before this line
    size_t actual_at;
};

// length[i][j]: the longest common subsequence of expected from i and actual from j.
class CommonLengths {
  public:
    CommonLengths(const Lines &expected, const Lines &actual)
        : width_(actual.size() + 1), lengths_((expected.size() + 1) * width_, 0)
    {
        for (size_t i = expected.size(); i-- > 0;) {
            for (size_t j = actual.size(); j-- > 0;) {
                lengths_[i * width_ + j] =
                    expected[i] == actual[j] ? at(i + 1, j + 1) + 1 : std::max(at(i + 1, j), at(i, j + 1));
            }
        }
    }
    unsigned at(size_t i, size_t j) const { return lengths_[i * width_ + j]; }

  private:
    size_t width_;
    std::vector<unsigned> lengths_;
};

std::vector<Change> find_changes(const Lines &expected, const Lines &actual, const Lines &expected_shown,
                                 const Lines &actual_shown)
{
    const CommonLengths common(expected, actual);
    std::vector<Change> changes;
    size_t i = 0;
    size_t j = 0;
    while (i < expected.size() || j < actual.size()) {
        if (i < expected.size() && j < actual.size() && expected[i] == actual[j]) {
            changes.push_back({' ', &expected_shown[i], i, j});
            ++i;
            ++j;
        } else if (i < expected.size() &&
                   (j == actual.size() || common.at(i + 1, j) >= common.at(i, j + 1))) {
            changes.push_back({'-', &expected_shown[i], i, j});
            ++i;
        } else {
            changes.push_back({'+', &actual_shown[j], i, j});
            ++j;
        }
    }
    return changes;
}

std::string hunk_text(const std::vector<Change> &changes, size_t begin, size_t end)
{
    size_t expected_count = 0;
    size_t actual_count = 0;
    std::string lines;
    for (size_t i = begin; i < end; ++i) {
        expected_count += changes[i].mark != '+' ? 1 : 0;
        actual_count += changes[i].mark != '-' ? 1 : 0;
        lines += changes[i].mark + *changes[i].line + "\n";
    }
    return "@@ -" + std::to_string(changes[begin].expected_at + 1) + "," + std::to_string(expected_count) +
           " +" + std::to_string(changes[begin].actual_at + 1) + "," + std::to_string(actual_count) +
           " @@\n" + lines;
}

}  // namespace

std::string unified_difference(const Lines &expected, const Lines &actual)
{
    return unified_difference(expected, actual, expected, actual);
}

std::string unified_difference(const Lines &expected, const Lines &actual, const Lines &expected_shown,
                               const Lines &actual_shown)
{
    const std::vector<Change> changes = find_changes(expected, actual, expected_shown, actual_shown);
    std::string text;
    size_t at = 0;
    while (true) {
        while (at < changes.size() && changes[at].mark == ' ') {
            ++at;
        }
        if (at == changes.size()) {
            return text;
        }
        const size_t begin = at - std::min(at, kContext);
        size_t end = at;  // one past the last change of this hunk
        for (; at < changes.size() && at - end <= 2 * kContext; ++at) {
            end = changes[at].mark != ' ' ? at + 1 : end;
        }
        text += hunk_text(changes, begin, std::min(changes.size(), end + kContext));
        at = end;
    }
}

}  // namespace bench
