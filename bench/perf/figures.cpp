#include "bench/perf/figures.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace perf {

namespace {

constexpr size_t kColumns = 9;
using Cells = std::array<std::string, kColumns>;

std::string grouped(long long number)
{
    std::string text = std::to_string(number);
    for (size_t place = text.size(); place > 3; place -= 3) {
        text.insert(place - 3, ",");
    }
    return text;
}

std::string number(double value)
{
    if (value >= 100) {
        return grouped(std::llround(value));
    }
    char text[32];
    snprintf(text, sizeof text, value >= 10 ? "%.1f" : "%.2f", value);
    return text;
}

std::string optional_number(const std::optional<double> &value)
{
    return value ? number(*value) : "";
}

std::string ratio_text(const Figure &figure)
{
    if (!figure.ratio) {
        return "";
    }
    if (*figure.ratio < 0.1 && !figure.percent) {
        return "1/" + std::to_string(std::llround(1 / *figure.ratio));
    }
    char text[32];
    snprintf(text, sizeof text, figure.percent ? "%.1f %%" : "%.2f",
             figure.percent ? *figure.ratio * 100 : *figure.ratio);
    return text;
}

Cells cells(const Figure &figure)
{
    return {figure.name,
            number(figure.ours),
            optional_number(figure.median),
            figure.unit,
            optional_number(figure.other),
            figure.against,
            ratio_text(figure),
            figure.goal,
            figure.met ? (*figure.met ? "ok" : "OVER") : ""};
}

// Numbers stand to the right, words to the left.
constexpr std::array<bool, kColumns> kRight = {false, true, true, false, true, false, true, false, false};

void add_line(std::string &text, const Cells &row, const std::array<size_t, kColumns> &widths)
{
    std::string line = "  ";
    for (size_t i = 0; i < kColumns; i++) {
        const std::string blanks(widths[i] - row[i].size(), ' ');
        line += (kRight[i] ? blanks + row[i] : row[i] + blanks) + (i + 1 < kColumns ? "  " : "");
    }
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + "\n";
}

std::string quoted(const std::string &text)
{
    std::string out = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
        }
        out += c;
    }
    return out + "\"";
}

std::string json_number(const std::optional<double> &value)
{
    if (!value) {
        return "null";
    }
    char text[64];
    snprintf(text, sizeof text, "%.6g", *value);
    return *value >= 1e6 ? std::to_string(std::llround(*value)) : text;
}

std::string json_word(const std::string &text)
{
    return text.empty() ? "null" : quoted(text);
}

}  // namespace

std::string as_text(const std::vector<Figure> &figures)
{
    const Cells head = {"", "rc", "median", "unit", "against", "", "ratio", "goal", ""};
    std::array<size_t, kColumns> widths = {};
    for (size_t i = 0; i < kColumns; i++) {
        widths[i] = head[i].size();
        for (const Figure &figure : figures) {
            widths[i] = std::max(widths[i], cells(figure)[i].size());
        }
    }
    std::string text;
    const std::string *group = nullptr;
    for (const Figure &figure : figures) {
        if (group == nullptr || *group != figure.group) {
            text += (group == nullptr ? "" : "\n") + figure.group + "\n\n";
            add_line(text, head, widths);
        }
        group = &figure.group;
        add_line(text, cells(figure), widths);
    }
    return text;
}

std::string as_json(const std::vector<Figure> &figures)
{
    std::string text = "[";
    const char *lead = "\n";
    for (const Figure &figure : figures) {
        text += lead;
        text += "  {\"group\": " + quoted(figure.group) + ", \"name\": " + quoted(figure.name) +
                ", \"unit\": " + quoted(figure.unit) + ", \"rc\": " + json_number(figure.ours) +
                ", \"median\": " + json_number(figure.median) +
                ", \"against\": " + json_word(figure.against) + ", \"other\": " + json_number(figure.other) +
                ", \"ratio\": " + json_number(figure.ratio) + ", \"goal\": " + json_word(figure.goal) +
                ", \"met\": " + (figure.met ? (*figure.met ? "true" : "false") : "null") + "}";
        lead = ",\n";
    }
    return text + "\n]\n";
}

bool all_met(const std::vector<Figure> &figures)
{
    return std::all_of(figures.begin(), figures.end(),
                       [](const Figure &figure) { return figure.met.value_or(true); });
}

}  // namespace perf
