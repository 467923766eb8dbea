#include "bench/show/printer.h"

#include <algorithm>

#include "bench/router.h"

namespace bench {

namespace {

constexpr size_t kShortColumns = 96;
constexpr size_t kFewestColumns = 40;
constexpr size_t kLongestBlock = 60;  // lines that are looked at as one that repeats
constexpr size_t kFewLines = 10;      // repeated lines that are not worth folding

const char *tint_code(Tint tint)
{
    switch (tint) {
        case Tint::kStrong:
            return "\033[1m";
        case Tint::kCommand:
            return "\033[36m";
        case Tint::kPause:
            return "\033[33m";
        case Tint::kOutput:
            return "\033[2m";
        case Tint::kHead:
            return "\033[1;34m";
        case Tint::kGone:
            return "\033[31m";
        case Tint::kNew:
            return "\033[32m";
        case Tint::kPlain:
            break;
    }
    return "";
}

// How often the `size` lines from `at` come in a row.
size_t times_in_row(const std::vector<Line> &lines, size_t at, size_t size)
{
    size_t end = at + size;
    while (end < lines.size() && lines[end] == lines[end - size]) {
        ++end;
    }
    return (end - at) / size;
}

struct Repeat {
    size_t size = 1;  // lines of the block
    size_t times = 1;
};

// The shortest block from `at` on that repeats long enough to be worth folding.
Repeat repeat_at(const std::vector<Line> &lines, size_t at)
{
    for (size_t size = 1; size <= std::min(kLongestBlock, (lines.size() - at) / 2); ++size) {
        const size_t times = times_in_row(lines, at, size);
        if (times > 2 && (times - 1) * size > kFewLines) {
            return {size, times};
        }
    }
    return {};
}

std::string repeat_text(const Repeat &repeat)
{
    const std::string times = grouped(repeat.times) + " times";
    return repeat.size == 1 ? "... " + times : "... these " + std::to_string(repeat.size) + " lines " + times;
}

}  // namespace

void Printer::line(Tint tint, const std::string &text) const
{
    const bool tinted = style.colour && tint != Tint::kPlain;
    fprintf(out, "%s%s%s\n", tinted ? tint_code(tint) : "", text.c_str(), tinted ? "\033[0m" : "");
}

size_t short_columns(const Style &style)
{
    return style.columns == 0 ? kShortColumns : std::max(style.columns, kFewestColumns);
}

std::vector<std::string> text_lines(const std::string &bytes)
{
    std::vector<std::string> lines;
    size_t at = 0;
    while (at < bytes.size()) {
        const size_t end = bytes.find('\n', at);
        if (end == std::string::npos) {
            lines.push_back(bytes.substr(at) + "   (no line end)");
            break;
        }
        lines.push_back(bytes.substr(at, end - at));
        at = end + 1;
    }
    return lines;
}

std::string command_words(const std::vector<std::string> &words)
{
    std::string line;
    for (const std::string &word : words) {
        const bool plain = !word.empty() && word.find_first_of(" \t\n\"'\\$`|&;<>*?") == std::string::npos;
        line += (line.empty() ? "" : " ") + (plain ? word : "'" + escape(word) + "'");
    }
    return line;
}

std::string cut_to(const std::string &text, size_t columns)
{
    const std::string end = " ...";
    return text.size() <= columns ? text : text.substr(0, columns - std::min(columns, end.size())) + end;
}

std::vector<std::string> broken(const std::string &text, size_t indent, size_t columns)
{
    std::vector<std::string> lines;
    std::string rest = text;
    const size_t wide = std::max(columns, std::max(kFewestColumns, indent + kFewestColumns / 2));
    while (rest.size() > wide) {
        const size_t blank = rest.rfind(' ', wide);
        const bool at_blank = blank != std::string::npos && blank > indent + (wide - indent) / 2;
        const size_t end = at_blank ? blank : wide;
        lines.push_back(rest.substr(0, end));
        rest = std::string(indent, ' ') + rest.substr(end + (at_blank ? 1 : 0));
    }
    lines.push_back(rest);
    return lines;
}

std::vector<Line> folded(const std::vector<Line> &lines)
{
    std::vector<Line> out;
    for (size_t at = 0; at < lines.size();) {
        const Repeat repeat = repeat_at(lines, at);
        const auto begin = lines.begin() + static_cast<std::ptrdiff_t>(at);
        out.insert(out.end(), begin, begin + static_cast<std::ptrdiff_t>(repeat.size));
        if (repeat.times > 1) {
            const size_t blanks = std::min(lines[at].text.find_first_not_of(' '), lines[at].text.size());
            out.push_back({Tint::kOutput, std::string(blanks, ' ') + repeat_text(repeat)});
        }
        at += repeat.size * repeat.times;
    }
    return out;
}

std::string grouped(size_t number)
{
    std::string text = std::to_string(number);
    for (size_t place = text.size(); place > 3; place -= 3) {
        text.insert(place - 3, ",");
    }
    return text;
}

}  // namespace bench
