#include "bench/show/printer.h"

#include <algorithm>

#include "bench/router.h"

namespace bench {

namespace {

constexpr size_t kShortColumns = 96;
constexpr size_t kFewestColumns = 40;

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

std::string grouped(size_t number)
{
    std::string text = std::to_string(number);
    for (size_t place = text.size(); place > 3; place -= 3) {
        text.insert(place - 3, ",");
    }
    return text;
}

}  // namespace bench
